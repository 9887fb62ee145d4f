#include "providers/desktop/access/loader.h"

#include <algorithm>
#include <cmath>

#include "ado/ado_error.h"
#include "common/error.h"
#include "providers/desktop/desktop_provider.h"
#include "providers/desktop/sqlite/bind_exact.h"
#include "providers/desktop/sqlite/engine_calls.h"

namespace quarno::desktop::access {
namespace {

using sqlite::quoted;

constexpr std::uint64_t kRowsBetweenQuestions = 2000;
constexpr std::uint64_t kBytesBetweenQuestions = 8 << 20;
// Each statement that inserts into a table with an autonumber reads and writes the number on its own.
constexpr std::size_t kRowsAtOnce = 16;

/// The data contradict what the table says of itself.
struct Contradiction {};

bool is_text(ColumnType type) {
  return type == ColumnType::text || type == ColumnType::memo || type == ColumnType::guid;
}

// As the engine sees it, which has null in the place of a number that is none.
bool is_null(const Cell& cell) {
  return cell.kind == Cell::Kind::null || (cell.kind == Cell::Kind::real && std::isnan(cell.real));
}

// The columns of the table's own key: the autonumber where there is one, else the primary key.
struct Key {
  std::optional<std::size_t> autonumber;
  const Index* primary = nullptr;  // what the key is made from, if anything
};

Key key_of(const TableDesign& design) {
  Key key;
  for (std::size_t i = 0; i < design.columns.size(); ++i) {
    const Column& column = design.columns[i];
    if (column.is_autonumber && column.type == ColumnType::long_integer) key.autonumber = i;
  }
  for (const Index& index : design.indexes) {
    const bool fits =
        !key.autonumber || (index.columns.size() == 1 && index.columns[0].column == *key.autonumber);
    if (index.is_primary && fits) key.primary = &index;
  }
  return key;
}

class Loader {
 public:
  Loader(sqlite3* engine, Database& database, const Table& table, const GoOn& go_on, const LoadAs& as)
      : engine_(engine),
        database_(database),
        table_(table),
        design_(database.design(table)),
        key_(key_of(design_)),
        go_on_(go_on),
        as_(as),
        never_null_(design_.columns.size()) {
    for (std::size_t i = 0; i < never_null_.size(); ++i) never_null_[i] = design_.columns[i].is_required;
    for (const Index& index : design_.indexes) {
      for (const IndexColumn& column : index.columns) {
        if (index.is_required || index.is_primary) never_null_[column.column] = true;
      }
    }
    if (key_.autonumber) never_null_[*key_.autonumber] = true;
  }

  Loaded bring() {
    run("SAVEPOINT quarnofwk_load");
    try {
      // Every contradiction takes a claim away, so there is an end.
      while (!fill()) run("ROLLBACK TO quarnofwk_load");
      run("RELEASE quarnofwk_load");
    } catch (...) {
      quietly([&] {
        run("ROLLBACK TO quarnofwk_load");
        run("RELEASE quarnofwk_load");
      });
      throw;
    }
    return loaded_;
  }

 private:
  // False when the data contradict what the table says of itself; it says less then.
  bool fill() {
    loaded_.not_unique.clear();
    run(create_statement());
    try {
      if (as_.rows) copy_rows();
    } catch (const Contradiction&) {
      return false;
    }
    for (const Index& index : design_.indexes) {
      if (loaded_.key_is_lost || &index != key_.primary) make_index(index);
    }
    return true;
  }

  std::string create_statement() const {
    std::string result = "CREATE TABLE " + quoted(table_.name) + " (";
    for (std::size_t i = 0; i < design_.columns.size(); ++i) {
      const Column& column = design_.columns[i];
      if (i > 0) result += ", ";
      result += quoted(column.name) + " " + declaration(column, database_.jet3());
      if (is_text(column.type)) result += " COLLATE " + as_.collation;
      if (!loaded_.key_is_lost && key_.autonumber == i) {
        result += " PRIMARY KEY AUTOINCREMENT";
      } else if (never_null_[i]) {
        result += " NOT NULL";
      }
      if (!as_.column_clauses.empty()) result += as_.column_clauses[i];
    }
    if (!loaded_.key_is_lost && !key_.autonumber && key_.primary != nullptr) {
      result += ", PRIMARY KEY (" + column_list(*key_.primary) + ")";
    }
    return result + ")";
  }

