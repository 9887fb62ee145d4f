// Objects belong to the thread that created them, yet a garbage-collecting host may let go of one on any
// thread. A reference given back elsewhere waits here until the owner calls into the library again, or ends.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "common/referenced.h"

namespace quarno::automation {

class OwnerThread {
 public:
  /// Of the calling thread.
  static const std::shared_ptr<OwnerThread>& current();

  /// Gives back one reference: at once on the thread itself or when it has ended, else when it drains.
  void release(const Referenced* object);
  /// Gives back what waits; on the thread itself only.
  void drain() {
    if (waiting_.load(std::memory_order_acquire)) drain_all();
  }

 private:
  friend struct ThreadEnd;
  void drain_all();
  void end();

  std::mutex mutex_;
  std::vector<const Referenced*> deferred_;
  std::atomic<bool> waiting_{false};
  bool ended_ = false;
};

}  // namespace quarno::automation
