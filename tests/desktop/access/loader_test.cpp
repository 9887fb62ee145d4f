// Tables of Access files in the engine.
#include "providers/desktop/access/loader.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "common/text.h"
#include "desktop/access/made_file.h"
#include "desktop/access/real_files.h"
#include "providers/desktop/access_source.h"
#include "providers/desktop/sqlite/statement.h"
#include "support/memory_file.h"
#include "support/outcome.h"

namespace quarno::desktop::access {
namespace {

using test::made::key_row;

// The engine with a collation of the right name, which ignores letter case.
class LoaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(":memory:", &raw), SQLITE_OK);
    engine.reset(raw);
    sqlite3_extended_result_codes(raw, 1);
    const auto compare = [](void*, int a_size, const void* a, int b_size, const void* b) {
      const std::string x =
          text::lower_ascii({static_cast<const char*>(a), static_cast<std::size_t>(a_size)});
      return x.compare(text::lower_ascii({static_cast<const char*>(b), static_cast<std::size_t>(b_size)}));
    };
    sqlite3_create_collation(raw, "JET", SQLITE_UTF8, nullptr, compare);
  }
  static std::unique_ptr<Database> opened(const std::string& bytes, bool skip_damage = false) {
    return Database::open(std::make_unique<test::MemoryFile>(bytes), "made.mdb", {"", 0, skip_damage});
  }
  void bring(Database& database, const char* table, const GoOn& go_on = {}) {
    bring_table(engine.get(), database, *database.find_table(table), go_on);
  }
  // Cells joined by "|" as the engine quotes them, rows by newlines.
  std::string ask(const std::string& statement) {
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(engine.get(), statement.c_str(), -1, &raw, nullptr) != SQLITE_OK)
      return sqlite3_errmsg(engine.get());
    const sqlite::Statement owner(raw);
    std::string result;
    while (sqlite3_step(raw) == SQLITE_ROW) {
      for (int i = 0; i < sqlite3_column_count(raw); ++i) {
        const auto* const cell = reinterpret_cast<const char*>(sqlite3_column_text(raw, i));
        result += (i > 0 ? "|" : "") + std::string(cell == nullptr ? "NULL" : cell);
      }
      result += "\n";
    }
    return result;
  }

  sqlite::Database engine;
};

TEST_F(LoaderTest, EveryTypeArrives) {
  const auto database = opened(test::made::file());
  bring(*database, "All");
  EXPECT_EQ(
      ask("SELECT Id, Flag, Byte, Short, Money, typeof(Money), Single, Double, Day, Guid, Exact, Big, Key, "
          "hex(Bin), Text, hex(Ole), Memo, Late, Sum FROM \"All\" ORDER BY Id"),
      "7|-1|200|-2|12.3456|real|-2.5|-2.5|-1.25|{00112233-4455-6677-8899-AABBCCDDEEFF}|-12.5|-"
      "9223372036854775808|3|"
      "0102FF|abДc|0007|log|45292.5|2.5\n"
      "8|-1|200|-2|12.3456|real|-2.5|-2.5|-1.25|{00112233-4455-6677-8899-AABBCCDDEEFF}|-12.5|-"
      "9223372036854775808|3|"
      "0102FF|x😀\uFFFD|DEADBEEF|m|45292.5|2.5\n"
      "9|0|NULL|NULL|NULL|null|NULL|NULL|NULL|NULL|NULL|NULL|NULL||NULL||NULL|NULL|NULL\n");
  int numbered = 0;
  int key = 0;
  sqlite3_table_column_metadata(engine.get(), nullptr, "All", "Id", nullptr, nullptr, nullptr, &key,
                                &numbered);
  EXPECT_EQ(key + numbered, 2);
  EXPECT_EQ(ask("SELECT name, \"unique\", partial FROM pragma_index_list('All')"), "All.ByText|0|1\n");
  EXPECT_EQ(ask("SELECT Memo FROM \"All\" WHERE Text = 'ABДC'"), "log\n");
}

// Empty text and null differ; a key that its data contradict loses its claim, never a row.
TEST_F(LoaderTest, KeysGiveWayToRows) {
  const std::vector<test::made::IndexRecord> indexes = {{"PK", 0, 0x89, 1}, {"U", 1, 0x81, 0}};
  const test::made::Rows good = {{key_row("007", 1), 0}, {key_row("", 2), 0}};
  test::made::Rows same = good;
  same.push_back({key_row("007", 2), 0});
  test::made::Rows null = good;
  null.push_back({test::made::row(2, test::made::number(3, 4), {""}, 2), 0});
  const std::tuple<test::made::Rows, std::string, std::string> rows[] = {
      {good, "|2\n007|1\n", "sqlite_autoindex_Keys_1|1|pk\nKeys.U|1|c\n"},
      {same, "|2\n007|1\n007|2\n", "Keys.PK|0|c\nKeys.U|0|c\n"},
      {null, "NULL|3\n|2\n007|1\n", "Keys.PK|1|c\nKeys.U|1|c\n"},
  };
  for (const auto& [content, expected, expected_indexes] : rows) {
    const auto database = opened(test::made::file(0, content, indexes));
    bring(*database, "keys");
    EXPECT_EQ(ask("SELECT Code, N FROM Keys ORDER BY Code, N"), expected);
    EXPECT_EQ(ask("SELECT name, \"unique\", origin FROM pragma_index_list('Keys') ORDER BY seq DESC"),
              expected_indexes);
    ask("DROP TABLE Keys");
  }
}

