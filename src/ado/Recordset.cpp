#include "ado/Recordset.h"

#include <algorithm>

#include "ado/Fields.h"
#include "ado/ado_error.h"
#include "automation/member_table.h"

namespace quarno::ado {
namespace {

constexpr std::size_t kFetchRows = 4096;

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
                     std::int32_t LockType, std::int32_t) {
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
  const Outcome outcome =
      connection_->report_failures([&] { return session.execute(source_, connection_->CommandTimeout()); });
  // A statement without rows leaves the recordset closed.
  if (outcome.rows != nullptr) adopt(*connection_, source_, *outcome.rows);
}

void Recordset::adopt(Connection& connection, const std::string& source, Rows& rows) {
  take_columns(rows.columns());
  std::vector<DataType> types;
  types.reserve(columns_.size());
  for (const Column& column : columns_) types.push_back(column.type);
  auto store = std::make_unique<ColumnStore>(types);
  connection.report_failures([&] {
    while (rows.fetch(*store, kFetchRows) > 0) {
    }
  });
  source_ = source;
  connection_ = Ptr<Connection>(&connection);
  store_ = std::move(store);
  connection_->attach(*this);
  place_on_first(true);
}

void Recordset::take_columns(const std::vector<Column>& columns) {
  ++generation_;
  columns_ = columns;
  field_objects_.assign(columns_.size(), nullptr);
  base_table_.clear();
  bool several = false;
  std::vector<std::string> names;
  names.reserve(columns_.size());
  for (const Column& column : columns_) {
    names.push_back(column.name);
    if (column.base_table.empty()) continue;
    several = several || (!base_table_.empty() && base_table_ != column.base_table);
    base_table_ = column.base_table;
  }
  if (several) base_table_.clear();
  names_ = NameIndex(std::move(names));
  pending_.assign(columns_.size(), Variant());
  assigned_.assign(columns_.size(), false);
  insert_text_.clear();
}

void Recordset::forget_rows() {
  store_.reset();
  changed_.clear();
  deleted_.clear();
  deleted_count_ = 0;
  edit_mode_ = adEditNone;
  place_ = Place::after_last;
}

void Recordset::Close() {
  require_open();
  if (edit_mode_ != adEditNone) throw model_error(Model::illegal_operation);
  connection_->detach(*this);
  forget_rows();
}

void Recordset::connection_closed() {
  connection_->detach(*this);
  forget_rows();
}

void Recordset::Requery() {
  require_open();
  if (edit_mode_ != adEditNone) throw model_error(Model::illegal_operation);
  Close();
  Open(Variant(), Variant());
}

void Recordset::require_open() const {
  if (!is_open()) throw model_error(Model::object_closed);
}

void Recordset::require_row() const {
  require_open();
  if (edit_mode_ == adEditAdd) return;
  if (place_ != Place::on_row) throw model_error(Model::no_current_record);
  if (is_deleted(row_)) {
    throw Error(kDeletedRow, "A given HROW referred to a hard- or soft-deleted row.", "ADODB.Recordset");
  }
}

bool Recordset::at_bof() const {
  require_open();
  if (edit_mode_ == adEditAdd || place_ == Place::on_row) return false;
  return place_ == Place::before_first || RecordCount() == 0;
}

bool Recordset::at_eof() const {
  require_open();
  if (edit_mode_ == adEditAdd || place_ == Place::on_row) return false;
  return place_ == Place::after_last || RecordCount() == 0;
}

std::int32_t Recordset::RecordCount() const {
  require_open();
  const std::size_t added = edit_mode_ == adEditAdd ? 1 : 0;
  return static_cast<std::int32_t>(store_->row_count() - deleted_count_ + added);
}

std::int32_t Recordset::AbsolutePosition() const {
  require_open();
  if (edit_mode_ == adEditAdd) return RecordCount();
  if (RecordCount() == 0) return adPosUnknown;
  if (place_ == Place::before_first) return adPosBOF;
  if (place_ == Place::after_last) return adPosEOF;
  const auto deleted_before =
      std::count(deleted_.begin(),
                 deleted_.begin() + static_cast<std::ptrdiff_t>(std::min(row_, deleted_.size())), true);
  return static_cast<std::int32_t>(row_ - static_cast<std::size_t>(deleted_before) + 1);
}

void Recordset::place_on_first(bool forward) {
  const std::size_t count = store_->row_count();
  place_ = forward ? Place::after_last : Place::before_first;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t row = forward ? i : count - 1 - i;
    if (is_deleted(row)) continue;
    row_ = row;
    place_ = Place::on_row;
    return;
  }
}

void Recordset::MoveFirst() {
  require_open();
  finish_edit();
  if (RecordCount() == 0) throw model_error(Model::no_current_record);
  place_on_first(true);
}

void Recordset::MoveLast() {
  require_open();
  finish_edit();
  if (RecordCount() == 0) throw model_error(Model::no_current_record);
  place_on_first(false);
}

