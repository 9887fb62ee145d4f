// The worker behind CData: it owns the connection, which it opens when it is first needed, and the current
// recordset. Its members raise; CData turns that into results.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ado/Catalog.h"
#include "ado/Connection.h"
#include "ado/Recordset.h"
#include "common/variant.h"
#include "data/CError.h"
#include "data/connection_settings.h"
#include "data/select_text.h"

namespace quarno::data {

class CRecorset {
 public:
  CRecorset();

  ConnectionSettings settings;
  std::int32_t cursor_type = ado::adOpenDynamic;
  std::int32_t cursor_location = ado::adUseClient;
  std::int32_t lock_type = ado::adLockOptimistic;
  std::int32_t execute_options = 0;
  bool show_messages = true;
  bool ping_on_open = false;
  bool init_date = false;  // substitute for null dates
  bool connection_switch = true;
  std::string table;  // of the next composed query

  const Ptr<CError>& error() const { return error_; }
  const Ptr<ado::Connection>& connection() const { return connection_; }
  void adopt_connection(Ptr<ado::Connection> connection) { connection_ = std::move(connection); }
  const Ptr<ado::Recordset>& recordset() const { return recordset_; }

  /// Opens the connection when it is closed. A setting that names nothing ends it without an error where that
  /// is the rule: the operation that needed the connection then fails on the closed one.
  void ensure_open();
  /// Turns the switch back when it was turned.
  void turn_connection_switch() { connection_switch = false; }

  /// Composes from the parts (their table is set from `table`); stores "dbo" as the owner where one is
  /// needed.
  std::string composed_select(SelectParts parts);
  void open_recordset(const std::string& statement);
  /// Queries from here on are hierarchies too: the connection is opened through the provider that serves
  /// them, or serves them itself when it is open. The rows that belong to the current one are the child's.
  void take_shapes();
  /// Opens a procedure's call, on the connection as it is; without rows the recordset stays closed.
  void open_procedure(const std::string& call);
  void close_recordset();
  bool is_recordset_open() const { return recordset_ && recordset_->is_open(); }

  // Each moves, or stays on the last (first) row and answers false.
  bool move_next();
  bool move_previous();
  void move_first();
  void move_last();
  // The same among the child's rows.
  bool move_child_next() { return step_on(child_rows(), child_past_end_); }
  bool move_child_previous() { return step_back(child_rows(), child_past_end_); }
  void move_child_first() { child_rows().MoveFirst(); }
  void move_child_last() { child_rows().MoveLast(); }
  bool is_child_eof();
  /// Empty when the child has no current row.
  Variant child_value(std::string_view name);
  /// Searches from the current row on, itself included; false when it ends beyond the rows.
  bool find(const std::string& criterion, std::int32_t direction);
  /// False where the recordset has no indexes, which is an answer and no failure.
  bool set_index(const std::string& index);
  /// Whether a row has these values in the index columns.
  bool seek(const Variant::Array& values);
  void requery() {
    open_rows().Requery();
    take_child();
  }
  void replace_recordset(const Ptr<ado::Recordset>& recordset);
  /// Of the last query opened: same rows, a current row of its own.
  const Ptr<ado::Recordset>& clone() const { return clone_; }
  bool is_eof() const;
  /// Empty when there is no current row to read.
  Variant field_value(std::string_view name) const;
  Variant field_value(std::int16_t position) const {
    return on_row() ? field_value(field_name(position)) : Variant();
  }
  /// Name of the field at a position from 0; raises 3704 when no query is open, 3265 for any other position.
  const std::string& field_name(std::int16_t position) const;
  void set_field_value(std::string_view name, const Variant& value);
  /// Whether setting the field would leave it as it is. Of a field that cannot be set, whether the value is
  /// what it shows.
  bool holds(std::string_view name, const Variant& value) const;

  void add_new();
  void update();
  bool delete_row();
  void execute(const std::string& statement, std::int32_t timeout_seconds, std::int32_t& affected);
  std::int32_t last_row_id();
  /// The catalogue of the connection, which is opened when it is closed.
  ado::Catalog& catalog();
  /// The table that was opened last, or is being defined; raises 91 when there is none.
  ado::Table& table_definition();
  std::optional<ado::Table> current_table;

  // Beyond the connection.

  /// Of the current rows. False for a name that is not meant for it, or is taken.
  bool save_snapshot(const std::string& path, bool over_file);
  /// In place of the query; false, and the query is closed all the same, for a name that is not meant for it.
  bool open_snapshot(const std::string& path);
  /// The table in memory: closed at first, for fields to be added.
  ado::Recordset& detached();
  /// While no query is open it is also the current recordset.
  void open_detached();
  bool delete_detached_row();
  bool move_detached_next() { return step_on(detached(), detached_past_end_); }
  bool move_detached_previous() { return step_back(detached(), detached_past_end_); }
  bool move_detached(std::int32_t count);
  Variant detached_value(std::string_view name) const;
  void set_detached_value(std::string_view name, const Variant& value) { set_field(detached(), name, value); }
  void field_to_file(std::string_view name, const std::string& path);
  /// Into the field of the row being edited; a missing file leaves it as it was.
  void file_to_field(std::string_view name, const std::string& path);

  /// The open recordset; raises 3704 when there is none.
  ado::Recordset& open_rows() const;
  const ado::Column& column(std::string_view name) const;

 private:
  bool settings_name_a_source();
  void open_rows_of(const std::string& statement, std::int32_t options);
  void tell(const char* text) const;
  bool on_row() const { return recordset_ && recordset_->on_row(); }
  Variant value_or_substitute(const ado::Recordset& rows, std::size_t index) const;
  static bool set_field(ado::Recordset& rows, std::string_view name, const Variant& value);
  static std::size_t long_column(const ado::Recordset& rows, std::string_view name);
  static bool step_on(ado::Recordset& rows, bool& past_end);
  static bool step_back(ado::Recordset& rows, bool& past_end);
  // Which row the child is of: the current one's bookmark, or kNoParent where it has none.
  double parent_mark() const;
  void take_child();
  // The host, who holds the recordset too, may have moved it.
  void follow_parent();
  ado::Recordset& child_rows();

  Ptr<CError> error_;
  Ptr<ado::Connection> connection_;
  ado::Catalog catalog_;
  Ptr<ado::Recordset> recordset_;
  Ptr<ado::Recordset> clone_;
  Ptr<ado::Recordset> child_;  // of the current row of a hierarchy; null where the last field is no chapter
  Ptr<ado::Recordset> detached_;
  bool detached_past_end_ = false;
  bool shaped_ = false;          // queries may be hierarchies
  bool is_from_file_ = false;    // as may files
  bool child_past_end_ = false;  // as past_end_
  static constexpr double kNoParent = 0;
  double child_mark_ = kNoParent;
  bool editing_ = false;   // a row is being added or edited
  bool past_end_ = false;  // MoveNext ran past the last row, or MovePrev past the first
};

}  // namespace quarno::data
