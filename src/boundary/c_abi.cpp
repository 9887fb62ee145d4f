#include <algorithm>
#include <array>
#include <span>
#include <vector>

#include "automation/host_object.h"
#include "boundary/abi_value.h"
#include "boundary/classes.h"
#include "common/error.h"
#include "common/text.h"
#include "quarnofwk/quarnofwk.h"
#include "version.h"

namespace {

using namespace quarno;
using automation::Access;
using automation::MemberId;
using automation::Object;
using automation::TableObject;
using boundary::object_from_c;
using boundary::object_to_c;

// Every entry goes through here: whatever is thrown becomes a status and the thread's error record.
template <class Body>
qf_status guard(Body&& body) noexcept {
  try {
    automation::OwnerThread::current()->drain();
    body();
    return QF_OK;
  } catch (...) {
    record(error_being_handled());
  }
  return QF_FAILED;
}

std::string_view view(const char* data, std::uint64_t size) {
  return size == 0 ? std::string_view() : std::string_view(data, static_cast<std::size_t>(size));
}

qf_text text_of(std::string_view text) { return {text.data(), text.size()}; }

Object& checked(const qf_object* object) {
  if (object == nullptr) throw run_time_error(RunTime::object_not_set);
  return *object_from_c(object);
}

const automation::Member* member_of(Object& object, MemberId id) {
  TableObject* const table_object = object.as_table();
  if (table_object == nullptr) return nullptr;
  const auto table = table_object->member_table();
  if (id < 0 || static_cast<std::size_t>(id) >= table.size()) throw run_time_error(RunTime::unknown_member);
  return &table[static_cast<std::size_t>(id)];
}

// Position of each argument among the member's parameters; positional ones come first.
std::vector<std::size_t> positions_of(Object& object, MemberId id, std::size_t count,
                                      std::span<const qf_text> names) {
  std::vector<std::size_t> positions(count);
  for (std::size_t i = 0; i < count; ++i) positions[i] = i;
  if (names.empty()) return positions;
  const automation::Member* const member = member_of(object, id);
  if (member == nullptr || names.size() > count) throw run_time_error(RunTime::named_argument_not_found);
  const std::size_t first_named = count - names.size();
  std::vector<bool> taken(member->parameter_count, false);
  for (std::size_t i = 0; i < first_named && i < taken.size(); ++i) taken[i] = true;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string_view name = view(names[i].data, names[i].size);
    std::size_t at = 0;
    while (at < member->parameter_count && !text::equal_fold(member->parameters[at].name, name)) ++at;
    if (at == member->parameter_count) throw run_time_error(RunTime::named_argument_not_found, name);
    if (taken[at]) throw run_time_error(RunTime::wrong_argument_count, name);
    taken[at] = true;
    positions[first_named + i] = at;
  }
  return positions;
}

void write_back(const qf_value& argument, const Variant& value) {
  if (argument.type != QF_BYREF) return;
  qf_value fresh;
  boundary::value_to_c(value, fresh);
  boundary::clear(*argument.as.reference);
  *argument.as.reference = fresh;
}

void invoke(Object& object, MemberId member, int32_t access, std::span<const qf_value> arguments,
            std::span<const qf_text> names, qf_value* result) {
  // The object stays alive while its own member runs, even when the host lets go of it inside a callback.
  const Ptr<Object> keep(&object);
  if (access < QF_CALL || access > QF_PUT) throw run_time_error(RunTime::invalid_call);
  member_of(object, member);  // refuses a number that no member has
  std::vector<std::size_t> positions;
  std::size_t slot_count = arguments.size();
  if (!names.empty()) {
    positions = positions_of(object, member, arguments.size(), names);
    for (const std::size_t position : positions) slot_count = std::max(slot_count, position + 1);
  }
  const auto position = [&](std::size_t i) { return positions.empty() ? i : positions[i]; };

  std::array<Variant, 4> few;
  std::vector<Variant> many;
  if (slot_count > few.size()) many.resize(slot_count);
  const std::span<Variant> slots(many.empty() ? few.data() : many.data(), slot_count);
  if (!names.empty()) {
    for (Variant& slot : slots) slot = Variant::missing();
  }
  for (std::size_t i = 0; i < arguments.size(); ++i)
    slots[position(i)] = boundary::value_from_c(arguments[i]);

  const auto hand_back = [&] {
    for (std::size_t i = 0; i < arguments.size(); ++i) write_back(arguments[i], slots[position(i)]);
  };
  Variant value;
  try {
    value = object.invoke(member, static_cast<Access>(access), slots);
  } catch (...) {
    hand_back();
    throw;
  }
  hand_back();
  if (result != nullptr) boundary::value_to_c(value, *result);
}

class CallbackObject : public automation::HostObject {
 public:
  CallbackObject(const qf_host_callbacks* callbacks, void* context)
      : callbacks_(callbacks), context_(context) {}
  ~CallbackObject() override { callbacks_->release(context_); }

  void* context_for(const qf_host_callbacks* callbacks) const {
    return callbacks == callbacks_ ? context_ : nullptr;
  }

 protected:
  Variant get(std::string_view name) override {
    qf_value result{};
    return taken(callbacks_->get(context_, name.data(), name.size(), &result), result);
  }

  void put(std::string_view name, const Variant& value) override {
    qf_value lent{};
    boundary::value_to_c(value, lent);
    const qf_status status = callbacks_->put(context_, name.data(), name.size(), &lent);
    boundary::clear(lent);
    if (status != QF_OK) raise();
  }

