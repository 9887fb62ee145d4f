// Where the library's own file lies, found from the loaded module and never from the host program.
#pragma once

#include <string>

#include "platform/registry.h"

namespace quarno::platform {

class ModulePath {
 public:
  virtual ~ModulePath() = default;
  /// Full path of the library's file, in the platform's own form.
  virtual std::string file() = 0;
};

inline ModulePath& module_path() { return port<ModulePath>(); }

/// The folder of the library's file, without a separator at its end.
inline std::string module_folder() {
  const std::string file = module_path().file();
  const auto end = file.find_last_of("/\\");
  return end == std::string::npos ? std::string(".") : file.substr(0, end);
}

}  // namespace quarno::platform
