// The wall clock.
#pragma once

#include "common/date.h"
#include "platform/registry.h"

namespace quarno::platform {

class Clock {
 public:
  virtual ~Clock() = default;
  /// The local date and time of day.
  virtual Date now() = 0;
};

inline Clock& clock() { return port<Clock>(); }

}  // namespace quarno::platform
