// The user's locale: decimal and group sign, separators, month names. Read once from the environment (or the
// system's settings), never from the process's setlocale, which belongs to the host.
#pragma once

#include "common/locale_info.h"
#include "platform/registry.h"

namespace quarno::platform {

class Locale {
 public:
  virtual ~Locale() = default;
  /// Stays valid as long as the port.
  virtual const LocaleInfo& info() = 0;
};

inline const LocaleInfo& locale() { return port<Locale>().info(); }

}  // namespace quarno::platform
