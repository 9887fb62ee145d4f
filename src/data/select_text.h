// Parts of a query to its text. Pure.
#pragma once

#include <string>

#include "data/connection_settings.h"

namespace quarno::data {

struct SelectParts {
  std::string columns;  // "" stands for "*"
  std::string table;
  std::string where;
  std::string group_by;
  std::string order;
};

/// On kind Conn_SQL a table without "." becomes [database].owner.table; on every other kind it stays as
/// given.
std::string qualified_table(const ConnectionSettings& settings, const std::string& table);

/// "SELECT columns FROM table" with the clauses that are not empty.
std::string select_text(const SelectParts& parts);

/// The same with two blanks before FROM.
std::string fast_select_text(const SelectParts& parts);

}  // namespace quarno::data
