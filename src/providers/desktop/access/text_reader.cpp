#include "providers/desktop/access/text_reader.h"

#include <algorithm>
#include <array>

#include "ado/ado_error.h"
#include "common/text.h"
#include "providers/desktop/desktop_provider.h"

namespace quarno::desktop::access {
namespace {

constexpr std::size_t kMostBytes = 3;  // of one UTF-16 unit in UTF-8

// Text collects here before it is appended: growing a string by single characters is slow.
class Collector {
 public:
  explicit Collector(std::string& out) : out_(out) {}
  ~Collector() { out_.append(buffer_.data(), used_); }
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;

  void put(std::uint32_t character) {
    if (used_ + kMostBytes + 1 > buffer_.size()) {
      out_.append(buffer_.data(), used_);
      used_ = 0;
    }
    if (character < 0x80) {
      add(character);
    } else if (character < 0x800) {
      add(0xC0 | character >> 6);
      add(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
      add(0xE0 | character >> 12);
      add(0x80 | (character >> 6 & 0x3F));
      add(0x80 | (character & 0x3F));
    } else {
      add(0xF0 | character >> 18);
      add(0x80 | (character >> 12 & 0x3F));
      add(0x80 | (character >> 6 & 0x3F));
      add(0x80 | (character & 0x3F));
    }
  }

  /// One UTF-16 unit; surrogates are put together.
  void put_unit(std::uint32_t unit) {
    const bool low = unit >= 0xDC00 && unit < 0xE000;
    if (high_ != 0) {
      const std::uint32_t high = std::exchange(high_, 0);
      if (low) return put(0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00));
      put(0xFFFD);
    }
    if (unit >= 0xD800 && unit < 0xDC00) {
      high_ = unit;
    } else {
      put(low ? 0xFFFD : unit);
    }
  }
  void end() {
    if (high_ != 0) put(0xFFFD);
    high_ = 0;
  }

 private:
  void add(std::uint32_t byte) { buffer_[used_++] = static_cast<char>(byte); }

  std::string& out_;
  std::array<char, 512> buffer_;
  std::size_t used_ = 0;
  std::uint32_t high_ = 0;  // a high surrogate that waits for its low one
};

// How many characters from the beginning are ASCII and no NUL.
std::size_t ascii_run(std::string_view text) {
  const auto behind = [](char c) { return static_cast<signed char>(c) <= 0; };
  return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), behind) - text.begin());
}

}  // namespace

void append_utf16(std::string& utf8, Bytes bytes) {
  Collector collector(utf8);
  const char* const end = bytes.data() + bytes.size() / 2 * 2;
  for (const char* p = bytes.data(); p != end; p += 2) collector.put_unit(little_endian::u16(p));
  collector.end();
}

void append_unicode(std::string& utf8, Bytes bytes) {
  if (!bytes.text().starts_with("\xFF\xFE")) return append_utf16(utf8, bytes);
  // Most of them are one run of ASCII.
  const std::string_view text = bytes.text().substr(2);
  const std::size_t ascii = ascii_run(text);
  utf8.append(text.substr(0, ascii));
  Collector collector(utf8);
  bool narrow = true;  // one byte a character; a NUL changes over
  for (std::size_t i = 2 + ascii; i < bytes.size();) {
    const std::uint8_t byte = little_endian::u8(bytes.data() + i);
    if (byte == 0) {
      narrow = !narrow;
      ++i;
    } else if (narrow) {
      collector.put_unit(byte);
      ++i;
    } else {
      if (i + 1 == bytes.size()) break;
      collector.put_unit(little_endian::u16(bytes.data() + i));
      i += 2;
    }
  }
  collector.end();
}

TextReader::TextReader(bool jet3, int code_page, int forced)
    : jet3_(jet3), code_page_(code_page), forced_(forced) {
  if (!jet3_ || forced_ == 0) return;
  auto codec = platform::code_page().codec(forced_);
  if (codec == nullptr) {
    throw ado::provider_error(ado::kUnspecified,
                              "This system does not know the code page " + std::to_string(forced_) + ".",
                              kSourceName);
  }
  codecs_[forced_] = std::move(codec);
}

void TextReader::append(std::string& utf8, Bytes bytes, int code_page) {
  if (!jet3_) return append_unicode(utf8, bytes);
  // Plain ASCII is the same in every code page these files have.
  const std::string_view text = bytes.text();
  if (std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    utf8.append(text);
    return;
  }
  const int number = forced_ != 0 ? forced_ : code_page != 0 ? code_page : code_page_;
  auto found = codecs_.find(number);
  if (found == codecs_.end()) {
    // A damaged file can name any number of code pages.
    if (codecs_.size() > 16) codecs_.clear();
    found = codecs_.emplace(number, number == 1252 ? nullptr : platform::code_page().codec(number)).first;
  }
  utf8 += found->second != nullptr ? found->second->decode(text) : text::from_windows_1252(text);
}

std::string TextReader::name(Bytes bytes) {
  const std::string result = read(bytes);
  return result.substr(0, result.find('\0'));
}

}  // namespace quarno::desktop::access
