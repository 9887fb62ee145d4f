// Reads all there is in an Access file.
#pragma once

#include <string>
#include <utility>

#include "common/error.h"
#include "common/text.h"
#include "providers/desktop/access/database.h"
#include "support/memory_file.h"

namespace quarno::test {

/// Whether a text is what every text of the library has to be.
inline bool is_utf8(std::string_view utf8) {
  for (std::size_t at = 0; at < utf8.size();) {
    if (text::next_character(utf8, at) == text::kInvalid) return false;
  }
  return true;
}

/// False when the file was refused as a whole; a refused table is passed over.
inline bool read_access_file(std::string bytes) try {
  using namespace desktop::access;
  const auto database = Database::open(std::make_unique<MemoryFile>(std::move(bytes)), "damaged.mdb", {});
  for (const Table& table : database->tables()) {
    try {
      const std::size_t columns = database->design(table).columns.size();
      for (TableRows rows = database->rows(table); rows.next();) {
        for (std::size_t i = 0; i < columns; ++i) {
          const Cell cell = rows.cell(i);
          if (cell.kind == Cell::Kind::text && !is_utf8(cell.text)) __builtin_trap();
        }
      }
    } catch (const Error&) {
      continue;
    }
  }
  for (const auto read : {+[](Database& file) { static_cast<void>(file.queries()); },
                          +[](Database& file) { static_cast<void>(file.relations()); }}) {
    try {
      read(*database);
    } catch (const Error&) {
      continue;
    }
  }
  return true;
} catch (const Error&) {
  return false;
}

}  // namespace quarno::test
