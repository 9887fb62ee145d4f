// Recordsets saved as XML: read, written and refused.
#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <map>
#include <regex>

#include "ado/ado_error.h"
#include "ado/persist/snapshot_reader.h"
#include "ado/persist/snapshot_writer.h"
#include "desktop/dbase/memory_disk.h"
#include "persist/snapshots.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::test {
namespace {

using persist::memory_source;
using persist::save_snapshot;

// A schema and the rows' part about what a case is about.
std::string snapshot(const std::string& attributes, const std::string& data) {
  return "<?xml version=\"1.0\"?><xml xmlns:a='uuid:BDC6E3F0-6DA3-11d1-A2A3-00AA00C14882' "
         "xmlns:b=\"uuid:C2F41010-65B3-11d1-A29F-00AA00C14882\" xmlns:c='urn:schemas-microsoft-com:rowset' "
         "xmlns:z='#RowsetSchema'><!-- a 'quote > --><a:Schema id='RowsetSchema'><a:ElementType name='row'>" +
         attributes + "</a:ElementType></a:Schema>" + data + "</xml>";
}
std::string column(const std::string& type) { return "<a:AttributeType name='X' " + type + "/>"; }
std::string rows(const std::string& rows) { return "<c:data>" + rows + "</c:data>"; }
std::string one_value(const std::string& type, const std::string& value) {
  return snapshot(column(type), rows("<z:row X='" + value + "'/>"));
}

std::string repeated(std::string_view text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

std::string utf16(std::string_view utf8, bool little) {
  std::string result;
  const auto put = [&](char32_t unit) {
    const char bytes[] = {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
    result += little ? bytes[0] : bytes[1];
    result += little ? bytes[1] : bytes[0];
  };
  put(0xFEFF);
  for (std::size_t at = 0; at < utf8.size();) {
    const char32_t c = text::next_character(utf8, at);
    if (c >= 0x10000) put(0xD800 + ((c - 0x10000) >> 10));
    put(c >= 0x10000 ? 0xDC00 + (c & 0x3FF) : c);
  }
  return result;
}

std::string utf8_of(const std::string& bytes) {
  std::string result;
  persist::TextSource text(memory_source(bytes));
  while (text.read(result)) continue;
  return result;
}

// Hands out a few bytes at a time.
persist::ByteSource trickle(std::string_view bytes, std::size_t step) {
  return [source = memory_source(bytes), step](std::span<char> buffer) {
    return source(buffer.first(std::min(buffer.size(), step)));
  };
}

std::string failure_of(const std::string& bytes) {
  try {
    return "no failure:\n" + told(opened(bytes));
  } catch (const Error& error) {
    return std::to_string(error.number) + " " + error.description;
  }
}

// The long tags of other writers are wrapped; ours are not.
std::string unwrapped(std::string text) {
  if (text.find('\r') == std::string::npos) text = std::regex_replace(text, std::regex("\n"), "\r\n");
  text = std::regex_replace(text, std::regex("\r\n\t+ "), " ");
  text = std::regex_replace(text, std::regex("([0-9a-f])\r\n\t+(?=[0-9a-f])"), "$1");
  return text.substr(0, text.rfind('>') + 1);
}

std::filesystem::path real_files() {
  const char* const own = std::getenv("QUARNOFWK_SHARED_DATA");
  const auto repository = std::filesystem::path(__FILE__).parent_path() / "../..";
  return (own != nullptr ? std::filesystem::path(own) : repository / "../shared/data") / "xml";
}

struct RealFile {
  std::string columns, rows;
};
const std::map<std::string, RealFile> kRealFiles = {
    {"fabricated_nulls_forcenull.xml",
     {"ID:3:4 MAYBE_TEXT:202:40 MAYBE_INT:3:4", "+1=|NULL=|NULL=\n+2=|=|0=\n"}},
    {"fabricated_types_basic.xml",
     {"ID:3:4 FLAG:11:2 AMOUNT:6:8 RATIO:5:8 WHEN_AT:7:16",
      "+1=|True=|1234.56=|3.1415899999999999=|2001-02-03T04:05:06=\n"
      "+-2=|False=|-7.89=|-0.25=|1999-12-31T23:59:58=\n"}},
    {"int_pending_states.xml", {"ID:3:4 VALUE_FIELD:3:4", "*1|1=-2147483647\n3|0\n+4=|2147483647=\n-2|-1\n"}},
    {"longbinary_wrapped_hex.xml", {"ID:3:4 VALUE_FIELD:205:4000", ""}},
    {"minimal_schema_handwritten.xml",
     {"ID:3:4 Friendly Name:203:1073741823 Direct Int:3:4 Direct Binary:205:2147483647",
      "1|alpha|42|000102\n2||NULL|NULL\n"}},
    {"name_mapping.xml",
     {"ID:3:4 Field Space Text:202:80 1LeadingInteger:3:4 Name-With-Dash:200:80 한글 필드:202:80",
      "*1=1|alpha-updated=alpha|11=10|dash-one-updated=dash-one|한글_4_값=한글_1_값\n"
      "3|gamma|30|dash-three|한글_3_값\n+4=|delta=|40=|dash-four=|한글_5_값=\n-2|beta|20|dash-two|한글_2_"
      "값\n"}},
    {"numeric_boundaries.xml",
     {"ID:3:4 VALUE_FIELD:131:19(18,4)",
      "1|-922337.5808\n2|-1.2345\n3|.0000\n4|1.2345\n5|922337.5807\n6|NULL\n"}},
    {"shape_readonly_wrapped_relation.xml",
     {"OrderId:3:4 CustomerId:3:4 Freight:6:8",
      "100001|1|7.35\n100002|2|9.7\n100003|3|12.05\n"
      "Lines@3 0=0 [OrderId:3:4 LineId:20:8 Quantity:2:2]: 100001|1000011|4 100001|1000012|5 "
      "100001|1000013|6 "
      "100002|1000021|5 100002|1000022|6 100002|1000023|7 100003|1000031|6 100003|1000032|7 "
      "100003|1000033|8\n"}},
    {"utf16le_stream_saved.xml", {"ID:3:4 TXT:202:80 LONG_TXT:203:4000", ""}},
};

TEST(Snapshot, OpensRealFilesAndSavesThemAsTheyWere) {
  if (!std::filesystem::exists(real_files())) GTEST_SKIP() << "the real files are not there";
  for (const auto& [name, expected] : kRealFiles) {
    SCOPED_TRACE(name);
    const std::string bytes = bytes_of(real_files() / name);
    const Opened file = opened(bytes);
    EXPECT_EQ(told(file.rows->columns(), false), expected.columns);
    if (!expected.rows.empty()) {
      EXPECT_EQ(told(*file.rows) + told(file.extras->chapters), expected.rows);
    }
    const std::string again = saved(file);
    EXPECT_EQ(told(opened(again)), told(file));
    if (name != "minimal_schema_handwritten.xml") {
      EXPECT_EQ(again, unwrapped(utf8_of(bytes)));
    }
  }
  const Opened binary = opened(bytes_of(real_files() / "longbinary_wrapped_hex.xml"));
  ASSERT_EQ(binary.rows->row_count(), 6u);
  const Variant value = binary.rows->value(0, 1);
  const auto& bytes = *value.get_if<Variant::Bytes>();
  EXPECT_EQ((Variant::Bytes{bytes[0], bytes[1], bytes[4], bytes.back()}),
            (Variant::Bytes{0, 0x13, 0x4c, 0x0d}));
  EXPECT_TRUE(binary.rows->value(5, 1).is_null());
  const Opened stream = opened(bytes_of(real_files() / "utf16le_stream_saved.xml"));
  EXPECT_EQ(stream.rows->value(0, 1), Variant("€ updated"));
  EXPECT_EQ(stream.rows->original_value(0, 1), Variant("한글 stream"));
  EXPECT_EQ(stream.rows->value(2, 1), Variant("delete me"));
  EXPECT_EQ(stream.rows->row_count() - stream.rows->deleted_count(), 2u);
}

TEST(Snapshot, KeepsEveryTypeInAnyEncodingAndAnyBlocks) {
  const auto source = sample_rows();
  Saving what = saving(*source);
  what.table.is_updatable = true;
  what.table.command_timeout = 30;
  const std::string bytes = saved(what);
  const auto samples = type_samples();
  const Opened again = opened(bytes);
  ASSERT_EQ(again.rows->columns().size(), samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    SCOPED_TRACE(samples[i].name);
    EXPECT_NE(bytes.find("='" + samples[i].written + "'"), std::string::npos);
    EXPECT_EQ(again.rows->value(0, i), samples[i].value);
  }
  EXPECT_EQ(told(again), told(source->columns(), true) + "\n" + told(*source));
  EXPECT_TRUE(again.extras->is_updatable && again.extras->command_timeout == 30);
  for (const char* part : {"name='c3' rs:name='PLAIN'", "name='c1' rs:name='c4'", "name='c5' rs:name='xmlns'",
                           "rs:basetable='T&#x3c;1&#x3e;' rs:basecolumn='plain' rs:keycolumn='true'"}) {
    EXPECT_NE(bytes.find(part), std::string::npos) << part;
  }
  for (const std::string& other : {utf16(bytes, true), utf16(bytes, false), "\xEF\xBB\xBF" + bytes}) {
    EXPECT_EQ(told(opened(other)), told(again));
    for (const std::size_t step : {1u, 7u}) EXPECT_EQ(told(opened(trickle(other, step))), told(again));
  }
  EXPECT_NE(failure_of(utf16(bytes, true) + "\n").find("within a character"), std::string::npos);
}

TEST(Snapshot, ReadsWhatOthersWrite) {
  struct Case {
    std::string type, value, expected;
  };
  const Case cases[] = {
      {"", "text", "X:203:1073741823 text"},
      {"b:type='string' b:maxLength='3'", "€€€€", "X:202:3 €€€"},
      {"b:type='STRING' c:dbtype='str'", "a", "X:201:2147483647 a"},
      {"b:type='String' c:dbtype='STR' b:maxLength='2' c:fixedlength='true'", "a", "X:129:2 a "},
      {"b:type='string' b:maxLength='9'", "raw\ttab\r\nline", "X:202:9 raw&#x9;tab&#xd;&#xa;"},
      {"b:type='I4'", "+7", "X:3:4 7"},
      {"b:type='integer'", "-7", "X:3:4 -7"},
      {"b:type='r8'", "1e3", "X:5:8 1000"},
      {"b:type='number'", "1.5", "X:139:0 1.5"},
      {"b:type='number' c:dbtype='currency'", ".5", "X:6:8 0.5"},
      {"b:type='number' c:dbtype='numeric' c:scale='2' c:precision='5'", "1", "X:131:19(5,2) 1.00"},
      {"b:type='boolean'", "tRUE", "X:11:2 True"},
      {"b:type='boolean'", "0", "X:11:2 False"},
      {"b:type='boolean'", "-1", "X:11:2 True"},
      {"b:type='dateTime'", "2024-01-02T03:04:05Z", "X:135:16 2024-01-02T03:04:05"},
      {"b:type='dateTime'", "2024-01-02", "X:135:16 2024-01-02T00:00:00"},
      {"b:type='datetime' c:dbtype='variantdate'", "2024-01-02T03:04:05.25", "X:7:16 2024-01-02T03:04:05"},
      {"b:type='fixed.14.4'", "1.5000", "X:203:1073741823 1.5000"},
      {"b:type='uri' b:maxLength='40'", "urn:a", "X:202:40 urn:a"},
      {"b:type='bin.hex'", "0A\n0b", "X:205:2147483647 0a0b"},
      {"b:type='bin.hex' b:maxLength='2'", "", "X:204:2 "},
      {"b:type='uuid'", "{0123abcd-4567-89ef-0123-456789abcdef}",
       "X:72:16 {0123ABCD-4567-89EF-0123-456789ABCDEF}"},
  };
  for (const Case& row : cases) {
    const Opened file = opened(one_value(row.type, row.value));
    EXPECT_EQ(told(file.rows->columns(), false) + " " + told(file.rows->columns()[0], file.rows->value(0, 0)),
              row.expected);
  }
  const std::string typed =
      "<a:AttributeType name='X'><a:datatype b:type='int'/></a:AttributeType>"
      "<a:AttributeType name='y' c:number='1'/><a:attribute type='y'/><a:attribute type='X'/>";
  const std::pair<std::string, std::string> files[] = {
      {snapshot(typed, ""), "y:203:1073741823 X:3:4\n"},
      {snapshot(typed,
                rows("<z:row x='1' Y='2'/>") + rows("<z:row X='3' other='4'><deep><z:row/></deep></z:row>")),
       "y:203:1073741823 X:3:4\n2|1\nNULL|3\n"},
      {snapshot("<a:AttributeType name='b' c:number='2' b:type='i2'/><a:AttributeType name='h' c:number='1' "
                "c:hidden='true' b:type='i2'/><a:AttributeType name='a' c:number='1' b:type='i2'/>",
                rows("<z:row a='1' b='2' h='3'/>")),
       "a:2:2 b:2:2 h:2:2?\n1|2|3\n"},
      {snapshot("<a:attribute type='s'/></a:ElementType><a:AttributeType name='s' b:type='i2'/>"
                "<a:ElementType name='other'>",
                rows("<z:row s='1'/>")),
       "s:2:2\n1\n"},
  };
  for (const auto& [bytes, expected] : files) EXPECT_EQ(told(opened(bytes), false), expected);
  const std::string latin = "<?xml version='1.0' encoding='Windows-1252'?>";
  const std::string in_latin = one_value("", "\xE0\x80").substr(21);
  EXPECT_EQ(opened(latin + in_latin).rows->value(0, 0), Variant("à€"));
  for (const bool little : {true, false}) {
    const std::string without_mark = utf16(one_value("", "à\t\tb"), little).substr(2);
    EXPECT_EQ(opened(without_mark).rows->value(0, 0), Variant("à\t\tb"));
  }
}

TEST(Snapshot, RoundsToTheSecondWithinTheDay) {
  const std::tuple<DataType, Date, const char*> cases[] = {
      {DataType::date, moment(2024, 2, 29, 23, 59, 59, 600'000), "2024-03-01T00:00:00"},
      {DataType::date, moment(2024, 2, 29, 23, 59, 59, 400'000), "2024-02-29T23:59:59"},
      {DataType::date, moment(9999, 12, 31, 23, 59, 59, 600'000), "9999-12-31T23:59:59"},
      {DataType::db_date, moment(2024, 2, 29, 23, 59, 59, 600'000), "2024-02-29"},
      {DataType::db_time, moment(1899, 12, 30, 23, 59, 59, 600'000), "23:59:59"},
      {DataType::db_time, moment(1899, 12, 30, 22, 59, 59, 600'000), "23:00:00"},
  };
  for (const auto& [type, value, expected] : cases) {
    Column column{.name = "d", .type = type, .base_table = "", .base_column = ""};
    EXPECT_EQ(told(column, value), expected);
  }
}

TEST(Snapshot, RefusesWhatIsNoneOrBroken) {
  const std::string kNone =
      std::to_string(ado::kUnspecified) +
      " Recordset cannot be created from the specified source. The source file or stream must "
      "contain Recordset data in XML or ADTG format.";
  const std::string kBad =
      std::to_string(ado::kUnspecified) + " Data provider or other service returned an E_FAIL status.";
  for (const std::string& bytes : {std::string(), std::string("TG\x01\x02binary"), std::string("plain text"),
                                   std::string("\xFF\xFE"), std::string("{\"a\": 1}")}) {
    EXPECT_EQ(failure_of(bytes), kNone);
  }
  const std::string row = rows("<z:row X='1'/>");
  const std::pair<std::string, std::string> files[] = {
      {"<xml><a/></xml>", "no schema"},
      {"<!DOCTYPE xml [<!ENTITY a 'aaaa'><!ENTITY b '&a;&a;'>]>" +
           snapshot(column(""), rows("<z:row X='&b;'/>")),
       "document type"},
      {"<!DOCTYPE xml SYSTEM 'file:///etc/passwd'>" + snapshot(column(""), row), "document type"},
      {"<!DOCTYPE xml [<!ENTITY % p SYSTEM 'file:///etc/passwd'> %p;]><xml/>", "document type"},
      {snapshot(column(""), rows("<z:row X='&b;'/>")), "undefined entity"},
      {snapshot("", row), "no columns"},
      {snapshot(column("b:type='banana'"), row), "no type 'banana'"},
      {snapshot(column("") + column(""), row), "'X' twice"},
      {snapshot(column("c:number='-1'"), row), "bad number"},
      {snapshot(column("") + repeated("<a:ElementType name='Y'/>", 1001), row), "too many chapters"},
      {snapshot("<a:attribute type='Y'/>", row), "refers to 'Y'"},
      {snapshot(column("") + "<a:ElementType name='Y' c:relation='0100'>" + column("") + "</a:ElementType>",
                row),
       "bad relation"},
      {snapshot(column("") + "<a:ElementType name='Y' c:relation='090000000100000000000000'>" + column("") +
                    "</a:ElementType>",
                row),
       "not there"},
      {snapshot(column(""), "<c:data><c:update><z:row X='1'/></c:update></c:data>"), "lacks what it was"},
      {snapshot(column(""), "<c:data><c:update><c:original><z:row/></c:original></c:update></c:data>"),
       "lacks what it is"},
      {snapshot(column(""), std::string(100, ' ') + "<a><b></a>"), "Line 1: mismatched tag"},
      {"<xml xmlns:c='urn:schemas-microsoft-com:rowset'><c:data/></xml>", "before their columns"},
      {snapshot(column(""), repeated("<a>", 100'000)), "too deeply"},
      {one_value("", "a\xFF"), "not well-formed"},
  };
  for (const auto& [bytes, reason] : files) {
    const std::string failure = failure_of(bytes);
    EXPECT_TRUE(failure.starts_with(kNone) && failure.find(reason) != std::string::npos) << failure;
  }
  const std::pair<std::string, std::string> values[] = {
      {"b:type='int'", ""},
      {"b:type='int'", "1.0"},
      {"b:type='int'", "2147483648"},
      {"b:type='i1'", "128"},
      {"b:type='ui1'", "-1"},
      {"b:type='ui8'", "18446744073709551616"},
      {"b:type='boolean'", "yes"},
      {"b:type='boolean'", "nan"},
      {"b:type='float'", "inf"},
      {"b:type='float'", "1e999"},
      {"b:type='number'", "."},
      {"b:type='number'", "1,5"},
      {"b:type='date'", "2023-2-9"},
      {"b:type='date'", "2023-02-29"},
      {"b:type='time'", "24:00:00"},
      {"b:type='time'", "1:00:00"},
      {"b:type='dateTime'", "2023-01-01T00:00:00+01:00"},
      {"b:type='bin.hex'", "abc"},
      {"b:type='uuid'", "0123abcd-4567-89ef-0123-456789abcdef"},
      {"b:type='number' c:dbtype='currency'", "922337203685477.5808"},
  };
  for (const auto& [type, value] : values) {
    EXPECT_EQ(failure_of(one_value(type, value)), kBad + " Line 1, column 'X'.") << type << " " << value;
  }
  // Lines count rightly behind values that go over several.
  EXPECT_EQ(failure_of(snapshot(column("b:type='int' c:maybenull='false'") + "<a:AttributeType name='Y'/>",
                                rows("\n<z:row X='1'\r\n Y='a\nb\r\nc'/>\n<z:row Y='2'/>"))),
            kBad + " Line 6, column 'X'.");
}

TEST(Snapshot, NeverTakesAPartForTheWhole) {
  const auto source = sample_rows();
  source->stage_change(0, 0, std::int32_t{1});
  Saving what = saving(*source);
  const std::string bytes = saved(what);
  ASSERT_EQ(opened(bytes).rows->row_count(), 2u);
  for (std::size_t size = 0; size < bytes.size(); size += size + 100 < bytes.size() ? 50 : 1) {
    EXPECT_EQ(error_of([&] {
                opened(bytes.substr(0, size));
                return 0;
              }),
              ado::kUnspecified)
        << size;
  }
}

TEST(Snapshot, KeepsChangesThatArePending) {
  Column id{.name = "ID", .type = DataType::integer, .defined_size = 4, .base_table = "", .base_column = ""};
  id.attributes = adFldFixed | adFldUpdatable;
  Column text{
      .name = "a text", .type = DataType::var_wchar, .defined_size = 3, .base_table = "", .base_column = ""};
  std::vector<std::vector<Variant>> values;
  for (std::int32_t i = 0; i < 5; ++i) values.push_back({i, "t" + std::to_string(i)});
  const auto rows = row_set(std::make_unique<MadeRows>(std::vector<Column>{id, text}, values));
  rows->change(1, 1, "longer than it may be");  // what a loose source holds comes back whole
  rows->change(2, 0, Variant::null());
  rows->stage_change(0, 1, Variant::null());
  rows->stage_change(3, 1, "t3");
  rows->stage_delete(4);
  for (const char* const added : {"new", ""}) {
    const Variant cells[] = {std::int32_t{9}, added};
    rows->stage_new(rows->append(cells, {true, *added != '\0'}), {true, *added == '\0'});
  }
  Saving what = saving(*rows);
  what.order = {6, 5, 3, 2, 1, 0, 4};
  const std::string bytes = saved(what);
  const std::string expected =
      "<rs:data>\r\n\t<rs:insert>\r\n\t\t<z:row ID='9' rs:forcenull='c1'/>\r\n\t\t<z:row ID='9' "
      "c1='new'/>\r\n"
      "\t</rs:insert>\r\n\t<rs:update>\r\n\t\t<rs:original>\r\n\t\t\t<z:row ID='3' c1='t3'/>\r\n"
      "\t\t</rs:original>\r\n\t\t<z:row c1='t3'/>\r\n\t</rs:update>\r\n\t<z:row c1='t2'/>\r\n"
      "\t<z:row ID='1' c1='longer than it may be'/>\r\n\t<rs:update>\r\n\t\t<rs:original>\r\n"
      "\t\t\t<z:row ID='0' c1='t0'/>\r\n\t\t</rs:original>\r\n\t\t<z:row "
      "rs:forcenull='c1'/>\r\n\t</rs:update>\r\n"
      "\t<rs:delete>\r\n\t\t<z:row ID='4' c1='t4'/>\r\n\t</rs:delete>\r\n</rs:data>\r\n</xml>";
  EXPECT_EQ(bytes.substr(bytes.find("<rs:data>")), expected);
  for (const std::size_t block : {1u, 2u, 100u}) {
    const Opened again = opened(memory_source(bytes), block);
    EXPECT_EQ(told(*again.rows),
              "+9=|NULL=\n+9=|new=\n*3|t3=t3\nNULL|t2\n1|longer than it may be\n*0|NULL=t0\n-4|t4\n");
  }
  // What is filtered out stays out, but what was deleted is to be sent all the same.
  what.order = {1};
  EXPECT_EQ(told(*opened(saved(what)).rows), "1|longer than it may be\n-4|t4\n");
}

TEST(Snapshot, KeepsHierarchies) {
  const std::string bytes = snapshot(
      "<a:AttributeType name='n' c:number='2' b:type='int'/><a:AttributeType name='k' c:number='4' "
      "c:hidden='true' "
      "b:type='i2'/><a:ElementType name='Lines' c:relation='04000000 01000000 "
      "00000000\n020000000200000000000000'>"
      "<a:AttributeType name='k' b:type='i2'/><a:AttributeType name='n' b:type='int'/>"
      "<a:ElementType name='Parts' c:relation='020000000100000001000000'><a:AttributeType name='n' "
      "b:type='int'/>"
      "</a:ElementType></a:ElementType><a:ElementType name='c2' c:name='more of it' c:relation=''>"
      "<a:AttributeType name='s'/></a:ElementType>",
      rows(
          "<z:row n='1' k='7'><Lines k='7' n='1'><Parts n='1'/></Lines><c2 s='x'/></z:row>"
          "<z:row n='1' k='7'><Lines k='7' n='1' c:duplicate='true'><Parts n='1'/></Lines><other/></z:row>"));
  const std::string expected =
      "n:3:4 k:2:2?\n1|7\n1|7\nLines@0 1=0 0=1 [k:2:2 n:3:4]: 7|1\nParts@2! 1=0 [n:3:4]: 1\n"
      "more of it@2 [s:203:1073741823]: x\n";
  const Opened file = opened(bytes);
  EXPECT_EQ(told(file, false), expected);
  const std::string again = saved(file);
  EXPECT_EQ(told(opened(again)), told(file));
  EXPECT_NE(again.find("<Lines k='7' n='1' rs:duplicate='true'>"), std::string::npos);
  file.rows->stage_change(0, 0, std::int32_t{2});
  EXPECT_EQ(error_of([&] { return saved(file).size(); }), full_number(Model::feature_not_available));
}

// Other readers cut values at the size that a file states.
TEST(Snapshot, WritesColumnsWithoutALimitAsLongOnes) {
  using enum DataType;
  std::vector<Column> columns;
  std::vector<Variant> values;
  for (const DataType type : {char_, var_char, long_var_char, wchar, var_wchar, long_var_wchar, binary,
                              var_binary, long_var_binary}) {
    columns.push_back({.name = "F" + std::to_string(static_cast<int>(type)),
                       .type = type,
                       .base_table = "",
                       .base_column = ""});
    values.push_back(is_binary(type) ? Variant(Variant::Bytes{1, 2}) : Variant("text"));
  }
  const auto rows = row_set(std::make_unique<MadeRows>(columns, std::vector<std::vector<Variant>>{values}));
  const std::string bytes = saved(saving(*rows));
  EXPECT_EQ(bytes.find("dt:maxLength='0'"), std::string::npos);
  const Opened again = opened(bytes);
  EXPECT_EQ(told(again.rows->columns(), false),
            "F129:201:2147483647 F200:201:2147483647 F201:201:2147483647 F130:203:1073741823 "
            "F202:203:1073741823 F203:203:1073741823 F128:205:2147483647 F204:205:2147483647 "
            "F205:205:2147483647");
  EXPECT_EQ(told(*again.rows), told(*rows));
}

TEST(Snapshot, NamesWhatItCannotHold) {
  const auto failure = [](DataType type, const Variant& value) {
    Column first{.name = "A", .type = DataType::integer, .base_table = "", .base_column = ""};
    Column column{.name = "it's", .type = type, .base_table = "", .base_column = ""};
    const auto set = row_set(std::make_unique<MadeRows>(
        std::vector<Column>{first, column},
        std::vector<std::vector<Variant>>{{std::int32_t{1}, Variant::null()}, {std::int32_t{1}, value}}));
    Saving what = saving(*set);
    what.order = {0, 1};
    try {
      return saved(what).substr(0, 0);
    } catch (const Error& error) {
      return std::to_string(error.number) + error.description.substr(error.description.rfind('('));
    }
  };
  const std::string refused = std::to_string(ado::kMultipleStep) + "(row 2, column 'it's')";
  const std::pair<DataType, Variant> values[] = {
      {DataType::real, std::numeric_limits<double>::infinity()},
      {DataType::real, std::numeric_limits<double>::quiet_NaN()},
      {DataType::single, std::numeric_limits<float>::infinity()},
      {DataType::var_wchar, std::string("a\0b", 3)},
      {DataType::var_wchar, "\x1F"},
      {DataType::var_wchar, "\xC3"},
      {DataType::var_wchar, "\xED\xA0\x80"},
      {DataType::var_wchar, "\xEF\xBF\xBF"},
      {DataType::guid, "not one"},
      {DataType::integer, "12a"},
      {DataType::integer, 1.5},
      {DataType::date, Date{1e9}},
      {DataType::unsigned_tiny_int, std::int64_t{256}},
  };
  for (const auto& [type, value] : values) EXPECT_EQ(failure(type, value), refused) << static_cast<int>(type);
  EXPECT_EQ(failure(DataType::integer, "12"), "");
  EXPECT_EQ(failure(DataType::var_wchar, "\x7F\xC2\x85"), "");
  EXPECT_EQ(failure(DataType::dispatch, Variant::null()),
            std::to_string(ado::kMultipleStep) + "(column 'it's')");
}

TEST(Snapshot, LeavesTheOldFileWholeWhereverSavingBreaksOff) {
  const auto source = sample_rows();
  Saving what = saving(*source);
  what.order = std::vector<std::size_t>(250, 0);
  const std::string whole = saved(what);
  ASSERT_GT(whole.size(), std::size_t{512 * 1024});  // several blocks
  const std::string beside = "a.xml.1.quarnofwk.tmp";
  for (const auto failure : {MemoryDisk::Failure::full, MemoryDisk::Failure::dies}) {
    int failures = 0;
    for (int allowed = 0;; ++allowed) {
      MemoryDisk disk;
      platform::ScopedPort<platform::DataFiles> port(disk);
      const auto save = [&] {
        return error_of([&] {
          save_snapshot("a.xml", what.table, what.order);
          return 0;
        });
      };
      disk.put("a.xml", "old");
      disk.put(beside, "another's");
      const auto others = disk.open(beside, platform::DataFiles::Access::read_write);
      ASSERT_TRUE(others->try_lock(platform::LockKind::exclusive, std::uint64_t{1} << 62, 1));
      disk.allow(allowed, failure);
      const bool is_saved = save() == 0;
      EXPECT_EQ(disk.bytes("a.xml"), is_saved ? whole : "old");
      EXPECT_EQ(disk.bytes(beside), "another's");
      if (is_saved || failure == MemoryDisk::Failure::full) {
        EXPECT_EQ(disk.count(), 2u);
      }
      // What processes left behind that ended on the way is gone with the next save.
      MemoryDisk later(disk);
      platform::ScopedPort<platform::DataFiles> later_port(later);
      EXPECT_EQ(save(), 0);
      EXPECT_EQ(later.bytes("a.xml"), whole);
      EXPECT_LE(later.count(), failure == MemoryDisk::Failure::full ? 1u : 2u);
      if (is_saved) break;
      ++failures;
    }
    EXPECT_GE(failures, 5);
  }
  const TempFolder folder;
  const std::string path = folder.put("real.xml", "old");
  source->change(0, 0, "no number");
  EXPECT_EQ(error_of([&] {
              save_snapshot(path, what.table, what.order);
              return 0;
            }),
            ado::kMultipleStep);
  EXPECT_EQ(bytes_of(path), "old");
  source->change(0, 0, std::int32_t{1});
  what.order = {0};
  save_snapshot(path, what.table, what.order);
  EXPECT_EQ(opened(bytes_of(path)).rows->row_count(), 1u);
  EXPECT_EQ(error_of([&] {
              save_snapshot(folder / "none/x.xml", what.table, what.order);
              return 0;
            }),
            76);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

}  // namespace
}  // namespace quarno::test
