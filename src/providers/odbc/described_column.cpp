#include "providers/odbc/described_column.h"

#include <algorithm>
#include <array>
#include <map>

#include "common/text.h"
#include "providers/odbc/statement_text.h"

namespace quarno::odbc {
namespace {

using ado::DataType;

// Types of SQL Server that the standard headers do not name.
constexpr SQLSMALLINT kVariantType = -150;
constexpr SQLSMALLINT kUserType = -151;
constexpr SQLSMALLINT kXml = -152;
constexpr SQLSMALLINT kTime2 = -154;
constexpr SQLSMALLINT kTimestampOffset = -155;

struct TypeRow {
  SQLSMALLINT code;
  DataType type;
  DataType unsigned_type;
  Form form;
  std::int64_t size;       // bytes shown of a fixed type, 0 for what the driver says
  std::uint8_t precision;  // 255: none
};
constexpr TypeRow kTypes[] = {
    {SQL_CHAR, DataType::char_, DataType::char_, Form::text, 0, 255},
    {SQL_VARCHAR, DataType::var_char, DataType::var_char, Form::text, 0, 255},
    {SQL_LONGVARCHAR, DataType::long_var_char, DataType::long_var_char, Form::text, 0, 255},
    {SQL_WCHAR, DataType::wchar, DataType::wchar, Form::text, 0, 255},
    {SQL_WVARCHAR, DataType::var_wchar, DataType::var_wchar, Form::text, 0, 255},
    {SQL_WLONGVARCHAR, DataType::long_var_wchar, DataType::long_var_wchar, Form::text, 0, 255},
    {SQL_DECIMAL, DataType::numeric, DataType::numeric, Form::exact, 19, 0},
    {SQL_NUMERIC, DataType::numeric, DataType::numeric, Form::exact, 19, 0},
    {SQL_BIT, DataType::boolean, DataType::boolean, Form::bit, 2, 255},
    {SQL_TINYINT, DataType::tiny_int, DataType::unsigned_tiny_int, Form::small, 1, 3},
    {SQL_SMALLINT, DataType::small_int, DataType::unsigned_small_int, Form::small, 2, 5},
    {SQL_INTEGER, DataType::integer, DataType::unsigned_int, Form::integer, 4, 10},
    {SQL_BIGINT, DataType::big_int, DataType::unsigned_big_int, Form::integer, 8, 19},
    {SQL_REAL, DataType::single, DataType::single, Form::real, 4, 7},
    {SQL_FLOAT, DataType::real, DataType::real, Form::real, 8, 15},
    {SQL_DOUBLE, DataType::real, DataType::real, Form::real, 8, 15},
    {SQL_BINARY, DataType::binary, DataType::binary, Form::bytes, 0, 255},
    {SQL_VARBINARY, DataType::var_binary, DataType::var_binary, Form::bytes, 0, 255},
    {SQL_LONGVARBINARY, DataType::long_var_binary, DataType::long_var_binary, Form::bytes, 0, 255},
    {kUserType, DataType::long_var_binary, DataType::long_var_binary, Form::bytes, 0, 255},
    {SQL_TYPE_DATE, DataType::db_date, DataType::db_date, Form::date, 6, 10},
    {SQL_TYPE_TIME, DataType::db_time, DataType::db_time, Form::time, 6, 8},
    {kTime2, DataType::db_time, DataType::db_time, Form::time, 6, 16},
    {SQL_TYPE_TIMESTAMP, DataType::db_timestamp, DataType::db_timestamp, Form::timestamp, 16, 0},
    {SQL_GUID, DataType::guid, DataType::guid, Form::guid, 16, 255},
    {kXml, DataType::long_var_wchar, DataType::long_var_wchar, Form::text, 0, 255},
    {kVariantType, DataType::long_var_wchar, DataType::long_var_wchar, Form::text, 0, 255},
    {kTimestampOffset, DataType::var_wchar, DataType::var_wchar, Form::text, 0, 255},
};

const TypeRow& type_row(SQLSMALLINT code) {
  const auto* const found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                         [&](const TypeRow& row) { return row.code == code; });
  // Whatever it is, it can be had as text.
  static constexpr TypeRow kOther{0, DataType::long_var_char, DataType::long_var_char, Form::text, 0, 255};
  return found == std::end(kTypes) ? kOther : *found;
}

constexpr std::int64_t kLongest = 2'147'483'647;
constexpr std::int64_t kMostBytesPerCharacter = 4;

DataType long_type(DataType type) {
  if (ado::is_binary(type)) return DataType::long_var_binary;
  return ado::is_wide_text(type) ? DataType::long_var_wchar : DataType::long_var_char;
}

struct Reported {
  SQLHSTMT statement;
  SQLUSMALLINT index;

