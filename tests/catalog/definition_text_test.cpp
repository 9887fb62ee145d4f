#include "ado/catalog/definition_text.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "common/text.h"
#include "providers/odbc/catalog.h"
#include "providers/odbc/dbms.h"
#include "support/outcome.h"

namespace quarno::test {
namespace {

using namespace ado;

const TableDefinition kTable{
    "T'a ]b`\"",
    {{"No", DataType::integer, 0, 0, 0, true, true, true},
     {"Name", DataType::var_wchar, 20, 0, 0, false, false},
     {"N", DataType::numeric, 0, 20, 4},
     {"Far", DataType::var_char, 20'000},
     {"F", DataType::wchar, 300}},
    {{"x", false, false, {"Name", " N"}}, {"PrimaryKey", true, true, {"no"}}, {"u", false, true, {"N"}}}};

TEST(DefinitionText, ATableIsWrittenAsEachLanguageHasIt) {
  const struct {
    Ddl ddl;
    const char* texts;
  } rows[] = {
      {Ddl::jet,
       "CREATE TABLE `T'a ]b\"` ([No] COUNTER, [Name] TEXT(20) NOT NULL CHECK (`Name` <> ''), [N] "
       "DECIMAL(20,4), "
       "[Far] TEXT(20000), [F] TEXT(300), CONSTRAINT [PrimaryKey] PRIMARY KEY ([no])); CREATE INDEX [x] ON "
       "`T'a ]b\"` ([Name], [ N]); CREATE UNIQUE INDEX [u] ON `T'a ]b\"` ([N])"},
      {Ddl::mariadb,
       "CREATE TABLE `T'a ]b``\"` (`No` INT AUTO_INCREMENT NOT NULL, `Name` VARCHAR(20) NOT NULL, `N` "
       "DECIMAL(20,4), `Far` LONGTEXT, `F` VARCHAR(300), KEY `x` (`Name`, ` N`), PRIMARY KEY (`no`), UNIQUE "
       "KEY "
       "`u` (`N`))"},
      {Ddl::postgresql,
       "CREATE TABLE \"T'a ]b`\"\"\" (\"No\" SERIAL, \"Name\" VARCHAR(20) NOT NULL, \"N\" NUMERIC(20,4), "
       "\"Far\" "
       "VARCHAR(20000), \"F\" CHAR(300), CONSTRAINT \"T'a ]b`\"\".PrimaryKey\" PRIMARY KEY (\"no\")); CREATE "
       "INDEX "
       "\"T'a ]b`\"\".x\" ON \"T'a ]b`\"\"\" (\"Name\", \" N\"); CREATE UNIQUE INDEX \"T'a ]b`\"\".u\" ON "
       "\"T'a "
       "]b`\"\"\" (\"N\")"},
      {Ddl::sqlite,
       "CREATE TABLE `T'a ]b``\"` (`No` INTEGER PRIMARY KEY AUTOINCREMENT, `Name` VARCHAR(20) NOT NULL, `N` "
       "DECIMAL(20,4), `Far` VARCHAR(20000), `F` CHAR(300)); CREATE INDEX `T'a ]b``\".x` ON `T'a ]b``\"` "
       "(`Name`, ` N`); CREATE UNIQUE INDEX `T'a ]b``\".u` ON `T'a ]b``\"` (`N`)"},
      {Ddl::sql_server,
       "CREATE TABLE [T'a ]]b`\"] ([No] INT IDENTITY(1,1) NOT NULL, [Name] NVARCHAR(20) NOT NULL, [N] "
       "NUMERIC(20,4) NULL, [Far] VARCHAR(MAX) NULL, [F] NCHAR(300) NULL, CONSTRAINT [T'a ]]b`\".PrimaryKey] "
       "PRIMARY KEY ([no])); CREATE INDEX [x] ON [T'a ]]b`\"] ([Name], [ N]); CREATE UNIQUE INDEX [u] ON "
       "[T'a "
       "]]b`\"] ([N])"},
  };
  for (const auto& row : rows) {
    TableDefinition table = kTable;
    if (row.ddl == Ddl::jet) std::erase(table.name, '`');  // it would end the name
    EXPECT_EQ(text::join(create_table_texts(row.ddl, table), "; "), row.texts);
  }
}

TEST(DefinitionText, ANameThatWouldNotArriveAsItIsIsRefused) {
  const std::string long_name(64, 'x');
  const struct {
    Ddl ddl;
    std::string name;
    bool is_fit;
  } rows[] = {{Ddl::jet, "x]` (a LONG); DROP TABLE t; --", false},
              {Ddl::folder, "]`", false},
              {Ddl::jet, "x` (a LONG); --", true},
              {Ddl::jet, long_name, true},
              {Ddl::jet, "", false},
              {Ddl::mariadb, std::string("a\0b", 3), false},
              {Ddl::postgresql, long_name, false},
              {Ddl::postgresql, long_name.substr(1), true},
              {Ddl::sqlite, "{d 'x'}", false},
              {Ddl::sql_server, "{]", true}};
  for (const auto& row : rows) {
    const int expected = row.is_fit ? 0 : full_number(Model::invalid_argument);
    const ColumnDefinition column{row.name};
    EXPECT_EQ(error_of([&] {
                return create_table_texts(row.ddl, {row.name, {{"c"}}, {}});
              }),
              expected)
        << row.name;
    EXPECT_EQ(error_of([&] { return add_column_text(row.ddl, "t", column); }), expected) << row.name;
    EXPECT_EQ(error_of([&] { return drop_column_texts(row.ddl, {"t", {}, {}}, row.name); }), expected);
    // In a list that all tables share the table's part of an index's name may be cut, its own may not.
    const IndexDefinition index{row.name, false, false, {"c"}};
    EXPECT_EQ(error_of([&] { return add_index_text(row.ddl, "t", index); }) == 0,
              row.is_fit && (row.ddl != Ddl::postgresql || row.name.size() < 63))
        << row.name;
  }
  const std::string table = "T" + text::replace_all(std::string(31, 'x'), "x", "\u00e9");
  EXPECT_EQ(add_index_text(Ddl::postgresql, table, {"PrimaryKey", false, false, {"c"}}),
            "CREATE INDEX \"" + table.substr(0, 51) + ".PrimaryKey\" ON \"" + table + "\" (\"c\")");
  EXPECT_EQ(own_index_name(table, table.substr(0, 51) + ".PrimaryKey"), "PrimaryKey");
}

TEST(DefinitionText, EveryTypeOfSqlServer) {
  const struct {
    int code;
    const char* text;
  } rows[] = {{2, "SMALLINT"},
              {3, "INT"},
              {4, "REAL"},
              {5, "FLOAT"},
              {6, "MONEY"},
              {7, "DATETIME"},
              {8, "NVARCHAR(9)"},
              {11, "BIT"},
              {14, "DECIMAL(18,0)"},
              {16, "SMALLINT"},
              {17, "TINYINT"},
              {18, "INT"},
              {19, "BIGINT"},
              {20, "BIGINT"},
              {21, "DECIMAL(20,0)"},
              {72, "UNIQUEIDENTIFIER"},
              {128, "BINARY(9)"},
              {129, "CHAR(9)"},
              {130, "NCHAR(9)"},
              {131, "NUMERIC(18,0)"},
              {133, "DATE"},
              {134, "TIME"},
              {135, "DATETIME"},
              {200, "VARCHAR(9)"},
              {201, "VARCHAR(MAX)"},
              {202, "NVARCHAR(9)"},
              {203, "NVARCHAR(MAX)"},
              {204, "VARBINARY(9)"},
              {205, "VARBINARY(MAX)"}};
  for (const auto& row : rows) {
    EXPECT_EQ(type_text(Ddl::sql_server, {"C", static_cast<DataType>(row.code), 9}), row.text) << row.code;
  }
  for (const int code : {0, 9, 10, 12, 13, 132, 136, 777, -1}) {
    EXPECT_EQ(error_of([&] {
                type_text(Ddl::sql_server, {"C", static_cast<DataType>(code), 9});
              }),
              -2147217859);
  }
}

TEST(DefinitionText, ChangesOfATableThatIsThere) {
  const ColumnDefinition column{"c", DataType::var_wchar, 5, 0, 0, false};
  const IndexDefinition key{"k", true, true, {"c"}};
  const struct {
    Ddl ddl;
    const char* add;
    const char* key;
  } rows[] = {
      {Ddl::jet, "ALTER TABLE [t] ADD COLUMN [c] TEXT(5) NOT NULL",
       "CREATE UNIQUE INDEX [k] ON [t] ([c]) WITH PRIMARY"},
      {Ddl::mariadb, "ALTER TABLE `t` ADD COLUMN `c` VARCHAR(5) NOT NULL",
       "ALTER TABLE `t` ADD PRIMARY KEY (`c`)"},
      {Ddl::postgresql, "ALTER TABLE \"t\" ADD COLUMN \"c\" VARCHAR(5) NOT NULL",
       "ALTER TABLE \"t\" ADD CONSTRAINT \"t.k\" PRIMARY KEY (\"c\")"},
      {Ddl::sql_server, "ALTER TABLE [t] ADD [c] NVARCHAR(5) NOT NULL",
       "ALTER TABLE [t] ADD CONSTRAINT [t.k] PRIMARY KEY ([c])"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(add_column_text(row.ddl, "t", column), row.add);
    EXPECT_EQ(add_index_text(row.ddl, "t", key), row.key);
  }
  const TableDefinition table{"t", {}, {{"i", false, false, {"a", "c"}, "s`"}, {"j", false, false, {"a"}}}};
  EXPECT_EQ(text::join(drop_column_texts(Ddl::sqlite, table, "c"), "; "),
            "DROP INDEX `s```; ALTER TABLE `t` DROP COLUMN `c`");
  EXPECT_EQ(
      text::join(drop_column_texts(Ddl::sql_server, {"t", {}, {{"i", false, false, {"c]"}}}}, "c]"), "; "),
      "ALTER TABLE [t] DROP COLUMN [c]]]");
  EXPECT_EQ(error_of([&] {
              return type_text(Ddl::jet, {"c", DataType::var_wchar, -1});
            }),
            full_number(Model::invalid_argument));
  const auto refused = full_number(Model::feature_not_available);
  EXPECT_EQ(error_of([&] { add_index_text(Ddl::sqlite, "t", key); }), refused);
  for (const Ddl ddl : {Ddl::none, Ddl::folder}) {
    EXPECT_EQ(error_of([&] { create_table_texts(ddl, {"t", {column}, {key}}); }), refused);
  }
}

TEST(DefinitionText, NamesAndQueriesAreFoundInWhatIsStored) {
  EXPECT_EQ(own_index_name("T.x", "t.X.PrimaryKey"), "PrimaryKey");
  EXPECT_EQ(own_index_name("T", "T."), "T.");
  EXPECT_EQ(own_index_name("T", "Tx"), "Tx");
  for (const auto& [whole, query] : std::vector<std::pair<const char*, const char*>>{
           {"CREATE VIEW v AS SELECT 1 AS x", "SELECT 1 AS x"},
           {"CREATE VIEW \"a AS b\" (\"as \", [c as d]) /* as x */ -- as y\nas\n select 2", "select 2"},
           {"CREATE VIEW alias AS\tSELECT 'as'", "SELECT 'as'"},
           {"CREATE VIEW basic (a) \"not closed AS x", "CREATE VIEW basic (a) \"not closed AS x"},
           {"CREATE VIEW v AS ", ""},
           {"CREATE VIEW v AS /*as written: SELECT a & b*/ SELECT jet_cat(a, b)", "SELECT a & b"},
           {"", ""}}) {
    EXPECT_EQ(query_of_view(whole), query);
  }
  for (const char* const written : {"SELECT a & b ; ", "SELECT a /* x */", "SELECT 1"}) {
    const std::string view =
        with_query_as_written("CREATE VIEW v AS SELECT 1", std::string("create view v\nAS ") + written);
    EXPECT_EQ(query_of_view(view), std::string_view(written).ends_with("; ") ? "SELECT a & b" : "SELECT 1");
    EXPECT_TRUE(view.ends_with(" SELECT 1")) << view;
  }
}

TEST(DefinitionText, AProcedureIsMadeAsTheServerKnowsIt) {
  const struct {
    const char* dbms;
    const char* text;
    const char* statement;  // null: refused
  } rows[] = {
      {"MariaDB", "SELECT 1", "CREATE PROCEDURE `p'q`() SELECT 1"},
      {"Microsoft SQL Server", "SELECT 1", "CREATE PROCEDURE [p'q] AS SELECT 1"},
      {"PostgreSQL", " create function f() ..", " create function f() .."},
      {"MariaDB", "CREATE TABLE w (a INT)", "CREATE PROCEDURE `p'q`() CREATE TABLE w (a INT)"},
      {"MariaDB", "CREATE DEFINER=`a`@`b` PROCEDURE p() DO 1", "CREATE DEFINER=`a`@`b` PROCEDURE p() DO 1"},
      {"PostgreSQL", "CREATE TABLE function (a INTEGER)", nullptr},
      {"PostgreSQL", "SELECT 1", nullptr},
      {"SQLite", "CREATE VIEW x AS SELECT 1", nullptr},
      {"Oracle", "SELECT 1", nullptr}};
  for (const auto& row : rows) {
    const auto statement = [&] {
      return odbc::procedure_statement(odbc::catalog_queries(row.dbms), odbc::dbms_named(row.dbms).dialect,
                                       "p'q", row.text);
    };
    if (row.statement == nullptr) {
      EXPECT_EQ(error_of([&] { statement(); }), full_number(Model::feature_not_available)) << row.dbms;
    } else {
      EXPECT_EQ(statement(), row.statement);
    }
  }
}

}  // namespace
}  // namespace quarno::test
