// Where the bytes of a snapshot come from and go to.
#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace quarno::ado::persist {

/// Fills the buffer with the next bytes, at least one; 0 only at the end.
using ByteSource = std::function<std::size_t(std::span<char>)>;
using ByteSink = std::function<void(std::string_view)>;

ByteSource file_source(std::shared_ptr<platform::File> file);
/// The bytes must outlive the source.
ByteSource memory_source(std::string_view bytes);

/// UTF-16, and what has a byte order mark, as UTF-8. All else passes through, as the bytes of an encoding
/// that contains ASCII.
class TextSource {
 public:
  explicit TextSource(ByteSource source) : source_(std::move(source)) {}
  /// Appends the next part; false at the end. Raises what is no text.
  bool read(std::string& to);
  /// Whether the bytes are UTF-8 whatever the text says of itself.
  bool is_utf8() const { return mark_ != Mark::none; }

 private:
  enum class Mark { unknown, none, utf8, little_endian, big_endian };

  bool refill();
  void append_utf16(std::string& to);

  ByteSource source_;
  Mark mark_ = Mark::unknown;
  std::string raw_;  // read, but not handed out yet
};

/// Gathers what is written into large blocks.
class Output {
 public:
  explicit Output(ByteSink sink) : sink_(std::move(sink)), block_(kBlockBytes) {}

  void put(std::string_view text) {
    if (text.size() > block_.size() - used_) return put_long(text);
    std::memcpy(block_.data() + used_, text.data(), text.size());
    used_ += text.size();
  }
  void put(char c) { *room(1) = c, ++used_; }
  /// A place for up to `size` bytes, at most 1024, and where what was written there ends.
  char* room(std::size_t size) {
    if (size > block_.size() - used_) flush();
    return block_.data() + used_;
  }
  void end_at(const char* end) { used_ = static_cast<std::size_t>(end - block_.data()); }
  void flush();

 private:
  static constexpr std::size_t kBlockBytes = std::size_t{256} * 1024;

  void put_long(std::string_view text);

  ByteSink sink_;
  std::vector<char> block_;
  std::size_t used_ = 0;
};

}  // namespace quarno::ado::persist
