// What can be told of a statement from its text alone. Pure text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quarno::odbc {

/// Whether a statement may hold others: those it makes something of, or that run on its condition.
bool may_hold_body(std::string_view statement);

/// Whether a name stands in the list of columns as another name for something: behind AS, or behind what is
/// named.
bool is_alias(std::string_view statement, std::string_view name);

/// PostgreSQL's driver turns a call in braces into a query of a function, which a procedure is not. The call
/// as the server itself knows it; empty for a text that is no call in braces.
std::string call_of_procedure(std::string_view statement);

/// Whether a cursor can be asked for. Not for two statements in one text: only the first would become one.
bool is_single_query(std::string_view statement);

/// What a statement of the host's does to a transaction: true begins one, false ends it.
std::optional<bool> begins_transaction(std::string_view statement);

}  // namespace quarno::odbc
