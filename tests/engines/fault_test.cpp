// Failures through CData: whatever goes wrong is recorded, logged and shown with the same words, gives the
// failure result, ends in time, and tells nobody the password.
#include <functional>
#include <thread>

#include "ado/ado_error.h"
#include "engines/engines.h"
#include "support/odbc_ini.h"
#include "support/outcome.h"
#include "support/reset_proxy.h"

namespace quarno::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class FaultTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    if (data) data->SetMessages(true);
  }
  // Of the last failure, wherever it is told.
  void expect_told(CData& failed, const std::string& member, int number, const std::string& fragment,
                   const char* source = nullptr) {
    EXPECT_EQ(failed.Err_Number(), number) << failed.Err_Description();
    EXPECT_EQ(failed.Err_Source(), source != nullptr ? source : database().source);
    EXPECT_NE(failed.Err_Description().find(fragment), std::string::npos) << failed.Err_Description();
    const auto record = failed.GetErrObj();
    EXPECT_EQ(record->m_Number, failed.Err_Number());
    const std::string told =
        record->m_Source + "\t" + std::to_string(record->m_Number) + "\t" + record->m_Description;
    const std::string log = bytes_of(folder / "QuarnoLog.txt");
    EXPECT_TRUE(log.ends_with("05/01/2024 14:07:33\t" + member + "\t" + told + "\r\n")) << log;
    ASSERT_FALSE(dialogs.boxes.empty());
    EXPECT_EQ(dialogs.boxes.back(), member + " - \r\nNumber : " + std::to_string(number) + "\r\nSource : " +
                                        record->m_Source + "\r\nDescription : " + record->m_Description);
    // Of the password what no way of quoting changes.
    const std::string secret = server_password().substr(server_password().find('{') + 1);
    for (const std::string& text : {log, dialogs.boxes.back(), told}) {
      EXPECT_EQ(text.find(secret), std::string::npos) << text;
    }
  }
  // What a connection that was lost leaves: a failure told, and a closed connection.
  void expect_lost(CData& lost, const std::string& member) {
    expect_told(lost, member, ado::kUnspecified, "");
    EXPECT_FALSE(lost.IsConnectionOpen());
  }
  // The rows that come are right, and if some do not, that is told.
  void expect_no_false_end(const Where& where, bool async, const std::function<void()>& cut,
                           const std::function<void()>& mend) {
    SCOPED_TRACE(async ? "async" : "stream");
    constexpr int kRows = 100'000;
    const auto reading = reaching(where);
    reading->SetMessages(true);
    reading->SetAsyncMode(async);
    if (!async) {
      reading->SetCursorLocation(ado::adUseServer);
      reading->SetCursor(ado::adOpenForwardOnly);
      reading->SetLock(ado::adLockReadOnly);
    }
    ASSERT_TRUE(reading->AccessQuery("SELECT x FROM " + series(kRows))) << reading->Err_Description();
    int walked = 1;
    for (; walked < 100; ++walked) ASSERT_TRUE(reading->MoveNext());
    cut();
    while (reading->MoveNext()) ++walked;
    EXPECT_EQ(shown(reading->GetPoundPos(0)), std::to_string(walked)) << "the last row that came is current";
    if (walked != kRows) expect_lost(*reading, "MoveNext");
    mend();
    expect_back(*reading);
  }
  void expect_back(CData& lost) {
    bool back = false;
    for (const auto end = Clock::now() + 10s; !back && Clock::now() < end;
         std::this_thread::sleep_for(20ms)) {
      back = lost.AccessQuery("SELECT x FROM " + series(3));
    }
    ASSERT_TRUE(back) << lost.Err_Description();
    EXPECT_EQ(lost.RecordCount(), lost.GetClone() ? 3 : -1);
    EXPECT_TRUE(lost.IsConnectionOpen());
  }
};
class TimeLimitTest : public FaultTest {};
class ServerTest : public FaultTest {};
class KilledServerTest : public FaultTest {};

