// How a port is found. port<P>() gives the system's adapter, made on first use by make_adapter<P>() of the
// platform's folder; a ScopedPort puts another one in its place for a scope. Any thread may ask; a ScopedPort
// is for tests and must outlive the calls that use it.
#pragma once

#include <atomic>
#include <memory>
#include <type_traits>

namespace quarno::platform {

/// Defined once per port by the platform's adapters.
template <class Port>
std::unique_ptr<Port> make_adapter();

template <class Port>
std::atomic<Port*>& replacement() {
  static std::atomic<Port*> instance{nullptr};
  return instance;
}

template <class Port>
Port& port() {
  if (Port* other = replacement<Port>().load(std::memory_order_acquire)) return *other;
  // Never destroyed: objects that a host releases while the process ends may still need it.
  static Port& adapter = *make_adapter<Port>().release();
  return adapter;
}

template <class Port>
class ScopedPort {
 public:
  /// The port is named, ScopedPort<Clock>(fake): deduced from the fake it would replace nothing.
  explicit ScopedPort(std::type_identity_t<Port>& other) : previous_(replacement<Port>().exchange(&other)) {}
  ~ScopedPort() { replacement<Port>().store(previous_); }
  ScopedPort(const ScopedPort&) = delete;
  ScopedPort& operator=(const ScopedPort&) = delete;

 private:
  Port* previous_;
};

}  // namespace quarno::platform
