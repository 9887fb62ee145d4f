// The catalogue of files and folders, and what is odd about the members on purpose.
#include <gtest/gtest.h>

#include "common/convert.h"
#include "common/locale_info.h"
#include "data/CData.h"
#include "desktop/access/real_files.h"
#include "platform/fake/fakes.h"
#include "support/dbase_file.h"
#include "support/temp_folder.h"

namespace quarno::test {
namespace {

class DesktopCatalogTest : public ::testing::Test {
 protected:
  Ptr<CData> reaching(std::int16_t kind, const std::string& database) {
    auto made = make<CData>();
    made->m_LogPath = folder.path();
    made->SetMessages(false);
    made->SetDBType(kind);
    made->SetDatabase(database);
    return made;
  }

  TempFolder folder;
  platform::fake::RecordingDialogs dialogs;
  platform::ScopedPort<platform::Dialogs> dialogs_in_place{dialogs};
  Ptr<CData> data = reaching(data::Conn_Jet, folder.put("a.db", ""));
};

TEST_F(DesktopCatalogTest, WidensTextAndKeepsBlanks) {
  ASSERT_TRUE(data->Table_Create("T"));
  for (const auto& [given, used] : std::vector<std::pair<std::int32_t, std::int32_t>>{
           {129, 130}, {200, 202}, {201, 203}, {7, 7}, {3, 3}}) {
    std::int32_t type = given;
    EXPECT_TRUE(data->Table_AddColumn("C" + std::to_string(given), type, 9));
    EXPECT_EQ(type, used);
  }
  EXPECT_TRUE(data->Table_AddColumn(" B", 202, 9, false));
  EXPECT_EQ(data->Table_AddIndex("none", true, true, ""), Variant(true));
  EXPECT_EQ(data->Table_AddIndex("i", false, false, "C3, B"), Variant(true));
  EXPECT_EQ(data->Table_AddIndex("PK", true, true, "C3"), Variant(true));
  EXPECT_TRUE(data->Table_Store()) << data->Err_Description();
  for (const bool stored : {false, true}) {
    ASSERT_TRUE(!stored || data->Table_Open("t"));
    EXPECT_FALSE(data->Table_ColumnKey("C3")) << "the first index with the column decides";
    EXPECT_FALSE(data->Table_ColumnKey("B"));
    EXPECT_EQ(data->Table_ColumnsCount(), 6);
    EXPECT_EQ(data->Table_ColumnType("c129"), stored ? 202 : 130);
  }
  // Nulls and empty texts are allowed together.
  EXPECT_TRUE(data->ExecuteSQL("INSERT INTO T (C3, [ B], C200) VALUES (1, 'x', '')"))
      << data->Err_Description();
  EXPECT_FALSE(data->ExecuteSQL("INSERT INTO T (C3, [ B]) VALUES (2, '')"));
  EXPECT_FALSE(data->ExecuteSQL("INSERT INTO T (C3) VALUES (2)"));

  // Only kind 0 stamps dates.
  const auto server = make<CData>();
  server->SetMessages(false);
  server->SetAdoConnection(Ptr<automation::Object>(data->GetConnection().get()));
  server->SetDBType(data::Conn_SQL);
  ASSERT_TRUE(server->Table_Create("S"));
  std::int32_t type = 7;
  EXPECT_TRUE(server->Table_AddColumn("D", type));
  EXPECT_EQ(type, 135);
  type = 200;
  EXPECT_TRUE(server->Table_AddColumn("T", type));
  EXPECT_EQ(type, 200);
}

TEST_F(DesktopCatalogTest, ADefinitionIsKeptUntilItIsStored) {
  EXPECT_FALSE(data->Table_AddColumn("A", 3));
  EXPECT_EQ(data->Err_Number(), 91);
  EXPECT_FALSE(data->Table_Store());
  ASSERT_TRUE(data->Table_Create("First"));
  ASSERT_TRUE(data->Table_AddColumn("A", 3));
  ASSERT_TRUE(data->Table_AddColumn("B", 3));
  EXPECT_TRUE(data->Table_DeleteColumn("b"));
  ASSERT_TRUE(data->Table_Create("Second"));
  EXPECT_EQ(data->Table_ColumnsCount(), 1);
  ASSERT_TRUE(data->Table_Store());
  EXPECT_EQ(data->Tables_List(), "Second");
  ASSERT_TRUE(data->Table_Create("Third"));
  EXPECT_EQ(data->Table_ColumnsCount(), 0);
  EXPECT_FALSE(data->Table_Store()) << "a table without columns";
  EXPECT_EQ(data->Tables_List(), "Second");
}

TEST_F(DesktopCatalogTest, ATableOfAnotherDatabaseIsLeftAlone) {
  for (const char* const file : {"b.db", "a.db"}) {
    data = reaching(data::Conn_Jet, file == std::string("a.db") ? folder / file : folder.put(file, ""));
    ASSERT_TRUE(data->ExecuteSQL("CREATE TABLE T (A LONG, B LONG)")) << data->Err_Description();
    ASSERT_TRUE(data->Table_Open("T"));
  }
  EXPECT_TRUE(data->Table_DeleteColumn("A"));
  data->CloseConnection();
  EXPECT_TRUE(data->Table_AddColumn("C", 3)) << "the connection opens again";
  data->CloseConnection();
  data->SetDatabase(folder / "b.db");
  EXPECT_FALSE(data->Table_DeleteColumn("B"));
  EXPECT_FALSE(data->Table_AddColumn("D", 3));
  EXPECT_TRUE(data->Table_AddIndex("i", false, false, "B").is_empty());
  ASSERT_TRUE(data->Table_Open("T"));
  EXPECT_EQ(data->Table_ColumnsCount(), 2);
}

TEST_F(DesktopCatalogTest, AccessorsAreSilentAndTheOthersSayWhoFailed) {
  data->SetMessages(true);
  EXPECT_EQ(data->Table_ColumnsCount(), 0);
  ASSERT_TRUE(data->Table_Create("T"));
  ASSERT_TRUE(data->Table_AddColumn("A", 202, 5));
  for (const std::int16_t position : {std::int16_t{-1}, std::int16_t{1}, std::int16_t{99}}) {
    EXPECT_EQ(data->Table_ColumnName(position), "");
    EXPECT_EQ(data->Table_ColumnPosType(position), 0);
    EXPECT_EQ(data->Table_ColumnPosLength(position), 0);
  }
  EXPECT_EQ(data->Table_ColumnPosLength(0), 5);
  EXPECT_EQ(data->Table_ColumnType("x"), 0);
  EXPECT_EQ(data->Table_ColumnLength("x"), 0);
  EXPECT_FALSE(data->Table_ColumnExist("x"));
  EXPECT_TRUE(data->Table_ColumnExist("a"));
  EXPECT_FALSE(data->Table_ColumnKey("A"));
  EXPECT_FALSE(data->Table_Exist("T"));
  EXPECT_FALSE(data->StoredProc_Exist("T"));
  EXPECT_TRUE(dialogs.boxes.empty());

  data = reaching(data::Conn_Jet, folder.put("damaged.db", std::string(4096, 'x')));
  data->SetMessages(true);
  const struct {
    const char* prefix;
    std::function<bool()> is_empty;
  } rows[] = {
      {"Table_List - ", [&] { return data->Tables_List().empty(); }},
      {"View_List - ", [&] { return data->Views_List(true).empty(); }},
      {"STProc_List - ", [&] { return data->StoredProcs_List().empty(); }},
      {"STProc_Cmd - ", [&] { return data->StoredProcs_Command("p").empty(); }},
      {"STProc_Cmd - ", [&] { return data->View_Command("v").empty(); }},
      {"Table_Open - ", [&] { return !data->Table_Open("T"); }},
      {"Table_Create - ", [&] { return !data->Table_Create("T"); }},
      {"Table_Store - ", [&] { return !data->Table_Store(); }},
      {"Table_AddColumn - ", [&] { return !data->Table_AddColumn("A", 3); }},
      {"Table_DeleteColumn - ", [&] { return !data->Table_DeleteColumn("A"); }},
      {"Table_AddIndex - ", [&] { return data->Table_AddIndex("i", true, true, "A").is_empty(); }},
      {"Table_CreateProcedure - ", [&] { return !data->Table_CreateProcedure("p", "SELECT 1"); }},
      {"Table_Exist - ", [&] { return !data->Table_Exist("T"); }},
      {"StoredProc_Exist - ", [&] { return !data->StoredProc_Exist("T"); }},
  };
  for (const auto& row : rows) {
    dialogs.boxes.clear();
    EXPECT_TRUE(row.is_empty()) << row.prefix;
    ASSERT_EQ(dialogs.boxes.size(), 1u) << row.prefix;
    EXPECT_TRUE(dialogs.boxes[0].starts_with(std::string(row.prefix) + "\r\nNumber : ")) << dialogs.boxes[0];
  }
}

TEST_F(DesktopCatalogTest, AViewIsShownAsItWasWritten) {
  ASSERT_TRUE(data->ExecuteSQL("CREATE TABLE T (A LONG, B TEXT(5))"));
  const struct {
    std::string name;
    std::string query;
    const char* first;
  } rows[] = {
      {"V1", "SELECT TOP 1 A & '!' AS K, IIf(A / 2 > 1, 'y', B) AS Z\n FROM T WHERE B LIKE 'x%' ORDER BY A",
       "3!"},
      {"V 2", "SELECT K FROM [V1] -- as it is", "3!"},
      {"V3", "SELECT A FROM T", "3"}};
  for (const auto& row : rows) {
    ASSERT_TRUE(data->ExecuteSQL("CREATE VIEW [" + row.name + "] AS " + row.query))
        << data->Err_Description();
  }
  ASSERT_TRUE(data->ExecuteSQL("INSERT INTO T VALUES (3, 'x1')"));
  for (const auto& row : rows) {
    std::string name = row.name;
    EXPECT_EQ(data->View_Command(name), row.query);
    ASSERT_TRUE(data->AccessQuery("SELECT * FROM [" + row.name + "]")) << data->Err_Description();
    EXPECT_EQ(to_text(data->GetPoundPos(0), LocaleInfo{}), row.first);
  }
  EXPECT_TRUE(data->Table_Open("V 2"));
}

TEST_F(DesktopCatalogTest, ProceduresAreListedUpToASemicolon) {
  for (const char* name : {"p2", "p1;2", "p1;1"}) {
    EXPECT_TRUE(data->Table_CreateProcedure(name, "PARAMETERS x LONG; SELECT x")) << data->Err_Description();
  }
  EXPECT_EQ(data->StoredProcs_List(), "p1,p1,p2");
  EXPECT_EQ(data->StoredProcs_Command("P2"), "PARAMETERS x LONG; SELECT x");
  EXPECT_EQ(data->StoredProcs_Command("p1"), "");
  EXPECT_FALSE(data->Table_CreateProcedure("P2", "SELECT 1")) << "the name is taken";
  EXPECT_FALSE(data->Table_CreateProcedure("p3", " -- nothing"));
  EXPECT_TRUE(data->Table_CreateProcedure("p4", "CREATE TABLE Later (A LONG)"));
  EXPECT_FALSE(data->Table_Exist("Later"));
  EXPECT_TRUE(data->ExecuteSQL("EXECUTE p4")) << data->Err_Description();
  EXPECT_TRUE(data->Table_Exist("Later"));
  EXPECT_EQ(data->Tables_List(), "Later") << "where they are kept is the system's";
  EXPECT_NE(data->Tables_List(true), "");
}

TEST_F(DesktopCatalogTest, AFolderOfDbaseTables) {
  data = reaching(data::Conn_DB3, folder.path());
  const TempFolder empty;
  folder.put("FIRST.DBF", empty_dbase_table());
  EXPECT_EQ(data->Tables_List(), "FIRST") << data->Err_Description();
  EXPECT_EQ(data->Views_List(true) + data->StoredProcs_List(), "");
  ASSERT_TRUE(data->Table_Open("first")) << data->Err_Description();
  EXPECT_EQ(data->Table_ColumnName(0), "A");
  EXPECT_EQ(data->Table_ColumnType("A"), 202);
  EXPECT_EQ(data->Table_ColumnLength("A"), 1);
  for (const char* const key : {"N", "T", ""}) {
    const bool indexed = *key != '\0';
    data = reaching(data::Conn_DB3, folder.path());
    ASSERT_TRUE(data->Table_Create("NEW"));
    ASSERT_TRUE(data->Table_AddColumn("N", 5));
    ASSERT_TRUE(data->Table_AddColumn("T", 200, 30));
    data->Table_AddIndex("i", *key == 'N', false, key);
    EXPECT_EQ(data->Table_Store(), !indexed) << data->Err_Description();
    EXPECT_EQ(data->Tables_List(), indexed ? "FIRST" : "FIRST,NEW");
  }
  EXPECT_FALSE(data->Table_CreateProcedure("p", "SELECT 1"));
  EXPECT_EQ(data->Err_Number(), -2146825037);
}

TEST_F(DesktopCatalogTest, AnAccessFileIsRead) {
  const auto file = real_files("access") / "jackcess_queryTestV2000.mdb";
  if (!std::filesystem::exists(file)) GTEST_SKIP() << "no real files";
  data = reaching(data::Conn_Jet, file.string());
  EXPECT_EQ(data->Tables_List(), "Table1,Table2,Table3") << data->Err_Description();
  EXPECT_NE(data->Tables_List(true).find(",MSysObjects,"), std::string::npos);
  EXPECT_NE(data->Views_List(), "") << data->Err_Description();
  EXPECT_NE(data->StoredProcs_List(), "");
  ASSERT_TRUE(data->Table_Open("TABLE1")) << data->Err_Description();
  EXPECT_EQ(data->Table_ColumnsCount(), 3);
  EXPECT_FALSE(data->Table_AddColumn("x", 3));
  ASSERT_TRUE(data->Table_Create("New"));
  ASSERT_TRUE(data->Table_AddColumn("x", 3));
  EXPECT_FALSE(data->Table_Store());
  EXPECT_NE(data->Err_Description().find("read-only"), std::string::npos) << data->Err_Description();
  const struct {
    const char* file;
    const char* column;
    bool is_key;
  } rows[] = {{"jackcess_testV2007.accdb", "A", true},
              {"jackcess_testV1997.mdb", "A", true},
              {"jackcess_testV1997.mdb", "B", false},
              {"jackcess_indexTestV2000.mdb", "id", false}};  // an index of its own comes first
  for (const auto& row : rows) {
    data = reaching(data::Conn_Jet, (real_files("access") / row.file).string());
    ASSERT_TRUE(data->Table_Open("Table1")) << row.file;
    EXPECT_EQ(data->Table_ColumnKey(row.column), row.is_key) << row.file;
  }
}

}  // namespace
}  // namespace quarno::test
