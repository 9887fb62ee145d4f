// The edit cycle of the recordset: what is set on a row is kept aside until Update sends it.
#include <algorithm>

#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "ado/field_conversion.h"
#include "ado/write_statement.h"
#include "platform/locale.h"

namespace quarno::ado {
namespace {

Error insufficient_key(const std::string& reason) {
  return provider_error(kUnspecified, "Key column information is insufficient or incorrect. " + reason,
                        "QuarnoFwk Cursor Engine");
}

// Long values are never compared: sources cannot do it or take too long.
bool can_be_compared(const Column& column) { return !column.base_column.empty() && !is_long(column.type); }

}  // namespace

struct Recordset::RowCriteria {
  std::vector<Criterion> criteria;
  std::vector<Variant> parameters;
  bool has_key = false;
};

void Recordset::require_updatable() const {
  if (lock_type_ == adLockReadOnly || rows_->base_table().empty()) {
    throw Error(
        full_number(Model::feature_not_available),
        "Current Recordset does not support updating. This may be a limitation of the provider, or of the "
        "selected locktype.",
        "ADODB.Recordset");
  }
  // A row that is added must not come a second time with those still to be fetched.
  load_all();
}

void Recordset::set_value(std::size_t column, const Variant& value) {
  require_row();
  require_updatable();
  const Column& info = rows_->columns()[column];
  if (info.base_column.empty()) throw multiple_step_error();
  Variant own = coerced(value, info, platform::locale());
  if (edit_mode_ == adEditNone) {
    assigned_.assign(rows_->columns().size(), false);
    edit_mode_ = adEditInProgress;
  }
  pending_[column] = std::move(own);
  assigned_[column] = true;
}

void Recordset::AddNew() {
  require_open();
  require_updatable();
  finish_edit();
  place_before_add_ = place_;
  assigned_.assign(rows_->columns().size(), false);
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
  Session& session = connection_->session(Model::invalid_connection);
  if (insert_text_.empty() || insert_assigned_ != assigned_) {
    std::vector<std::string_view> names;
    for (std::size_t i = 0; i < rows_->columns().size(); ++i) {
      if (assigned_[i]) names.push_back(rows_->columns()[i].base_column);
    }
    insert_text_ = insert_text(session.dialect(), rows_->base_table(), names);
    insert_assigned_ = assigned_;
  }
  parameters_.clear();
  for (std::size_t i = 0; i < rows_->columns().size(); ++i) {
    if (assigned_[i]) parameters_.push_back(pending_[i]);
  }
  connection_->report_failures([&] { session.write(insert_text_, parameters_, -1); });

  // What the source fills in by itself is known only for the number it gives.
  for (std::size_t i = 0; i < rows_->columns().size(); ++i) {
    if (assigned_[i]) {
      rows_->store().column(i).append(pending_[i]);
    } else if (rows_->columns()[i].auto_increment) {
      rows_->store().column(i).append_integer(session.last_identity());
    } else {
      rows_->store().column(i).append_null();
    }
  }
  const std::size_t added = rows_->row_count() - 1;
  if (shown_) shown_->push_back(added);  // shown until the rows are chosen anew, whatever the filter says
  go_to_row(added);
  edit_mode_ = adEditNone;
}

Recordset::RowCriteria Recordset::criteria_for(const std::vector<std::size_t>& changed) const {
  RowCriteria result;
  result.has_key =
      std::any_of(rows_->columns().begin(), rows_->columns().end(), [](const Column& c) { return c.key; });
  for (std::size_t i = 0; i < rows_->columns().size(); ++i) {
    const bool identifies = result.has_key ? rows_->columns()[i].key : true;
    const bool was_changed = std::find(changed.begin(), changed.end(), i) != changed.end();
    if (!can_be_compared(rows_->columns()[i]) || !(identifies || was_changed)) continue;
    Variant original = rows_->source_value(row(), i);
    result.criteria.push_back({rows_->columns()[i].base_column, original.is_null()});
    if (!original.is_null()) result.parameters.push_back(std::move(original));
  }
  // Without a single criterion the statement would mean every row of the table.
  if (result.criteria.empty()) throw insufficient_key("No column of the row can be compared.");
  return result;
}

void Recordset::write_current_row(const std::string& statement, const std::vector<Variant>& parameters,
                                  bool has_key) {
  Session& session = connection_->session(Model::invalid_connection);
  connection_->report_failures([&] {
    // Only a row told by its key is sure to be alone.
    const std::int64_t affected = session.write(statement, parameters, has_key ? -1 : 1);
    if (affected == 0) {
      throw provider_error(
          kConflict,
          "Row cannot be located for updating. Some values may have been changed since it was last read.",
          "QuarnoFwk Cursor Engine");
    }
    if (affected > 1) throw insufficient_key("Too many rows were affected by update.");
  });
}

void Recordset::update_pending() {
  std::vector<std::size_t> changed;
  std::vector<std::string_view> names;
  std::vector<Variant> parameters;
  for (std::size_t i = 0; i < rows_->columns().size(); ++i) {
    if (!assigned_[i]) continue;
    changed.push_back(i);
    names.push_back(rows_->columns()[i].base_column);
    parameters.push_back(pending_[i]);
  }
  RowCriteria found = criteria_for(changed);
  const Dialect& dialect = connection_->session(Model::invalid_connection).dialect();
  std::move(found.parameters.begin(), found.parameters.end(), std::back_inserter(parameters));
  write_current_row(update_text(dialect, rows_->base_table(), names, found.criteria), parameters,
                    found.has_key);
  for (const std::size_t i : changed) rows_->change(row(), i, pending_[i]);
}

void Recordset::Delete() {
  require_open();
  require_updatable();
  if (edit_mode_ == adEditAdd) return CancelUpdate();
  edit_mode_ = adEditNone;
  require_row();
  const RowCriteria found = criteria_for({});
  const Dialect& dialect = connection_->session(Model::invalid_connection).dialect();
  write_current_row(delete_text(dialect, rows_->base_table(), found.criteria), found.parameters,
                    found.has_key);
  rows_->mark_deleted(row());
}

}  // namespace quarno::ado
