// Parents with their children from every engine, and what goes wrong on the way.
#include <thread>

#include "ado/Recordset.h"
#include "engines/engines.h"
#include "support/reset_proxy.h"

namespace quarno::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class HierarchyTest : public EngineTest {
 protected:
  // The second table is `table`.
  void make_tables() {
    const std::string key = database().keeps_rules ? "INTEGER NOT NULL PRIMARY KEY" : "INTEGER";
    make_table("ID INTEGER, N VARCHAR(50)");
    parents = table;
    for (const char* row : {"1, 'é'", "2, 'a'", "2, 'a'", "3, NULL"})
      run("INSERT INTO " + parents + " VALUES (" + row + ")");
    make_table("K " + key + ", P SMALLINT, T VARCHAR(50)");
    for (const char* row :
         {"10, 1, 'é'", "11, 2, 'a'", "12, 1, 'É'", "13, NULL, 'x'", "14, 9, 'v'", "15, 2, 'a b'"}) {
      run("INSERT INTO " + table + " VALUES (" + row + ")");
    }
  }
  // "parent:child,child; "
  std::string walked(CData& rows) {
    std::string result;
    do {
      result += shown(rows.GetValuePos(0)) + ":";
      for (bool more = !rows.IsEofShape(); more; more = rows.MoveNextShape())
        result += shown(rows.GetValueShape("K")) + ",";
      result += "; ";
    } while (rows.MoveNext());
    return result;
  }
  std::string related(const std::string& relation) {
    const bool is_open = data->SelectionShape("SELECT ID, N FROM " + parents + " ORDER BY ID",
                                              "SELECT K, P, T FROM " + table + " ORDER BY K", relation);
    return is_open ? walked(*data) : data->Err_Description();
  }
  std::string by_parameter() const {
    return "SHAPE {SELECT ID FROM " + parents + " ORDER BY ID} APPEND ({SELECT K FROM " + table +
           " WHERE P = ? ORDER BY K} RELATE ID TO PARAMETER 0)";
  }

  std::string parents;
};
class HierarchyFaultTest : public HierarchyTest {};

TEST_P(HierarchyTest, RowsStandUnderTheirParentsAndAreEdited) {
  make_tables();
  EXPECT_EQ(related("ID TO P"), "1:10,12,; 2:11,15,; 2:11,15,; 3:; ");
  EXPECT_EQ(related("N TO T"), "1:10,; 2:11,; 2:11,; 3:; ");
  EXPECT_EQ(related("ID TO P, N TO T"), "1:10,; 2:11,; 2:11,; 3:; ");
  open(by_parameter());
  EXPECT_EQ(walked(*data), "1:10,12,; 2:11,15,; 2:11,15,; 3:; ");
  open("SHAPE {SELECT P, K FROM " + table + " ORDER BY K} AS c COMPUTE COUNT(c) AS n, SUM(c.K) AS s, c BY P");
  std::string sums;
  do {
    sums += shown(data->GetValue("n")) + " " + shown(data->GetValue("s")) + " " +
            shown(data->GetValueShape("K")) + "; ";
  } while (data->MoveNext());
  EXPECT_EQ(sums, "2 22 ; 2 26 ; 1 13 ; 1 14 ; ") << "the chapter is not the last field";
  ASSERT_EQ(related("ID TO P"), "1:10,12,; 2:11,15,; 2:11,15,; 3:; ");
  const Ptr<ado::Recordset> rows(dynamic_cast<ado::Recordset*>(data->GetRecordSet().get()));
  const auto child = [&] {
    return Ptr<ado::Recordset>(
        dynamic_cast<ado::Recordset*>(rows->value(2).get_if<Variant::Object>()->get()));
  };
  const auto third = child();  // of the row without children
  data->MoveFirst();
  const auto first = child();
  third->AddNew();
  EXPECT_EQ(shown(third->value(1)), "3");
  third->set_value(0, std::int32_t{20});
  third->Update();
  first->set_value(2, "new");
  first->Update();
  first->MoveNext();
  first->Delete();
  EXPECT_EQ(related("ID TO P"), "1:10,; 2:11,15,; 2:11,15,; 3:20,; ");
  open("SELECT T FROM " + table + " WHERE K = 10");
  EXPECT_EQ(shown(data->GetValue("T")), "new");
}

TEST_P(HierarchyTest, AChildsTimeLimitHolds) {
  if (*database().slow == '\0') GTEST_SKIP() << "nothing here takes long";
  data->SetConnectionTimeout(1);
  const auto before = Clock::now();
  EXPECT_FALSE(data->SelectionShape("SELECT x FROM " + series(1), database().slow, "x TO x"));
  EXPECT_LT(Clock::now() - before, 3s);
  EXPECT_EQ(data->Err_Number(), ado::kTimeoutExpired) << data->Err_Description();
  EXPECT_TRUE(data->IsEof() && data->IsEofShape() && data->IsConnectionOpen());
  ASSERT_TRUE(data->SelectionShape("SELECT x FROM " + series(2), "SELECT x AS y FROM " + series(2), "x TO y"))
      << data->Err_Description();
  EXPECT_EQ(shown(data->GetValueShape("y")), "1");
}

TEST_P(HierarchyFaultTest, ALostConnectionIsToldAtTheChildThatIsMissed) {
  make_tables();
  ResetProxy proxy(server().port());
  const auto through = reaching({.port = proxy.port()});
  const auto lost = [&] {
    EXPECT_EQ(through->Err_Number(), ado::kUnspecified) << through->Err_Description();
    EXPECT_TRUE(through->IsEofShape());
    EXPECT_TRUE(through->GetValueShape("K").is_empty());
  };
  ASSERT_TRUE(through->SelectionShape("SELECT ID FROM " + parents, "SELECT P FROM " + table, "ID TO P"));
  std::thread cutting([&] {
    std::this_thread::sleep_for(300ms);
    proxy.reset();
  });
  EXPECT_FALSE(through->SelectionShape("SELECT ID FROM " + parents, database().slow, "ID TO P"));
  cutting.join();
  lost();
  EXPECT_FALSE(through->IsConnectionOpen());
  ASSERT_TRUE(through->AccessQuery(by_parameter())) << through->Err_Description();
  EXPECT_EQ(shown(through->GetValueShape("K")), "10");
  proxy.reset();
  std::this_thread::sleep_for(50ms);
  EXPECT_FALSE(through->MoveNext());
  lost();
  // PostgreSQL's driver calls the connection alive until the statement after it.
  if (through->IsConnectionOpen()) {
    EXPECT_FALSE(through->AccessQuery(by_parameter()));
    lost();
  }
  EXPECT_FALSE(through->IsConnectionOpen());
  ASSERT_TRUE(through->AccessQuery(by_parameter())) << through->Err_Description();
  EXPECT_EQ(walked(*through), "1:10,12,; 2:11,15,; 2:11,15,; 3:; ");
}

INSTANTIATE_TEST_SUITE_P(Engines, HierarchyTest, ::testing::ValuesIn(engines(Choose::one_of_ours)),
                         engine_name);
INSTANTIATE_TEST_SUITE_P(Engines, HierarchyFaultTest, ::testing::ValuesIn(engines(Choose::one_a_server)),
                         engine_name);

}  // namespace
}  // namespace quarno::test
