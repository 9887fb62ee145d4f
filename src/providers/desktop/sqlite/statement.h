// Owners of the engine's handles.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

#include "providers/sqlite_deadline.h"

namespace quarno::desktop::sqlite {

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

/// A value of the current row as text; empty for null.
inline std::string column_text(sqlite3_stmt* statement, int index) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, index));
  return {text == nullptr ? "" : text, static_cast<std::size_t>(sqlite3_column_bytes(statement, index))};
}

}  // namespace quarno::desktop::sqlite
