// Late-bound C++ over quarnofwk.h: a host knows the library only by class and member names.
//
//   quarnofwk::Object data = quarnofwk::create("CData");
//   data.call("SetDBType", data.get("Conn_Jet"));
//   data.set("m_Tabella", "MISURE");
//   quarnofwk::Value where("");
//   if (data.call("Selection", "", quarnofwk::by_ref(where)).boolean()) { ... }
//
// Objects and values own what they hold. A call that fails raises quarnofwk::Error.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quarnofwk/quarnofwk.h"

namespace quarnofwk {

/// What a member raised: number, source and description as the library tells them.
class Error : public std::runtime_error {
 public:
  Error(std::int32_t error_number, std::string error_source, const std::string& description)
      : std::runtime_error(description), number(error_number), source(std::move(error_source)) {}
  std::int32_t number;
  std::string source;
};

namespace detail {
inline std::string copied(qf_text text) { return {text.data, static_cast<std::size_t>(text.size)}; }
}  // namespace detail

/// The calling thread's current error record.
inline Error current_error() {
  std::int32_t number = 0;
  qf_text source{};
  qf_text description{};
  qf_get_error(&number, &source, &description);
  return {number, source.size == 0 ? std::string() : detail::copied(source),
          description.size == 0 ? std::string() : detail::copied(description)};
}

inline void check(qf_status status) {
  if (status != QF_OK) throw current_error();
}

class Object;

/// Days since 30 December 1899.
struct Date {
  double days;
};

/// A value of any automation type. Empty when default-constructed.
class Value {
 public:
  Value() = default;
  Value(bool value) : raw_(typed(QF_BOOLEAN)) { raw_.as.boolean = value ? -1 : 0; }
  Value(std::int16_t value) : raw_(typed(QF_INT16)) { raw_.as.int16 = value; }
  Value(std::int32_t value) : raw_(typed(QF_INT32)) { raw_.as.int32 = value; }
  Value(std::int64_t value) : raw_(typed(QF_INT64)) { raw_.as.int64 = value; }
  Value(double value) : raw_(typed(QF_DOUBLE)) { raw_.as.real = value; }
  Value(Date value) : raw_(typed(QF_DATE)) { raw_.as.date = value.days; }
  Value(std::string_view value) { check(qf_set_text(&raw_, value.data(), value.size())); }
  Value(const std::string& value) : Value(std::string_view(value)) {}
  Value(const char* value) : Value(std::string_view(value)) {}
  inline Value(const Object& object);
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;
  Value(Value&& other) noexcept : raw_(std::exchange(other.raw_, qf_value{})) {}
  Value& operator=(Value&& other) noexcept {
    std::swap(raw_, other.raw_);
    return *this;
  }
  ~Value() { qf_clear(&raw_); }

  static Value null() { return Value(typed(QF_NULL)); }
  static Value missing() { return Value(typed(QF_MISSING)); }

  std::uint16_t type() const { return raw_.type; }
  bool is_empty() const { return raw_.type == QF_EMPTY; }
  bool is_null() const { return raw_.type == QF_NULL; }

  /// The text of a text value; empty for any other type. Valid as long as the value.
  std::string_view text() const {
    if (raw_.type != QF_TEXT || raw_.as.text.size == 0) return {};
    return {raw_.as.text.data, static_cast<std::size_t>(raw_.as.text.size)};
  }
  /// Whether a number or boolean is not 0; false for any other type.
  bool boolean() const { return number() != 0; }
  /// Any number, date or boolean as a double; 0 for any other type.
  double number() const {
    switch (raw_.type) {
      case QF_INT16: return raw_.as.int16;
      case QF_INT32: return raw_.as.int32;
      case QF_INT64: return static_cast<double>(raw_.as.int64);
      case QF_SINGLE: return static_cast<double>(raw_.as.single);
      case QF_DOUBLE: return raw_.as.real;
      case QF_DATE: return raw_.as.date;
      case QF_CURRENCY: return static_cast<double>(raw_.as.currency) / 10000.0;
      case QF_BOOLEAN: return raw_.as.boolean;
      case QF_BYTE: return raw_.as.byte;
      case QF_DECIMAL: {
        const double magnitude =
            std::ldexp(static_cast<double>(raw_.high), 64) + static_cast<double>(raw_.as.low);
        return (raw_.negative != 0 ? -magnitude : magnitude) / std::pow(10.0, raw_.scale);
      }
      default: return 0;
    }
  }
  std::int32_t integer() const { return static_cast<std::int32_t>(number()); }
  /// The object inside; a null object for any other type.
  inline Object object() const;

