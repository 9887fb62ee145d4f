// The contenders that call the embedded engine's C interface themselves.
#include <sqlite3.h>

#include <string>

#include "contenders.h"
#include "sample.h"

namespace quarno::bench {

// What a program of its own would do: every column taken as its type, texts copied.
Checksum read_file_engine(const std::string& path) {
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "opening the file");
  require(sqlite3_prepare_v2(database, select_all("m").c_str(), -1, &statement, nullptr) == SQLITE_OK,
          "preparing");
  Checksum sum;
  std::string text;
  const auto copied = [&](int column) {
    text.assign(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)),
                static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
    sum.text(text);
  };
  while (sqlite3_step(statement) == SQLITE_ROW) {
    sum.whole(sqlite3_column_int64(statement, 0));
    copied(1);
    copied(2);
    sum.moment(sqlite3_column_double(statement, 3));
    copied(4);
    sum.real(sqlite3_column_double(statement, 5));
    copied(6);
    sum.whole(sqlite3_column_int(statement, 7));
  }
  sqlite3_finalize(statement);
  sqlite3_close(database);
  return sum;
}

// One prepared statement, texts bound where they are.
void write_file_engine(const std::string& path, const std::vector<Row>& rows) {
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "opening the file");
  const auto run = [&](const char* text) {
    require(sqlite3_exec(database, text, nullptr, nullptr, nullptr) == SQLITE_OK, text);
  };
  run("BEGIN IMMEDIATE");
  require(sqlite3_prepare_v2(database, insert_into("m").c_str(), -1, &statement, nullptr) == SQLITE_OK,
          "preparing");
  const auto bind = [&](int column, const std::string& text) {
    sqlite3_bind_text(statement, column, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  };
  for (const Row& row : rows) {
    sqlite3_bind_int(statement, 1, row.id);
    bind(2, row.station);
    bind(3, row.code);
    sqlite3_bind_double(statement, 4, row.day.days);
    bind(5, row.hour);
    sqlite3_bind_double(statement, 6, row.value);
    bind(7, row.status);
    sqlite3_bind_int(statement, 8, row.state);
    require(sqlite3_step(statement) == SQLITE_DONE, "inserting");
    sqlite3_reset(statement);
  }
  sqlite3_finalize(statement);
  run("COMMIT");
  sqlite3_close(database);
}

std::int64_t empty_file(const std::string& path) {
  sqlite3* database = nullptr;
  require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "opening the file");
  require(sqlite3_exec(database, "DELETE FROM m", nullptr, nullptr, nullptr) == SQLITE_OK, "emptying");
  const std::int64_t count = sqlite3_changes64(database);
  sqlite3_close(database);
  return count;
}

}  // namespace quarno::bench
