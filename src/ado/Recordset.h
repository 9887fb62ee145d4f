// The rows of a query with a current row, on a client cursor: all rows are held as typed columns, and moving,
// finding, filtering and sorting cost nothing at the data source. Opened for asynchronous fetching it has the
// first rows at once and brings in the others as it moves; what needs all of them completes it. Edits go out
// as prepared statements when they are updated. A forward-only, read-only recordset at the server holds no
// more than the block of rows it walks. Without a connection it has the rows of a file or of columns that a
// host made, and keeps what is changed. Used on the thread that created it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ado/Connection.h"
#include "ado/cursor/criteria.h"
#include "ado/cursor/row_set.h"
#include "ado/enums.h"
#include "ado/provider.h"
#include "ado/row_writer.h"
#include "automation/automation.h"

namespace quarno::ado {

class Field;
class Fields;

class Recordset : public automation::Automation<Recordset> {
 public:
  static constexpr std::string_view kClassName = "Recordset";
  static std::span<const automation::Member> members();

  Recordset();
  ~Recordset() override;

  // State
  std::int32_t State() const;
  std::string Source() const { return source_; }
  void set_Source(const std::string& value);
  Ptr<automation::Object> ActiveConnection() const { return Ptr<automation::Object>(connection_.get()); }
  void set_ActiveConnection(const Ptr<automation::Object>& value);
  std::int32_t CursorType() const {
    if (!is_open()) return cursor_type_;
    return is_forward_only_ ? adOpenForwardOnly : adOpenStatic;
  }
  void set_CursorType(std::int32_t value);
  std::int32_t CursorLocation() const { return cursor_location_; }
  void set_CursorLocation(std::int32_t value);
  std::int32_t LockType() const { return lock_type_; }
  void set_LockType(std::int32_t value);
  Ptr<ado::Fields> Fields();

  void Open(const Variant& Source, const Variant& ActiveConnection,
            std::int32_t CursorType = adOpenUnspecified, std::int32_t LockType = adLockUnspecified,
            std::int32_t Options = -1);
  void Close();
  void Requery();
  void Save(const std::string& Destination, std::int32_t PersistFormat = adPersistADTG);

  // Position
  bool at_bof() const;
  bool at_eof() const;
  std::int32_t RecordCount() const;
  std::int32_t AbsolutePosition() const;
  void set_AbsolutePosition(std::int32_t value);
  Variant Bookmark() const;
  void set_Bookmark(const Variant& value);
  void MoveFirst();
  void MoveLast();
  void MoveNext();
  void MovePrevious();
  void Move(std::int32_t NumRecords);
  bool Supports(std::int32_t CursorOptions) const;

  // Choosing rows
  void Find(const std::string& Criteria, std::int32_t SkipRecords = 0, std::int32_t SearchDirection = 1);
  Variant Filter() const { return filter_; }
  void set_Filter(const Variant& value);
  std::string Sort() const { return sort_; }
  void set_Sort(const std::string& value);
  Ptr<Recordset> Clone(std::int32_t LockType = adLockUnspecified) const;
  std::string Index() const { return index_; }
  void set_Index(const std::string& value);
  void Seek(const Variant& KeyValues, std::int32_t SeekOption = adSeekFirstEQ);

  // Editing
  std::int32_t EditMode() const { return edit_mode_; }
  void AddNew();
  void Update();
  void CancelUpdate();
  void Delete();
  std::int32_t Status() const;
  void UpdateBatch(std::int32_t AffectRecords = adAffectAll);
  void CancelBatch(std::int32_t AffectRecords = adAffectAll);

  // For the model's other objects and the worker.

  bool is_open() const { return rows_ != nullptr; }
  /// Open, and neither at BOF nor at EOF.
  bool on_row() const { return is_open() && (place_ == Place::on_row || edit_mode_ == adEditAdd); }
  /// Of its fields; while it is closed, of those that were appended.
  std::span<const Column> columns() const {
    return is_open() ? std::span(rows_->columns()).first(rows_->field_count()) : std::span(made_columns_);
  }
  /// Position of a field; raises 3265 when there is none of that name.
  std::size_t column_index(std::string_view name) const {
    const std::int32_t index = find_column(name);
    if (index == NameIndex::kUnknown) throw model_error(Model::item_not_found);
    return static_cast<std::size_t>(index);
  }
  /// Position or -1.
  std::int32_t find_column(std::string_view name) const {
    return is_open() ? rows_->find_column(name) : find_made_column(name);
  }
  /// The current row's value; raises 3704, 3021 or -2147217885 (row deleted) when there is none.
  Variant value(std::size_t column) const {
    if (piece_.is_other(column)) piece_ = {};
    const bool is_plain = edit_mode_ == adEditNone && !(rows_ != nullptr && rows_->has_chapters());
    if (is_plain && on_row() && !rows_->is_deleted(row())) return rows_->value(row(), column);
    return value_in_edit(column);
  }
  Variant original_value(std::size_t column) const;
  /// Begins an edit of the current row when none is in progress.
  void set_value(std::size_t column, const Variant& value);
  /// The next piece of a text or of bytes, of that many characters or bytes at most; null behind the last
  /// one. It begins anew once another row or field was touched.
  Variant next_piece(std::size_t column, std::size_t size);
  /// Puts a piece behind what was appended to the field since another row or field was touched; the first
  /// one takes the place of the value.
  void append_piece(std::size_t column, const Variant& data);
  /// Adds a column to a closed recordset: Open without a source then makes a table of them in memory.
  void append_column(Column column);
  Column& made_column(std::size_t index);
  /// Whether texts of a column without a size have no limit: in memory nothing else sets one.
  bool is_free() const { return is_detached_ && is_open() && !rows_->has_origin(); }
  /// Writes the rows as XML, over a file that is there when it may; then the first row is current.
  void save(const std::string& path, bool over_file);
  /// How much of a result is fetched: all of it, what is needed, or one block after the other.
  enum class Fetching : std::uint8_t { all, as_needed, blocks };
  /// Becomes the open recordset of a statement that ran already.
  void adopt(Connection& connection, const std::string& source, std::unique_ptr<Rows> rows,
             Fetching fetching = Fetching::all);
  /// To the next row when there is one; stays on the last one and answers false otherwise.
  bool try_move_next();
  void connection_closed();

