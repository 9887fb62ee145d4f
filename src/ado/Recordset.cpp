#include "ado/Recordset.h"

#include <algorithm>

#include "ado/Fields.h"
#include "ado/ado_error.h"
#include "ado/persist/hierarchy.h"
#include "ado/write_statement.h"
#include "common/text.h"

namespace quarno::ado {
namespace {

constexpr std::size_t kFetchRows = 4096;
// What an asynchronous fetch waits for.
constexpr std::size_t kFirstRows = 256;
// Stands in a connection string for files.
constexpr std::string_view kFileProvider = "MSPersist";

Ptr<Connection> connection_of(const Ptr<automation::Object>& object) {
  auto* const connection = dynamic_cast<Connection*>(object.get());
  if (connection == nullptr || !connection->is_open()) throw model_error(Model::invalid_connection);
  return Ptr<Connection>(connection);
}

bool one_of(std::int32_t value, std::initializer_list<std::int32_t> allowed) {
  return std::find(allowed.begin(), allowed.end(), value) != allowed.end();
}

}  // namespace

Recordset::Recordset() = default;

Recordset::~Recordset() {
  if (connection_ && is_open()) connection_->detach(*this);
}

void Recordset::set_Source(const std::string& value) {
  if (is_open()) throw model_error(Model::object_open);
  source_ = value;
}

void Recordset::set_ActiveConnection(const Ptr<automation::Object>& value) {
  if (is_open() && (cursor_location_ != adUseClient || scope_)) throw model_error(Model::object_open);
  auto connection = value ? connection_of(value) : Ptr<Connection>();
  if (is_open()) {
    // The rows stay, and what is changed from now on is kept or sent elsewhere.
    load_all();
    if (!persist::is_whole(*rows_)) throw model_error(Model::feature_not_available);
    finish_edit();
    if (connection_) connection_->detach(*this);
    if (connection) connection->attach(*this);
  }
  connection_ = std::move(connection);
}

void Recordset::set_CursorType(std::int32_t value) {
  if (is_open()) throw model_error(Model::object_open);
  if (!one_of(value, {adOpenForwardOnly, adOpenKeyset, adOpenDynamic, adOpenStatic})) {
    throw model_error(Model::invalid_argument);
  }
  cursor_type_ = value;
}

void Recordset::set_CursorLocation(std::int32_t value) {
  if (is_open()) throw model_error(Model::object_open);
  if (!one_of(value, {adUseServer, adUseClient})) throw model_error(Model::invalid_argument);
  cursor_location_ = value;
}

void Recordset::set_LockType(std::int32_t value) {
  if (is_open()) throw model_error(Model::object_open);
  if (!one_of(value, {adLockReadOnly, adLockPessimistic, adLockOptimistic, adLockBatchOptimistic})) {
    throw model_error(Model::invalid_argument);
  }
  lock_type_ = value;
}

Ptr<Fields> Recordset::Fields() {
  if (fields_object_ != nullptr) return Ptr<ado::Fields>(fields_object_);
  auto fields = make<ado::Fields>(Ptr<Recordset>(this));
  fields_object_ = fields.get();
  return fields;
}

void Recordset::Open(const Variant& Source, const Variant& ActiveConnection, std::int32_t CursorType,
                     std::int32_t LockType, std::int32_t Options) {
  if (is_open()) throw model_error(Model::object_open);
  const auto given = [](const Variant& value) { return !value.is_empty() && !value.is_missing(); };
  if (given(Source)) {
    const auto* const statement = Source.get_if<std::string>();
    if (statement == nullptr) throw model_error(Model::invalid_argument);
    source_ = *statement;
  }
  bool is_file = Options != -1 && (Options & adCmdFile) != 0;
  if (const auto* const words = ActiveConnection.get_if<std::string>()) {
    is_file = text::equal_fold(ConnectionString::parse(*words).find("Provider").value_or(""), kFileProvider);
    connection_ = is_file ? Ptr<Connection>() : make<Connection>();
    if (!is_file) connection_->Open(*words);
  } else if (given(ActiveConnection)) {
    set_ActiveConnection(automation::object_of(ActiveConnection));
  }
  if (CursorType != adOpenUnspecified) set_CursorType(CursorType);
  if (LockType != adLockUnspecified) set_LockType(LockType);
  options_ = Options;
  if (!made_columns_.empty()) {
    if (given(Source) || connection_) throw model_error(Model::illegal_operation);
    return open_made_columns();
  }
  if (is_file || (!connection_ && !source_.empty())) return open_file(is_file);
  if (!connection_) throw model_error(Model::invalid_connection);
  Session& session = connection_->session(Model::invalid_connection);
  if (source_.empty())
    throw Error(kNoCommandText, "Command text was not set for the command object.", "ADODB.Recordset");
  const bool forward_only =
      cursor_location_ == adUseServer && cursor_type_ == adOpenForwardOnly && lock_type_ == adLockReadOnly;
  if (forward_only && filter_.is_text()) require_all_rows(true);
  const bool asynchronous = Options != -1 && (Options & (adAsyncFetch | adAsyncFetchNonBlocking)) != 0;
  const Fetching fetching = forward_only   ? Fetching::blocks
                            : asynchronous ? Fetching::as_needed
                                           : Fetching::all;
  Outcome outcome = connection_->report_failures([&] {
    if (lock_type_ != adLockReadOnly) session.prepare_editing(statement());
    return session.execute(statement(), connection_->CommandTimeout(),
                           fetching == Fetching::all ? Reading::at_once : Reading::in_blocks);
  });
  // A statement without rows leaves the recordset closed.
  if (outcome.rows != nullptr) adopt(*connection_, source_, std::move(outcome.rows), fetching);
}

// The source may be a table's name, or a procedure's.
std::string Recordset::statement() const {
  const std::int32_t options = options_ == -1 ? 0 : options_;
  const Dialect& dialect = connection_->session().dialect();
  if ((options & (adCmdTable | adCmdTableDirect)) != 0)
    return "SELECT * FROM " + quoted_name(dialect, source_);
  return (options & adCmdStoredProc) != 0 ? call_text(dialect, source_) : source_;
}

void Recordset::adopt(Connection& connection, const std::string& source, std::unique_ptr<Rows> rows,
                      Fetching fetching) {
  // Rows that are held already are a client cursor's, whatever was asked.
  if (rows->chapters() != nullptr) fetching = Fetching::all;
  auto fetched = std::make_shared<RowSet>(std::move(rows), source);
  connection.report_failures([&] {
    if (fetching != Fetching::all) return static_cast<void>(fetched->load(kFirstRows));
    while (fetched->load(kFetchRows)) {
    }
  });
  source_ = source;
  connection_ = Ptr<Connection>(&connection);
  command_timeout_ = connection.CommandTimeout();
  is_forward_only_ = fetching == Fetching::blocks;
  is_first_block_ = true;
  take_rows(std::move(fetched));
}

std::int32_t Recordset::State() const {
  if (!is_open()) return adStateClosed;
  return is_forward_only_ || rows_->is_complete() ? adStateOpen : adStateOpen | adStateFetching;
}

bool Recordset::load_more() {
  rows_->renew_time_limit();
  const bool more = report_failures(
      [&] { return is_forward_only_ ? rows_->replace(kFetchRows) : rows_->load(kFetchRows); });
  if (more && is_forward_only_) is_first_block_ = false;
  return more;
}

void Recordset::load_all() const {
  if (is_forward_only_ || rows_->is_complete()) return;
  rows_->renew_time_limit();
  report_failures([&] {
    while (rows_->load(kFetchRows)) {
    }
  });
}

void Recordset::require_all_rows(bool forward_only) const {
  if (forward_only) throw model_error(Model::feature_not_available);
}

void Recordset::require_backward() const {
  if (is_forward_only_)
    throw Error(kNoBackwardFetch, "Rowset does not support fetching backward.", "ADODB.Recordset");
}

void Recordset::take_rows(std::shared_ptr<RowSet> rows) {
  rows_ = std::move(rows);
  shown_.reset();
  sort_.clear();
  index_.clear();
  index_keys_.clear();
  const std::size_t count = rows_->columns().size();
  field_objects_.resize(count);  // those of appended columns stay valid
  pending_.assign(count, Variant());
  assigned_.assign(count, false);
  writer_ = {};
  affected_.clear();
  if (connection_) connection_->attach(*this);
  // A filter that was set while it was closed holds for what is opened.
  if (!filter_.is_text() && !scope_) return place_on_first(true);
  try {
    choose_rows();
  } catch (const Error&) {
    connection_closed();
    throw;
  }
}

void Recordset::forget_rows() {
  ++generation_;
  field_objects_.clear();
  piece_ = {};
  rows_.reset();
  shown_.reset();
  scope_.reset();
  is_forward_only_ = false;
  is_detached_ = false;
  command_timeout_.reset();
  // It belonged to these rows; the next ones are shown whole.
  filter_ = std::int32_t{adFilterNone};
  edit_mode_ = adEditNone;
  place_ = Place::after_last;
}

void Recordset::Close() {
  require_open();
  // Of a batch nothing is sent by itself.
  if (edit_mode_ != adEditNone && !is_batch()) throw model_error(Model::illegal_operation);
  connection_closed();
}

void Recordset::connection_closed() {
  if (connection_) connection_->detach(*this);
  forget_rows();
}

void Recordset::Requery() {
  // The rows of a chapter come from the parent's query.
  if (scope_) throw model_error(Model::feature_not_available);
  // Nothing can bring back rows that a host made, or change what they came from.
  if (is_detached_ && source_.empty()) throw model_error(Model::illegal_operation);
  const Variant filter = filter_;
  Close();
  filter_ = filter.is_text() ? filter : Variant(std::int32_t{adFilterNone});
  Open(Variant(), Variant(), adOpenUnspecified, adLockUnspecified, options_);
}

void Recordset::require_open() const {
  if (!is_open()) throw model_error(Model::object_closed);
}

void Recordset::require_row() const {
  require_open();
  if (edit_mode_ == adEditAdd) return;
  if (place_ != Place::on_row) throw model_error(Model::no_current_record);
  if (rows_->is_deleted(row())) {
    throw Error(kDeletedRow, "A given HROW referred to a hard- or soft-deleted row.", "ADODB.Recordset");
  }
}

bool Recordset::at_bof() const {
  require_open();
  if (edit_mode_ == adEditAdd || place_ == Place::on_row) return false;
  return place_ == Place::before_first || !has_rows();
}

bool Recordset::at_eof() const {
  require_open();
  if (edit_mode_ == adEditAdd || place_ == Place::on_row) return false;
  return place_ == Place::after_last || !has_rows();
}

bool Recordset::has_rows() const {
  // As long as rows are to come none was deleted.
  if (is_forward_only_ || !rows_->is_complete()) return rows_->row_count() > 0;
  return RecordCount() > 0;
}

std::int32_t Recordset::RecordCount() const {
  require_open();
  if (is_forward_only_) return -1;
  load_all();
  std::size_t count = position_count();
  if (rows_->deleted_count() > 0) {
    if (!shown_) {
      count -= rows_->deleted_count();
    } else {
      count = static_cast<std::size_t>(
          std::count_if(shown_->begin(), shown_->end(), [this](std::size_t row) { return !hides(row); }));
    }
  }
  return static_cast<std::int32_t>(count + (edit_mode_ == adEditAdd ? 1 : 0));
}

std::int32_t Recordset::AbsolutePosition() const {
  require_open();
  if (edit_mode_ == adEditAdd) return RecordCount();
  if (is_forward_only_ || !has_rows()) return adPosUnknown;
  if (place_ == Place::before_first) return adPosBOF;
  if (place_ == Place::after_last) return adPosEOF;
  std::int32_t position = 1;
  if (rows_->deleted_count() == 0) return static_cast<std::int32_t>(position_) + position;
  for (std::size_t i = 0; i < position_; ++i) position += hides(row_at(i)) ? 0 : 1;
  return position;
}

void Recordset::set_AbsolutePosition(std::int32_t value) {
  require_open();
  require_all_rows(is_forward_only_);
  finish_edit();
  if (value < 1 || value > RecordCount()) throw model_error(Model::invalid_argument);
  place_on_first(true);
  Move(value - 1);
}

Variant Recordset::Bookmark() const {
  require_row();
  require_all_rows(is_forward_only_);
  if (edit_mode_ == adEditAdd) throw model_error(Model::no_current_record);
  return static_cast<double>(row() + 1);
}

void Recordset::set_Bookmark(const Variant& value) {
  require_open();
  require_all_rows(is_forward_only_);
  finish_edit();
  const double* const number = value.get_if<double>();
  const bool known = number != nullptr && *number >= 1 && *number <= static_cast<double>(rows_->row_count());
  if (!known) throw model_error(Model::invalid_argument);
  go_to_row(static_cast<std::size_t>(*number) - 1);
}

void Recordset::go_to_row(std::size_t row) {
  std::size_t position = row;
  if (shown_) {
    const auto found = std::find(shown_->begin(), shown_->end(), row);
    if (found == shown_->end()) throw model_error(Model::no_current_record);
    position = static_cast<std::size_t>(found - shown_->begin());
  }
  position_ = position;
  place_ = Place::on_row;
}

void Recordset::place_on_first(bool forward) {
  const std::size_t count = position_count();
  place_ = forward ? Place::after_last : Place::before_first;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t position = forward ? i : count - 1 - i;
    if (hides(row_at(position))) continue;
    position_ = position;
    place_ = Place::on_row;
    return;
  }
}

