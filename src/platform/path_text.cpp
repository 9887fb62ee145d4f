#include "platform/path_text.h"

#include <algorithm>

#include "common/text.h"

namespace quarno::platform {

std::string native_path(std::string_view host_path, const std::function<std::string(char)>& drive_root) {
  std::string path(host_path);
  std::replace(path.begin(), path.end(), '\\', '/');
  const bool letter = path.size() >= 2 && path[1] == ':' &&
                      ((path[0] >= 'A' && path[0] <= 'Z') || (path[0] >= 'a' && path[0] <= 'z'));
  if (!letter) return path;
  const char drive = path[0] >= 'a' ? static_cast<char>(path[0] - 32) : path[0];
  path.erase(0, 2);
  if (path.empty() || path.front() != '/') return path;
  std::string root = drive_root(drive);
  while (!root.empty() && root.back() == '/') root.pop_back();
  return root + path;
}

bool matches_pattern(std::string_view name, std::string_view pattern) {
  if (pattern == "*.*") return true;
  const std::string folded_name = text::upper(name);
  const std::string folded_pattern = text::upper(pattern);
  // The usual two-pointer match: on a mismatch go back to the last "*" and let it swallow one character more.
  std::size_t n = 0;
  std::size_t p = 0;
  std::size_t star = std::string::npos;
  std::size_t retry = 0;
  while (n < folded_name.size()) {
    std::size_t next = n;
    text::next_character(folded_name, next);
    if (p < folded_pattern.size() && folded_pattern[p] == '*') {
      star = p++;
      retry = n;
    } else if (p < folded_pattern.size() && folded_pattern[p] == '?') {
      n = next;
      ++p;
    } else if (p < folded_pattern.size() && folded_pattern[p] == folded_name[n]) {
      ++n;
      ++p;
    } else if (star != std::string::npos) {
      p = star + 1;
      text::next_character(folded_name, retry);
      n = retry;
    } else {
      return false;
    }
  }
  return folded_pattern.find_first_not_of('*', p) == std::string::npos;
}

PathParts split_path(std::string_view native) {
  const auto slash = native.rfind('/');
  if (slash == std::string_view::npos) return {{}, native};
  return {native.substr(0, slash == 0 ? 1 : slash), native.substr(slash + 1)};
}

}  // namespace quarno::platform
