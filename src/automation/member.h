// One row of a class's member table.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "automation/object.h"

namespace quarno::automation {

enum class MemberKind { method, property, read_only, constant };

/// What an optional parameter gets when it is left out.
struct Default {
  enum class Kind { required, text, boolean, number, missing };
  Kind kind = Kind::required;
  std::string_view text{};
  std::int64_t number = 0;
};

struct Parameter {
  std::string_view name;
  Default fallback;              // Kind::required when it may not be left out
  std::string_view type_name{};  // from the signature: "text", "int16", ...
  bool writes_back = false;      // from the signature: the parameter is a Ref
};

inline constexpr std::size_t kMaxParameters = 12;

struct Member {
  using Call = Variant (*)(Object&, const Member&, std::span<Variant>);
  using Put = void (*)(Object&, const Member&, Variant&);

  std::string_view name;
  MemberKind kind = MemberKind::method;
  std::array<Parameter, kMaxParameters> parameters{};
  std::size_t parameter_count = 0;
  std::string_view result_type{};  // "" for a method that returns nothing
  Call call = nullptr;             // the method, or the property's getter
  Put put = nullptr;               // properties that can be written
  std::int32_t constant_value = 0;
  std::string_view summary{};

  std::size_t required_count() const {
    std::size_t count = 0;
    while (count < parameter_count && parameters[count].fallback.kind == Default::Kind::required) ++count;
    return count;
  }
};

/// The value a left-out argument stands for; raises 449 when it is required.
Variant default_value(const Parameter& parameter);

/// Checks kind and argument count, fills in what was left out, and calls.
Variant invoke_member(Object& object, const Member& member, Access access, std::span<Variant> arguments);

}  // namespace quarno::automation
