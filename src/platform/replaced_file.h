// A file that is written anew as a whole: beside the old one, under a hidden name of its own, and put in its
// place when all of it is on the disk (new_file.h). Owner and permissions stay, and a link stays a link: the
// file it leads to is replaced. As long as one lives, every other one of its path waits, in this process and
// in others.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "platform/data_files.h"
#include "platform/new_file.h"

namespace quarno::platform {

class ReplacedFile {
 public:
  /// Waits while another one of this path lives, or another program has locked the file, and raises 70 when
  /// its patience ends: who writes is done within milliseconds, and one that was stopped must not stop the
  /// others. Raises too when the file may not be written (70), is no regular file (75), or cannot be made.
  explicit ReplacedFile(std::string_view path, std::chrono::milliseconds patience = std::chrono::seconds(5));

  /// The old file, locked; null when there is none.
  DataFile* old_file() { return old_.get(); }
  /// Whether there is a new file to write. Where the folder takes none, or it could not be given the old
  /// one's owner and permissions, the old file can only be changed in place.
  bool is_beside() const { return file_ != nullptr; }
  void write(std::string_view bytes) { file_->write(bytes); }
  /// Brings the new file to the disk and gives it its name. False when the system does not let the old file
  /// be replaced, as one that is mounted by itself. Call it once.
  bool place();

 private:
  bool take_turn();
  bool begin_beside();

  std::string path_;
  std::unique_ptr<DataFile> old_;
  std::unique_ptr<NewFile> file_;  // null once it is placed
};

}  // namespace quarno::platform
