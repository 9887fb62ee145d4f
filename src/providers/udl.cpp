#include "providers/udl.h"

#include "ado/ado_error.h"
#include "common/error.h"
#include "common/text.h"
#include "providers/site_settings.h"

namespace quarno::providers {
namespace {

constexpr const char* kSource = "ADODB.Connection";
constexpr std::size_t kSizeLimit = 65536;

[[noreturn]] void refuse(const std::string& why) {
  throw ado::provider_error(ado::kUnspecified, "Invalid UDL file: " + why + ".", kSource);
}

std::string from_utf16le(std::string_view bytes) {
  if (bytes.size() % 2 != 0) refuse("it ends inside a character");
  const auto unit = [&](std::size_t at) {
    return static_cast<char32_t>(static_cast<unsigned char>(bytes[at]) |
                                 static_cast<unsigned char>(bytes[at + 1]) << 8);
  };
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 2) {
    char32_t character = unit(at);
    const bool pair = character >= 0xD800 && character < 0xDC00 && at + 2 < bytes.size() &&
                      unit(at + 2) >= 0xDC00 && unit(at + 2) < 0xE000;
    if (pair) {
      character = 0x10000 + ((character - 0xD800) << 10) + (unit(at + 2) - 0xDC00);
      at += 2;
    }
    text::append_character(text, character);
  }
  return text;
}

std::string decoded(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) return from_utf16le(bytes.substr(2));
  if (bytes.starts_with("\xEF\xBB\xBF")) return std::string(bytes.substr(3));
  return text::from_windows_1252(bytes);
}

// Takes the first line off `text`.
std::string_view next_line(std::string_view& text) {
  const auto end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return text::trim(line);
}

}  // namespace

std::string udl_connection_text(std::string_view bytes) {
  if (bytes.size() > kSizeLimit) refuse("it is too long");
  const std::string content = decoded(bytes);
  std::string_view rest = content;
  if (!text::equal_fold(next_line(rest), "[oledb]")) refuse("its first line is not \"[oledb]\"");
  if (!next_line(rest).starts_with(';')) refuse("its second line is no comment");
  const std::string_view line = next_line(rest);
  if (line.empty()) refuse("its third line holds no connection string");
  // It would end the text for whatever engine reads it next.
  if (line.find('\0') != std::string_view::npos) refuse("its connection string holds a NUL");
  return std::string(line);
}

ado::ConnectionString read_udl(const std::string& path) {
  std::string bytes;
  try {
    bytes = file_bytes(path, kSizeLimit + 1);
  } catch (const Error& error) {
    throw ado::provider_error(ado::kUnspecified, "Could not open '" + path + "': " + error.description,
                              kSource);
  }
  ado::ConnectionString words = ado::ConnectionString::parse(udl_connection_text(bytes));
  if (words.find("File Name")) refuse("'" + path + "' names another data link file");
  return words;
}

}  // namespace quarno::providers
