// What the adapters for files share: a host's path as the system's, and the system's error as a run-time
// error.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/error.h"

namespace quarno::platform {

/// A drive's root is a setting: QUARNOFWK_DRIVE_C=/mnt/c; unset, the drive is the whole file system.
std::string drive_root(char letter);

/// Whether anything of that name exists; an empty one is the current folder.
bool present(const std::string& path);

/// The path itself when it exists; else every step looked up in the folder before it, ignoring letter case.
/// One that is too long for the system is left for the system to refuse.
std::string resolved(const std::string& path);

/// The host's path in the system's form; raises 52 for one that no file can have.
std::string existing_path(std::string_view host_path);

/// Folder and name as one path; an empty folder is the current one.
std::string joined(const std::string& folder, std::string_view name);

/// All entries of a folder in name order; none when it cannot be read.
std::vector<std::string> names_in(const std::string& folder);

/// errno as the run-time error the host expects.
Error file_error(int code, const std::string& path);

}  // namespace quarno::platform
