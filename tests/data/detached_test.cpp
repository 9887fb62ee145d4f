// The members of CData that need no connection: snapshots, the table in memory, long fields.
#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "ado/Fields.h"
#include "ado/ado_error.h"
#include "common/convert.h"
#include "data/CData.h"
#include "data/piecewise.h"
#include "desktop/dbase/memory_disk.h"
#include "platform/fake/fakes.h"
#include "support/temp_folder.h"

namespace quarno {
namespace {

using test::bytes_of;

std::filesystem::path real_files() {
  const char* const own = std::getenv("QUARNOFWK_SHARED_DATA");
  const auto repository = std::filesystem::path(__FILE__).parent_path() / "../..";
  return (own != nullptr ? std::filesystem::path(own) : repository / "../shared/data") / "xml";
}

std::string told(const Variant& value) {
  if (value.is_null()) return "-";
  const auto* const bytes = value.get_if<Variant::Bytes>();
  if (bytes == nullptr) {
    const std::string text = to_text(value, LocaleInfo{});
    return text.size() < 40 ? text : "LONG";
  }
  return std::to_string(bytes->size()) + "b" + std::to_string(bytes->front()) + "-" +
         std::to_string(bytes->back());
}

// A row: its status and its values, those of chapters in brackets.
std::string told(ado::Recordset& rows) {
  std::string text;
  if (rows.at_bof() && rows.at_eof()) return text;
  for (rows.MoveFirst(); !rows.at_eof(); rows.MoveNext()) {
    text += (text.empty() ? "" : "; ") + std::to_string(rows.Status());
    // Of a deleted row there is no more than what it was.
    const bool is_gone = rows.Status() == ado::adRecDeleted;
    for (std::size_t i = 0; i < rows.columns().size(); ++i) {
      const Variant value = is_gone ? rows.original_value(i) : rows.value(i);
      const auto* const child = value.get_if<Variant::Object>();
      text +=
          "|" + (child == nullptr ? told(value) : "[" + told(dynamic_cast<ado::Recordset&>(**child)) + "]");
    }
  }
  return text;
}

class DetachedTest : public ::testing::Test {
 protected:
  void SetUp() override {
    quiet(*data);
    data->SetDBType(data::Conn_Jet);
    data->SetDatabase(folder.put("a.db", ""));
  }
  void quiet(CData& object) const {
    object.m_LogPath = folder.path();
    object.SetMessages(false);
  }
  // All rows, then those that are to be sent.
  std::string shown() {
    ado::Recordset& rows = *data->GetRecordSet();
    std::string text = told(rows);
    rows.set_Filter(std::int32_t{ado::adFilterPendingRecords});
    if (rows.RecordCount() > 0) text += " +" + told(rows);
    rows.set_Filter("");
    return text;
  }
  std::string left_beside() const {
    std::string left;
    for (const auto& file : std::filesystem::directory_iterator(folder.path())) {
      if (file.path().extension() == ".tmp") left += file.path().filename().string();
    }
    return left;
  }
  int failed() {
    const int number = data->Err_Number();
    data->GetErrObj()->m_Number = 0;
    return number;
  }

