// One table of a folder, open for one connection: its records, the changes of the running transaction, and
// the locks that keep other connections and processes apart.
//
// Two bytes far behind the end of the file are locked. Who writes holds the first one from the first write of
// a transaction to its end, so there is one writer at a time. The second one is shared by readers for the
// length of a statement and taken alone while a commit is written, so that nobody reads half of one. Programs
// that do not know these locks are not kept out.
//
// A commit writes a journal first (what the table looked like), then the table, then removes the journal.
// Whoever finds a journal and gets the locks knows that its writer died, and puts the old state back.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/data_files.h"
#include "providers/desktop/dbase/changes.h"
#include "providers/desktop/dbase/journal.h"
#include "providers/desktop/dbase/layout.h"
#include "providers/desktop/dbase/lookup.h"
#include "providers/desktop/dbase/memo_file.h"
#include "providers/desktop/dbase/text_form.h"

namespace quarno::desktop::dbase {

class TableFile;

/// What the tables of one connection have in common.
struct Site {
  std::string folder;
  int code_page = 1252;  // of tables that name none
  int patience_ms = 5000;
  bool may_write = true;
  std::vector<TableFile*> writing;  // in the running transaction, in the order of their first change
};

class TableFile {
 public:
  /// File names inside the site's folder; `memo_name` and `code_page_name` are empty when there is none.
  TableFile(std::shared_ptr<Site> site, std::string name, const std::string& memo_name,
            const std::string& code_page_name);
  TableFile(const TableFile&) = delete;
  TableFile& operator=(const TableFile&) = delete;
  ~TableFile();

  const Layout& layout() const { return layout_; }
  const std::string& name() const { return name_; }
  TextForm& text_form() { return *text_form_; }
  /// Null when the memo file is missing.
  MemoFile* memo() { return memo_.get(); }

  /// Keeps commits of others away until end_reading; calls may be nested.
  void begin_reading();
  void end_reading();
  /// With the records that the running transaction added.
  std::uint32_t count() const { return changes_.count(); }
  /// Grows whenever bytes read before may have changed in the file.
  std::uint64_t version() const { return version_; }
  /// Another number whenever a record may have changed since.
  std::uint64_t state() const { return changes_.steps(); }
  Lookups& lookups() { return lookups_; }
  /// The bytes of a changed or new record; null when they are those of the file.
  const char* changed(std::uint32_t record) const {
    return changes_.empty() ? nullptr : changes_.find(record);
  }
  /// How many of `most` records from `first` on the file itself has.
  std::uint32_t in_file(std::uint32_t first, std::uint32_t most) const;
  void read_records(std::uint32_t first, std::span<char> bytes);
  /// The present bytes of one record.
  std::string record(std::uint32_t number);

  Site& site() { return *site_; }
  void begin_writing();
  std::uint32_t append(std::string_view bytes);
  void replace(std::uint32_t record, std::string_view bytes);
  Changes& changes() { return changes_; }
  /// Ends the transaction; changes that were not committed are forgotten.
  void end_writing();

  // The steps of a commit, see commit.h.
  void lock_for_commit();
  void write_journal(const std::string& master);
  void write_changes();
  void put_back();
  void remove_journal();
  void end_commit(bool committed);

  /// Removes the table and the files beside it that belong to it; raises when it is in use.
  void take_away(const std::vector<std::string>& companions);
  bool is_gone() const { return gone_; }

 private:
  using Moment = std::chrono::steady_clock::time_point;

  std::string path(std::string_view file_name) const;
  std::string journal_name() const { return name_ + "-journal"; }
  void read_form(const std::string& code_page_name);
  std::string header();
  Moment end_of_patience() const;
  void wait(Moment end) const;
  void lock(platform::LockKind kind, std::uint64_t first);
  void lock_for_reading();
  bool try_lock(platform::LockKind kind, std::uint64_t first);
  void unlock(std::uint64_t first);
  void release_records();
  void refresh();
  // The journal of a writer that died. The record lock must be held.
  std::optional<std::string> left_journal();
  std::optional<Journal> valid_journal(const std::string& text);
  void replay_left_journal();
  void read_through(const std::string& text);
  void apply(const Journal& journal);

  std::shared_ptr<Site> site_;
  std::string name_;
  std::unique_ptr<platform::DataFile> file_;
  bool file_is_writable_ = true;
  Layout layout_;
  std::uint64_t form_sum_ = 0;
  std::unique_ptr<TextForm> text_form_;
  std::unique_ptr<MemoFile> memo_;
  Changes changes_;
  std::uint64_t version_ = 0;
  Lookups lookups_;
  int readers_ = 0;
  bool writing_ = false;
  bool gone_ = false;
  std::optional<Journal> journal_;  // of the commit under way
  bool touched_ = false;            // by it
};

/// The whole file; nothing when it does not exist.
std::optional<std::string> file_text(const std::string& path);

}  // namespace quarno::desktop::dbase