TEST_P(FaultTest, WhatCannotBeOpenedSaysWhy) {
  const bool by_source = engine().kind == data::Conn_ODBC;
  const auto source = [&](const std::string& name) {
    auto made = reaching();
    made->SetServer(name);
    return made;
  };
  folder.put("bad.db", "not a database, and long enough to be none");
  struct Row {
    const char* label;
    Ptr<CData> failing;
    std::string fragment;
    int number = ado::kUnspecified;
  };
  std::vector<Row> rows;
  if (database().server || is_real())
    rows.push_back({"password", reaching({.password = server_password() + "x"}), database().login_refused,
                    ado::kLoginFailed});
  const char* const missing = database().server ? "nosuch" : by_source ? "missing/a.db" : "bad.db";
  const char* const unknown = database().unknown_database;
  if (!is_real() && unknown != nullptr)
    rows.push_back({"database", reaching({.database = missing}), unknown});
  if (database().server)
    rows.push_back({"refused", reaching({.port = free_port()}), database().connection_refused});
  if (by_source) {
    const std::string no_driver = OdbcIni::of_program().add_source("/nosuch.so", "");
    rows.push_back({"source", source("nosuch"), "Data source name not found"});
    rows.push_back({"driver", source(no_driver), "Can't open lib '/nosuch.so'"});
  }
  for (const auto& [label, failing, fragment, number] : rows) {
    SCOPED_TRACE(label);
    failing->SetMessages(true);
    failing->m_Tabella = "T";
    EXPECT_FALSE(failing->Selection());
    expect_told(*failing, "Selection", number, fragment);
    EXPECT_FALSE(failing->ExecuteSQL("DELETE FROM T"));
    EXPECT_EQ(failing->Err_Number(), number) << "and again";
    EXPECT_FALSE(failing->IsConnectionOpen());
    EXPECT_TRUE(failing->IsEof());
  }
  if (by_source && database().server) {
    // What the data source says of the login counts when the host says nothing.
    const auto own =
        source(source_of({}, std::string("\nUsername=") + kServerUser + "\nPassword=" + server_password()));
    own->SetDatabase("");
    EXPECT_TRUE(own->AccessQuery("SELECT 1")) << own->Err_Description();
  }
  if (by_source || database().driver == nullptr) return;
  const ScopedVariable no_drivers("ODBCSYSINI", folder.path());
  data->CloseConnection();
  EXPECT_FALSE(data->AccessQuery("SELECT 1"));
  expect_told(*data, "AccessQuery", ado::full_number(ado::Model::provider_not_found), "river",
              "ADODB.Connection");
}

TEST_P(FaultTest, AStatementThatFailsIsTold) {
  open("SELECT x FROM " + series(1));
  EXPECT_FALSE(data->AccessQuery("SELEC '" + server_password() + "'"));
  EXPECT_EQ(data->Err_Number(), ado::kErrorsInCommand);
  EXPECT_FALSE(data->AccessQuery("SELECT * FROM qf_nowhere"));
  expect_told(*data, "AccessQuery", ado::kTableNotFound, "qf_nowhere");
  EXPECT_TRUE(data->IsConnectionOpen());
  EXPECT_TRUE(data->IsEof());
  open("SELECT x FROM " + series(1));
}

TEST_P(FaultTest, WhatGoesWrongInATransactionIsNotStoredInPart) {
  const auto count = [&] { return open("SELECT count(*) AS N FROM " + table), shown(data->GetValue("N")); };
  data->SetMessages(false);
  make_table("ID INTEGER PRIMARY KEY");
  const std::string insert = "INSERT INTO " + table + " VALUES ";
  // A failure leaves the transaction usable, or takes it along and says so at the commit.
  for (const std::string& mistake : {std::string("SELEC 1"), insert + "(" + database().refused_id + ")"}) {
    run("DELETE FROM " + table);
    data->TransBegin();
    run(insert + "(1)");
    EXPECT_FALSE(data->ExecuteSQL(mistake));
    const bool went_on = data->ExecuteSQL(insert + "(2)");
    data->set_Err_Activate(true);
    EXPECT_EQ(error_of([&] { return data->TransCommit(), 0; }) == 0, went_on) << mistake;
    data->set_Err_Activate(false);
    if (!went_on) data->TransRollBack();
    EXPECT_EQ(count(), went_on ? "2" : "0") << mistake;
  }
  // One that a statement begins is the host's own, whatever is read meanwhile.
  run("DELETE FROM " + table);
  data->CloseRs();
  run("BEGIN");
  run(insert + "(7)");
  data->SetAsyncMode(true);
  EXPECT_EQ(count(), "1");
  data->CloseRs();
  run("ROLLBACK");
  EXPECT_EQ(count(), "0");
}