void Recordset::MoveFirst() {
  require_open();
  finish_edit();
  if (!has_rows()) throw model_error(Model::no_current_record);
  // The first block is gone: the query runs again.
  if (is_forward_only_ && !is_first_block_) return Requery();
  place_on_first(true);
}

void Recordset::MoveLast() {
  require_open();
  require_backward();
  finish_edit();
  if (!has_rows()) throw model_error(Model::no_current_record);
  load_all();
  place_on_first(false);
}

// One row on or back, over deleted ones; past the end there is no current row.
void Recordset::step(bool forward) {
  const Place beyond = forward ? Place::after_last : Place::before_first;
  const bool empty = place_ != Place::on_row && !has_rows();
  if (place_ == beyond || empty) throw model_error(Model::no_current_record);
  if (place_ != Place::on_row) return place_on_first(forward);
  do {
    if (forward ? position_ + 1 >= position_count() : position_ == 0) {
      if (forward && load_more()) {
        position_ = is_forward_only_ ? 0 : position_ + 1;
        return;
      }
      place_ = beyond;
      return;
    }
    position_ = forward ? position_ + 1 : position_ - 1;
  } while (hides(row()));
}

void Recordset::MoveNext() {
  require_open();
  finish_edit();
  step(true);
}

bool Recordset::try_move_next() {
  require_open();
  finish_edit();
  if (at_eof()) return false;
  const Place place = place_;
  const std::size_t position = position_;
  const bool was_deleted = place_ == Place::on_row && rows_->is_deleted(row());
  step(true);
  if (place_ == Place::on_row) return true;
  if (was_deleted) {
    // Back to the last row there is.
    place_on_first(false);
    if (place_ != Place::on_row) place_ = Place::after_last;
    return false;
  }
  place_ = place;
  position_ = position;
  return false;
}

