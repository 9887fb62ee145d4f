#include "providers/desktop/sqlite/rows.h"

#include <map>

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

std::string_view text_of(sqlite3_stmt* statement, int index) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, index));
  return {text == nullptr ? "" : text, static_cast<std::size_t>(sqlite3_column_bytes(statement, index))};
}

}  // namespace

SqliteRows::SqliteRows(sqlite3* database, Statement statement, std::string text, int timeout_seconds,
                       const KeyWidth& key_width)
    : database_(database),
      statement_(std::move(statement)),
      text_(std::move(text)),
      timeout_seconds_(timeout_seconds) {
  const Deadline deadline(database_, timeout_seconds_);
  on_row_ = step();
  for (int i = 0; i < sqlite3_column_count(statement_.get()); ++i) columns_.push_back(describe(i));
  drop_partial_keys(key_width);
}

bool SqliteRows::step() {
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) throw engine_error(database_, text_);
  return false;
}

ado::Column SqliteRows::describe(int index) const {
  sqlite3_stmt* const statement = statement_.get();
  const char* const declaration = sqlite3_column_decltype(statement, index);
  const DeclaredType declared =
      declaration != nullptr ? declared_type(declaration) : type_of_value(statement, index);
  ado::Column column;
  column.name = text_or_empty(sqlite3_column_name(statement, index));
  column.type = declared.type;
  column.defined_size = declared.defined_size;
  column.precision = declared.precision;
  column.scale = declared.scale;
  column.base_table = text_or_empty(sqlite3_column_table_name(statement, index));
  column.base_column = text_or_empty(sqlite3_column_origin_name(statement, index));
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
  std::map<std::string, int> found;
  for (const ado::Column& column : columns_) {
    if (column.key) ++found[column.base_table];
  }
  for (const auto& [table, count] : found) {
    if (count >= key_width(table)) continue;
    for (ado::Column& column : columns_) {
      if (column.base_table == table) column.key = false;
    }
  }
}

std::size_t SqliteRows::fetch(ado::ColumnStore& store, std::size_t limit) {
  const Deadline deadline(database_, timeout_seconds_);
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
    case SQLITE_INTEGER: return column.append_integer(sqlite3_column_int64(statement, index));
    case SQLITE_FLOAT: return column.append_real(sqlite3_column_double(statement, index));
    case SQLITE_BLOB: {
      const auto* const data = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, index));
      const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, index));
      const bool exact = column.layout() == ado::Layout::currency || column.layout() == ado::Layout::decimal;
      if (exact) {
        // More digits than a double holds are kept as their text (see bind in session.cpp).
        if (const auto value = Decimal::parse({reinterpret_cast<const char*>(data), size})) {
          const auto money = Currency::from_decimal(*value);
          return column.append(column.layout() == ado::Layout::currency && money ? Variant(*money)
                                                                                 : Variant(*value));
        }
      }
      return column.append_bytes({data, size});
    }
    default: break;
  }
  const std::string_view text = text_of(statement, index);
  if (column.layout() == ado::Layout::date) {
    // Other programs write dates as ISO text.
    if (const auto date = parse_date(text, LocaleInfo{})) return column.append(*date);
  }
  column.append_text(text);
}

}  // namespace quarno::desktop::sqlite
