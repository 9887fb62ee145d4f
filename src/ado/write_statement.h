// The SQL the model writes itself. Of one changed row: values are never part of the text, they go as
// parameters, in the order of the text. And the call of a procedure.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "ado/provider.h"

namespace quarno::ado {

/// A column that must still hold a given value. Null cannot be compared, so it becomes IS NULL and takes no
/// parameter.
struct Criterion {
  std::string_view column;
  bool is_null = false;
  bool by_case = false;  // a text in other letter case is another value
};

std::string quoted_name(const Dialect& dialect, std::string_view name);
std::string insert_text(const Dialect& dialect, std::string_view table,
                        std::span<const std::string_view> columns);
std::string update_text(const Dialect& dialect, std::string_view table,
                        std::span<const std::string_view> columns, std::span<const Criterion> criteria);
std::string delete_text(const Dialect& dialect, std::string_view table, std::span<const Criterion> criteria);

/// Whether a query takes rows from a table more than once, in its FROM (queries and parentheses in there
/// included) or its columns: then it is not known which of them a column belongs to. What stands in a WHERE
/// gives no columns.
bool reads_twice(std::string_view query, std::string_view table);
/// The word a statement begins with, in small letters, behind blanks and comments; empty when it is none.
std::string first_word(std::string_view statement);
/// Whether a text says itself that it calls a procedure: it begins with "{", "exec", "execute" or "call".
bool is_call(std::string_view statement);
/// The call of a procedure, whose text is its name with or without arguments; a text that is a call already
/// stays as it is.
std::string call_text(const Dialect& dialect, const std::string& procedure);

}  // namespace quarno::ado
