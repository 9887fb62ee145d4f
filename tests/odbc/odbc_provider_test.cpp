// One suite of queries over every driver the machine has: SQLite's, MariaDB's, PostgreSQL's. What differs
// between them is declared in the table of engines.
#include "providers/odbc/odbc_provider.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "common/convert.h"
#include "common/text.h"
#include "support/servers.h"
#include "support/outcome.h"

namespace quarno::ado {

const Provider* find_provider(const ConnectionString&) { return &odbc::odbc_provider(); }

}  // namespace quarno::ado

namespace quarno::odbc {
namespace {

using ado::DataType;

struct TypeRow {
  const char* declaration;
  DataType type;
  std::vector<Variant> values;
};

struct Engine {
  const char* name;
  const char* library;
  std::optional<test::Server::Kind> server;
  const char* quote;
  const char* identity;  // column that numbers its rows
  const char* sleep;     // a statement that takes 5 s; null when the driver cannot end one
  const char* text_type;
  bool loses_on_deadlock;
  std::vector<TypeRow> own_types;
};

const Decimal kLargest = Decimal::parse("1234567890123456.7891").value();
const Variant kMoment = Date{42009.0 + (14 * 3600 + 7 * 60 + 33) / 86400.0};
const Variant kFraction = date_from_civil({2015, 1, 5, 23, 59, 59, 250000}).value();
const Variant kSixOClock = Date{0.25};
const Variant::Bytes kBlob(1'000'000, 0xFE);

const Engine kEngines[] = {
    {"SQLite",
     "libsqlite3odbc.so",
     std::nullopt,
     "\"",
     "INTEGER PRIMARY KEY AUTOINCREMENT",
     nullptr,
     "TEXT",
     false,
     {{"DATE", DataType::db_date, {Date{42009.0}, Date{-1000.0}}},
      {"TIMESTAMP", DataType::db_timestamp, {kMoment, kFraction, Date{2.0}}},
      {"BIT", DataType::boolean, {true, false}},
      // The driver has no exact numbers: the text comes back.
      {"DECIMAL(20,4)", DataType::var_char, {"12.5", "-1"}},
      {"BLOB", DataType::long_var_binary, {kBlob, Variant::Bytes{0}}}}},
    {"MariaDB",
     "libmaodbc.so",
     test::Server::Kind::mariadb,
     "`",
     "INTEGER AUTO_INCREMENT PRIMARY KEY",
     "SELECT SLEEP(5)",
     "LONGTEXT",
     true,
     {{"DATE", DataType::db_date, {Date{42009.0}, Date{-1000.0}}},
      {"TIME", DataType::db_time, {kSixOClock, Date{0.0}}},
      {"DATETIME(3)", DataType::db_timestamp, {kMoment, kFraction, Date{0.25}}},
      {"BIT", DataType::boolean, {true, false}},
      {"BOOLEAN", DataType::tiny_int, {std::int16_t{1}, std::int16_t{0}}},
      {"FLOAT", DataType::single, {0.1F, -2.5F}},
      {"DOUBLE", DataType::real, {1.0 / 3, 1.7976931348623157e308}},
      {"DECIMAL(20,4)", DataType::numeric, {kLargest, Decimal::parse("-0.0001").value()}},
      {"INTEGER UNSIGNED", DataType::unsigned_int, {std::int64_t{4294967295}}},
      {"BIGINT UNSIGNED", DataType::unsigned_big_int, {Decimal::parse("18446744073709551615").value()}},
      {"VARBINARY(16)", DataType::var_binary, {Variant::Bytes{0, 1, 255}}},
      {"LONGBLOB", DataType::long_var_binary, {kBlob, Variant::Bytes{}, Variant::Bytes{0}}}}},
    {"PostgreSQL",
     "psqlodbcw.so",
     test::Server::Kind::postgresql,
     "\"",
     "SERIAL PRIMARY KEY",
     "SELECT pg_sleep(5)",
     "TEXT",
     false,
     {{"DATE", DataType::db_date, {Date{42009.0}, Date{-1000.0}}},
      {"TIME", DataType::db_time, {kSixOClock, Date{0.0}}},
      {"TIMESTAMP", DataType::db_timestamp, {kMoment, kFraction, Date{0.25}}},
      {"BOOLEAN", DataType::boolean, {true, false}},
      {"REAL", DataType::single, {0.1F, -2.5F}},
      {"DOUBLE PRECISION", DataType::real, {1.0 / 3, 1.7976931348623157e308}},
      {"DECIMAL(20,4)", DataType::numeric, {kLargest, Decimal::parse("-0.0001").value()}},
      {"UUID", DataType::guid, {"{0000000A-0000-4000-8000-000000000001}"}},
      {"VARCHAR", DataType::var_char, {std::string(255, 'x')}},
      {"BYTEA", DataType::long_var_binary, {kBlob, Variant::Bytes{}, Variant::Bytes{0}}}}},
};

// Of all engines. Longer than a piece, and characters of three bytes, so that pieces end inside one.
std::string long_text() {
  std::string text = "x";
  for (int i = 0; i < 350'000; ++i) text += "€";
  return text;
}

class OdbcTest : public ::testing::TestWithParam<const Engine*> {
 protected:
  static void SetUpTestSuite() {
    // The driver manager reads its settings at the first call; none of the machine's are to count.
    // The drivers load it again and again, and each time it leaves what it read of the ini files behind.
    ::dlopen("libodbcinst.so.2", RTLD_NOW | RTLD_NODELETE);
    std::string drivers;
    for (const Engine& each : kEngines)
      drivers += std::string("[") + each.name + "]\nDriver=" + each.library + "\n";
    ini_folder().put("odbcinst.ini", drivers);
    static const test::ScopedVariable variable("ODBCSYSINI", ini_folder().path());
  }
  static const test::TempFolder& ini_folder() {
    static const test::TempFolder folder;
    return folder;
  }
  void SetUp() override {
    const std::string problem = server() != nullptr ? server()->ensure_running() : "";
    if (!problem.empty()) GTEST_SKIP() << engine().name << ": " << problem;
    // It accepts before it lets anyone in.
    for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10); !connection;) {
      try {
        connection = connected();
      } catch (const Error& error) {
        const bool installed = error.description.find("Can't open lib") == std::string::npos;
        if (!installed) GTEST_SKIP() << engine().name << ": " << error.description;
        ASSERT_LT(std::chrono::steady_clock::now() - end, std::chrono::seconds(0)) << error.description;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
      }
    }
  }

