// A file on its way: written under a name of its own, held by a lock until it gets its final name, and
// removed if it never does. Whoever opens the final name finds what was there before or the whole new file,
// also after a crash and on a full disk. What a process left behind when it ended is cleared away by the next
// one that wants that name; without file locks nobody can tell what is left over, and it stays.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/data_files.h"

namespace quarno::platform {

enum class OverFile : bool { no, yes };

class NewFile {
 public:
  /// Null while another one holds the name, in this process or another. Raises when it cannot be made, or
  /// when what has the name may not be opened.
  static std::unique_ptr<NewFile> make(std::string name);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  const std::string& name() const { return name_; }
  void write(std::string_view bytes);
  /// Brings the file to the disk and gives it its final name, in the same folder. Raises 58 when there is a
  /// file of that name that may not be replaced; a link is replaced, not followed. Once it succeeded, the
  /// file is no longer held.
  void place(std::string_view path, OverFile over);

 private:
  NewFile(std::string name, std::unique_ptr<DataFile> file)
      : name_(std::move(name)), file_(std::move(file)) {}

  std::string name_;
  std::unique_ptr<DataFile> file_;  // null once it is placed
  std::uint64_t size_ = 0;
};

}  // namespace quarno::platform
