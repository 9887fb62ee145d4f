// Expressions evaluated by an engine connection that has the functions.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

#include "platform/fake/fakes.h"
#include "providers/desktop/functions/functions.h"

namespace quarno::desktop::test {

/// An English locale with the day first, and a clock that stands at 5 January 2015, 14:07:33.
class Engine {
 public:
  explicit Engine(LocaleInfo info = {})
      : locale_(std::move(info)), locale_port_(locale_), clock_port_(clock_) {
    EXPECT_EQ(sqlite3_open(":memory:", &database_), SQLITE_OK);
    register_functions(database_);
  }
  ~Engine() { sqlite3_close(database_); }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  /// The first column of all rows as literals of the language with ";" between them, or "!" and the error's
  /// text.
  std::string rows(const std::string& statement) {
    sqlite3_stmt* prepared = nullptr;
    std::string result;
    int status = sqlite3_prepare_v2(database_, statement.c_str(), -1, &prepared, nullptr);
    while (status == SQLITE_OK && (status = sqlite3_step(prepared)) == SQLITE_ROW) {
      result.append(result.empty() ? "" : ";").append(literal(sqlite3_column_value(prepared, 0)));
      status = SQLITE_OK;
    }
    if (status != SQLITE_DONE) result = std::string("!") + sqlite3_errmsg(database_);
    sqlite3_finalize(prepared);
    return result;
  }
  std::string value(const std::string& expression) { return rows("SELECT " + expression); }

 private:
  static std::string literal(sqlite3_value* value) {
    const int type = sqlite3_value_type(value);
    const auto* const data = reinterpret_cast<const char*>(sqlite3_value_text(value));
    const std::string text(data == nullptr ? "" : data, static_cast<std::size_t>(sqlite3_value_bytes(value)));
    return type == SQLITE_NULL   ? "null"
           : type == SQLITE_TEXT ? "'" + text + "'"
           : type == SQLITE_BLOB ? "x" + text
                                 : text;
  }

  platform::fake::FixedLocale locale_;
  platform::fake::FixedClock clock_{CivilTime{2015, 1, 5, 14, 7, 33}};
  platform::ScopedPort<platform::Locale> locale_port_;
  platform::ScopedPort<platform::Clock> clock_port_;
  sqlite3* database_ = nullptr;
};

struct Row {
  const char* expression;
  const char* expected;
};

template <std::size_t N>
void check(Engine& engine, const Row (&rows)[N]) {
  for (const Row& row : rows) EXPECT_EQ(engine.value(row.expression), row.expected) << row.expression;
}

}  // namespace quarno::desktop::test