// One row on or back, over deleted ones; past the end there is no current row.
void Recordset::step(bool forward) {
  const Place beyond = forward ? Place::after_last : Place::before_first;
  const bool empty = place_ != Place::on_row && RecordCount() == 0;
  if (place_ == beyond || empty) throw model_error(Model::no_current_record);
  if (place_ != Place::on_row) return place_on_first(forward);
  const std::size_t count = store_->row_count();
  do {
    if (forward ? row_ + 1 >= count : row_ == 0) {
      place_ = beyond;
      return;
    }
    row_ = forward ? row_ + 1 : row_ - 1;
  } while (is_deleted(row_));
}

void Recordset::MoveNext() {
  require_open();
  finish_edit();
  step(true);
}

void Recordset::MovePrevious() {
  require_open();
  finish_edit();
  step(false);
}

void Recordset::Move(std::int32_t NumRecords) {
  require_open();
  finish_edit();
  const bool forward = NumRecords > 0;
  if (NumRecords == 0) return require_row();
  step(forward);
  const std::int64_t more = std::abs(std::int64_t{NumRecords}) - 1;
  for (std::int64_t i = 0; i < more && place_ == Place::on_row; ++i) step(forward);
}

bool Recordset::Supports(std::int32_t CursorOptions) const {
  require_open();
  std::int32_t supported = adHoldRecords | adMovePrevious | adApproxPosition;
  if (lock_type_ != adLockReadOnly && !base_table_.empty()) supported |= adAddNew | adDelete | adUpdate;
  return (supported & CursorOptions) == CursorOptions;
}

std::size_t Recordset::column_index(std::string_view name) const {
  const std::int32_t index = names_.find(name);
  if (index == NameIndex::kUnknown) throw model_error(Model::item_not_found);
  return static_cast<std::size_t>(index);
}

const Variant* Recordset::changed_value(std::size_t row, std::size_t column) const {
  if (changed_.empty()) return nullptr;
  const auto found = changed_.find(row * columns_.size() + column);
  return found == changed_.end() ? nullptr : &found->second;
}

Variant Recordset::stored_value(std::size_t row, std::size_t column) const {
  const Variant* const changed = changed_value(row, column);
  return changed != nullptr ? *changed : store_->column(column).value(row);
}

Variant Recordset::source_value(std::size_t row, std::size_t column) const {
  const Variant* const changed = changed_value(row, column);
  return changed != nullptr ? *changed : store_->column(column).source_value(row);
}

Variant Recordset::value(std::size_t column) const {
  require_row();
  if (edit_mode_ != adEditNone && assigned_[column]) return pending_[column];
  if (edit_mode_ == adEditAdd) return {};
  return stored_value(row_, column);
}

Variant Recordset::original_value(std::size_t column) const {
  require_row();
  return edit_mode_ == adEditAdd ? Variant() : stored_value(row_, column);
}

namespace {

using namespace automation;

constexpr Member kMembers[] = {
    read_only<&Recordset::State>("State", "0 closed, 1 open."),
    property<&Recordset::Source, &Recordset::set_Source>("Source",
                                                         "The statement; settable while closed (3705)."),
    property<&Recordset::ActiveConnection, &Recordset::set_ActiveConnection>(
        "ActiveConnection", "The connection; settable while closed (3705) to an open one (3709)."),
    property<&Recordset::CursorType, &Recordset::set_CursorType>(
        "CursorType", "0 forward-only, 1 keyset, 2 dynamic, 3 static. An open recordset is static."),
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
        "leaves the recordset closed. Raises 3705 when it is open, 3709 without an open connection, "
        "and what the provider reports."),
    method<&Recordset::Close>("Close", "Lets go of the rows. Raises 3704 when closed, 3219 during an edit."),
    method<&Recordset::Requery>("Requery", "Runs the statement again. Raises as Close and Open."),
    read_only<&Recordset::at_bof>("BOF", "Whether the position is before the first row."),
    read_only<&Recordset::at_eof>("EOF", "Whether the position is after the last row."),
    read_only<&Recordset::RecordCount>("RecordCount", "Number of rows, one being added included."),
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
    read_only<&Recordset::EditMode>("EditMode",
                                    "0 none, 1 the current row is being changed, 2 a row is being added."),
    method<&Recordset::AddNew>("AddNew", "Begins a new row. Raises 3251 when the rows cannot be updated."),
    method<&Recordset::Update>("Update",
                               "Sends the edit in progress; without one it does nothing. When it raises, the "
                               "edit stays open."),
    method<&Recordset::CancelUpdate>("CancelUpdate", "Drops the edit in progress."),
    method<&Recordset::Delete>("Delete", "Deletes the current row; it stays current until the next move."),
};

}  // namespace

std::span<const automation::Member> Recordset::members() { return kMembers; }

}  // namespace quarno::ado