  Variant call(std::string_view name, std::span<Variant> arguments) override {
    std::vector<qf_value> lent(arguments.size());
    for (std::size_t i = 0; i < lent.size(); ++i) boundary::value_to_c(arguments[i], lent[i]);
    qf_value result{};
    const qf_status status = callbacks_->call(context_, name.data(), name.size(), lent.data(),
                                              static_cast<std::uint32_t>(lent.size()), &result);
    for (qf_value& value : lent) boundary::clear(value);
    return taken(status, result);
  }

 private:
  [[noreturn]] static void raise() {
    const ErrorRecord error = current_error();
    throw Error(error.number, error.description, error.source);
  }

  static Variant taken(qf_status status, qf_value& result) {
    if (status != QF_OK) {
      boundary::clear(result);
      raise();
    }
    Variant value = boundary::value_from_c(result);
    boundary::clear(result);
    return value;
  }

  const qf_host_callbacks* callbacks_;
  void* context_;
};

std::int32_t member_kind(automation::MemberKind kind) {
  switch (kind) {
    case automation::MemberKind::method: return QF_METHOD;
    case automation::MemberKind::property: return QF_PROPERTY;
    case automation::MemberKind::read_only: return QF_READ_ONLY;
    case automation::MemberKind::constant: return QF_CONSTANT;
  }
  return QF_UNKNOWN_KIND;
}

}  // namespace

extern "C" {

uint32_t qf_abi_version(void) { return QF_ABI_VERSION; }
const char* qf_version(void) { return QUARNOFWK_VERSION; }

qf_status qf_create(const char* class_name, uint64_t size, qf_object** object) {
  return guard([&] {
    const Ptr<Object> created = boundary::create(view(class_name, size));
    created->retain();
    *object = object_to_c(created.get());
  });
}

void qf_retain(qf_object* object) {
  if (object != nullptr) object_from_c(object)->retain();
}

void qf_release(qf_object* object) {
  if (object == nullptr) return;
  guard([&] { object_from_c(object)->release_from_any_thread(); });
}

const char* qf_class_name(const qf_object* object) {
  // Class names are literals, so the view is terminated.
  return object == nullptr ? "" : object_from_c(object)->class_name().data();
}

qf_status qf_find(qf_object* object, const char* name, uint64_t size, int32_t* member, int32_t* kind) {
  return guard([&] {
    Object& target = checked(object);
    *member = target.find(view(name, size));
    if (*member == automation::kUnknownMember)
      throw run_time_error(RunTime::unknown_member, view(name, size));
    if (kind == nullptr) return;
    const automation::Member* const row = member_of(target, *member);
    *kind = row == nullptr ? QF_UNKNOWN_KIND : member_kind(row->kind);
  });
}

qf_status qf_invoke(qf_object* object, int32_t member, int32_t access, const qf_value* arguments,
                    uint32_t count, const qf_text* names, uint32_t named, qf_value* result) {
  return guard([&] { invoke(checked(object), member, access, {arguments, count}, {names, named}, result); });
}

qf_status qf_call(qf_object* object, const char* name, uint64_t size, int32_t access,
                  const qf_value* arguments, uint32_t count, qf_value* result) {
  return guard([&] {
    Object& target = checked(object);
    const MemberId member = target.find(view(name, size));
    if (member == automation::kUnknownMember) throw run_time_error(RunTime::unknown_member, view(name, size));
    invoke(target, member, access, {arguments, count}, {}, result);
  });
}

qf_status qf_class_at(uint32_t index, qf_text* name) {
  for (const boundary::ClassEntry& entry : boundary::classes()) {
    if (!entry.creatable || index-- > 0) continue;
    *name = text_of(entry.name);
    return QF_OK;
  }
  return QF_FAILED;
}

qf_status qf_member_at(const qf_object* object, uint32_t index, qf_text* name, int32_t* kind) {
  TableObject* const table_object = object == nullptr ? nullptr : object_from_c(object)->as_table();
  if (table_object == nullptr || index >= table_object->member_table().size()) return QF_FAILED;
  const automation::Member& member = table_object->member_table()[index];
  *name = text_of(member.name);
  *kind = member_kind(member.kind);
  return QF_OK;
}

void qf_clear(qf_value* value) {
  if (value == nullptr) return;
  guard([&] { boundary::clear(*value); });
}

qf_status qf_set_text(qf_value* value, const char* data, uint64_t size) {
  return guard([&] { boundary::set_text(*value, data, size); });
}
qf_status qf_set_bytes(qf_value* value, const uint8_t* data, uint64_t size) {
  return guard([&] { boundary::set_bytes(*value, data, size); });
}
qf_status qf_set_array(qf_value* value, uint64_t count) {
  return guard([&] { boundary::set_array(*value, count); });
}

void qf_get_error(int32_t* number, qf_text* source, qf_text* description) {
  const ErrorRecord& error = current_error();
  if (number != nullptr) *number = error.number;
  if (source != nullptr) *source = text_of(error.source);
  if (description != nullptr) *description = text_of(error.description);
}

void qf_set_error(int32_t number, const char* source, uint64_t source_size, const char* description,
                  uint64_t description_size) {
  guard([&] {
    current_error() = {number, std::string(view(description, description_size)),
                       std::string(view(source, source_size))};
  });
}

qf_status qf_host_object(const qf_host_callbacks* callbacks, void* context, qf_object** object) {
  return guard([&] {
    auto* const created = new CallbackObject(callbacks, context);
    created->retain();
    *object = object_to_c(created);
  });
}

void* qf_host_context(const qf_object* object, const qf_host_callbacks* callbacks) {
  const auto* const host = object == nullptr ? nullptr : dynamic_cast<CallbackObject*>(object_from_c(object));
  return host == nullptr ? nullptr : host->context_for(callbacks);
}

}  // extern "C"
