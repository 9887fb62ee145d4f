// Reading Access files: real ones against their checked contents, and one made here for what those lack.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "ado/ado_error.h"
#include "common/text.h"
#include "desktop/access/made_file.h"
#include "desktop/access/real_files.h"
#include "providers/desktop/access/row.h"
#include "providers/desktop/access/table_definition.h"
#include "providers/desktop/access/values.h"
#include "support/memory_file.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::desktop::access {
namespace {

using namespace std::string_literals;
using test::made::number;

constexpr const char* kReal = "access";
#define SKIP_WITHOUT_REAL_FILES()                        \
  if (!std::filesystem::exists(test::real_files(kReal))) \
  GTEST_SKIP() << "no real files at " << test::real_files(kReal)

std::unique_ptr<Database> opened(const std::string& bytes, const Options& options = {}) {
  return Database::open(std::make_unique<test::MemoryFile>(bytes), "made.mdb", options);
}
std::unique_ptr<Database> opened_real(const std::string& name, const Options& options = {}) {
  return Database::open(test::real_files(kReal) / name, options);
}

// Header line and rows of one table; what could not be read is told at the end.
std::vector<std::string> dump(Database& database, const Table& table) {
  std::vector<std::string> lines;
  const TableDesign& design = database.design(table);
  std::string head = "@" + table.name;
  for (const Column& column : design.columns) head += "\t" + column.name;
  TableRows rows = database.rows(table);
  while (rows.next()) {
    std::string line;
    for (std::size_t i = 0; i < design.columns.size(); ++i) {
      line += (i > 0 ? "\t" : "") + test::cell_text(rows.cell(i), design.columns[i]);
    }
    lines.push_back(line);
  }
  lines.insert(lines.begin(), head);
  const Damage& damage = rows.damage();
  if (damage.any()) {
    lines.push_back("damaged: " + std::to_string(damage.pages) + " pages, " + std::to_string(damage.rows) +
                    " rows, " + std::to_string(damage.cells) + " cells");
  }
  return lines;
}
std::string joined(std::vector<std::string> lines) { return text::join(lines, "\n") + "\n"; }

TEST(Access, RealFilesReadCellForCell) {
  SKIP_WITHOUT_REAL_FILES();
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(test::real_files(kReal))) {
    if (entry.path().extension() != ".txt") continue;
    const std::string name = entry.path().stem();
    SCOPED_TRACE(name);
    const auto database = opened_real(name, {name.find("password") != std::string::npos ? "password" : ""});
    std::vector<Table> tables = database->tables();
    std::sort(tables.begin(), tables.end(), [](const Table& a, const Table& b) { return a.name < b.name; });
    std::string content;
    for (const Table& table : tables) {
      std::vector<std::string> lines = dump(*database, table);
      EXPECT_FALSE(lines.back().starts_with("damaged")) << table.name << ": " << lines.back();
      EXPECT_FALSE(database->design(table).indexes_are_damaged) << table.name;
      if (table.kind != TableKind::local) continue;
      std::sort(lines.begin() + 1, lines.end());
      content += joined(lines);
    }
    EXPECT_EQ(content, test::bytes_of(entry.path()));
    database->queries();
    database->relations();
    EXPECT_FALSE(database->catalogue_damage().any());
    ++files;
  }
  EXPECT_GE(files, 12);
}

TEST(Access, TheMadeFileHasWhatTheRealOnesLack) {
  const std::string rest =
      "\t1\t200\t-2\t12.3456\t-2.5\t-2.5\t1899-12-29 06:00:00.000\t"
      "{00112233-4455-6677-8899-AABBCCDDEEFF}\t-12.50\t-9223372036854775808\t3\t0102FF\t";
  const std::string end = "\t2.5000\t2024-01-01 12:00:00.000";
  std::string nothing;
  for (int i = 2; i < 18; ++i) nothing += "\t\\N";
  for (const std::uint32_t page_key : {0U, 0x12345678U}) {
    const auto database = opened(test::made::file(page_key));
    std::vector<std::string> lines = dump(*database, *database->find_table("ALL"));
    lines.erase(lines.begin());
    EXPECT_EQ(joined(lines), "7" + rest + "abДc\t0007\tlog" + end + "\n" +            //
                                 "8" + rest + "x😀\uFFFD\tDEADBEEF\tm" + end + "\n" +  //
                                 "9\t0" + nothing + "\n");
    std::string names;
    for (const Table& table : database->tables()) {
      names += table.name + std::to_string(static_cast<int>(table.kind)) + " ";
    }
    EXPECT_EQ(names, "MSysObjects1 All0 Keys0 Linked2 ");
    EXPECT_EQ(database->catalogue_damage().rows, 1U);  // "Twice" claims the definition of "All"
  }
}