  qf_value* raw() { return &raw_; }
  const qf_value* raw() const { return &raw_; }

 private:
  friend class Object;
  explicit Value(qf_value raw) : raw_(raw) {}
  static qf_value typed(int type) {
    qf_value value{};
    value.type = static_cast<std::uint16_t>(type);
    return value;
  }

  qf_value raw_{};
};

/// Marks an argument that the member may write back; made by by_ref().
struct ByRef {
  Value& target;
};
inline ByRef by_ref(Value& value) { return {value}; }

/// A member found once, for any number of calls on objects of the class it was found on.
struct Member {
  std::int32_t number;
};

class Object {
 public:
  Object() = default;
  /// Takes over one reference.
  explicit Object(qf_object* taken) : object_(taken) {}
  Object(const Object& other) : object_(other.object_) { qf_retain(object_); }
  Object(Object&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Object& operator=(Object other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Object() { qf_release(object_); }

  explicit operator bool() const { return object_ != nullptr; }
  qf_object* raw() const { return object_; }

  /// Calls a method; reads a property when there is no such method.
  template <class... Arguments>
  Value call(std::string_view member, Arguments&&... arguments) const {
    return access(member, QF_CALL, std::forward<Arguments>(arguments)...);
  }
  /// The same for a member that find() gave: spares the look-up by name where a host calls it for every row.
  template <class... Arguments>
  Value call(Member member, Arguments&&... arguments) const {
    const auto raw = lent(arguments...);
    Value result;
    check(qf_invoke(object_, member.number, QF_CALL, raw.data(), static_cast<std::uint32_t>(raw.size()),
                    nullptr, 0, &result.raw_));
    return result;
  }
  /// Raises error 438 when there is no such member.
  Member find(std::string_view member) const {
    Member found{};
    check(qf_find(object_, member.data(), member.size(), &found.number, nullptr));
    return found;
  }
  Value get(std::string_view member) const { return access(member, QF_GET); }
  template <class T>
  void set(std::string_view member, T&& value) const {
    access(member, QF_PUT, std::forward<T>(value));
  }

 private:
  // Text is lent for the call; everything else is held by a Value of its own while the call runs.
  class Lent {
   public:
    Lent(std::string_view text) {
      raw_.type = QF_TEXT;
      raw_.as.text.data = const_cast<char*>(text.data());
      raw_.as.text.size = text.size();
    }
    Lent(const std::string& text) : Lent(std::string_view(text)) {}
    Lent(const char* text) : Lent(std::string_view(text)) {}
    Lent(ByRef reference) {
      raw_.type = QF_BYREF;
      raw_.as.reference = reference.target.raw();
    }
    Lent(const Value& value) : raw_(*value.raw()) {}
    template <class T>
    requires(std::is_arithmetic_v<T> || std::is_same_v<T, Date>) Lent(T number)
        : raw_(*Value(number).raw()) {}
    inline Lent(const Object& object);
    const qf_value& raw() const { return raw_; }

   private:
    qf_value raw_{};
  };

  template <class... Arguments>
  static std::array<qf_value, sizeof...(Arguments)> lent(const Arguments&... arguments) {
    return {Lent(arguments).raw()...};
  }
  template <class... Arguments>
  Value access(std::string_view member, std::int32_t kind, Arguments&&... arguments) const {
    const auto raw = lent(arguments...);
    Value result;
    check(qf_call(object_, member.data(), member.size(), kind, raw.data(),
                  static_cast<std::uint32_t>(raw.size()), &result.raw_));
    return result;
  }

  qf_object* object_ = nullptr;
};

inline Value::Value(const Object& object) : raw_(typed(QF_OBJECT)) {
  qf_retain(object.raw());
  raw_.as.object = object.raw();
}

inline Object Value::object() const {
  if (raw_.type != QF_OBJECT) return {};
  qf_retain(raw_.as.object);
  return Object(raw_.as.object);
}

inline Object::Lent::Lent(const Object& object) {
  raw_.type = QF_OBJECT;
  raw_.as.object = object.raw();
}

/// Creates an object by class name; raises error 429 when there is no such class.
inline Object create(std::string_view class_name) {
  qf_object* created = nullptr;
  check(qf_create(class_name.data(), class_name.size(), &created));
  return Object(created);
}

}  // namespace quarnofwk
