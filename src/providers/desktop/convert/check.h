// Whether every value arrived: a checksum over a table's cells that is the same on both sides, whatever the
// order of the rows.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <string>

#include "providers/desktop/access/database.h"

namespace quarno::desktop::convert {

struct Checksum {
  std::uint64_t rows = 0;
  std::uint64_t sum = 0;

  friend bool operator==(const Checksum&, const Checksum&) = default;
};

/// Told every few thousand rows how many were read.
using RowsRead = std::function<void(std::uint64_t rows)>;

/// Of a table as the old file has it.
Checksum checksum(access::Database& database, const access::Table& table, const RowsRead& told);
/// Of the table of that name and design in the new one.
Checksum checksum(sqlite3* engine, const std::string& table, const access::TableDesign& design,
                  const RowsRead& told);

/// Raises kUnspecified when the engine finds its file damaged or a foreign key broken.
void check_file(sqlite3* engine);

}  // namespace quarno::desktop::convert
