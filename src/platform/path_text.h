// How the host's paths become the platform's, as pure text.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace quarno::platform {

/// "\" becomes "/"; "C:\x" becomes the drive's root followed by "/x", where `drive_root` is asked with the
/// capital letter; "C:x" is x in the current folder. "~" and variables are left alone.
std::string native_path(std::string_view host_path, const std::function<std::string(char)>& drive_root);

/// Whether a file name matches a pattern of "*" and "?", ignoring letter case; "*.*" matches every name.
bool matches_pattern(std::string_view name, std::string_view pattern);

/// Folder and name of a native path: "a/b" gives {"a", "b"}, "b" gives {"", "b"}, "/b" gives {"/", "b"}.
struct PathParts {
  std::string_view folder;
  std::string_view name;
};
PathParts split_path(std::string_view native);

}  // namespace quarno::platform