  const Engine& engine() const { return *GetParam(); }
  test::Server* server() const {
    if (!engine().server) return nullptr;
    static test::Server mariadb(test::Server::Kind::mariadb);
    static test::Server postgresql(test::Server::Kind::postgresql);
    return *engine().server == test::Server::Kind::mariadb ? &mariadb : &postgresql;
  }
  std::string text(const std::string& database = {}, const std::string& password = test::server_password(),
                   int port = 0) const {
    const std::string driver = std::string("DRIVER={") + engine().library + "}";
    if (server() == nullptr)
      return driver + ";NoCreat=0;DATABASE=" + folder / (database.empty() ? "a.db" : database);
    const bool is_mariadb = *engine().server == test::Server::Kind::mariadb;
    const char* const own = is_mariadb ? test::kServerDatabase : "postgres";
    // The text's own rule doubles a closing brace.
    return driver + ";SERVER=127.0.0.1;PORT=" + std::to_string(port != 0 ? port : server()->port()) +
           ";DATABASE=" + (database.empty() ? own : database) + ";UID=" + test::kServerUser + ";PWD={" +
           text::replace_all(password, "}", "}}") + "}";
  }
  static Ptr<ado::Connection> connected_by(const std::string& text) {
    auto result = make<ado::Connection>();
    result->Open(text);
    return result;
  }
  // Makes a data source of a new name: what was once read of one is kept.
  std::string data_source() const {
    static int number = 0;
    const std::string name = engine().name + std::to_string(++number);
    ini_folder().put("odbc.ini", "[" + name + "]\n" + settings());
    return name;
  }
  std::string settings() const {
    std::string lines = std::string("Driver=") + engine().name + "\n";
    if (server() == nullptr) return lines + "Database=" + (folder / "a.db") + "\n";
    return lines + "Server=127.0.0.1\nServername=127.0.0.1\nPort=" + std::to_string(server()->port()) +
           "\nDatabase=" +
           (*engine().server == test::Server::Kind::mariadb ? test::kServerDatabase : "postgres") +
           "\nUser=" + test::kServerUser + "\nUsername=" + test::kServerUser +
           "\nPassword=" + test::server_password() + "\n";
  }
  Ptr<ado::Connection> connected() const { return connected_by(text()); }
  Ptr<ado::Recordset> opened(const std::string& statement) {
    auto rows = make<ado::Recordset>();
    rows->set_CursorLocation(ado::adUseClient);
    rows->Open(statement, Variant(connection), ado::adOpenStatic, ado::adLockOptimistic);
    return rows;
  }
  void run(const std::string& statement) { connection->Execute(statement); }
  void table(const std::string& name, const std::string& columns) {
    run("DROP TABLE IF EXISTS " + name);
    run("CREATE TABLE " + name + " (" + columns + ")");
  }
  std::string count(const std::string& rest) {
    return to_text(opened("SELECT count(*) FROM " + rest)->value(0), LocaleInfo{});
  }

