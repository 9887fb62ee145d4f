// Database files that other programs wrote, as a host reaches them, cell for cell; and two connections on
// them.
#include <algorithm>
#include <charconv>
#include <fstream>
#include <thread>

#include "ado/Recordset.h"
#include "common/convert.h"
#include "common/text.h"
#include "desktop/access/real_files.h"
#include "engines/engines.h"

namespace quarno::test {
namespace {

using namespace std::chrono_literals;

class RealFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(real_files("dbf"))) GTEST_SKIP() << "no files at " << real_files("dbf");
    std::filesystem::copy(real_files("dbf"), folder.path());
    std::filesystem::copy(real_files("access"), folder.path());
  }
  Ptr<CData> reaching(std::int16_t kind, const std::string& database, const std::string& password = "") {
    auto made = make<CData>();
    made->m_LogPath = folder.path();
    made->SetMessages(false);
    made->SetDBType(kind);
    made->SetDatabase(database, "", "", password);
    return made;
  }
  std::string failure(CData& data, const std::string& statement) {
    return data.ExecuteSQL(statement) ? "done" : data.Err_Description();
  }
  std::vector<std::string> rows(CData& data, const std::string& table);
  void use_code_page(const std::string& number) {
    folder.put("providers.ini", "[keywords]\nMicrosoft.Jet.OLEDB.Code Page = " + number + "\n");
  }

  TempFolder folder;
  ScopedVariable site{"QUARNOFWK_PROVIDERS", folder.put("providers.ini", "")};
};

std::string escaped(std::string text) {
  for (const auto& [from, to] : {std::pair("\\", "\\\\"), {"\n", "\\n"}, {"\r", "\\r"}, {"\t", "\\t"}})
    text = text::replace_all(text, from, to);
  return text;
}

// As the checked contents beside the files have a value.
std::string as_truth(const Variant& value, bool dbase, bool is_long) {
  if (const auto* flag = value.get_if<bool>()) return dbase ? (*flag ? "T" : "F") : *flag ? "1" : "0";
  if (const auto* money = value.get_if<Currency>()) {
    const std::string digits = money->to_decimal().text();
    return money->scaled % 10000 == 0 ? digits.substr(0, digits.find('.')) + ".0000" : digits;
  }
  if (const auto* date = value.get_if<Date>()) {
    const CivilTime t = civil_from_date(*date);
    char text[64];
    std::snprintf(text, sizeof text, dbase ? "%04d%02d%02d" : "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year,
                  t.month, t.day, t.hour, t.minute, t.second, t.microsecond / 1000);
    return text;
  }
  if (const auto* bytes = value.get_if<Variant::Bytes>()) {
    std::string hex;
    for (const std::uint8_t byte : *bytes) {
      hex += "0123456789ABCDEF"[byte >> 4];
      hex += "0123456789ABCDEF"[byte & 15];
    }
    return hex;
  }
  char shortest[40];
  if (const auto* number = value.get_if<double>())
    return {shortest, std::to_chars(shortest, std::end(shortest), *number).ptr};
  if (const auto* number = value.get_if<float>())
    return {shortest, std::to_chars(shortest, std::end(shortest), *number).ptr};
  std::string text = escaped(to_text(value, LocaleInfo{}));
  if (dbase && is_long) text.resize(text.find_last_not_of(' ') + 1);
  return text;
}

std::vector<std::string> RealFilesTest::rows(CData& data, const std::string& table) {
  std::vector<std::string> lines;
  EXPECT_TRUE(data.AccessQuery("SELECT * FROM [" + table + "]")) << data.Err_Description();
  const bool dbase = data.GetDBType() == data::Conn_DB3;
  for (bool more = data.RecordCount() > 0; more; more = data.MoveNext()) {
    std::string line;
    for (std::int16_t i = 0; i < data.FieldsCount(); ++i) {
      const std::string name = data.GetFieldName(i);
      const bool is_long =
          data.GetFieldType(name) == static_cast<std::int32_t>(ado::DataType::long_var_wchar);
      const bool is_null = data.GetRecordSet()->value(static_cast<std::size_t>(i)).is_null();
      line += (i > 0 ? "\t" : "") + (is_null ? "\\N" : as_truth(data.GetValue(name), dbase, is_long));
    }
    lines.push_back(line);
  }
  return lines;
}

TEST_F(RealFilesTest, DbaseTablesReadCellForCell) {
  for (const char* file : {"dbfdatareader_dbase_03", "dbfdatareader_dbase_83", "phpxbase_cbrf_122019N1",
                           "dbffile_PYACFL", "pyshp_corrupt_too_long"}) {
    SCOPED_TRACE(file);
    use_code_page(std::string_view(file).starts_with("phpxbase") ? "866" : "1252");
    const auto data = reaching(data::Conn_DB3, folder.path());
    const bool capital = std::string_view(file).ends_with("PYACFL");
    std::ifstream truth(folder / (file + std::string(capital ? ".DBF.txt" : ".dbf.txt")));
    std::string line;
    std::getline(truth, line);
    for (const std::string& row : rows(*data, file)) {
      ASSERT_TRUE(std::getline(truth, line));
      ASSERT_EQ(row, line);
    }
    EXPECT_FALSE(std::getline(truth, line)) << "rows are missing";
  }
  const auto data = reaching(data::Conn_DB3, folder.path());
  // clang-format off
  const std::pair<const char*, const char*> refused[] = {
      {"SELECT * FROM infused_dbase_02",
       "'infused_dbase_02.dbf' is a dBASE II file, which cannot be used: only dBASE III and IV tables can."},
      {"CREATE VIEW V AS SELECT * FROM dbffile_PYACFL", "This kind of database keeps tables alone: no views, indexes "
       "or triggers, and no other columns in a table that is there."},
      {"CREATE TABLE V AS SELECT * FROM dbffile_PYACFL", "This kind of database keeps tables alone: no views, indexes "
       "or triggers, and no other columns in a table that is there."},
      {"CREATE PROCEDURE P AS SELECT 1", "Procedures cannot be kept by this kind of database."},
  };
  // clang-format on
  for (const auto& [statement, text] : refused) EXPECT_EQ(failure(*data, statement), text);
  // Without a key, columns of two tables are never changed.
  ASSERT_TRUE(
      data->AccessQuery("SELECT a.AFACCD, a.AFWKEN, b.test FROM dbffile_PYACFL a, pyshp_corrupt_too_long b"));
  data->SetPound("AFWKEN", 5);
  EXPECT_FALSE(data->Save());
}