  std::string text(SQLUSMALLINT field) const {
    std::array<char, 1024> buffer{};
    SQLSMALLINT length = 0;
    const SQLRETURN result = SQLColAttribute(statement, index, field, buffer.data(),
                                             static_cast<SQLSMALLINT>(buffer.size()), &length, nullptr);
    return SQL_SUCCEEDED(result) ? buffer.data() : "";
  }
  SQLLEN number(SQLUSMALLINT field, SQLLEN fallback) const {
    SQLLEN value = fallback;
    const SQLRETURN result = SQLColAttribute(statement, index, field, nullptr, 0, nullptr, &value);
    return SQL_SUCCEEDED(result) ? value : fallback;
  }
};

DescribedColumn described(const Statement& statement, SQLUSMALLINT index, const Dbms& dbms) {
  std::array<SQLCHAR, 1024> name{};
  SQLSMALLINT length = 0;
  SQLSMALLINT code = 0;
  SQLULEN size = 0;
  SQLSMALLINT digits = 0;
  SQLSMALLINT nullable = 0;
  statement.check(SQLDescribeCol(statement.get(), index, name.data(), static_cast<SQLSMALLINT>(name.size()),
                                 &length, &code, &size, &digits, &nullable));
  const Reported reported{statement.get(), index};
  const TypeRow& row = type_row(code);
  DescribedColumn result;
  ado::Column& column = result.column;
  column.name = reinterpret_cast<const char*>(name.data());
  // Drivers call texts, doubles and years unsigned too; of whole numbers alone it means something.
  const bool is_whole = row.form == Form::integer || row.form == Form::small;
  const bool is_unsigned = is_whole && reported.number(SQL_DESC_UNSIGNED, SQL_FALSE) == SQL_TRUE;
  column.type = is_unsigned ? row.unsigned_type : row.type;
  column.defined_size = row.size;
  column.precision = row.precision;
  result.form = row.form;
  if (column.type == DataType::integer) result.form = Form::small;
  if (is_whole && dbms.whole_numbers_vary) result.form = Form::number;
  if (column.type == DataType::unsigned_big_int) result.form = Form::exact;
  const bool money =
      row.form == Form::exact && text::lower_ascii(reported.text(SQL_DESC_TYPE_NAME)).ends_with("money");
  if (money) {
    column.type = DataType::currency;
    column.defined_size = 8;
    column.precision = 19;
  } else if (row.form == Form::exact) {
    column.precision = static_cast<std::uint8_t>(std::min<SQLULEN>(size, 254));
    column.scale = static_cast<std::uint8_t>(std::clamp<SQLSMALLINT>(digits, 0, 254));
    column.scale_holds = dbms.unsized_number_digits == 0 || column.precision != dbms.unsized_number_digits;
  } else if (row.form == Form::timestamp) {
    column.precision = static_cast<std::uint8_t>(std::min<SQLULEN>(size, 254));
    column.scale = static_cast<std::uint8_t>(std::clamp<SQLSMALLINT>(digits, 0, 9));
  } else if (row.form == Form::text || row.form == Form::bytes) {
    const auto told = static_cast<std::int64_t>(size);
    const bool unsized = told <= 0 || (row.form == Form::text && told == dbms.unsized_text);
    // SQLite's driver calls a BLOB a BINARY of 255 bytes.
    const bool blob =
        row.form == Form::bytes && text::lower_ascii(reported.text(SQL_DESC_TYPE_NAME)) == "blob";
    const bool is_long = told <= 0 || blob;
    if (is_long) column.type = long_type(column.type);
    const bool unlimited = unsized || (ado::is_long(column.type) && !dbms.long_sizes_hold);
    column.defined_size = unlimited ? kLongest : std::min(told, kLongest);
    const bool bounded = dbms.sizes_hold && !unsized && !ado::is_long(column.type);
    const std::int64_t bytes = row.form == Form::text ? told * kMostBytesPerCharacter + 1 : told;
    result.width = bounded ? bytes : 0;
  }
  const bool is_day = column.type == DataType::db_date && dbms.reads_day_text;
  if (is_day || (dbms.keeps_date_text && ado::is_date(column.type))) {
    constexpr std::int64_t kLongestDateText = 40;
    result.form = Form::date_text;
    result.width = dbms.sizes_hold ? kLongestDateText : 0;
  }

  if (reported.number(SQL_DESC_NULLABLE, nullable) != SQL_NO_NULLS) {
    column.attributes |= ado::adFldIsNullable | ado::adFldMayBeNull;
  }
  if (ado::is_long(column.type)) column.attributes |= ado::adFldLong;
  const bool varies = row.form == Form::text || row.form == Form::bytes;
  if (!varies) column.attributes |= ado::adFldFixed;
  column.auto_increment = reported.number(SQL_DESC_AUTO_UNIQUE_VALUE, SQL_FALSE) == SQL_TRUE;
  return result;
}

bool holds(const std::vector<std::string>& names, std::string_view name) {
  return std::any_of(names.begin(), names.end(),
                     [&](const std::string& n) { return text::equal_fold(n, name); });
}

// Keys count only when the result has all columns of a table's key, each once.
void mark_keys(std::vector<DescribedColumn>& columns,
               const std::map<std::string, const TableFacts*>& tables) {
  for (const auto& [table, facts] : tables) {
    std::vector<ado::Column*> found;
    bool all_once = !facts->key.empty();
    for (const std::string& name : facts->key) {
      const std::size_t before = found.size();
      for (DescribedColumn& each : columns) {
        const bool same = each.column.base_table == table && text::equal_fold(each.column.base_column, name);
        if (same) found.push_back(&each.column);
      }
      all_once = all_once && found.size() == before + 1;
    }
    if (!all_once) continue;
    for (ado::Column* const column : found) {
      column->key = true;
      column->attributes |= ado::adFldKeyColumn;
    }
  }
}

}  // namespace

