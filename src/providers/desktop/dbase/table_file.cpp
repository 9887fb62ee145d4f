#include "providers/desktop/dbase/table_file.h"

#include <algorithm>
#include <thread>

#include "ado/ado_error.h"
#include "platform/clock.h"
#include "providers/desktop/dbase/commit.h"
#include "providers/desktop/dbase/little_endian.h"

namespace quarno::desktop::dbase {
namespace {

using platform::DataFiles;
using platform::LockKind;

constexpr std::uint64_t kWriterByte = 0x4000'0000;
constexpr std::uint64_t kRecordsByte = 0x4000'0001;
constexpr auto kPause = std::chrono::milliseconds(5);
constexpr std::size_t kWriteBytes = 1 << 20;

Error in_use(std::string_view name) {
  return refusal(ado::kUnspecified, "Could not use " + quoted(name) + "; file already in use.", "HYT00");
}

bool is(const Error& error, RunTime number) { return error.number == static_cast<std::int32_t>(number); }

std::unique_ptr<platform::DataFile> opened(const std::string& path, bool may_write, bool* writable) {
  if (may_write) {
    try {
      return platform::data_files().open(path, DataFiles::Access::read_write);
    } catch (const Error& error) {
      // A file that may only be read, or a disk that may.
      if (!is(error, RunTime::permission_denied) && !is(error, RunTime::path_file_access)) throw;
    }
  }
  *writable = false;
  return platform::data_files().open(path, DataFiles::Access::read);
}

template <class Work>
class [[nodiscard]] Finally {
 public:
  explicit Finally(Work work) : work_(std::move(work)) {}
  Finally(const Finally&) = delete;
  Finally& operator=(const Finally&) = delete;
  ~Finally() { work_(); }

