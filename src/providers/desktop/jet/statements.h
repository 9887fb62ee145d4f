// The statements that change rows, and those that make and change tables.
#pragma once

#include "providers/desktop/jet/parser.h"
#include "providers/desktop/jet/rewrite.h"
#include "providers/desktop/jet/writer.h"

namespace quarno::desktop::jet {

/// What the rewriting of one statement works with.
struct Work {
  Parser& parser;
  Tree& tree;
  Writer& writer;
  const Schema& schema;
  std::string_view collation;
  Rewritten& result;

  Step& step(std::string text) {
    result.steps.emplace_back();
    result.steps.back().text = std::move(text);
    return result.steps.back();
  }
};

// Each is called with the parser at the statement's first word.
void rewrite_insert(Work& work);
void rewrite_update(Work& work);
void rewrite_delete(Work& work);
void rewrite_crosstab(Work& work);
/// SELECT .. INTO, when the query is parsed already.
void rewrite_into(Work& work, int query);
void rewrite_create(Work& work);
void rewrite_alter(Work& work);
void rewrite_drop(Work& work);

}  // namespace quarno::desktop::jet
