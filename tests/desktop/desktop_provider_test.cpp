// Real database files through the object model.
#include "providers/desktop/desktop_provider.h"

#include <gtest/gtest.h>

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "ado/ado_error.h"
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

  test::TempFolder folder;
  Ptr<ado::Connection> connection;
};

TEST_F(DesktopTest, EveryTypeComesBackAsItWasWritten) {
  struct Row {
    const char* declaration;
    std::vector<Variant> values;
  };
  const Row rows[] = {
      {"BOOLEAN", {true, false}},
      {"TINYINT", {std::uint8_t{0}, std::uint8_t{255}}},
      {"SMALLINT", {std::int16_t{-32768}}},
      {"INTEGER", {std::int32_t{2147483647}}},
      {"BIGINT", {INT64_MIN, INT64_MAX}},
      {"SINGLE", {0.1F, 3.4028235e38F}},
      {"DOUBLE", {0.1, 5e-324, 1.7976931348623157e308, 34558.0}},
      {"CURRENCY", {Currency{140000}, Currency{-1}, Currency{INT64_MAX}, Currency{INT64_MIN}}},
      {"DECIMAL(28,4)",
       {Decimal::parse("123456789012345678901234.5678").value(), Decimal::parse("0.1").value()}},
      {"DATETIME", {Date{34558.0}, Date{-657434.0}, Date{2958465.5}, Date{0.25}}},
      {"VARCHAR(10)",
       {std::string("perché 🙂"), std::string(), std::string("a\0b", 3), std::string("'; DROP--")}},
      {"MEMO", {std::string(1'000'000, 'x')}},
      {"LONGBLOB", {Variant::Bytes(1'000'000, 7), Variant::Bytes{}, Variant::Bytes{0}}},
      {"GUIDTEXT", {std::string("{00000000-0000-0000-0000-000000000001}")}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.declaration);
    run("DROP TABLE IF EXISTS T");
    run(std::string("CREATE TABLE T (ID INTEGER PRIMARY KEY, V ") + row.declaration + ")");
    auto writing = opened("SELECT * FROM T");
    for (const Variant& value : row.values) {
      writing->AddNew();
      writing->set_value(1, value);
      writing->Update();
      EXPECT_EQ(writing->value(1), value) << "before the next query";
    }
    const auto reading = opened("SELECT V FROM T ORDER BY ID");
    for (const Variant& value : row.values) {
      EXPECT_EQ(reading->value(0), value);
      reading->MoveNext();
    }
    EXPECT_TRUE(reading->at_eof());
    // Null and an edit of it.
    run("UPDATE T SET V = NULL");
    const auto edited = opened("SELECT * FROM T");
    EXPECT_TRUE(edited->value(1).is_null());
    edited->set_value(1, row.values[0]);
    edited->Update();
    EXPECT_EQ(opened("SELECT V FROM T ORDER BY ID")->value(0), row.values[0]);
  }
}

