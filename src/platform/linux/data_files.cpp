#include "platform/data_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>

#include "platform/linux/paths.h"
#include "platform/path_text.h"

namespace quarno::platform {
namespace {

class LinuxDataFile : public DataFile {
 public:
  LinuxDataFile(int descriptor, std::string path) : descriptor_(descriptor), path_(std::move(path)) {}
  LinuxDataFile(const LinuxDataFile&) = delete;
  LinuxDataFile& operator=(const LinuxDataFile&) = delete;
  ~LinuxDataFile() override { ::close(descriptor_); }

  std::size_t read_at(std::uint64_t offset, std::span<char> buffer) override {
    std::size_t done = 0;
    while (done < buffer.size()) {
      const ssize_t count =
          ::pread(descriptor_, buffer.data() + done, buffer.size() - done, static_cast<off_t>(offset + done));
      if (count == 0) break;
      if (count > 0) done += static_cast<std::size_t>(count);
      if (count < 0 && errno != EINTR) throw file_error(errno, path_);
    }
    return done;
  }

  void write_at(std::uint64_t offset, std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t count = ::pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
      if (count < 0 && errno != EINTR) throw file_error(errno, path_);
      if (count <= 0) continue;
      bytes.remove_prefix(static_cast<std::size_t>(count));
      offset += static_cast<std::uint64_t>(count);
    }
  }

  std::uint64_t size() override {
    struct stat info {};
    if (::fstat(descriptor_, &info) != 0) throw file_error(errno, path_);
    return static_cast<std::uint64_t>(info.st_size);
  }

  void truncate(std::uint64_t size) override {
    if (::ftruncate(descriptor_, static_cast<off_t>(size)) != 0) throw file_error(errno, path_);
  }

  void sync() override {
    if (::fdatasync(descriptor_) != 0) throw file_error(errno, path_);
  }

  // Locks of the open file, not of the process: two sessions of one process exclude each other as well, and
  // closing one of two open files gives up its own locks only.
  bool try_lock(LockKind kind, std::uint64_t first, std::uint64_t count) override {
    if (set_lock(kind == LockKind::shared ? F_RDLCK : F_WRLCK, first, count)) return true;
    if (errno == EAGAIN || errno == EACCES) return false;
    throw file_error(errno, path_);
  }

  void unlock(std::uint64_t first, std::uint64_t count) override {
    if (!set_lock(F_UNLCK, first, count)) throw file_error(errno, path_);
  }

  bool is_at(std::string_view path) override {
    struct stat own {};
    struct stat there {};
    if (::fstat(descriptor_, &own) != 0) throw file_error(errno, path_);
    return ::stat(existing_path(path).c_str(), &there) == 0 && own.st_dev == there.st_dev &&
           own.st_ino == there.st_ino;
  }

 private:
  bool set_lock(int type, std::uint64_t first, std::uint64_t count) const {
    struct flock range {};
    range.l_type = static_cast<short>(type);
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(first);
    range.l_len = static_cast<off_t>(count);
    int result = -1;
    do result = ::fcntl(descriptor_, F_OFD_SETLK, &range);
    while (result != 0 && errno == EINTR);
    return result == 0;
  }

  int descriptor_;
  std::string path_;
};

class LinuxDataFiles : public DataFiles {
 public:
  std::unique_ptr<DataFile> open(std::string_view path, Access access) override {
    return opened(existing_path(path), access == Access::read ? O_RDONLY : O_RDWR);
  }

  std::unique_ptr<DataFile> create(std::string_view path) override {
    return opened(existing_path(path), O_RDWR | O_CREAT | O_EXCL);
  }

  void remove(std::string_view path) override {
    const std::string target = existing_path(path);
    if (::unlink(target.c_str()) != 0) throw file_error(errno, target);
  }

  void replace(std::string_view from, std::string_view to) override {
    const std::string source = existing_path(from);
    if (::rename(source.c_str(), existing_path(to).c_str()) != 0) throw file_error(errno, source);
  }

  void publish(std::string_view from, std::string_view to) override {
    const std::string source = existing_path(from);
    const std::string target = existing_path(to);
    int result = ::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
    // Some file systems cannot rename so; a second name is never put over another one.
    if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {
      result = ::link(source.c_str(), target.c_str());
      if (result == 0) ::unlink(source.c_str());
    }
    if (result != 0 && errno == EEXIST) throw run_time_error(RunTime::file_already_exists, target);
    if (result != 0) throw file_error(errno, source);
  }

  void sync_folder(std::string_view folder) override {
    const std::string target = folder.empty() ? "." : existing_path(folder);
    const int descriptor = ::open(target.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) throw file_error(errno, target);
    const int result = ::fsync(descriptor);
    const int code = errno;
    ::close(descriptor);
    // Some file systems have nothing to do here and say so with EINVAL.
    if (result != 0 && code != EINVAL) throw file_error(code, target);
  }

  std::string behind_links(std::string_view path) override {
    std::string target = existing_path(path);
    constexpr int kMostLinks = 40;  // as many as the system follows
    for (int i = 0; i < kMostLinks; ++i) {
      std::array<char, PATH_MAX> link{};
      const ssize_t size = ::readlink(target.c_str(), link.data(), link.size());
      if (size < 0) break;
      const std::string_view next(link.data(), static_cast<std::size_t>(size));
      target =
          next.starts_with('/') ? std::string(next) : joined(std::string(split_path(target).folder), next);
    }
    return target;
  }

  bool keep_access(std::string_view old_file, std::string_view new_file) override {
    const std::string from = existing_path(old_file);
    const std::string to = existing_path(new_file);
    struct stat old {};
    struct stat fresh {};
    if (::stat(from.c_str(), &old) != 0 || ::stat(to.c_str(), &fresh) != 0) return false;
    if (old.st_nlink > 1 || ::getxattr(from.c_str(), "system.posix_acl_access", nullptr, 0) > 0) return false;
    const bool has_owner = old.st_uid == fresh.st_uid && old.st_gid == fresh.st_gid;
    if (!has_owner && ::chown(to.c_str(), old.st_uid, old.st_gid) != 0) return false;
    return ::chmod(to.c_str(), old.st_mode & 07777) == 0;
  }

  std::vector<std::string> names(std::string_view folder) override {
    const std::string target = folder.empty() ? "." : existing_path(folder);
    std::vector<std::string> names;
    for (std::string& name : names_in(target)) {
      struct stat info {};
      if (name.starts_with('.') || ::stat(joined(target, name).c_str(), &info) != 0) continue;
      if (S_ISREG(info.st_mode)) names.push_back(std::move(name));
    }
    return names;
  }

 private:
  static std::unique_ptr<DataFile> opened(const std::string& path, int flags) {
    // O_NONBLOCK: a pipe without a reader must fail and not wait; regular files ignore it.
    const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
    if (descriptor < 0 && errno == EEXIST) throw run_time_error(RunTime::file_already_exists, path);
    if (descriptor < 0) throw file_error(errno, path);
    auto file = std::make_unique<LinuxDataFile>(descriptor, path);
    struct stat info {};
    if (::fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode)) {
      throw run_time_error(RunTime::path_file_access, path);
    }
    return file;
  }
};

}  // namespace

template <>
std::unique_ptr<DataFiles> make_adapter<DataFiles>() {
  return std::make_unique<LinuxDataFiles>();
}

}  // namespace quarno::platform
