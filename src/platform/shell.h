// Handing documents over to the user's desktop and to the printer.
#pragma once

#include <string>

#include "platform/registry.h"

namespace quarno::platform {

/// Paths are in the platform's form; a relative one lies in the process's current folder. Nothing is raised:
/// where there is no such file, program, desktop or printer, nothing happens. The programs started belong to
/// the system, not to the host: nobody waits for them, and they have none of its open files.
class Shell {
 public:
  virtual ~Shell() = default;
  /// Opens the file with the application registered for its kind, in the working folder given.
  virtual void open(const std::string& file, const std::string& working_folder) = 0;
  /// Prints the file as it is on the user's default printer.
  virtual void print(const std::string& file, const std::string& working_folder) = 0;
};

inline Shell& shell() { return port<Shell>(); }

}  // namespace quarno::platform
