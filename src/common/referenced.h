// Counted objects. Everything that a variant can hold by reference derives from Referenced and is kept by
// Ptr. The count is atomic because a garbage-collecting host may let go of an object on another thread than
// the one that uses it; the objects themselves belong to one thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace quarno {

class Referenced {
 public:
  Referenced() = default;
  Referenced(const Referenced&) = delete;
  Referenced& operator=(const Referenced&) = delete;
  virtual ~Referenced() = default;

  void retain() const noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
  /// Deletes the object when this was the last reference.
  void release() const noexcept {
    if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 private:
  mutable std::atomic<std::uint32_t> count_{0};
};

/// Shared ownership of a Referenced; null when empty.
template <class T>
class Ptr {
 public:
  Ptr() = default;
  Ptr(std::nullptr_t) {}
  explicit Ptr(T* object) : object_(object) {
    if (object_ != nullptr) object_->retain();
  }
  Ptr(const Ptr& other) : Ptr(other.object_) {}
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  Ptr(const Ptr<U>& other) : Ptr(other.get()) {}
  ~Ptr() {
    if (object_ != nullptr) object_->release();
  }
  Ptr& operator=(Ptr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  bool operator==(const Ptr& other) const { return object_ == other.object_; }
  bool operator==(std::nullptr_t) const { return object_ == nullptr; }

 private:
  T* object_ = nullptr;
};

template <class T, class... Arguments>
Ptr<T> make(Arguments&&... arguments) {
  return Ptr<T>(new T(std::forward<Arguments>(arguments)...));
}

}  // namespace quarno
