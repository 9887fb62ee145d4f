// One call of a function by the engine: its arguments by the run time's rules, and the frame that keeps
// exceptions away from the engine's C code. Lives for the call, on the engine's thread.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <span>
#include <string>

#include "common/error.h"
#include "common/variant.h"

namespace quarno::desktop {

/// What the engine hands over as the library's value: whole numbers as int64, numbers as double, the digits
/// of an exact number as Decimal.
Variant value_of(sqlite3_value* value);

/// Raises 6 for a number that is none; booleans become 0 and -1, exact numbers of more than 15 digits a blob.
void give(sqlite3_context* context, const Variant& value);

/// The engine's text without a copy; only of a value whose storage class is text.
std::string_view text_view(sqlite3_value* value);

/// A text longer than this is no answer but a mistake in the count that was asked for.
inline constexpr std::size_t kLongestText = std::size_t{64} << 20;

/// "Invalid procedure call or argument"
[[noreturn]] inline void refuse() { throw run_time_error(RunTime::invalid_call); }

class Arguments {
 public:
  Arguments(int count, sqlite3_value** values) : values_(values, static_cast<std::size_t>(count)) {}

  std::size_t count() const { return values_.size(); }
  sqlite3_value* raw(std::size_t i) const { return values_[i]; }
  bool is_null(std::size_t i) const { return sqlite3_value_type(values_[i]) == SQLITE_NULL; }
  bool is_text(std::size_t i) const { return sqlite3_value_type(values_[i]) == SQLITE_TEXT; }
  bool any_null() const;
  Variant value(std::size_t i) const { return value_of(values_[i]); }

  // Conversions; null raises 94.
  std::string text(std::size_t i) const;
  double number(std::size_t i) const;
  Date date(std::size_t i) const;
  std::int32_t whole(std::size_t i) const;  // half to even
  bool truth(std::size_t i) const;

  /// A whole number that may be left out.
  std::int32_t whole_or(std::size_t i, std::int32_t otherwise) const {
    return i < count() ? whole(i) : otherwise;
  }
  /// Whether letter case counts, from an argument that may be left out: 0 binary, 1 and 2 text.
  bool minds_case(std::size_t i) const;

 private:
  std::span<sqlite3_value*> values_;
};

/// Tells the engine of the exception being handled.
void give_error(sqlite3_context* context) noexcept;

using Body = Variant (*)(const Arguments&);

template <Body body>
void entry(sqlite3_context* context, int count, sqlite3_value** values) noexcept {
  try {
    give(context, body(Arguments(count, values)));
  } catch (...) {
    give_error(context);
  }
}

/// A row of a topic's table. `most` below 0 takes any number of arguments from `fewest` on.
struct Function {
  const char* name;
  int fewest;
  int most;
  void (*call)(sqlite3_context*, int, sqlite3_value**);
};

std::span<const Function> choice_functions();
std::span<const Function> conversion_functions();
std::span<const Function> date_functions();
std::span<const Function> format_functions();
std::span<const Function> number_functions();
std::span<const Function> operator_functions();
std::span<const Function> text_functions();
void register_aggregates(sqlite3* database);
void register_like(sqlite3* database);
void register_random(sqlite3* database);

/// Raises error 7 when the engine refused.
void expect_ok(int result);

}  // namespace quarno::desktop
