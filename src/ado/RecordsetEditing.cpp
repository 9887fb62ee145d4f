// The edit cycle of the recordset: what is set on a row is kept aside until Update sends it.
#include <algorithm>
#include <unordered_set>

#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "ado/field_conversion.h"
#include "ado/row_writer.h"
#include "platform/locale.h"

namespace quarno::ado {
namespace {

// Of rows that have no source which would say so.
bool takes_value(const Column& column, const Variant& value) {
  switch (column.type) {
    case DataType::chapter:
    case DataType::dispatch:
    case DataType::unknown:
    case DataType::error: return false;
    default: break;
  }
  const bool is_null = value.is_null() || value.is_empty();
  return !is_null || (column.attributes & (adFldIsNullable | adFldMayBeNull)) != 0;
}

}  // namespace

void Recordset::require_updatable() const {
  if (lock_type_ == adLockReadOnly || !(is_free() || rows_->has_origin())) {
    throw Error(
        full_number(Model::feature_not_available),
        "Current Recordset does not support updating. This may be a limitation of the provider, or of the "
        "selected locktype.",
        "ADODB.Recordset");
  }
  // A row that is added must not come a second time with those still to be fetched.
  load_all();
}

Session& Recordset::writing_session() const {
  if (!connection_) throw model_error(Model::invalid_connection);
  Session& session = connection_->session(Model::invalid_connection);
  session.limit_writes(connection_->CommandTimeout());
  return session;
}

void Recordset::set_value(std::size_t column, const Variant& value) {
  require_row();
  require_updatable();
  const Column& info = rows_->columns()[column];
  piece_ = {};
  if (is_free() ? !takes_value(info, value) : info.base_column.empty()) throw multiple_step_error();
  assign_coerced(pending_[column], value, info, platform::locale());
  if (edit_mode_ == adEditNone) {
    assigned_.assign(rows_->columns().size(), false);
    edit_mode_ = adEditInProgress;
  }
  assigned_[column] = true;
}

void Recordset::AddNew() {
  require_open();
  require_updatable();
  if (!is_free()) RowWriter::require_one_table(*rows_);
  finish_edit();
  place_before_add_ = place_;
  assigned_.assign(rows_->columns().size(), false);
  if (scope_) {
    // It belongs to the parent's row by having its values.
    for (const auto& [column, value] : scope_->presets) {
      const Column& info = rows_->columns()[column];
      if (!is_free() && info.base_column.empty()) continue;
      assign_coerced(pending_[column], value, info, platform::locale());
      assigned_[column] = true;
    }
  }
  edit_mode_ = adEditAdd;
}

void Recordset::finish_edit() {
  if (edit_mode_ != adEditNone) Update();
}

void Recordset::CancelUpdate() {
  require_open();
  if (edit_mode_ == adEditAdd) place_ = place_before_add_;
  edit_mode_ = adEditNone;
}

void Recordset::Update() {
  require_open();
  if (edit_mode_ == adEditAdd) insert_pending();
  if (edit_mode_ == adEditInProgress) update_pending();
  edit_mode_ = adEditNone;
}

void Recordset::insert_pending() {
  if (!is_batch()) {
    Session& session = writing_session();
    connection_->report_failures([&] { writer_.insert(session, *rows_, pending_, assigned_); });
    // What the source fills in by itself is known only for the number it gives.
    if (const auto number = rows_->unassigned_number(assigned_)) {
      pending_[*number] = RowWriter::given_number(session, *rows_, *number);
      assigned_[*number] = true;
    }
  }
  const std::size_t added = rows_->append(pending_, assigned_);
  if (is_batch()) rows_->stage_new(added, assigned_);
  if (scope_) scope_->chapters->add(scope_->parent_row, added);
  if (shown_) shown_->push_back(added);  // shown until the rows are chosen anew, whatever the filter says
  go_to_row(added);
  edit_mode_ = adEditNone;
}

void Recordset::update_pending() {
  if (!is_batch()) {
    Session& session = writing_session();
    connection_->report_failures([&] { RowWriter::update(session, *rows_, row(), pending_, assigned_); });
  }
  for (std::size_t i = 0; i < assigned_.size(); ++i) {
    if (!assigned_[i]) continue;
    is_batch() ? rows_->stage_change(row(), i, pending_[i]) : rows_->change(row(), i, pending_[i]);
  }
}

void Recordset::Delete() {
  require_open();
  require_updatable();
  if (edit_mode_ == adEditAdd) return CancelUpdate();
  edit_mode_ = adEditNone;
  require_row();
  if (is_batch()) {
    if (!is_free()) RowWriter::require_one_table(*rows_);
    return rows_->stage_delete(row());
  }
  Session& session = writing_session();
  connection_->report_failures([&] { RowWriter::remove(session, *rows_, row()); });
  rows_->mark_deleted(row());
}

// --- Batches -----------------------------------------------------------------------------------------------

std::int32_t Recordset::Status() const {
  require_open();
  if (edit_mode_ == adEditAdd) return adRecNew;
  if (place_ != Place::on_row) throw model_error(Model::no_current_record);
  const auto found = rows_->pending().find(row());
  if (found != rows_->pending().end()) return found->second.kind | found->second.failure;
  return rows_->is_deleted(row()) ? adRecDeleted : adRecUnmodified;
}

std::vector<std::size_t> Recordset::pending_rows(std::int32_t affect) const {
  if (affect != adAffectCurrent && affect != adAffectGroup && affect != adAffectAll) {
    throw model_error(Model::invalid_argument);
  }
  if (affect == adAffectCurrent && place_ != Place::on_row) throw model_error(Model::no_current_record);
  using Numbers = std::unordered_set<std::size_t>;
  const auto in_set = [](const std::vector<std::size_t>& rows) { return Numbers(rows.begin(), rows.end()); };
  // Those of other chapters are theirs to send.
  const Numbers own = scope_ ? in_set(scope_->members()) : Numbers();
  const bool by_group = affect == adAffectGroup && shown_;
  const Numbers group = by_group ? in_set(*shown_) : Numbers();
  std::vector<std::size_t> result;
  for (const auto& [number, pending] : rows_->pending()) {
    const bool is_left_out = (scope_ && !own.contains(number)) || (by_group && !group.contains(number)) ||
                             (affect == adAffectCurrent && number != row());
    if (!is_left_out) result.push_back(number);
  }
  return result;
}

void Recordset::UpdateBatch(std::int32_t AffectRecords) {
  require_open();
  require_updatable();
  finish_edit();
  affected_ = pending_rows(AffectRecords);
  if (affected_.empty()) return;
  if (is_free() && !connection_) {
    // There is nowhere to send them: they are what is there.
    for (const std::size_t number : affected_) rows_->confirm(number);
    return;
  }
  Session& session = writing_session();
  BatchResult result;
  connection_->report_failures([&] {
    try {
      session.together([&] { result = writer_.write_batch(session, *rows_, affected_); });
    } catch (const Error&) {
      // What failed in the batch came before what the commit says.
      if (result.failure) throw Error(*result.failure);
      throw;
    }
  });
  for (const auto& [number, status] : result.failed) rows_->note_failure(number, status);
  for (const auto& [number, column, value] : result.numbers) {
    rows_->change(number, column, value);
  }
  for (const std::size_t number : result.written) rows_->confirm(number);
  if (result.failure) connection_->report_failures([&] { throw Error(*result.failure); });
}

void Recordset::CancelBatch(std::int32_t AffectRecords) {
  require_open();
  if (edit_mode_ != adEditNone) CancelUpdate();
  affected_ = pending_rows(AffectRecords);
  for (const std::size_t number : affected_) rows_->undo(number);
}

}  // namespace quarno::ado
