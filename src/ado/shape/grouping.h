// Rows that belong together, by the values of their columns. Values are the same when they are equal by
// value, whatever the types of the numbers; texts to the letter, but for the blanks that fill a column of
// fixed length. One pass over the rows, a row number for each and no value kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ado/cursor/column_store.h"
#include "ado/provider.h"

namespace quarno::ado::shape {

/// Row numbers by group, in their order.
class Groups {
 public:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  Groups() : starts_(1, 0) {}
  /// `group_of` gives each row's group or kNone.
  Groups(std::span<const std::uint32_t> group_of, std::size_t count);

  std::size_t count() const { return starts_.size() - 1; }
  std::span<const std::uint32_t> rows(std::size_t group) const {
    return std::span(rows_).subspan(starts_[group], starts_[group + 1] - starts_[group]);
  }

 private:
  std::vector<std::uint32_t> starts_;  // one more than there are groups
  std::vector<std::uint32_t> rows_;
};

/// Columns of one result, in the order in which they are compared with another's.
struct Keys {
  const ColumnStore& store;
  std::span<const Column> columns;
  std::vector<std::size_t> chosen;
};

/// Children by the parents they belong to.
struct Join {
  std::vector<std::uint32_t> group_of_parent;  // parents with the same values share a group; kNone for a null
  Groups children;
};
/// All columns of a row must be equal; null is equal to nothing. As many columns on both sides. Raises
/// -2147217900 for columns whose values cannot be compared.
Join join(const Keys& parents, const Keys& children);

/// One group for each combination of values, in the order in which they come; nulls are alike.
Groups grouped(const Keys& keys);

}  // namespace quarno::ado::shape