void Recordset::MovePrevious() {
  require_open();
  require_backward();
  finish_edit();
  step(false);
}

void Recordset::Move(std::int32_t NumRecords) {
  require_open();
  finish_edit();
  const bool forward = NumRecords > 0;
  if (NumRecords < 0) require_backward();
  if (NumRecords == 0) return require_row();
  step(forward);
  const std::int64_t more = std::abs(std::int64_t{NumRecords}) - 1;
  for (std::int64_t i = 0; i < more && place_ == Place::on_row; ++i) step(forward);
}

bool Recordset::Supports(std::int32_t CursorOptions) const {
  require_open();
  if (is_forward_only_) return (adFind & CursorOptions) == CursorOptions;
  const bool by_index = is_table_direct() && connection_ && cursor_location_ == adUseServer &&
                        connection_->session().has_indexes();
  std::int32_t supported = adHoldRecords | adMovePrevious | adApproxPosition | adBookmark | adFind;
  const bool is_writable = lock_type_ != adLockReadOnly;
  if (is_writable && (is_free() || rows_->has_origin())) supported |= adUpdate;
  if (is_writable && (is_free() || !rows_->base_table().empty())) supported |= adAddNew | adDelete;
  if (is_batch()) supported |= adUpdateBatch;
  if (by_index) supported |= adIndex | adSeek;
  return (supported & CursorOptions) == CursorOptions;
}

