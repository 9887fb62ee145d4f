// Whether SQLite's answers on where the columns of a query come from can be trusted.
#pragma once

#include <sqlite3.h>

#include <set>
#include <string>
#include <string_view>

namespace quarno::providers {

/// Whether a row of the query can come from one of several SELECTs (UNION and the like, also in a view): the
/// engine names the first one's tables for all rows. Those that only give values to compare with do not
/// count.
inline bool mixes_rows(sqlite3* database, const std::string& query) {
  const std::string plan = "EXPLAIN QUERY PLAN " + query;
  sqlite3_stmt* statement = nullptr;
  // A query that is wrong says so when it runs.
  if (sqlite3_prepare_v2(database, plan.c_str(), -1, &statement, nullptr) != SQLITE_OK) return false;
  std::set<int> compared;  // steps that belong to a query within an expression
  bool mixes = false;
  while (!mixes && sqlite3_step(statement) == SQLITE_ROW) {
    const int step = sqlite3_column_int(statement, 0);
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 3));
    const std::string_view detail = text == nullptr ? "" : text;
    const bool in_expression = detail.starts_with("LIST SUBQUERY") || detail.starts_with("SCALAR SUBQUERY") ||
                               detail.starts_with("CORRELATED ");
    if (in_expression || compared.contains(sqlite3_column_int(statement, 1))) {
      compared.insert(step);
    } else {
      mixes = detail.starts_with("COMPOUND QUERY") || detail.starts_with("MERGE (");
    }
  }
  sqlite3_finalize(statement);
  return mixes;
}

}  // namespace quarno::providers
