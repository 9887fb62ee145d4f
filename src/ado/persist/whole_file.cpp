#include "ado/persist/whole_file.h"

#include "common/error.h"
#include "platform/files.h"

namespace quarno::ado::persist {

namespace {

// Null when the name is taken.
std::unique_ptr<platform::NewFile> made(const std::string& name) {
  try {
    return platform::NewFile::make(name);
  } catch (const Error&) {
    // Another user's, left over: the next name does as well.
    if (!platform::files().exists(name)) throw;
    return nullptr;
  }
}

}  // namespace

WholeFile::WholeFile(std::string_view path) : path_(path) {
  constexpr int kMostNames = 100;
  for (int number = 1; file_ == nullptr; ++number) {
    if (number > kMostNames) {
      throw run_time_error(RunTime::permission_denied, path_ + " is being written by too many at once");
    }
    file_ = made(path_ + "." + std::to_string(number) + ".quarnofwk.tmp");
  }
}

}  // namespace quarno::ado::persist