TEST(Access, DeclaresColumnsForTheEngine) {
  const auto database = opened(test::made::file());
  const TableDesign& design = database->design(*database->find_table("All"));
  std::string all;
  for (const Column& column : design.columns) {
    all += declaration(column, false) + (column.is_autonumber ? "+ " : " ");
  }
  EXPECT_EQ(all,
            "INTEGER+ BOOLEAN TINYINT SMALLINT CURRENCY SINGLE DOUBLE DATETIME GUIDTEXT DECIMAL(12,2) BIGINT "
            "INTEGER "
            "BINARY(20) VARCHAR(20) LONGBLOB LONGTEXT CURRENCY DATETIME ");
}

// What one changed place does to the table "All"; nothing may be lost without being counted.
TEST(Access, CountsWhatIsDamaged) {
  constexpr std::size_t kPage = test::made::kPage;
  using test::made::pointer;
  const std::string good = test::made::file();
  const std::size_t first_row = good.rfind("\x12\0"s + number(7, 4), 6 * kPage);
  const std::size_t forward = 5 * kPage + (Bytes(good).u16(5 * kPage + 14 + 2 * 2) & 0x1FFF);
  const std::size_t link = 8 * kPage - 4 - 8;
  const std::tuple<const char*, std::size_t, std::string, std::string> rows[] = {
      {"row start inside the table of offsets", 5 * kPage + 14, number(16, 2), "0 pages, 1 rows, 0 cells"},
      {"more columns than there ever were", first_row, number(19, 2), "0 pages, 1 rows, 0 cells"},
      {"more rows than a page can have", 5 * kPage + 12, number(257, 2), "1 pages, 0 rows, 0 cells"},
      {"forward to a page that is not there", forward, pointer(99, 0), "0 pages, 1 rows, 0 cells"},
      {"forward to a forward", forward, pointer(5, 2), "0 pages, 1 rows, 0 cells"},
      {"forward to a page of another table", forward, pointer(3, 0), "0 pages, 1 rows, 0 cells"},
      {"rows that share bytes", 5 * kPage + 16, number(0xD000, 2), "0 pages, 1 rows, 0 cells"},
      {"long value of another length", good.find(number(0x40000004, 4), 6 * kPage), "\3",
       "0 pages, 0 rows, 1 cells"},
      {"page of another table", 5 * kPage + 4, number(9, 4), "1 pages, 0 rows, 0 cells"},
      {"map that names pages beyond the file", 2 * kPage - 2 * 69 + 5 + 8, "\1", "1 pages, 0 rows, 0 cells"},
      {"memo chain that ends early", link, pointer(0, 0), "0 pages, 0 rows, 1 cells"},
      {"memo chain in a circle", link, pointer(7, 1), "0 pages, 0 rows, 1 cells"},
      {"long values on another kind of page", 7 * kPage + 4, number(0, 4), "0 pages, 0 rows, 2 cells"},
  };
  for (const auto& [what, at, bytes, expected] : rows) {
    SCOPED_TRACE(what);
    std::string file = good;
    const auto database = opened(file.replace(at, bytes.size(), bytes));
    EXPECT_EQ(dump(*database, *database->find_table("All")).back(), "damaged: " + expected);
  }
}

TEST(Access, RefusesWhatItCannotRead) {
  const std::string made = test::made::file();
  const auto changed = [&](std::size_t at, const std::string& bytes) {
    std::string file = made;
    return file.replace(at, bytes.size(), bytes);
  };
  // A key for the pages, and the length of a descriptor where encrypted files have it.
  std::string encrypted = changed(4, "Standard ACE DB\0\2"s);
  std::string head(128, '\0');
  head[0x3E - 0x18] = 1;
  rc4(head, {0xC7, 0xDA, 0x39, 0x6B});
  encrypted.replace(0x18, head.size(), head).replace(0x299, 2, number(300, 2));
  const std::string page(test::made::kPage, '\0');
  const std::string unrecognized = "Unrecognized database format 'made.mdb'.";
  const std::tuple<std::string, Options, std::int32_t, std::string> rows[] = {
      {"", {}, ado::kUnspecified, unrecognized},
      {made.substr(0, 500), {}, ado::kUnspecified, unrecognized},
      {made.substr(0, 2 * page.size()), {}, ado::kUnspecified, unrecognized},
      {std::string(9000, 'x'), {}, ado::kUnspecified, unrecognized},
      {changed(2 * page.size(), page), {}, ado::kUnspecified, unrecognized},
      {changed(3 * page.size(), page), {}, ado::kUnspecified, unrecognized},
      {changed(4, "MSISAM Database"), {}, ado::kUnspecified, unrecognized},
      {changed(0x14, "\7"), {}, ado::kUnspecified, "version of Access"},
      {encrypted, {}, ado::kUnspecified, "encrypted .accdb"},
      {made, {"secret"}, ado::kLoginFailed, "Not a valid password."},
  };
  for (const auto& [bytes, options, error, expected] : rows) {
    SCOPED_TRACE(expected);
    try {
      opened(bytes, options);
      ADD_FAILURE() << "opened";
    } catch (const Error& caught) {
      EXPECT_EQ(caught.number, error);
      EXPECT_NE(caught.description.find(expected), std::string::npos) << caught.description;
      EXPECT_TRUE(caught.from_provider);
    }
  }
  const auto database = opened(changed(4 * page.size(), page));
  EXPECT_EQ(test::error_of([&] { return database->design(*database->find_table("All")).page; }),
            ado::kUnspecified);
  EXPECT_EQ(test::error_of([&] { return database->design(*database->find_table("Linked")).page; }),
            ado::kUnspecified);
  EXPECT_EQ(test::error_of([&] { return Database::open("/no/such/file.mdb", {}) == nullptr; }),
            static_cast<int>(RunTime::path_not_found));
}

