// Queries through CData: the same suite over every engine.
#include <algorithm>

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "common/text.h"
#include "engines/engines.h"

namespace quarno::test {
namespace {

class QueryTest : public EngineTest {};
class DatabaseTest : public EngineTest {};

constexpr int full(ado::Model error) { return ado::full_number(error); }

TEST_P(QueryTest, EveryTypeComesBackAsItWasWritten) {
  for (const ColumnRow& row : database().columns) {
    SCOPED_TRACE(row.declaration);
    make_table(std::string("ID INTEGER PRIMARY KEY, V ") + row.declaration);
    ASSERT_TRUE(data->Selection());
    EXPECT_EQ(data->GetFieldType("V"), static_cast<std::int32_t>(row.type));
    EXPECT_EQ(data->GetFieldSize("V"), row.size);
    EXPECT_EQ(data->GetDecimals("V"), row.decimals);
    std::int32_t id = 0;
    for (const Variant& value : row.values) {
      data->AddNew();
      data->SetPound("ID", ++id);
      data->SetPound("V", value);
      ASSERT_TRUE(data->Save()) << data->Err_Description();
    }
    run("INSERT INTO " + table + " (ID) VALUES (99)");
    data->m_SelectOrder = "ID";
    ASSERT_TRUE(data->Selection());
    for (const Variant& value : row.values) {
      EXPECT_EQ(data->GetPound("V"), value);
      EXPECT_TRUE(data->MoveNext());
    }
    EXPECT_EQ(data->GetValue("V"), row.null);
    data->set_m_InitDate(true);
    const bool is_day = ado::is_date(row.type);
    EXPECT_EQ(data->GetValuePos(1), is_day ? Variant(Date{-657434.0}) : row.null);
    data->set_m_InitDate(false);
    // The value tells its row: an edit compares what was read with what is stored.
    data->MoveFirst();
    do {
      data->SetPound("V", row.values.front());
      ASSERT_TRUE(data->Save()) << data->Err_Description();
    } while (data->MoveNext());
    std::string where = "ID = 99";
    ASSERT_TRUE(data->Selection({}, where));
    EXPECT_EQ(data->GetPound("V"), row.values.front());
    data->CloseRs();
  }
}

TEST_P(QueryTest, NoneOneAndManyRowsAreWalked) {
  make_table("ID INTEGER PRIMARY KEY, V VARCHAR(10)");
  ASSERT_TRUE(data->Selection());
  EXPECT_TRUE(data->IsEof());
  EXPECT_EQ(data->RecordCount(), 0);
  EXPECT_FALSE(data->MoveNext());
  EXPECT_FALSE(data->MovePrev());
  EXPECT_EQ(data->GetPound("ID"), Variant());
  EXPECT_EQ(data->Err_Number(), 0);
  run("INSERT INTO " + table + " VALUES (1, 'a')");
  ASSERT_TRUE(data->Refresh());
  EXPECT_FALSE(data->IsEof());
  for (int times = 0; times < 2; ++times) {
    EXPECT_FALSE(data->MoveNext());
    EXPECT_TRUE(data->IsEof()) << "past the end";
    EXPECT_EQ(shown(data->GetPound("ID")), "1") << "the last row stays current";
  }
  EXPECT_FALSE(data->MovePrev());
  EXPECT_FALSE(data->IsEof());
  run("INSERT INTO " + table + " VALUES (2, 'b')");
  run("INSERT INTO " + table + " VALUES (3, 'b')");
  data->m_SelectOrder = "ID DESC";
  ASSERT_TRUE(data->Refresh());
  EXPECT_EQ(data->RecordCount(), 3);
  data->MoveLast();
  EXPECT_EQ(shown(data->GetValue(" id ")), "1");
  EXPECT_TRUE(data->MovePrev());
  EXPECT_EQ(shown(data->GetPoundPos(0)), "2");
  data->MoveFirst();
  EXPECT_EQ(shown(data->GetPoundPos(0)), "3");

  EXPECT_TRUE(data->Find("V = 'a'", 1));
  EXPECT_EQ(shown(data->GetPound("ID")), "1");
  EXPECT_TRUE(data->Find("V LIKE 'b*'", -1));
  EXPECT_EQ(shown(data->GetPound("ID")), "2");
  EXPECT_TRUE(data->Find("ID > 1", -1)) << "the current row itself";
  EXPECT_EQ(shown(data->GetClone()->Fields()->Item("ID")->Value()), "3") << "a current row of its own";
  EXPECT_EQ(shown(data->GetRecordSet()->Fields()->Item("ID")->Value()), "2");
  EXPECT_EQ(data->GetRecordSet()->AbsolutePosition(), 2);
  EXPECT_FALSE(data->Find("ID = 9", 1));
  EXPECT_EQ(data->Err_Number(), 0) << "not found is no failure";
}

TEST_P(QueryTest, StatementsAreComposedForTheKind) {
  make_table("ID INTEGER PRIMARY KEY, G INTEGER");
  run("INSERT INTO " + table + " SELECT x, " + "CASE WHEN x > 4 THEN 2 ELSE 1 END FROM " + series(9));
  std::string columns = "G, count(*) AS N, sum(ID) AS S";
  std::string where;
  std::string order = "G DESC";
  std::string group = "G";
  data->m_SelectWhere = "ID > 1";
  ASSERT_TRUE(data->Selection(columns, where, order, "", group)) << data->Err_Description();
  EXPECT_EQ(where, "ID > 1") << "what was used";
  EXPECT_EQ(shown(data->GetPound("N")) + "/" + shown(data->GetPound("S")), "5/35");
  EXPECT_TRUE(data->MoveNext());
  EXPECT_EQ(shown(data->GetPound("N")) + "/" + shown(data->GetPound("S")), "3/9");
  std::string fast;
  data->m_SelectCampi = "ID";
  data->m_SelectOrder = "ID";
  ASSERT_TRUE(data->SelectionFast(fast));
  EXPECT_EQ(fast, "SELECT ID  FROM " + table + " WHERE ID > 1 ORDER BY ID");
  EXPECT_EQ(data->RecordCount(), 8);
  fast = "SELECT G FROM " + table + " WHERE ID = 1";
  ASSERT_TRUE(data->SelectionFast(fast));
  EXPECT_EQ(shown(data->GetPound("G")), "1");
  ASSERT_TRUE(data->Selection({}, {}, {}, fast)) << "a statement goes before the parts";
  EXPECT_EQ(data->RecordCount(), 1);
  if (engine().kind != data::Conn_SQL || is_real()) return;
  data->m_Tabella = "T";
  EXPECT_FALSE(data->Selection());
  EXPECT_NE(data->Err_Description().find("\"[\""), std::string::npos) << "a name in brackets was sent";
}

TEST_P(QueryTest, ColumnsAreToldAndReadByNameAndPlace) {
  std::string statement = "SELECT ";
  for (int i = 0; i < 500; ++i) statement += std::to_string(i) + " AS C" + std::to_string(i) + ", ";
  open(statement + "'end' AS C500 FROM " + series(3));
  EXPECT_EQ(data->FieldsCount(), 501);
  EXPECT_EQ(text::lower_ascii(data->GetFieldName(500)), "c500");
  data->MoveLast();
  EXPECT_EQ(shown(data->GetPound("C499")), "499");
  EXPECT_EQ(data->GetPoundPos(500), Variant("end"));
  const bool unnamed = database().empty_name != nullptr;
  open(std::string("SELECT 1 AS A, 2 AS A") +
       (unnamed ? std::string(", 3 AS ") + database().empty_name : std::string()) + " FROM " + series(1));
  EXPECT_EQ(text::upper(data->GetFieldsName()), unnamed ? "A,A," : "A,A");
  EXPECT_EQ(shown(data->GetPoundPos(1)), "1") << "a place stands for the name that is there";
  EXPECT_EQ(shown(data->GetRecordSet()->value(1)), "2");
  EXPECT_EQ(unnamed ? shown(data->GetPound("")) : "3", "3");
  EXPECT_TRUE(data->GetPound("B").is_empty());
  EXPECT_EQ(data->Err_Number(), full(ado::Model::item_not_found));
}

TEST_P(QueryTest, EveryCursorOpensAndWalks) {
  for (const std::int32_t location : {ado::adUseServer, ado::adUseClient}) {
    for (const std::int32_t lock : {1, 2, 3, 4}) {
      for (const std::int32_t cursor : {0, 1, 2, 3}) {
        SCOPED_TRACE(::testing::Message() << location << "/" << lock << "/" << cursor);
        data->SetCursorLocation(location);
        data->SetLock(lock);
        data->SetCursor(cursor);
        open("SELECT x FROM " + series(3));
        const bool streams = location == ado::adUseServer && lock == 1 && cursor == 0;
        EXPECT_EQ(data->GetRecordSet()->CursorType(), streams ? ado::adOpenForwardOnly : ado::adOpenStatic);
        EXPECT_EQ(data->GetRecordSet()->CursorLocation(), location);
        EXPECT_EQ(data->GetRecordSet()->LockType(), lock);
        EXPECT_EQ(data->GetClone() == Ptr<ado::Recordset>(), streams);
        EXPECT_EQ(data->RecordCount(), streams ? -1 : 3);
        EXPECT_TRUE(data->MoveNext() && data->MoveNext());
        EXPECT_FALSE(data->MoveNext());
        EXPECT_EQ(shown(data->GetPound("X")), "3");
        EXPECT_EQ(data->MovePrev(), !streams);
      }
    }
  }
}

TEST_P(QueryTest, OneConnectionServesManyRecordsets) {
  make_table("ID INTEGER PRIMARY KEY");
  data->SetCursor(ado::adOpenForwardOnly);
  data->SetLock(ado::adLockReadOnly);
  data->SetCursorLocation(ado::adUseServer);
  constexpr int kRows = 10'000;
  open("SELECT x FROM " + series(kRows));
  for (int i = 1; i < 5'000; ++i) ASSERT_TRUE(data->MoveNext());
  // The first one is half read now.
  const auto connection = data->GetConnection();
  const auto other = make<CData>();
  other->SetMessages(false);
  other->SetAdoConnection(connection);
  connection->Execute("INSERT INTO " + table + " VALUES (7)");
  const auto direct = connection->Execute("SELECT ID + 1 FROM " + table);
  ASSERT_TRUE(other->AccessQuery("SELECT ID FROM " + table)) << other->Err_Description();
  EXPECT_EQ(shown(other->GetPoundPos(0)) + shown(direct->value(0)), "78");
  int walked = 5'000;
  while (data->MoveNext()) ++walked;
  EXPECT_EQ(walked, kRows) << data->Err_Description();
  EXPECT_EQ(shown(data->GetPound("X")), std::to_string(kRows));

  open("SELECT x FROM " + series(kRows));
  const auto clone = other->GetClone();
  other->CloseConnection();
  EXPECT_FALSE(data->IsConnectionOpen());
  for (const auto& each : {data, other}) {
    EXPECT_TRUE(each->IsEof());
    EXPECT_TRUE(each->GetPoundPos(0).is_empty());
    EXPECT_EQ(each->Err_Number(), 0) << "reading a closed query is no failure";
    EXPECT_FALSE(each->MoveNext());
    EXPECT_EQ(each->Err_Number(), full(ado::Model::object_closed));
    EXPECT_EQ(each->GetFieldsName(), "");
    EXPECT_EQ(each->FieldsCount(), 0);
  }
  EXPECT_EQ(clone->State() + direct->State(), 0);
  open("SELECT ID FROM " + table);
  EXPECT_EQ(shown(data->GetPound("ID")), "7") << "the next need opened it again";
}

TEST_P(DatabaseTest, EveryWayOfFetchingGivesTheSameRows) {
  constexpr int kRows = 5'000;  // more than one block
  make_table(std::string("ID INTEGER PRIMARY KEY, V VARCHAR(40), L ") + database().long_text);
  const std::string joined = database().joined;
  run("INSERT INTO " + table + " SELECT x, CASE WHEN x % 3 <> 0 THEN " + joined +
      " END, CASE WHEN x % 5 <> 0 THEN " + joined + " END FROM " + series(kRows));
  for (const bool async : {false, true}) {
    for (const bool stream : {false, true}) {
      for (const char* columns : {"ID, V", "ID, V, L", "L, V, ID"}) {
        SCOPED_TRACE(::testing::Message() << columns << (async ? " async" : "") << (stream ? " stream" : ""));
        data->SetAsyncMode(async);
        data->SetCursorLocation(stream ? ado::adUseServer : ado::adUseClient);
        data->SetCursor(stream ? ado::adOpenForwardOnly : ado::adOpenStatic);
        data->SetLock(stream ? ado::adLockReadOnly : ado::adLockOptimistic);
        open(std::string("SELECT ") + columns + " FROM " + table + " ORDER BY ID");
        const auto rows = data->GetRecordSet();
        const auto value = [&](const char* name) { return rows->value(rows->column_index(name)); };
        const auto expected = [](int i, int gap) {
          return i % gap == 0 ? Variant::null() : Variant("é" + std::to_string(i));
        };
        const bool has_long = std::string_view(columns).find('L') != std::string_view::npos;
        int wrong = 0;
        int i = 0;
        do {
          ++i;
          wrong += shown(value("ID")) != std::to_string(i);
          wrong += value("V") != expected(i, 3);
          if (has_long) wrong += value("L") != expected(i, 5);
        } while (data->MoveNext());
        EXPECT_EQ(wrong, 0);
        EXPECT_EQ(i, kRows) << data->Err_Description();
        EXPECT_EQ(data->RecordCount(), stream ? -1 : kRows);
      }
    }
  }
}

TEST_P(DatabaseTest, AMillionRowsAreWalked) {
  constexpr int kRows = 1'000'000;
  const std::string last = std::to_string(kRows);
  data->SetCursor(ado::adOpenForwardOnly);
  data->SetLock(ado::adLockReadOnly);
  data->SetCursorLocation(ado::adUseServer);
  open("SELECT x FROM " + series(kRows));
  const auto rows = data->GetRecordSet();
  int wrong = 0;
  int count = 0;
  do {
    const Variant value = rows->value(0);
    ++count;
    wrong += value != Variant(std::int32_t{count}) && value != Variant(std::int64_t{count});
  } while (data->MoveNext());
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(count, kRows) << data->Err_Description();
  EXPECT_EQ(shown(data->GetPoundPos(0)), last);
  // What holds the rows is the same for all engines; the drivers take their time.
  if (database().driver != nullptr) return;
  data->SetCursorLocation(ado::adUseClient);
  open("SELECT x FROM " + series(kRows));
  EXPECT_EQ(data->RecordCount(), kRows);
  data->MoveLast();
  EXPECT_EQ(shown(data->GetPoundPos(0)), last);
}

INSTANTIATE_TEST_SUITE_P(Engines, QueryTest, ::testing::ValuesIn(engines(Choose::all)), engine_name);
INSTANTIATE_TEST_SUITE_P(Engines, DatabaseTest, ::testing::ValuesIn(engines(Choose::one_a_database)),
                         engine_name);

}  // namespace
}  // namespace quarno::test
