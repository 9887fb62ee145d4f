#include "providers/ini_text.h"

namespace quarno::providers {
namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r";
  const auto begin = text.find_first_not_of(kBlank);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlank) - begin + 1);
}

}  // namespace

IniText parse_ini(std::string_view text) {
  IniText result;
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  std::string section;
  bool in_section = false;
  for (int line = 1; !text.empty(); ++line) {
    const auto end = text.find('\n');
    const std::string_view content = trimmed(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (content.empty() || content.front() == '#' || content.front() == ';') continue;
    if (content.front() == '[') {
      in_section = content.back() == ']';
      if (in_section) {
        section = trimmed(content.substr(1, content.size() - 2));
      } else {
        result.problems.push_back({line, "a section's name has no \"]\""});
      }
      continue;
    }
    const auto equals = content.find('=');
    const std::string_view key = trimmed(content.substr(0, equals));
    if (equals == std::string_view::npos || key.empty()) {
      result.problems.push_back({line, "is neither \"[section]\" nor \"name = value\""});
    } else if (!in_section) {
      result.problems.push_back({line, "stands in no section"});
    } else {
      result.entries.push_back(
          {section, std::string(key), std::string(trimmed(content.substr(equals + 1))), line});
    }
  }
  return result;
}

}  // namespace quarno::providers
