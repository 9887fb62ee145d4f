// A file that lies in memory, for readers that take a platform::DataFile.
#pragma once

#include <algorithm>
#include <string>
#include <utility>

#include "platform/data_files.h"

namespace quarno::test {

class MemoryFile : public platform::DataFile {
 public:
  explicit MemoryFile(std::string bytes) : bytes_(std::move(bytes)) {}

  std::size_t read_at(std::uint64_t offset, std::span<char> buffer) override {
    if (offset >= bytes_.size()) return 0;
    return bytes_.copy(buffer.data(), buffer.size(), offset);
  }
  void write_at(std::uint64_t offset, std::string_view bytes) override {
    if (bytes_.size() < offset + bytes.size()) bytes_.resize(offset + bytes.size());
    bytes_.replace(offset, bytes.size(), bytes);
  }
  std::uint64_t size() override { return bytes_.size(); }
  void truncate(std::uint64_t size) override { bytes_.resize(size); }
  void sync() override {}
  // Nobody else can have it open.
  bool try_lock(platform::LockKind, std::uint64_t, std::uint64_t) override { return true; }
  void unlock(std::uint64_t, std::uint64_t) override {}
  bool is_at(std::string_view) override { return false; }

  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

}  // namespace quarno::test
