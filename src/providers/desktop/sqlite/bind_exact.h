// How exact numbers reach the engine.
#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <charconv>

#include "common/decimal.h"

namespace quarno::desktop::sqlite {

/// Numbers of up to 15 digits pass through a double unharmed; what has more is kept as its text in a blob,
/// because a column with numeric affinity would turn a text into a double and lose digits.
inline int bind_exact(sqlite3_stmt* statement, int index, const Decimal& value) {
  const std::string digits = value.text();
  const auto count = std::count_if(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (count <= 15) return sqlite3_bind_double(statement, index, value.to_double());
  // Whole numbers go as the engine itself keeps them, so that an index knows them again.
  std::int64_t whole = 0;
  const char* const end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, whole);
  if (read.ec == std::errc() && read.ptr == end) return sqlite3_bind_int64(statement, index, whole);
  return sqlite3_bind_blob64(statement, index, digits.data(), digits.size(), SQLITE_TRANSIENT);
}

}  // namespace quarno::desktop::sqlite
