#include "platform/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

#include "common/error.h"
#include "common/text.h"
#include "platform/path_text.h"

namespace quarno::platform {
namespace {

// A drive's root is a setting: QUARNOFWK_DRIVE_C=/mnt/c; unset, the drive is the whole file system.
std::string drive_root(char letter) {
  const std::string variable = std::string("QUARNOFWK_DRIVE_") + letter;
  const char* const value = std::getenv(variable.c_str());
  return value != nullptr ? value : "/";
}

bool present(const std::string& path) {
  struct stat info {};
  return ::stat(path.empty() ? "." : path.c_str(), &info) == 0;
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

// The path itself when it exists; else every step looked up in the folder before it. One that is too long for
// the system is left for the system to refuse.
std::string resolved(const std::string& path) {
  if (path.size() >= PATH_MAX || present(path)) return path;
  std::string result = path.starts_with('/') ? "/" : "";
  for (const std::string_view step : text::split(path, "/")) {
    if (!step.empty()) result = resolved_step(result, step);
  }
  if (path.ends_with('/') && !result.ends_with('/')) result.push_back('/');
  return result;
}

// errno at one spot, as the run-time error the host expects.
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

class LinuxFile : public File {
 public:
  LinuxFile(int descriptor, std::string path) : descriptor_(descriptor), path_(std::move(path)) {}
  ~LinuxFile() override {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  std::size_t read(std::span<char> buffer) override {
    for (;;) {
      const ssize_t count = ::read(descriptor_, buffer.data(), buffer.size());
      if (count >= 0) return static_cast<std::size_t>(count);
      if (errno != EINTR) throw file_error(errno, path_);
    }
  }

  void write(std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
      if (count >= 0) {
        bytes.remove_prefix(static_cast<std::size_t>(count));
      } else if (errno != EINTR) {
        throw file_error(errno, path_);
      }
    }
  }

  void close() override {
    if (descriptor_ < 0) return;
    const int status = ::close(descriptor_);
    const int code = errno;
    descriptor_ = -1;
    if (status != 0 && code != EINTR) throw file_error(code, path_);
  }

 private:
  int descriptor_;
  std::string path_;
};

class LinuxFiles : public Files {
 public:
  std::unique_ptr<File> open(std::string_view path, OpenFor mode) override {
    const std::string target = native(path);
    // O_NONBLOCK: a pipe without a reader must fail and not wait; regular files ignore it.
    int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    switch (mode) {
      case OpenFor::input: flags |= O_RDONLY; break;
      case OpenFor::output: flags |= O_WRONLY | O_CREAT | O_TRUNC; break;
      case OpenFor::append: flags |= O_WRONLY | O_CREAT | O_APPEND; break;
    }
    const int descriptor = ::open(target.c_str(), flags, 0666);
    if (descriptor < 0) throw file_error(errno, target);
    auto file = std::make_unique<LinuxFile>(descriptor, target);
    struct stat info {};
    const bool regular = ::fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode);
    if (mode == OpenFor::input && !regular) throw run_time_error(RunTime::path_file_access, target);
    return file;
  }

  std::string find(std::string_view path) override {
    if (path.find('\0') != std::string_view::npos) return {};
    const std::string target = native_path(path, drive_root);
    const PathParts parts = split_path(target);
    const auto is_normal = [](const std::string& file, std::string_view name) {
      struct stat info {};
      return !name.starts_with('.') && ::stat(file.c_str(), &info) == 0 && S_ISREG(info.st_mode);
    };
    const bool pattern = parts.name.empty() || parts.name.find_first_of("*?") != std::string_view::npos;
    if (!pattern) {
      const std::string file = resolved(target);
      const PathParts found = split_path(file);
      return is_normal(file, found.name) ? std::string(found.name) : std::string();
    }
    const std::string folder = parts.folder.empty() ? std::string() : resolved(std::string(parts.folder));
    for (const std::string& name : names_in(folder)) {
      const bool wanted = parts.name.empty() || matches_pattern(name, parts.name);
      if (wanted && is_normal(joined(folder, name), name)) return name;
    }
    return {};
  }

  bool exists(std::string_view path) override { return present(native(path)); }

  std::uint64_t size(std::string_view path) override {
    const std::string target = native(path);
    struct stat info {};
    if (::stat(target.c_str(), &info) != 0) throw file_error(errno, target);
    return static_cast<std::uint64_t>(info.st_size);
  }

  void create_folder(std::string_view path) override {
    const std::string target = native(path);
    if (::mkdir(target.c_str(), 0777) != 0) throw file_error(errno, target);
  }

  std::string native(std::string_view path) override {
    // The system would silently cut the path at a NUL and open something else.
    if (path.empty() || path.find('\0') != std::string_view::npos)
      throw run_time_error(RunTime::bad_file_number);
    return resolved(native_path(path, drive_root));
  }
};

}  // namespace

template <>
std::unique_ptr<Files> make_adapter<Files>() {
  return std::make_unique<LinuxFiles>();
}

}  // namespace quarno::platform