 private:
  Work work_;
};

template <class Work>
Finally<Work> finally(Work work) {
  return Finally<Work>(std::move(work));
}

CivilTime today() { return civil_from_date(platform::clock().now()); }

}  // namespace

std::optional<std::string> file_text(const std::string& path) {
  try {
    const auto file = platform::data_files().open(path, DataFiles::Access::read);
    std::string text(static_cast<std::size_t>(file->size()), '\0');
    text.resize(file->read_at(0, text));
    return text;
  } catch (const Error& error) {
    if (is(error, RunTime::file_not_found)) return std::nullopt;
    throw;
  }
}

TableFile::TableFile(std::shared_ptr<Site> site, std::string name, const std::string& memo_name,
                     const std::string& code_page_name)
    : site_(std::move(site)), name_(std::move(name)) {
  file_ = opened(path(name_), site_->may_write, &file_is_writable_);
  // No lock is needed for the form: no commit changes it.
  layout_ = read_header(header(), name_);
  read_form(code_page_name);
  changes_.restart(0, layout_.record_length);
  if (layout_.has_memo() && !memo_name.empty()) {
    bool writable = file_is_writable_;
    memo_ = std::make_unique<MemoFile>(opened(path(memo_name), file_is_writable_, &writable),
                                       layout_.has_memo_lengths());
    file_is_writable_ = writable;
  }
  begin_reading();
  end_reading();
}

TableFile::~TableFile() {
  if (writing_) end_writing();
}

std::string TableFile::path(std::string_view file_name) const {
  return site_->folder + "/" + std::string(file_name);
}

std::string TableFile::header() {
  std::string bytes(kHeaderSize, '\0');
  bytes.resize(file_->read_at(0, bytes));
  return bytes;
}

void TableFile::read_form(const std::string& code_page_name) {
  std::string descriptors(layout_.header_length - kHeaderSize, '\0');
  if (file_->read_at(kHeaderSize, descriptors) != descriptors.size()) {
    throw refusal(ado::kUnspecified, quoted(name_) + " is damaged: it ends inside its header.");
  }
  form_sum_ = checksum(descriptors);
  read_fields(layout_, descriptors, name_);
  auto code_page = code_page_of_driver(layout_.language_driver);
  if (!code_page && !code_page_name.empty()) {
    code_page = code_page_of_text(file_text(path(code_page_name)).value_or(""));
  }
  text_form_ = std::make_unique<TextForm>(code_page.value_or(site_->code_page));
  name_fields(layout_, *text_form_);
}

bool TableFile::try_lock(LockKind kind, std::uint64_t first) {
  try {
    return file_->try_lock(kind, first, 1);
  } catch (const Error& error) {
    throw refusal(ado::kUnspecified, quoted(name_) + " cannot be locked: " + error.description);
  }
}

TableFile::Moment TableFile::end_of_patience() const {
  return std::chrono::steady_clock::now() + std::chrono::milliseconds(site_->patience_ms);
}

void TableFile::wait(Moment end) const {
  if (std::chrono::steady_clock::now() >= end) throw in_use(name_);
  std::this_thread::sleep_for(kPause);
}

void TableFile::lock(LockKind kind, std::uint64_t first) {
  for (const Moment end = end_of_patience(); !try_lock(kind, first);) wait(end);
}

void TableFile::unlock(std::uint64_t first) {
  quietly([&] { file_->unlock(first, 1); });
}

// Back to what reading needs.
void TableFile::release_records() {
  if (readers_ == 0) return unlock(kRecordsByte);
  quietly([&] { file_->try_lock(LockKind::shared, kRecordsByte, 1); });
}

void TableFile::begin_reading() {
  if (readers_ == 0) {
    try {
      lock_for_reading();
    } catch (...) {
      unlock(kRecordsByte);
      throw;
    }
  }
  ++readers_;
}

void TableFile::lock_for_reading() {
  for (const Moment end = end_of_patience();;) {
    lock(LockKind::shared, kRecordsByte);
    // Who writes has looked already, and nobody else writes meanwhile.
    if (writing_) return;
    const auto text = left_journal();
    if (!text) return refresh();
    if (!file_is_writable_) {
      refresh();
      return read_through(*text);
    }
    unlock(kRecordsByte);
    if (!try_lock(LockKind::exclusive, kWriterByte)) {
      // A writer has just begun: it puts the old state back itself.
      wait(end);
      continue;
    }
    const auto release = finally([this] { unlock(kWriterByte); });
    replay_left_journal();
  }
}

void TableFile::end_reading() {
  if (--readers_ == 0) unlock(kRecordsByte);
}

void TableFile::refresh() {
  const std::string bytes = header();
  if (gone_ || bytes.size() < kHeaderSize || bytes[0] == '\0') {
    throw refusal(ado::kTableNotFound, quoted(name_) + " was removed.", "42S02");
  }
  if (number_at<std::uint8_t>(bytes, 0) != layout_.version ||
      number_at<std::uint16_t>(bytes, 8) != layout_.header_length ||
      number_at<std::uint16_t>(bytes, 10) != layout_.record_length) {
    throw refusal(ado::kUnspecified, quoted(name_) + " was replaced by another table while it was in use.");
  }
  changes_.restart(record_count(layout_, bytes, file_->size()), layout_.record_length);
  ++version_;
}

std::uint32_t TableFile::in_file(std::uint32_t first, std::uint32_t most) const {
  const std::uint32_t records = changes_.file_records();
  return first >= records ? 0 : std::min(most, records - first);
}

void TableFile::read_records(std::uint32_t first, std::span<char> bytes) {
  const std::uint64_t offset = layout_.header_length + std::uint64_t{first} * layout_.record_length;
  if (file_->read_at(offset, bytes) != bytes.size()) {
    throw refusal(ado::kUnspecified, quoted(name_) + " is damaged: records are missing at its end.");
  }
}

std::string TableFile::record(std::uint32_t number) {
  if (const char* bytes = changed(number)) return {bytes, layout_.record_length};
  std::string bytes(layout_.record_length, '\0');
  read_records(number, bytes);
  return bytes;
}

void TableFile::begin_writing() {
  if (writing_) return;
  if (!file_is_writable_) {
    throw refusal(ado::kReadOnly, "Cannot update. " + quoted(name_) + " is read-only.", "25006");
  }
  if (!layout_.why_read_only.empty()) {
    throw refusal(ado::kReadOnly, "Cannot update " + quoted(name_) + ": " + layout_.why_read_only + ".",
                  "25006");
  }
  lock(LockKind::exclusive, kWriterByte);
  try {
    if (left_journal()) replay_left_journal();
    refresh();
    if (memo_ != nullptr) memo_->forget_end();
    site_->writing.push_back(this);
    writing_ = true;
  } catch (...) {
    unlock(kWriterByte);
    throw;
  }
}

std::uint32_t TableFile::append(std::string_view bytes) {
  constexpr std::uint64_t kMostBytes = 0x7FFF'FFFF;  // what dBASE III can count
  const std::uint64_t end = layout_.header_length + (std::uint64_t{count()} + 1) * layout_.record_length;
  if (end >= kMostBytes) throw refusal(ado::kUnspecified, quoted(name_) + " is full.", "54000");
  changes_.append(bytes);
  return count() - 1;
}

void TableFile::replace(std::uint32_t record, std::string_view bytes) { changes_.replace(record, bytes); }

void TableFile::end_writing() {
  if (!writing_) return;
  changes_.restart(changes_.file_records(), layout_.record_length);
  ++version_;
  writing_ = false;
  std::erase(site_->writing, this);
  unlock(kWriterByte);
}

std::optional<std::string> TableFile::left_journal() { return file_text(path(journal_name())); }

std::optional<Journal> TableFile::valid_journal(const std::string& text) {
  auto journal = read_journal(text);
  if (!journal) return std::nullopt;
  // Its transaction ended when the common file of its tables was removed.
  const bool is_name = journal->master.find_first_of("/\\") == std::string::npos;
  if (is_name && !journal->master.empty() && !file_text(path(journal->master))) return std::nullopt;
  bool belongs = is_name && journal->form == form_sum_ && journal->record_length == layout_.record_length &&
                 number_at<std::uint16_t>(journal->header, 8) == layout_.header_length &&
                 number_at<std::uint16_t>(journal->header, 10) == layout_.record_length &&
                 journal->records <= record_count(layout_, journal->header, journal->file_size);
  for (std::size_t i = 0; belongs && i < journal->changed_count(); ++i) {
    belongs = journal->changed_record(i) < journal->records;
  }
  if (belongs) return journal;
  throw refusal(ado::kUnspecified,
                quoted(journal_name()) + " does not belong to the table beside it; remove one of them.");
}

// The writer's lock must be held.
void TableFile::replay_left_journal() {
  lock(LockKind::exclusive, kRecordsByte);
  const auto release = finally([this] { release_records(); });
  // Another process may have been faster.
  const auto text = left_journal();
  if (!text) return;
  const auto journal = valid_journal(*text);
  if (journal) apply(*journal);
  platform::data_files().remove(path(journal_name()));
  platform::data_files().sync_folder(site_->folder);
  if (journal && !journal->master.empty()) remove_master(*site_, journal->master);
}

// Who may not write sees the state before the dead writer's commit all the same.
void TableFile::read_through(const std::string& text) {
  const auto journal = valid_journal(text);
  if (!journal) return;
  changes_.restart(journal->records, layout_.record_length);
  for (std::size_t i = 0; i < journal->changed_count(); ++i) {
    changes_.replace(journal->changed_record(i), journal->changed_bytes(i));
  }
}

void TableFile::apply(const Journal& journal) {
  const std::uint64_t end = layout_.header_length + std::uint64_t{journal.records} * layout_.record_length;
  for (std::size_t i = 0; i < journal.changed_count(); ++i) {
    const std::uint64_t offset = std::uint64_t{journal.changed_record(i)} * layout_.record_length;
    file_->write_at(layout_.header_length + offset, journal.changed_bytes(i));
  }
  file_->write_at(end, journal.tail);
  file_->truncate(journal.file_size);
  file_->write_at(0, journal.header);
  file_->sync();
}

void TableFile::lock_for_commit() { lock(LockKind::exclusive, kRecordsByte); }

void TableFile::write_journal(const std::string& master) {
  // Texts first: a record must not name a block that a power failure leaves unwritten.
  if (memo_ != nullptr) memo_->sync();
  Journal journal;
  journal.file_size = file_->size();
  journal.form = form_sum_;
  journal.records = changes_.file_records();
  journal.record_length = layout_.record_length;
  journal.header = header();
  journal.master = master;
  const std::uint64_t end = layout_.header_length + std::uint64_t{journal.records} * layout_.record_length;
  const std::uint64_t added = std::uint64_t{changes_.count() - journal.records} * layout_.record_length;
  if (added > 0 && journal.file_size > end) {
    journal.tail.resize(static_cast<std::size_t>(std::min(journal.file_size - end, added + 1)));
    journal.tail.resize(file_->read_at(end, journal.tail));
  }
  std::string bytes(layout_.record_length, '\0');
  for (const std::uint32_t record : changes_.changed_records()) {
    read_records(record, bytes);
    append_number(journal.changed, record);
    journal.changed += bytes;
  }
  const std::string text = journal_text(journal);
  const auto file = platform::data_files().create(path(journal_name()));
  journal_ = std::move(journal);
  file->write_at(0, text);
  file->sync();
}

void TableFile::write_changes() {
  touched_ = true;
  std::string run;
  std::uint32_t run_begin = 0;
  std::uint32_t run_end = 0;
  const auto write_run = [&] {
    const std::uint64_t offset = std::uint64_t{run_begin} * layout_.record_length;
    if (!run.empty()) file_->write_at(layout_.header_length + offset, run);
    run.clear();
  };
  const auto add = [&](std::uint32_t record) {
    if (record != run_end || run.size() >= kWriteBytes) {
      write_run();
      run_begin = record;
    }
    run.append(changes_.find(record), layout_.record_length);
    run_end = record + 1;
  };
  for (const std::uint32_t record : changes_.changed_records()) add(record);
  for (std::uint32_t record = changes_.file_records(); record < changes_.count(); ++record) add(record);
  if (changes_.count() > changes_.file_records()) run.push_back(kEndOfFile);
  write_run();
  file_->write_at(1, change_mark(today(), changes_.count()));
  file_->sync();
}

void TableFile::put_back() {
  if (journal_) {
    // If this fails, the journal stays, and whoever comes next puts the old state back.
    if (touched_) apply(*journal_);
    remove_journal();
  }
  touched_ = false;
}

void TableFile::remove_journal() { platform::data_files().remove(path(journal_name())); }

void TableFile::end_commit(bool committed) {
  if (committed) changes_.restart(changes_.count(), layout_.record_length);
  ++version_;
  touched_ = false;
  journal_.reset();
  release_records();
}

void TableFile::take_away(const std::vector<std::string>& companions) {
  if (writing_ || readers_ > 0) {
    throw in_use(name_);
  }
  begin_writing();
  const auto release = finally([this] { end_writing(); });
  lock(LockKind::exclusive, kRecordsByte);
  const auto release_more = finally([this] { release_records(); });
  platform::data_files().remove(path(name_));
  gone_ = true;
  // Who has the file open still has its bytes, and learns from them that it is no table any more.
  quietly([&] { file_->write_at(0, std::string_view("\0", 1)); });
  for (const std::string& companion : companions) platform::data_files().remove(path(companion));
  platform::data_files().sync_folder(site_->folder);
}

}  // namespace quarno::desktop::dbase
