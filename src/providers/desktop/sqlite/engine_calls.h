// Statements in the engine's own words, where nothing of a host's has to be minded.
#pragma once

#include <sqlite3.h>

#include <string>
#include <string_view>

#include "providers/desktop/sqlite/sqlite_error.h"
#include "providers/desktop/sqlite/statement.h"

namespace quarno::desktop::sqlite {

/// `flags` say how: SQLITE_OPEN_READONLY or SQLITE_OPEN_READWRITE. One thread uses it, so the engine's own
/// locks are left out.
inline Database open_database(const std::string& path, int flags) {
  sqlite3* raw = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &raw, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  Database database(raw);
  if (result != SQLITE_OK) throw engine_error(raw, {});
  sqlite3_extended_result_codes(raw, 1);
  return database;
}

inline Statement prepare(sqlite3* engine, std::string_view text) {
  sqlite3_stmt* raw = nullptr;
  const int result = sqlite3_prepare_v2(engine, text.data(), static_cast<int>(text.size()), &raw, nullptr);
  Statement statement(raw);
  if (result != SQLITE_OK) throw engine_error(engine, text);
  return statement;
}

/// Whether there is a row.
inline bool step(sqlite3* engine, const Statement& statement) {
  const int result = sqlite3_step(statement.get());
  if (result != SQLITE_ROW && result != SQLITE_DONE) {
    const char* const text = sqlite3_sql(statement.get());
    throw engine_error(engine, text == nullptr ? "" : text);
  }
  return result == SQLITE_ROW;
}

/// The value has to live until the statement was stepped.
inline void bind_text(const Statement& statement, int index, std::string_view value) {
  sqlite3_bind_text64(statement.get(), index, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8);
}

inline void run(sqlite3* engine, std::string_view text) { step(engine, prepare(engine, text)); }

/// A name as the engine reads it.
inline std::string quoted(std::string_view name) {
  std::string result = "\"";
  for (const char c : name) result.append(c == '"' ? 2 : 1, c);
  return result + '"';
}

}  // namespace quarno::desktop::sqlite
