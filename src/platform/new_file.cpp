#include "platform/new_file.h"

#include "common/error.h"
#include "platform/files.h"
#include "platform/path_text.h"

namespace quarno::platform {
namespace {

// Behind all bytes: there are systems where a lock keeps others from reading them.
constexpr std::uint64_t kLockByte = std::uint64_t{1} << 62;

// Null when the name is taken.
std::unique_ptr<DataFile> created(const std::string& name) {
  try {
    return data_files().create(name);
  } catch (const Error& error) {
    if (error.number != static_cast<std::int32_t>(RunTime::file_already_exists)) throw;
    return nullptr;
  }
}

bool try_hold(DataFile& file, bool without_locks) {
  try {
    return file.try_lock(LockKind::exclusive, kLockByte, 1);
  } catch (const Error&) {
    return without_locks;
  }
}

// Only who holds its lock removes or renames such a file, so from the check on the name stays with it.
void remove_left_over(const std::string& name) {
  try {
    const auto file = data_files().open(name, DataFiles::Access::read_write);
    if (try_hold(*file, false) && file->is_at(name)) data_files().remove(name);
  } catch (const Error& error) {
    if (error.number != static_cast<std::int32_t>(RunTime::file_not_found)) throw;  // its writer is done
  }
}

}  // namespace

std::unique_ptr<NewFile> NewFile::make(std::string name) {
  auto file = created(name);
  if (file == nullptr) {
    remove_left_over(name);
    file = created(name);
  }
  // Another one may have found it before it was locked, and taken it for left over.
  if (file == nullptr || !try_hold(*file, true) || !file->is_at(name)) return nullptr;
  return std::unique_ptr<NewFile>(new NewFile(std::move(name), std::move(file)));
}

NewFile::~NewFile() {
  // Before the lock is given up with the file: afterwards the name may be another one's.
  if (file_ != nullptr) quietly([&] { data_files().remove(name_); });
}

void NewFile::write(std::string_view bytes) {
  file_->write_at(size_, bytes);
  size_ += bytes.size();
}

void NewFile::place(std::string_view path, OverFile over) {
  file_->sync();
  over == OverFile::yes ? data_files().replace(name_, path) : data_files().publish(name_, path);
  file_.reset();
  // It is in place, and whole. Where this fails, a loss of power could still bring back what was there
  // before.
  quietly([&] {
    const std::string native = files().native(path);
    data_files().sync_folder(split_path(native).folder);
  });
}

}  // namespace quarno::platform