  test::TempFolder folder;
  test::ScopedVariable no_settings{"QUARNOFWK_PROVIDERS", folder.put("providers.ini", "")};
  Ptr<CData> data = make<CData>();
};

TEST_F(DetachedTest, RealSnapshotsComeBackAsTheyWere) {
  if (!std::filesystem::exists(real_files())) GTEST_SKIP() << "the real files are not there";
  // Names of the fields, then the rows with their statuses: 1 added, 2 changed, 4 deleted, 8 unchanged.
  const std::array<std::string_view, 3> files[] = {
      {"fabricated_nulls_forcenull", "ID,MAYBE_TEXT,MAYBE_INT", "1|1|-|-; 1|2||0 +1|1|-|-; 1|2||0"},
      {"fabricated_types_basic", "ID,FLAG,AMOUNT,RATIO,WHEN_AT",
       "1|1|True|1234.56|3.14159|03/02/2001 04:05:06; 1|-2|False|-7.89|-0.25|31/12/1999 23:59:58 "
       "+1|1|True|1234.56|3.14159|03/02/2001 04:05:06; 1|-2|False|-7.89|-0.25|31/12/1999 23:59:58"},
      {"int_pending_states", "ID,VALUE_FIELD", "2|1|1; 8|3|0; 1|4|2147483647 +2|1|1; 1|4|2147483647; 4|2|-1"},
      {"longbinary_wrapped_hex", "ID,VALUE_FIELD",
       "8|1|96b0-13; 8|2|96b37-50; 8|3|96b74-87; 8|4|96b111-124; 8|5|96b148-161; 8|6|-"},
      {"minimal_schema_handwritten", "ID,Friendly Name,Direct Int,Direct Binary",
       "8|1|alpha|42|3b0-2; 8|2||-|-"},
      {"name_mapping", "ID,Field Space Text,1LeadingInteger,Name-With-Dash,한글 필드",
       "2|1|alpha-updated|11|dash-one-updated|한글_4_값; 8|3|gamma|30|dash-three|한글_3_값; "
       "1|4|delta|40|dash-four|한글_5_값 +2|1|alpha-updated|11|dash-one-updated|한글_4_값; "
       "1|4|delta|40|dash-four|한글_5_값; 4|2|beta|20|dash-two|한글_2_값"},
      {"numeric_boundaries", "ID,VALUE_FIELD",
       "8|1|-922337.5808; 8|2|-1.2345; 8|3|0.0000; 8|4|1.2345; 8|5|922337.5807; 8|6|-"},
      {"shape_readonly_wrapped_relation", "OrderId,CustomerId,Freight,Lines",
       "8|100001|1|7.35|[8|100001|1000011|4; 8|100001|1000012|5; 8|100001|1000013|6]; "
       "8|100002|2|9.7|[8|100002|1000021|5; 8|100002|1000022|6; 8|100002|1000023|7]; "
       "8|100003|3|12.05|[8|100003|1000031|6; 8|100003|1000032|7; 8|100003|1000033|8]"},
      {"utf16le_stream_saved", "ID,TXT,LONG_TXT",
       "2|1|€ updated|LONG; 1|3|inserted|한글 inserted "
       "+2|1|€ updated|LONG; 1|3|inserted|한글 inserted; 4|2|delete me|deleted"},
  };
  for (const auto& [name, fields, rows] : files) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(data->XML_OpenSchema((real_files() / name).string() + ".xml")) << data->Err_Description();
    EXPECT_EQ(data->GetFieldsName(), fields);
    const std::string before = shown();
    EXPECT_EQ(before, rows);
    const std::string copy = folder / std::string(name) + ".xml";
    EXPECT_EQ(data->XML_Save(copy), Variant(true)) << data->Err_Description();
    ASSERT_TRUE(data->XML_OpenSchema(copy));
    EXPECT_EQ(shown(), before);
  }
}

TEST_F(DetachedTest, NamesDecideWhatIsSavedAndOpened) {
  ASSERT_TRUE(
      data->ExecuteSQL("CREATE TABLE T (ID LONG, S TEXT(9)); INSERT INTO T VALUES (1, 'a'), (2, 'b')"));
  ASSERT_TRUE(data->AccessQuery("SELECT ID, S FROM T"));
  data->MoveLast();
  EXPECT_EQ(data->XML_Save(folder / "report.txt"), Variant(false));
  EXPECT_EQ(data->XML_Save(folder / "OUT.XML"), Variant(true)) << data->Err_Description();
  EXPECT_EQ(data->GetPound("ID"), Variant(std::int32_t{1})) << "the first row is current";
  const std::string first = bytes_of(folder / "OUT.XML");
  EXPECT_EQ(first.substr(0, 13), "<xml xmlns:s=");
  data->Find("ID = 1", 1);
  data->Delete();
  EXPECT_EQ(data->XML_Save(folder / "OUT.XML"), Variant(false));
  EXPECT_EQ(bytes_of(folder / "OUT.XML"), first);
  EXPECT_EQ(data->XML_Save(folder / "OUT.XML", true), Variant(true));
  EXPECT_NE(bytes_of(folder / "OUT.XML"), first);
  EXPECT_FALSE(std::filesystem::exists(folder / "report.txt"));
  EXPECT_FALSE(data->XML_OpenSchema(folder / "OUT.XML")) << "small letters only";
  EXPECT_FALSE(data->GetRecordSet()->is_open()) << "the query is closed all the same";
  EXPECT_FALSE(data->XML_OpenSchema(folder / "none.xml"));
  EXPECT_EQ(failed(), 0);
  std::filesystem::rename(folder / "OUT.XML", folder / "out.xml");
  ASSERT_TRUE(data->XML_OpenSchema(folder / "out.xml")) << data->Err_Description();
  EXPECT_EQ(data->XML_ReadField(" s "), Variant("b"));
  EXPECT_TRUE(data->XML_SetField("S", "changed").is_empty());
  EXPECT_EQ(data->XML_ReadField("S"), Variant("changed"));
  EXPECT_EQ(failed(), 0);
  EXPECT_TRUE(data->XML_ReadField("none").is_empty());
  EXPECT_EQ(data->Err_Description(), "Field non found!");
  EXPECT_TRUE(data->XML_SetField("none", 1).is_empty());
  EXPECT_EQ(data->Err_Description(), "Field non found!");
  // What was changed goes out once there is a connection again.
  data->GetRecordSet()->set_ActiveConnection(data->GetConnection());
  data->GetRecordSet()->UpdateBatch();
  ASSERT_TRUE(data->AccessQuery("SELECT S FROM T"));
  EXPECT_EQ(data->GetPound("S"), Variant("changed"));
  data->CloseRs();
  EXPECT_TRUE(data->XML_Save(folder / "closed.xml").is_empty());
  EXPECT_EQ(failed(), ado::full_number(ado::Model::object_closed));
}

TEST_F(DetachedTest, HierarchiesAreSavedAndWalked) {
  ASSERT_TRUE(
      data->ExecuteSQL("CREATE TABLE P (ID LONG, N TEXT(9)); CREATE TABLE C (P LONG, V DOUBLE);"
                       "INSERT INTO P VALUES (1, 'a'), (2, 'b'), (3, NULL);"
                       "INSERT INTO C VALUES (1, 1.5), (2, 2), (1, NULL), (9, 9)"));
  for (const char* shape :
       {"SHAPE {SELECT * FROM P} APPEND ({SELECT * FROM C} RELATE ID TO P) AS lines",
        "SHAPE {SELECT * FROM P} APPEND ((SHAPE {SELECT * FROM C} APPEND ({SELECT N, ID FROM P} RELATE P TO "
        "ID) AS up)"
        " RELATE ID TO P) AS lines",
        "SHAPE {SELECT N, P, V FROM C LEFT JOIN P ON C.P = P.ID} AS c COMPUTE c, SUM(c.V) AS s BY N"}) {
    SCOPED_TRACE(shape);
    const auto query = make<CData>();
    quiet(*query);
    query->SetDBType(data::Conn_Jet);
    query->SetDatabase(folder / "a.db");
    query->SetProvider("MSDataShape");
    query->GetConnection()->Open("Provider=MSDataShape;Data Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" +
                                 folder / "a.db");
    ASSERT_TRUE(query->AccessQuery(shape)) << query->Err_Description();
    const std::string before = told(*query->GetRecordSet());
    EXPECT_EQ(query->XML_Save(folder / "h.xml", true), Variant(true)) << query->Err_Description();
    ASSERT_TRUE(data->XML_OpenSchema(folder / "h.xml")) << data->Err_Description();
    EXPECT_EQ(told(*data->GetRecordSet()), before);
  }
  ASSERT_TRUE(data->SelectionShape("SELECT * FROM P", "SELECT * FROM C", "ID TO P"));
  EXPECT_EQ(data->XML_Save(folder / "h.xml", true), Variant(true));
  ASSERT_TRUE(data->XML_OpenSchema(folder / "h.xml"));
  EXPECT_EQ(data->GetValueShape("V"), Variant(1.5));
  EXPECT_TRUE(data->MoveNextShape() && !data->MoveNextShape() && data->MoveNext());
  EXPECT_EQ(data->GetValueShape("V"), Variant(2.0));
  ASSERT_TRUE(
      data->AccessQuery("SHAPE {SELECT * FROM P} APPEND ({SELECT * FROM C WHERE P = ?} RELATE ID TO "
                        "PARAMETER 0) AS lines"))
      << data->Err_Description();
  EXPECT_TRUE(data->XML_Save(folder / "h.xml", true).is_empty());
  EXPECT_EQ(failed(), ado::full_number(ado::Model::feature_not_available));
}

TEST_F(DetachedTest, WhatIsNoSnapshotFailsByTheConvention) {
  data->Persist_AddField("A", 202, 9);
  data->Persist_Open();
  data->Persist_AddNew();
  data->Persist_SetValue("A", "text");
  data->Persist_Save();
  ASSERT_EQ(data->XML_Save(folder / "good.xml"), Variant(true)) << data->Err_Description();
  const std::string good = bytes_of(folder / "good.xml");
  const std::string large = "<!DOCTYPE x [<!ENTITY a 'aaaaaaaaaa'><!ENTITY b '&a;&a;&a;&a;&a;&a;&a;&a;'>]>";
  std::filesystem::create_directory(folder / "d.xml");
  const std::tuple<const char*, std::string, int> files[] = {
      {"cut.xml", good.substr(0, good.size() * 2 / 3), ado::kUnspecified},
      {"cut_in_data.xml", good.substr(0, good.size() - 20), ado::kUnspecified},
      {"hostile.xml", large + good, ado::kUnspecified},
      {"other.xml", "<html><body/></html>", ado::kUnspecified},
      {"no_type.xml", std::string(good).replace(good.find("dt:type='string'"), 16, "dt:type='strong'"),
       ado::kUnspecified},
      {"empty.xml", "", ado::kUnspecified},
      {"d.xml", "", 75},
  };
  platform::fake::RecordingDialogs dialogs;
  const platform::ScopedPort<platform::Dialogs> in_place(dialogs);
  data->SetMessages(true);
  for (const auto& [name, bytes, number] : files) {
    SCOPED_TRACE(name);
    if (number != 75) folder.put(name, bytes);
    dialogs.boxes.clear();
    EXPECT_FALSE(data->XML_OpenSchema(folder / name));
    EXPECT_EQ(data->Err_Number(), number) << data->Err_Description();
    EXPECT_FALSE(data->GetRecordSet()->is_open());
    ASSERT_EQ(dialogs.boxes.size(), 1u);
    EXPECT_EQ(dialogs.boxes[0].substr(0, 17), "XML_OpenSchema - ");
  }
  data->SetMessages(false);
  // A file that could not be written leaves the one that was there, and nothing beside it.
  ASSERT_TRUE(data->XML_OpenSchema(folder / "good.xml"));
  EXPECT_TRUE(data->XML_Save(folder / "d.xml", true).is_empty());
  EXPECT_TRUE(data->XML_Save(folder / "none/a.xml").is_empty());
  EXPECT_EQ(failed(), 76);
  const auto bad = make<CData>();
  quiet(*bad);
  bad->Persist_AddField("A", 9);
  bad->Persist_Open();
  EXPECT_TRUE(bad->XML_Save(folder / "good.xml", true).is_empty());
  EXPECT_EQ(bad->Err_Number(), ado::kMultipleStep);
  EXPECT_EQ(bytes_of(folder / "good.xml"), good);
  EXPECT_EQ(left_beside(), "");
}

TEST_F(DetachedTest, TwoThatSaveToOneNameLeaveOneWholeFile) {
  const auto save = [&](int rows) {
    const auto own = make<CData>();
    quiet(*own);
    own->Persist_AddField("N", 3);
    own->Persist_Open();
    for (int i = 0; i < rows; ++i) {
      own->Persist_AddNew();
      own->Persist_SetValue("N", rows);
      own->Persist_Save();
    }
    for (int i = 0; i < 20; ++i) EXPECT_EQ(own->XML_Save(folder / "one.xml", true), Variant(true));
  };
  std::thread other([&] { save(300); });
  save(200);
  other.join();
  ASSERT_TRUE(data->XML_OpenSchema(folder / "one.xml")) << data->Err_Description();
  EXPECT_EQ(data->GetPound("N"), Variant(data->RecordCount()));
  EXPECT_EQ(left_beside(), "");
}

TEST_F(DetachedTest, TheTableInMemoryIsDefinedFilledAndWalked) {
  data->Persist_Open();
  EXPECT_EQ(failed(), ado::full_number(ado::Model::invalid_connection)) << "it has no fields";
  data->Persist_AddField("Nome", 200);
  data->Persist_AddField("ID", 3, 50);
  data->Persist_AddField("V", 5);
  data->Persist_AddField("Short", 129, 3);
  data->Persist_AddField("Nome", 200);
  EXPECT_EQ(failed(), ado::full_number(ado::Model::in_collection));
  data->Persist_AddField("X", 999);
  EXPECT_EQ(failed(), ado::full_number(ado::Model::invalid_argument));
  EXPECT_TRUE(data->Persist_AddNew().is_empty());
  EXPECT_EQ(failed(), ado::full_number(ado::Model::object_closed));
  data->Persist_Open();
  EXPECT_EQ(failed(), 0) << data->Err_Description();
  EXPECT_EQ(data->GetFieldsName(), "Nome,ID,V,Short") << "without a query it is the current recordset";
  EXPECT_EQ(data->GetFieldSize("Nome"), 0);
  EXPECT_EQ(data->GetFieldSize("ID"), 4);
  EXPECT_FALSE(data->Persist_MoveNext() || data->Persist_MovePrev());
  EXPECT_TRUE(data->Persist_GetPound("ID").is_empty());
  EXPECT_EQ(data->Persist_Delete(), Variant(false));
  EXPECT_EQ(failed(), 0);
  for (int i = 1; i <= 3; ++i) {
    EXPECT_TRUE(data->Persist_AddNew().is_empty());
    data->Persist_SetPound("Nome", std::string(100, 'n'));
    data->Persist_SetValue(" id ", std::to_string(i));
    data->Persist_SetPound("V", "1.234,5");
    data->Persist_SetPound("Short", "a\"bc");
    EXPECT_EQ(data->Persist_Save(), Variant(true));
  }
  data->Persist_MoveFirst();
  EXPECT_EQ(data->Persist_GetPound("Nome"), Variant(std::string(100, 'n'))) << "no size, no limit";
  EXPECT_EQ(data->Persist_GetValue("V"), Variant(1234.5));
  EXPECT_EQ(data->Persist_GetValue("Short"), Variant("a''"));
  EXPECT_TRUE(data->Persist_MoveNext() && data->Persist_MoveNext());
  EXPECT_FALSE(data->Persist_MoveNext());
  EXPECT_EQ(data->Persist_GetPound("ID"), Variant(std::int32_t{3})) << "the last row stays";
  EXPECT_TRUE(data->Persist_MovePrev() && data->Persist_Move(-1));
  EXPECT_FALSE(data->Persist_MovePrev() || data->Persist_Move(9));
  data->Persist_MoveLast();
  EXPECT_EQ(data->Persist_Delete(), Variant(true));
  data->Persist_MoveLast();
  EXPECT_EQ(data->Persist_GetPound("ID"), Variant(std::int32_t{2}));
  EXPECT_EQ(failed(), 0) << data->Err_Description();
  EXPECT_TRUE(data->Persist_GetPound("none").is_empty());
  EXPECT_EQ(data->Err_Description() + data->Err_Source(), "Field not found !CRecord");
  platform::fake::RecordingDialogs dialogs;
  const platform::ScopedPort<platform::Dialogs> in_place(dialogs);
  data->SetMessages(true);
  data->Persist_Open();
  EXPECT_EQ(data->Err_Number(), ado::full_number(ado::Model::object_open));
  EXPECT_EQ(dialogs.boxes.at(0).substr(0, 15), "Persist_Open - ");
  data->SetMessages(false);
  EXPECT_EQ(data->XML_Save(folder / "memory.xml"), Variant(true)) << data->Err_Description();
  // Queries come and go; it stays, and what is added to a query is not added to it.
  ASSERT_TRUE(data->ExecuteSQL("CREATE TABLE T (ID LONG)"));
  data->m_Tabella = "T";
  data->AddNew();
  data->SetPound("ID", 7);
  EXPECT_TRUE(data->Save()) << data->Err_Description();
  EXPECT_EQ(data->Persist_GetPound("ID"), Variant(std::int32_t{1})) << "the first row, since it was saved";
  data->CloseRs();
  ASSERT_TRUE(data->XML_OpenSchema(folder / "memory.xml"));
  EXPECT_EQ(data->RecordCount(), 2);
}

TEST(Pieces, AreOfOneSizeButForTheLast) {
  const auto copied = [](std::optional<std::size_t> size, std::size_t there, bool is_text) {
    std::string log;
    std::size_t written = 0, left = there;
    const auto read = [&](std::size_t count) -> Variant {
      count = std::min(count, left);
      left -= count;
      log += std::to_string(count) + " ";
      if (count == 0) return Variant::null();
      return is_text ? Variant(std::string(count, 't')) : Variant(Variant::Bytes(count, 7));
    };
    data::copy_pieces(size, read, [&](std::string_view bytes) { written += bytes.size(); });
    return log + "= " + std::to_string(written);
  };
  EXPECT_EQ(copied(40'000, 40'000, false), "16384 16384 7232 = 40000");
  EXPECT_EQ(copied(std::nullopt, 40'000, false), "16384 16384 7232 = 40000");
  EXPECT_EQ(copied(32'768, 32'768, false), "16384 16384 = 32768");
  EXPECT_EQ(copied(std::nullopt, 32'768, true), "16384 16384 0 = 32768");
  EXPECT_EQ(copied(0, 0, false), "= 0");
  EXPECT_EQ(copied(std::nullopt, 0, false), "0 = 0");
  EXPECT_EQ(copied(40'000, 100, false), "100 = 100") << "it ended early";
}

TEST_F(DetachedTest, LongFieldsGoToFilesAndBack) {
  std::string bytes(40'000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
  ASSERT_TRUE(data->ExecuteSQL("CREATE TABLE B (ID LONG, D LONGBINARY, M MEMO)"));
  data::CRecorset worker;
  worker.settings.kind = data::Conn_Jet;
  worker.settings.database = folder / "a.db";
  worker.show_messages = false;
  worker.open_recordset("SELECT ID, D, M FROM B");
  for (int i = 0; i < 2; ++i) {
    worker.add_new();
    worker.set_field_value("ID", i);
    if (i == 0) worker.file_to_field("D", folder.put("other.bin", "another"));
    if (i == 0) worker.file_to_field("D", folder.put("in.bin", bytes));
    if (i == 0)
      worker.file_to_field(" m ", folder.put("in.txt",
                                             "Gr\xf6\xdf"
                                             "e"));
    worker.file_to_field("D", folder / "none");  // leaves the field
    worker.update();
  }
  ASSERT_TRUE(data->AccessQuery("SELECT ID, D, M FROM B ORDER BY ID"));
  EXPECT_EQ(data->GetPound("M"), Variant("Größe"));
  const std::string out = folder.put("out.bin", "an old and longer file");
  data->Blob2File("D", out);
  EXPECT_EQ(bytes_of(out), bytes) << data->Err_Description();
  data->Blob2File("M", out);
  EXPECT_EQ(bytes_of(out),
            "Gr\xf6\xdf"
            "e");
  EXPECT_EQ(failed(), 0);
  data->Blob2File("ID", out);
  EXPECT_EQ(failed(), ado::full_number(ado::Model::illegal_operation));
  data->Blob2File("none", out);
  EXPECT_EQ(failed(), ado::full_number(ado::Model::item_not_found));
  data->Blob2File("D", folder.path());
  EXPECT_EQ(failed(), 75);
  EXPECT_EQ(bytes_of(out),
            "Gr\xf6\xdf"
            "e");
  // Each copy is the whole field, whatever the one before it came to.
  for (int allowed = 0;; ++allowed) {
    test::MemoryDisk disk;
    const platform::ScopedPort<platform::DataFiles> in_place(disk);
    disk.put(out, "old");
    disk.allow(allowed, test::MemoryDisk::Failure::full);
    data->Blob2File("D", out);
    const int number = failed();
    EXPECT_TRUE(disk.bytes(out) == (number == 0 ? bytes : "old")) << allowed;
    EXPECT_EQ(disk.count(), 1u) << allowed;
    if (number == 0) break;
    EXPECT_EQ(number, 61);
  }
  const std::string device = folder / "device";
  std::filesystem::create_symlink("/dev/full", device);
  data->Blob2File("D", device);
  EXPECT_EQ(failed(), 61);
  EXPECT_TRUE(std::filesystem::is_symlink(device)) << "it is written to, not replaced";
  data->GetRecordSet()->Fields()->Item("M")->GetChunk(2);
  data->Blob2File("M", out);
  EXPECT_EQ(std::filesystem::file_size(out), 5u);
  ASSERT_TRUE(data->MoveNext());
  data->Blob2File("D", out);
  EXPECT_EQ(bytes_of(out), "") << "null is an empty file";
  ASSERT_TRUE(data->AccessQuery("SELECT D FROM B WHERE ID = 9"));
  data->Blob2File("D", folder.put("kept.bin", "kept"));
  EXPECT_EQ(failed(), ado::full_number(ado::Model::no_current_record));
  EXPECT_EQ(bytes_of(folder / "kept.bin"), "kept");
}

}  // namespace
}  // namespace quarno
