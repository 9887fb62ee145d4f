#include "providers/desktop/dbase/memo_file.h"

#include <algorithm>

#include "providers/desktop/dbase/little_endian.h"

namespace quarno::desktop::dbase {
namespace {

constexpr std::size_t kBlock = 512;
constexpr std::uint64_t kLongest = std::uint64_t{64} * 1024 * 1024;
constexpr std::string_view kMark = "\x1A\x1A";
constexpr std::string_view kLengthFollows = "\xFF\xFF\x08";
constexpr std::size_t kPrefix = 8;
constexpr std::uint64_t kLastBlock = 0xFFFF'FFFE;  // what the header's four bytes can count

std::string bytes_at(platform::DataFile& file, std::uint64_t offset, std::uint64_t count) {
  std::string bytes(static_cast<std::size_t>(count), '\0');
  bytes.resize(file.read_at(offset, bytes));
  return bytes;
}

}  // namespace

MemoFile::MemoFile(std::unique_ptr<platform::DataFile> file, bool with_lengths)
    : file_(std::move(file)), with_lengths_(with_lengths) {
  if (!with_lengths_) return;
  const std::uint16_t size = number_at<std::uint16_t>(bytes_at(*file_, 0, 22), 20);
  if (size >= 32) block_size_ = size;
}

std::optional<std::string> MemoFile::read(std::uint64_t block) {
  const std::uint64_t size = file_->size();
  if (block < 1 || block > size / block_size_) return std::nullopt;
  const std::uint64_t offset = block * block_size_;
  if (offset >= size) return std::nullopt;
  if (with_lengths_) {
    if (auto bytes = read_with_length(offset, size)) return bytes;
  }
  return read_to_mark(offset, size);
}

std::optional<std::string> MemoFile::read_with_length(std::uint64_t offset, std::uint64_t size) {
  const std::string prefix = bytes_at(*file_, offset, kPrefix);
  if (!prefix.starts_with(kLengthFollows) || prefix.size() < kPrefix) return std::nullopt;
  const std::uint64_t length = number_at<std::uint32_t>(prefix, 4);
  if (length < kPrefix || length > size - offset || length > kLongest) return std::nullopt;
  return bytes_at(*file_, offset + kPrefix, length - kPrefix);
}

std::string MemoFile::read_to_mark(std::uint64_t offset, std::uint64_t size) {
  const std::uint64_t end = std::min(size, offset + kLongest);
  std::string bytes;
  for (std::uint64_t step = kBlock; offset < end; step = std::min<std::uint64_t>(step * 2, 1 << 20)) {
    const std::string piece = bytes_at(*file_, offset, std::min(step, end - offset));
    const std::size_t mark = piece.find(kMark.front());
    bytes.append(piece, 0, mark);
    if (mark != std::string::npos || piece.empty()) break;
    offset += piece.size();
  }
  // A last block may be padded without a mark.
  const std::size_t last = bytes.find_last_not_of('\0');
  bytes.resize(last == std::string::npos ? 0 : last + 1);
  return bytes;
}

std::optional<std::uint64_t> MemoFile::append(std::string_view bytes) {
  if (!with_lengths_ && bytes.find(kMark.front()) != std::string_view::npos) return std::nullopt;
  if (next_ == 0) {
    const std::uint64_t blocks = (file_->size() + block_size_ - 1) / block_size_;
    next_ = std::max<std::uint64_t>({1, blocks, number_at<std::uint32_t>(bytes_at(*file_, 0, 4), 0)});
  }
  std::string text;
  if (with_lengths_) {
    text = kLengthFollows;
    text.push_back('\0');
    append_number(text, static_cast<std::uint32_t>(bytes.size() + kPrefix));
  }
  text += bytes;
  if (!with_lengths_) text += kMark;
  const std::uint64_t blocks = (text.size() + block_size_ - 1) / block_size_;
  if (bytes.size() > kLongest || next_ + blocks > kLastBlock) return std::nullopt;
  text.resize(static_cast<std::size_t>(blocks * block_size_), '\0');
  const std::uint64_t block = next_;
  file_->write_at(block * block_size_, text);
  next_ += blocks;
  return block;
}

void MemoFile::sync() {
  if (next_ == 0) return;
  std::string next;
  append_number(next, static_cast<std::uint32_t>(next_));
  file_->write_at(0, next);
  file_->sync();
}

std::string MemoFile::empty_file() {
  std::string bytes;
  append_number(bytes, std::uint32_t{1});
  bytes.resize(16, '\0');
  bytes.push_back('\x03');
  bytes.resize(kBlock, '\0');
  return bytes;
}

}  // namespace quarno::desktop::dbase
