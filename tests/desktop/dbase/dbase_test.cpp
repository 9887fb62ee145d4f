// dBASE tables as tables of the engine: real files, made ones, and what is refused.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "common/date.h"
#include "desktop/dbase/engine.h"
#include "desktop/dbase/memory_disk.h"
#include "providers/desktop/dbase/layout.h"
#include "providers/desktop/dbase/little_endian.h"
#include "providers/desktop/dbase/values.h"
#include "support/temp_folder.h"

namespace quarno::desktop::dbase {
namespace {

using namespace std::literals;
using test::Engine;
using test::MemoryDisk;

struct FieldRow {
  std::string name;
  char type;
  int width;
  int decimals = 0;
};

// A table file of one's own wording: records as their bytes, with the mark of deletion.
std::string table(const std::vector<FieldRow>& fields, const std::vector<std::string>& records,
                  char version = '\x03', char driver = '\x57', const std::string& end_of_fields = "\x0D",
                  const std::string& end = "\x1A") {
  std::string bytes = {version, 126, 1, 2};
  append_number(bytes, static_cast<std::uint32_t>(records.size()));
  append_number(bytes, static_cast<std::uint16_t>(32 + 32 * fields.size() + end_of_fields.size()));
  append_number(bytes, static_cast<std::uint16_t>(records.empty() ? 2 : records[0].size()));
  bytes.resize(32, '\0');
  bytes[29] = driver;
  for (const FieldRow& field : fields) {
    std::string descriptor = field.name;
    descriptor.resize(11, '\0');
    descriptor +=
        field.type + "\1\2\3\4"s + static_cast<char>(field.width) + static_cast<char>(field.decimals);
    descriptor.resize(32, '\0');
    bytes += descriptor;
  }
  bytes += end_of_fields;
  for (const std::string& record : records) bytes += record;
  return bytes + end;
}

class DbaseTest : public ::testing::Test {
 protected:
  Engine& fresh() {
    engine = std::make_unique<Engine>("f");
    return *engine;
  }
  // One statement after the other; what they give, end to end.
  template <class... Statements>
  std::string run(const Statements&... statements) {
    std::string result;
    ((result += engine->run(statements)), ...);
    return result;
  }

  void two_sessions(const std::string& folder);

