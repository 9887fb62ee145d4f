#include "ado/Recordset.h"

#include <algorithm>

#include "ado/Fields.h"
#include "ado/ado_error.h"
#include "ado/write_statement.h"
#include "automation/member_table.h"

namespace quarno::ado {
namespace {

constexpr std::size_t kFetchRows = 4096;
// What an asynchronous fetch waits for.
constexpr std::size_t kFirstRows = 256;

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
  if (is_open()) throw model_error(Model::object_open);
  connection_ = value ? connection_of(value) : Ptr<Connection>();
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
  if (given(ActiveConnection)) set_ActiveConnection(automation::object_of(ActiveConnection));
  if (CursorType != adOpenUnspecified) set_CursorType(CursorType);
  if (LockType != adLockUnspecified) set_LockType(LockType);
  if (!connection_) throw model_error(Model::invalid_connection);
  Session& session = connection_->session(Model::invalid_connection);
  if (source_.empty())
    throw Error(kNoCommandText, "Command text was not set for the command object.", "ADODB.Recordset");
  options_ = Options;
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
  const bool more = connection_->report_failures(
      [&] { return is_forward_only_ ? rows_->replace(kFetchRows) : rows_->load(kFetchRows); });
  if (more && is_forward_only_) is_first_block_ = false;
  return more;
}

void Recordset::load_all() const {
  if (is_forward_only_ || rows_->is_complete()) return;
  rows_->renew_time_limit();
  connection_->report_failures([&] {
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
  ++generation_;
  rows_ = std::move(rows);
  shown_.reset();
  sort_.clear();
  index_.clear();
  index_keys_.clear();
  const std::size_t count = rows_->columns().size();
  field_objects_.assign(count, nullptr);
  pending_.assign(count, Variant());
  assigned_.assign(count, false);
  writer_ = {};
  affected_.clear();
  connection_->attach(*this);
  // A filter that was set while it was closed holds for what is opened.
  if (!filter_.is_text() && !scope_) return place_on_first(true);
  try {
    choose_rows();
  } catch (const Error&) {
    connection_->detach(*this);
    forget_rows();
    throw;
  }
}

void Recordset::forget_rows() {
  ++generation_;
  field_objects_.clear();
  rows_.reset();
  shown_.reset();
  scope_.reset();
  is_forward_only_ = false;
  // It belonged to these rows; the next ones are shown whole.
  filter_ = std::int32_t{adFilterNone};
  edit_mode_ = adEditNone;
  place_ = Place::after_last;
}

const std::vector<Column>& Recordset::columns() const {
  static const std::vector<Column> none;
  return is_open() ? rows_->columns() : none;
}

void Recordset::Close() {
  require_open();
  // Of a batch nothing is sent by itself.
  if (edit_mode_ != adEditNone && !is_batch()) throw model_error(Model::illegal_operation);
  connection_->detach(*this);
  forget_rows();
}

void Recordset::connection_closed() {
  connection_->detach(*this);
  forget_rows();
}

void Recordset::Requery() {
  // The rows of a chapter come from the parent's query.
  if (scope_) throw model_error(Model::feature_not_available);
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
  const bool by_index =
      is_table_direct() && cursor_location_ == adUseServer && connection_->session().has_indexes();
  std::int32_t supported = adHoldRecords | adMovePrevious | adApproxPosition | adBookmark | adFind;
  if (lock_type_ != adLockReadOnly && rows_->has_origin()) supported |= adUpdate;
  if (lock_type_ != adLockReadOnly && !rows_->base_table().empty()) supported |= adAddNew | adDelete;
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
  return result;
}

Ptr<Recordset> Recordset::opened_chapter(std::size_t column) const {
  const std::shared_ptr<Chapters>& chapters = rows_->chapters(column);
  std::shared_ptr<RowSet> rows = connection_->report_failures([&] { return chapters->rows(*rows_, row()); });
  auto result = sibling();
  result->scope_ = Scope{chapters, row(), chapters->presets(*rows_, row())};
  result->take_rows(std::move(rows));
  return result;
}

namespace {

using namespace automation;

constexpr Member kMembers[] = {
    read_only<&Recordset::State>("State", "0 closed, 1 open, 9 open with rows still to be fetched."),
    property<&Recordset::Source, &Recordset::set_Source>("Source",
                                                         "The statement; settable while closed (3705)."),
    property<&Recordset::ActiveConnection, &Recordset::set_ActiveConnection>(
        "ActiveConnection", "The connection; settable while closed (3705) to an open one (3709)."),
    property<&Recordset::CursorType, &Recordset::set_CursorType>(
        "CursorType",
        "0 forward-only, 1 keyset, 2 dynamic, 3 static. An open recordset is static, unless it is "
        "forward-only and read-only at the server."),
    property<&Recordset::CursorLocation, &Recordset::set_CursorLocation>("CursorLocation",
                                                                         "2 server, 3 client."),
    property<&Recordset::LockType, &Recordset::set_LockType>(
        "LockType", "1 read-only, 2 pessimistic, 3 optimistic, 4 batch-optimistic."),
    read_only<&Recordset::Fields>("Fields", "The fields."),
    method<&Recordset::Open>(
        "Open",
        {optional_param("Source"), optional_param("ActiveConnection"), param("CursorType", -1),
         param("LockType", -1), param("Options", -1)},
        "Runs the statement and holds its rows; the first is current. A statement without rows "
        "leaves the recordset closed. Options: 2 or 512 when the source is a table's name, 4 when it is a "
        "procedure's with or without arguments, plus 32 to fetch the first rows at once and the others when "
        "they are needed. Raises 3705 when it is open, 3709 "
        "without an open connection, and what the provider reports."),
    method<&Recordset::Close>("Close", "Lets go of the rows. Raises 3704 when closed, 3219 during an edit."),
    method<&Recordset::Requery>("Requery", "Runs the statement again. Raises as Close and Open."),
    read_only<&Recordset::at_bof>("BOF", "Whether the position is before the first row."),
    read_only<&Recordset::at_eof>("EOF", "Whether the position is after the last row."),
    read_only<&Recordset::RecordCount>(
        "RecordCount", "Number of rows, one being added included; -1 for a forward-only recordset."),
    read_only<&Recordset::AbsolutePosition>(
        "AbsolutePosition", "Position from 1; -2 before the first, -3 after the last, -1 without rows."),
    method<&Recordset::MoveFirst>("MoveFirst", "To the first row. Raises 3021 when there is none."),
    method<&Recordset::MoveLast>("MoveLast", "To the last row. Raises 3021 when there is none."),
    method<&Recordset::MoveNext>("MoveNext", "One row on, at last to EOF. Raises 3021 at EOF."),
    method<&Recordset::MovePrevious>("MovePrevious", "One row back, at last to BOF. Raises 3021 at BOF."),
    method<&Recordset::Move>(
        "Move", {param("NumRecords")},
        "That many rows on, or back when negative; stops at EOF or BOF. Raises 3021 when it is there "
        "already."),
    method<&Recordset::Supports>("Supports", {param("CursorOptions")},
                                 "Whether all the cursor options are supported."),
    property<&Recordset::Bookmark, &Recordset::set_Bookmark>(
        "Bookmark",
        "Mark of the current row, valid in clones too. Raises 3021 without one, 3001 for no mark."),
    method<&Recordset::Find>(
        "Find", {param("Criteria"), param("SkipRecords", 0), param("SearchDirection", 1)},
        "To the next row, the current one included, for which \"column op value\" holds; to EOF or BOF "
        "when there is none. Raises 3021 without a current row, 3001 and 3265 for a bad criterion."),
    property<&Recordset::Filter, &Recordset::set_Filter>(
        "Filter",
        "Criteria joined with AND and OR that choose the rows; \"\" or 0 for all; 1 those changed and not "
        "sent, 2 "
        "those the last batch meant, 5 those that failed in it. Goes to the first of them."),
    property<&Recordset::Sort, &Recordset::set_Sort>(
        "Sort", "\"a ASC, [b c] DESC\"; \"\" for the order of the query. Goes to the first row."),
    method<&Recordset::Clone>(
        "Clone", {param("LockType", -1)},
        "Another recordset over the same rows, with a current row, filter and order of its own. "
        "LockType 1 makes it read-only."),
    property<&Recordset::Index, &Recordset::set_Index>(
        "Index",
        "Name of the table's index that orders the rows and serves Seek; \"\" for none. For a table opened "
        "directly (option 512) at the server where the provider has indexes; else raises 3251, and "
        "-2147217867 for an unknown one. \"PrimaryKey\" is the table's key."),
    method<&Recordset::Seek>(
        "Seek", {param("KeyValues"), param("SeekOption", 1)},
        "To the row whose index columns have these values (an array, or one value; fewer than the columns "
        "will do): 1 the first such row, 2 the last, 4 the first or else what follows, 8 what follows, 16 "
        "the last or else what precedes, 32 what precedes; to EOF when there is none. Raises 3251 without "
        "an Index."),
    read_only<&Recordset::EditMode>("EditMode",
                                    "0 none, 1 the current row is being changed, 2 a row is being added."),
    method<&Recordset::AddNew>("AddNew", "Begins a new row. Raises 3251 when the rows cannot be updated."),
    method<&Recordset::Update>("Update",
                               "Sends the edit in progress; without one it does nothing. When it raises, the "
                               "edit stays open."),
    method<&Recordset::CancelUpdate>("CancelUpdate", "Drops the edit in progress."),
    method<&Recordset::Delete>("Delete", "Deletes the current row; it stays current until the next move."),
    read_only<&Recordset::Status>(
        "Status",
        "Of the current row: 8 as it was read, 1 added, 2 changed, 4 deleted and not sent yet; plus 2048 "
        "after a "
        "conflict, 4096 after a violated constraint, 65536 without the right, 16 after another failure."),
    method<&Recordset::UpdateBatch>("UpdateBatch", {param("AffectRecords", 3)},
                                    "Sends what was changed under lock type 4, in one transaction unless one "
                                    "is open: 1 the current row, 2 the "
                                    "filtered ones, 3 all. A row that fails does not stop the others; at the "
                                    "end the first failure is raised."),
    method<&Recordset::CancelBatch>("CancelBatch", {param("AffectRecords", 3)},
                                    "Drops what was changed and not sent; the rows are as they were read."),
};

}  // namespace

std::span<const automation::Member> Recordset::members() { return kMembers; }

}  // namespace quarno::ado