TEST_P(TimeLimitTest, AWalkEndsWhereItsRowsBreakOff) {
  // Only a server that fails in the middle of a result shows it.
  if (std::string_view(engine().name) != "PostgreSQLSource") return;
  for (const bool async : {false, true}) {
    data->SetCursorLocation(async ? ado::adUseClient : ado::adUseServer);
    data->SetCursor(ado::adOpenForwardOnly);
    data->SetLock(ado::adLockReadOnly);
    data->SetAsyncMode(async);
    open("SELECT g AS V, 1/(g-6000) AS X FROM generate_series(1,9000) g");
    int rows = 0;
    while (!data->IsEof() && rows < 20'000) ++rows, data->MoveNext();
    EXPECT_EQ(data->Err_Number(), ado::kUnspecified) << data->Err_Description();
    EXPECT_GT(rows, 4000);
    EXPECT_LT(rows, 6000);
    EXPECT_EQ(shown(data->GetValue("V")), std::to_string(rows)) << "the last row that came stays";
    // What was filtered is not carried over to the next query.
    open("SELECT g AS V FROM generate_series(1,9000) g");
    if (async) data->GetRecordSet()->set_Filter("V = 3");
    open("SELECT g AS V FROM generate_series(1,9000) g");
    for (rows = 1; data->MoveNext(); ++rows) {
    }
    EXPECT_EQ(rows, 9000);
  }
}

TEST_P(TimeLimitTest, AQueryEndsAtItsTimeout) {
  data->SetConnectionTimeout(1);
  const auto before = Clock::now();
  EXPECT_FALSE(data->AccessQuery(database().slow));
  expect_told(*data, "AccessQuery", ado::kTimeoutExpired, "");
  EXPECT_LT(Clock::now() - before, 3s);
  EXPECT_TRUE(data->IsConnectionOpen());
  open("SELECT x FROM " + series(1));
}

TEST_P(ServerTest, ASilentServerIsGivenUp) {
  const SilentListener silent;
  const auto waiting = reaching({.port = silent.port()});
  waiting->SetMessages(true);
  waiting->SetConnectionTimeout(1);
  const auto before = Clock::now();
  EXPECT_FALSE(waiting->AccessQuery("SELECT 1"));
  EXPECT_LT(Clock::now() - before, 3s);
  expect_lost(*waiting, "AccessQuery");
}

TEST_P(ServerTest, AConnectionResetInAQueryIsLostAndMadeAgain) {
  ResetProxy proxy(server().port());
  const auto through = reaching({.port = proxy.port()});
  through->SetMessages(true);
  ASSERT_TRUE(through->ExecuteSQL("SELECT 1")) << through->Err_Description();
  std::thread cutting([&] {
    std::this_thread::sleep_for(300ms);
    proxy.reset();
  });
  const auto before = Clock::now();
  EXPECT_FALSE(through->AccessQuery(database().slow));
  EXPECT_LT(Clock::now() - before, 3s);
  cutting.join();
  expect_lost(*through, "AccessQuery");
  expect_back(*through);
}

TEST_P(ServerTest, RowsCutShortAreNoEnd) {
  ResetProxy proxy(server().port());
  const auto cut = [&] {
    proxy.reset();
    std::this_thread::sleep_for(50ms);
  };
  for (const bool async : {false, true}) expect_no_false_end({.port = proxy.port()}, async, cut, [] {});
}

TEST_P(KilledServerTest, AServerThatDiesIsNoticedAndReachedAgain) {
  const auto kill = [&] { server().kill(); };
  const auto restart = [&] { ASSERT_EQ(server().ensure_running(), ""); };
  make_table("ID INTEGER PRIMARY KEY");
  for (const bool between : {true, false}) {
    SCOPED_TRACE(between ? "between two statements of a transaction" : "before its end");
    data->TransBegin();
    run("INSERT INTO " + table + " VALUES (1)");
    kill();
    if (between) {
      // Whoever notices first signs it: the driver, or the ping before the statement.
      EXPECT_FALSE(data->ExecuteSQL("INSERT INTO " + table + " VALUES (2)"));
      EXPECT_EQ(data->Err_Number(), ado::kUnspecified);
      EXPECT_FALSE(data->IsConnectionOpen());
    }
    const std::size_t told = dialogs.boxes.size();
    data->TransCommit();
    EXPECT_EQ(dialogs.boxes.size(), told + 1) << "what is lost cannot be committed";
    restart();
    expect_back(*data);
    ASSERT_TRUE(data->Selection());
    EXPECT_EQ(data->RecordCount(), 0);
  }
  open("SELECT x FROM " + series(3));
  kill();
  data->MoveLast();
  EXPECT_EQ(shown(data->GetPoundPos(0)), "3") << "rows that were fetched stay";
  EXPECT_FALSE(data->Selection());
  expect_lost(*data, "Selection");
  restart();
  expect_back(*data);
  for (const bool async : {false, true}) expect_no_false_end({}, async, kill, restart);
}

INSTANTIATE_TEST_SUITE_P(Engines, FaultTest, ::testing::ValuesIn(engines(Choose::all)), engine_name);
INSTANTIATE_TEST_SUITE_P(Engines, TimeLimitTest, ::testing::ValuesIn(engines(Choose::distinct)), engine_name);
INSTANTIATE_TEST_SUITE_P(Engines, ServerTest, ::testing::ValuesIn(engines(Choose::servers)), engine_name);
INSTANTIATE_TEST_SUITE_P(Engines, KilledServerTest, ::testing::ValuesIn(engines(Choose::one_a_server)),
                         engine_name);

}  // namespace
}  // namespace quarno::test
