// What a function makes of the values of a column.
#pragma once

#include <cstddef>

#include "ado/provider.h"
#include "ado/shape/shape_text.h"
#include "common/exact_sum.h"
#include "common/variant.h"

namespace quarno::ado::shape {

/// The column that holds results. COUNT gives 32-bit integers; MIN, MAX and ANY the column's own type; STDEV
/// doubles; SUM and AVG currency of currency, exact numbers of exact numbers and of 64-bit integers, else
/// doubles. Raises -2147217900 when the function cannot be had of such a column. `of` is null for the rows
/// themselves.
Column result_column(Function function, const Column* of);

/// Takes values one by one; null is not among them.
class Aggregate {
 public:
  /// As result_column() gave it.
  Aggregate(Function function, DataType result) : function_(function), result_(result) {}

  void add(const Variant& value);
  /// Counts a row of which no value is asked.
  void add_row() { ++count_; }
  /// Null of no values, but for COUNT; STDEV, which is that of a sample, is null of less than two.
  Variant result() const;

 private:
  void add_real(double number);
  double real_result() const;
  Variant exact_result() const;

  Function function_;
  DataType result_;
  std::int64_t count_ = 0;
  Variant chosen_ = Variant::null();  // of MIN, MAX and ANY
  double sum_ = 0;
  double lost_ = 0;  // of it, by rounding
  double mean_ = 0;
  double squares_ = 0;  // of the distances from the mean
  ExactSum exact_;
  int scale_ = 0;  // the most decimals of a value
};

}  // namespace quarno::ado::shape
