#include "providers/desktop/sqlite/rows.h"

#include <map>
#include <set>

#include "common/date_text.h"
#include "common/locale_info.h"
#include "providers/desktop/declared_type.h"
#include "providers/desktop/sqlite/sqlite_error.h"

namespace quarno::desktop::sqlite {
namespace {

using ado::DataType;

std::string text_or_empty(const char* text) { return text == nullptr ? std::string() : std::string(text); }

// An expression has no declared type: its first value tells.
DeclaredType type_of_value(sqlite3_stmt* statement, int index) {
  switch (sqlite3_column_type(statement, index)) {
    case SQLITE_INTEGER: {
      const std::int64_t value = sqlite3_column_int64(statement, index);
      const bool small = value == static_cast<std::int32_t>(value);
      return declared_type(small ? "INTEGER" : "BIGINT");
    }
    case SQLITE_FLOAT: return declared_type("DOUBLE");
    case SQLITE_BLOB: return declared_type("LONGBLOB");
    default: return declared_type("VARCHAR");
  }
}

bool is_exact(ado::Layout layout) {
  return layout == ado::Layout::currency || layout == ado::Layout::decimal;
}

// Whether what is read from a number would not find the row again when it is bound for comparison.
bool reading_changes(ado::Layout layout, std::int64_t value) {
  if (layout == ado::Layout::boolean) return value != 0 && value != kTrue;
  return is_exact(layout);
}
bool reading_changes(ado::Layout layout, double value) {
  if (layout == ado::Layout::single) return double{static_cast<float>(value)} != value;
  if (layout == ado::Layout::currency) return !Currency::exactly(value);
  return layout == ado::Layout::boolean || is_exact(layout);
}

std::string_view text_of(sqlite3_stmt* statement, int index) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, index));
  return {text == nullptr ? "" : text, static_cast<std::size_t>(sqlite3_column_bytes(statement, index))};
}

}  // namespace

SqliteRows::SqliteRows(sqlite3* database, Statement statement, std::string text, providers::TimeLimit limit,
                       int timeout_seconds, const KeyWidth& key_width, const ResultTypes& types,
                       bool with_origins)
    : database_(database),
      statement_(std::move(statement)),
      text_(std::move(text)),
      limit_(limit),
      timeout_seconds_(timeout_seconds) {
  const providers::Deadline deadline(database_, limit_);
  on_row_ = step();
  const int count = sqlite3_column_count(statement_.get());
  // Most queries compute nothing, and need not be looked at for it.
  bool computes = false;
  for (int i = 0; i < count; ++i)
    computes = computes || sqlite3_column_decltype(statement_.get(), i) == nullptr;
  std::vector<std::string> computed = computes && types ? types() : std::vector<std::string>();
  // They count only when they are about these very columns.
  computed.resize(computed.size() == static_cast<std::size_t>(count) ? computed.size() : 0);
  computed.resize(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    columns_.push_back(describe(i, computed[static_cast<std::size_t>(i)], with_origins));
  }
  drop_partial_keys(key_width);
}

bool SqliteRows::step() {
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) throw engine_error(database_, text_);
  return false;
}

ado::Column SqliteRows::describe(int index, const std::string& type, bool with_origin) const {
  sqlite3_stmt* const statement = statement_.get();
  const char* const declaration = sqlite3_column_decltype(statement, index);
  const DeclaredType declared = declaration != nullptr ? declared_type(declaration)
                                : !type.empty()        ? declared_type(type)
                                                       : type_of_value(statement, index);
  ado::Column column;
  column.name = text_or_empty(sqlite3_column_name(statement, index));
  column.type = declared.type;
  column.defined_size = declared.defined_size;
  column.precision = declared.precision;
  column.scale = declared.scale;
  if (with_origin) {
    column.base_table = text_or_empty(sqlite3_column_table_name(statement, index));
    column.base_column = text_or_empty(sqlite3_column_origin_name(statement, index));
  }
  column.attributes = ado::is_long(column.type) ? ado::adFldLong : 0;
  int not_null = 0;
  int key = 0;
  int numbered = 0;
  if (!column.base_table.empty()) {
    sqlite3_table_column_metadata(database_, sqlite3_column_database_name(statement, index),
                                  column.base_table.c_str(), column.base_column.c_str(), nullptr, nullptr,
                                  &not_null, &key, &numbered);
    column.attributes |= ado::adFldUpdatable;
  }
  column.key = key != 0;
  column.auto_increment = numbered != 0;
  if (column.key) column.attributes |= ado::adFldKeyColumn;
  if (not_null == 0) column.attributes |= ado::adFldIsNullable | ado::adFldMayBeNull;
  if (!ado::is_text(column.type) && !ado::is_binary(column.type)) column.attributes |= ado::adFldFixed;
  return column;
}

void SqliteRows::drop_partial_keys(const KeyWidth& key_width) {
  std::map<std::string, std::set<std::string>> found;
  for (const ado::Column& column : columns_) {
    if (column.key) found[column.base_table].insert(column.base_column);
  }
  for (const auto& [table, names] : found) {
    if (names.size() >= static_cast<std::size_t>(key_width(table))) continue;
    for (ado::Column& column : columns_) {
      if (column.base_table == table) column.key = false;
    }
  }
}

std::size_t SqliteRows::fetch(ado::ColumnStore& store, std::size_t limit) {
  const providers::Deadline deadline(database_, limit_);
  std::size_t count = 0;
  for (; on_row_ && count < limit; ++count) {
    for (std::size_t i = 0; i < columns_.size(); ++i) append_value(store.column(i), static_cast<int>(i));
    on_row_ = step();
  }
  return count;
}

void SqliteRows::append_value(ado::ColumnData& column, int index) const {
  sqlite3_stmt* const statement = statement_.get();
  switch (sqlite3_column_type(statement, index)) {
    case SQLITE_NULL: return column.append_null();
    case SQLITE_INTEGER: {
      const std::int64_t value = sqlite3_column_int64(statement, index);
      column.append_integer(value);
      if (reading_changes(column.layout(), value)) column.keep_source_value(value);
      return;
    }
    case SQLITE_FLOAT: {
      const double value = sqlite3_column_double(statement, index);
      column.append_real(value);
      if (reading_changes(column.layout(), value)) column.keep_source_value(value);
      return;
    }
    case SQLITE_BLOB: return append_blob(column, index);
    default: return append_text(column, index);
  }
}

void SqliteRows::append_blob(ado::ColumnData& column, int index) const {
  const auto* const data = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_.get(), index));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), index));
  if (is_exact(column.layout())) {
    // More digits than a double holds are kept as their text (see bind_exact in session.cpp).
    if (const auto value = Decimal::parse({reinterpret_cast<const char*>(data), size})) {
      const auto money = Currency::from_decimal(*value);
      return column.append(column.layout() == ado::Layout::currency && money ? Variant(*money)
                                                                             : Variant(*value));
    }
  }
  column.append_bytes({data, size});
}

void SqliteRows::append_text(ado::ColumnData& column, int index) const {
  const std::string_view text = text_of(statement_.get(), index);
  // Other programs write dates as ISO text.
  if (column.layout() == ado::Layout::date && column.append_date_text(text)) return;
  column.append_text(text);
}

}  // namespace quarno::desktop::sqlite