TEST_F(RealFilesTest, AccessTablesReadCellForCell) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(real_files("access"))) {
    if (entry.path().extension() != ".txt") continue;
    ++files;
    const std::string name = entry.path().stem();
    SCOPED_TRACE(name);
    const std::string before = bytes_of(folder / name);
    const bool locked = name.find("password") != std::string::npos;
    const auto data = reaching(data::Conn_Jet, folder / name, locked ? "password" : "");
    std::ifstream truth(entry.path());
    std::string line;
    std::vector<std::string> found;
    std::string table;
    for (std::size_t at = 0; std::getline(truth, line);) {
      if (line.starts_with("@")) {
        EXPECT_EQ(at, found.size()) << table;
        table = line.substr(1, line.find('\t') - 1);
        found = rows(*data, table);
        std::sort(found.begin(), found.end());
        at = 0;
        continue;
      }
      ASSERT_LT(at, found.size()) << table;
      ASSERT_EQ(found[at++], line) << table;
    }
    for (const std::string& statement :
         {"DELETE FROM [" + table + "]", std::string("CREATE TABLE N (A INTEGER)")}) {
      EXPECT_TRUE(failure(*data, statement)
                      .starts_with("Cannot update. Database or object is read-only. Access files "
                                   "are only read here: 'quarnofwk convert"))
          << data->Err_Description();
      EXPECT_EQ(data->Err_Number(), ado::kReadOnly);
    }
    EXPECT_EQ(bytes_of(folder / name), before);
    if (!locked) continue;
    EXPECT_EQ(failure(*reaching(data::Conn_Jet, folder / name, "x"), "SELECT 1"), "Not a valid password.");
  }
  EXPECT_GE(files, 12);
  use_code_page("936");
  const auto chinese = reaching(data::Conn_Jet, folder / "ucanaccess_charsetGBK.mdb");
  EXPECT_EQ(rows(*chinese, "table1"), std::vector<std::string>{"2\tGBK编码"});
}

TEST_F(RealFilesTest, SavedQueriesAreOpenedAndCalled) {
  const auto data = reaching(data::Conn_Jet, folder / "jackcess_queryTestV2000.mdb");
  EXPECT_TRUE(data->AccessQuery("SELECT * FROM SelectQuery")) << data->Err_Description();
  EXPECT_EQ(data->FieldsCount(), 6);
  EXPECT_EQ(data->RecordCount(), 0);
  for (const auto& [query, text] : {std::pair("SelectQuery", ""),
                                    {"AppendQuery", "Cannot update."},
                                    {"DeleteQuery", "Cannot update."},
                                    {"Nosuch", "Nosuch"}}) {
    std::string name = query;
    const bool done = data->ExecuteStoredProc(name, Variant::Array{});
    EXPECT_EQ(done, *text == '\0') << query << ": " << data->Err_Description();
    EXPECT_NE(data->Err_Description().find(text), std::string::npos) << data->Err_Description();
  }
}

TEST_F(RealFilesTest, OneWriterWaitsForTheOther) {
  const auto mine = reaching(data::Conn_DB3, folder.path());
  const auto theirs = reaching(data::Conn_DB3, folder.path());
  ASSERT_TRUE(mine->ExecuteSQL("CREATE TABLE T (A INTEGER, V VARCHAR(9))"));
  ASSERT_TRUE(mine->ExecuteSQL("INSERT INTO T VALUES (1, 'old')"));
  mine->TransBegin();
  ASSERT_TRUE(mine->ExecuteSQL("UPDATE T SET V = 'mine'"));
  std::int32_t affected = 0;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(theirs->ExecuteSQL("UPDATE T SET V = 'theirs'", 1, affected));
  EXPECT_EQ(theirs->Err_Description(), "Could not use 'T.dbf'; file already in use.");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 4s) << "a statement's time limit bounds the wait";
  std::thread committing([&] {
    std::this_thread::sleep_for(200ms);
    mine->TransCommit();
  });
  EXPECT_EQ(failure(*theirs, "UPDATE T SET A = 2 WHERE V = 'mine'"), "done") << "it waited";
  committing.join();
  ASSERT_TRUE(mine->AccessQuery("SELECT A FROM T WHERE V = 'mine'"));
  EXPECT_EQ(mine->GetValue("A"), Variant(2.0));
}

}  // namespace
}  // namespace quarno::test
