// Texts by which rows are found, filtered and sorted. Pure: a criterion is read once for a result's columns
// and then asked for values.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ado/provider.h"
#include "common/variant.h"

namespace quarno::ado {

enum class Comparison : std::uint8_t { equal, not_equal, less, less_equal, greater, greater_equal, like };

/// "column op value". The value has the column's own type; null asks whether there is a value at all.
struct Clause {
  std::size_t column = 0;
  Comparison comparison = Comparison::equal;
  Variant value;
};

/// Clauses joined with AND, several such groups joined with OR.
struct Criteria {
  std::vector<std::vector<Clause>> groups;
};

/// Position of a column or a negative number.
using FindColumn = std::function<std::int32_t(std::string_view)>;

/// One clause: column (in [..] when its name is not plain), one of = <> < <= > >= LIKE, and a value: 'text',
/// #date# (month first), a number, True, False or Null. LIKE takes "*" or "%" at the end or at both ends.
/// Raises 3001 for anything else and 3265 for a column that is not there.
Clause parse_clause(std::string_view text, std::span<const Column> columns, const FindColumn& find);

/// Clauses with AND and OR, parentheses around groups; in '..' two apostrophes stand for one. An OR inside a
/// group that is joined with AND is refused: 3001.
Criteria parse_criteria(std::string_view text, std::span<const Column> columns, const FindColumn& find);

struct SortKey {
  std::size_t column = 0;
  bool descending = false;
};
/// "a ASC, [b c] DESC".
std::vector<SortKey> parse_sort(std::string_view text, const FindColumn& find);

/// How two values of one column are ordered: negative, 0 or positive. Null is before everything; texts are
/// compared without their letter case.
int compare_values(const Variant& a, const Variant& b);

bool matches(const Clause& clause, const Variant& value);
/// `value_of` gives the row's value of a column.
bool matches(const Criteria& criteria, const std::function<Variant(std::size_t)>& value_of);

}  // namespace quarno::ado
