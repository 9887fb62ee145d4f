#include "data/CData.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "automation/host_object.h"
#include "common/error.h"
#include "platform/fake/fakes.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno {
namespace {

constexpr const char* kLog = "QuarnoLog.txt";

// One property, which fails on demand.
struct Control : automation::HostObject {
  Control(const char* its_name, Variant value) : name(its_name), shown(std::move(value)) {}
  Variant get(std::string_view asked) override { return place(asked); }
  void put(std::string_view asked, const Variant& value) override { place(asked) = value; }
  Variant call(std::string_view asked, std::span<Variant>) override { return place(asked); }
  Variant& place(std::string_view asked) {
    if (asked != name) throw run_time_error(RunTime::unknown_member);
    if (fails) throw Error(1004, "Stuck", "Control");
    return shown;
  }
  std::string_view name;
  Variant shown;
  bool fails = false;
};

class CDataTest : public ::testing::Test {
 protected:
  void SetUp() override { reach(*data, database); }

  void reach(CData& object, const std::string& path) {
    object.m_LogPath = folder.path();
    object.SetMessages(true);
    object.SetDBType(data::Conn_Jet);
    object.SetDatabase(path);
  }
  void make_table() {
    ASSERT_TRUE(
        data->ExecuteSQL("CREATE TABLE T (ID INTEGER PRIMARY KEY, V DOUBLE, S VARCHAR(5), D DATETIME)"));
    data->m_Tabella = "T";
  }
  void add(int id, const Variant& value) {
    data->AddNew();
    data->SetPound("ID", id);
    data->SetPound("V", value);
    ASSERT_TRUE(data->Save()) << data->Err_Description();
  }
  std::string log() const { return test::bytes_of(folder / kLog); }
  std::size_t log_lines() const {
    const std::string text = log();
    return text == "<missing>" ? 0 : static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  }