TEST_F(LoaderTest, LinkedTablesAreShownAndSayWhereTheyAre) {
  AccessSource source(opened(test::made::file()));
  std::string shown;
  for (const std::string& name : source.names()) shown += name + " " + source.type_of(name) + ";";
  EXPECT_EQ(shown, "MSysObjects SYSTEM TABLE;All TABLE;Keys TABLE;Linked LINK;");
  try {
    source.bring(engine.get(), "Linked", {});
    FAIL() << "brought";
  } catch (const Error& error) {
    EXPECT_EQ(error.description.find("'Linked' is a linked table"), 0u) << error.description;
  }
}

TEST_F(LoaderTest, ATableIsToldWithoutItsRows) {
  const std::vector<test::made::IndexRecord> indexes = {{"PK", 0, 0x89, 1}, {"U", 1, 0x81, 0}};
  AccessSource source(opened(test::made::file(0, {{key_row("a", 1), 0}}, indexes)));
  EXPECT_TRUE(source.bring_design(engine.get(), "keys"));
  EXPECT_EQ(ask("SELECT count(*) FROM Keys"), "0\n");
  std::string shown;
  for (const auto& index : source.indexes("Keys")) {
    shown += index.name + (index.primary ? "*" : "") + (index.unique ? "!" : "") + index.columns.at(0) + " ";
  }
  EXPECT_EQ(shown, "PK*!Code U!N ");
  EXPECT_FALSE(source.bring_design(engine.get(), "none"));
  EXPECT_EQ(test::error_of([&] { return source.bring_design(engine.get(), "Linked"); }), ado::kUnspecified);
}

TEST_F(LoaderTest, NothingStaysBehindAFailure) {
  std::string bytes = test::made::file(0, {{key_row("a", 1), 0}, {key_row("b", 2), 0}});
  const auto good = opened(bytes);
  bytes[11 * test::made::kPage - key_row("a", 1).size()] = 99;  // columns of the first row
  const auto damaged = opened(bytes);
  EXPECT_EQ(test::error_of([&] { return bring(*damaged, "Keys"), 0; }), ado::kUnspecified);
  EXPECT_EQ(test::error_of([&] { return bring(*good, "Keys", [] { return false; }), 0; }),
            ado::kTimeoutExpired);
  EXPECT_EQ(test::error_of([&] { return bring(*good, "Linked"), 0; }), ado::kUnspecified);
  EXPECT_EQ(ask("SELECT count(*) FROM sqlite_schema"), "0\n");
  const auto tolerant = opened(bytes, true);
  bring(*tolerant, "Keys");
  EXPECT_EQ(ask("SELECT Code FROM Keys"), "b\n");
  EXPECT_EQ(test::error_of([&] { return bring(*good, "Keys"), 0; }),
            ado::kErrorsInCommand);  // it is there already
  EXPECT_NE(sqlite3_get_autocommit(engine.get()), 0);
}

TEST_F(LoaderTest, RealTablesArriveWhole) {
  const auto folder = test::real_files("access");
  if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no real files at " << folder;
  int tables = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".txt") continue;
    const bool locked = entry.path().string().find("password") != std::string::npos;
    const auto database = Database::open(entry.path(), {locked ? "password" : ""});
    for (const Table& table : database->tables()) {
      SCOPED_TRACE(entry.path().filename().string() + " " + table.name);
      bring_table(engine.get(), *database, table, {});
      std::size_t count = 0;
      for (TableRows rows = database->rows(table); rows.next();) ++count;
      EXPECT_EQ(ask("SELECT count(*) FROM \"" + table.name + "\""), std::to_string(count) + "\n");
      // What is unique there is unique here.
      for (const Index& index : database->design(table).indexes) {
        if (!index.is_unique || index.is_primary) continue;
        EXPECT_EQ(ask("SELECT \"unique\" FROM pragma_index_list('" + table.name + "') WHERE name = '" +
                      table.name + "." + index.name + "'"),
                  "1\n")
            << index.name;
      }
      ask("DROP TABLE \"" + table.name + "\"");
      ++tables;
    }
  }
  EXPECT_GT(tables, 50);
}

}  // namespace
}  // namespace quarno::desktop::access
