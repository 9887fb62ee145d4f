// The columns of a result: what the driver says of them, as the object model shows it, and how they are read.
#pragma once

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "ado/provider.h"
#include "providers/odbc/dbms.h"
#include "providers/odbc/handles.h"

namespace quarno::odbc {

/// In which form a value is taken from the driver.
enum class Form : std::uint8_t {
  bit,
  small,    // a whole number of up to 32 bits
  integer,  // of up to 64
  number,   // whole as a rule, but anything may stand there
  real,
  exact,
  date,
  time,
  timestamp,
  date_text,
  guid,
  text,
  bytes
};

struct DescribedColumn {
  ado::Column column;
  Form form = Form::text;
  std::int64_t width = 0;  // bytes of a buffer that holds any value, 0 when there is no telling
};

/// A table as a driver names it.
struct BaseTable {
  std::string catalog;
  std::string schema;
  std::string name;
  friend bool operator<(const BaseTable& a, const BaseTable& b) {
    return std::tie(a.catalog, a.schema, a.name) < std::tie(b.catalog, b.schema, b.name);
  }
};

/// What the session knows of the table: whether its bare name means it, and its key.
struct TableFacts {
  bool reachable = false;
  std::vector<std::string> key;
  std::vector<std::string> columns;  // only where base columns have to be checked
};
using FindTable = std::function<const TableFacts&(const BaseTable&)>;

/// The columns of the result that `text` opened. `find_table` is empty where origins are not to be had: the
/// rows cannot be changed then.
std::vector<DescribedColumn> described_columns(const Statement& statement, const std::string& text,
                                               const Dbms& dbms, const FindTable& find_table);

}  // namespace quarno::odbc
