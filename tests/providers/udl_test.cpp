#include "providers/udl.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "ado/provider.h"
#include "common/error.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::providers {
namespace {

const std::string kHead = "[oledb]\r\n; Everything after this line is an OLE DB initstring\r\n";

std::string utf16le(const std::string& ascii) {
  std::string bytes;
  for (const char byte : ascii) bytes.append({byte, '\0'});
  return bytes;
}

std::string description_of(const std::string& bytes) {
  try {
    return udl_connection_text(bytes);
  } catch (const Error& error) {
    EXPECT_EQ(error.number, ado::kUnspecified);
    return error.description;
  }
}

TEST(Udl, ReadsEachEncoding) {
  const std::string line = "Data Source=D:\\Tel Neè€😀.mdb";
  const std::string wide = utf16le("Data Source=D:\\Tel Ne") + std::string("\xE8\0\xAC\x20\x3D\xD8\0\xDE", 8);
  const std::string ansi = "Data Source=Ne\xE8\x80.mdb";
  const std::string rows[][2] = {
      {"\xFF\xFE" + utf16le(kHead) + wide + utf16le(".mdb\r\n"), line},
      {"\xEF\xBB\xBF" + kHead + line, line},
      {kHead + ansi + "\r\nmore", "Data Source=Neè€.mdb"},
      {"[OLEDB]\n;\n A=1 \n", "A=1"},
      {"\xFF\xFE" + utf16le(kHead + "A=1") + "x", "Invalid UDL file: it ends inside a character."},
      {"\xFF\xFE" + utf16le(kHead + "A=") + "\x3D\xD8", "A=\uFFFD"},
      {kHead, "Invalid UDL file: its third line holds no connection string."},
      {"", "Invalid UDL file: its first line is not \"[oledb]\"."},
      {"\xFE\xFF" + utf16le(kHead + line), "Invalid UDL file: its first line is not \"[oledb]\"."},
      {"[oledb]\r\nProvider=X\r\n", "Invalid UDL file: its second line is no comment."},
      {kHead + std::string("A=1\0B", 5), "Invalid UDL file: its connection string holds a NUL."},
      {kHead + "A=" + std::string(64 * 1024, 'x'), "Invalid UDL file: it is too long."},
  };
  for (const auto& [bytes, expected] : rows) EXPECT_EQ(description_of(bytes), expected);
}

TEST(Udl, LeadsToItsDataSource) {
  const test::TempFolder folder;
  const test::ScopedVariable no_site("QUARNOFWK_PROVIDERS", folder.put("site.ini", ""));
  const test::ScopedVariable no_drivers("ODBCSYSINI", folder.path());
  folder.put("a.db", "");
  const std::string jet = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder / "a.db";
  const auto opened = [&](const std::string& text) {
    const auto words = ado::ConnectionString::parse(text);
    return ado::find_provider(words)->open(words, 5)->is_alive() ? 1 : 0;
  };
  const auto udl = [&](const std::string& content) { return "File Name=" + folder.put("x.udl", content); };
  constexpr int kNotFound = ado::full_number(ado::Model::provider_not_found);
  const std::pair<std::string, std::string> rows[] = {
      {udl("\xFF\xFE" + utf16le(kHead + jet)), "1"},
      {"File Name=" + folder / "missing.udl", "!" + std::to_string(ado::kUnspecified)},
      {"File Name=" + folder / "x.udl;Provider=SQLOLEDB",
       "!" + std::to_string(ado::full_number(ado::Model::invalid_argument))},
      {"Provider=SQLOLEDB;Data Source=h", "!" + std::to_string(kNotFound)},
      {"Provider=MSDataShape;Data Provider=Microsoft.Jet.OLEDB.4.0;Data Source=a.db",
       "!" + std::to_string(kNotFound)},
  };
  for (const auto& [text, expected] : rows) {
    EXPECT_EQ(test::outcome([&] { return opened(text); }), expected) << text;
  }
  const std::string nested = udl(kHead + "File Name=y.udl");
  EXPECT_EQ(test::error_of([&] { return opened(nested); }), ado::kUnspecified);
}

}  // namespace
}  // namespace quarno::providers