Variant Recordset::value_in_edit(std::size_t column) const {
  require_row();
  if (edit_mode_ != adEditNone && assigned_[column]) return pending_[column];
  if (edit_mode_ == adEditAdd) return {};
  if (rows_->chapters(column) != nullptr) return Variant(opened_chapter(column));
  return rows_->value(row(), column);
}

Variant Recordset::original_value(std::size_t column) const {
  require_open();
  const bool is_pending = on_row() && edit_mode_ != adEditAdd && rows_->pending().contains(row());
  if (!is_pending) require_row();
  return edit_mode_ == adEditAdd ? Variant() : rows_->original_value(row(), column);
}

Ptr<Recordset> Recordset::Clone(std::int32_t LockType) const {
  require_open();
  require_all_rows(is_forward_only_);
  if (LockType != adLockUnspecified && LockType != adLockReadOnly) throw model_error(Model::invalid_argument);
  auto clone = sibling();
  if (LockType == adLockReadOnly) clone->lock_type_ = LockType;
  clone->scope_ = scope_;
  clone->take_rows(rows_);
  return clone;
}

Ptr<Recordset> Recordset::sibling() const {
  auto result = make<Recordset>();
  result->source_ = source_;
  result->connection_ = connection_;
  result->cursor_type_ = cursor_type_;
  result->cursor_location_ = cursor_location_;
  result->lock_type_ = lock_type_;
  result->options_ = options_;
  result->is_detached_ = is_detached_;
  result->command_timeout_ = command_timeout_;
  return result;
}

Ptr<Recordset> Recordset::opened_chapter(std::size_t column) const {
  const std::shared_ptr<Chapters>& chapters = rows_->chapters(column);
  std::shared_ptr<RowSet> rows = report_failures([&] { return chapters->rows(*rows_, row()); });
  auto result = sibling();
  result->scope_ = Scope{chapters, row(), chapters->presets(*rows_, row())};
  result->take_rows(std::move(rows));
  return result;
}

}  // namespace quarno::ado