  test::TempFolder folder;
  Ptr<ado::Connection> connection;
};

TEST_P(OdbcTest, EveryTypeComesBackAsItWasWritten) {
  std::vector<TypeRow> rows = {
      {"SMALLINT", DataType::small_int, {std::int16_t{-32768}, std::int16_t{32767}}},
      {"INTEGER", DataType::integer, {INT32_MIN, INT32_MAX}},
      {"BIGINT", DataType::big_int, {INT64_MIN, INT64_MAX}},
      {"DOUBLE PRECISION", DataType::real, {0.1, -1e300, 34558.0}},
      {"VARCHAR(50)", DataType::var_char, {"perché 🙂", "", "'; DROP--"}},
      {engine().text_type, DataType::long_var_char, {long_text(), ""}},
  };
  rows.insert(rows.end(), engine().own_types.begin(), engine().own_types.end());
  for (const TypeRow& row : rows) {
    SCOPED_TRACE(row.declaration);
    table("T", std::string("ID INTEGER PRIMARY KEY, V ") + row.declaration);
    auto writing = opened("SELECT * FROM T");
    EXPECT_EQ(writing->Fields()->Item(std::int16_t{1})->Type(), static_cast<std::int32_t>(row.type));
    std::int32_t id = 0;
    for (const Variant& value : row.values) {
      writing->AddNew();
      writing->set_value(0, ++id);
      writing->set_value(1, value);
      writing->Update();
    }
    run("INSERT INTO T VALUES (99, NULL)");
    const auto reading = opened("SELECT V FROM T ORDER BY ID");
    for (const Variant& value : row.values) {
      EXPECT_EQ(reading->value(0), value);
      reading->MoveNext();
    }
    EXPECT_TRUE(reading->value(0).is_null());
    reading->MoveNext();
    EXPECT_TRUE(reading->at_eof());
    // The value tells its row: an edit compares what was read with what is stored.
    const auto editing = opened("SELECT * FROM T ORDER BY ID");
    for (std::size_t i = 0; i < row.values.size() + 1; ++i) {
      editing->set_value(1, row.values.front());
      editing->Update();
      editing->MoveNext();
    }
    EXPECT_EQ(opened("SELECT V FROM T WHERE ID = 99")->value(0), row.values.front());
  }
}

TEST_P(OdbcTest, BlocksAndLongColumnsGiveTheSameRows) {
  table("T", std::string("ID INTEGER PRIMARY KEY, V VARCHAR(40), L ") + engine().text_type);
  EXPECT_TRUE(opened("SELECT * FROM T")->at_eof());
  connection->BeginTrans();
  const auto writing = opened("SELECT ID, V, L FROM T");
  constexpr std::int32_t kRows = 10'000;
  for (std::int32_t i = 0; i < kRows; ++i) {
    writing->AddNew();
    writing->set_value(0, i);
    if (i % 3 != 0) writing->set_value(1, "è" + std::to_string(i));
    if (i % 5 != 0) writing->set_value(2, std::to_string(i));
    writing->Update();
  }
  connection->CommitTrans();
  for (const char* columns : {"ID, V", "ID, V, L", "L, V, ID"}) {
    SCOPED_TRACE(columns);
    const auto rows = opened(std::string("SELECT ") + columns + " FROM T ORDER BY ID");
    ASSERT_EQ(rows->RecordCount(), kRows);
    const auto value = [&](const char* name) { return rows->Fields()->Item(Variant(name))->Value(); };
    int wrong = 0;
    for (std::int32_t i = 0; i < kRows; ++i, rows->MoveNext()) {
      wrong += value("ID") != Variant(i);
      wrong += value("V") != (i % 3 != 0 ? Variant("è" + std::to_string(i)) : Variant::null());
      const bool has_long = std::string_view(columns).find('L') != std::string_view::npos;
      if (has_long) wrong += value("L") != (i % 5 != 0 ? Variant(std::to_string(i)) : Variant::null());
    }
    EXPECT_EQ(wrong, 0);
  }
}

TEST_P(OdbcTest, RowsAreChangedThroughTheRecordset) {
  table("T", std::string("ID ") + engine().identity + ", V VARCHAR(10), W INTEGER");
  const auto rows = opened("SELECT * FROM T");
  for (const char* value : {"a", "b", "c"}) {
    rows->AddNew();
    rows->set_value(1, value);
    rows->Update();
  }
  EXPECT_EQ(rows->value(0), Variant(std::int32_t{3})) << "the number the source gave";
  EXPECT_EQ(to_text(opened("SELECT @@Identity")->value(0), LocaleInfo{}), "3");
  rows->MoveFirst();
  rows->set_value(1, "a");
  rows->Update();
  rows->set_value(1, "d");
  rows->Update();
  rows->MoveNext();
  rows->Delete();
  EXPECT_EQ(count("T WHERE V = 'd' AND ID = 1"), "1");
  EXPECT_EQ(count("T"), "2");
  rows->MoveLast();
  connected()->Execute("UPDATE T SET V = 'other' WHERE ID = 3");
  rows->set_value(1, "mine");
  EXPECT_EQ(test::error_of([&] { return rows->Update(), 0; }), ado::kConflict);
  rows->CancelUpdate();
  // A column under another name is not the column of that name; half a key is none; an alias may hide what it
  // is.
  const std::string quote = engine().quote;
  const std::string name = quote + "KEYED" + quote;
  table(name, "A INTEGER, B INTEGER, V VARCHAR(10), PRIMARY KEY (B, A)");
  run("INSERT INTO " + name + " VALUES (1, 1, 'x')");
  const auto keyed = opened("SELECT A, V, B, A + B AS S FROM " + name);
  const auto has = [&](const Ptr<ado::Recordset>& set, std::int16_t column, std::int32_t attribute) {
    return (set->Fields()->Item(column)->Attributes() & attribute) != 0;
  };
  EXPECT_TRUE(has(keyed, 0, ado::adFldKeyColumn) && has(keyed, 2, ado::adFldKeyColumn));
  EXPECT_FALSE(has(keyed, 1, ado::adFldKeyColumn));
  EXPECT_FALSE(has(keyed, 3, ado::adFldUpdatable));
  keyed->set_value(1, "y");
  keyed->Update();
  EXPECT_EQ(count(name + " WHERE V = 'y'"), "1");
  EXPECT_FALSE(has(opened("SELECT A, V FROM " + name), 0, ado::adFldKeyColumn)) << "half a key is none";
  const auto swapped = opened("SELECT A AS B, B AS A, V FROM " + name);
  if (has(swapped, 0, ado::adFldUpdatable)) {
    swapped->set_value(0, std::int32_t{7});
    swapped->Update();
  }
  EXPECT_EQ(count(name + " WHERE B = 7"), "0") << "written to the column itself, or not at all";
  // Without a key nothing is changed when more than one row is hit, in a transaction or not.
  table("N", "A INTEGER, V VARCHAR(10)");
  for (int i = 0; i < 2; ++i) run("INSERT INTO N VALUES (1, 'x')");
  for (const bool in_transaction : {false, true}) {
    if (in_transaction) connection->BeginTrans();
    const auto twice = opened("SELECT * FROM N");
    twice->set_value(1, "y");
    EXPECT_EQ(test::error_of([&] { return twice->Update(), 0; }), ado::kUnspecified);
    twice->CancelUpdate();
    if (in_transaction) connection->CommitTrans();
    EXPECT_EQ(count("N WHERE V = 'x'"), "2");
  }
}

TEST_P(OdbcTest, FailuresCarryNumberAndState) {
  table("T", "ID INTEGER PRIMARY KEY, V VARCHAR(5) NOT NULL");
  run("INSERT INTO T VALUES (1, 'a')");
  const struct {
    std::string statement;
    int number;
    const char* state;
  } rows[] = {
      {"INSERT INTO T VALUES (1, 'b')", ado::kIntegrityViolation, "23505"},
      {"INSERT INTO T VALUES (2, NULL)", ado::kIntegrityViolation, "23502"},
      {"SELECT * FROM NOWHERE", ado::kTableNotFound, "42"},
      {"SELECT MISSPELT FROM T", ado::kErrorsInCommand, "42"},
      {"SELEC 1", ado::kErrorsInCommand, "42"},
      {std::string("SELECT 1\0 ", 10), ado::kErrorsInCommand, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.statement);
    EXPECT_EQ(test::error_of([&] { return connection->Execute(row.statement); }), row.number);
    ASSERT_GE(connection->Errors()->Count(), 1);
    const std::string state = connection->Errors()->Item(std::int16_t{0})->SQLState();
    EXPECT_TRUE(state.starts_with(row.state)) << state;
  }
  const auto adding = opened("SELECT * FROM T");
  adding->AddNew();
  adding->set_value(0, std::int32_t{1});
  adding->set_value(1, "b");
  EXPECT_EQ(test::error_of([&] { return adding->Update(), 0; }), ado::kIntegrityViolation);
  adding->set_value(0, std::int32_t{2});
  adding->Update();
  EXPECT_EQ(count("T"), "2") << "the statement serves again after its failure";
  std::int32_t changed = -2;
  connection->Execute("UPDATE T SET V = 'z' WHERE ID = 77", Ref<std::int32_t>(changed));
  EXPECT_EQ(changed, 0);
  connection->Execute("UPDATE T SET V = 'z'", Ref<std::int32_t>(changed));
  EXPECT_EQ(changed, 2);
}

TEST_P(OdbcTest, TransactionsHoldTogether) {
  table("T", "ID INTEGER PRIMARY KEY");
  EXPECT_EQ(connection->BeginTrans(), 1);
  EXPECT_EQ(test::error_of([&] { return connection->BeginTrans(); }), ado::kTransactionActive);
  run("INSERT INTO T VALUES (1)");
  connection->RollbackTrans();
  EXPECT_EQ(test::error_of([&] { return connection->CommitTrans(), 0; }), ado::kNoTransaction);
  EXPECT_EQ(count("T"), "0");
  connection->BeginTrans();
  run("INSERT INTO T VALUES (1)");
  EXPECT_NE(test::error_of([&] { return connection->Execute("INSERT INTO T VALUES (1)"); }), 0);
  run("INSERT INTO T VALUES (2)");
  connection->CommitTrans();
  run("INSERT INTO T VALUES (3)");
  const auto other = connected();
  EXPECT_EQ(to_text(other->Execute("SELECT count(*) FROM T")->value(0), LocaleInfo{}), "3");
}

TEST_P(OdbcTest, NothingOfALostTransactionIsStored) {
  if (!engine().loses_on_deadlock) GTEST_SKIP() << "a deadlock undoes no transaction";
  table("T", "ID INTEGER PRIMARY KEY, V INTEGER");
  for (int id = 1; id <= 3; ++id) run("INSERT INTO T VALUES (" + std::to_string(id) + ", 0)");
  const auto parsed = ado::ConnectionString::parse(text());
  const auto mine = odbc_provider().open(parsed, 5);
  const auto theirs = odbc_provider().open(parsed, 5);
  mine->begin();
  theirs->begin();
  mine->execute("UPDATE T SET V = 1 WHERE ID = 1", 20);
  // The one that changed less is the victim.
  theirs->execute("UPDATE T SET V = 2 WHERE ID >= 2", 20);
  std::thread waiting([&] {
    test::error_of([&] { return theirs->execute("UPDATE T SET V = 2 WHERE ID = 1", 20).affected; });
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const int failure =
      test::error_of([&] { return mine->execute("UPDATE T SET V = 1 WHERE ID = 2", 20).affected; });
  waiting.join();
  ASSERT_NE(failure, 0) << "no deadlock, or another victim";
  EXPECT_EQ(test::error_of([&] { return mine->execute("UPDATE T SET V = 1 WHERE ID = 3", 20).affected; }),
            ado::kNoTransaction);
  EXPECT_EQ(test::error_of([&] { return mine->commit(), 0; }), ado::kNoTransaction);
  mine->rollback();
  theirs->commit();
  EXPECT_EQ(count("T WHERE V = 2"), "3");
}

TEST_P(OdbcTest, AStatementEndsAtItsTimeout) {
  if (engine().sleep == nullptr) GTEST_SKIP() << "the driver ignores the limit";
  connection->set_CommandTimeout(1);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(test::error_of([&] { return connection->Execute(engine().sleep); }), ado::kTimeoutExpired);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(4));
  EXPECT_EQ(to_text(opened("SELECT 1")->value(0), LocaleInfo{}), "1") << "usable afterwards";
}

TEST_P(OdbcTest, WhatCannotBeOpenedSaysWhy) {
  const auto failure = [&](const std::string& text, int seconds = 15) {
    const auto result = make<ado::Connection>();
    result->set_ConnectionTimeout(seconds);
    try {
      result->Open(text);
    } catch (const Error& error) {
      EXPECT_TRUE(error.from_provider);
      EXPECT_EQ(error.description.find(test::server_password()), std::string::npos);
      return error.number;
    }
    return 0;
  };
  EXPECT_EQ(failure("DSN=;UID=;PWD="), ado::kUnspecified);
  EXPECT_EQ(failure("DSN=nosuch"), ado::kUnspecified);
  EXPECT_EQ(failure("DRIVER={No Such Driver}"), ado::kUnspecified);
  EXPECT_EQ(failure("DSN=" + data_source() + ";UID=;PWD="), 0) << "its settings stand in odbc.ini";
  if (server() == nullptr) return;
  EXPECT_EQ(failure(text({}, "not the password")), ado::kLoginFailed);
  EXPECT_EQ(failure(text("nosuch")), ado::kUnspecified);
  EXPECT_EQ(failure(text({}, test::server_password(), test::free_port())), ado::kUnspecified);
  // A server that never answers: connections wait in the listener's queue.
  const test::SilentListener silent;
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(failure(text({}, test::server_password(), silent.port()), 2), ado::kUnspecified);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
}

TEST_P(OdbcTest, AServerThatGoesAwayIsNoticed) {
  if (server() == nullptr) GTEST_SKIP() << "no server";
  const auto session = odbc_provider().open(ado::ConnectionString::parse(text()), 5);
  EXPECT_TRUE(session->is_alive());
  session->begin();
  server()->kill();
  EXPECT_NE(test::error_of([&] { return session->execute("SELECT 1", 0).affected; }), 0);
  EXPECT_FALSE(session->is_alive());
  EXPECT_EQ(test::error_of([&] { return session->rollback(), 0; }), 0) << "lost is undone";
  EXPECT_EQ(session->transaction_level(), 0);
}

std::vector<const Engine*> all_engines() {
  std::vector<const Engine*> result;
  for (const Engine& engine : kEngines) result.push_back(&engine);
  return result;
}
INSTANTIATE_TEST_SUITE_P(Drivers, OdbcTest, ::testing::ValuesIn(all_engines()),
                         [](const auto& each) { return std::string(each.param->name); });

}  // namespace
}  // namespace quarno::odbc
