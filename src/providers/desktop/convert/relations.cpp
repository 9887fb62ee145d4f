#include "providers/desktop/convert/relations.h"

#include <algorithm>
#include <set>

#include "common/text.h"
#include "providers/desktop/sqlite/engine_calls.h"

namespace quarno::desktop::convert {
namespace {

using sqlite::bind_text;
using sqlite::prepare;
using sqlite::quoted;
using sqlite::run;
using sqlite::step;

using Names = std::set<std::string>;  // in small letters

Names names_of(sqlite3* engine, const char* query, std::string_view name) {
  const sqlite::Statement statement = prepare(engine, query);
  bind_text(statement, 1, name);
  Names names;
  while (step(engine, statement)) names.insert(text::lower_ascii(sqlite::column_text(statement.get(), 0)));
  return names;
}

bool is_key(sqlite3* engine, const std::string& table, const Names& columns) {
  if (names_of(engine, "SELECT name FROM pragma_table_info(?1) WHERE pk > 0", table) == columns) return true;
  const sqlite::Statement indexes =
      prepare(engine, "SELECT name FROM pragma_index_list(?1) WHERE \"unique\" AND NOT partial");
  bind_text(indexes, 1, table);
  while (step(engine, indexes)) {
    const std::string index = sqlite::column_text(indexes.get(), 0);
    if (names_of(engine, "SELECT name FROM pragma_index_info(?1)", index) == columns) return true;
  }
  return false;
}

bool has_columns(sqlite3* engine, const std::string& table, const Names& columns) {
  const Names there = names_of(engine, "SELECT name FROM pragma_table_info(?1)", table);
  return std::includes(there.begin(), there.end(), columns.begin(), columns.end());
}

// Rows that refer to nothing; a null in any column refers to nothing by right.
std::int64_t orphans(sqlite3* engine, const access::Relation& relation) {
  std::string present;
  std::string same;
  for (const access::RelationColumns& columns : relation.columns) {
    const char* const word = present.empty() ? "" : " AND ";
    present += word + ("f." + quoted(columns.foreign)) + " IS NOT NULL";
    same += word + ("r." + quoted(columns.referenced)) + " = f." + quoted(columns.foreign);
  }
  const sqlite::Statement count =
      prepare(engine, "SELECT count(*) FROM " + quoted(relation.foreign_table) + " f WHERE " + present +
                          " AND NOT EXISTS (SELECT 1 FROM " + quoted(relation.referenced_table) +
                          " r WHERE " + same + ")");
  step(engine, count);
  return sqlite3_column_int64(count.get(), 0);
}

}  // namespace

std::string add_foreign_key(sqlite3* engine, const access::Relation& relation) {
  Names foreign;
  Names referenced;
  std::string foreign_list;
  std::string referenced_list;
  for (const access::RelationColumns& columns : relation.columns) {
    foreign.insert(text::lower_ascii(columns.foreign));
    referenced.insert(text::lower_ascii(columns.referenced));
    foreign_list += (foreign_list.empty() ? "" : ", ") + quoted(columns.foreign);
    referenced_list += (referenced_list.empty() ? "" : ", ") + quoted(columns.referenced);
  }
  if (relation.columns.empty()) return "its columns are not known";
  if (!has_columns(engine, relation.foreign_table, foreign) ||
      !has_columns(engine, relation.referenced_table, referenced)) {
    return "one of its tables is not in the new file";
  }
  if (!is_key(engine, relation.referenced_table, referenced)) {
    return "what it refers to in '" + relation.referenced_table + "' is no key";
  }
  if (const std::int64_t count = orphans(engine, relation); count > 0) {
    return std::to_string(count) + " rows of '" + relation.foreign_table + "' refer to no row of '" +
           relation.referenced_table + "'";
  }
  std::string clause = ", CONSTRAINT " + quoted(relation.name) + " FOREIGN KEY (" + foreign_list +
                       ") REFERENCES " + quoted(relation.referenced_table) + " (" + referenced_list + ")";
  if (relation.cascades_update) clause += " ON UPDATE CASCADE";
  if (relation.cascades_delete) clause += " ON DELETE CASCADE";
  // The definition ends with its list; a foreign key changes nothing of how rows are stored.
  run(engine, "PRAGMA writable_schema = ON");
  const sqlite::Statement update =
      prepare(engine,
              "UPDATE sqlite_schema SET sql = substr(sql, 1, length(sql) - 1) || ?2 || ')' "
              "WHERE type = 'table' AND name = ?1 COLLATE NOCASE");
  bind_text(update, 1, relation.foreign_table);
  bind_text(update, 2, clause);
  step(engine, update);
  run(engine, "PRAGMA writable_schema = RESET");
  return {};
}

}  // namespace quarno::desktop::convert