  std::string column_list(const Index& index) const {
    std::string result;
    for (const IndexColumn& column : index.columns) {
      if (!result.empty()) result += ", ";
      result += quoted(design_.columns[column.column].name) + (column.descending ? " DESC" : "");
    }
    return result;
  }

  bool is_key(std::size_t i) const {
    if (key_.autonumber) return key_.autonumber == i;
    const auto own = [&](const IndexColumn& column) { return column.column == i; };
    return key_.primary != nullptr &&
           std::any_of(key_.primary->columns.begin(), key_.primary->columns.end(), own);
  }

  void copy_rows() {
    const std::size_t columns = design_.columns.size();
    const sqlite::Statement insert = prepare(insert_statement());
    TableRows rows = database_.rows(table_);
    std::uint64_t count = 0;
    std::uint64_t bytes = 0;
    std::size_t waiting = 0;  // rows that are bound
    std::vector<bool> has_null(columns);
    bool is_contradicted = false;
    const auto step_waiting = [&] {
      // The rest is read all the same, so that all such columns are known.
      if (waiting > 0 && !is_contradicted) step(insert.get(), waiting);
      waiting = 0;
    };
    while (rows.next()) {
      for (std::size_t i = 0; i < columns; ++i) {
        const Cell cell = rows.cell(i);
        bytes += cell.text.size();
        // The engine takes nulls in keys, or puts numbers of its own in their place.
        if (never_null_[i] && is_null(cell)) has_null[i] = is_contradicted = true;
        const auto place = static_cast<int>(waiting * columns + i + 1);
        if (bind(insert.get(), place, cell) != SQLITE_OK) throw failure();
      }
      ++count;
      ++waiting;
      if (waiting == kRowsAtOnce || bytes > kBytesBetweenQuestions) step_waiting();
      if (count % kRowsBetweenQuestions == 0 || bytes > kBytesBetweenQuestions) {
        ask(count);
        bytes = 0;
      }
    }
    step_waiting();
    ask(count);
    if (rows.damage().any() && !database_.options().skip_damage) throw damaged(rows.damage());
    loaded_.rows = count;
    loaded_.damage = rows.damage();
    if (!is_contradicted) return;
    for (std::size_t i = 0; i < has_null.size(); ++i) {
      if (!has_null[i]) continue;
      never_null_[i] = false;
      loaded_.nullable.push_back(design_.columns[i].name);
      if (is_key(i)) loaded_.key_is_lost = true;
    }
    throw Contradiction();
  }

  // Inserts as many of the bound rows as its last parameter says.
  std::string insert_statement() const {
    std::string row = "(?";
    for (std::size_t i = 1; i < design_.columns.size(); ++i) row += ",?";
    row += ")";
    std::string result = "INSERT INTO " + quoted(table_.name) + " SELECT * FROM (VALUES " + row;
    for (std::size_t i = 1; i < kRowsAtOnce; ++i) result += "," + row;
    return result + ") LIMIT ?";
  }

