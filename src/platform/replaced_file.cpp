#include "platform/replaced_file.h"

#include <thread>

#include "common/error.h"
#include "platform/files.h"
#include "platform/path_text.h"

namespace quarno::platform {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::microseconds kPause{200};

constexpr std::uint64_t kWholeFile = std::uint64_t{1} << 62;

// Beside the file, since a file can only be renamed within its file system; hidden, so that nobody takes it
// for a file of the host's.
std::string name_beside(const std::string& path) {
  const std::string_view name = split_path(path).name;
  return path.substr(0, path.size() - name.size()).append(".").append(name).append(".new");
}

bool is_error(const Error& error, RunTime number) {
  return error.number == static_cast<std::int32_t>(number);
}

// Whether the system refuses the way a file is to be replaced, and not the new content.
bool is_refusal(const Error& error) {
  return is_error(error, RunTime::permission_denied) || is_error(error, RunTime::path_file_access);
}

}  // namespace

ReplacedFile::ReplacedFile(std::string_view path, std::chrono::milliseconds patience)
    : path_(data_files().behind_links(path)) {
  const Clock::time_point deadline = Clock::now() + patience;
  while (!take_turn()) {
    file_.reset();
    old_.reset();
    if (Clock::now() > deadline) {
      throw run_time_error(RunTime::permission_denied, path_ + " is in use by another process");
    }
    std::this_thread::sleep_for(kPause);
  }
}

bool ReplacedFile::take_turn() {
  try {
    old_ = data_files().open(path_, DataFiles::Access::read_write);
  } catch (const Error& error) {
    if (!is_error(error, RunTime::file_not_found)) throw;
  }
  // Locked, and still what the name stands for.
  if (old_ != nullptr && !(old_->try_lock(LockKind::exclusive, 0, kWholeFile) && old_->is_at(path_)))
    return false;
  try {
    if (!begin_beside()) return false;
  } catch (const Error& error) {
    if (old_ == nullptr || !is_refusal(error)) throw;
    file_.reset();
    return true;
  }
  // Another one may have made the file before the turn was taken.
  return old_ != nullptr || !files().exists(path_);
}

bool ReplacedFile::begin_beside() {
  file_ = NewFile::make(name_beside(path_));
  if (file_ == nullptr) return false;
  // Before the first byte: what only the owner may read is never there for others.
  if (old_ != nullptr && !data_files().keep_access(path_, file_->name())) {
    throw run_time_error(RunTime::permission_denied, path_);
  }
  return true;
}

bool ReplacedFile::place() {
  try {
    file_->place(path_, old_ != nullptr ? OverFile::yes : OverFile::no);
  } catch (const Error& error) {
    if (old_ == nullptr || !is_refusal(error)) throw;
    return false;
  }
  file_.reset();
  // One that writes again at once would hardly ever leave a turn to those who look every now and then.
  std::this_thread::sleep_for(kPause * 3);
  return true;
}

}  // namespace quarno::platform
