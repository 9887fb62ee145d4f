// Conversion of Access files, piece by piece; whole files go through the program in convert_test.py.
#include "providers/desktop/convert/convert.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "desktop/access/made_file.h"
#include "platform/data_files.h"
#include "providers/desktop/convert/check.h"
#include "providers/desktop/convert/defaults.h"
#include "providers/desktop/convert/part_file.h"
#include "providers/desktop/convert/queries.h"
#include "providers/desktop/convert/relations.h"
#include "providers/desktop/sqlite/engine_calls.h"
#include "providers/desktop/sqlite/session.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::desktop::convert {
namespace {

using access::ColumnType;
using sqlite::prepare;
using sqlite::run;
using sqlite::step;
using test::bytes_of;
using test::error_of;
using test::TempFolder;
using test::made::key_row;

std::string ask(sqlite3* engine, const std::string& text) {
  const sqlite::Statement statement = prepare(engine, text);
  std::string result;
  while (step(engine, statement)) {
    for (int i = 0; i < sqlite3_column_count(statement.get()); ++i) {
      result += (i > 0 ? "|" : "") + sqlite::column_text(statement.get(), i);
    }
    result += ";";
  }
  return result;
}

sqlite::Database memory(const std::vector<std::string>& statements) {
  sqlite::Database engine = sqlite::open_database(":memory:", SQLITE_OPEN_READWRITE);
  for (const std::string& statement : statements) run(engine.get(), statement);
  return engine;
}

TEST(Defaults, BecomeValuesOfTheirColumn) {
  const std::tuple<ColumnType, const char*, const char*> rows[] = {
      {ColumnType::long_integer, "", ""},
      {ColumnType::boolean, "", "0"},  // never null
      {ColumnType::long_integer, " =-12 ", "-12"},
      {ColumnType::real, "1.5E3", "1500"},
      {ColumnType::currency, "\"2.50\"", "2.5"},
      {ColumnType::decimal, "1234567890.1234567", "-"},  // more digits than a double holds
      {ColumnType::real, "1,5", "-"},
      {ColumnType::integer, "Yes", "-1"},
      {ColumnType::boolean, "On", "-1"},
      {ColumnType::boolean, "7", "-1"},
      {ColumnType::boolean, "No", "0"},
      {ColumnType::text, "\"it's \"\"so\"\"\"", "'it''s \"so\"'"},
      {ColumnType::memo, "'a;b'", "'a;b'"},
      {ColumnType::text, "007", "'007'"},
      {ColumnType::text, "Null", ""},
      {ColumnType::text, "Rome", "-"},
      {ColumnType::text, "\"a\" & \"b\"", "-"},
      {ColumnType::text, "\"a", "-"},
      {ColumnType::text, "True", "-"},
      {ColumnType::date, "#1/5/2015#", "42009"},
      {ColumnType::date, "#2015-01-05 12:00:00#", "42009.5"},
      {ColumnType::date, "Date()+1", "-"},
      {ColumnType::long_integer, "#1/5/2015#", "-"},
      {ColumnType::long_integer, "Now()", "-"},
      {ColumnType::binary, "1", "-"},
  };
  for (const auto& [type, expression, expected] : rows) {
    access::Column column;
    column.type = type;
    column.default_value = expression;
    EXPECT_EQ(default_text(column).value_or("-"), expected) << expression;
  }
  // What the engine computes: whole seconds of the local time, and a GUID of the right form.
  access::Column column;
  column.type = ColumnType::date;
  column.default_value = "Now()";
  const auto engine = memory({});
  const auto text = [](const std::string& date) { return "strftime('%Y-%m-%d %H:%M:%S', " + date + ")"; };
  EXPECT_EQ(ask(engine.get(), "SELECT abs(julianday(" + text(*default_text(column) + " + 2415018.5") +
                                  ") - julianday('now', 'localtime')) < 2.0 / 86400"),
            "1;");
  column.default_value = "Date()";
  EXPECT_EQ(ask(engine.get(), "SELECT date(" + *default_text(column) +
                                  " + 2415018.5) BETWEEN date('now', 'localtime', '-1 minute') AND "
                                  "date('now', 'localtime')"),
            "1;");
  column.type = ColumnType::guid;
  column.is_autonumber = true;
  column.default_value = "GenGUID()";
  EXPECT_EQ(ask(engine.get(),
                "SELECT v GLOB replace('{HHHHHHHH-HHHH-4HHH-8HHH-HHHHHHHHHHHH}', 'H', '[0-9A-F]') "
                "FROM (SELECT " +
                    *default_text(column) + " AS v)"),
            "1;");
}

TEST(Relations, BecomeForeignKeysWhereTheDataAgree) {
  const auto engine =
      memory({"CREATE TABLE P (A INTEGER NOT NULL, B VARCHAR(9) COLLATE NOCASE, C INTEGER, PRIMARY KEY (A))",
              "CREATE UNIQUE INDEX \"P.BC\" ON P (B, C)", "CREATE INDEX \"P.C\" ON P (C)",
              "CREATE TABLE \"C d\" (A INTEGER, B VARCHAR(9) COLLATE NOCASE, C INTEGER, X INTEGER)",
              "INSERT INTO P VALUES (1, 'x', 1), (2, 'y', 2)",
              "INSERT INTO \"C d\" VALUES (1, 'X', 1, 9), (NULL, 'z', NULL, NULL)"});
  const auto relation = [](const char* name, std::vector<access::RelationColumns> columns,
                           bool cascades = false) {
    return access::Relation{name, "c D", "p", std::move(columns), cascades, cascades, true};
  };
  const std::pair<access::Relation, const char*> rows[] = {
      {relation("one", {{"A", "A"}}, true), ""},
      {relation("two", {{"c", "c"}, {"b", "b"}}), ""},  // in another order than the index has
      {relation("plain", {{"C", "C"}}), "what it refers to in 'p' is no key"},
      {relation("orphan", {{"X", "A"}}), "1 rows of 'c D' refer to no row of 'p'"},
      {relation("lost", {{"Q", "A"}}), "one of its tables is not in the new file"},
      {relation("none", {}), "its columns are not known"},
  };
  for (const auto& [own, expected] : rows)
    EXPECT_EQ(add_foreign_key(engine.get(), own), expected) << own.name;
  EXPECT_EQ(ask(engine.get(),
                "SELECT \"from\", \"to\", on_update, on_delete FROM pragma_foreign_key_list('C d') "
                "ORDER BY 1"),
            "A|A|CASCADE|CASCADE;B|b|NO ACTION|NO ACTION;C|c|NO ACTION|NO ACTION;");
  run(engine.get(), "PRAGMA foreign_keys = ON");
  EXPECT_NE(error_of([&] {
              run(engine.get(), "INSERT INTO \"C d\" VALUES (3, NULL, NULL, NULL)");
              return 0;
            }),
            0);
  run(engine.get(), "UPDATE P SET A = 5 WHERE A = 1");
  EXPECT_EQ(ask(engine.get(), "SELECT A FROM \"C d\" WHERE A IS NOT NULL"), "5;");
  EXPECT_NO_THROW(check_file(engine.get()));
  run(engine.get(), "PRAGMA foreign_keys = OFF");
  run(engine.get(), "UPDATE \"C d\" SET A = 77 WHERE A = 5");
  EXPECT_NE(error_of([&] {
              check_file(engine.get());
              return 0;
            }),
            0);
}

// Every type and a few rows; then one value after the other is changed in the new file.
TEST(Check, FindsWhatDidNotArrive) {
  const TempFolder folder;
  const std::string old_file =
      folder.put("old.mdb", test::made::file(0, {{key_row("a", 1), 0}, {key_row("b", 2), 0}}));
  // A name of the catalogue that the file repeats counts as damage.
  EXPECT_EQ(error_of([&] { return convert({old_file, folder / "new.db", {}}, {}), 0; }), ado::kUnspecified);
  EXPECT_EQ(bytes_of(folder / "new.db") + bytes_of(folder / "new.db.part"), "<missing><missing>");
  const Summary summary = convert({old_file, folder / "new.db", {"", 0, true}}, {});
  EXPECT_EQ(summary.tables, 2u);
  EXPECT_EQ(summary.rows, 5u);
  const auto database = access::Database::open(old_file, {});
  const auto engine = sqlite::open_database(folder / "new.db", SQLITE_OPEN_READWRITE);
  const auto same = [&](const char* name) {
    const access::Table& table = *database->find_table(name);
    return checksum(*database, table, {}) == checksum(engine.get(), table.name, database->design(table), {});
  };
  EXPECT_TRUE(same("All") && same("Keys"));
  for (const char* const change :
       {"Flag = 0", "Byte = Byte + 1", "Money = Money + 0.0001", "Single = -2.25", "Double = Double + 1e-15",
        "Day = Day + 0.00001", "Guid = lower(Guid)", "Exact = '-12.51'", "Big = NULL", "Bin = x'0102'",
        "Text = Text || ' '", "Memo = x'6C6F67'", "Ole = NULL"}) {
    run(engine.get(), "SAVEPOINT s");
    run(engine.get(), "UPDATE \"All\" SET " + std::string(change) + " WHERE Id = 7");
    EXPECT_FALSE(same("All")) << change;
    run(engine.get(), "ROLLBACK TO s");
  }
  for (const char* const change :
       {"DELETE FROM Keys WHERE N = 1", "INSERT INTO Keys VALUES ('c', 3)",
        "UPDATE Keys SET Code = CASE Code WHEN 'a' THEN 'b' ELSE 'a' END", "UPDATE Keys SET N = 3 - N"}) {
    run(engine.get(), "SAVEPOINT s");
    run(engine.get(), change);
    EXPECT_FALSE(same("Keys")) << change;
    run(engine.get(), "ROLLBACK TO s");
  }
}

TEST(Part, BelongsToOneAndNeverReplaces) {
  const TempFolder folder;
  const auto source = platform::data_files().open(folder.put("old.db.part", "\0\1\0\0Standard Jet DB"),
                                                  platform::DataFiles::Access::read);
  const std::string target = folder / "new.db";
  const auto attempt = [&](const std::string& name) {
    return error_of([&] { return PartFile(name, *source), 0; });
  };
  EXPECT_EQ(attempt(folder / "old.db"), 75);  // its part would be the source
  EXPECT_EQ(attempt(folder / "none/new.db"), 76);
  for (const char* const taken : {"new.db", "new.db-journal", "new.db-wal"}) {
    folder.put(taken, "x");
    EXPECT_EQ(attempt(target), 58) << taken;
    std::filesystem::remove(folder / taken);
  }
  folder.put("new.db.part", "somebody's");
  EXPECT_EQ(attempt(target), 75);
  EXPECT_EQ(bytes_of(folder / "new.db.part"), "somebody's");
  folder.put("new.db.part", "");
  {
    PartFile part(target, *source);
    EXPECT_EQ(attempt(target), 70);  // in use
    run(sqlite::open_database(part.path(), SQLITE_OPEN_READWRITE).get(),
        "PRAGMA application_id = " + std::to_string(kApplicationId));
    // Somebody else makes the target meanwhile.
    folder.put("new.db", "other");
    EXPECT_EQ(error_of([&] {
                part.publish();
                return 0;
              }),
              58);
    EXPECT_EQ(bytes_of(target), "other");
    std::filesystem::copy(part.path(), folder / "stale");
  }
  EXPECT_EQ(bytes_of(folder / "new.db.part"), "<missing>");
  std::filesystem::remove(target);
  std::filesystem::rename(folder / "stale", folder / "new.db.part");
  PartFile part(target, *source);  // left by a process that ended
  EXPECT_EQ(bytes_of(part.path()), "");
  part.publish();
  EXPECT_EQ(bytes_of(target), "");
}

TEST(Queries, AreViewsOrProceduresAndNeverLost) {
  const TempFolder folder;
  const std::string path = folder.put("q.db", "");
  std::vector<std::string> notes;
  {
    const auto engine = sqlite::open_database(path, SQLITE_OPEN_READWRITE);
    run(engine.get(), "CREATE TABLE T (A INTEGER, S VARCHAR(9) COLLATE NOCASE)");
    run(engine.get(), "INSERT INTO T VALUES (7, 'x'), (2, NULL)");
  }
  const auto query = [](const char* name, const char* text,
                        access::QueryKind kind = access::QueryKind::select, bool has_parameters = false) {
    return access::Query{name, {kind, has_parameters, text}, {}, {}};
  };
  using access::QueryKind;
  const std::vector<access::Query> queries = {
      query("a on b", "SELECT [b].Half & \"!\" AS R FROM [b];\r\n"),  // reads from one that comes later
      query("b", "SELECT A / 2 AS Half FROM T WHERE S Is Not Null"),
      query("circle", "SELECT * FROM round"),
      query("round", "SELECT * FROM circle"),
      query("gone", "SELECT * FROM Missing"),
      query("asks", "PARAMETERS n Long, d Text ( 20 );\r\nSELECT A FROM T WHERE A > n", QueryKind::select,
            true),
      query("clear", "DELETE FROM T WHERE A = 2;", QueryKind::remove),
      query("server", "EXEC sp_x 'a'", QueryKind::pass_through),
      query("unread", "", QueryKind::unknown),
      query("open", "SELECT 'a FROM T"),
  };
  {
    const auto session = sqlite::open_session(path);
    const CarriedQueries carried =
        carry_queries(*session, queries, [&](std::string note) { notes.push_back(std::move(note)); });
    EXPECT_EQ(carried.views, 2u);
    EXPECT_EQ(carried.procedures, 6u);
    session->execute("EXECUTE clear", 0, ado::Reading::at_once);
    EXPECT_EQ(error_of([&] { return session->execute("EXECUTE asks 1, 'x'", 0, ado::Reading::at_once), 0; }),
              0);
  }
  const auto engine = sqlite::open_database(path, SQLITE_OPEN_READONLY);
  EXPECT_EQ(ask(engine.get(), "SELECT name FROM sqlite_schema WHERE type = 'view' ORDER BY 1"), "a on b;b;");
  EXPECT_EQ(ask(engine.get(), "SELECT count(*) FROM T"), "1;");
  EXPECT_EQ(
      ask(engine.get(), "SELECT group_concat(Name, ',') FROM (SELECT Name FROM MSysProcedures ORDER BY 1)"),
      "asks,circle,clear,gone,round,server;");
  std::string told;
  for (const std::string& note : notes) told += note + "\n";
  for (const char* const name : {"'circle' is kept", "'round' is kept", "'gone' is kept", "'server' is kept",
                                 "'unread' is left out", "'open' is left out: "}) {
    EXPECT_NE(told.find(name), std::string::npos) << name << " in\n" << told;
  }
  EXPECT_NE(told.find("It reads: SELECT 'a FROM T"), std::string::npos) << told;
  EXPECT_EQ(told.find("'a on b'"), std::string::npos) << told;
}

}  // namespace
}  // namespace quarno::desktop::convert
