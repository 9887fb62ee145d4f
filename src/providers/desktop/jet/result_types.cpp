#include "providers/desktop/jet/result_types.h"

#include "providers/desktop/jet/resolver.h"
#include "providers/desktop/jet/rewrite.h"
#include "providers/desktop/jet/tokens.h"

namespace quarno::desktop::jet {

std::vector<std::string> result_types(std::string_view statement, const Schema& schema) {
  std::vector<std::string> types;
  const std::vector<Token> tokens = tokens_of(statement);
  Columns columns;
  if (tokens.front().is_one_of({"transform", "exec", "execute"}) || tokens.size() == 2) {
    // What these give shows only in what becomes of them.
    const Rewritten rewritten = rewrite(statement, schema);
    if (rewritten.kind == Kind::select) columns = result_columns(rewritten.steps.back().text, schema);
  } else {
    columns = result_columns(tokens, schema);
  }
  if (!columns.known) return types;
  for (Column& column : columns.list)
    types.push_back(column.type == "NULL" ? std::string() : std::move(column.type));
  return types;
}

}  // namespace quarno::desktop::jet
