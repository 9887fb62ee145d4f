#include "providers/odbc/catalog.h"

#include <algorithm>

#include "ado/ado_error.h"
#include "ado/catalog/definition_text.h"
#include "ado/write_statement.h"
#include "common/convert.h"
#include "common/locale_info.h"
#include "common/text.h"

namespace quarno::odbc {
namespace {

constexpr std::int32_t kSeconds = 30;
constexpr std::size_t kBlock = 256;

constexpr std::string_view kMySqlTables =
    "SELECT TABLE_NAME, CASE WHEN TABLE_TYPE LIKE '%VIEW' THEN TABLE_TYPE WHEN TABLE_TYPE LIKE '%TEMPORARY%' "
    "THEN 'LOCAL TEMPORARY' ELSE 'TABLE' END FROM information_schema.TABLES WHERE TABLE_SCHEMA = DATABASE() "
    "AND TABLE_TYPE <> 'SEQUENCE'";
constexpr std::string_view kMySqlViews =
    "SELECT TABLE_NAME, VIEW_DEFINITION FROM information_schema.VIEWS WHERE TABLE_SCHEMA = DATABASE()";
constexpr std::string_view kMySqlProcedures =
    "SELECT ROUTINE_NAME, ROUTINE_DEFINITION FROM information_schema.ROUTINES WHERE ROUTINE_SCHEMA = "
    "DATABASE() AND ROUTINE_TYPE = 'PROCEDURE'";
// A name is a text here and compares as such: only the table that is written so.
constexpr std::string_view kMySqlIndexes =
    "SELECT INDEX_NAME, COLUMN_NAME, 1 - NON_UNIQUE, INDEX_NAME = 'PRIMARY' FROM "
    "information_schema.STATISTICS WHERE TABLE_SCHEMA = DATABASE() AND BINARY TABLE_NAME = ? AND COLUMN_NAME "
    "IS NOT NULL ORDER BY INDEX_NAME, SEQ_IN_INDEX";

constexpr CatalogQueries my_sql(std::string_view name) {
  return {.name = name,
          .ddl = ado::Ddl::mariadb,
          .tables = kMySqlTables,
          .views = kMySqlViews,
          .procedures = kMySqlProcedures,
          .indexes = kMySqlIndexes,
          .makes_procedures = true,
          .procedure_head = "() "};
}

constexpr CatalogQueries kKnown[] = {
    {.name = "SQLite",
     .ddl = ado::Ddl::sqlite,
     .tables = "SELECT name, CASE WHEN substr(name, 1, 7) = 'sqlite_' OR substr(name, 1, 4) = 'MSys' THEN "
               "'SYSTEM TABLE' ELSE upper(type) END FROM sqlite_master WHERE type IN ('table', 'view') UNION "
               "ALL SELECT name, CASE type WHEN 'view' THEN 'VIEW' ELSE 'LOCAL TEMPORARY' END FROM "
               "sqlite_temp_master WHERE type IN ('table', 'view')",
     .views = "SELECT name, sql FROM sqlite_temp_master WHERE type = 'view' UNION ALL SELECT name, sql FROM "
              "sqlite_master WHERE type = 'view'",
     // The key of a table has no name of its own here.
     .indexes = "SELECT i, c, u, p FROM (SELECT l.name AS i, x.name AS c, l.\"unique\" AS u, 0 AS p, x.seqno "
                "AS o FROM pragma_index_list(?) l, pragma_index_info(l.name) x WHERE l.origin <> 'pk' AND "
                "x.name IS NOT NULL UNION ALL SELECT 'PrimaryKey', name, 1, 1, pk FROM pragma_table_info(?) "
                "WHERE pk > 0) ORDER BY i, o",
     .whole_views = true},
    my_sql("MariaDB"),
    my_sql("MySQL"),
    // Texts are cast: the driver has a type of its own for names.
    {.name = "PostgreSQL",
     .ddl = ado::Ddl::postgresql,
     .tables = "SELECT CAST(c.relname AS text), CASE WHEN n.nspname IN ('pg_catalog', 'information_schema') "
               "THEN CASE WHEN c.relkind = 'v' THEN 'SYSTEM VIEW' ELSE 'SYSTEM TABLE' END WHEN c.relkind IN "
               "('v', 'm') THEN 'VIEW' WHEN c.relkind = 'f' THEN 'LINK' WHEN c.relpersistence = 't' THEN "
               "'LOCAL TEMPORARY' ELSE 'TABLE' END FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n "
               "ON n.oid = c.relnamespace WHERE c.relkind IN ('r', 'p', 'v', 'm', 'f') AND "
               "pg_catalog.pg_table_is_visible(c.oid)",
     .views = "SELECT CAST(c.relname AS text), rtrim(pg_catalog.pg_get_viewdef(c.oid), ';') FROM "
              "pg_catalog.pg_class c "
              "JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace WHERE c.relkind IN ('v', 'm') AND "
              "n.nspname NOT IN ('pg_catalog', 'information_schema') AND "
              "pg_catalog.pg_table_is_visible(c.oid)",
     // What a trigger calls cannot be called by anyone else.
     .procedures = "SELECT CAST(p.proname AS text), CASE WHEN p.prosrc = '' THEN "
                   "pg_catalog.pg_get_functiondef(p.oid) ELSE p.prosrc END FROM pg_catalog.pg_proc p JOIN "
                   "pg_catalog.pg_namespace n ON n.oid = p.pronamespace WHERE p.prokind IN ('p', 'f') AND "
                   "p.prorettype <> CAST('trigger' AS regtype) AND n.nspname NOT IN ('pg_catalog', "
                   "'information_schema') AND pg_catalog.pg_function_is_visible(p.oid)",
     .indexes = "SELECT CAST(i.relname AS text), CAST(a.attname AS text), CAST(x.indisunique AS integer), "
                "CAST(x.indisprimary AS integer) FROM pg_catalog.pg_index x JOIN pg_catalog.pg_class i ON "
                "i.oid = x.indexrelid JOIN pg_catalog.pg_class t ON t.oid = x.indrelid CROSS JOIN LATERAL "
                "unnest(x.indkey) WITH ORDINALITY AS k(number, place) JOIN pg_catalog.pg_attribute a ON "
                "a.attrelid = t.oid AND a.attnum = k.number WHERE k.place <= x.indnkeyatts AND a.attnum > 0 "
                "AND t.relname = ? AND pg_catalog.pg_table_is_visible(t.oid) ORDER BY i.relname, k.place",
     .makes_procedures = true},
    {.name = "Microsoft SQL Server",
     .ddl = ado::Ddl::sql_server,
     .tables =
         "SELECT o.name, CASE WHEN s.name IN ('sys', 'INFORMATION_SCHEMA') THEN 'SYSTEM ' ELSE '' END + "
         "CASE o.type WHEN 'V' THEN 'VIEW' ELSE 'TABLE' END FROM sys.all_objects o JOIN sys.schemas s "
         "ON s.schema_id = o.schema_id WHERE o.type IN ('U', 'S', 'V') AND s.name IN (SCHEMA_NAME(), "
         "'dbo', 'sys', 'INFORMATION_SCHEMA')",
     .views = "SELECT o.name, m.definition FROM sys.views o LEFT JOIN sys.sql_modules m ON m.object_id = "
              "o.object_id WHERE o.is_ms_shipped = 0 AND SCHEMA_NAME(o.schema_id) IN (SCHEMA_NAME(), 'dbo')",
     .procedures = "SELECT o.name, m.definition FROM sys.procedures o LEFT JOIN sys.sql_modules m ON "
                   "m.object_id = o.object_id WHERE o.is_ms_shipped = 0 AND SCHEMA_NAME(o.schema_id) IN "
                   "(SCHEMA_NAME(), 'dbo')",
     .indexes = "SELECT i.name, c.name, CAST(i.is_unique AS int), CAST(i.is_primary_key AS int) FROM "
                "sys.indexes i JOIN sys.objects o ON o.object_id = i.object_id JOIN sys.index_columns k ON "
                "k.object_id = i.object_id AND k.index_id = i.index_id JOIN sys.columns c ON c.object_id = "
                "k.object_id AND c.column_id = k.column_id WHERE o.name = ? AND SCHEMA_NAME(o.schema_id) IN "
                "(SCHEMA_NAME(), 'dbo') AND i.type > 0 AND k.key_ordinal > 0 ORDER BY i.name, k.key_ordinal",
     .whole_views = true,
     .makes_procedures = true,
     .procedure_head = " AS "},
};

constexpr CatalogQueries kUnknown{};

}  // namespace

const CatalogQueries& catalog_queries(std::string_view dbms_name) {
  const auto* const found =
      std::find_if(std::begin(kKnown), std::end(kKnown), [&](const CatalogQueries& row) {
        return text::equal_fold(dbms_name.substr(0, row.name.size()), row.name);
      });
  return found == std::end(kKnown) ? kUnknown : *found;
}

std::string procedure_statement(const CatalogQueries& queries, const ado::Dialect& dialect,
                                const std::string& name, const std::string& text) {
  const bool is_whole = ado::creates_procedure(text);
  if (!queries.makes_procedures || (!is_whole && queries.procedure_head.empty())) {
    throw ado::model_error(ado::Model::feature_not_available, "ADOX.Procedures");
  }
  if (is_whole) return text;
  return "CREATE PROCEDURE " + ado::quoted_name(dialect, name) + std::string(queries.procedure_head) + text;
}

OdbcCatalog::OdbcCatalog(ado::Session& session, std::string_view dbms_name)
    : session_(session), queries_(catalog_queries(dbms_name)) {}

OdbcCatalog::Texts OdbcCatalog::ask(std::string_view query, const std::string& table) {
  if (query.empty()) return {};
  const std::vector<Variant> names(static_cast<std::size_t>(std::count(query.begin(), query.end(), '?')),
                                   Variant(table));
  const std::string statement(query);
  const ado::Outcome outcome = names.empty() ? session_.execute(statement, kSeconds, ado::Reading::at_once)
                                             : session_.execute_with(statement, names, kSeconds);
  const auto& columns = outcome.rows->columns();
  ado::ColumnStore store = ado::store_for(columns);
  while (outcome.rows->fetch(store, kBlock) > 0) {
  }
  Texts texts(store.row_count(), std::vector<std::string>(columns.size()));
  for (std::size_t row = 0; row < texts.size(); ++row) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const Variant value = store.column(i).value(row);
      if (!value.is_null()) texts[row][i] = to_text(value, LocaleInfo{});
    }
  }
  return texts;
}

