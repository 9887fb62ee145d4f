// Stored procedures through CData, on the servers that have them.
#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "engines/engines.h"

namespace quarno::test {
namespace {

class ProcedureTest : public EngineTest {
 protected:
  bool is_mariadb() const { return database().server == Server::Kind::mariadb; }
  /// What a server has for it: with rows PostgreSQL has functions.
  void make(const std::string& name, const std::string& arguments, const std::string& result,
            const std::string& body) {
    const bool is_function = !is_mariadb() && !result.empty();
    run("CREATE OR REPLACE " + std::string(is_function ? "FUNCTION " : "PROCEDURE ") + name + "(" +
        arguments + ")" +
        (is_mariadb() ? " " + body
                      : (is_function ? " RETURNS " + result : "") + " LANGUAGE sql AS $$" + body + "$$"));
  }
  bool call(std::string name, const Variant::Array& arguments) {
    return data->ExecuteStoredProc(name, arguments);
  }
  std::string count() {
    open("SELECT count(*) FROM " + table);
    return shown(data->GetPoundPos(0));
  }
};

TEST_P(ProcedureTest, RowsComeInEveryWayOfFetching) {
  constexpr int kRows = 5'000;  // more than one block
  make("qf_pair", "a VARCHAR(20), b VARCHAR(20)", "TABLE(x VARCHAR, y VARCHAR)", "SELECT a AS x, b AS y");
  make("qf_rows", "", "TABLE(x INTEGER)", "SELECT x FROM " + series(kRows));
  make_table("ID INTEGER PRIMARY KEY");
  for (int mode = 0; mode < 4; ++mode) {
    SCOPED_TRACE(mode);
    const bool stream = (mode & 1) != 0;
    data->SetAsyncMode((mode & 2) != 0);
    data->SetCursorLocation(stream ? ado::adUseServer : ado::adUseClient);
    data->SetCursor(stream ? ado::adOpenForwardOnly : ado::adOpenStatic);
    data->SetLock(stream ? ado::adLockReadOnly : ado::adLockOptimistic);
    ASSERT_TRUE(call("qf_pair", {"'it''s \"é'", "'{1},(2)'", "never"})) << data->Err_Description();
    EXPECT_EQ(data->GetPound("X"), Variant("it's \"é"));
    EXPECT_EQ(data->GetPound("Y"), Variant("{1},(2)"));
    EXPECT_FALSE(data->MoveNext());
    ASSERT_TRUE(call("qf_rows", {"never"})) << data->Err_Description();
    int walked = 1;
    for (; walked < kRows / 2; ++walked) ASSERT_TRUE(data->MoveNext());
    data->GetConnection()->Execute("INSERT INTO " + table + " VALUES (" + std::to_string(mode) + ")");
    while (data->MoveNext()) ++walked;
    EXPECT_EQ(walked, kRows) << data->Err_Description();
    data->RefreshADO();
    EXPECT_EQ(shown(data->GetPoundPos(0)), "1") << data->Err_Description();
  }
  EXPECT_EQ(count(), "4");
  if (!is_mariadb()) run("PREPARE qf_ready AS SELECT 7");
  for (const char* as_it_stands :
       {"{call qf_rows()}", is_mariadb() ? "cALL qf_rows()" : "eXecute qf_ready"}) {
    ASSERT_TRUE(call(as_it_stands, {})) << as_it_stands << ": " << data->Err_Description();
    EXPECT_FALSE(data->IsEof());
  }
}

TEST_P(ProcedureTest, WithoutRowsTheQueryIsClosed) {
  make_table("V VARCHAR(20)");
  make("qf_add", "v VARCHAR(20)", "", "INSERT INTO " + table + " VALUES (v)");
  make("qf_clear", "", "", "DELETE FROM " + table);
  open("SELECT x FROM " + series(3));
  ASSERT_TRUE(call("qf_add", {"'a'", ""})) << data->Err_Description();
  EXPECT_EQ(data->GetRecordSet()->State(), ado::adStateClosed);
  data->TransBegin();
  EXPECT_TRUE(call("call qf_add( 'b' )", {}) && call("qf_add", {"'c'", ""})) << data->Err_Description();
  EXPECT_EQ(count(), "3");
  data->TransRollBack();
  EXPECT_EQ(count(), "1");
  EXPECT_TRUE(call("qf_clear", {""}) && count() == "0") << data->Err_Description();
}

TEST_P(ProcedureTest, AFailureNamesWhatTheServerSays) {
  make_table("ID INTEGER PRIMARY KEY");
  run("INSERT INTO " + table + " VALUES (1)");
  make("qf_again", "v INTEGER", "", "INSERT INTO " + table + " VALUES (v)");
  make("qf_many", "", "INTEGER", "SELECT ID FROM " + table + " WHERE ID = (SELECT x FROM " + series(2) + ")");
  const char* const rows[][2] = {{"qf_again( 1 )", is_mariadb() ? "Duplicate entry" : "duplicate key"},
                                 {"qf_many()", is_mariadb() ? "more than 1 row" : "more than one row"},
                                 {"qf_nowhere( 1 )", "does not exist"},
                                 {"qf_again( 1,' )", is_mariadb() ? "syntax" : "unterminated"}};
  for (const auto& [name, text] : rows) {
    open("SELECT x FROM " + series(3));
    EXPECT_FALSE(call(name, {}));
    EXPECT_NE(data->Err_Description().find(text), std::string::npos) << data->Err_Description();
    EXPECT_TRUE(data->IsEof()) << "the query before it was closed";
    EXPECT_EQ(count(), "1");
  }
}

TEST_P(ProcedureTest, AFailureBehindRowsIsTold) {
  if (!is_mariadb()) GTEST_SKIP() << "a function fails before its rows";
  make_table("ID INTEGER PRIMARY KEY");
  run("INSERT INTO " + table + " VALUES (1)");
  const std::string fails = "INSERT INTO " + table + " VALUES (1); END";
  constexpr int kRows = 5'000;
  make("qf_short", "", "", "BEGIN SELECT x, 'a' AS y FROM " + series(kRows) + "; SELECT 7; " + fails);
  make("qf_long", "", "",
       "/* ; */ BEGIN SELECT x, CAST(REPEAT('a', 70000) AS CHAR(90000)) FROM " + series(2) + "; " + fails);
  for (int mode = 0; mode < 2; ++mode) {
    data->SetAsyncMode(mode == 1);
    for (const char* name : {"qf_short", "qf_long", "/* as it stands */ call qf_short()"}) {
      SCOPED_TRACE(name);
      data->GetErrObj()->m_Number = 0;
      if (call(name, {})) {
        while (data->MoveNext()) {
        }
      }
      EXPECT_EQ(data->Err_Number(), ado::kIntegrityViolation) << data->Err_Description();
      EXPECT_FALSE(data->ExecuteSQL("call qf_short()"));
      EXPECT_EQ(count(), "1") << "the connection is usable";
    }
  }
}

TEST_P(ProcedureTest, RowsOfAProcedureCannotBeChanged) {
  make_table("ID INTEGER PRIMARY KEY, V VARCHAR(5)");
  run("INSERT INTO " + table + " VALUES (1, 'x')");
  make("qf_table", "", "SETOF " + table, "SELECT * FROM " + table);
  ASSERT_TRUE(call("qf_table", {"never"})) << data->Err_Description();
  const int refused = ado::full_number(ado::Model::feature_not_available);
  data->SetPound("V", "y");
  EXPECT_EQ(data->Err_Number(), refused);
  EXPECT_TRUE(data->Save()) << "there is nothing to save";
  data->GetErrObj()->m_Number = 0;
  data->AddNew();
  EXPECT_EQ(data->Err_Number(), refused);
  EXPECT_FALSE(data->Delete());
  EXPECT_EQ(data->GetPound("V"), Variant("x"));
}

INSTANTIATE_TEST_SUITE_P(Engines, ProcedureTest, ::testing::ValuesIn(engines(Choose::one_a_server)),
                         engine_name);

}  // namespace
}  // namespace quarno::test
