// The contenders that call ODBC themselves.
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <string>

#include "contenders.h"
#include "odbc_link.h"
#include "sample.h"

namespace quarno::bench {
namespace {

constexpr std::size_t kBlockRows = 256;

// Some rows of a text column.
template <std::size_t Width, std::size_t Rows>
struct Texts {
  char values[Rows][Width];
  SQLLEN lengths[Rows];
  void bind(SQLHSTMT statement, SQLUSMALLINT column) {
    check(SQLBindCol(statement, column, SQL_C_CHAR, values, Width, lengths), "SQLBindCol");
  }
  std::string_view at(std::size_t row) const { return {values[row], static_cast<std::size_t>(lengths[row])}; }
};

template <class T, std::size_t Rows>
struct Fixed {
  T values[Rows];
  SQLLEN lengths[Rows];
  void bind(SQLHSTMT statement, SQLUSMALLINT column, SQLSMALLINT type) {
    check(SQLBindCol(statement, column, type, values, sizeof(T), lengths), "SQLBindCol");
  }
};

struct Block {
  Fixed<SQLINTEGER, kBlockRows> id;
  Texts<11, kBlockRows> station;
  Texts<11, kBlockRows> code;
  Fixed<SQL_TIMESTAMP_STRUCT, kBlockRows> day;
  Texts<6, kBlockRows> hour;
  Fixed<double, kBlockRows> value;
  Texts<4, kBlockRows> status;
  Fixed<SQLINTEGER, kBlockRows> state;
};

// One row at a time, fields by name.
class RowReader {
 public:
  RowReader(const Link& link, const std::string& text) : statement_(link.statement()) {
    link.execute(text);
    SQLSMALLINT count = 0;
    check(SQLNumResultCols(statement_, &count), "SQLNumResultCols");
    columns_.resize(static_cast<std::size_t>(count));
    for (SQLUSMALLINT i = 0; i < count; ++i) {
      std::array<SQLCHAR, 128> name{};
      SQLSMALLINT length = 0;
      SQLSMALLINT type = 0;
      SQLULEN size = 0;
      check(SQLDescribeCol(statement_, static_cast<SQLUSMALLINT>(i + 1), name.data(),
                           SQLSMALLINT{name.size()}, &length, &type, &size, nullptr, nullptr),
            "SQLDescribeCol");
      by_name_.emplace(reinterpret_cast<const char*>(name.data()), i);
      bind(columns_[i], static_cast<SQLUSMALLINT>(i + 1), type, size);
    }
  }

  bool next() const { return SQL_SUCCEEDED(SQLFetch(statement_)); }
  // As nanodbc does it: a map from name to column, a check for null, and a conversion chosen by the type that
  // the column was bound as.
  template <class T>
  T get(const std::string& name) const {
    const auto found = by_name_.find(name);
    require(found != by_name_.end(), "finding a column");
    const Column& column = columns_.at(found->second);
    require(column.length != SQL_NULL_DATA, "reading a value");
    switch (column.c_type) {
      case SQL_C_SLONG: return converted<T, SQLINTEGER>(column);
      case SQL_C_DOUBLE: return converted<T, double>(column);
      case SQL_C_TYPE_TIMESTAMP: return converted<T, SQL_TIMESTAMP_STRUCT>(column);
      default: return converted<T, std::string>(column);
    }
  }

 private:
  struct Column {
    std::vector<char> buffer;
    SQLLEN length = 0;
    SQLSMALLINT c_type = SQL_C_CHAR;
  };

  template <class T, class Bound>
  static T converted(const Column& column) {
    if constexpr (std::is_same_v<Bound, std::string>) {
      std::string text(column.buffer.data(), static_cast<std::size_t>(column.length));
      if constexpr (std::is_same_v<T, std::string>) return text;
    } else {
      Bound value;
      std::memcpy(&value, column.buffer.data(), sizeof value);
      if constexpr (std::is_arithmetic_v<T> && std::is_arithmetic_v<Bound>) return static_cast<T>(value);
      if constexpr (std::is_same_v<T, Bound>) return value;
    }
    require(false, "converting a value");
    return {};
  }

  void bind(Column& column, SQLUSMALLINT number, SQLSMALLINT type, SQLULEN size) const {
    SQLSMALLINT wanted = SQL_C_CHAR;
    std::size_t width = size * 4 + 1;
    if (type == SQL_INTEGER) {
      wanted = SQL_C_SLONG;
      width = sizeof(SQLINTEGER);
    } else if (type == SQL_DOUBLE || type == SQL_FLOAT) {
      wanted = SQL_C_DOUBLE;
      width = sizeof(double);
    } else if (type == SQL_TYPE_TIMESTAMP) {
      wanted = SQL_C_TYPE_TIMESTAMP;
      width = sizeof(SQL_TIMESTAMP_STRUCT);
    }
    column.buffer.resize(width);
    column.c_type = wanted;
    check(SQLBindCol(statement_, number, wanted, column.buffer.data(), static_cast<SQLLEN>(width),
                     &column.length),
          "SQLBindCol");
  }

