// The catalogue on every engine that keeps rules, through CData.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "common/text.h"
#include "engines/engines.h"

namespace quarno::test {
namespace {

// Whatever a name can be mistaken for: a pattern, a literal, several words, a word of the language.
constexpr const char* kName = "My T_b%l'e";
constexpr const char* kLooksAlike = "My TXb%l'e";

class CatalogTest : public EngineTest {
 protected:
  void TearDown() override {
    if (data) {
      data = reaching();
      if (tables_.size() > 9) data->ExecuteSQL("BEGIN");
      for (const char* view : views_) data->ExecuteSQL("DROP VIEW " + quoted(view));
      for (const std::string& made : tables_) data->ExecuteSQL("DROP TABLE " + quoted(made));
      if (tables_.size() > 9) data->ExecuteSQL("COMMIT");
    }
    EngineTest::TearDown();
  }

  std::string quoted(const std::string& name) const { return database().quote + name + database().quote; }
  void define(const std::string& name) {
    tables_.push_back(name);
    ASSERT_TRUE(data->Table_Create(name)) << data->Err_Description();
  }
  void add(const char* name, std::int32_t type, std::int16_t size = 0, bool nullable = true) {
    ASSERT_TRUE(data->Table_AddColumn(name, type, size, nullable)) << name << data->Err_Description();
  }
  void store() { ASSERT_TRUE(data->Table_Store()) << data->Err_Description(); }
  std::string columns() const {
    std::vector<std::string> names;
    for (std::int16_t i = 0; i < data->Table_ColumnsCount(); ++i) names.push_back(data->Table_ColumnName(i));
    return text::join(names, ",");
  }

