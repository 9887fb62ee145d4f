#include "providers/odbc/origins.h"

#include <algorithm>
#include <array>

#include "common/text.h"

namespace quarno::odbc {

std::vector<Origin> origins_of(const std::shared_ptr<Link>& link, const Dbms& dbms,
                               const std::string& statement) {
  if (dbms.origins_begin.empty()) return {};
  const std::string query = std::string(dbms.origins_begin) + text::replace_all(statement, "'", "''") +
                            std::string(dbms.origins_end);
  const Statement own(link);
  std::vector<Origin> result;
  // A server that has no such function, or can say nothing of this query: its rows cannot be changed.
  if (!SQL_SUCCEEDED(SQLExecDirect(own.get(), odbc_text(query), SQL_NTS))) return {};
  while (SQL_SUCCEEDED(SQLFetch(own.get()))) {
    std::array<std::string, 7> values;
    for (std::size_t i = 0; i < values.size(); ++i)
      values[i] = text_at(own, static_cast<SQLUSMALLINT>(i + 1));
    const auto& [hidden, schema, table, column, numbered, key, updatable] = values;
    result.push_back({hidden == "1", schema, table, column, numbered == "1", key == "1", updatable == "1"});
  }
  return result;
}

void give_origins(std::vector<DescribedColumn>& columns, const std::vector<Origin>& origins,
                  const std::string& home) {
  const auto visible =
      std::count_if(origins.begin(), origins.end(), [](const Origin& o) { return !o.hidden; });
  if (static_cast<std::size_t>(visible) != columns.size()) return;
  const auto lacks_key_column = [&](const Origin& origin) {
    return std::any_of(origins.begin(), origins.end(), [&](const Origin& other) {
      return other.hidden && other.table == origin.table && other.schema == origin.schema;
    });
  };
  auto next = columns.begin();
  for (const Origin& origin : origins) {
    if (origin.hidden) continue;
    ado::Column& column = (next++)->column;
    if (origin.table.empty() || origin.column.empty() || origin.schema != home) continue;
    column.base_table = origin.table;
    column.base_column = origin.column;
    column.auto_increment = origin.numbered;
    if (origin.updatable) column.attributes |= ado::adFldUpdatable;
    column.key = origin.key && !lacks_key_column(origin);
    if (column.key) column.attributes |= ado::adFldKeyColumn;
  }
}

}  // namespace quarno::odbc