TEST(Access, AsksForThePassword) {
  SKIP_WITHOUT_REAL_FILES();
  for (const char* const password : {"", "Password", "password1"}) {
    EXPECT_EQ(test::error_of(
                  [&] { return opened_real("mdbreader_V2000_with-password.mdb", {password}) == nullptr; }),
              ado::kLoginFailed);
  }
  EXPECT_NE(opened_real("mdbreader_V2000_with-password.mdb", {"password"}), nullptr);
}

TEST(Access, TakesAForcedCodePage) {
  SKIP_WITHOUT_REAL_FILES();
  const auto database = opened_real("ucanaccess_charsetGBK.mdb", {"", 936});
  EXPECT_EQ(joined(dump(*database, *database->find_table("table1"))), "@table1\tID\tfield1\n2\tGBK编码\n");
  EXPECT_EQ(test::error_of([] {
              return opened_real("ucanaccess_charsetGBK.mdb", {"", 12345}) == nullptr;
            }),
            ado::kUnspecified);
}

std::string described(const TableDesign& design) {
  std::string result;
  for (const Index& index : design.indexes) {
    result += index.name +
              (index.is_primary  ? "!"
               : index.is_unique ? "*"
                                 : "") +
              (index.is_foreign_key ? ">" : "") + "(";
    for (const IndexColumn& column : index.columns) {
      result += design.columns[column.column].name + (column.descending ? "- " : " ");
    }
    result += ") ";
  }
  return result;
}

TEST(Access, KnowsIndexesAndRelations) {
  SKIP_WITHOUT_REAL_FILES();
  const auto database = opened_real("jackcess_indexTestV2000.mdb");
  std::string indexes;
  for (const char* const name : {"Table1", "Table2", "Table3"}) {
    indexes += described(database->design(*database->find_table(name))) + "\n";
  }
  EXPECT_EQ(indexes,
            "id(id ) PrimaryKey!(id ) Table2Table1>(otherfk1 ) Table3Table1>(otherfk2 ) \n"
            "id(id ) PrimaryKey!(id ) \nid(id ) PrimaryKey!(id ) \n");
  std::string relations;
  for (const Relation& relation : database->relations()) {
    relations += relation.foreign_table + ">" + relation.referenced_table;
    for (const RelationColumns& pair : relation.columns)
      relations += " " + pair.foreign + "=" + pair.referenced;
    relations += (relation.cascades_update ? " u"s : "") + (relation.cascades_delete ? " d" : "") + "\n";
  }
  EXPECT_EQ(relations, "Table1>Table2 otherfk1=id d\nTable1>Table3 otherfk2=id u\n");
}

TEST(Access, KnowsProperties) {
  SKIP_WITHOUT_REAL_FILES();
  const auto database = opened_real("jackcess_testV2007.accdb");
  std::string all;
  for (const Column& column : database->design(*database->find_table("Table1")).columns) {
    all += column.name + ":" + declaration(column, false) + ":" + column.default_value +
           (column.is_required ? ":required" : "") + (column.allows_empty_text ? "" : ":filled") + " ";
  }
  EXPECT_EQ(all,
            "A:VARCHAR(50)::filled B:VARCHAR(100)::filled C:TINYINT:0 D:SMALLINT:0 E:INTEGER:0 F:DOUBLE:0 "
            "G:DATETIME: H:CURRENCY:0 I:BOOLEAN: ");
}

struct StoredFieldCase {
  const char* what;
  RowShape shape;
  std::string row;
  std::uint16_t number, index;
  std::string expected;  // "null", "damaged", "bad row", else the bytes' size and first byte
};

