// Choosing among the rows of a recordset: find, filter, sort, and seeking by an index.
#include <algorithm>
#include <unordered_map>

#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "ado/field_conversion.h"
#include "common/convert.h"
#include "platform/locale.h"

namespace quarno::ado {

void Recordset::Find(const std::string& Criteria, std::int32_t SkipRecords, std::int32_t SearchDirection) {
  require_open();
  finish_edit();
  if (SearchDirection != 1 && SearchDirection != -1) throw model_error(Model::invalid_argument);
  if (place_ != Place::on_row) throw model_error(Model::no_current_record);
  if (SearchDirection == -1) require_backward();
  const Clause clause =
      parse_clause(Criteria, rows_->columns(), [this](std::string_view name) { return find_column(name); });
  const bool forward = SearchDirection == 1;
  for (std::int32_t i = 0; i < SkipRecords && place_ == Place::on_row; ++i) step(forward);
  while (place_ == Place::on_row &&
         (rows_->is_deleted(row()) || !matches(clause, rows_->value(row(), clause.column)))) {
    step(forward);
  }
}

void Recordset::set_Filter(const Variant& value) {
  Variant filter = std::int32_t{0};
  if (const auto* text = value.get_if<std::string>()) {
    if (!text->empty()) filter = *text;
  } else {
    const std::int32_t group = value.is_empty() ? -1 : to_int32(value, LocaleInfo{});
    const bool known = group == adFilterNone || group == adFilterPendingRecords ||
                       group == adFilterAffectedRecords || group == adFilterConflictingRecords;
    if (!known) throw model_error(Model::invalid_argument);
    filter = group;
  }
  if (is_open()) {
    if (!(filter == Variant(std::int32_t{adFilterNone}))) require_all_rows(is_forward_only_);
    finish_edit();
  }
  std::swap(filter_, filter);
  if (!is_open()) return;
  try {
    choose_rows();
  } catch (const Error&) {
    std::swap(filter_, filter);
    throw;
  }
}

void Recordset::set_Sort(const std::string& value) {
  require_open();
  require_all_rows(is_forward_only_);
  finish_edit();
  if (!value.empty()) parse_sort(value, [this](std::string_view name) { return find_column(name); });
  sort_ = value;
  // One order at a time: an index seeks in its own.
  index_.clear();
  index_keys_.clear();
  choose_rows();
}

// Makes the list of rows that filter, sort and index leave, and goes to its first.
void Recordset::choose_rows() {
  const std::vector<SortKey> keys = sort_keys();
  const bool is_filtered = !(filter_ == Variant(std::int32_t{adFilterNone}));
  std::optional<std::vector<std::size_t>> chosen;
  if (is_filtered || !keys.empty() || scope_) chosen = chosen_rows(filter_, keys);
  shown_ = std::move(chosen);
  place_on_first(true);
}

std::vector<std::size_t> Recordset::chosen_rows(const Variant& filter,
                                                const std::vector<SortKey>& keys) const {
  load_all();
  const auto* const text = filter.get_if<std::string>();
  const std::int32_t group = text != nullptr ? adFilterNone : *filter.get_if<std::int32_t>();
  const auto find = [this](std::string_view name) { return find_column(name); };
  const Criteria criteria = text != nullptr ? parse_criteria(*text, rows_->columns(), find) : Criteria{};
  std::vector<std::size_t> chosen;
  const auto consider = [&](std::size_t i) {
    if (hides(i)) return;
    const bool wanted =
        text == nullptr || matches(criteria, [&](std::size_t column) { return rows_->value(i, column); });
    if (wanted && is_in_group(i, group)) chosen.push_back(i);
  };
  if (scope_) {
    for (const std::size_t i : scope_->members()) consider(i);
  } else {
    for (std::size_t i = 0; i < rows_->row_count(); ++i) consider(i);
  }
  if (!keys.empty()) sort_rows(chosen, keys);
  return chosen;
}

bool Recordset::hides(std::size_t row) const {
  const auto* const group = filter_.get_if<std::int32_t>();
  const bool by_group = group != nullptr && *group != adFilterNone;
  return rows_->is_deleted(row) && !(by_group && rows_->pending().contains(row));
}

bool Recordset::is_in_group(std::size_t row, std::int32_t group) const {
  if (group == adFilterNone) return true;
  if (group == adFilterAffectedRecords) {
    return std::find(affected_.begin(), affected_.end(), row) != affected_.end();
  }
  const auto found = rows_->pending().find(row);
  if (found == rows_->pending().end()) return false;
  return group == adFilterPendingRecords || found->second.failure != adRecOK;
}

std::vector<SortKey> Recordset::sort_keys() const {
  if (sort_.empty()) return index_keys_;
  return parse_sort(sort_, [this](std::string_view name) { return find_column(name); });
}

void Recordset::sort_rows(std::vector<std::size_t>& chosen, const std::vector<SortKey>& keys) const {
  // The last key first, each stable, so that the first key decides. Values are made once per row and key.
  for (auto key = keys.rbegin(); key != keys.rend(); ++key) {
    std::unordered_map<std::size_t, Variant> values;
    values.reserve(chosen.size());
    for (const std::size_t row : chosen) values.emplace(row, rows_->value(row, key->column));
    std::stable_sort(chosen.begin(), chosen.end(), [&](std::size_t a, std::size_t b) {
      const int order = compare_values(values.at(a), values.at(b));
      return key->descending ? order > 0 : order < 0;
    });
  }
}

void Recordset::set_Index(const std::string& value) {
  require_open();
  if (!Supports(adIndex)) throw model_error(Model::feature_not_available);
  finish_edit();
  std::vector<SortKey> keys;
  if (!value.empty()) {
    const auto columns =
        connection_->report_failures([&] { return connection_->session().index_columns(source_, value); });
    if (!columns) {
      throw Error(kNoSuchIndex, "'" + value + "' is not an index in this table.", "ADODB.Recordset");
    }
    for (const IndexColumn& column : *columns) keys.push_back({column_index(column.name), column.descending});
  }
  sort_.clear();
  index_ = value;
  index_keys_ = std::move(keys);
  choose_rows();
}

void Recordset::Seek(const Variant& KeyValues, std::int32_t SeekOption) {
  require_open();
  if (index_keys_.empty()) throw model_error(Model::feature_not_available);
  finish_edit();
  Variant::Array values;
  if (const auto* array = KeyValues.get_if<Variant::Array>()) {
    values = *array;
  } else {
    values.push_back(KeyValues);
  }
  if (values.empty() || values.size() > index_keys_.size()) throw model_error(Model::invalid_argument);
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = coerced(values[i], rows_->columns()[index_keys_[i].column], platform::locale());
  }
  choose_rows();  // rows changed meanwhile stand where the index has them now
  const auto compare = [&](std::size_t row) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      const SortKey& key = index_keys_[i];
      const int order = compare_values(rows_->value(row, key.column), values[i]);
      if (order != 0) return key.descending ? -order : order;
    }
    return 0;
  };
  const auto first =
      std::partition_point(shown_->begin(), shown_->end(), [&](std::size_t row) { return compare(row) < 0; });
  const auto behind =
      std::partition_point(first, shown_->end(), [&](std::size_t row) { return compare(row) == 0; });
  const bool found = first != behind;
  const auto none = shown_->end();
  const auto before = [&](auto place) { return place == shown_->begin() ? none : place - 1; };
  auto place = none;
  switch (SeekOption) {
    case adSeekFirstEQ: place = found ? first : none; break;
    case adSeekLastEQ: place = found ? behind - 1 : none; break;
    case adSeekAfterEQ: place = first; break;
    case adSeekAfter: place = behind; break;
    case adSeekBeforeEQ: place = found ? behind - 1 : before(first); break;
    case adSeekBefore: place = before(first); break;
    default: throw model_error(Model::invalid_argument);
  }
  position_ = static_cast<std::size_t>(place - shown_->begin());
  place_ = place == none ? Place::after_last : Place::on_row;
}

}  // namespace quarno::ado
