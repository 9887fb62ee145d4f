// Automation values to C++ parameters, results to automation values. One specialisation of Argument per kind
// of parameter: it is made from a slot, gives the C++ value, and writes back into the slot when the parameter
// is a Ref.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "automation/object.h"
#include "common/ref.h"
#include "common/variant.h"

namespace quarno::automation {

/// The value as a T by the automation rules and the user's locale. Null and what cannot be converted raise
/// 13, a number that does not fit raises 6.
template <class T>
T converted(const Variant& value);
template <>
std::string converted(const Variant&);
template <>
bool converted(const Variant&);
template <>
std::uint8_t converted(const Variant&);
template <>
std::int16_t converted(const Variant&);
template <>
std::int32_t converted(const Variant&);
template <>
std::int64_t converted(const Variant&);
template <>
double converted(const Variant&);
template <>
Date converted(const Variant&);
template <>
Variant::Array converted(const Variant&);

[[noreturn]] void raise_type_mismatch();

/// Names of types as the member reference prints them.
template <class T>
constexpr std::string_view type_name() {
  if constexpr (std::is_same_v<T, std::string>)
    return "text";
  else if constexpr (std::is_same_v<T, bool>)
    return "bool";
  else if constexpr (std::is_same_v<T, std::int16_t>)
    return "int16";
  else if constexpr (std::is_same_v<T, std::int32_t> || std::is_enum_v<T>)
    return "int32";
  else if constexpr (std::is_same_v<T, std::int64_t>)
    return "int64";
  else if constexpr (std::is_same_v<T, double>)
    return "double";
  else if constexpr (std::is_same_v<T, Date>)
    return "datetime";
  else if constexpr (std::is_same_v<T, Variant>)
    return "variant";
  else if constexpr (std::is_same_v<T, Variant::Array>)
    return "array";
  else if constexpr (std::is_void_v<T>)
    return "";
  else
    return "object";
}

template <class T>
struct IsPtr : std::false_type {};
template <class T>
struct IsPtr<Ptr<T>> : std::true_type {
  using Target = T;
};

/// By value or const reference.
template <class P>
class Argument {
  using T = std::remove_cvref_t<P>;

 public:
  static constexpr bool kWritesBack = false;
  static constexpr std::string_view kTypeName = type_name<T>();

  explicit Argument(Variant& slot) {
    // A value that already has the right type is used where it is.
    if constexpr (std::is_same_v<T, Variant>) {
      value_ = &slot;
    } else if constexpr (std::is_enum_v<T>) {
      own_ = static_cast<T>(converted<std::int32_t>(slot));
    } else if constexpr (IsPtr<T>::value) {
      if (slot.is_empty()) return;  // no object: the member sees a null Ptr
      const Ptr<Object> object = object_of(slot);
      auto* const target = dynamic_cast<typename IsPtr<T>::Target*>(object.get());
      if (target == nullptr) raise_type_mismatch();
      own_ = T(target);
    } else if (const T* same = slot.get_if<T>()) {
      value_ = same;
    } else {
      own_ = converted<T>(slot);
    }
  }
  Argument(const Argument&) = delete;
  Argument& operator=(const Argument&) = delete;
  const T& get() { return *value_; }
  void write_back(Variant&) {}

 private:
  T own_{};
  const T* value_ = &own_;
};

/// By reference, written back when the member changed it.
template <class T>
class Argument<Ref<T>> {
 public:
  static constexpr bool kWritesBack = true;
  static constexpr std::string_view kTypeName = type_name<T>();

  explicit Argument(Variant& slot) {
    if constexpr (std::is_same_v<T, Variant>) {
      value_ = slot;
    } else {
      value_ = converted<T>(slot);
    }
  }
  T& get() { return value_; }
  void write_back(Variant& slot) {
    if constexpr (std::is_same_v<T, Variant>) {
      if (!(value_ == slot)) slot = std::move(value_);
    } else {
      // An argument the member left alone keeps the caller's own type.
      const T* const same = slot.get_if<T>();
      if (same != nullptr ? !(*same == value_) : !(converted<T>(slot) == value_))
        slot = Variant(std::move(value_));
    }
  }

 private:
  T value_{};
};

/// What a member returns, as an automation value.
template <class R>
Variant result_of(R&& result) {
  using T = std::remove_cvref_t<R>;
  if constexpr (std::is_enum_v<T>) {
    return Variant(static_cast<std::int32_t>(result));
  } else if constexpr (IsPtr<T>::value) {
    // An object that is not there reads as empty.
    return result ? Variant(result) : Variant();
  } else {
    return Variant(std::forward<R>(result));
  }
}

}  // namespace quarno::automation