std::vector<ado::TableEntry> OdbcCatalog::tables() {
  std::vector<ado::TableEntry> entries;
  for (auto& row : ask(queries_.tables)) entries.push_back({std::move(row[0]), std::move(row[1])});
  return entries;
}

std::vector<ado::StoredQuery> OdbcCatalog::views() {
  std::vector<ado::StoredQuery> views;
  for (auto& row : ask(queries_.views)) {
    views.push_back({std::move(row[0]),
                     queries_.whole_views ? ado::query_of_view(row[1]) : std::string(text::trim(row[1]))});
  }
  return views;
}

std::vector<ado::StoredQuery> OdbcCatalog::procedures() {
  std::vector<ado::StoredQuery> procedures;
  for (auto& row : ask(queries_.procedures)) procedures.push_back({std::move(row[0]), std::move(row[1])});
  return procedures;
}

std::vector<ado::IndexDefinition> OdbcCatalog::indexes(const std::string& table) {
  std::vector<ado::IndexDefinition> indexes;
  std::string last;
  for (auto& row : ask(queries_.indexes, table)) {
    if (indexes.empty() || row[0] != last) {
      indexes.push_back({ado::own_index_name(table, row[0]), row[3] == "1", row[2] == "1", {}, row[0]});
      last = row[0];
    }
    indexes.back().columns.push_back(std::move(row[1]));
  }
  return indexes;
}

void OdbcCatalog::create_procedure(const std::string& name, const std::string& text) {
  session_.execute(procedure_statement(queries_, session_.dialect(), name, text), kSeconds,
                   ado::Reading::at_once);
}

}  // namespace quarno::odbc
