#include "platform/linux/paths.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "common/text.h"
#include "platform/path_text.h"

namespace quarno::platform {
namespace {

// The entry of a folder that has this name, else one that differs in case only, else the name itself.
std::string resolved_step(const std::string& folder, std::string_view name) {
  std::string exact = joined(folder, name);
  if (present(exact)) return exact;
  const std::string wanted = text::upper(name);
  for (const std::string& candidate : names_in(folder)) {
    if (text::upper(candidate) == wanted) return joined(folder, candidate);
  }
  return exact;
}

}  // namespace

bool present(const std::string& path) {
  struct stat info {};
  return ::stat(path.empty() ? "." : path.c_str(), &info) == 0;
}

std::string drive_root(char letter) {
  const std::string variable = std::string("QUARNOFWK_DRIVE_") + letter;
  const char* const value = std::getenv(variable.c_str());
  return value != nullptr ? value : "/";
}

std::vector<std::string> names_in(const std::string& folder) {
  std::vector<std::string> names;
  DIR* const directory = ::opendir(folder.empty() ? "." : folder.c_str());
  if (directory == nullptr) return names;
  while (const dirent* entry = ::readdir(directory)) names.emplace_back(entry->d_name);
  ::closedir(directory);
  std::sort(names.begin(), names.end());
  return names;
}

std::string joined(const std::string& folder, std::string_view name) {
  if (folder.empty() || folder.back() == '/') return folder + std::string(name);
  return folder + "/" + std::string(name);
}

std::string resolved(const std::string& path) {
  if (path.size() >= PATH_MAX || present(path)) return path;
  std::string result = path.starts_with('/') ? "/" : "";
  for (const std::string_view step : text::split(path, "/")) {
    if (!step.empty()) result = resolved_step(result, step);
  }
  if (path.ends_with('/') && !result.ends_with('/')) result.push_back('/');
  return result;
}

std::string existing_path(std::string_view host_path) {
  // The system would silently cut the path at a NUL and open something else.
  if (host_path.empty() || host_path.find('\0') != std::string_view::npos) {
    throw run_time_error(RunTime::bad_file_number);
  }
  return resolved(native_path(host_path, drive_root));
}

Error file_error(int code, const std::string& path) {
  switch (code) {
    case ENOENT: {
      const PathParts parts = split_path(path);
      const bool folder_there = parts.folder.empty() || present(std::string(parts.folder));
      return run_time_error(folder_there ? RunTime::file_not_found : RunTime::path_not_found, path);
    }
    case ENOTDIR: return run_time_error(RunTime::path_not_found, path);
    case ENOSPC:
    case EDQUOT: return run_time_error(RunTime::disk_full, path);
    case EMFILE:
    case ENFILE: return run_time_error(RunTime::too_many_files, path);
    case EACCES:
    case EPERM: return run_time_error(RunTime::permission_denied, path);
    case EIO: return run_time_error(RunTime::device_io_error, path);
    default: return run_time_error(RunTime::path_file_access, path);
  }
}

}  // namespace quarno::platform
