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

INSTANTIATE_TEST_SUITE_P(Engines, ProcedureTest, ::testing::ValuesIn(engines(Choose::one_a_server)),
                         engine_name);

}  // namespace
}  // namespace quarno::test