std::vector<DescribedColumn> described_columns(const Statement& statement, const std::string& text,
                                               const Dbms& dbms, const FindTable& find_table) {
  SQLSMALLINT count = 0;
  statement.check(SQLNumResultCols(statement.get(), &count));
  std::vector<DescribedColumn> result;
  std::map<std::string, const TableFacts*> tables;
  for (SQLUSMALLINT index = 1; index <= static_cast<SQLUSMALLINT>(count); ++index) {
    result.push_back(described(statement, index, dbms));
    ado::Column& column = result.back().column;
    const Reported reported{statement.get(), index};
    if (!find_table) continue;
    const std::string base_column = reported.text(SQL_DESC_BASE_COLUMN_NAME);
    const BaseTable table{reported.text(SQL_DESC_CATALOG_NAME), reported.text(SQL_DESC_SCHEMA_NAME),
                          reported.text(SQL_DESC_BASE_TABLE_NAME)};
    if (base_column.empty() || table.name.empty()) continue;
    const TableFacts& facts = find_table(table);
    if (!facts.reachable) continue;
    const bool doubtful =
        dbms.alias_as_base_column && (!holds(facts.columns, base_column) || is_alias(text, base_column));
    if (doubtful) continue;
    column.base_table = table.name;
    column.base_column = base_column;
    column.attributes |= ado::adFldUpdatable;
    tables[table.name] = &facts;
  }
  mark_keys(result, tables);
  return result;
}

}  // namespace quarno::odbc
