// Jet SQL as statements of the engine. Pure but for what it asks of the Schema.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "providers/desktop/jet/schema.h"
#include "providers/desktop/jet/syntax_error.h"
#include "providers/desktop/new_column.h"

namespace quarno::desktop::jet {

enum class Kind : std::uint8_t { select, insert, update, remove, define, other };

/// One thing to do. Whoever keeps tables elsewhere than in the engine's own file acts on `create` and `drop`
/// instead of running the text.
struct Step {
  std::string text;      // for the engine; empty for a procedure
  bool counts = false;   // its changes are the statement's
  bool goes_on = false;  // the next step belongs to the same statement
  std::optional<std::vector<NewColumn>> create;
  bool drop = false;
  std::string table;  // what is created or dropped, without delimiters
  /// CREATE PROCEDURE and DROP PROCEDURE: the name is in `table`, the text of a new one in `text`.
  bool procedure = false;
};

struct Rewritten {
  Kind kind = Kind::other;  // of the last statement
  std::vector<Step> steps;  // the last one gives the rows, when there are any
  /// Values to be bound by number, in the order the host gives them. Those of PARAMETERS come first.
  std::vector<Column> parameters;
  /// A table is made anew under its own name: foreign keys must not be watched meanwhile, and all steps
  /// belong into one transaction.
  bool rebuilds_table = false;
};

/// `statement` may hold several, with ";" between. What is not understood is handed on as it stands. New
/// columns for text get the collation, when there is one. Raises SyntaxError.
Rewritten rewrite(std::string_view statement, const Schema& schema, std::string_view collation = {});

/// The tables and saved queries a statement speaks of, without delimiters; it may also give names that are
/// none.
std::vector<std::string> names_in(std::string_view statement);

}  // namespace quarno::desktop::jet
