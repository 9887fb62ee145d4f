// Owners of the engine's handles.
#pragma once

#include <sqlite3.h>

#include <memory>

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

}  // namespace quarno::desktop::sqlite
