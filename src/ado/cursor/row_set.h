// The rows of a client cursor with what edits did to them, and what is left of the result they come from.
// Shared by a recordset and its clones: a change through one is seen in all. Rows are told by their number,
// which never changes; a deleted row keeps its own.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ado/cursor/column_store.h"
#include "ado/provider.h"
#include "common/error.h"
#include "common/name_index.h"
#include "common/text.h"

namespace quarno::ado {

class RowSet {
 public:
  /// Holds no row of the result yet. `query` is what the rows come from: where it reads a table twice, its
  /// columns count as computed.
  explicit RowSet(std::unique_ptr<Rows> source, std::string_view query = {});

  /// Whether all rows of the result are here.
  bool is_complete() const { return source_ == nullptr; }
  /// Time counts anew for what is loaded next: called where a host comes for more at its own pace.
  void renew_time_limit() {
    if (source_ != nullptr) source_->renew_time_limit();
  }
  /// Appends the next rows of the result; false at its end. A failure is raised again by every later call:
  /// rows that are missing must not look like the end.
  bool load(std::size_t limit);
  /// The same, but the next rows take the place of all that are here, which stay when there are none.
  bool replace(std::size_t limit);

  /// All columns; those that are hidden are the last.
  const std::vector<Column>& columns() const { return columns_; }
  /// Columns that are fields.
  std::size_t field_count() const { return field_count_; }
  /// Position of a field or NameIndex::kUnknown; the first of several equal names.
  std::int32_t find_column(std::string_view name) const {
    // Hosts mostly ask for the fields in their order.
    const std::size_t next = asked_last_ + 1 < field_count_ ? asked_last_ + 1 : 0;
    if (names_differ_ && text::same_bytes(columns_[next].name, name)) {
      asked_last_ = next;
      return static_cast<std::int32_t>(next);
    }
    return look_up(name);
  }
  /// The one table that columns come from; empty when there are none or several.
  const std::string& base_table() const { return base_table_; }
  /// Whether a column comes from a table at all.
  bool has_origin() const { return has_origin_; }
  ColumnStore& store() { return store_; }
  const ColumnStore& store() const { return store_; }
  bool has_chapters() const { return !chapters_.empty(); }
  /// What a column's values are when they are rows; else null.
  const std::shared_ptr<Chapters>& chapters(std::size_t column) const {
    static const std::shared_ptr<Chapters> none;
    return chapters_.empty() ? none : chapters_[column];
  }

  /// Deleted rows included.
  std::size_t row_count() const { return store_.row_count(); }
  std::size_t deleted_count() const { return deleted_count_; }
  bool is_deleted(std::size_t row) const { return row < deleted_.size() && deleted_[row]; }
  Variant value(std::size_t row, std::size_t column) const {
    if (!changed_.empty()) {
      if (const Variant* const changed = changed_value(row, column)) return *changed;
    }
    return store_.column(column).value(row);
  }
  /// The same as the data source itself holds it, whatever is pending.
  Variant source_value(std::size_t row, std::size_t column) const;

  /// What was read, before what is pending.
  Variant original_value(std::size_t row, std::size_t column) const;

  /// What an update stored at the source.
  void change(std::size_t row, std::size_t column, Variant value);
  void mark_deleted(std::size_t row);
  /// A row of its own, behind the others; its number.
  std::size_t append(std::span<const Variant> values, const std::vector<bool>& assigned);

  // Changes that are kept here until a batch is sent.

  struct Pending {
    RecordStatus kind = adRecModified;  // adRecNew, adRecModified or adRecDeleted
    std::vector<bool> assigned;         // the columns that are to be written
    // What stood in changed columns; nothing where that is what was read.
    std::unordered_map<std::size_t, std::optional<Variant>> before;
    std::int32_t failure = adRecOK;  // status bits of the last attempt
  };
  const std::map<std::size_t, Pending>& pending() const { return pending_; }
  /// The column that the source numbers, when nothing was assigned to it.
  std::optional<std::size_t> unassigned_number(const std::vector<bool>& assigned) const;
  void stage_new(std::size_t row, std::vector<bool> assigned);
  void stage_change(std::size_t row, std::size_t column, Variant value);
  void stage_delete(std::size_t row);
  void note_failure(std::size_t row, RecordStatus failure) { pending_.at(row).failure = failure; }
  /// The source holds it now.
  void confirm(std::size_t row) { pending_.erase(row); }
  /// As if it had not been changed.
  void undo(std::size_t row);

 private:
  template <class Read, class Keep>
  bool read(const Read& next, const Keep& keep);
  std::int32_t look_up(std::string_view name) const;
  const Variant* changed_value(std::size_t row, std::size_t column) const;
  // What stood there before a pending change; null when none is pending.
  const std::optional<Variant>* before_pending(std::size_t row, std::size_t column) const;

  std::unique_ptr<Rows> source_;  // null once it was read to its end
  std::optional<Error> failure_;
  std::vector<Column> columns_;
  std::size_t field_count_ = 0;
  NameIndex names_;
  bool names_differ_ = false;
  mutable std::size_t asked_last_ = 0;
  std::string base_table_;
  bool has_origin_ = false;
  ColumnStore store_;
  std::vector<std::shared_ptr<Chapters>> chapters_;   // by column, null where it is none; empty without any
  std::optional<ColumnStore> next_store_;             // of a result that is walked in blocks; changes places
  std::unordered_map<std::size_t, Variant> changed_;  // by row * columns + column, over the store
  std::vector<bool> deleted_;                         // empty until a row is deleted
  std::size_t deleted_count_ = 0;
  std::map<std::size_t, Pending> pending_;  // by row
};

}  // namespace quarno::ado
