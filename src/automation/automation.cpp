#include "automation/automation.h"

#include "automation/argument.h"
#include "common/convert.h"
#include "common/error.h"
#include "common/text.h"
#include "platform/locale.h"

namespace quarno::automation {
namespace {

// Null has no value of any C++ type: to the caller that is an argument that cannot be converted.
template <class T, class Convert>
T convert_argument(const Variant& value, Convert convert) {
  if (value.is_null()) raise_type_mismatch();
  if (value.is_empty()) return T{};
  return convert(value, platform::locale());
}

}  // namespace

void raise_type_mismatch() { throw run_time_error(RunTime::type_mismatch); }

template <>
std::string converted(const Variant& v) {
  return convert_argument<std::string>(v, to_text);
}
template <>
bool converted(const Variant& v) {
  return convert_argument<bool>(v, to_bool);
}
template <>
std::uint8_t converted(const Variant& v) {
  return convert_argument<std::uint8_t>(v, to_byte);
}
template <>
std::int16_t converted(const Variant& v) {
  return convert_argument<std::int16_t>(v, to_int16);
}
template <>
std::int32_t converted(const Variant& v) {
  return convert_argument<std::int32_t>(v, to_int32);
}
template <>
std::int64_t converted(const Variant& v) {
  return convert_argument<std::int64_t>(v, to_int64);
}
template <>
double converted(const Variant& v) {
  return convert_argument<double>(v, to_double);
}
template <>
Date converted(const Variant& v) {
  return convert_argument<Date>(v, to_date);
}
template <>
Variant::Array converted(const Variant& value) {
  if (const auto* array = value.get_if<Variant::Array>()) return *array;
  raise_type_mismatch();
}

Variant invoke(Object& object, std::string_view name, Access access, std::span<Variant> arguments) {
  const MemberId member = object.find(name);
  if (member == kUnknownMember) throw run_time_error(RunTime::unknown_member, name);
  return object.invoke(member, access, arguments);
}

Variant get_property(Object& object, std::string_view name) { return invoke(object, name, Access::get, {}); }

void put_property(Object& object, std::string_view name, Variant value) {
  invoke(object, name, Access::put, std::span(&value, 1));
}

Ptr<Object> object_of(const Variant& value) {
  const auto* held = value.get_if<Variant::Object>();
  auto* const object = held == nullptr ? nullptr : dynamic_cast<Object*>(held->get());
  if (object == nullptr) throw run_time_error(RunTime::object_required);
  return Ptr<Object>(object);
}

Variant default_value(const Parameter& parameter) {
  switch (parameter.fallback.kind) {
    case Default::Kind::text: return Variant(parameter.fallback.text);
    case Default::Kind::boolean: return Variant(parameter.fallback.number != 0);
    case Default::Kind::number: return Variant(static_cast<std::int32_t>(parameter.fallback.number));
    case Default::Kind::missing: return Variant::missing();
    case Default::Kind::required: break;
  }
  throw run_time_error(RunTime::argument_not_optional, parameter.name);
}

Variant invoke_member(Object& object, const Member& member, Access access, std::span<Variant> arguments) {
  if (access == Access::put) {
    if (member.put == nullptr) throw run_time_error(RunTime::unknown_member, member.name);
    if (arguments.size() != 1) throw run_time_error(RunTime::wrong_argument_count, member.name);
    member.put(object, member, arguments[0]);
    return {};
  }
  if (member.kind != MemberKind::method && !arguments.empty()) {
    // rs.Fields("NOX"): the arguments belong to the default member of the collection that the property gives.
    const Variant value = member.call(object, member, {});
    if (value.type() != VariantType::object) throw run_time_error(RunTime::wrong_argument_count, member.name);
    return invoke(*object_of(value), "Item", Access::call, arguments);
  }
  if (arguments.size() > member.parameter_count || arguments.size() < member.required_count()) {
    throw run_time_error(RunTime::wrong_argument_count, member.name);
  }
  bool complete = arguments.size() == member.parameter_count;
  for (const Variant& argument : arguments) complete = complete && !argument.is_missing();
  if (complete) return member.call(object, member, arguments);

  std::array<Variant, kMaxParameters> slots;
  for (std::size_t i = 0; i < member.parameter_count; ++i) {
    const bool given = i < arguments.size() && !arguments[i].is_missing();
    slots[i] = given ? std::move(arguments[i]) : default_value(member.parameters[i]);
  }
  const auto hand_back = [&] {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      if (!arguments[i].is_missing()) arguments[i] = std::move(slots[i]);
    }
  };
  try {
    Variant result = member.call(object, member, std::span(slots.data(), member.parameter_count));
    hand_back();
    return result;
  } catch (...) {
    hand_back();
    throw;
  }
}

NameIndex index_of(std::span<const Member> members) {
  std::vector<std::string> names;
  names.reserve(members.size());
  for (const Member& member : members) names.emplace_back(member.name);
  return NameIndex(std::move(names));
}

}  // namespace quarno::automation