 private:
  friend class Field;
  friend class ado::Fields;
  enum class Place { before_first, on_row, after_last };
  // The parent's row that the rows belong to, when they are a chapter's.
  struct Scope {
    std::shared_ptr<Chapters> chapters;
    std::size_t parent_row = 0;
    std::vector<std::pair<std::size_t, Variant>> presets;  // of a row that is added

    std::vector<std::size_t> members() const { return chapters->members(parent_row); }
  };

  // With the same settings, over rows that are to be taken.
  Ptr<Recordset> sibling() const;
  // The rows that belong to the current one: a recordset of its own each time.
  Ptr<Recordset> opened_chapter(std::size_t column) const;
  Variant value_in_edit(std::size_t column) const;
  std::int32_t find_made_column(std::string_view name) const;
  void open_file(bool is_sure);
  void open_made_columns();
  std::vector<std::size_t> saved_order() const;
  // Of the connection's, if there is one.
  template <class Work>
  auto report_failures(Work&& work) const {
    return connection_ ? connection_->report_failures(std::forward<Work>(work)) : work();
  }
  void require_open() const;
  void require_row() const;
  void require_updatable() const;
  Session& writing_session() const;
  // The row shown at a position: all rows in their order, unless a filter or a sort made a list.
  std::size_t row_at(std::size_t position) const { return shown_ ? (*shown_)[position] : position; }
  std::size_t position_count() const { return shown_ ? shown_->size() : rows_->row_count(); }
  std::size_t row() const { return row_at(position_); }
  void go_to_row(std::size_t row);
  bool has_rows() const;
  // For what a forward-only recordset cannot do.
  void require_all_rows(bool forward_only) const;
  void require_backward() const;
  // The next rows of the result, behind the last one here; false at its end.
  bool load_more();
  void load_all() const;
  std::string statement() const;
  bool is_table_direct() const { return options_ != -1 && (options_ & adCmdTableDirect) != 0; }
  void choose_rows();
  // A deleted row, unless the filter is for what became of rows and its deletion was not sent.
  bool hides(std::size_t row) const;
  bool is_in_group(std::size_t row, std::int32_t group) const;
  std::vector<std::size_t> chosen_rows(const Variant& filter, const std::vector<SortKey>& keys) const;
  std::vector<SortKey> sort_keys() const;
  void sort_rows(std::vector<std::size_t>& chosen, const std::vector<SortKey>& keys) const;
  // An edit in progress is sent before the cursor leaves its row.
  void finish_edit();
  void step(bool forward);
  void place_on_first(bool forward);
  void insert_pending();
  void update_pending();
  // Changes are kept until UpdateBatch.
  bool is_batch() const { return lock_type_ == adLockBatchOptimistic || !connection_; }
  std::vector<std::size_t> pending_rows(std::int32_t affect) const;
  void take_rows(std::shared_ptr<RowSet> rows);
  void forget_rows();

  std::string source_;
  Ptr<Connection> connection_;
  std::int32_t cursor_type_ = adOpenForwardOnly;
  std::int32_t cursor_location_ = adUseServer;
  std::int32_t lock_type_ = adLockReadOnly;
  std::int32_t options_ = -1;  // of the last Open

  std::shared_ptr<RowSet> rows_;  // null while closed; shared with clones
  std::optional<std::vector<std::size_t>> shown_;
  std::optional<Scope> scope_;
  Variant filter_ = std::int32_t{0};  // a criteria text, or 0 for none
  std::string sort_;
  std::string index_;
  std::vector<SortKey> index_keys_;
  bool is_forward_only_ = false;
  bool is_detached_ = false;                     // the rows are a file's or a host's
  std::optional<std::int32_t> command_timeout_;  // of the statement that the rows are from, in seconds
  bool is_first_block_ = true;
  Place place_ = Place::after_last;
  std::size_t position_ = 0;

  std::int32_t edit_mode_ = adEditNone;
  std::vector<Variant> pending_;  // by column, coerced
  std::vector<bool> assigned_;    // which of them were set
  RowWriter writer_;
  std::vector<std::size_t> affected_;  // by the last UpdateBatch or CancelBatch
  Place place_before_add_ = Place::after_last;

  // A field that is read or written piece by piece.
  struct Piece {
    std::optional<std::size_t> column;
    std::size_t row = 0;
    std::size_t position = 0;  // in bytes, of what is read next
    bool is_written = false;
    Variant value;  // that is read

    bool is_other(std::size_t touched) const { return column && *column != touched; }
  };
  mutable Piece piece_;

  std::vector<Column> made_columns_;      // while it is closed
  std::uint32_t generation_ = 0;          // of the columns; a field of an earlier one is no longer valid
  ado::Fields* fields_object_ = nullptr;  // handed out and still held by a host
  std::vector<Field*> field_objects_;     // by column, likewise
};

}  // namespace quarno::ado
