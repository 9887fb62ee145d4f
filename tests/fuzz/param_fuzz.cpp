// Parameter files and cipher texts of any bytes, against the plainest reading of their rules. An input is a
// tag, a value and the file, divided by "|".
#include <algorithm>

#include "common/text.h"
#include "fuzz/fuzz.h"
#include "util/crypt_text.h"
#include "util/param_text.h"

const int kMutations = 5'000;
const std::vector<std::string> kSeeds = {
    "b|2|A=1\r\nmyB= 2\r\n\r\n", "A||A=12345\r\nB=2",          "\xE9\r|x\r\ny|\xC9\r=1\n\r\n\xC9\r=2\r\n",
    "ab||aab\r\nABab=",          std::string("\0|\0|\0=1", 7), "3C|196C|3C195F19 A"};

namespace {

using namespace quarno;

std::string capitals(std::string_view bytes) {
  return text::to_windows_1252(text::upper(text::from_windows_1252(bytes)));
}

void check_change(std::string_view old, const std::string& setting, const util::LineSearch& search) {
  std::string content;
  for (const std::string_view piece : util::changed_content(old, search, setting)) content.append(piece);
  std::string expected;
  bool is_done = old.empty();
  if (is_done) expected = setting;
  for (const std::string_view line : text::split(old, "\r\n")) {
    const bool is_first = !is_done && search.is_in(line);
    expected.append(is_first ? std::string_view(setting) : line).append("\r\n");
    is_done |= is_first;
  }
  // The end of every line makes two of them behind the last one, where the setting is added.
  if (!is_done) expected.append("\r\n").append(setting);
  if (expected.size() < old.size()) expected.append(old.substr(expected.size()));
  if (content != expected) __builtin_trap();
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input = text_of(data, size);
  const std::size_t first = std::min(input.find('|'), size);
  const std::size_t second = std::min(input.find('|', first + 1), size);
  const std::string_view file = input.substr(std::min(second + 1, size));
  const std::string wanted = std::string(input.substr(0, first)) + "=";
  const util::LineSearch search(text::from_windows_1252(wanted), platform::code_page());
  const bool holds = capitals(file).find(capitals(wanted)) != std::string::npos;
  if (search.is_in(file) != holds || search.length() != wanted.size()) __builtin_trap();
  check_change(file, wanted + std::string(input.substr(first, second - first)), search);
  if (util::value_of(file, wanted.size()).size() + wanted.size() > std::max(file.size(), wanted.size()))
    __builtin_trap();

  if (util::clear_text(input).size() != (size < 2 ? 0 : (size - 1) / 2)) __builtin_trap();
  std::string clear(input);
  // These two need not come back.
  std::erase_if(clear, [](char code) { return code == '\0' || code == '\xFF'; });
  const int start = 16 + static_cast<int>(size % 240);
  if (util::clear_text(util::cipher_text(clear, start)) != clear) __builtin_trap();
  return 0;
}
