// Which records of a table may hold given values in given columns, for joins, which seek one row after the
// other. Made when a statement seeks the second time in the same state of the table, forgotten when that
// changes. Takes eight bytes for each record that has the values.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "providers/desktop/dbase/layout.h"

namespace quarno::desktop::dbase {

class TableFile;

class Lookup {
 public:
  struct Entry {
    std::uint32_t hash;
    std::uint32_t record;
    // NOLINTNEXTLINE(modernize-use-nullptr): what the compiler makes of it is not ours to write
    friend auto operator<=>(const Entry&, const Entry&) = default;
  };

  Lookup(TableFile& file, const std::vector<std::size_t>& columns);
  /// In the order of the file. The values still have to be compared.
  std::span<const Entry> find(std::uint32_t hash) const;

 private:
  std::vector<Entry> entries_;  // ascending
};

/// Whether records can be sought by a field's value: as equal texts count those that differ in letter case.
bool can_be_sought(const Field& field);

/// What is sought: no record can hold it, nobody knows without reading them all, or the hash of the values.
struct Sought {
  enum class Is : std::uint8_t { nowhere, anywhere, hashed };
  Is is = Is::hashed;
  std::uint32_t hash = 0;
};
Sought sought(const Layout& layout, const std::vector<std::size_t>& columns, sqlite3_value** values);

/// The lookups of one table.
class Lookups {
 public:
  /// Null while reading the whole table costs less, or a lookup would take too much memory.
  std::shared_ptr<const Lookup> for_columns(TableFile& file, const std::vector<std::size_t>& columns);

 private:
  struct Known {
    std::vector<std::size_t> columns;
    std::shared_ptr<const Lookup> lookup;
  };

  std::uint64_t state_ = 0;  // of the table
  std::vector<Known> known_;
};

}  // namespace quarno::desktop::dbase
