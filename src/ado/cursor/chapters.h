// A column whose value in a row is the rows of another result that belong to it. All rows of the column lie
// in one row set, where such a recordset shows its own, so that an edit is one of the child's. Used on the
// thread of the connection.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "common/variant.h"

namespace quarno::ado {

class RowSet;

/// How the chapters of a column come from one result.
struct ChapterRelation {
  std::shared_ptr<RowSet> child;
  std::vector<std::pair<std::size_t, std::size_t>> columns;  // of parent and child, whose values are equal
  bool is_computed = false;                                  // the parent's rows are groups of the child's
};

class Chapters {
 public:
  virtual ~Chapters() = default;
  /// The row set that a parent's row finds its rows in; null where none was read. One that is asked for row
  /// by row is read now.
  virtual std::shared_ptr<RowSet> rows(const RowSet& parent, std::size_t parent_row) = 0;
  /// Which rows of it are the parent row's own, in their order.
  virtual std::vector<std::size_t> members(std::size_t parent_row) const = 0;
  /// A row that was added among them belongs to them.
  virtual void add(std::size_t parent_row, std::size_t row) = 0;
  /// Columns of the child, each with the value that a row added for the parent's row has in it.
  virtual std::vector<std::pair<std::size_t, Variant>> presets(const RowSet& parent,
                                                               std::size_t parent_row) const = 0;
  /// Nothing where they are read row by row.
  virtual std::optional<ChapterRelation> relation() const { return std::nullopt; }
};

}  // namespace quarno::ado
