// Files and folders. Paths are the host's: "\" and drive letters are understood, letter case is ignored when
// the exact path is missing, and a lone name lies in the process's current folder. Failures raise run-time
// errors: 53 file not found, 76 path not found, 75 path/file access, 70 permission denied, 61 disk full, 57
// device error, 67 too many files.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "platform/registry.h"

namespace quarno::platform {

enum class OpenFor {
  input,   // read an existing regular file
  output,  // write, created or emptied
  append,  // write at the end, created when missing
};

/// An open file. Destroying it closes it and swallows what that reports.
class File {
 public:
  virtual ~File() = default;
  /// Reads up to the buffer's size; 0 only at the end of the file.
  virtual std::size_t read(std::span<char> buffer) = 0;
  /// Writes all bytes, or raises; in append mode one call's bytes stay together.
  virtual void write(std::string_view bytes) = 0;
  /// Raises when the system reports that something written before was lost.
  virtual void close() = 0;
};

class Files {
 public:
  virtual ~Files() = default;
  virtual std::unique_ptr<File> open(std::string_view path, OpenFor mode) = 0;
  /// Name of the first normal file, in name order, that the path or pattern ("*", "?") lists; "" when there
  /// is none. Normal files are regular files whose name does not begin with "."; an empty name lists the
  /// whole folder.
  virtual std::string find(std::string_view path) = 0;
  /// Whether anything of that name exists, a folder included.
  virtual bool exists(std::string_view path) = 0;
  /// Length in bytes.
  virtual std::uint64_t size(std::string_view path) = 0;
  /// One level; the parent must exist.
  virtual void create_folder(std::string_view path) = 0;
  /// The path in the platform's own form, for engines that open files themselves.
  virtual std::string native(std::string_view path) = 0;
};

inline Files& files() { return port<Files>(); }

}  // namespace quarno::platform
