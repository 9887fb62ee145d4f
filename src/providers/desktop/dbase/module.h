// A table of a folder as a table of the engine, read and written in place.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

#include "providers/desktop/dbase/table_file.h"

namespace quarno::desktop::dbase {

/// From now on statements find the table under this name. Nothing is written to the engine's schema, so that
/// neither a rollback nor another connection takes the table away.
void bring_table(sqlite3* database, const std::string& name, std::shared_ptr<TableFile> table);

/// Statements that were prepared before are prepared anew when they run.
void forget_table(sqlite3* database, const std::string& name);

}  // namespace quarno::desktop::dbase
