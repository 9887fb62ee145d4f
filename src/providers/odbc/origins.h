// Where the columns of a query come from, for servers whose driver does not tell: asked of the server itself,
// before the query runs.
#pragma once

#include <string>
#include <vector>

#include "providers/odbc/dbms.h"
#include "providers/odbc/described_column.h"
#include "providers/odbc/handles.h"

namespace quarno::odbc {

struct Origin {
  bool hidden = false;  // a key column that the query itself does not have
  std::string schema;
  std::string table;
  std::string column;
  bool numbered = false;
  bool key = false;
  bool updatable = false;
};

/// In the order of the result; none when the server does not know.
std::vector<Origin> origins_of(const std::shared_ptr<Link>& link, const Dbms& dbms,
                               const std::string& statement);

/// Gives the columns their tables. Those of another schema than `home` stay as they are: their bare name
/// would mean another table. A key counts when the result has all of its columns.
void give_origins(std::vector<DescribedColumn>& columns, const std::vector<Origin>& origins,
                  const std::string& home);

}  // namespace quarno::odbc
