// Real database files through the object model.
#include "providers/desktop/desktop_provider.h"

#include <gtest/gtest.h>

#include <functional>

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "common/convert.h"
#include "providers/desktop/declared_type.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::desktop {
namespace {

class DesktopTest : public ::testing::Test {
 protected:
  void SetUp() override { connection = connected(folder.put("a.db", "")); }

  static Ptr<ado::Connection> connected(const std::string& path) {
    auto result = make<ado::Connection>();
    result->Open("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + path);
    return result;
  }
  Ptr<ado::Recordset> opened(const std::string& statement) {
    auto rows = make<ado::Recordset>();
    rows->Open(statement, Variant(connection), ado::adOpenStatic, ado::adLockOptimistic);
    return rows;
  }
  void run(const std::string& statement) { connection->Execute(statement); }
  int error_of(const std::string& statement) {
    return test::error_of([&] { return connection->Execute(statement); });
  }
  static int error(const std::function<void()>& work) {
    return test::error_of([&] { return work(), 0; });
  }
  std::int32_t number(const std::string& statement) {
    return to_int32(opened(statement)->value(0), LocaleInfo{});
  }

  test::TempFolder folder;
  Ptr<ado::Connection> connection;
};

// Every type makes its way through all engines in a suite of their own; these are this engine's extremes.
TEST_F(DesktopTest, ExtremeValuesComeBack) {
  // clang-format off
  const std::pair<std::string, std::vector<Variant>> rows[] = {
      {"DECIMAL(28,4)", {Decimal::parse("123456789012345678901234.5678").value(), Decimal::parse("0.1").value()}},
      {"DATETIME", {Date{-657434.0}, Date{2958465.5}}}, {"VARCHAR(10)", {std::string("a\0b", 3), ""}},
      {"DOUBLE", {5e-324}}, {"LONGBLOB", {Variant::Bytes{}}}, {"SINGLE", {3.4028235e38F}},
      {"CURRENCY", {Currency{-1}, Currency{INT64_MAX}}},
  };
  // clang-format on
  for (const auto& [declaration, values] : rows) {
    SCOPED_TRACE(declaration);
    run("DROP TABLE IF EXISTS T");
    run("CREATE TABLE T (ID INTEGER PRIMARY KEY, V " + declaration + ")");
    for (const Variant& value : values) {
      const auto writing = opened("SELECT * FROM T");
      writing->AddNew();
      writing->set_value(1, value);
      writing->Update();
      EXPECT_EQ(writing->value(1), value) << "before the next query";
      EXPECT_EQ(opened("SELECT V FROM T ORDER BY ID DESC")->value(0), value);
    }
  }
}

TEST_F(DesktopTest, ValuesOfOtherProgramsKeepTheirMeaning) {
  run("CREATE TABLE T (D DATETIME, R REAL, I INTEGER)");
  run("INSERT INTO T VALUES ('2015-01-05 14:07:33', 0.1, 5000000000), ('no date', 2, 'x')");
  const auto rows = opened("SELECT *, count(*) OVER () AS N, R * 2 AS E FROM T");
  const Variant expected[] = {Date{42009 + (14 * 3600 + 7 * 60 + 33) / 86400.0}, 0.1,
                              std::int64_t{5'000'000'000}, std::int32_t{2}, 0.2};
  for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(rows->value(i), expected[i]);
  rows->MoveNext();
  EXPECT_EQ(rows->value(0), Variant("no date"));
  EXPECT_EQ(rows->value(2), Variant("x"));
  EXPECT_EQ(error([&] { rows->set_value(4, 1.0); }), ado::kMultipleStep) << "an expression has no column";
}

TEST_F(DesktopTest, FailuresCarryNumberStateAndStatement) {
  run("CREATE TABLE T (ID INTEGER PRIMARY KEY, U TEXT UNIQUE, N INTEGER NOT NULL, P INTEGER REFERENCES "
      "T(ID))");
  run("INSERT INTO T VALUES (1, 'a', 1, NULL)");
  // clang-format off
  const struct { const char* statement; int number; const char* state; } rows[] = {
      {"INSERT INTO T VALUES (1, 'b', 1, NULL)", ado::kIntegrityViolation, "23505"},
      {"INSERT INTO T VALUES (2, 'a', 1, NULL)", ado::kIntegrityViolation, "23505"},
      {"INSERT INTO T VALUES (2, 'b', NULL, NULL)", ado::kIntegrityViolation, "23502"},
      {"INSERT INTO T VALUES (2, 'b', 1, 99)", ado::kIntegrityViolation, "23503"},
      {"SELECT * FROM NOWHERE", ado::kTableNotFound, "42S02"},
      {"SELECT MISSPELT FROM T", ado::kParameterMissing, "42S22"},
      {"INSERT INTO T VALUES (2, 'b', 1, NULL); SELEC 1", ado::kErrorsInCommand, "42000"},
      {" ; -- nothing", ado::kNoCommandText, ""},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(error_of(row.statement), row.number) << row.statement;
    ASSERT_EQ(connection->Errors()->Count(), 1);
    EXPECT_EQ(connection->Errors()->Item(std::int16_t{0})->SQLState(), row.state) << row.statement;
  }
}

TEST_F(DesktopTest, FilesAreToldByTheirContent) {
  const std::string header("\0\1\0\0Standard Jet DB\0", 20);
  EXPECT_THROW(connected(folder.path()), Error) << "a folder";
  // clang-format off
  const struct { std::string path; const char* expected; } rows[] = {
      {folder.put("text.db", "just text"), "Unrecognized database format"},
      {folder.put("access.mdb", header + std::string(12, '\0')), "Unrecognized database format"},
      {folder.put("damaged.db", std::string("SQLite format 3\0", 16) + std::string(4096, 'x')), ""},
      {folder / "none.db", "Could not open"},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    const std::string before = test::bytes_of(row.path);
    try {
      connected(row.path);
      FAIL() << "opened";
    } catch (const Error& error) {
      EXPECT_EQ(error.number, ado::kUnspecified);
      EXPECT_NE(error.description.find(row.expected), std::string::npos) << error.description;
      EXPECT_TRUE(error.from_provider);
    }
    EXPECT_EQ(test::bytes_of(row.path), before) << "a file that is refused is not touched";
  }
}

TEST_F(DesktopTest, RowsWithoutAKeyAreNeverChangedTogether) {
  // Equal rows; nothing but long values, where an update would mean the whole table; half of a composite key.
  // clang-format off
  const struct { const char *columns, *values, *query; std::size_t column; } rows[] = {
      {"A INTEGER, B TEXT(10)", "(1, 'x'), (1, 'x')", "SELECT * FROM T", 1},
      {"B MEMO", "('x')", "SELECT * FROM T", 0},
      {"A INTEGER, C INTEGER, B TEXT(10), PRIMARY KEY (A, C)", "(1, 1, 'x'), (1, 2, 'x')", "SELECT A, B FROM T", 1},
  };
  // clang-format on
  for (const auto& row : rows) {
    run("DROP TABLE IF EXISTS T");
    run(std::string("CREATE TABLE T (") + row.columns + ")");
    run(std::string("INSERT INTO T VALUES ") + row.values);
    const auto set = opened(row.query);
    EXPECT_EQ(error([&] { set->Delete(); }), ado::kUnspecified) << row.columns;
    set->set_value(row.column, "y");
    EXPECT_EQ(error([&] { set->Update(); }), ado::kUnspecified) << row.columns;
    EXPECT_EQ(number("SELECT count(*) - count(CASE WHEN B = 'x' THEN 1 END) FROM T"), 0);
    EXPECT_EQ(number("SELECT count(*) FROM T"), set->RecordCount());
  }
  run("UPDATE T SET A = 2 WHERE C = 2");
  const auto alone = opened("SELECT A, B FROM T WHERE A = 2");
  alone->set_value(1, "new");
  alone->Update();
  EXPECT_EQ(opened("SELECT B FROM T WHERE A = 2")->value(0), Variant("new"));
}

TEST_F(DesktopTest, TransactionsNestAndSurviveErrors) {
  run("CREATE TABLE T (ID INTEGER PRIMARY KEY)");
  EXPECT_EQ(error([&] { connection->CommitTrans(); }), ado::kNoTransaction);
  EXPECT_EQ(connection->BeginTrans(), 1);
  run("INSERT INTO T VALUES (1)");
  EXPECT_EQ(connection->BeginTrans(), 2);
  run("INSERT INTO T VALUES (2)");
  EXPECT_NE(error_of("INSERT INTO T VALUES (1)"), 0);
  connection->RollbackTrans();
  EXPECT_EQ(number("SELECT sum(ID) FROM T"), 1);
  // Another connection sees nothing before the commit.
  const auto other = connected(folder / "a.db");
  EXPECT_EQ(other->Execute("SELECT count(*) FROM T")->value(0), Variant(std::int32_t{0}));
  connection->CommitTrans();
  EXPECT_EQ(other->Execute("SELECT count(*) FROM T")->value(0), Variant(std::int32_t{1}));
  for (int level = 1; level <= 5; ++level) EXPECT_EQ(connection->BeginTrans(), level);
  EXPECT_EQ(error([&] { connection->BeginTrans(); }), ado::kTransactionActive);
}

TEST_F(DesktopTest, ATimeoutHoldsForAllFetchesAndEndsTheTransaction) {
  run("CREATE TABLE T (ID INTEGER PRIMARY KEY)");
  connection->set_CommandTimeout(1);
  const std::string endless =
      "WITH RECURSIVE c(x) AS (SELECT 2 UNION ALL SELECT x + 1 FROM c) SELECT x FROM c";
  EXPECT_EQ(error([&] { opened(endless); }), ado::kTimeoutExpired);
  connection->BeginTrans();
  run("INSERT INTO T VALUES (1)");
  EXPECT_EQ(error_of("INSERT INTO T " + endless), ado::kTimeoutExpired);
  for (const char* statement : {"INSERT INTO T VALUES (2)", "SELECT 1"})
    EXPECT_EQ(error_of(statement), ado::kNoTransaction) << "the engine rolled all of it back";
  EXPECT_EQ(error([&] { connection->CommitTrans(); }), ado::kNoTransaction);
  EXPECT_EQ(error([&] { connection->RollbackTrans(); }), 0);
  run("INSERT INTO T VALUES (3)");
  EXPECT_EQ(number("SELECT sum(ID) FROM T"), 3);
  // A row that is saved keeps to it too, whatever its triggers do.
  run("CREATE TABLE L (N INTEGER)");
  run("CREATE VIEW Endless AS " + endless);
  run("CREATE TRIGGER Slow AFTER UPDATE ON T BEGIN INSERT INTO L SELECT count(*) FROM Endless; END");
  const auto rows = opened("SELECT * FROM T");
  rows->set_value(0, std::int32_t{4});
  EXPECT_EQ(error([&] { rows->Update(); }), ado::kTimeoutExpired);
  EXPECT_EQ(number("SELECT sum(ID) FROM T"), 3);
}

TEST_F(DesktopTest, RowsWrittenByOthersCanBeChangedAndDeleted) {
  for (const char* value : {"'x', true", "42009, 0.5", "'2015-01-05', 1", "NULL, NULL"}) {
    run("DROP TABLE IF EXISTS T");
    run("CREATE TABLE T (D DATETIME, B BOOLEAN, C CURRENCY, N DECIMAL(20,10), S SINGLE)");
    run(std::string("INSERT INTO T VALUES (") + value + ", 1.23456, 0.1 + 0.2, 0.1)");
    const auto rows = opened("SELECT * FROM T");
    rows->set_value(1, false);
    rows->Update();
    rows->set_value(2, Currency{15000});
    rows->Update();
    rows->Delete();
    EXPECT_EQ(number("SELECT count(*) FROM T"), 0) << value;
  }
}

TEST_F(DesktopTest, TablesAreSoughtByTheirIndexes) {
  run("CREATE TABLE \"My T\" (ID INTEGER PRIMARY KEY, S VARCHAR(5), V INTEGER)");
  run("CREATE INDEX ByS ON \"My T\" (S, V DESC)");
  run("INSERT INTO \"My T\" VALUES (1,'b',1),(2,'a',1),(3,'b',2),(4,NULL,9),(5,'d',0),(6,'b',1)");
  auto rows = make<ado::Recordset>();
  rows->Open("My T", Variant(connection), ado::adOpenStatic, ado::adLockOptimistic, ado::adCmdTableDirect);
  ASSERT_TRUE(rows->Supports(ado::adIndex | ado::adSeek));
  EXPECT_EQ(error([&] { rows->Seek("b"); }), ado::full_number(ado::Model::feature_not_available));
  EXPECT_EQ(error([&] { rows->set_Index("Nosuch"); }), ado::kNoSuchIndex);
  rows->set_Index("bys");
  std::string order;
  for (; !rows->at_eof(); rows->MoveNext()) order += std::to_string(*rows->value(0).get_if<std::int32_t>());
  EXPECT_EQ(order, "423165");
  using Keys = Variant::Array;
  // clang-format off
  const struct {
    Variant keys;
    std::int32_t option;
    int found;  // 0: none
  } seeks[] = {
      {"b", ado::adSeekFirstEQ, 3}, {"B", ado::adSeekLastEQ, 6}, {Keys{"b", "1"}, ado::adSeekFirstEQ, 1},
      {"c", ado::adSeekFirstEQ, 0}, {"c", ado::adSeekAfterEQ, 5}, {"b", ado::adSeekAfter, 5},
      {"c", ado::adSeekBeforeEQ, 6}, {"b", ado::adSeekBefore, 2}, {"d", ado::adSeekAfter, 0},
      {Keys{"b", 2}, ado::adSeekAfter, 1}, {Variant::null(), ado::adSeekFirstEQ, 4},
      {Variant::null(), ado::adSeekBefore, 0},
  };
  // clang-format on
  for (const auto& row : seeks) {
    rows->Seek(row.keys, row.option);
    EXPECT_EQ(rows->at_eof() ? 0 : *rows->value(0).get_if<std::int32_t>(), row.found) << row.option;
  }
  rows->Seek("a");
  rows->Delete();
  rows->Seek("a");
  EXPECT_TRUE(rows->at_eof()) << "deleted rows are not found";
  rows->set_Index("PrimaryKey");
  rows->Seek(4);
  EXPECT_EQ(rows->AbsolutePosition(), 3);
  EXPECT_EQ(error([&] { rows->Seek(Keys{1, 2}); }), ado::full_number(ado::Model::invalid_argument));
  EXPECT_FALSE(opened("SELECT * FROM \"My T\"")->Supports(ado::adIndex)) << "only a table opened directly";
}

TEST(DeclaredType, ReadsNamesAndSizes) {
  // clang-format off
  const struct { const char* declaration; int type; std::int64_t size; int precision = 255, scale = 255; } rows[] = {
      {"INTEGER", 3, 4, 10}, {"int", 3, 4, 10}, {"BIGINT", 20, 8, 19}, {"REAL", 5, 8, 15}, {"Single", 4, 4, 7},
      {"YESNO", 11, 2}, {"CURRENCY", 6, 8, 19}, {"DECIMAL(18, 4)", 131, 19, 18, 4}, {"NUMERIC(5)", 131, 19, 5, 0},
      {"NUMERIC", 5, 8, 15}, {"DECIMAL(40,2)", 5, 8, 15}, {"DATETIME", 7, 8}, {"VARCHAR(10)", 202, 10},
      {"TEXT(50)", 202, 50}, {"TEXT", 203, 536870910}, {"MEMO", 203, 536870910}, {"BLOB(16)", 204, 16},
      {"BLOB", 205, 1073741823}, {"GUIDTEXT", 72, 16}, {"SOMETHING ELSE", 202, 255}, {"VARCHAR(", 202, 255},
      {"VARCHAR(-3)", 202, 255}, {"", 202, 255},
  };
  // clang-format on
  for (const auto& row : rows) {
    const DeclaredType type = declared_type(row.declaration);
    EXPECT_EQ(std::tuple(static_cast<int>(type.type), type.defined_size, type.precision, type.scale),
              std::tuple(row.type, row.size, row.precision, row.scale))
        << row.declaration;
  }
}

}  // namespace
}  // namespace quarno::desktop
