// A CREATE TABLE taken apart, changed and written again. Pure.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "providers/desktop/jet/parser.h"
#include "providers/desktop/jet/writer.h"

namespace quarno::desktop::jet {

struct ColumnText {
  std::string name;         // without delimiters
  std::string declaration;  // as the engine is to know it
  std::string rest;         // DEFAULT, CHECK, REFERENCES, COLLATE
  std::string key_name;     // of a CONSTRAINT .. PRIMARY KEY
  bool counter = false;
  bool primary = false;
  bool not_null = false;
};

struct ConstraintText {
  enum class Is : std::uint8_t { primary, unique, other };
  Is is = Is::other;
  std::string name;                  // empty when it has none
  std::vector<std::string> columns;  // of a key
  std::string text;                  // of any other, without its name
};

struct TableText {
  std::string head;  // "CREATE TABLE IF NOT EXISTS [T]"
  std::string name;  // without delimiters
  std::vector<ColumnText> columns;
  std::vector<ConstraintText> constraints;
  std::string tail;     // WITHOUT ROWID
  long long seed = 1;   // of the counter
  bool exists = false;  // what it has stays as it is declared

  ColumnText* find(std::string_view column);
  std::string text() const;
  /// Keys that cannot stand in the table: named UNIQUE ones, which can be dropped like the indexes they are,
  /// and the primary key of a table whose counter is not its key.
  std::vector<std::string> take_indexes();
};

/// Reads a column from its name on, with its constraints. A key found on it in the engine's own words stays
/// there.
ColumnText read_column(Parser& parser, Writer& writer, std::string_view collation, TableText& table);
/// Reads a constraint of a table from CONSTRAINT or its first word on.
ConstraintText read_constraint(Parser& parser, Writer& writer);
bool at_constraint(const Parser& parser);
/// From "(" on: columns, constraints and what follows.
void read_table(Parser& parser, Writer& writer, std::string_view collation, TableText& table);

/// Indexes have names of their own in each table, where the engine has one list for all: "T.i".
std::string index_name(std::string_view table, std::string_view index);
std::string column_list(const std::vector<std::string>& columns);

}  // namespace quarno::desktop::jet
