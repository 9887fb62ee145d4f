#include "providers/desktop/dbase/text_form.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "common/text.h"

namespace quarno::desktop::dbase {
namespace {

constexpr int kUtf8 = 65001;
constexpr int kOem = 437;

struct Driver {
  std::uint8_t byte;
  int code_page;
};

// The first byte of a code page is the one to write.
constexpr Driver kDrivers[] = {
    {0x01, 437},   {0x09, 437},  {0x0B, 437},  {0x0D, 437},  {0x0F, 437},   {0x11, 437},   {0x15, 437},
    {0x18, 437},   {0x19, 437},  {0x1B, 437},  {0x02, 850},  {0x0A, 850},   {0x0E, 850},   {0x10, 850},
    {0x12, 850},   {0x14, 850},  {0x16, 850},  {0x1A, 850},  {0x1D, 850},   {0x25, 850},   {0x37, 850},
    {0x57, 1252},  {0x03, 1252}, {0x58, 1252}, {0x59, 1252}, {0x04, 10000}, {0x96, 10007}, {0x97, 10029},
    {0x98, 10006}, {0x66, 865},  {0x08, 865},  {0x17, 865},  {0x65, 866},   {0x26, 866},   {0x64, 852},
    {0x1F, 852},   {0x22, 852},  {0x23, 852},  {0x40, 852},  {0x87, 852},   {0x24, 860},   {0x67, 861},
    {0x6C, 863},   {0x1C, 863},  {0x6A, 737},  {0x86, 737},  {0x6B, 857},   {0x88, 857},   {0x68, 895},
    {0x69, 620},   {0x7C, 874},  {0x50, 874},  {0x7B, 932},  {0x13, 932},   {0x7A, 936},   {0x4D, 936},
    {0x79, 949},   {0x4E, 949},  {0x78, 950},  {0x4F, 950},  {0x7D, 1255},  {0x7E, 1256},  {0xC8, 1250},
    {0xC9, 1251},  {0xCA, 1254}, {0xCB, 1253}, {0xCC, 1257}, {0xF0, kUtf8},
};

constexpr int kManyByte[] = {932, 936, 949, 950, 1361, 54936, kUtf8};

}  // namespace

std::optional<int> code_page_of_driver(std::uint8_t language_driver) {
  for (const Driver& driver : kDrivers) {
    if (driver.byte == language_driver) return driver.code_page;
  }
  return std::nullopt;
}

std::uint8_t driver_of_code_page(int code_page) {
  for (const Driver& driver : kDrivers) {
    if (driver.code_page == code_page) return driver.byte;
  }
  return 0;
}

std::optional<int> code_page_of_text(std::string_view text) {
  const std::string name = text::lower_ascii(text::trim(text.substr(0, text.find_first_of("\r\n"))));
  if (name.find("utf-8") != std::string::npos || name.find("utf8") != std::string::npos) return kUtf8;
  // What is left is a number, or ends in one.
  std::string digits;
  for (const char c : name) {
    if (c >= '0' && c <= '9') digits.push_back(c);
  }
  if (digits.starts_with("8859") && digits.size() > 4)
    digits = std::to_string(28590 + std::stoi(digits.substr(4, 2)));
  int number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (result.ec != std::errc() || number < 37) return std::nullopt;
  return number;
}

TextForm::TextForm(int code_page) : code_page_(code_page), codec_(platform::code_page().codec(code_page)) {
  // A code page that the system lacks is read as the one of the first personal computers, of which the known
  // cases are relatives, but no character outside ASCII is written in it.
  if (codec_ == nullptr) {
    can_encode_ = false;
    codec_ = platform::code_page().codec(kOem);
  }
  one_byte_ = std::find(std::begin(kManyByte), std::end(kManyByte), code_page) == std::end(kManyByte);
  if (!one_byte_) return;
  for (std::size_t i = 0; i < upper_.size(); ++i) {
    const char byte = static_cast<char>(128 + i);
    std::string letter = codec_ == nullptr ? std::string() : codec_->decode({&byte, 1});
    if (letter.empty() || letter.size() > 4) letter = "\xEF\xBF\xBD";
    upper_[i].size = static_cast<unsigned char>(letter.size());
    std::copy(letter.begin(), letter.end(), upper_[i].bytes.begin());
  }
}

std::string_view TextForm::decode(std::string_view bytes, std::string& buffer) {
  if (text::is_ascii(bytes)) return bytes;
  if (!one_byte_) {
    buffer = codec_ == nullptr ? std::string(bytes) : codec_->decode(bytes);
    return buffer;
  }
  buffer.clear();
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 128) {
      buffer.push_back(c);
    } else {
      const Letter& letter = upper_[byte - 128];
      buffer.append(letter.bytes.data(), letter.size);
    }
  }
  return buffer;
}

std::optional<std::string> TextForm::encode(std::string_view utf8) {
  if (text::is_ascii(utf8)) return std::string(utf8);
  if (!can_encode_ || codec_ == nullptr) return std::nullopt;
  return codec_->encode(utf8);
}

}  // namespace quarno::desktop::dbase
