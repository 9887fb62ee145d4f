#include "ado/persist/byte_stream.h"

#include <algorithm>

#include "ado/persist/snapshot_error.h"
#include "common/text.h"

namespace quarno::ado::persist {
namespace {

constexpr std::size_t kReadBytes = std::size_t{128} * 1024;

}  // namespace

ByteSource file_source(std::shared_ptr<platform::File> file) {
  return [file = std::move(file)](std::span<char> buffer) { return file->read(buffer); };
}

ByteSource memory_source(std::string_view bytes) {
  return [bytes](std::span<char> buffer) mutable {
    const std::size_t count = std::min(buffer.size(), bytes.size());
    std::memcpy(buffer.data(), bytes.data(), count);
    bytes.remove_prefix(count);
    return count;
  };
}

bool TextSource::refill() {
  const std::size_t before = raw_.size();
  raw_.resize(before + kReadBytes);
  const std::size_t count = source_(std::span(raw_).subspan(before));
  raw_.resize(before + count);
  return count > 0;
}

bool TextSource::read(std::string& to) {
  if (mark_ == Mark::unknown) {
    while (raw_.size() < 3 && refill()) continue;
    const std::string_view begin = raw_;
    using namespace std::string_view_literals;
    // In two bytes each without a mark, the first sign still tells.
    mark_ = begin.starts_with("\xEF\xBB\xBF")                             ? Mark::utf8
            : begin.starts_with("\xFF\xFE") || begin.starts_with("<\0"sv) ? Mark::little_endian
            : begin.starts_with("\xFE\xFF") || begin.starts_with("\0<"sv) ? Mark::big_endian
                                                                          : Mark::none;
    const bool is_marked = mark_ != Mark::none && !begin.starts_with('<') && !begin.starts_with('\0');
    if (is_marked) raw_.erase(0, mark_ == Mark::utf8 ? 3 : 2);
  }
  const bool is_utf16 = mark_ == Mark::little_endian || mark_ == Mark::big_endian;
  // A character that the last block broke off needs more bytes.
  if ((raw_.empty() || is_utf16) && !refill()) {
    if (!raw_.empty()) {
      const std::size_t before = to.size();
      append_utf16(to);
      if (!raw_.empty()) throw no_snapshot("The text breaks off within a character.");
      return to.size() > before;
    }
    return false;
  }
  if (is_utf16) {
    append_utf16(to);
  } else {
    to += raw_;
    raw_.clear();
  }
  return true;
}

void TextSource::append_utf16(std::string& to) {
  const std::size_t low_at = mark_ == Mark::little_endian ? 0 : 1;
  const auto unit = [&](std::size_t at) {
    return static_cast<char32_t>(static_cast<std::uint8_t>(raw_[at + low_at]) |
                                 static_cast<std::uint8_t>(raw_[at + 1 - low_at]) << 8);
  };
  std::size_t at = 0;
  while (at + 2 <= raw_.size()) {
    char32_t character = unit(at);
    if (character < 0x80) {
      to += static_cast<char>(character);
      at += 2;
      continue;
    }
    if (character >= 0xD800 && character < 0xE000) {
      if (at + 4 > raw_.size()) break;
      const char32_t second = unit(at + 2);
      if (character >= 0xDC00 || second < 0xDC00 || second >= 0xE000) {
        throw no_snapshot("The text holds half a character.");
      }
      character = 0x10000 + ((character - 0xD800) << 10) + (second - 0xDC00);
      at += 2;
    }
    text::append_character(to, character);
    at += 2;
  }
  raw_.erase(0, at);
}

void Output::flush() {
  if (used_ > 0) sink_({block_.data(), used_});
  used_ = 0;
}

void Output::put_long(std::string_view text) {
  flush();
  if (text.size() > block_.size() / 2) return sink_(text);
  put(text);
}

}  // namespace quarno::ado::persist