  static int bind(sqlite3_stmt* statement, int index, const Cell& cell) {
    // Whole numbers of fewer digits than a double has; the division rounds once, so it is the nearest double.
    constexpr std::int64_t kFewDigits = 1'000'000'000'000'000;
    switch (cell.kind) {
      case Cell::Kind::null: return sqlite3_bind_null(statement, index);
      case Cell::Kind::whole: return sqlite3_bind_int64(statement, index, cell.whole);
      case Cell::Kind::real: return sqlite3_bind_double(statement, index, cell.real);
      case Cell::Kind::currency:
        if (cell.whole > -kFewDigits && cell.whole < kFewDigits) {
          return sqlite3_bind_double(statement, index, static_cast<double>(cell.whole) / 10000.0);
        }
        return sqlite::bind_exact(statement, index, Currency{cell.whole}.to_decimal());
      case Cell::Kind::decimal: return sqlite::bind_exact(statement, index, cell.decimal);
      // A null pointer would bind null. The text is the row's, which is gone before the statement runs.
      case Cell::Kind::text:
        return sqlite3_bind_text64(statement, index, cell.text.empty() ? "" : cell.text.data(),
                                   cell.text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
      case Cell::Kind::bytes:
        if (cell.text.empty()) return sqlite3_bind_zeroblob(statement, index, 0);
        return sqlite3_bind_blob64(statement, index, cell.text.data(), cell.text.size(), SQLITE_TRANSIENT);
    }
    return SQLITE_MISUSE;
  }

  void step(sqlite3_stmt* statement, std::size_t rows) {
    sqlite3_bind_int64(statement, sqlite3_bind_parameter_count(statement), static_cast<sqlite3_int64>(rows));
    const int result = sqlite3_step(statement);
    if (result == SQLITE_DONE) {
      sqlite3_reset(statement);
      return;
    }
    // Nulls were looked for before, so it is the key.
    const bool is_constraint = (sqlite3_extended_errcode(engine_) & 0xFF) == SQLITE_CONSTRAINT;
    if (!is_constraint || loaded_.key_is_lost) throw failure();
    loaded_.key_is_lost = true;
    throw Contradiction();
  }

  void make_index(const Index& index) {
    const std::string name = quoted(table_.name + "." + index.name);
    const std::string rest = "INDEX " + name + " ON " + quoted(table_.name) + " (" + column_list(index) + ")";
    if (index.is_unique || index.is_primary) {
      // Nulls are never equal here, so it makes no difference whether they are in it.
      try {
        return run("CREATE UNIQUE " + rest);
      } catch (const Error& error) {
        if ((error.native_number & 0xFF) != SQLITE_CONSTRAINT) throw;
        loaded_.not_unique.push_back(index.name);
      }
    }
    std::string where;
    if (index.ignores_nulls) {
      for (const IndexColumn& column : index.columns) {
        where += (where.empty() ? " WHERE " : " AND ") + quoted(design_.columns[column.column].name) +
                 " IS NOT NULL";
      }
    }
    run("CREATE " + rest + where);
  }

  void ask(std::uint64_t rows) const {
    if (as_.progress) as_.progress(rows);
    if (go_on_ && !go_on_()) throw ado::provider_error(ado::kTimeoutExpired, "Timeout expired", kSourceName);
  }

  Error damaged(const Damage& damage) const {
    return ado::provider_error(ado::kUnspecified,
                               "The table '" + table_.name + "' is damaged: " + std::to_string(damage.rows) +
                                   " rows, " + std::to_string(damage.cells) + " values and " +
                                   std::to_string(damage.pages) + " pages could not be read.",
                               kSourceName);
  }

  sqlite::Statement prepare(const std::string& statement) const {
    return sqlite::prepare(engine_, statement);
  }
  void run(const std::string& statement) const { sqlite::run(engine_, statement); }
  Error failure() const { return sqlite::engine_error(engine_, "load of " + table_.name); }

  sqlite3* engine_;
  Database& database_;
  const Table& table_;
  const TableDesign& design_;
  Key key_;
  const GoOn& go_on_;
  const LoadAs& as_;
  std::vector<bool> never_null_;  // by column, as long as the data agree
  Loaded loaded_;
};

}  // namespace

Loaded bring_table(sqlite3* engine, Database& database, const Table& table, const GoOn& go_on,
                   const LoadAs& as) {
  return Loader(engine, database, table, go_on, as).bring();
}

}  // namespace quarno::desktop::access
