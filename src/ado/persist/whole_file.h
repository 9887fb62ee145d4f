// A file that takes its name once it is whole: until then it stands beside, "NAME.1.quarnofwk.tmp", and what
// had the name before stays as it is. Several may be on their way to one name; the last one placed wins.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/new_file.h"

namespace quarno::ado::persist {

using platform::OverFile;

class WholeFile {
 public:
  /// Raises 70 when a hundred others are writing to that name.
  explicit WholeFile(std::string_view path);

  void write(std::string_view bytes) { file_->write(bytes); }
  /// Once, at the end. Without leave to replace a file that is there it raises 58; a link is replaced, not
  /// followed.
  void place(OverFile over) { file_->place(path_, over); }

 private:
  std::string path_;
  std::unique_ptr<platform::NewFile> file_;
};

}  // namespace quarno::ado::persist