  test::TempFolder folder;
  std::string database = folder.put("a.db", "");
  // Neither drivers nor settings of this machine.
  test::ScopedVariable no_drivers{"ODBCSYSINI", folder.path()};
  test::ScopedVariable no_settings{"QUARNOFWK_PROVIDERS", folder.put("providers.ini", "")};
  // The library's own folder, where the log goes by default.
  platform::fake::FixedModulePath module{folder / "CorvexFwk.so"};
  platform::ScopedPort<platform::ModulePath> module_in_place{module};
  platform::fake::RecordingDialogs dialogs;
  platform::ScopedPort<platform::Dialogs> dialogs_in_place{dialogs};
  platform::fake::FixedClock clock{{2024, 1, 5, 14, 7, 33, 0}};
  platform::ScopedPort<platform::Clock> clock_in_place{clock};
  Ptr<CData> data = make<CData>();
};

TEST_F(CDataTest, SettingsReadBackAsTheyWereSet) {
  CData fresh;
  EXPECT_EQ(fresh.GetDBType(), -1);
  EXPECT_EQ(fresh.m_SelectCampi, "*");
  EXPECT_TRUE(fresh.GetMessages());
  fresh.SetDBType(data::Conn_Oracle);
  fresh.SetDBType(-1);
  EXPECT_EQ(fresh.GetDBType(), -1);
  fresh.SetServer("srv");
  EXPECT_TRUE(fresh.SetDatabase("db", "u", "p", "  j ").is_empty());
  EXPECT_EQ(fresh.m_Database + fresh.GetServer() + fresh.GetDatabaseUID() + fresh.GetDatabasePwd(),
            "dbsrvup");
  EXPECT_EQ(fresh.GetDatabaseAccessPwd(), "j");
  // The kind stays Oracle for the worker: its string is what the failed open leaves behind.
  fresh.SetMessages(false);
  EXPECT_FALSE(fresh.AccessQuery("SELECT 1"));
  EXPECT_EQ(fresh.Err_Number(), ado::full_number(ado::Model::provider_not_found));
  EXPECT_EQ(fresh.GetConnection()->ConnectionString(),
            "Provider=OraOLEDB.Oracle.1;Persist Security Info=False;User ID=u;Password=p;Data Source=srv");

  CData server;
  server.SetMessages(false);
  server.SetDatabase("D");
  server.SetDBVersion("trust");
  server.m_Tabella = "T";
  EXPECT_FALSE(server.Selection());
  EXPECT_EQ(server.GetDBVersion(), "TRUST");
  EXPECT_NE(server.GetConnection()->ConnectionString().find("Integrated Security=SSPI"), std::string::npos);
}

TEST_F(CDataTest, ChecksOfAKindComeBeforeOpening) {
  CData object;
  object.SetDBType(data::Conn_ODBC);
  EXPECT_FALSE(object.AccessQuery("SELECT 1"));
  ASSERT_EQ(dialogs.boxes.size(), 2u);
  EXPECT_EQ(dialogs.boxes[0], "DSN non specificato");
  EXPECT_EQ(object.Err_Number(), ado::full_number(ado::Model::invalid_connection))
      << "it failed on the closed connection";
  object.SetDBType(data::Conn_Jet);
  object.SetDatabase(folder / "none.db");
  dialogs.boxes.clear();
  EXPECT_FALSE(object.AccessQuery("SELECT 1"));
  EXPECT_EQ(dialogs.boxes.at(0), "File not found !");
  object.SetMessages(false);
  dialogs.boxes.clear();
  EXPECT_FALSE(object.AccessQuery("SELECT 1"));
  EXPECT_TRUE(dialogs.boxes.empty());
  EXPECT_EQ(object.Err_Number(), 53);
  EXPECT_EQ(object.Err_Description(), "File not found !");
  object.SetDBType(data::Conn_DB3);
  object.SetMessages(true);
  EXPECT_FALSE(object.AccessQuery("SELECT 1"));
  EXPECT_EQ(dialogs.boxes.at(0), "Database non trovato !");
}

TEST_F(CDataTest, PingsBeforeOpeningWhenAsked) {
  platform::fake::ScriptedIcmp icmp;
  const platform::ScopedPort<platform::Icmp> in_place(icmp);
  data->SetServer("192.0.2.1");
  data->set_PingOnOpen(true);
  icmp.answer = platform::EchoStatus::timed_out;
  EXPECT_FALSE(data->AccessQuery("SELECT 1"));
  EXPECT_FALSE(data->IsConnectionOpen());
  EXPECT_EQ(data->Err_Number(), -5167);
  EXPECT_EQ(data->Err_Source() + "/" + data->Err_Description(), "CData-Initialize/Error on ping");
  icmp.answer = platform::EchoStatus::success;
  EXPECT_TRUE(data->AccessQuery("SELECT 1"));
}

TEST_F(CDataTest, WritesAndReadsByNameAndPosition) {
  make_table();
  for (int i = 1; i <= 3; ++i) add(i, i * 1.5);
  ASSERT_TRUE(data->Selection());
  data->SetPoundPos(2, "abcdefg");
  data->SetPound("V", "abc");
  EXPECT_TRUE(data->Save());
  EXPECT_EQ(data->GetValue(" s "), Variant("abcde"));
  EXPECT_EQ(data->GetValuePos(1), Variant(1.5));
  EXPECT_TRUE(data->Delete());
  EXPECT_EQ(data->RecordCount(), 2);
  data->CloseRs();
  EXPECT_TRUE(data->GetPound("ID").is_empty()) << "reading a closed query is no failure";
  EXPECT_FALSE(data->Delete());
  EXPECT_EQ(data->Err_Number(), 0);
}

TEST_F(CDataTest, EachFailureIsRecordedLoggedShownAndRaisedWhenAsked) {
  make_table();
  ASSERT_TRUE(data->Selection());
  add(1, 1.0);
  const auto record = data->GetErrObj();
  EXPECT_TRUE(data->GetValue("NONE").is_empty());
  EXPECT_EQ(data->Err_Description(), "Field not found !");
  EXPECT_EQ(data->Err_Source(), "CRecord");
  EXPECT_EQ(record, data->GetErrObj());
  EXPECT_EQ(record->m_Number, ado::full_number(ado::Model::item_not_found));
  EXPECT_EQ(current_error().number, record->m_Number);
  EXPECT_EQ(log(), "05/01/2024 14:07:33\tGetValue\tCRecord\t-2146825023\tField not found !\r\n");
  EXPECT_EQ(dialogs.boxes.at(0),
            "GetValue - \r\nNumber : -2146825023\r\nSource : CRecord\r\nDescription : Field not found !");

  data->AddNew();
  data->SetPound("ID", 1);
  EXPECT_FALSE(data->Save());
  EXPECT_EQ(record->m_Description, "Duplicated Key!");
  EXPECT_NE(log().find("\tCRecord-Save \t"), std::string::npos);
  data->CloseRs();

  // Only ExecuteSQL's log line can be switched off.
  data->SetMessages(false);
  dialogs.boxes.clear();
  const std::size_t before = log_lines();
  data->set_Log_Activate(false);
  EXPECT_FALSE(data->ExecuteSQL("SELEC"));
  EXPECT_EQ(log_lines(), before);
  EXPECT_FALSE(data->AccessQuery("SELEC"));
  EXPECT_EQ(log_lines(), before + 1);
  EXPECT_TRUE(dialogs.boxes.empty());

  data->set_Log_Activate(true);
  EXPECT_FALSE(data->Log_Activate());
  EXPECT_TRUE(data->Err_Activate()) << "reading Log_Activate copies it there";
  EXPECT_EQ(test::error_of([&] { return data->ExecuteSQL("SELEC"); }), ado::kErrorsInCommand);
}

TEST_F(CDataTest, TakesARecordsetAndRunsItAgain) {
  make_table();
  for (int i = 1; i <= 3; ++i) add(i, i * 1.5);
  ASSERT_TRUE(data->Selection());
  EXPECT_FALSE(data->Find("ID = 9", 1));
  EXPECT_FALSE(data->Find("ID = 1", -1)) << "nothing is current behind the last row";
  EXPECT_EQ(data->Err_Number(), ado::full_number(ado::Model::no_current_record));
  EXPECT_FALSE(data->SetIndex("I"));
  data->SetRecordSet(data->GetClone());
  EXPECT_EQ(data->GetValue("ID"), Variant(std::int32_t{1}));
  ASSERT_TRUE(data->ExecuteSQL("DELETE FROM T WHERE ID = 1"));
  data->RefreshADO();
  EXPECT_EQ(data->RecordCount(), 2);
}

TEST_F(CDataTest, PositionsFailOnceAndOnlyOnAnOpenQuery) {
  EXPECT_TRUE(data->GetPoundPos(0).is_empty());
  data->SetPoundPos(0, 1);
  EXPECT_EQ(data->Err_Number(), 0);
  EXPECT_EQ(data->GetLastRowID(), -1);
  make_table();
  add(7, 1.0);
  EXPECT_EQ(data->GetLastRowID(), 7);
  EXPECT_EQ(data->Err_Number(), 0);
  EXPECT_TRUE(data->GetPoundPos(9).is_empty());
  EXPECT_EQ(dialogs.boxes.size(), 1u);
  EXPECT_EQ(data->Err_Description(), "Field not found !");
}

TEST_F(CDataTest, LogPathIsTheThreadsAndTakenAtSetMessages) {
  const test::TempFolder elsewhere;
  CData object;
  object.m_LogPath = elsewhere.path();
  object.AccessQuery("SELECT 1");
  EXPECT_EQ(log_lines(), 1u) << "beside the library: SetMessages was not called yet";
  object.SetMessages(false);
  object.AccessQuery("SELECT 1");
  EXPECT_EQ(log_lines(), 1u);
  EXPECT_NE(test::bytes_of(elsewhere / kLog), "<missing>");
  object.m_LogPath = elsewhere / "missing";
  object.SetMessages(false);
  EXPECT_FALSE(object.AccessQuery("SELECT 1")) << "a log that cannot be written changes nothing else";
}

TEST_F(CDataTest, TransactionsAndExecuteSql) {
  make_table();
  std::int32_t affected = -5;
  data->TransBegin();
  ASSERT_TRUE(data->ExecuteSQL("INSERT INTO T (ID) VALUES (1), (2)", 30, affected));
  EXPECT_EQ(affected, 2);
  data->TransRollBack();
  data->TransCommit();
  EXPECT_EQ(data->Err_Number(), ado::kNoTransaction);
  ASSERT_TRUE(data->Selection());
  EXPECT_EQ(data->RecordCount(), 0);
  EXPECT_TRUE(data->IsConnectionOpen());
  data->CloseConnection();
  EXPECT_FALSE(data->IsConnectionOpen());
  EXPECT_TRUE(data->IsEof());
  EXPECT_TRUE(data->Refresh()) << "the next need opens it again";
}

TEST_F(CDataTest, BoundControlsFollowTheRowAndAreSaved) {
  make_table();
  for (int i = 1; i <= 2; ++i) add(i, i + 0.5);
  current_error() = {};
  const auto value = make<Control>("Value", Variant());
  const auto day = make<Control>("Text", "x");
  const auto text = make<Control>("Caption", Variant());
  data->Bind(value, "V");
  data->Bind(day, "D");
  data->Bind(text, "NONE", "Caption");
  EXPECT_EQ(current_error().number, 0) << "asking what a control has leaves no trace";
  EXPECT_FALSE(data->Selection()) << "a field is lacking";
  EXPECT_EQ(data->Err_Number(), ado::full_number(ado::Model::item_not_found));
  data->Bind(text, "S", "Caption");
  ASSERT_TRUE(data->Selection()) << "bound again, it follows the other field";
  EXPECT_EQ(value->shown, Variant(1.5));
  EXPECT_EQ(day->shown, Variant(""));
  EXPECT_TRUE(data->MoveNext());
  text->shown = "edited";
  EXPECT_TRUE(data->Save()) << "no text is no date: " << data->Err_Description();
  EXPECT_EQ(data->GetPound("S"), Variant("edite"));
  const std::string attack = "'; DROP TABLE T; --";
  ASSERT_TRUE(
      data->ExecuteSQL("CREATE TABLE A (ID INTEGER PRIMARY KEY, S VARCHAR(40), G INTEGER AS (ID * 2))"));
  ASSERT_TRUE(data->ExecuteSQL("INSERT INTO A (ID, S) VALUES (1, 'x')"));
  const auto generated = make<Control>("Text", Variant());
  const auto computed = make<Control>("Value", Variant());
  CData shows;
  reach(shows, database);
  shows.Bind(text, "S", "Caption");
  shows.Bind(generated, "G");
  shows.Bind(computed, "C");
  ASSERT_TRUE(shows.AccessQuery("SELECT ID, S, G, ID + 1 AS C FROM A"));
  shows.SetBound();
  text->shown = attack;
  EXPECT_TRUE(shows.Save()) << "what is only shown is not written: " << shows.Err_Description();
  ASSERT_TRUE(shows.AccessQuery("SELECT * FROM A"));
  EXPECT_EQ(shows.GetPound("S"), Variant(attack));
  EXPECT_EQ(shows.RecordCount(), 1);
  ASSERT_TRUE(shows.AccessQuery("SELECT ID, S, G, ID + 1 AS C FROM A"));
  computed->shown = 9;
  EXPECT_FALSE(shows.Save()) << "it was changed by the host";
  EXPECT_EQ(shows.Err_Number(), ado::kMultipleStep);
  value->fails = true;
  data->Bind(make<Control>("Nothing", 1), "S");
  EXPECT_EQ(data->Err_Number(), 438);
  EXPECT_FALSE(data->Save() || data->Selection());
  EXPECT_EQ(data->Err_Source() + data->Err_Description(), "ControlStuck");
  EXPECT_TRUE(text->shown.is_empty()) << "the others are loaded all the same";
}

TEST_F(CDataTest, ADatabaseFileKeepsProcedures) {
  ASSERT_TRUE(data->ExecuteSQL("CREATE TABLE A (ID LONG, S TEXT(5)); INSERT INTO A VALUES (1, 'x')"));
  std::string text = "P";
  EXPECT_FALSE(data->ExecuteStoredProc(text, {"a", Variant(std::int32_t{2}), "c"}));
  EXPECT_FALSE(data->ExecuteStoredProc(text, {"a"}));
  EXPECT_EQ(text, "P( a,2 )");
  EXPECT_EQ(data->Err_Description(), "Could not find the procedure 'P'.");
  EXPECT_EQ(dialogs.boxes.at(0).substr(0, 20), "ExecuteStoredProc - ");
  EXPECT_TRUE(data->ExecuteSQL("CREATE PROCEDURE P AS PARAMETERS a Long; SELECT ID, S FROM A WHERE ID >= a"));
  EXPECT_TRUE(data->ExecuteSQL("CREATE PROCEDURE Q AS DELETE FROM A"));
  EXPECT_TRUE(data->ExecuteStoredProc(text = "P", {Variant(std::int32_t{1}), "last"}))
      << data->Err_Description();
  EXPECT_EQ(data->GetFieldsName(), "ID,S") << data->Err_Description();
  EXPECT_TRUE(data->ExecuteStoredProc(text = "Q", {})) << data->Err_Description();
  EXPECT_TRUE(data->AccessQuery("SELECT * FROM A") && data->IsEof());
  EXPECT_FALSE(data->ExecuteSQL("CREATE PROCEDURE q AS DELETE FROM A")) << "there is one";
  EXPECT_TRUE(data->ExecuteSQL("DROP PROCEDURE Q"));
  EXPECT_FALSE(data->ExecuteStoredProc(text = "Q", {}));
}

}  // namespace
}  // namespace quarno
