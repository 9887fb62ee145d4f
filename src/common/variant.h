// A tagged value, as automation passes it. The type numbers are the automation VARIANT codes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "common/date.h"
#include "common/decimal.h"
#include "common/referenced.h"

namespace quarno {

enum class VariantType : std::uint16_t {
  empty = 0,
  null = 1,
  int16 = 2,
  int32 = 3,
  single = 4,
  real = 5,
  currency = 6,
  date = 7,
  text = 8,
  object = 9,
  missing = 10,  // an optional argument that was left out
  boolean = 11,
  variant = 12,  // only as the element type of an array
  decimal = 14,
  byte = 17,
  int64 = 20,
  array = 0x2000 | 12,  // of variants
  bytes = 0x2000 | 17,
};

/// True is stored as all bits set where a number is needed.
inline constexpr int kTrue = -1;

class Variant {
 public:
  struct Null {
    friend bool operator==(Null, Null) { return true; }
  };
  struct Missing {
    friend bool operator==(Missing, Missing) { return true; }
  };
  using Bytes = std::vector<std::uint8_t>;
  using Array = std::vector<Variant>;  // indexed from 0
  using Object = Ptr<Referenced>;
  using Storage =
      std::variant<std::monostate, Null, Missing, std::int16_t, std::int32_t, std::int64_t, std::uint8_t,
                   float, double, Currency, Decimal, Date, bool, std::string, Bytes, Array, Object>;

  Variant() = default;
  template <class T>
  requires(!std::is_same_v<std::decay_t<T>, Variant> && !std::is_enum_v<std::decay_t<T>> &&
           std::is_constructible_v<Storage, T&&>) Variant(T&& value)
      : storage_(std::forward<T>(value)) {}
  Variant(const char* text) : storage_(std::in_place_type<std::string>, text) {}
  Variant(std::string_view text) : storage_(std::in_place_type<std::string>, text) {}
  template <class T>
  requires(std::is_base_of_v<Referenced, T>) Variant(const Ptr<T>& object) : storage_(Object(object)) {}

  static Variant null() { return Null{}; }
  static Variant missing() { return Missing{}; }

  VariantType type() const;
  bool is_empty() const { return std::holds_alternative<std::monostate>(storage_); }
  bool is_null() const { return std::holds_alternative<Null>(storage_); }
  bool is_missing() const { return std::holds_alternative<Missing>(storage_); }
  bool is_text() const { return std::holds_alternative<std::string>(storage_); }

  template <class T>
  const T* get_if() const {
    return std::get_if<T>(&storage_);
  }
  template <class T>
  T* get_if() {
    return std::get_if<T>(&storage_);
  }
  const Storage& storage() const { return storage_; }

  /// Same type and same value; objects by identity.
  friend bool operator==(const Variant& a, const Variant& b) { return a.storage_ == b.storage_; }

 private:
  Storage storage_;
};

}  // namespace quarno
