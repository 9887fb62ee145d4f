// A parameter that the member writes back. It binds to the caller's variable, holds a temporary when the
// caller gives a literal, or is absent when the caller gives nothing. Only members that write back take one.
#pragma once

#include <optional>
#include <utility>

namespace quarno {

template <class T>
class Ref {
 public:
  Ref() = default;
  Ref(T& variable) : target_(&variable) {}
  Ref(T&& literal) : own_(std::move(literal)), target_(&*own_) {}
  template <class U>
  requires std::is_constructible_v<T, const U&> &&(!std::is_same_v<std::decay_t<U>, T>)Ref(const U& literal)
      : own_(T(literal)), target_(&*own_) {}
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;

  bool is_absent() const { return target_ == nullptr; }
  /// The value, or a default-constructed one when the argument is absent.
  const T& value() const {
    static const T absent{};
    return target_ != nullptr ? *target_ : absent;
  }
  /// Writes to the caller's variable; without effect on a literal's temporary or when absent.
  void set(T value) {
    if (target_ != nullptr) *target_ = std::move(value);
  }

 private:
  std::optional<T> own_;
  T* target_ = nullptr;
};

}  // namespace quarno
