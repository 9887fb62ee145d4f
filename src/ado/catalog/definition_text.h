// The statements that define tables, as each DBMS writes them. Pure text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ado/catalog/schema.h"

namespace quarno::ado {

/// A column's type; raises "Type is invalid." for one the language has no type for.
std::string type_text(Ddl ddl, const ColumnDefinition& column);
/// The table first, then what has to be made after it.
std::vector<std::string> create_table_texts(Ddl ddl, const TableDefinition& table);
std::string drop_table_text(Ddl ddl, std::string_view table);
std::string add_column_text(Ddl ddl, std::string_view table, const ColumnDefinition& column);
std::string drop_column_text(Ddl ddl, std::string_view table, std::string_view column);
/// For a table that is there. Raises 3251 for a primary key where only a new table can have one.
std::string add_index_text(Ddl ddl, std::string_view table, const IndexDefinition& index);
/// Whether a transaction undoes definitions.
bool undoes_definitions(Ddl ddl);

/// Where the names of all indexes stand in one list, an index is stored as "table.name". This is the name.
std::string own_index_name(std::string_view table, std::string_view stored);
/// The query in a CREATE VIEW: what follows the first AS outside parentheses; the whole text without one.
std::string query_of_view(std::string_view create_view);

}  // namespace quarno::ado
