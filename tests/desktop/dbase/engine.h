// A folder of dBASE tables behind a connection to the engine, and what statements on it give, as text.
#pragma once

#include <sqlite3.h>

#include <charconv>
#include <cstring>
#include <string>
#include <utility>

#include "common/error.h"
#include "common/text.h"
#include "providers/desktop/dbase/folder.h"

namespace quarno::test {

class Engine {
 public:
  explicit Engine(const std::string& folder, desktop::dbase::Folder::Settings settings = {})
      : folder_(folder, settings) {
    sqlite3_open_v2(":memory:", &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    sqlite3_create_collation(database_, "JET", SQLITE_UTF8, nullptr, compare);
    folder_.set_patience_ms(0);
  }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  ~Engine() { sqlite3_close_v2(database_); }

  /// Cells joined by "|", rows by ";"; "!" and the message for a failure. Tables are brought when they are
  /// named.
  std::string run(const std::string& statement) {
    try {
      sqlite3_stmt* prepared = nullptr;
      while (sqlite3_prepare_v2(database_, statement.c_str(), -1, &prepared, nullptr) != SQLITE_OK) {
        const std::string message = sqlite3_errmsg(database_);
        const std::string missing = "no such table: ";
        const bool brought =
            message.starts_with(missing) && folder_.bring(database_, message.substr(missing.size()), {});
        if (!brought) return "!" + message;
      }
      const std::string result = rows(prepared);
      sqlite3_finalize(prepared);
      return result;
    } catch (const Error& error) {
      return "!" + error.description;
    }
  }
  std::string create(const std::string& name, const std::vector<desktop::NewColumn>& columns) {
    return refused([&] { folder_.create(database_, name, columns); });
  }
  std::string drop(const std::string& name) {
    return refused([&] { folder_.drop(database_, name); });
  }
  desktop::dbase::Folder& folder() { return folder_; }
  sqlite3* database() { return database_; }

  std::string rows(sqlite3_stmt* statement) {
    std::string text;
    int result = SQLITE_ROW;
    for (; (result = sqlite3_step(statement)) == SQLITE_ROW; text += ";") {
      for (int i = 0; i < sqlite3_column_count(statement); ++i)
        text += (i > 0 ? "|" : "") + cell(statement, i);
    }
    if (result != SQLITE_DONE) text += std::string("!") + sqlite3_errmsg(database_);
    if (text.ends_with(";")) text.pop_back();
    return text;
  }
  static std::string cell(sqlite3_stmt* statement, int index) {
    char buffer[40];
    switch (sqlite3_column_type(statement, index)) {
      case SQLITE_NULL: return "\\N";
      case SQLITE_FLOAT:
        return {buffer,
                std::to_chars(buffer, buffer + sizeof buffer, sqlite3_column_double(statement, index)).ptr};
      default:
        return {static_cast<const char*>(sqlite3_column_blob(statement, index)),
                static_cast<std::size_t>(sqlite3_column_bytes(statement, index))};
    }
  }

 private:
  static int compare(void*, int size_a, const void* a, int size_b, const void* b) {
    return sqlite3_strnicmp(static_cast<const char*>(a), static_cast<const char*>(b),
                            std::min(size_a, size_b)) != 0
               ? sqlite3_strnicmp(static_cast<const char*>(a), static_cast<const char*>(b),
                                  std::min(size_a, size_b))
               : size_a - size_b;
  }
  template <class Work>
  static std::string refused(Work&& work) {
    try {
      work();
      return {};
    } catch (const Error& error) {
      return "!" + error.description;
    }
  }

  desktop::dbase::Folder folder_;
  sqlite3* database_ = nullptr;
};

}  // namespace quarno::test
