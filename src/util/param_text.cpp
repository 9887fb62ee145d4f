#include "util/param_text.h"

#include <algorithm>
#include <numeric>

#include "common/text.h"

namespace quarno::util {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

}  // namespace

LineSearch::LineSearch(const std::string& wanted, platform::CodePage& code_page) {
  std::string bytes(256, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');
  capitals_ = code_page.to_ansi(text::upper(code_page.from_ansi(bytes)));
  for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
    // A letter whose capital the code page lacks stays what it is.
    if (capitals_[byte] == '?') capitals_[byte] = bytes[byte];
  }
  wanted_ = code_page.to_ansi(wanted);
  can_be_there_ = code_page.from_ansi(wanted_) == wanted;
  for (char& byte : wanted_) byte = folded(byte);
  fall_back_.assign(wanted_.size() + 1, 0);
  for (std::size_t i = 1, length = 0; i < wanted_.size(); ++i) {
    while (length > 0 && wanted_[i] != wanted_[length]) length = fall_back_[length];
    if (wanted_[i] == wanted_[length]) ++length;
    fall_back_[i + 1] = length;
  }
}

bool LineSearch::is_in(std::string_view line) const {
  if (!can_be_there_) return false;
  std::size_t length = 0;
  for (const char byte : line) {
    const char capital = folded(byte);
    while (length > 0 && capital != wanted_[length]) length = fall_back_[length];
    if (capital == wanted_[length]) ++length;
    if (length == wanted_.size()) return true;
  }
  return false;
}

std::string_view value_of(std::string_view line, std::size_t tag_length) {
  return text::trim(line.substr(std::min(tag_length, line.size())));
}

std::array<std::string_view, 5> changed_content(std::string_view content, const LineSearch& search,
                                                std::string_view setting) {
  if (content.empty()) return {setting};
  for (std::size_t begin = 0; begin <= content.size();) {
    const std::size_t end = std::min(content.find(kLineEnd, begin), content.size());
    if (search.is_in(content.substr(begin, end - begin))) {
      // Every line is written with a line end behind it, the last one too.
      const std::size_t size = content.size() - (end - begin) + setting.size() + kLineEnd.size();
      return {content.substr(0, begin), setting, content.substr(end), kLineEnd,
              content.substr(std::min(size, content.size()))};
    }
    begin = end + kLineEnd.size();
  }
  return {content, kLineEnd, kLineEnd, setting};
}

}  // namespace quarno::util