TEST_F(DesktopTest, ValuesOfOtherProgramsKeepTheirMeaning) {
  run("CREATE TABLE T (D DATETIME, R REAL, I INTEGER)");
  run("INSERT INTO T VALUES ('2015-01-05 14:07:33', 0.1, 5000000000), ('no date', 2, 'x')");
  const auto rows = opened("SELECT *, count(*) OVER () AS N, R * 2 AS E FROM T");
  EXPECT_EQ(rows->value(0), Variant(Date{42009 + (14 * 3600 + 7 * 60 + 33) / 86400.0}));
  EXPECT_EQ(rows->value(1), Variant(0.1));
  EXPECT_EQ(rows->value(2), Variant(std::int64_t{5'000'000'000}));
  EXPECT_EQ(rows->value(3), Variant(std::int32_t{2}));
  EXPECT_EQ(rows->value(4), Variant(0.2));
  rows->MoveNext();
  EXPECT_EQ(rows->value(0), Variant("no date"));
  EXPECT_EQ(rows->value(2), Variant("x"));
  EXPECT_EQ(test::error_of([&] {
              rows->set_value(4, 1.0);
              return 0;
            }),
            ado::kMultipleStep)
      << "an expression has no column to write to";
}

TEST_F(DesktopTest, FailuresCarryNumberStateAndStatement) {
  run("CREATE TABLE T (ID INTEGER PRIMARY KEY, U TEXT UNIQUE, N INTEGER NOT NULL, P INTEGER REFERENCES "
      "T(ID))");
  run("INSERT INTO T VALUES (1, 'a', 1, NULL)");
  struct Row {
    const char* statement;
    int number;
    const char* state;
  };
  const Row rows[] = {
      {"INSERT INTO T VALUES (1, 'b', 1, NULL)", ado::kIntegrityViolation, "23505"},
      {"INSERT INTO T VALUES (2, 'a', 1, NULL)", ado::kIntegrityViolation, "23505"},
      {"INSERT INTO T VALUES (2, 'b', NULL, NULL)", ado::kIntegrityViolation, "23502"},
      {"INSERT INTO T VALUES (2, 'b', 1, 99)", ado::kIntegrityViolation, "23503"},
      {"SELECT * FROM NOWHERE", ado::kTableNotFound, "42S02"},
      {"SELECT MISSPELT FROM T", ado::kParameterMissing, "42S22"},
      {"SELEC 1", ado::kErrorsInCommand, "42000"},
      {"INSERT INTO T VALUES (2, 'b', 1, NULL); SELEC 1", ado::kErrorsInCommand, "42000"},
      {" ; -- nothing", ado::kNoCommandText, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.statement);
    EXPECT_EQ(error_of(row.statement), row.number);
    ASSERT_EQ(connection->Errors()->Count(), 1);
    EXPECT_EQ(connection->Errors()->Item(std::int16_t{0})->SQLState(), row.state);
  }
}

TEST_F(DesktopTest, FilesAreToldByTheirContent) {
  const std::string header("\0\1\0\0Standard Jet DB\0", 20);
  EXPECT_THROW(connected(folder.path()), Error) << "a folder";
  const struct {
    std::string path;
    const char* expected;
  } rows[] = {
      {folder.put("text.db", "just text"), "Unrecognized database format"},
      {folder.put("access.mdb", header + std::string(4096, '\0')), "is an Access file"},
      {folder.put("damaged.db", std::string("SQLite format 3\0", 16) + std::string(4096, 'x')), ""},
      {folder / "none.db", "Could not open"},
  };
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
  run("CREATE TABLE T (A INTEGER, B TEXT(10))");
  run("INSERT INTO T VALUES (1, 'same'), (1, 'same'), (2, 'other')");
  auto rows = opened("SELECT * FROM T");
  rows->set_value(1, "new");
  EXPECT_EQ(test::error_of([&] {
              rows->Update();
              return 0;
            }),
            ado::kUnspecified);
  rows->CancelUpdate();
  EXPECT_EQ(opened("SELECT count(*) FROM T WHERE B = 'same'")->value(0), Variant(std::int32_t{2}));
  rows->MoveLast();
  rows->set_value(1, "new");
  rows->Update();
  EXPECT_EQ(opened("SELECT B FROM T WHERE A = 2")->value(0), Variant("new"));

  // Nothing but long values: without a criterion an update would mean the whole table.
  run("CREATE TABLE L (M MEMO)");
  run("INSERT INTO L VALUES ('only row')");
  rows = opened("SELECT * FROM L");
  EXPECT_EQ(test::error_of([&] {
              rows->Delete();
              return 0;
            }),
            ado::kUnspecified);
  EXPECT_EQ(opened("SELECT count(*) FROM L")->value(0), Variant(std::int32_t{1}));

  // Half of a composite key tells no row.
  run("CREATE TABLE K (A INTEGER, B INTEGER, V TEXT(10), PRIMARY KEY (A, B))");
  run("INSERT INTO K VALUES (1, 1, 'x'), (1, 2, 'x')");
  rows = opened("SELECT A, V FROM K");
  rows->set_value(1, "y");
  EXPECT_NE(test::error_of([&] {
              rows->Update();
              return 0;
            }),
            0);
  EXPECT_EQ(opened("SELECT count(*) FROM K WHERE V = 'x'")->value(0), Variant(std::int32_t{2}));
}

TEST_F(DesktopTest, TransactionsNestAndSurviveErrors) {
  run("CREATE TABLE T (ID INTEGER PRIMARY KEY)");
  const auto count = [&] { return opened("SELECT count(*) FROM T")->value(0); };
  EXPECT_EQ(test::error_of([&] {
              connection->CommitTrans();
              return 0;
            }),
            ado::kNoTransaction);
  EXPECT_EQ(connection->BeginTrans(), 1);
  run("INSERT INTO T VALUES (1)");
  EXPECT_EQ(connection->BeginTrans(), 2);
  run("INSERT INTO T VALUES (2)");
  EXPECT_NE(error_of("INSERT INTO T VALUES (1)"), 0);
  connection->RollbackTrans();
  EXPECT_EQ(count(), Variant(std::int32_t{1}));
  // Another connection sees nothing before the commit.
  const auto other = connected(folder / "a.db");
  EXPECT_EQ(other->Execute("SELECT count(*) FROM T")->value(0), Variant(std::int32_t{0}));
  connection->CommitTrans();
  EXPECT_EQ(other->Execute("SELECT count(*) FROM T")->value(0), Variant(std::int32_t{1}));
  for (int level = 1; level <= 5; ++level) EXPECT_EQ(connection->BeginTrans(), level);
  EXPECT_EQ(test::error_of([&] { return connection->BeginTrans(); }), ado::kTransactionActive);
}

TEST_F(DesktopTest, AStatementEndsAtItsTimeout) {
  connection->set_CommandTimeout(1);
  const char* const endless =
      "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c";
  EXPECT_EQ(error_of(endless), ado::kTimeoutExpired);
  EXPECT_EQ(connection->Execute("SELECT 1")->value(0), Variant(std::int32_t{1})) << "usable afterwards";
}

TEST_F(DesktopTest, TheTimeoutHoldsForAllFetches) {
  connection->set_CommandTimeout(1);
  EXPECT_EQ(test::error_of([&] {
              return opened(
                  "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) "
                  "SELECT x FROM c");
            }),
            ado::kTimeoutExpired);
}

TEST_F(DesktopTest, NothingOfALostTransactionIsStored) {
  run("CREATE TABLE T (ID INTEGER PRIMARY KEY)");
  connection->set_CommandTimeout(1);
  connection->BeginTrans();
  run("INSERT INTO T VALUES (1)");
  EXPECT_EQ(
      error_of(
          "INSERT INTO T WITH RECURSIVE c(x) AS (SELECT 2 UNION ALL SELECT x + 1 FROM c) SELECT x FROM c"),
      ado::kTimeoutExpired);
  for (const char* statement : {"INSERT INTO T VALUES (2)", "SELECT 1"}) {
    EXPECT_EQ(error_of(statement), ado::kNoTransaction) << "the engine rolled all of it back";
  }
  const auto number = [&](void (ado::Connection::*work)()) {
    return test::error_of([&] {
      ((*connection).*work)();
      return 0;
    });
  };
  EXPECT_EQ(number(&ado::Connection::CommitTrans), ado::kNoTransaction);
  EXPECT_EQ(number(&ado::Connection::RollbackTrans), 0);
  run("INSERT INTO T VALUES (3)");
  EXPECT_EQ(opened("SELECT sum(ID) FROM T")->value(0), Variant(std::int32_t{3}));
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
    EXPECT_EQ(opened("SELECT count(*) FROM T")->value(0), Variant(std::int32_t{0})) << value;
  }
}

TEST_F(DesktopTest, TablesAreSoughtByTheirIndexes) {
  run("CREATE TABLE \"My T\" (ID INTEGER PRIMARY KEY, S VARCHAR(5), V INTEGER)");
  run("CREATE INDEX ByS ON \"My T\" (S, V DESC)");
  run("INSERT INTO \"My T\" VALUES (1,'b',1),(2,'a',1),(3,'b',2),(4,NULL,9),(5,'d',0),(6,'b',1)");
  auto rows = make<ado::Recordset>();
  rows->Open("My T", Variant(connection), ado::adOpenStatic, ado::adLockOptimistic, ado::adCmdTableDirect);
  ASSERT_TRUE(rows->Supports(ado::adIndex | ado::adSeek));
  const auto error = [&](const std::function<void()>& work) {
    return test::error_of([&] { return work(), 0; });
  };
  EXPECT_EQ(error([&] { rows->Seek("b"); }), ado::full_number(ado::Model::feature_not_available));
  EXPECT_EQ(error([&] { rows->set_Index("Nosuch"); }), ado::kNoSuchIndex);
  rows->set_Index("bys");
  std::string order;
  for (; !rows->at_eof(); rows->MoveNext()) order += std::to_string(*rows->value(0).get_if<std::int32_t>());
  EXPECT_EQ(order, "423165");
  using Keys = Variant::Array;
  const struct {
    Variant keys;
    std::int32_t option;
    int found;  // 0: none
  } seeks[] = {
      {"b", ado::adSeekFirstEQ, 3},
      {"B", ado::adSeekLastEQ, 6},
      {Keys{"b", "1"}, ado::adSeekFirstEQ, 1},
      {"c", ado::adSeekFirstEQ, 0},
      {"c", ado::adSeekAfterEQ, 5},
      {"b", ado::adSeekAfter, 5},
      {"c", ado::adSeekBeforeEQ, 6},
      {"b", ado::adSeekBefore, 2},
      {"d", ado::adSeekAfter, 0},
      {Keys{"b", 2}, ado::adSeekAfter, 1},
      {Variant::null(), ado::adSeekFirstEQ, 4},
      {Variant::null(), ado::adSeekBefore, 0},
  };
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

TEST_F(DesktopTest, TwoConnectionsOnOneRowEndInAConflict) {
  run("CREATE TABLE T (ID INTEGER PRIMARY KEY, V TEXT(10))");
  run("INSERT INTO T VALUES (1, 'old')");
  const auto mine = opened("SELECT * FROM T");
  connected(folder / "a.db")->Execute("UPDATE T SET V = 'theirs'");
  mine->set_value(1, "mine");
  EXPECT_EQ(test::error_of([&] {
              mine->Update();
              return 0;
            }),
            ado::kConflict);
  EXPECT_EQ(mine->EditMode(), ado::adEditInProgress);
  EXPECT_EQ(opened("SELECT V FROM T")->value(0), Variant("theirs"));
}

}  // namespace
}  // namespace quarno::desktop
