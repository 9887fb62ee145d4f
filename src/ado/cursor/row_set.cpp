#include "ado/cursor/row_set.h"

namespace quarno::ado {
namespace {

std::vector<DataType> types_of(const std::vector<Column>& columns) {
  std::vector<DataType> types;
  types.reserve(columns.size());
  for (const Column& column : columns) types.push_back(column.type);
  return types;
}

std::vector<std::string> names_of(const std::vector<Column>& columns) {
  std::vector<std::string> names;
  names.reserve(columns.size());
  for (const Column& column : columns) names.push_back(column.name);
  return names;
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

RowSet::RowSet(std::unique_ptr<Rows> source)
    : source_(std::move(source)),
      columns_(source_->columns()),
      names_(names_of(columns_)),
      base_table_(table_of(columns_)),
      store_(types_of(columns_)) {
  names_differ_ = !columns_.empty();
  for (std::size_t i = 0; i < columns_.size() && names_differ_; ++i) {
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

Variant RowSet::source_value(std::size_t row, std::size_t column) const {
  const Variant* const changed = changed_.empty() ? nullptr : changed_value(row, column);
  return changed != nullptr ? *changed : store_.column(column).source_value(row);
}

template <class Read>
bool RowSet::read(const Read& next) {
  if (failure_) throw Error(*failure_);
  if (source_ == nullptr) return false;
  try {
    if (next()) return true;
  } catch (const Error& error) {
    failure_ = error;
    throw;
  }
  source_.reset();
  return false;
}

bool RowSet::load(std::size_t limit) {
  return read([&] { return source_->fetch(store_, limit) > 0; });
}

bool RowSet::replace(std::size_t limit) {
  return read([&] {
    if (!next_store_) next_store_.emplace(types_of(columns_));
    next_store_->clear();
    if (source_->fetch(*next_store_, limit) == 0) return false;
    std::swap(store_, *next_store_);
    return true;
  });
}

void RowSet::change(std::size_t row, std::size_t column, Variant value) {
  changed_.insert_or_assign(row * columns_.size() + column, std::move(value));
}

void RowSet::mark_deleted(std::size_t row) {
  if (deleted_.size() <= row) deleted_.resize(row_count(), false);
  if (!deleted_[row]) ++deleted_count_;
  deleted_[row] = true;
}

}  // namespace quarno::ado