std::string field_of(const StoredFieldCase& c) {
  StoredRow row;
  if (!row.read(Bytes(c.row), c.shape)) return "bad row";
  Bytes bytes;
  switch (row.variable(c.number, c.index, bytes)) {
    case StoredRow::Field::null: return "null";
    case StoredRow::Field::damaged: return "damaged";
    case StoredRow::Field::present: break;
  }
  return std::to_string(bytes.size()) + std::string(bytes.text().substr(0, 1));
}

TEST(Access, TakesRowsApart) {
  const RowShape jet3{true, 3, true};
  const RowShape jet4{false, 9, true};
  // Two fields of 200 and 100 bytes and an empty one: the second ends past 256, so the end and the third need
  // a jump.
  const std::string fields = "\3"s + std::string(200, 'a') + std::string(100, 'b');
  const std::string lengthy = fields + "\x2D\x2D\xC9\1"s + "\2"s + "\3\7"s;
  // The tables alone bring this one past 256: its jump counts for nothing.
  const std::string edge = "\3"s + std::string(250, 'a') + "\xFB\xFB\xFB\1\xFF\3\7"s;
  const std::string plain =
      number(2, 2) + "xyz" + number(5, 2) + number(4, 2) + number(2, 2) + number(2, 2) + "\3";
  const StoredFieldCase rows[] = {
      {"before the jump", jet3, lengthy, 0, 0, "200a"},
      {"across the jump", jet3, lengthy, 1, 1, "100b"},
      {"behind the jump", jet3, lengthy, 2, 2, "0"},
      {"a jump that does not count", jet3, edge, 0, 0, "250a"},
      {"first of two", jet4, plain, 0, 0, "2x"},
      {"second of two", jet4, plain, 1, 1, "1z"},
      {"added later", jet4, plain, 2, 2, "null"},
      {"a bit past the count is garbage", jet4, std::string(plain).replace(plain.size() - 1, 1, "\xFF"), 2, 1,
       "null"},
      {"falling offsets", jet4, std::string(plain).replace(7, 2, number(6, 2)), 1, 1, "damaged"},
      {"end past the table", jet4, std::string(plain).replace(5, 2, number(9, 2)), 0, 0, "bad row"},
      {"more offsets than bytes", jet4, std::string(plain).replace(11, 2, number(700, 2)), 0, 0, "bad row"},
      {"empty", jet4, "", 0, 0, "bad row"},
      {"only a count", jet4, number(9, 2), 0, 0, "bad row"},
      {"only a count", jet3, "\3", 0, 0, "bad row"},
      {"no room for the jumps", jet3, "\1\0\1"s, 0, 0, "bad row"},
  };
  for (const StoredFieldCase& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(field_of(row), row.expected);
  }
}

TEST(Access, ReadsValuesAtTheirEdges) {
  const auto extended = [](const std::string& text) {
    return extended_date_value(Bytes(text)).value_or(-1e9);
  };
  EXPECT_EQ(extended("0000000000000602244:0000000108000000000:7\0"s), -91349.125);
  for (const char* const bad :
       {"0000000000000738885:0000864000000000000:7", "0000000000000000001:0000000000000000000:7",
        "x000000000000738885:0000000000000000000:7", "00000000000007388850000000000000000000:7"}) {
    EXPECT_EQ(extended(bad), -1e9) << bad;
  }
  EXPECT_EQ(date_value(-657434.0), -657434.0);
  for (const double bad : {-657435.0, 2958466.0, 1e300, std::numeric_limits<double>::quiet_NaN()})
    EXPECT_FALSE(date_value(bad));
  const std::string most = "\0\0\0\0\0"s + std::string(12, '\xFF');
  EXPECT_EQ(decimal_value(Bytes(most), 28)->text(), "7.9228162514264337593543950335");
  EXPECT_FALSE(decimal_value(Bytes(most), 29));
  EXPECT_FALSE(decimal_value(Bytes("\0\1"s + most.substr(2)), 0));
  EXPECT_EQ(calculated_decimal(Bytes("\x0E\0\2\x80"s + number(0, 4) + number(1250, 8)))->text(), "-12.50");
  std::string text;
  append_unicode(text, Bytes("\xFF\xFE"
                             "A\0\0B"s));  // changes over and back
  append_unicode(text, Bytes("C\0D"s));
  append_unicode(text, Bytes("\x00\xD8x\0"s));
  EXPECT_EQ(text, "ABC\uFFFDx");
  std::set<std::string> taken;
  for (const auto& [name, expected] :
       {std::pair("a", "a"), {"A", "A_2"}, {"", "b"}, {"B", "B_2"}, {"a", "a_3"}}) {
    EXPECT_EQ(unused_name(name, "b", taken), expected);
  }
}

}  // namespace
}  // namespace quarno::desktop::access
