// The .dbt file beside a table, in which its long texts stand. Texts are only ever appended, so that what a
// rolled back transaction leaves behind is out of use and harms nobody.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/data_files.h"

namespace quarno::desktop::dbase {

class MemoFile {
 public:
  /// `with_lengths`: texts have their length before them (dBASE IV) and no end mark behind them.
  MemoFile(std::unique_ptr<platform::DataFile> file, bool with_lengths);

  /// The bytes that begin in that block; nothing when there are none.
  std::optional<std::string> read(std::uint64_t block);
  /// The block where the bytes now begin; nothing when a text without length holds the end mark itself.
  /// Whoever calls keeps other writers away.
  std::optional<std::uint64_t> append(std::string_view bytes);
  /// Brings what was appended to the disk.
  void sync();
  /// What other programs appended since is not to be written over.
  void forget_end() { next_ = 0; }

  /// A .dbt without texts.
  static std::string empty_file();

 private:
  std::optional<std::string> read_with_length(std::uint64_t offset, std::uint64_t size);
  std::string read_to_mark(std::uint64_t offset, std::uint64_t size);

  std::unique_ptr<platform::DataFile> file_;
  bool with_lengths_;
  std::uint64_t block_size_ = 512;
  std::uint64_t next_ = 0;  // free block; 0 until something is appended
};

}  // namespace quarno::desktop::dbase
