// The object model under CData, as hosts that take its connection use it: rows that are edited, failures with
// their states, transactions.
#include <thread>

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "engines/engines.h"
#include "support/outcome.h"

namespace quarno::test {
namespace {

class ModelTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    if (data) connection = data->GetConnection();
  }
  Ptr<ado::Connection> other_connection() {
    const auto other = reaching();
    EXPECT_TRUE(other->AccessQuery("SELECT 1")) << other->Err_Description();
    return other->GetConnection();
  }
  Ptr<ado::Recordset> opened(const std::string& statement) {
    auto rows = make<ado::Recordset>();
    rows->set_CursorLocation(ado::adUseClient);
    rows->Open(statement, Variant(connection), ado::adOpenStatic, ado::adLockOptimistic);
    return rows;
  }
  std::string count(const std::string& rest) {
    return shown(opened("SELECT count(*) FROM " + rest)->value(0));
  }

  Ptr<ado::Connection> connection;
};

TEST_P(ModelTest, RowsAreChangedThroughTheRecordset) {
  make_table(std::string("ID ") + database().identity + ", V VARCHAR(10), W INTEGER");
  const auto rows = opened("SELECT * FROM " + table);
  for (const char* value : {"a", "b", "c"}) {
    rows->AddNew();
    rows->set_value(1, value);
    rows->Update();
  }
  EXPECT_EQ(rows->value(0), Variant(std::int32_t{3})) << "the number the source gave";
  EXPECT_EQ(shown(opened("SELECT @@Identity")->value(0)), "3");
  rows->MoveFirst();
  rows->set_value(1, "a");
  rows->Update();
  rows->set_value(1, "d");
  rows->Update();
  rows->MoveNext();
  rows->Delete();
  EXPECT_EQ(count(table + " WHERE V = 'd' AND ID = 1"), "1");
  EXPECT_EQ(count(table), "2");
  rows->MoveLast();
  other_connection()->Execute("UPDATE " + table + " SET V = 'other' WHERE ID = 3");
  rows->set_value(1, "mine");
  EXPECT_EQ(error_of([&] { return rows->Update(), 0; }), ado::kConflict);
  rows->CancelUpdate();
  // A column under another table is not the column of that table; half a key is none; an alias may hide what
  // it is.
  make_table("A INTEGER, B INTEGER, V VARCHAR(10), PRIMARY KEY (B, A)", database().quote);
  run("INSERT INTO " + table + " VALUES (1, 1, 'x')");
  const auto keyed = opened("SELECT A, V, B, A + B AS S FROM " + table);
  const auto has = [&](const Ptr<ado::Recordset>& set, std::int16_t column, std::int32_t attribute) {
    return (set->Fields()->Item(column)->Attributes() & attribute) != 0;
  };
  EXPECT_TRUE(has(keyed, 0, ado::adFldKeyColumn) && has(keyed, 2, ado::adFldKeyColumn));
  EXPECT_FALSE(has(keyed, 1, ado::adFldKeyColumn));
  EXPECT_FALSE(has(keyed, 3, ado::adFldUpdatable));
  keyed->set_value(1, "y");
  keyed->Update();
  EXPECT_EQ(count(table + " WHERE V = 'y'"), "1");
  EXPECT_FALSE(has(opened("SELECT A, V FROM " + table), 0, ado::adFldKeyColumn)) << "half a key is none";
  const auto swapped = opened("SELECT A AS B, B AS A, V FROM " + table);
  if (has(swapped, 0, ado::adFldUpdatable)) {
    swapped->set_value(0, std::int32_t{7});
    swapped->Update();
  }
  EXPECT_EQ(count(table + " WHERE B = 7"), "0") << "written to the column itself, or not at all";
  // Without a key nothing is changed when more than one row is hit, in a transaction or not.
  make_table("A INTEGER, V VARCHAR(10)");
  for (int i = 0; i < 2; ++i) run("INSERT INTO " + table + " VALUES (1, 'x')");
  for (const bool in_transaction : {false, true}) {
    if (in_transaction) connection->BeginTrans();
    const auto twice = opened("SELECT * FROM " + table);
    twice->set_value(1, "y");
    EXPECT_EQ(error_of([&] { return twice->Update(), 0; }), ado::kUnspecified);
    twice->CancelUpdate();
    if (in_transaction) connection->CommitTrans();
    EXPECT_EQ(count(table + " WHERE V = 'x'"), "2");
  }
}

