#include "automation/owner_thread.h"

#include <utility>

namespace quarno::automation {

// Lives as long as its thread.
struct ThreadEnd {
  std::shared_ptr<OwnerThread> owner = std::make_shared<OwnerThread>();
  ~ThreadEnd() { owner->end(); }
};

const std::shared_ptr<OwnerThread>& OwnerThread::current() {
  thread_local ThreadEnd instance;
  return instance.owner;
}

void OwnerThread::release(const Referenced* object) {
  if (current().get() != this) {
    const std::scoped_lock lock(mutex_);
    if (!ended_) {
      deferred_.push_back(object);
      waiting_.store(true, std::memory_order_release);
      return;
    }
  }
  object->release();
}

void OwnerThread::drain_all() {
  std::vector<const Referenced*> ready;
  {
    const std::scoped_lock lock(mutex_);
    ready.swap(deferred_);
    waiting_.store(false, std::memory_order_relaxed);
  }
  // Outside the lock: an object that goes may take others with it.
  for (const Referenced* object : ready) object->release();
}

void OwnerThread::end() {
  drain_all();
  const std::scoped_lock lock(mutex_);
  ended_ = true;
  // What came in between is given back here as well.
  for (const Referenced* object : std::exchange(deferred_, {})) object->release();
}

}  // namespace quarno::automation
