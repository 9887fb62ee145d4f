#include "platform/code_page.h"

#include <iconv.h>

#include <array>
#include <string>
#include <unordered_map>

#include "common/text.h"

namespace quarno::platform {
namespace {

constexpr char32_t kOpen = 0xFFFD;  // what a byte without a character reads as

/// One direction of a conversion.
class Converter {
 public:
  Converter(const char* to, const char* from) : handle_(::iconv_open(to, from)) {}
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter() {
    if (is_open()) ::iconv_close(handle_);
  }
  // NOLINTNEXTLINE(performance-no-int-to-ptr): it is how iconv_open says that it cannot
  bool is_open() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

  /// Converts as far as it goes, appending to `target`; returns the bytes that were understood.
  std::size_t append(std::string_view bytes, std::string& target) {
    std::string source(bytes);
    std::string piece(bytes.size() * 4 + 16, '\0');
    char* in = source.data();
    char* out = piece.data();
    std::size_t in_left = source.size();
    std::size_t out_left = piece.size();
    ::iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    ::iconv(handle_, &in, &in_left, &out, &out_left);
    target.append(piece, 0, piece.size() - out_left);
    return bytes.size() - in_left;
  }

 private:
  iconv_t handle_;
};

class SingleByteCodec : public TextCodec {
 public:
  explicit SingleByteCodec(Converter& to_utf8) {
    for (std::size_t byte = 0; byte < characters_.size(); ++byte) {
      const char single = static_cast<char>(byte);
      std::string utf8;
      const bool known = to_utf8.append({&single, 1}, utf8) == 1 && !utf8.empty();
      std::size_t position = 0;
      const char32_t character = known ? text::next_character(utf8, position) : kOpen;
      if (known) bytes_.emplace(character, single);
      text::append_character(characters_[byte], character);
    }
  }

  std::string decode(std::string_view bytes) override {
    std::string utf8;
    utf8.reserve(bytes.size());
    for (const char byte : bytes) utf8 += characters_[static_cast<unsigned char>(byte)];
    return utf8;
  }

  std::optional<std::string> encode(std::string_view utf8) override {
    std::string bytes;
    bytes.reserve(utf8.size());
    for (std::size_t position = 0; position < utf8.size();) {
      const auto found = bytes_.find(text::next_character(utf8, position));
      if (found == bytes_.end()) return std::nullopt;
      bytes.push_back(found->second);
    }
    return bytes;
  }

 private:
  std::array<std::string, 256> characters_;
  std::unordered_map<char32_t, char> bytes_;
};

class MultiByteCodec : public TextCodec {
 public:
  explicit MultiByteCodec(const char* name) : to_utf8_("UTF-8", name), from_utf8_(name, "UTF-8") {}

  std::string decode(std::string_view bytes) override {
    std::string utf8;
    while (!bytes.empty()) {
      bytes.remove_prefix(to_utf8_.append(bytes, utf8));
      if (bytes.empty()) break;
      text::append_character(utf8, kOpen);
      bytes.remove_prefix(1);
    }
    return utf8;
  }

  std::optional<std::string> encode(std::string_view utf8) override {
    std::string bytes;
    if (from_utf8_.append(utf8, bytes) != utf8.size()) return std::nullopt;
    return bytes;
  }

 private:
  Converter to_utf8_;
  Converter from_utf8_;
};

struct Name {
  int number;
  const char* name;
};
constexpr Name kMultiByte[] = {{932, "CP932"},  {936, "GBK"},       {949, "CP949"},  {950, "CP950"},
                               {1361, "JOHAB"}, {54936, "GB18030"}, {65001, "UTF-8"}};
// Others are CP and their number.
constexpr Name kSingleByte[] = {{10000, "MACINTOSH"}, {10007, "MAC-CYRILLIC"}, {10029, "MAC-CENTRALEUROPE"}};

class LinuxCodePage : public CodePage {
 public:
  std::string to_ansi(std::string_view utf8) override { return text::to_windows_1252(utf8); }
  std::string from_ansi(std::string_view bytes) override { return text::from_windows_1252(bytes); }

  std::unique_ptr<TextCodec> codec(int number) override {
    for (const Name& known : kMultiByte) {
      if (known.number == number) return std::make_unique<MultiByteCodec>(known.name);
    }
    std::string name = "CP" + std::to_string(number);
    for (const Name& known : kSingleByte) {
      if (known.number == number) name = known.name;
    }
    Converter to_utf8("UTF-8", name.c_str());
    if (!to_utf8.is_open()) return nullptr;
    return std::make_unique<SingleByteCodec>(to_utf8);
  }
};

}  // namespace

template <>
std::unique_ptr<CodePage> make_adapter<CodePage>() {
  return std::make_unique<LinuxCodePage>();
}

}  // namespace quarno::platform
