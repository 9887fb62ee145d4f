#include "providers/desktop/convert/part_file.h"

#include <array>

#include "common/error.h"
#include "platform/files.h"
#include "platform/path_text.h"

namespace quarno::desktop::convert {
namespace {

using platform::data_files;

// Far from the bytes the engine locks.
constexpr std::uint64_t kLockByte = std::uint64_t{1} << 62;
constexpr std::size_t kHeaderBytes = 100;
constexpr std::size_t kApplicationIdAt = 68;

void refuse_existing(const std::string& path, const char* why) {
  if (platform::files().exists(path)) throw run_time_error(RunTime::file_already_exists, path + why);
}

// The engine's first page comes in one piece, so a part is empty or has the number.
bool is_part(platform::DataFile& file) {
  if (file.size() == 0) return true;
  std::array<char, kHeaderBytes> header{};
  if (file.read_at(0, header) < header.size()) return false;
  std::uint32_t id = 0;
  for (std::size_t i = 0; i < 4; ++i) id = id << 8 | static_cast<std::uint8_t>(header[kApplicationIdAt + i]);
  return id == kApplicationId;
}

}  // namespace

PartFile::PartFile(const std::string& target, platform::DataFile& source)
    : target_(target), path_(target + ".part") {
  refuse_existing(target_, "");
  // The engine would take it for what is missing in the new file.
  constexpr const char* kLeftOver = " was left by a database of that name";
  for (const char* const suffix : {"-journal", "-wal"}) refuse_existing(target_ + suffix, kLeftOver);
  if (platform::files().exists(path_)) remove_stale(source);
  file_ = data_files().create(path_);
  if (!file_->try_lock(platform::LockKind::exclusive, kLockByte, 1) || !file_->is_at(path_)) {
    // Another one found it between the two steps, and took it for stale.
    throw run_time_error(RunTime::permission_denied, path_ + " is in use");
  }
}

// Whoever removes or publishes a part holds its lock, so the name stays with the file from the check on.
void PartFile::remove_stale(platform::DataFile& source) const {
  const auto stale = data_files().open(path_, platform::DataFiles::Access::read_write);
  if (source.is_at(path_) || !is_part(*stale)) {
    throw run_time_error(RunTime::path_file_access, path_ + " is in the way, and no conversion made it");
  }
  if (!stale->try_lock(platform::LockKind::exclusive, kLockByte, 1) || !stale->is_at(path_)) {
    throw run_time_error(RunTime::permission_denied, path_ + " is in use by another conversion");
  }
  data_files().remove(path_);
}

PartFile::~PartFile() {
  if (file_ != nullptr && !is_published_) quietly([&] { data_files().remove(path_); });
}

void PartFile::publish() {
  file_->sync();
  data_files().publish(path_, target_);
  is_published_ = true;
  data_files().sync_folder(platform::split_path(target_).folder);
}

}  // namespace quarno::desktop::convert
