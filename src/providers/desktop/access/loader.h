// A table of an Access file, copied into the engine with its keys and indexes.
#pragma once

#include <sqlite3.h>

#include <functional>
#include <string>
#include <vector>

#include "providers/desktop/access/database.h"
#include "providers/desktop/table_source.h"

namespace quarno::desktop::access {

/// How the engine's table is to differ.
struct LoadAs {
  std::string collation = "JET";  // of text columns; the engine's connection needs it
  /// What stands at the end of each column: " DEFAULT 0". None, or one for each column.
  std::vector<std::string> column_clauses = {};
  /// Told every few thousand rows how many there are.
  std::function<void(std::uint64_t rows)> progress = {};
  bool rows = true;  // false: the table stays empty
};

/// What became of a table.
struct Loaded {
  std::uint64_t rows = 0;
  Damage damage;
  // Claims of the table that its data contradict, and that were left out.
  bool key_is_lost = false;
  std::vector<std::string> nullable;    // columns that were not to be null
  std::vector<std::string> not_unique;  // indexes
};

/// Makes a table of the same name and fills it. All or nothing: when this raises, the table is not there.
///
/// An autonumber becomes the engine's own; else the primary key becomes the table's key; else it is an index.
/// Indexes are called "Table.Index", because the engine's names hold for the whole database. What the data
/// contradict (two rows with the same key, a null where none may be) is left out, never a row: such a key
/// becomes an index that is not unique.
///
/// NaN becomes null, which the engine has in its place. Damaged rows raise kUnspecified, unless the
/// database's options say to go on without them. `go_on` is asked every few thousand rows; false raises
/// kTimeoutExpired.
Loaded bring_table(sqlite3* engine, Database& database, const Table& table, const GoOn& go_on,
                   const LoadAs& as = {});

}  // namespace quarno::desktop::access
