// Files that are used as a database: read and written at a position, locked against other processes, brought
// safely to the disk. Paths and failures are those of platform/files.h.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace quarno::platform {

enum class LockKind { shared, exclusive };

/// An open regular file. Destroying it closes it and gives up its locks.
class DataFile {
 public:
  virtual ~DataFile() = default;
  /// Reads until the buffer is full or the file ends; returns how much was read.
  virtual std::size_t read_at(std::uint64_t offset, std::span<char> buffer) = 0;
  /// Writes all bytes, or raises; the file grows where needed.
  virtual void write_at(std::uint64_t offset, std::string_view bytes) = 0;
  virtual std::uint64_t size() = 0;
  virtual void truncate(std::uint64_t size) = 0;
  /// Returns when what was written is on the disk.
  virtual void sync() = 0;
  /// Takes or changes this file's lock on a byte range, which need not lie inside the file, without waiting.
  /// Locks of two open files exclude each other, also within one process. False when another holds one that
  /// excludes it; raises where the file system has no locks.
  virtual bool try_lock(LockKind kind, std::uint64_t first, std::uint64_t count) = 0;
  virtual void unlock(std::uint64_t first, std::uint64_t count) = 0;
  /// Whether the path names this very file, and not another one that took its place.
  virtual bool is_at(std::string_view path) = 0;
};

class DataFiles {
 public:
  enum class Access { read, read_write };

  virtual ~DataFiles() = default;
  /// Opens an existing regular file.
  virtual std::unique_ptr<DataFile> open(std::string_view path, Access access) = 0;
  /// Makes a new file for reading and writing; raises 58 when the name is taken.
  virtual std::unique_ptr<DataFile> create(std::string_view path) = 0;
  virtual void remove(std::string_view path) = 0;
  /// At once and whole: whoever opens `to` finds the old file or the new one.
  virtual void replace(std::string_view from, std::string_view to) = 0;
  /// Renames at once, and never over a file that is there: then it raises 58.
  virtual void publish(std::string_view from, std::string_view to) = 0;
  /// Returns when the folder's list of names is on the disk.
  virtual void sync_folder(std::string_view folder) = 0;
  /// Where the file itself lies when the path names a link, in the platform's form; nothing needs to be
  /// there.
  virtual std::string behind_links(std::string_view path) { return std::string(path); }
  /// Gives a new file the owner, group and permissions of the one it is to replace. False when the process
  /// may not, or when more would be lost: access lists, and the other names of a file that has several.
  virtual bool keep_access(std::string_view /*old_file*/, std::string_view /*new_file*/) { return true; }
  /// Names of the regular files in a folder whose name does not begin with ".", in name order; none when
  /// there is no such folder.
  virtual std::vector<std::string> names(std::string_view folder) = 0;
};

inline DataFiles& data_files() { return port<DataFiles>(); }

}  // namespace quarno::platform
