#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/paths.h"
#include "platform/path_text.h"

namespace quarno::platform {
namespace {

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

  std::string native(std::string_view path) override { return existing_path(path); }
};

}  // namespace

template <>
std::unique_ptr<Files> make_adapter<Files>() {
  return std::make_unique<LinuxFiles>();
}

}  // namespace quarno::platform
