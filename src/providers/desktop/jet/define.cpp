// CREATE, ALTER and DROP.
#include <algorithm>

#include "common/text.h"
#include "providers/desktop/jet/statements.h"
#include "providers/desktop/jet/table_text.h"
#include "providers/desktop/jet/types.h"

namespace quarno::desktop::jet {
namespace {

TableText known_table(Work& work, std::string_view name) {
  const std::string definition = work.schema.definition(name);
  if (definition.empty()) throw SyntaxError("Could not find the table '" + std::string(name) + "'.");
  const std::vector<Token> tokens = tokens_of(definition);
  Tree tree;
  Parser parser(tokens, tree);
  ParameterList parameters;
  Writer writer(tree, work.schema, parameters);
  TableText table;
  while (!parser.token().is("(")) parser.take();
  table.name = name;
  table.exists = true;
  table.head = "CREATE TABLE " + quoted_name(name);
  read_table(parser, writer, {}, table);
  return table;
}

// The engine changes little of a table in place: its rows wait elsewhere while it is made anew. `added` is a
// column without values yet.
void rebuild(Work& work, TableText table, std::string_view added = {}) {
  const std::vector<std::string> indexes = table.take_indexes();
  std::vector<std::string> kept;
  for (const ColumnText& column : table.columns) {
    if (!text::equal_fold(column.name, added)) kept.push_back(column.name);
  }
  const std::string own = quoted_name(table.name);
  const std::string waiting = "temp." + quoted_name("jet_waiting_" + table.name);
  const std::string columns = column_list(kept);
  std::vector<std::string> attachments = work.schema.attachments(table.name);
  work.step("CREATE TEMP TABLE " + quoted_name("jet_waiting_" + table.name) + " AS SELECT " + columns +
            " FROM " + own);
  work.step("DROP TABLE " + own);
  work.step(table.text());
  work.step("INSERT INTO " + own + " (" + columns + ") SELECT " + columns + " FROM " + waiting);
  work.step("DROP TABLE " + waiting);
  for (std::string& attachment : attachments) work.step(std::move(attachment));
  for (const std::string& index : indexes) work.step(index);
  work.result.rebuilds_table = true;
}

// The indexes of a table that speak of a column, by their names as the engine has them.
std::vector<std::string> indexes_with(Work& work, std::string_view table, std::string_view column) {
  std::vector<std::string> names;
  for (const std::string& text : work.schema.attachments(table)) {
    const std::vector<Token> tokens = tokens_of(text);
    const auto index =
        std::find_if(tokens.begin(), tokens.end(), [](const Token& token) { return token.is_word("index"); });
    const auto open =
        std::find_if(tokens.begin(), tokens.end(), [](const Token& token) { return token.is("("); });
    if (index == tokens.end() || index > open) continue;
    const bool has = std::any_of(open, tokens.end(), [&](const Token& token) {
      return token.is_name() && text::equal_fold(bare(token.text), column);
    });
    if (has) names.emplace_back((index + 1)->text);
  }
  return names;
}

bool has_index(Work& work, std::string_view table, std::string_view index) {
  const std::string wanted = index_name(table, index);
  const std::vector<std::string> all = work.schema.attachments(table);
  return std::any_of(all.begin(), all.end(), [&](const std::string& text) {
    const std::vector<Token> tokens = tokens_of(text);
    return std::any_of(tokens.begin(), tokens.end(), [&](const Token& token) {
      return token.kind == Token::Kind::bracketed && text::equal_fold(token.text, wanted);
    });
  });
}

void drop_key(Work& work, std::string_view name, std::string_view key) {
  if (has_index(work, name, key)) {
    work.step("DROP INDEX " + index_name(name, key));
    return;
  }
  TableText table = known_table(work, name);
  bool found = false;
  std::erase_if(table.constraints, [&](const ConstraintText& own) {
    const bool is_it =
        text::equal_fold(own.name, key) ||
        (own.is == ConstraintText::Is::primary && own.name.empty() && text::equal_fold(key, "PrimaryKey"));
    found = found || is_it;
    return is_it;
  });
  for (ColumnText& column : table.columns) {
    const bool is_it = column.primary && (text::equal_fold(column.key_name, key) ||
                                          (column.key_name.empty() && text::equal_fold(key, "PrimaryKey")));
    if (is_it && column.counter) refuse_unsupported("a counter outside the primary key without another key");
    if (is_it) column.primary = false;
    // A reference keeps its name in the column's own text.
    const std::string named = " CONSTRAINT " + quoted_name(key) + " REFERENCES ";
    const auto at = text::lower_ascii(column.rest).find(text::lower_ascii(named));
    if (at != std::string::npos) {
      const auto end = column.rest.find(')', at);
      column.rest.erase(at, end == std::string::npos ? end : end + 1 - at);
      found = true;
    }
    found = found || is_it;
  }
  if (!found) throw SyntaxError("CHECK constraint '" + std::string(key) + "' does not exist.");
  rebuild(work, std::move(table));
}

void add_constraint(Work& work, std::string_view name, ConstraintText constraint) {
  if (constraint.is == ConstraintText::Is::unique) {
    const std::string key = constraint.name.empty() ? constraint.columns.front() : constraint.name;
    work.step("CREATE UNIQUE INDEX " + index_name(name, key) + " ON " + quoted_name(name) + " (" +
              column_list(constraint.columns) + ")");
    return;
  }
  TableText table = known_table(work, name);
  if (constraint.is == ConstraintText::Is::primary) {
    const bool has_key =
        std::any_of(table.columns.begin(), table.columns.end(),
                    [](const ColumnText& own) { return own.primary && !own.counter; }) ||
        std::any_of(table.constraints.begin(), table.constraints.end(),
                    [](const ConstraintText& own) { return own.is == ConstraintText::Is::primary; });
    if (has_key) throw SyntaxError("Primary key already exists.");
  }
  table.constraints.push_back(std::move(constraint));
  rebuild(work, std::move(table));
}

void create_table(Work& work, std::string_view head_text) {
  Parser& parser = work.parser;
  TableText table;
  table.head = std::string(head_text) + " ";
  if (parser.skip_word("if")) {
    parser.expect_word("not");
    parser.expect_word("exists");
    table.head += "IF NOT EXISTS ";
  }
  const auto [whole, last] = parser.table_name();
  append_name(table.head, whole);
  table.name = bare(last);
  const std::string name = table.name;
  if (parser.skip_word("as")) {
    work.step(table.head + " AS " + work.writer.query(parser.query()));
    if (!parser.at_end()) throw NotUnderstood();
    return;
  }
  read_table(parser, work.writer, work.collation, table);
  const std::vector<std::string> indexes = table.take_indexes();
  Step& step = work.step(table.text());
  step.create.emplace();
  for (const ColumnText& column : table.columns) {
    step.create->push_back({column.name, column.declaration, column.not_null || column.primary});
  }
  step.table = name;
  for (const std::string& index : indexes) work.step(index);
  if (table.seed > 1) {
    work.step("INSERT INTO sqlite_sequence (name, seq) VALUES (" + quoted_text(name) + ", " +
              std::to_string(table.seed - 1) + ")");
  }
}

void create_index(Work& work, bool unique) {
  Parser& parser = work.parser;
  bool if_not_exists = false;
  if (parser.skip_word("if")) {
    parser.expect_word("not");
    parser.expect_word("exists");
    if_not_exists = true;
  }
  const std::string index(bare(parser.table_name().second));
  parser.expect_word("on");
  const std::string table(bare(parser.take().text));
  const std::size_t columns_at = parser.position();
  const std::string columns(parser.parenthesis_text());
  std::string where;
  bool primary = false;
  bool disallows_null = false;
  bool ignores_null = false;
  if (parser.skip_word("with")) {
    do {
      if (parser.skip_word("primary")) {
        primary = true;
      } else if (parser.skip_word("disallow")) {
        parser.expect_word("null");
        disallows_null = true;
      } else {
        parser.expect_word("ignore");
        parser.expect_word("null");
        ignores_null = true;
      }
    } while (parser.skip(",") || !parser.at_end());
  }
  std::vector<std::string> names;
  if (primary || disallows_null || ignores_null) {
    const std::size_t end = parser.position();
    parser.back_to(columns_at + 1);
    do {
      names.emplace_back(bare(parser.take().text));
      if (!parser.skip_word("asc")) parser.skip_word("desc");
    } while (parser.skip(","));
    parser.expect(")");
    parser.back_to(end);
  }
  if (primary) return add_constraint(work, table, {ConstraintText::Is::primary, index, names, {}});
  if (disallows_null) {
    TableText known = known_table(work, table);
    for (const std::string& name : names) {
      if (ColumnText* const column = known.find(name)) column->not_null = true;
    }
    rebuild(work, std::move(known));
  }
  for (const std::string& name : names) {
    if (ignores_null) where += (where.empty() ? " WHERE " : " AND ") + quoted_name(name) + " IS NOT NULL";
  }
  if (!parser.at_end()) where += " " + std::string(parser.text_to_end());
  work.step(std::string(unique ? "CREATE UNIQUE INDEX " : "CREATE INDEX ") +
            (if_not_exists ? "IF NOT EXISTS " : "") + index_name(table, index) + " ON " + quoted_name(table) +
            " " + columns + where);
}

void create_procedure(Work& work) {
  Parser& parser = work.parser;
  Step& step = work.step({});
  step.procedure = true;
  step.table = bare(parser.take().text);
  // Parameters between the name and AS become those of the query.
  std::string parameters;
  if (parser.token().is("(")) {
    const std::string_view inner = parser.parenthesis_text();
    parameters = "PARAMETERS " + std::string(inner.substr(1, inner.size() - 2)) + "; ";
  } else if (!parser.at_word("as")) {
    const std::size_t begin = parser.position();
    while (!parser.at_word("as")) parser.take();
    parameters = "PARAMETERS " + std::string(parser.text_since(begin)) + "; ";
  }
  parser.expect_word("as");
  step.text = parameters + std::string(parser.text_to_end());
}

}  // namespace

void rewrite_create(Work& work) {
  Parser& parser = work.parser;
  const std::size_t begin = parser.position();
  work.result.kind = Kind::define;
  parser.take();
  if (!parser.skip_word("temp")) parser.skip_word("temporary");
  if (parser.skip_word("table")) return create_table(work, parser.text_since(begin));
  if (parser.at_word("index") || (parser.at_word("unique") && parser.token(1).is_word("index"))) {
    const bool unique = parser.skip_word("unique");
    parser.take();
    return create_index(work, unique);
  }
  if (parser.skip_word("procedure") || parser.skip_word("proc")) return create_procedure(work);
  parser.expect_word("view");
  const std::size_t rest = parser.position();
  while (!parser.at_word("as")) parser.take();
  parser.take();
  const std::string head = std::string(parser.text_since(begin)) + " ";
  if (rest == parser.position() || !parser.at_query()) throw NotUnderstood();
  work.step(head + work.writer.query(parser.query()));
  if (!parser.at_end()) throw NotUnderstood();
}

void rewrite_alter(Work& work) {
  Parser& parser = work.parser;
  work.result.kind = Kind::define;
  parser.take();
  parser.expect_word("table");
  const std::string name(bare(parser.table_name().second));
  const std::string own = quoted_name(name);
  if (parser.skip_word("add")) {
    if (at_constraint(parser)) {
      ConstraintText constraint = read_constraint(parser, work.writer);
      if (!parser.at_end()) throw NotUnderstood();
      return add_constraint(work, name, std::move(constraint));
    }
    parser.skip_word("column");
    const bool listed = parser.skip("(");
    do {
      TableText fresh;
      fresh.name = name;
      const ColumnText column = read_column(parser, work.writer, work.collation, fresh);
      const bool in_place = !column.counter && !column.primary &&
                            column.rest.find(" UNIQUE") == std::string::npos &&
                            (!column.not_null || column.rest.find("DEFAULT") != std::string::npos);
      if (in_place) {
        fresh.columns.push_back(column);
        const std::vector<std::string> indexes = fresh.take_indexes();
        const std::string body = fresh.text();
        const auto open = body.find('(');
        work.step("ALTER TABLE " + own + " ADD COLUMN " + body.substr(open + 1, body.size() - open - 2));
        for (const std::string& index : indexes) work.step(index);
        continue;
      }
      if (listed) refuse_unsupported("ALTER TABLE with several such columns at once");
      TableText table = known_table(work, name);
      table.columns.push_back(column);
      table.seed = fresh.seed;
      rebuild(work, std::move(table), column.name);
    } while (parser.skip(","));
    if (listed) parser.expect(")");
  } else if (parser.skip_word("drop")) {
    if (parser.skip_word("constraint")) {
      drop_key(work, name, bare(parser.take().text));
    } else {
      parser.skip_word("column");
      do {
        const std::string column(bare(parser.take().text));
        for (const std::string& index : indexes_with(work, name, column)) work.step("DROP INDEX " + index);
        work.step("ALTER TABLE " + own + " DROP COLUMN " + quoted_name(column));
      } while (parser.skip(","));
    }
  } else if (parser.skip_word("alter")) {
    parser.skip_word("column");
    TableText table = known_table(work, name);
    table.exists = false;  // the column's new declaration is the host's
    ColumnText* const column = table.find(bare(parser.token().text));
    if (column == nullptr)
      throw SyntaxError("Could not find the column '" + std::string(bare(parser.token().text)) + "'.");
    if (parser.token(1).is_word("set") || parser.token(1).is_word("drop")) {
      parser.take();
      const bool sets = parser.take().is_word("set");
      parser.expect_word("default");
      const auto at = column->rest.find(" DEFAULT ");
      if (at != std::string::npos) column->rest.erase(at);
      if (sets) {
        const std::string value = work.writer.value(parser.expression());
        column->rest += " DEFAULT (" + value + ")";
      }
    } else {
      ColumnText changed = read_column(parser, work.writer, work.collation, table);
      changed.primary = changed.primary || column->primary;
      changed.key_name = column->key_name;
      if (changed.rest.find("DEFAULT") == std::string::npos) {
        const auto at = column->rest.find(" DEFAULT ");
        if (at != std::string::npos && column->rest.find(" COLLATE") > at) {
          changed.rest += column->rest.substr(at, column->rest.find(" COLLATE", at) - at);
        }
      }
      *column = std::move(changed);
    }
    rebuild(work, std::move(table));
  } else {
    throw NotUnderstood();
  }
  if (!parser.at_end()) throw NotUnderstood();
}

void rewrite_drop(Work& work) {
  Parser& parser = work.parser;
  const std::size_t begin = parser.position();
  work.result.kind = Kind::define;
  parser.take();
  if (parser.skip_word("index")) {
    const std::string index(bare(parser.table_name().second));
    if (!parser.skip_word("on")) throw NotUnderstood();
    drop_key(work, bare(parser.take().text), index);
  } else if (parser.skip_word("table")) {
    if (parser.skip_word("if")) parser.expect_word("exists");
    const std::string head(parser.text_since(begin));
    const auto [whole, last] = parser.table_name();
    std::string text = head + " ";
    append_name(text, whole);
    Step& step = work.step(std::move(text));
    step.drop = true;
    step.table = bare(last);
    parser.skip_word("cascade");
  } else if (parser.skip_word("procedure") || parser.skip_word("proc")) {
    Step& step = work.step({});
    step.procedure = step.drop = true;
    step.table = bare(parser.take().text);
  } else {
    throw NotUnderstood();
  }
  if (!parser.at_end()) throw NotUnderstood();
}

}  // namespace quarno::desktop::jet