  MemoryDisk disk;
  platform::ScopedPort<platform::DataFiles> port{disk};
  std::unique_ptr<Engine> engine;
};

std::string escaped(const std::string& text) {
  std::string result = text;
  for (const auto& [from, to] :
       std::map<std::string, std::string>{{"\n", "\\n"}, {"\r", "\\r"}, {"\t", "\\t"}}) {
    result = text::replace_all(result, from, to);
  }
  return result;
}

std::string truth_cell(sqlite3_stmt* statement, int index) {
  const std::string declared = sqlite3_column_decltype(statement, index);
  std::string cell = Engine::cell(statement, index);
  // The checked contents have no blanks at the end of a long text.
  if (declared == "LONGTEXT") cell.resize(cell.find_last_not_of(' ') + 1);
  if (cell == "\\N") return cell;
  if (declared == "BOOLEAN") return cell == "-1" ? "T" : "F";
  if (declared != "DATE") return escaped(cell);
  const CivilTime day = civil_from_date(Date{sqlite3_column_double(statement, index)});
  return std::to_string(day.year * 10000 + day.month * 100 + day.day);
}

TEST(DbaseRealFiles, ReadAsTheirCheckedContents) {
  const char* const own = std::getenv("QUARNOFWK_SHARED_DATA");
  const auto folder = own != nullptr
                          ? std::filesystem::path(own) / "dbf"
                          : std::filesystem::path(__FILE__).parent_path() / "../../../../shared/data/dbf";
  if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no real files in " << folder;
  // clang-format off
  const std::pair<const char*, int> rows[] = {
      {"dbfdatareader_dbase_03.dbf", 12}, {"dbfdatareader_dbase_83.dbf", 67},
      {"phpxbase_cbrf_122019N1.dbf", 442}, {"dbffile_PYACFL.DBF", 15}, {"pyshp_corrupt_too_long.dbf", 10},
  };
  // clang-format on
  for (const auto& [file, row_count] : rows) {
    SCOPED_TRACE(file);
    const bool russian = std::string(file).starts_with("phpxbase");
    Engine engine(folder.string(), {.code_page = russian ? 866 : 1252, .may_write = false});
    const std::string name = std::filesystem::path(file).stem().string();
    ASSERT_TRUE(engine.folder().bring(engine.database(), text::upper(name), {}));
    sqlite3_stmt* statement = nullptr;
    const std::string query = "SELECT * FROM [" + name + "]";
    ASSERT_EQ(sqlite3_prepare_v2(engine.database(), query.c_str(), -1, &statement, nullptr), 0);
    std::ifstream truth(folder / (std::string(file) + ".txt"));
    std::string line;
    std::getline(truth, line);
    int count = 0;
    for (; sqlite3_step(statement) == SQLITE_ROW; ++count) {
      std::string found;
      for (int i = 0; i < sqlite3_column_count(statement); ++i)
        found += (i > 0 ? "\t" : "") + truth_cell(statement, i);
      ASSERT_TRUE(std::getline(truth, line));
      ASSERT_EQ(found, line);
    }
    sqlite3_finalize(statement);
    EXPECT_EQ(count, row_count);
    EXPECT_EQ(engine.run("DELETE FROM [" + name + "]").substr(0, 15), "!Cannot update.");
  }
  Engine engine(folder.string());
  EXPECT_EQ(
      engine.run("SELECT * FROM infused_dbase_02"),
      "!'infused_dbase_02.dbf' is a dBASE II file, which cannot be used: only dBASE III and IV tables can.");
  EXPECT_EQ(engine.run("SELECT * FROM nowhere"), "!no such table: nowhere");
  EXPECT_EQ(engine.run("SELECT [Point_ID_2] FROM dbfdatareader_dbase_03 WHERE rowid = 1"), "401");
}

TEST(DbaseValues, ReadAsTheyStand) {
  const auto number = [](std::string_view field) { return read_number(field).value_or(-7777); };
  // clang-format off
  const std::pair<const char*, double> numbers[] = {
      {"   12", 12}, {" -0.5", -0.5}, {".25", .25}, {"12.", 12}, {"+3", 3}, {"     ", -7777}, {"*****", -7777},
      {"1,5", -7777}, {"1.5E+3", 1500}, {"1 2", -7777}, {"-", -7777}, {".", -7777}, {"0.1", 0.1},
      {"9007199254740993", 9007199254740992.0}, {"12345678901234567890", 12345678901234567890.0},
      {"0.30000000000000004", 0.30000000000000004}, {"1e999", -7777}, {"nan", -7777}, {"1.2.3", -7777},
  };
  // clang-format on
  for (const auto& [field, value] : numbers) EXPECT_EQ(number(field), value) << field;
  EXPECT_EQ(number("7\0\0"sv), 7);
  // clang-format off
  const std::pair<const char*, double> dates[] = {
      {"18991230", 0}, {"20150105", 42009}, {"20000229", 36585}, {"19000228", 60}, {"00000000", -1e9},
      {"        ", -1e9}, {"19000229", -1e9}, {"20151301", -1e9}, {"2015 105", -1e9}, {"01000101", -657434},
      {"99991231", 2958465}, {"2015", -1e9},
  };
  // clang-format on
  for (const auto& [field, days] : dates) EXPECT_EQ(read_date(field).value_or(-1e9), days) << field;
  for (const char c : "TtYy"s) EXPECT_EQ(read_logical({&c, 1}), true);
  for (const char c : "FfNn"s) EXPECT_EQ(read_logical({&c, 1}), false);
  for (const char c : "? x"s) EXPECT_EQ(read_logical({&c, 1}), std::nullopt);
  EXPECT_EQ(read_text("ab  \0 old"sv), "ab");
  EXPECT_EQ(read_text("          "), "");
  EXPECT_EQ(read_block_number("0000000012"), 12u);
  EXPECT_EQ(read_block_number("  99999999999999999999"), 0u);
  for (int day = -657434; day < 2958466; day += 97) {
    std::string field(8, ' ');
    ASSERT_TRUE(write_date(field, day));
    ASSERT_EQ(read_date(field), day) << field;
  }
}

// Values that a statement puts into a table of every kind of field, as they then read and as the file has
// them.
TEST_F(DbaseTest, ValuesAreKeptOrRefused) {
  fresh();
  ASSERT_EQ(engine->create("T", {{"c", "VARCHAR(5)"},
                                 {"n", "DECIMAL(5,2)"},
                                 {"w", "SMALLINT"},
                                 {"d", "DATETIME"},
                                 {"l", "BOOLEAN"},
                                 {"m", "LONGTEXT"}}),
            "");
  const std::string small = "!Field '%' is too small to accept the value you attempted to add.";
  const std::string wrong = "!The value cannot be kept in field '%'.";
  const std::string nul = "!Field '%' cannot keep a NUL character.";
  const std::string lacks =
      "!A character in the value for field '%' does not exist in the table's code page.";
  // clang-format off
  const struct {
    std::string column, value, expected;
  } rows[] = {
      {"C", "'a'", "a"}, {"C", "'caffè'", "caffè"}, {"C", "'€uro '", "€uro"}, {"C", "'abcde   '", "abcde"},
      {"C", "'abcdef'", small}, {"C", "'òàùèìé'", small}, {"C", "'Ж'", lacks}, {"C", "''", "\\N"},
      {"C", "12", "12"}, {"C", "1.50", "1.5"}, {"C", "7.0", "7"}, {"C", "NULL", "\\N"}, {"C", "x'41'", wrong},
      {"C", "'a'||char(0)", nul}, {"N", "1234.56", "1234.56"}, {"N", "1.005", "1"}, {"N", "0.126", "0.13"},
      {"N", "-123.45", "-123.45"}, {"N", "-12345.67", small}, {"N", "123456", small}, {"N", "1e300", small},
      {"N", "-0.001", "0"}, {"N", "'3.5'", "3.5"}, {"N", "'x'", wrong}, {"N", "9e999", small},
      {"N", "NULL", "\\N"}, {"W", "-32768", "-32768"}, {"W", "999999", "999999"}, {"W", "1000000", small},
      {"W", "2.5", "2"}, {"D", "42009", "42009"}, {"D", "42009.75", "42009"}, {"D", "'2015-01-05'", "42009"},
      {"D", "-2.25", "-2"}, {"D", "'hello'", wrong}, {"D", "1e9", wrong}, {"D", "NULL", "\\N"},
      {"L", "-1", "-1"}, {"L", "5", "-1"}, {"L", "0", "0"}, {"L", "'y'", "-1"}, {"L", "'maybe'", wrong},
      {"L", "NULL", "\\N"}, {"M", "'long à text'", "long à text"}, {"M", "''", "\\N"}, {"M", "char(26)", wrong},
      {"M", "'Ж'", lacks}, {"M", "printf('%.*c', 2000, 'x')", std::string(2000, 'x')},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(row.column + " = " + row.value);
    const std::string expected = text::replace_all(row.expected, "%", row.column);
    const std::string result = run("INSERT INTO T (" + row.column + ") VALUES (" + row.value + ")");
    EXPECT_EQ(result.empty() ? run("SELECT " + row.column + " FROM T ORDER BY rowid DESC LIMIT 1") : result,
              expected);
  }
  run("DELETE FROM T");
  EXPECT_EQ(run("SELECT count(*) FROM T"), "0");
  EXPECT_EQ(run("INSERT INTO T (rowid, C) VALUES (3, 'a')"),
            "!A record's number is its place in the file and cannot be chosen.");
  run("INSERT INTO T (C) VALUES ('Last')");
  const std::string id = run("SELECT last_insert_rowid()");
  EXPECT_EQ(run("SELECT rowid FROM T WHERE C = 'lAST'"), id);
  EXPECT_EQ(run("UPDATE T SET rowid = 1"),
            "!A record's number is its place in the file and cannot be changed.");
  EXPECT_EQ(run("SELECT C FROM T WHERE rowid IN (0, -1, 'x', 1e18, NULL, 1.5, " + id + ")"), "Last");
}

TEST_F(DbaseTest, OddFilesAreReadable) {
  const std::vector<FieldRow> two = {{"A", 'C', 2}, {"B", 'N', 3}};
  const std::vector<std::string> records = {" ab  1", "*cd  2", "\0ef  3"s};
  std::string many = table(two, records);
  many[4] = 99;
  std::string stale = table(two, records, '\x03', '\x57', "\x0D", " gh  4\x1A\x1A");
  // clang-format off
  const struct {
    const char* name;
    std::string bytes, query, expected;
  } rows[] = {
      {"plain", table(two, records), "SELECT rowid, * FROM plain", "1|ab|1;3|ef|3"},
      {"nomark", table(two, records, '\x03', '\x57', ""), "SELECT count(*) FROM nomark", "2"},
      {"twomarks", table(two, records, '\x03', '\x57', "\x0D\0"s), "SELECT A FROM twomarks", "ab;ef"},
      {"noend", table(two, records, '\x03', '\x57', "\x0D", ""), "SELECT A FROM noend", "ab;ef"},
      {"promise", many, "SELECT A FROM promise", "ab;ef"}, {"stale", stale, "SELECT A FROM stale", "ab;ef"},
      {"twice", table({{"A", 'C', 2}, {"a", 'N', 3}, {" ", 'C', 1}}, {" ab  1x"}),
       "SELECT A, a_2, FIELD3 FROM twice", "ab|1|x"},
      {"wide", table({{"A", 'C', 44, 1}}, {" " + std::string(300, 'w')}), "SELECT length(A) FROM wide", "300"},
      {"decimals", table({{"A", 'C', 3, 2}, {"B", 'C', 1}}, {" abcd"}), "SELECT A, B FROM decimals", "abc|d"},
      {"driver866", table({{"A", 'C', 3}}, {" \x81\xA0\xAD"}, '\x03', '\x65'), "SELECT A FROM driver866", "Бан"},
      {"file1251", table({{"\xC0", 'C', 3}}, {" \xC1\xE0\xED"}, '\x03', '\0'), "SELECT А FROM file1251", "Бан"},
      {"utf8", table({{"A", 'C', 4}}, {" \xE6\x97\xA5 "}, '\x03', '\xF0'), "SELECT A FROM utf8", "日"},
      {"kamenicky", table({{"A", 'C', 2}}, {" \x80x"}, '\x03', '\x68'), "SELECT length(A) FROM kamenicky", "2"},
      {"open1252", table({{"A", 'C', 2}}, {" \x81y"}), "SELECT length(A) FROM open1252", "2"},
      {"odd", table({{"A", 'M', 10}, {"B", 'Z', 2}, {"C", 'D', 4}, {"D", 'N', 0}}, {"          3zz2015"}),
       "SELECT * FROM odd", "\\N|zz|\\N|\\N"},
  };
  // clang-format on
  disk.put("f/file1251.CPG", "CP1251\r\n");
  for (const auto& row : rows) disk.put("f/"s + row.name + (row.name[0] == 'p' ? ".DBF" : ".dbf"), row.bytes);
  fresh();
  for (const auto& row : rows) EXPECT_EQ(run(row.query), row.expected) << row.name;
  EXPECT_EQ(run("UPDATE odd SET B = 'x'"), "!The value cannot be kept in field 'B'.");
  EXPECT_EQ(run("UPDATE odd SET A = 'x'"), "!The memo file of 'odd.dbf' is missing.");
  EXPECT_EQ(run("UPDATE kamenicky SET A = 'č'").substr(0, 12), "!A character");
  EXPECT_EQ(engine->folder().names().size(), std::size(rows));
}

TEST_F(DbaseTest, WhatCannotBeUsedIsNamed) {
  const std::vector<FieldRow> one = {{"A", 'C', 2}};
  const std::string good = table(one, {" ab"});
  const auto with = [&](std::size_t at, char byte) {
    std::string bytes = good;
    bytes[at] = byte;
    return bytes;
  };
  const std::string only = ", which cannot be used: only dBASE III and IV tables can.";
  // clang-format off
  const struct {
    std::string bytes, statement, expected;
  } rows[] = {
      {with(0, '\x30'), "SELECT * FROM t", "!'t.dbf' is a Visual FoxPro file" + only},
      {with(0, '\xF5'), "SELECT * FROM t", "!'t.dbf' is a FoxPro file" + only},
      {with(0, '\x04'), "SELECT * FROM t", "!'t.dbf' is a dBASE 7 file" + only},
      {with(0, '\x99'), "SELECT * FROM t", "!'t.dbf' is not a dBASE table."},
      {"", "SELECT * FROM t", "!'t.dbf' is too short for a dBASE table."},
      {with(8, '\x20'), "SELECT * FROM t", "!'t.dbf' is damaged: its header makes no sense."},
      {with(10, '\x02'), "SELECT * FROM t", "!'t.dbf' is damaged: its fields do not fit its records."},
      {good.substr(0, 50), "SELECT * FROM t", "!'t.dbf' is damaged: it ends inside its header."},
      {with(15, 1), "DELETE FROM t", "!Cannot update 't.dbf': it is encrypted."},
      {with(14, 1), "DELETE FROM t", "!Cannot update 't.dbf': another program's transaction on it is unfinished."},
      {with(28, 1), "DELETE FROM t",
       "!Cannot update 't.dbf': its production index (.mdx) would no longer agree with it."},
      {with(28, 1), "SELECT A FROM t", "ab"},
  };
  // clang-format on
  for (const auto& row : rows) {
    disk.put("f/t.dbf", row.bytes);
    EXPECT_EQ(fresh().run(row.statement), row.expected);
    EXPECT_EQ(disk.bytes("f/t.dbf"), row.bytes);
  }
}

TEST_F(DbaseTest, MemosOfBothKindsAreReadAndAppended) {
  const std::vector<FieldRow> fields = {{"M", 'M', 10}};
  std::string three = "\3\0\0\0"s;
  three.resize(512, '\0');
  three += "short\x1A\x1A";
  three.resize(1024, '\0');
  three += std::string(700, 'a') + "\x1A";
  std::string four = "\3\0\0\0"s;
  four.resize(20, '\0');
  four += "\x40\0"s;
  four.resize(64, '\0');
  four += "\xFF\xFF\x08\0\x0D\0\0\0"s + "fo\x1Aur" + std::string(51, '\0') + "old\x1A";
  const std::vector<std::string> records = {"          1", " 0000000002", "           ", "        999"};
  disk.put("f/three.dbf", table(fields, records, '\x83'));
  disk.put("f/three.dbt", three);
  disk.put("f/four.dbf", table(fields, records, '\x8B'));
  disk.put("f/four.DBT", four);
  fresh();
  EXPECT_EQ(run("SELECT substr(M, 1, 5), length(M) FROM three"), "short|5;aaaaa|700;\\N|\\N;\\N|\\N");
  EXPECT_EQ(run("SELECT M FROM four"), "fo\x1Aur;old;\\N;\\N");
  for (const std::string name : {"three", "four"}) {
    SCOPED_TRACE(name);
    const std::string path = "f/" + name + (name == "four" ? ".DBT" : ".dbt");
    EXPECT_EQ(run("BEGIN", "UPDATE " + name + " SET M = 'gone' WHERE rowid = 3", "ROLLBACK"), "");
    EXPECT_EQ(run("INSERT INTO " + name + " VALUES ('first'), (printf('%.*c', 600, 'z'))"), "");
    EXPECT_EQ(run("UPDATE " + name + " SET M = 'changed' WHERE rowid = 1"), "");
    fresh();
    EXPECT_EQ(run("SELECT length(M) FROM " + name),
              name == "four" ? "7;3;\\N;\\N;5;600" : "7;700;\\N;\\N;5;600");
    // The next free block, and none of the old texts written over.
    const std::string bytes = disk.bytes(path);
    const std::size_t block = name == "four" ? 64 : 512;
    EXPECT_EQ(number_at<std::uint32_t>(bytes, 0), bytes.size() / block);
    EXPECT_NE(bytes.find("gone"), std::string::npos);
  }
}

TEST_F(DbaseTest, TransactionsSavepointsAndStatementsAreWhole) {
  fresh();
  ASSERT_EQ(engine->create("A", {{"N", "INTEGER"}, {"C", "VARCHAR(3)"}}), "");
  ASSERT_EQ(engine->create("B", {{"N", "INTEGER"}}), "");
  EXPECT_EQ(run("INSERT INTO A VALUES (1, 'a'), (2, 'toolong')").substr(0, 9), "!Field 'C");
  EXPECT_EQ(run("SELECT count(*) FROM A"), "0");
  for (const auto* statement :
       {"INSERT INTO A VALUES (1, 'a'), (2, 'b'), (3, 'c')", "BEGIN", "UPDATE A SET N = N + 10",
        "SAVEPOINT s1", "INSERT INTO A VALUES (14, 'd')", "DELETE FROM A WHERE N = 11",
        "INSERT INTO B VALUES (1)", "SAVEPOINT s2", "UPDATE A SET C = 'x' WHERE N > 11",
        "INSERT INTO A VALUES (15, 'e')", "ROLLBACK TO s2", "RELEASE s2"}) {
    ASSERT_EQ(run(statement), "") << statement;
  }
  EXPECT_EQ(run("SELECT rowid, N, C FROM A"), "2|12|b;3|13|c;4|14|d");
  EXPECT_EQ(run("UPDATE A SET C = CASE N WHEN 13 THEN 'wide' ELSE 'y' END").substr(0, 9), "!Field 'C");
  EXPECT_EQ(run("SELECT group_concat(C, '') FROM A"), "bcd");
  EXPECT_EQ(run("ROLLBACK TO s1", "SELECT N, C FROM A"), "11|a;12|b;13|c");
  EXPECT_EQ(run("SELECT count(*) FROM B", "ROLLBACK", "SELECT N FROM A"), "01;2;3");
  // A savepoint that was there before the table's first change, inside a transaction or in the place of one.
  for (const char* begin : {"BEGIN", "SAVEPOINT o"}) {
    EXPECT_EQ(run(begin, "SAVEPOINT s", "SAVEPOINT t", "UPDATE A SET C = 'z'",
                  "INSERT INTO A VALUES (9, 'z')", "ROLLBACK TO s", "SELECT N, C FROM A", "COMMIT"),
              "1|a;2|b;3|c");
  }
  EXPECT_EQ(run("SAVEPOINT o", "UPDATE A SET C = 'z'", "ROLLBACK TO o", "RELEASE o", "SELECT C FROM A"),
            "a;b;c");
  // Rows that are rolled back while they are read.
  sqlite3_stmt* reading = nullptr;
  run("BEGIN", "INSERT INTO A SELECT N + 10, 'n' FROM A");
  sqlite3_prepare_v2(engine->database(), "SELECT N FROM A WHERE N > 3", -1, &reading, nullptr);
  EXPECT_EQ(sqlite3_step(reading), SQLITE_ROW);
  run("ROLLBACK");
  EXPECT_EQ(engine->rows(reading).substr(0, 1), "");
  sqlite3_finalize(reading);
  EXPECT_EQ(run("BEGIN", "INSERT INTO A SELECT N + 100, C FROM A", "INSERT INTO B SELECT N FROM A",
                "DELETE FROM A WHERE N = 2", "COMMIT"),
            "");
  EXPECT_EQ(fresh().run("SELECT N FROM A"), "1;3;101;102;103");
  EXPECT_EQ(run("SELECT count(*), sum(N) FROM B"), "6|312");
  EXPECT_EQ(disk.count(), 2u);  // no journal, no common file
  const std::string bytes = disk.bytes("f/A.dbf");
  EXPECT_EQ(number_at<std::uint32_t>(bytes, 4), 6u);
  EXPECT_EQ(bytes.size(), 32 + 64 + 1 + 6 * 15 + 1u);
  EXPECT_EQ(bytes.back(), '\x1A');
}

// What a join finds by a lookup is what it finds when each row is compared with each.
TEST_F(DbaseTest, JoinsFindTheirRows) {
  fresh();
  for (const char* name : {"A", "B"}) {
    ASSERT_EQ(engine->create(name, {{"N", "DOUBLE"}, {"C", "VARCHAR(9)"}, {"D", "DATE"}, {"P", "INTEGER"}}),
              "");
  }
  const std::string rows =
      " WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 120) SELECT nullif(x % 90, "
      "7) / 2.0, "
      "CASE x % 5 WHEN 0 THEN 'é' || x % 60 WHEN 1 THEN 'Ab' || x % 70 WHEN 2 THEN 'aB' || x % 70 WHEN 3 "
      "THEN x % 40 "
      "END, 42000 + x % 33, x FROM c";
  for (const char* name : {"A", "B"}) ASSERT_EQ(run("INSERT INTO "s + name + rows), "");
  run("DELETE FROM B WHERE P % 6 = 0");
  // clang-format off
  const char* const joins[] = {
      "A.N = B.N", "A.C = B.C", "A.D = B.D AND A.N = B.N", "A.C = B.C COLLATE NOCASE AND A.P < B.P",
      "A.C COLLATE BINARY = B.C", "A.C COLLATE RTRIM = B.C", "A.N = B.C", "A.C = B.N", "A.N = CAST(B.N AS TEXT)",
      "A.N = CAST(B.N AS BLOB)", "A.C = CAST(B.C AS BLOB)", "A.C = upper(B.C)", "A.P = (SELECT max(P) FROM B b2 WHERE b2.N = B.N)",
  };
  // clang-format on
  const auto same = [&](const std::string& when) {
    for (const std::string join : joins) {
      SCOPED_TRACE(when + join);
      const std::string query =
          "SELECT count(*), sum(A.P * 7 + B.P), count(DISTINCT A.P) FROM B CROSS JOIN A ON ";
      const std::string found = run(query + join);
      EXPECT_EQ(found, run(query + "(" + join + ") IS TRUE"));
      EXPECT_EQ(found == "0|\\N|0", join.find("BLOB") != std::string::npos);
    }
  };
  EXPECT_NE(
      run("EXPLAIN QUERY PLAN SELECT * FROM B CROSS JOIN A ON A.N = B.N AND A.C = B.C").find("INDEX 2:0 1"),
      std::string::npos);
  same("");
  run("BEGIN", "UPDATE A SET N = N + 1, C = 'ab' || P WHERE P > 60",
      "INSERT INTO A SELECT N, C, D, P + 500 FROM B");
  same("changed: ");
  run("SAVEPOINT s", "DELETE FROM A WHERE P % 2 = 0", "ROLLBACK TO s");
  same("rolled back: ");
  run("ROLLBACK");
  // Rows that change while they are found: each once.
  EXPECT_EQ(run("UPDATE B SET P = -1 WHERE EXISTS (SELECT 1 FROM A WHERE A.N = B.N AND A.P = B.P)",
                "SELECT count(*) = sum(P = -1) + sum(N IS NULL) FROM B"),
            "1");
}

void DbaseTest::two_sessions(const std::string& folder) {
  engine = std::make_unique<Engine>(folder);
  engine->create("T", {{"N", "INTEGER"}});
  run("INSERT INTO T VALUES (1)");
  Engine other(folder);
  const std::string in_use = "!Could not use 'T.dbf'; file already in use.";
  EXPECT_EQ(run("BEGIN", "UPDATE T SET N = 2"), "");
  // The other one reads what is committed, and cannot write.
  EXPECT_EQ(other.run("SELECT N FROM T"), "1");
  EXPECT_EQ(other.run("UPDATE T SET N = 3"), in_use);
  EXPECT_EQ(other.drop("T"), in_use);
  // While it is in the middle of reading, nothing is written under its eyes.
  sqlite3_stmt* reading = nullptr;
  sqlite3_prepare_v2(other.database(), "SELECT N FROM T", -1, &reading, nullptr);
  EXPECT_EQ(sqlite3_step(reading), SQLITE_ROW);
  EXPECT_EQ(run("COMMIT"), in_use);
  sqlite3_finalize(reading);
  EXPECT_EQ(run("ROLLBACK", "SELECT N FROM T", "UPDATE T SET N = 4"), "1");
  EXPECT_EQ(other.run("SELECT N FROM T"), "4");
  EXPECT_EQ(other.run("INSERT INTO T VALUES (5)"), "");
  EXPECT_EQ(run("INSERT INTO T VALUES (6)", "SELECT * FROM T"), "4;5;6");
  // Reading and writing in one session, with a statement still open over the commit.
  sqlite3_prepare_v2(engine->database(), "SELECT N FROM T", -1, &reading, nullptr);
  EXPECT_EQ(sqlite3_step(reading), SQLITE_ROW);
  EXPECT_EQ(run("UPDATE T SET N = N * 10"), "");
  EXPECT_EQ(engine->drop("T"), in_use);
  EXPECT_EQ(engine->rows(reading), "50;60");
  sqlite3_finalize(reading);
  EXPECT_EQ(other.run("SELECT sum(N) FROM T"), "150");
  EXPECT_EQ(engine->drop("t"), "");
  EXPECT_EQ(other.run("SELECT N FROM T"), "!'T.dbf' was removed.");
}

TEST_F(DbaseTest, TwoSessionsWaitForEachOther) {
  two_sessions("f");
  const test::TempFolder folder;
  const auto real = platform::make_adapter<platform::DataFiles>();
  const platform::ScopedPort<platform::DataFiles> real_port(*real);
  two_sessions(folder.path());
  engine.reset();
}

TEST_F(DbaseTest, TablesAreMadeAndDropped) {
  fresh();
  // clang-format off
  const struct {
    std::string name;
    std::vector<NewColumn> columns;
    std::string expected;
  } rows[] = {
      {"Orders", {{"order number", "COUNTER"}, {"B", "VARCHAR(254)"}, {"C", "MONEY"}, {"D", "TEXT"}, {"E",
       "BIGINT"}}, ""},
      {"ORDERS", {{"A", "INT"}}, "!Table 'ORDERS' already exists."},
      {"G", {{"A", "GUID"}}, "!A dBASE table cannot keep the type GUID of column 'A'."},
      {"G", {{"A", "BLOB"}}, "!A dBASE table cannot keep the type BLOB of column 'A'."},
      {"G", {{"TENLETTERSX", "INT"}, {"tenlettersY", "INT"}},
       "!Two columns of a dBASE table would have the name 'TENLETTERS'."},
      {"G", {{"Ж", "INT"}}, "!'Ж' is not a valid name of a dBASE field."},
      {"G", {}, "!A dBASE table has 1 to 128 columns and 4000 characters in a row."},
      {"G", std::vector<NewColumn>(20, {"A", "VARCHAR(250)"}),
       "!Two columns of a dBASE table would have the name 'A'."},
      {"../x", {{"A", "INT"}}, "!'../x' is not a valid name of a table."},
      {"", {{"A", "INT"}}, "!'' is not a valid name of a table."},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(engine->create(row.name, row.columns), row.expected);
  EXPECT_EQ(run("SELECT * FROM orders"), "");
  EXPECT_EQ(run("SELECT name, type FROM pragma_table_info('ORDERS')"),
            "ORDER NUMB|DOUBLE;B|VARCHAR(254);C|DOUBLE;D|LONGTEXT;E|DOUBLE");
  // A statement from before goes on with the new table of that name; a rollback takes no table away.
  sqlite3_stmt* kept = nullptr;
  sqlite3_prepare_v2(engine->database(), "SELECT count(*) FROM orders", -1, &kept, nullptr);
  run("INSERT INTO orders (D) VALUES ('x')");
  EXPECT_EQ(engine->rows(kept), "1");
  sqlite3_reset(kept);
  EXPECT_EQ(engine->drop("ORDERS"), "");
  EXPECT_EQ(engine->drop("ORDERS"), "!Table 'ORDERS' does not exist.");
  EXPECT_EQ(disk.count(), 0u);
  EXPECT_EQ(engine->create("orders", {{"A", "INT"}}), "");
  EXPECT_EQ(run("BEGIN", "SELECT * FROM orders", "ROLLBACK", "SELECT * FROM orders"), "");
  EXPECT_EQ(engine->rows(kept), "0");
  sqlite3_finalize(kept);
  Engine reader("f", {.may_write = false});
  EXPECT_EQ(reader.create("X", {{"A", "INT"}}), "!Cannot update. Database or object is read-only.");
  // The disk fills at every write of making a table: no half one stays.
  for (int allowed = 0;; ++allowed) {
    disk.allow(allowed, MemoryDisk::Failure::full_once);
    const std::string result = engine->create("full", {{"A", "LONGTEXT"}});
    if (result.empty()) break;
    EXPECT_EQ(disk.count(), 1u) << allowed;
    ASSERT_LT(allowed, 20);
  }
}

}  // namespace
}  // namespace quarno::desktop::dbase
