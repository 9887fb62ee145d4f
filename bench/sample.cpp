#include "sample.h"

#include <sqlite3.h>

#include <memory>

#include "measure.h"

namespace quarno::bench {
namespace {

void run_on_file(const std::string& path, const std::string& statements) {
  sqlite3* database = nullptr;
  require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "opening " + path);
  const std::unique_ptr<sqlite3, int (*)(sqlite3*)> closed(database, sqlite3_close);
  require(sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
          "filling " + path);
}

std::string counted(long rows) {
  return "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < " + std::to_string(rows) +
         ") ";
}

// How a table is declared everywhere but for the type of its moments.
std::string declared(const std::string& table, const std::string& moment) {
  return "CREATE TABLE " + table + " (id INTEGER PRIMARY KEY, station VARCHAR(10), code VARCHAR(10), day " +
         moment + ", hour VARCHAR(5), value DOUBLE PRECISION, status VARCHAR(3), state INTEGER)";
}

}  // namespace

std::vector<Row> sample_rows(long rows) {
  const char* const codes[] = {"NOX", "SO2", "DUST", "CO"};
  std::vector<Row> result;
  for (std::int32_t x = 1; x <= rows; ++x) {
    const Date day{42005.0 + x / 24.0};
    const std::string hour = std::to_string(x % 24 + 100).substr(1) + ".00";
    result.push_back({x, "E" + std::to_string(x % 12), codes[x % 4], day, civil_from_date(day), hour,
                      x * 0.731, "VAL", x % 3});
  }
  return result;
}

Checksum sum_of(const std::vector<Row>& rows) {
  Checksum sum;
  for (const Row& row : rows) {
    sum.whole(row.id);
    for (const std::string* text : {&row.station, &row.code, &row.hour, &row.status}) sum.text(*text);
    sum.moment(row.day.days);
    sum.real(row.value);
    sum.whole(row.state);
  }
  return sum;
}

void fill_file(const std::string& path, const std::string& table, long rows, Dates dates) {
  const char* const types[] = {"DATETIME", "DOUBLE PRECISION", "TIMESTAMP"};
  const std::string moment =
      dates == Dates::text ? "datetime('2015-01-01', '+' || x || ' hours')" : "42005.0 + x / 24.0";
  run_on_file(path,
              declared(table, types[static_cast<int>(dates)]) + ";" + "INSERT INTO " + table + " " +
                  counted(rows) +
                  "SELECT x, 'E' || (x % 12), CASE x % 4 WHEN 0 THEN 'NOX' WHEN 1 THEN 'SO2' WHEN 2 THEN "
                  "'DUST' ELSE 'CO' END, " +
                  moment + ", printf('%02d.00', x % 24), x * 0.731, 'VAL', x % 3 FROM c");
}

void fill_narrow_file(const std::string& path, long rows) {
  run_on_file(path,
              "CREATE TABLE n (id INTEGER PRIMARY KEY, value DOUBLE, code VARCHAR(10)); INSERT INTO n " +
                  counted(rows) + "SELECT x, x * 0.731, 'TEXT' FROM c");
}

std::string mariadb_table(const std::string& table) { return declared(table, "DATETIME"); }

std::string mariadb_rows(const std::string& table, long rows) {
  return "INSERT INTO " + table +
         " SELECT seq, CONCAT('E', seq % 12), ELT(seq % 4 + 1, 'NOX', 'SO2', 'DUST', 'CO'), "
         "'2015-01-01' + INTERVAL seq HOUR, CONCAT(LPAD(seq % 24, 2, '0'), '.00'), seq * 0.731e0, 'VAL', seq "
         "% 3 "
         "FROM seq_1_to_" +
         std::to_string(rows);
}

std::string postgresql_table(const std::string& table) { return declared(table, "TIMESTAMP"); }

std::string postgresql_rows(const std::string& table, long rows) {
  return "INSERT INTO " + table +
         " SELECT x, 'E' || (x % 12), (ARRAY['NOX', 'SO2', 'DUST', 'CO'])[x % 4 + 1], TIMESTAMP '2015-01-01' "
         "+ x * "
         "INTERVAL '1 hour', LPAD((x % 24)::text, 2, '0') || '.00', x * 0.731::float8, 'VAL', x % 3 FROM "
         "generate_series(1, " +
         std::to_string(rows) + ") x";
}

}  // namespace quarno::bench
