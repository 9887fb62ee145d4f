#include "ado/cursor/row_set.h"

#include <algorithm>

#include "ado/write_statement.h"

namespace quarno::ado {

ColumnStore store_for(const std::vector<Column>& columns) {
  std::vector<DataType> types;
  types.reserve(columns.size());
  for (const Column& column : columns) types.push_back(column.type);
  return ColumnStore(types);
}

namespace {

std::vector<std::string> names_of_fields(const std::vector<Column>& columns) {
  std::vector<std::string> names;
  names.reserve(columns.size());
  for (const Column& column : columns) {
    if (!column.hidden) names.push_back(column.name);
  }
  return names;
}

// Columns of a table that a query reads twice could belong to either row.
std::vector<Column> without_doubtful_origins(std::vector<Column> columns, std::string_view query) {
  std::string known;
  bool is_doubtful = false;
  for (Column& column : columns) {
    if (column.base_table.empty()) continue;
    if (column.base_table != known) is_doubtful = reads_twice(query, column.base_table);
    known = column.base_table;
    if (!is_doubtful) continue;
    column.base_table.clear();
    column.base_column.clear();
    column.key = false;
    column.attributes &= ~(adFldUpdatable | adFldKeyColumn);
  }
  return columns;
}

std::string table_of(const std::vector<Column>& columns) {
  std::string table;
  for (const Column& column : columns) {
    if (column.base_table.empty()) continue;
    if (!table.empty() && table != column.base_table) return {};
    table = column.base_table;
  }
  return table;
}

}  // namespace

RowSet::RowSet(std::unique_ptr<Rows> source, std::string_view query)
    : source_(std::move(source)),
      columns_(source_->chapters() != nullptr ? source_->columns()
                                              : without_doubtful_origins(source_->columns(), query)),
      names_(names_of_fields(columns_)),
      base_table_(table_of(columns_)),
      store_(store_for(columns_)) {
  if (const auto* const chapters = source_->chapters()) chapters_ = *chapters;
  has_origin_ = std::any_of(columns_.begin(), columns_.end(),
                            [](const Column& column) { return !column.base_table.empty(); });
  for (const Column& column : columns_) field_count_ += column.hidden ? 0 : 1;
  names_differ_ = field_count_ > 0;
  for (std::size_t i = 0; i < field_count_ && names_differ_; ++i) {
    names_differ_ = names_.find(columns_[i].name) == static_cast<std::int32_t>(i);
  }
}

std::int32_t RowSet::look_up(std::string_view name) const {
  const std::int32_t found = names_.find(name);
  if (found != NameIndex::kUnknown) asked_last_ = static_cast<std::size_t>(found);
  return found;
}

const Variant* RowSet::changed_value(std::size_t row, std::size_t column) const {
  const auto found = changed_.find(row * columns_.size() + column);
  return found == changed_.end() ? nullptr : &found->second;
}

const std::optional<Variant>* RowSet::before_pending(std::size_t row, std::size_t column) const {
  const auto pending = pending_.find(row);
  if (pending == pending_.end()) return nullptr;
  const auto found = pending->second.before.find(column);
  return found == pending->second.before.end() ? nullptr : &found->second;
}

Variant RowSet::source_value(std::size_t row, std::size_t column) const {
  if (const auto* const before = before_pending(row, column)) {
    return *before ? **before : store_.column(column).source_value(row);
  }
  const Variant* const changed = changed_.empty() ? nullptr : changed_value(row, column);
  return changed != nullptr ? *changed : store_.column(column).source_value(row);
}

// What came before a failure is kept: the failure is raised when more is asked for.
template <class Read, class Keep>
bool RowSet::read(const Read& next, const Keep& keep) {
  if (failure_) throw Error(*failure_);
  if (source_ == nullptr) return false;
  try {
    if (next()) return true;
  } catch (const Error& error) {
    failure_ = error;
    if (keep()) return true;
    throw;
  }
  source_.reset();
  return false;
}

bool RowSet::load(std::size_t limit) {
  const std::size_t before = store_.row_count();
  return read([&] { return source_->fetch(store_, limit) > 0; }, [&] { return store_.row_count() > before; });
}

bool RowSet::replace(std::size_t limit) {
  if (!next_store_) next_store_ = store_for(columns_);
  next_store_->clear();
  const auto keep = [&] {
    if (next_store_->row_count() == 0) return false;
    std::swap(store_, *next_store_);
    return true;
  };
  return read([&] { return source_->fetch(*next_store_, limit) > 0 && keep(); }, keep);
}

void RowSet::change(std::size_t row, std::size_t column, Variant value) {
  changed_.insert_or_assign(row * columns_.size() + column, std::move(value));
}

Variant RowSet::original_value(std::size_t row, std::size_t column) const {
  const auto* const before = before_pending(row, column);
  if (before == nullptr) return value(row, column);
  return *before ? **before : store_.column(column).value(row);
}

std::size_t RowSet::append(std::span<const Variant> values, const std::vector<bool>& assigned) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    assigned[i] ? store_.column(i).append(values[i]) : store_.column(i).append_null();
  }
  return row_count() - 1;
}

std::optional<std::size_t> RowSet::unassigned_number(const std::vector<bool>& assigned) const {
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    if (!assigned[i] && columns_[i].auto_increment) return i;
  }
  return std::nullopt;
}

void RowSet::stage_new(std::size_t row, std::vector<bool> assigned) {
  pending_[row] = {.kind = adRecNew, .assigned = std::move(assigned), .before = {}};
}

void RowSet::stage_change(std::size_t row, std::size_t column, Variant value) {
  const auto [place, fresh] = pending_.try_emplace(row);
  Pending& pending = place->second;
  if (fresh) pending.assigned.assign(columns_.size(), false);
  pending.assigned[column] = true;
  if (pending.kind == adRecModified) {
    const Variant* const changed = changed_.empty() ? nullptr : changed_value(row, column);
    pending.before.try_emplace(column, changed != nullptr ? std::optional(*changed) : std::nullopt);
  }
  change(row, column, std::move(value));
}

void RowSet::stage_delete(std::size_t row) {
  const auto found = pending_.find(row);
  const bool was_new = found != pending_.end() && found->second.kind == adRecNew;
  mark_deleted(row);
  // The source never knew of a row that was added and deleted here.
  if (was_new) return static_cast<void>(pending_.erase(found));
  if (found == pending_.end()) pending_[row].assigned.assign(columns_.size(), false);
  pending_[row].kind = adRecDeleted;
}

void RowSet::undo(std::size_t row) {
  Pending& pending = pending_.at(row);
  for (auto& [column, before] : pending.before) {
    if (before) {
      change(row, column, std::move(*before));
    } else {
      changed_.erase(row * columns_.size() + column);
    }
  }
  if (pending.kind == adRecNew) mark_deleted(row);
  if (pending.kind == adRecDeleted) {
    deleted_[row] = false;
    --deleted_count_;
  }
  pending_.erase(row);
}

void RowSet::mark_deleted(std::size_t row) {
  if (deleted_.size() <= row) deleted_.resize(row_count(), false);
  if (!deleted_[row]) ++deleted_count_;
  deleted_[row] = true;
}

}  // namespace quarno::ado
