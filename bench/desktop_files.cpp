#include "desktop_files.h"

#include <sqlite3.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <vector>

#include "measure.h"
#include "providers/desktop/dbase/layout.h"

namespace quarno::bench {
namespace {

using desktop::dbase::Field;
using desktop::dbase::FieldKind;

constexpr double kFirstDayTaken = 36526;  // 1 January 2000

std::string formed(const char* form, auto value) {
  char text[64];
  return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, form, value))};
}

// A plain database file, filled by one prepared statement.
class Twin {
 public:
  explicit Twin(const std::string& path) {
    require(sqlite3_open(path.c_str(), &database_) == SQLITE_OK, "opening " + path);
    run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; BEGIN");
  }
  ~Twin() {
    sqlite3_finalize(statement_);
    sqlite3_close(database_);
  }
  Twin(const Twin&) = delete;
  Twin& operator=(const Twin&) = delete;

  void run(const std::string& statements) {
    require(sqlite3_exec(database_, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, statements);
  }
  void insert(const std::string& statement) {
    sqlite3_finalize(statement_);
    require(sqlite3_prepare_v2(database_, statement.c_str(), -1, &statement_, nullptr) == SQLITE_OK,
            statement);
  }
  template <class... Values>
  void row(const Values&... values) {
    int column = 0;
    (bind(++column, values), ...);
    require(sqlite3_step(statement_) == SQLITE_DONE, "adding a row");
    sqlite3_reset(statement_);
  }

 private:
  void bind(int column, std::nullptr_t) { sqlite3_bind_null(statement_, column); }
  void bind(int column, std::int64_t value) { sqlite3_bind_int64(statement_, column, value); }
  void bind(int column, double value) { sqlite3_bind_double(statement_, column, value); }
  void bind(int column, const std::string& value) {
    sqlite3_bind_text(statement_, column, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
  }

  sqlite3* database_ = nullptr;
  sqlite3_stmt* statement_ = nullptr;
};

constexpr int kTruth = -1;

}  // namespace

std::string station_name(std::int32_t station) { return formed("Station %02d", station); }
std::string substance_code(std::int32_t substance) { return formed("S%02d", substance); }

Measure measure(long number) {
  const auto n = static_cast<std::int32_t>(number);
  Measure row;
  row.id = n + 1;
  row.station = n % kStations + 1;
  row.substance = n / kStations % kSubstances + 1;
  row.code = formed("C%05d", n % 10000);
  row.remark = formed("taken over from the device in line %d", n % 1000);
  row.taken = kFirstDayTaken + n / 600 + n % 24 / 24.0;
  row.ended = row.taken + 1;
  row.reading = static_cast<double>(std::int64_t{n} * 7919 % 100000) / 8;
  row.threshold = static_cast<float>(n % 500) / 4;
  row.amount = std::int64_t{n % 100000} * 1250;
  row.state = static_cast<std::int16_t>(n % 7 - 3);
  row.valid = n % 2 == 0;
  row.has_note = n % 10 != 0;
  if (!row.has_note) return row;
  row.note = n % 10 == 5 ? std::string(300, 'n') : formed("checked by hand in turn %d", n);
  return row;
}

void make_access_twin(const std::string& path, long rows) {
  Twin twin(path);
  twin.run(
      "CREATE TABLE Measures (Id INTEGER PRIMARY KEY, StationId INTEGER, SubstanceId INTEGER, Code "
      "VARCHAR(10),"
      " Remark VARCHAR(50), Taken DATETIME, Ended DATETIME, Reading DOUBLE, Threshold SINGLE, Amount "
      "CURRENCY,"
      " State SMALLINT, Valid BOOLEAN, Note LONGTEXT);"
      "CREATE TABLE Stations (Id INTEGER PRIMARY KEY, Name VARCHAR(40));"
      "CREATE TABLE Substances (Id INTEGER PRIMARY KEY, Symbol VARCHAR(10))");
  twin.insert("INSERT INTO Measures VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  for (long i = 0; i < rows; ++i) {
    const Measure m = measure(i);
    const auto add = [&](const auto& note) {
      twin.row(std::int64_t{m.id}, std::int64_t{m.station}, std::int64_t{m.substance}, m.code, m.remark,
               m.taken, m.ended, m.reading, double{m.threshold}, static_cast<double>(m.amount) / 10000,
               std::int64_t{m.state}, std::int64_t{m.valid ? kTruth : 0}, note);
    };
    m.has_note ? add(m.note) : add(nullptr);
  }
  twin.insert("INSERT INTO Stations VALUES (?, ?)");
  for (std::int32_t i = 1; i <= kStations; ++i) twin.row(std::int64_t{i}, station_name(i));
  twin.insert("INSERT INTO Substances VALUES (?, ?)");
  for (std::int32_t i = 1; i <= kSubstances; ++i) twin.row(std::int64_t{i}, substance_code(i));
  twin.run(
      "CREATE INDEX OfStation ON Measures (StationId); CREATE INDEX OfSubstance ON Measures (SubstanceId);"
      "COMMIT");
}

void make_dbase_twin(const std::string& path, long rows) {
  Twin twin(path);
  twin.run(
      "CREATE TABLE HOURS (STATION VARCHAR(20), CODE VARCHAR(10), STATUS VARCHAR(3), DAY DATE, READING "
      "DOUBLE,"
      " STATE DOUBLE, VALID BOOLEAN)");
  twin.insert("INSERT INTO HOURS VALUES (?, ?, ?, ?, ?, ?, ?)");
  for (long i = 0; i < rows; ++i) {
    const Measure m = measure(i);
    twin.row(station_name(m.station), m.code, std::string(m.valid ? "VAL" : "ERR"),
             static_cast<double>(static_cast<std::int64_t>(m.taken)), m.reading, static_cast<double>(m.state),
             std::int64_t{m.valid ? kTruth : 0});
  }
  twin.run("COMMIT");
}

void make_dbase_folder(const std::string& folder, long rows) {
  const std::vector<Field> fields = {
      {"STATION", FieldKind::text, 'C', 0, 20, 0},   {"CODE", FieldKind::text, 'C', 0, 10, 0},
      {"STATUS", FieldKind::text, 'C', 0, 3, 0},     {"DAY", FieldKind::date, 'D', 0, 8, 0},
      {"READING", FieldKind::number, 'N', 0, 12, 3}, {"STATE", FieldKind::number, 'N', 0, 6, 0},
      {"VALID", FieldKind::logical, 'L', 0, 1, 0}};
  const CivilTime today = civil_from_date(Date{kFirstDayTaken});
  desktop::dbase::TextForm form(1252);
  std::string header = desktop::dbase::header_text(fields, form.code_page(), today, form);
  const std::string mark = desktop::dbase::change_mark(today, static_cast<std::uint32_t>(rows));
  header.replace(1, mark.size(), mark);
  const std::string path = folder + "/HOURS.DBF";
  std::ofstream file(path, std::ios::binary);
  file << header;
  char record[64];
  for (long i = 0; i < rows; ++i) {
    const Measure m = measure(i);
    const CivilTime day = civil_from_date(Date{m.taken});
    const int size = std::snprintf(record, sizeof record, " %-20s%-10s%-3s%04d%02d%02d%12.3f%6d%c",
                                   station_name(m.station).c_str(), m.code.c_str(), m.valid ? "VAL" : "ERR",
                                   day.year, day.month, day.day, m.reading, m.state, m.valid ? 'T' : 'F');
    require(size == 61, "writing a record");
    file.write(record, size);
  }
  file << desktop::dbase::kEndOfFile;
  require(file.flush().good(), "writing " + path);
}

}  // namespace quarno::bench
