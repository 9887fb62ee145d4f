// The statements that define tables, as each DBMS writes them. Pure text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ado/catalog/schema.h"

namespace quarno::ado {

// A name that the language or the DBMS cannot hold as it is raises 3001: an empty one, one that would be cut.

/// A column's type; raises "Type is invalid." for one the language has no type for, and 3001 for a negative
/// size.
std::string type_text(Ddl ddl, const ColumnDefinition& column);
/// The table first, then what has to be made after it: nothing where a transaction does not undo it. Raises
/// 3251 for an index in a folder, which has none.
std::vector<std::string> create_table_texts(Ddl ddl, const TableDefinition& table);
std::string add_column_text(Ddl ddl, std::string_view table, const ColumnDefinition& column);
/// What goes with it first where the DBMS does not see to that: the indexes that have the column.
std::vector<std::string> drop_column_texts(Ddl ddl, const TableDefinition& table, const std::string& column);
/// For a table that is there. Raises 3251 for a primary key where only a new table can have one.
std::string add_index_text(Ddl ddl, std::string_view table, const IndexDefinition& index);

/// Where the names of all indexes stand in one list, an index is stored as "table.name". This is the name.
std::string own_index_name(std::string_view table, std::string_view stored);
/// Whether a statement makes a procedure or a function, and not something that a procedure may make.
bool creates_procedure(std::string_view statement);
/// The query in a CREATE VIEW, as its host wrote it; the whole text without one.
std::string query_of_view(std::string_view create_view);
/// A CREATE VIEW whose query was rewritten, with the query of another one in it for query_of_view. Without it
/// when the two are the same, and when it cannot stand in a comment.
std::string with_query_as_written(std::string create_view, std::string_view written);

}  // namespace quarno::ado
