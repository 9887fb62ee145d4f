#include "providers/desktop/convert/check.h"

#include <bit>
#include <cmath>

#include "ado/ado_error.h"
#include "providers/desktop/desktop_provider.h"
#include "providers/desktop/sqlite/engine_calls.h"

namespace quarno::desktop::convert {
namespace {

using sqlite::prepare;
using sqlite::quoted;
using sqlite::step;

using access::Cell;
using access::ColumnType;

constexpr std::uint64_t kRowsBetweenTellings = 2000;

// Of one row; each cell goes in with its kind and its length, so that no two rows read alike by accident.
class RowHash {
 public:
  void null() { byte('n'); }
  void whole(std::int64_t value) {
    byte('i');
    bits(static_cast<std::uint64_t>(value));
  }
  // The engine keeps whole numbers as such where a column is not declared as DOUBLE.
  void real(double value) {
    constexpr double kLimit = 9223372036854775808.0;
    if (std::isnan(value)) return null();
    if (value >= -kLimit && value < kLimit && value == std::trunc(value)) {
      return whole(static_cast<std::int64_t>(value));
    }
    byte('r');
    bits(std::bit_cast<std::uint64_t>(value));
  }
  // By its digits: how many zeros follow says nothing.
  void exact(const Decimal& value) {
    std::string text = value.text();
    if (text.find('.') != std::string::npos) {
      text.erase(text.find_last_not_of('0') + 1);
      if (text.ends_with('.')) text.pop_back();
    }
    sized('d', text == "-0" ? "0" : text);
  }
  void text(std::string_view value) { sized('t', value); }
  void bytes(std::string_view value) { sized('b', value); }

  // Mixed once more, because the sums of rows that differ in few bits would collide.
  std::uint64_t value() const {
    std::uint64_t mixed = hash_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
  }

 private:
  void byte(char value) { hash_ = (hash_ ^ static_cast<std::uint8_t>(value)) * 0x100000001B3; }
  void bits(std::uint64_t value) {
    for (int i = 0; i < 8; ++i) byte(static_cast<char>(value >> (8 * i)));
  }
  void sized(char kind, std::string_view value) {
    byte(kind);
    bits(value.size());
    for (const char c : value) byte(c);
  }

  std::uint64_t hash_ = 0xCBF29CE484222325;
};

bool is_exact(const access::Column& column) {
  return column.type == ColumnType::currency || column.type == ColumnType::decimal;
}

void add(RowHash& row, const Cell& cell) {
  switch (cell.kind) {
    case Cell::Kind::null: return row.null();
    case Cell::Kind::whole: return row.whole(cell.whole);
    case Cell::Kind::real: return row.real(cell.real);
    case Cell::Kind::currency: return row.exact(Currency{cell.whole}.to_decimal());
    case Cell::Kind::decimal: return row.exact(cell.decimal);
    case Cell::Kind::text: return row.text(cell.text);
    case Cell::Kind::bytes: return row.bytes(cell.text);
  }
}

// An exact number reads as the object model reads it; a value that is none counts as what it is.
void add(RowHash& row, sqlite3_stmt* statement, int index, bool exact) {
  const auto view = [&] {
    const void* const data = sqlite3_column_blob(statement, index);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, index));
    return size == 0 ? std::string_view() : std::string_view(static_cast<const char*>(data), size);
  };
  switch (sqlite3_column_type(statement, index)) {
    case SQLITE_INTEGER: {
      const std::int64_t value = sqlite3_column_int64(statement, index);
      return exact ? row.exact(Decimal(value)) : row.whole(value);
    }
    case SQLITE_FLOAT: {
      const double value = sqlite3_column_double(statement, index);
      const auto decimal = exact ? Decimal::from_double(value) : std::nullopt;
      return decimal ? row.exact(*decimal) : row.real(value);
    }
    case SQLITE_TEXT: return row.text(view());
    case SQLITE_BLOB: {
      const auto decimal = exact ? Decimal::parse(view()) : std::nullopt;
      return decimal ? row.exact(*decimal) : row.bytes(view());
    }
    default: return row.null();
  }
}

void take(Checksum& checksum, const RowHash& row, const RowsRead& told) {
  checksum.sum += row.value();
  if (++checksum.rows % kRowsBetweenTellings == 0 && told) told(checksum.rows);
}

}  // namespace

Checksum checksum(access::Database& database, const access::Table& table, const RowsRead& told) {
  Checksum result;
  const std::size_t columns = database.design(table).columns.size();
  access::TableRows rows = database.rows(table);
  while (rows.next()) {
    RowHash row;
    for (std::size_t i = 0; i < columns; ++i) add(row, rows.cell(i));
    take(result, row, told);
  }
  return result;
}

Checksum checksum(sqlite3* engine, const std::string& table, const access::TableDesign& design,
                  const RowsRead& told) {
  std::string names;
  for (const access::Column& column : design.columns)
    names += (names.empty() ? "" : ", ") + quoted(column.name);
  const sqlite::Statement select = prepare(engine, "SELECT " + names + " FROM " + quoted(table));
  Checksum result;
  while (step(engine, select)) {
    RowHash row;
    for (std::size_t i = 0; i < design.columns.size(); ++i) {
      add(row, select.get(), static_cast<int>(i), is_exact(design.columns[i]));
    }
    take(result, row, told);
  }
  return result;
}

void check_file(sqlite3* engine) {
  const auto first = [&](const char* pragma) {
    const sqlite::Statement statement = prepare(engine, pragma);
    return step(engine, statement) ? sqlite::column_text(statement.get(), 0) : std::string();
  };
  const std::string state = first("PRAGMA integrity_check(1)");
  const std::string broken = first("PRAGMA foreign_key_check");
  if (state != "ok")
    throw ado::provider_error(ado::kUnspecified, "The new file is damaged: " + state, kSourceName);
  if (!broken.empty()) {
    throw ado::provider_error(ado::kUnspecified,
                              "A relation of '" + broken + "' does not hold in the new file.", kSourceName);
  }
}

}  // namespace quarno::desktop::convert