  std::vector<std::string> tables_;
  std::vector<const char*> views_;
};

TEST_P(CatalogTest, DefinesAndChangesTables) {
  const auto other = reaching();
  EXPECT_EQ(other->Tables_List(), "") << other->Err_Description();
  for (const char* name : {kName, kLooksAlike}) {
    define(name);
    add("Id", 3, 0, false);
    add("select", 202, 20, false);
    add(name == kName ? "d\"1" : "else", 7);
    add("gone", 5);
    EXPECT_EQ(data->Table_AddIndex("ix", false, false, "select"), Variant(true)) << data->Err_Description();
    EXPECT_EQ(data->Table_AddIndex("PrimaryKey", true, true, "Id"), Variant(true));
    EXPECT_EQ(data->Table_AddIndex("u", false, true, "select,Id"), Variant(true));
    EXPECT_EQ(data->Table_AddIndex("with it", false, false, "gone"), Variant(true));
    EXPECT_FALSE(other->Table_Exist(name)) << "written before it was stored";
    store();
  }
  EXPECT_EQ(other->Tables_List(), std::string(kLooksAlike) + "," + kName);
  EXPECT_TRUE(other->Table_Exist("MY T_B%L'E"));
  EXPECT_FALSE(other->Table_Exist("My T%"));

  data = other;
  ASSERT_TRUE(data->Table_Open("my t_b%l'e")) << data->Err_Description();
  EXPECT_EQ(columns(), "Id,select,d\"1,gone");
  EXPECT_EQ(data->Table_ColumnLength("SELECT"), 20);
  EXPECT_TRUE(data->Table_ColumnKey("Id"));
  EXPECT_FALSE(data->Table_ColumnKey("select"));
  EXPECT_FALSE(data->Table_ColumnKey("ID"));
  ASSERT_TRUE(data->AccessQuery("SELECT * FROM " + quoted(kName))) << data->Err_Description();
  for (const bool fresh : {true, false}) {
    data->AddNew();
    data->SetPound("Id", std::int32_t{1});
    data->SetPound("select", fresh ? "a" : "b");
    EXPECT_EQ(data->Save(), fresh) << data->Err_Description();
  }
  EXPECT_EQ(data->Err_Description(), "Duplicated Key!");
  data->CloseRs();
  ASSERT_TRUE(data->AccessQuery("SELECT * FROM " + quoted(kName)));
  data->AddNew();
  data->SetPound("Id", std::int32_t{2});
  EXPECT_FALSE(data->Save()) << "a column that takes no null";
  data->CloseRs();

  EXPECT_FALSE(data->Table_Store());
  EXPECT_EQ(data->Err_Number(), ado::full_number(ado::Model::in_collection));
  EXPECT_FALSE(data->Table_AddColumn("GONE", 3));
  EXPECT_EQ(data->Err_Number(), ado::full_number(ado::Model::in_collection));
  EXPECT_FALSE(data->Table_DeleteColumn("missing"));
  EXPECT_EQ(data->Err_Number(), ado::full_number(ado::Model::item_not_found));
  EXPECT_TRUE(data->Table_AddColumn("n w", 202, 7)) << data->Err_Description();
  EXPECT_EQ(data->Table_AddIndex("late", false, true, "n w"), Variant(true)) << data->Err_Description();
  EXPECT_TRUE(data->Table_DeleteColumn("Gone")) << data->Err_Description();
  ASSERT_TRUE(data->Table_Open(kName));
  EXPECT_EQ(columns(), "Id,select,d\"1,n w");
  EXPECT_TRUE(data->Table_ColumnKey("Id"));
  ASSERT_TRUE(data->Table_Open(kLooksAlike));
  EXPECT_EQ(columns(), "Id,select,else,gone");
}

TEST_P(CatalogTest, AFailingIndexLeavesNoTable) {
  for (const char* columns : {"A, B", "A,Missing"}) {
    data = reaching();
    define("Broken");
    add("A", 202, 10);
    EXPECT_EQ(data->Table_AddIndex("i", false, false, columns), Variant(true));
    EXPECT_FALSE(data->Table_Store()) << columns;
    EXPECT_FALSE(data->Table_Exist("Broken")) << columns;
  }
  EXPECT_EQ(data->Table_ColumnsCount(), 1) << "the definition is as it was";
}

TEST_P(CatalogTest, ListsViewsWithTheirTexts) {
  run("CREATE TABLE " + quoted("B") + " (X INTEGER)");
  run("CREATE TABLE " + quoted("A") + " (X INTEGER)");
  tables_ = {"A", "B"};
  views_ = {"MyView"};
  run("CREATE VIEW " + quoted("MyView") + " AS SELECT COUNT(*) AS " + quoted("Much") + " FROM " +
      quoted("A"));
  EXPECT_EQ(data->Tables_List(), "A,B");
  EXPECT_EQ(data->Views_List(), "MyView");
  const std::string all = "," + data->Tables_List(true) + ",";
  EXPECT_NE(all.find(",MyView,"), std::string::npos) << all;
  std::string name = "myview";
  const std::string text = text::upper(data->View_Command(name));
  EXPECT_EQ(name, "MYVIEW");
  EXPECT_TRUE(text.starts_with("SELECT COUNT(") && !text.ends_with(';')) << text;
  EXPECT_EQ(data->View_Command("MyVie_"), "");
  ASSERT_TRUE(data->Table_Open("myVIEW")) << data->Err_Description();
  EXPECT_EQ(columns(), "Much");
  if (engine().name == std::string("MySQL3")) return;  // no passing views there
  run("CREATE TEMPORARY VIEW passing AS SELECT 1 AS x");
  EXPECT_EQ(data->Tables_List(), "A,B");
  EXPECT_EQ(data->Views_List(), "MyView,passing");
  EXPECT_EQ(data->View_Command("Passing"), "SELECT 1 AS x");
}

TEST_P(CatalogTest, ListsManyTables) {
  run("BEGIN");
  for (int i = 1000; i < 1200; ++i) {
    tables_.push_back("T" + std::to_string(i));
    run("CREATE TABLE " + quoted(tables_.back()) + " (X INTEGER)");
  }
  run("COMMIT");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(data->Tables_List(), text::join(tables_, ","));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
}

// By code, what reads back as another type.
const std::map<std::string, std::map<int, int>> kReadBack = {
    {"Embedded",
     {{14, 131},
      {16, 2},
      {18, 3},
      {19, 20},
      {21, 131},
      {128, 204},
      {129, 202},
      {130, 202},
      {133, 7},
      {134, 7},
      {135, 7},
      {200, 202},
      {201, 203}}},
    {"SQLiteSource",
     {{4, 5},
      {6, 200},
      {7, 135},
      {14, 200},
      {17, 2},
      {18, 3},
      {19, 20},
      {21, 200},
      {72, 200},
      {128, 200},
      {129, 200},
      {130, 200},
      {131, 200},
      {202, 200},
      {203, 201}}},
    {"MySQL3", {{6, 131}, {7, 135}, {14, 131}, {72, 129}, {130, 129}, {202, 200}, {203, 201}}},
    {"PostgreSQLSource",
     {{6, 131},
      {7, 135},
      {14, 131},
      {16, 2},
      {17, 2},
      {18, 3},
      {19, 20},
      {21, 131},
      {128, 205},
      {130, 129},
      {202, 200},
      {203, 201},
      {204, 205}}}};

TEST_P(CatalogTest, MakesEveryType) {
  define("Types");
  const std::vector<int> codes = {2,  3,   4,   5,   6,   7,   11,  14,  16,  17,  18,  19,  20,  21,
                                  72, 128, 129, 130, 131, 133, 134, 135, 200, 201, 202, 203, 204, 205};
  for (const int code : codes) add(("C" + std::to_string(code)).c_str(), code, 12);
  store();
  ASSERT_TRUE(data->Table_Open("Types"));
  std::map<int, int> different;
  for (std::size_t i = 0; i < codes.size(); ++i) {
    const std::int32_t type = data->Table_ColumnPosType(static_cast<std::int16_t>(i));
    if (type != codes[i]) different[codes[i]] = type;
    if (ado::is_text(static_cast<ado::DataType>(type)) && codes[i] >= 129 && codes[i] != 131 &&
        codes[i] != 201 && codes[i] != 203) {
      EXPECT_EQ(data->Table_ColumnPosLength(static_cast<std::int16_t>(i)), 12) << codes[i];
    }
  }
  EXPECT_EQ(different, kReadBack.at(engine().name));
  define("Odd");
  add("X", 132);
  EXPECT_FALSE(data->Table_Store());
  EXPECT_EQ(data->Err_Description(), "Type is invalid.");
}

TEST_P(CatalogTest, MakesProceduresWhereTheServerHasThem) {
  const std::string name = engine().name;
  const bool takes_queries = name == "Embedded" || name == "MySQL3";
  EXPECT_EQ(data->Table_CreateProcedure("Total's", "SELECT 7 AS Much"), takes_queries)
      << data->Err_Description();
  EXPECT_TRUE(takes_queries || data->Err_Number() == ado::full_number(ado::Model::feature_not_available));
  if (name == "PostgreSQLSource") {
    EXPECT_TRUE(data->Table_CreateProcedure(
        "f", "CREATE FUNCTION \"Total's\"() RETURNS integer LANGUAGE sql AS 'SELECT 7'"));
  }
  const bool is_there = name != "SQLiteSource";
  EXPECT_EQ(data->StoredProcs_List(), is_there ? "Total's" : "");
  EXPECT_EQ(data->StoredProc_Exist("total'S"), is_there);
  EXPECT_FALSE(data->StoredProc_Exist("Total_s"));
  std::string asked = "total's";
  EXPECT_EQ(data->StoredProcs_Command(asked).starts_with("SELECT 7"), is_there);
  EXPECT_EQ(asked, "TOTAL'S");
  const std::string drop = name == "PostgreSQLSource" ? "DROP FUNCTION " : "DROP PROCEDURE ";
  EXPECT_EQ(data->ExecuteSQL(drop + (name == "Embedded" ? "[Total's]" : quoted("Total's"))), is_there);
}

INSTANTIATE_TEST_SUITE_P(Engines, CatalogTest, ::testing::ValuesIn(engines(Choose::ours_with_rules)),
                         engine_name);

}  // namespace
}  // namespace quarno::test