TEST_P(ModelTest, FailuresCarryNumberAndState) {
  make_table("ID INTEGER PRIMARY KEY, V VARCHAR(5) NOT NULL");
  run("INSERT INTO " + table + " VALUES (1, 'a')");
  const struct {
    std::string statement;
    int number;
    const char* state;
  } rows[] = {
      {"INSERT INTO " + table + " VALUES (1, 'b')", ado::kIntegrityViolation, "23505"},
      {"INSERT INTO " + table + " VALUES (2, NULL)", ado::kIntegrityViolation, "23502"},
      {"SELECT * FROM NOWHERE", ado::kTableNotFound, "42"},
      {"SELECT MISSPELT FROM " + table, ado::kErrorsInCommand, "42"},
      {"SELEC 1", ado::kErrorsInCommand, "42"},
      {std::string("SELECT 1\0 ", 10), ado::kErrorsInCommand, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.statement);
    EXPECT_EQ(error_of([&] { return connection->Execute(row.statement); }), row.number);
    ASSERT_GE(connection->Errors()->Count(), 1);
    const std::string state = connection->Errors()->Item(std::int16_t{0})->SQLState();
    EXPECT_TRUE(state.starts_with(row.state)) << state;
  }
  const auto adding = opened("SELECT * FROM " + table);
  adding->AddNew();
  adding->set_value(0, std::int32_t{1});
  adding->set_value(1, "b");
  EXPECT_EQ(error_of([&] { return adding->Update(), 0; }), ado::kIntegrityViolation);
  adding->set_value(0, std::int32_t{2});
  adding->Update();
  EXPECT_EQ(count(table), "2") << "the statement serves again after its failure";
  std::int32_t changed = -2;
  connection->Execute("UPDATE " + table + " SET V = 'z' WHERE ID = 77", Ref<std::int32_t>(changed));
  EXPECT_EQ(changed, 0);
  connection->Execute("UPDATE " + table + " SET V = 'z'", Ref<std::int32_t>(changed));
  EXPECT_EQ(changed, 2);
}

TEST_P(ModelTest, TransactionsHoldTogether) {
  make_table("ID INTEGER PRIMARY KEY");
  EXPECT_EQ(connection->BeginTrans(), 1);
  EXPECT_EQ(error_of([&] { return connection->BeginTrans(); }), ado::kTransactionActive);
  run("INSERT INTO " + table + " VALUES (1)");
  connection->RollbackTrans();
  EXPECT_EQ(error_of([&] { return connection->CommitTrans(), 0; }), ado::kNoTransaction);
  EXPECT_EQ(count(table), "0");
  connection->BeginTrans();
  run("INSERT INTO " + table + " VALUES (1)");
  EXPECT_NE(error_of([&] { return connection->Execute("INSERT INTO " + table + " VALUES (1)"); }), 0);
  run("INSERT INTO " + table + " VALUES (2)");
  connection->CommitTrans();
  run("INSERT INTO " + table + " VALUES (3)");
  const auto other = other_connection();
  EXPECT_EQ(shown(other->Execute("SELECT count(*) FROM " + table)->value(0)), "3");
}

TEST_P(ModelTest, NothingOfALostTransactionIsStored) {
  if (!database().loses_on_deadlock) GTEST_SKIP() << "a deadlock undoes no transaction";
  make_table("ID INTEGER PRIMARY KEY, V INTEGER");
  for (const char* id : {"1", "2", "3"}) run("INSERT INTO " + table + " VALUES (" + id + ", 0)");
  const auto mine = other_connection();
  const auto theirs = other_connection();
  const auto update = [&](const Ptr<ado::Connection>& by, const std::string& rest) {
    return error_of([&] { return by->Execute("UPDATE " + table + " SET V = " + rest); });
  };
  mine->BeginTrans();
  theirs->BeginTrans();
  EXPECT_EQ(update(mine, "1 WHERE ID = 1"), 0);
  // The one that changed less is the victim.
  EXPECT_EQ(update(theirs, "2 WHERE ID >= 2"), 0);
  int went_on = -1;
  std::thread waiting([&] { went_on = update(theirs, "2 WHERE ID = 1"); });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const int failure = update(mine, "1 WHERE ID = 2");
  waiting.join();
  ASSERT_NE(failure, 0) << "no deadlock, or another victim";
  EXPECT_EQ(went_on, 0);
  EXPECT_EQ(update(mine, "1 WHERE ID = 3"), ado::kNoTransaction);
  EXPECT_EQ(error_of([&] { return mine->CommitTrans(), 0; }), ado::kNoTransaction);
  mine->RollbackTrans();
  theirs->CommitTrans();
  EXPECT_EQ(count(table + " WHERE V = 2"), "3");
}

INSTANTIATE_TEST_SUITE_P(Engines, ModelTest, ::testing::ValuesIn(engines(Choose::one_a_driver)), engine_name);

}  // namespace
}  // namespace quarno::test