  SQLHSTMT statement_;
  std::vector<Column> columns_;
  std::map<std::string, std::size_t> by_name_;
};

void add(Checksum& sum, const SQL_TIMESTAMP_STRUCT& t) { sum.moment(t.year, t.month, t.day, t.hour); }

}  // namespace

Checksum read_odbc_blocks(const OdbcTable& from) {
  const Link link(from.source);
  require(link.connected(), "connecting to " + from.source);
  SQLHSTMT const statement = link.statement();
  SQLULEN fetched = 0;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the interface asks for it
  const auto rows = reinterpret_cast<SQLPOINTER>(kBlockRows);
  check(SQLSetStmtAttr(statement, SQL_ATTR_ROW_ARRAY_SIZE, rows, 0), "SQLSetStmtAttr");
  check(SQLSetStmtAttr(statement, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0), "SQLSetStmtAttr");
  link.execute(select_all(from.table));
  const auto block = std::make_unique<Block>();
  block->id.bind(statement, 1, SQL_C_SLONG);
  block->station.bind(statement, 2);
  block->code.bind(statement, 3);
  block->day.bind(statement, 4, SQL_C_TYPE_TIMESTAMP);
  block->hour.bind(statement, 5);
  block->value.bind(statement, 6, SQL_C_DOUBLE);
  block->status.bind(statement, 7);
  block->state.bind(statement, 8, SQL_C_SLONG);
  Checksum sum;
  std::string text;
  const auto copied = [&](std::string_view value) {
    text = value;
    sum.text(text);
  };
  while (SQL_SUCCEEDED(SQLFetch(statement))) {
    for (SQLULEN i = 0; i < fetched; ++i) {
      sum.whole(block->id.values[i]);
      copied(block->station.at(i));
      copied(block->code.at(i));
      add(sum, block->day.values[i]);
      copied(block->hour.at(i));
      sum.real(block->value.values[i]);
      copied(block->status.at(i));
      sum.whole(block->state.values[i]);
    }
  }
  return sum;
}

Checksum read_odbc_rows(const OdbcTable& from) {
  const Link link(from.source);
  require(link.connected(), "connecting to " + from.source);
  const RowReader row(link, select_all(from.table));
  Checksum sum;
  while (row.next()) {
    sum.whole(row.get<SQLINTEGER>(kFields[0]));
    sum.text(row.get<std::string>(kFields[1]));
    sum.text(row.get<std::string>(kFields[2]));
    add(sum, row.get<SQL_TIMESTAMP_STRUCT>(kFields[3]));
    sum.text(row.get<std::string>(kFields[4]));
    sum.real(row.get<double>(kFields[5]));
    sum.text(row.get<std::string>(kFields[6]));
    sum.whole(row.get<SQLINTEGER>(kFields[7]));
  }
  return sum;
}

namespace {

// What the next row is bound to.
class Parameters {
 public:
  explicit Parameters(SQLHSTMT statement) : statement_(statement) {
    bind(SQL_C_SLONG, SQL_INTEGER, 10, &id_);
    bind(station_, 10);
    bind(code_, 10);
    bind(SQL_C_TYPE_TIMESTAMP, SQL_TYPE_TIMESTAMP, 19, &day_);
    bind(hour_, 5);
    bind(SQL_C_DOUBLE, SQL_DOUBLE, 15, &value_);
    bind(status_, 3);
    bind(SQL_C_SLONG, SQL_INTEGER, 10, &state_);
  }
  void take(const Row& row) {
    const auto copy = [](auto& to, const std::string& text) {
      std::memcpy(to.value, text.data(), text.size());
      to.length = static_cast<SQLLEN>(text.size());
    };
    const CivilTime& t = row.moment;
    id_ = row.id;
    copy(station_, row.station);
    copy(code_, row.code);
    day_ = {static_cast<SQLSMALLINT>(t.year),
            static_cast<SQLUSMALLINT>(t.month),
            static_cast<SQLUSMALLINT>(t.day),
            static_cast<SQLUSMALLINT>(t.hour),
            static_cast<SQLUSMALLINT>(t.minute),
            static_cast<SQLUSMALLINT>(t.second),
            0};
    copy(hour_, row.hour);
    value_ = row.value;
    copy(status_, row.status);
    state_ = row.state;
  }

 private:
  struct Text {
    char value[16];
    SQLLEN length;
  };
  void bind(SQLSMALLINT c_type, SQLSMALLINT type, SQLULEN size, SQLPOINTER data, SQLLEN* length = nullptr) {
    check(SQLBindParameter(statement_, ++bound_, SQL_PARAM_INPUT, c_type, type, size, 0, data, 0, length),
          "SQLBindParameter");
  }
  void bind(Text& text, SQLULEN size) { bind(SQL_C_CHAR, SQL_VARCHAR, size, text.value, &text.length); }

  SQLHSTMT statement_;
  SQLUSMALLINT bound_ = 0;
  SQLINTEGER id_ = 0;
  Text station_{};
  Text code_{};
  SQL_TIMESTAMP_STRUCT day_{};
  Text hour_{};
  double value_ = 0;
  Text status_{};
  SQLINTEGER state_ = 0;
};

}  // namespace

void write_odbc_rows(const OdbcTable& to, const std::vector<Row>& rows) {
  const Link link(to.source);
  require(link.connected(), "connecting to " + to.source);
  link.hold_transaction();
  check(SQLPrepare(link.statement(), odbc_text(insert_into(to.table)), SQL_NTS), "SQLPrepare");
  Parameters parameters(link.statement());
  for (const Row& row : rows) {
    parameters.take(row);
    check(SQLExecute(link.statement()), "SQLExecute");
  }
  link.commit();
}

std::int64_t empty_odbc(const OdbcTable& table) {
  const Link link(table.source);
  require(link.connected(), "connecting to " + table.source);
  link.execute("DELETE FROM " + table.table);
  SQLLEN count = 0;
  check(SQLRowCount(link.statement(), &count), "SQLRowCount");
  return count;
}

bool run_odbc(const std::string& source, const std::vector<std::string>& statements) {
  const Link link(source);
  if (!link.connected()) return false;
  for (const std::string& each : statements) link.execute(each);
  return true;
}

}  // namespace quarno::bench
