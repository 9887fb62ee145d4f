#include "providers/desktop/jet/table_text.h"

#include <algorithm>
#include <charconv>

#include "common/text.h"
#include "providers/desktop/jet/syntax_error.h"
#include "providers/desktop/jet/types.h"

namespace quarno::desktop::jet {
namespace {

std::vector<std::string> read_names(Parser& parser) {
  std::vector<std::string> names;
  parser.expect("(");
  do {
    names.emplace_back(bare(parser.take().text));
    if (!parser.skip_word("asc")) parser.skip_word("desc");
  } while (parser.skip(","));
  parser.expect(")");
  return names;
}

// ON UPDATE CASCADE and the like, which both languages share.
std::string read_references(Parser& parser) {
  parser.expect_word("references");
  std::string text = "REFERENCES " + quoted_name(bare(parser.table_name().second));
  if (parser.token().is("(")) text += " (" + column_list(read_names(parser)) + ")";
  const std::size_t begin = parser.position();
  while (parser.at_word("on")) {
    for (int i = 0; i < 3; ++i) parser.take();
    if (!parser.skip_word("null") && !parser.skip_word("default")) parser.skip_word("action");
  }
  while (parser.token().is_one_of({"deferrable", "initially", "deferred", "immediate", "match"}) ||
         (parser.at_word("not") && parser.token(1).is_word("deferrable"))) {
    parser.take();
  }
  const std::string_view rest = parser.text_since(begin);
  return rest.empty() ? text : text + " " + std::string(rest);
}

std::string read_type(Parser& parser) {
  std::string name;
  while (parser.token().kind == Token::Kind::word &&
         !parser.token().is_one_of({"constraint", "primary", "not", "null", "unique", "check", "default",
                                    "collate", "references", "generated", "as", "with", "identity"})) {
    if (!name.empty() && is_counter(parser.token().text)) break;
    if (!name.empty()) name += ' ';
    name += parser.take().text;
  }
  if (name.empty() && parser.at_word("identity")) name = parser.take().text;
  return name;
}

// What follows is not the value's (NOT NULL, COLLATE). What a table has already is kept to the letter: other
// programs may know their functions only.
std::string read_default(Parser& parser, Writer& writer, bool as_it_stands) {
  const std::size_t begin = parser.position();
  const int expression = parser.operand();
  const std::string value = as_it_stands ? std::string(parser.text_since(begin)) : writer.value(expression);
  const bool plain = value.find('(') == std::string::npos && value.find(' ') == std::string::npos;
  return plain || value.starts_with('\'') ? "DEFAULT " + value : "DEFAULT (" + value + ")";
}

}  // namespace

std::string index_name(std::string_view table, std::string_view index) {
  const std::string prefix = std::string(table) + ".";
  if (text::equal_fold(index.substr(0, prefix.size()), prefix)) return quoted_name(index);
  return quoted_name(prefix + std::string(index));
}

std::string column_list(const std::vector<std::string>& columns) {
  std::string list;
  for (const std::string& column : columns) {
    if (!list.empty()) list += ", ";
    list += quoted_name(column);
  }
  return list;
}

bool at_constraint(const Parser& parser) {
  const Token& next = parser.token(1);
  return parser.at_word("constraint") || (parser.at_word("primary") && next.is_word("key")) ||
         (parser.at_word("foreign") && next.is_word("key")) || (parser.at_word("unique") && next.is("(")) ||
         (parser.at_word("check") && next.is("("));
}

ColumnText read_column(Parser& parser, Writer& writer, std::string_view collation, TableText& table) {
  ColumnText column;
  if (!parser.token().is_name()) throw NotUnderstood();
  column.name = bare(parser.take().text);
  const std::string type = read_type(parser);
  std::string sizes;
  if (parser.token().is("(")) sizes = parser.parenthesis_text();
  column.counter = is_counter(type);
  if (!type.empty() && is_counter(parser.token().text)) {
    parser.take();
    column.counter = true;
    if (parser.token().is("(")) sizes = parser.parenthesis_text();
  }
  if (column.counter) {
    column.declaration = "INTEGER";
    if (!sizes.empty()) {
      const auto comma = sizes.find(',');
      const std::string_view first =
          text::trim(std::string_view(sizes).substr(1, std::min(comma, sizes.size() - 1) - 1));
      std::from_chars(first.data(), first.data() + first.size(), table.seed);
      if (comma != std::string::npos &&
          text::trim(std::string_view(sizes).substr(comma + 1, sizes.size() - comma - 2)) != "1") {
        refuse_unsupported("a counter whose step is not 1");
      }
    }
  } else {
    column.declaration = table.exists ? type + sizes : declaration(type, sizes);
    // Such a column is never null.
    const bool yes_no = text::equal_fold(type, "YESNO") || text::equal_fold(type, "LOGICAL") ||
                        text::equal_fold(type, "LOGICAL1") || text::equal_fold(type, "BIT");
    if (yes_no && !table.exists) column.rest = " DEFAULT 0";
  }
  bool collated = false;
  std::string constraint;
  for (;;) {
    if (parser.skip_word("constraint")) {
      constraint = bare(parser.take().text);
    } else if (parser.skip_word("not")) {
      parser.expect_word("null");
      column.not_null = true;
    } else if (parser.skip_word("null")) {
    } else if (parser.skip_word("primary")) {
      parser.expect_word("key");
      column.primary = true;
      column.key_name = std::exchange(constraint, {});
      if (!parser.skip_word("asc")) parser.skip_word("desc");
      if (parser.skip_word("autoincrement")) column.counter = true;
    } else if (parser.skip_word("unique")) {
      if (constraint.empty()) {
        column.rest += " UNIQUE";
      } else {
        table.constraints.push_back(
            {ConstraintText::Is::unique, std::exchange(constraint, {}), {column.name}, {}});
      }
    } else if (parser.at_word("with")) {
      parser.take();
      if (!parser.skip_word("compression")) parser.expect_word("comp");
    } else if (parser.skip_word("default")) {
      if (column.rest.starts_with(" DEFAULT 0")) column.rest.erase(0, 10);
      column.rest += " " + read_default(parser, writer, table.exists);
    } else if (parser.skip_word("check")) {
      parser.expect("(");
      column.rest += " CHECK (" + writer.condition(parser.expression()) + ")";
      parser.expect(")");
    } else if (parser.skip_word("collate")) {
      column.rest += " COLLATE " + std::string(parser.take().text);
      collated = true;
    } else if (parser.at_word("references")) {
      if (!constraint.empty()) column.rest += " CONSTRAINT " + quoted_name(std::exchange(constraint, {}));
      column.rest += " " + read_references(parser);
    } else {
      break;
    }
  }
  if (!parser.at_end() && !parser.token().is(",") && !parser.token().is(")")) throw NotUnderstood();
  if (!collated && !collation.empty() && is_text(family(column.declaration))) {
    column.rest += " COLLATE " + std::string(collation);
  }
  return column;
}

ConstraintText read_constraint(Parser& parser, Writer& writer) {
  ConstraintText constraint;
  if (parser.skip_word("constraint")) constraint.name = bare(parser.take().text);
  if (parser.skip_word("primary")) {
    parser.expect_word("key");
    constraint.is = ConstraintText::Is::primary;
    constraint.columns = read_names(parser);
  } else if (parser.skip_word("unique")) {
    constraint.is = ConstraintText::Is::unique;
    constraint.columns = read_names(parser);
  } else if (parser.skip_word("foreign")) {
    parser.expect_word("key");
    if (parser.skip_word("no")) parser.expect_word("index");
    constraint.text = "FOREIGN KEY (" + column_list(read_names(parser)) + ") ";
    constraint.text += read_references(parser);
  } else if (parser.skip_word("check")) {
    parser.expect("(");
    constraint.text = "CHECK (" + writer.condition(parser.expression()) + ")";
    parser.expect(")");
  } else {
    throw NotUnderstood();
  }
  return constraint;
}

void read_table(Parser& parser, Writer& writer, std::string_view collation, TableText& table) {
  parser.expect("(");
  do {
    if (at_constraint(parser)) {
      table.constraints.push_back(read_constraint(parser, writer));
    } else {
      table.columns.push_back(read_column(parser, writer, collation, table));
    }
  } while (parser.skip(","));
  parser.expect(")");
  if (!parser.at_end()) table.tail = " " + std::string(parser.text_to_end());
}

ColumnText* TableText::find(std::string_view column) {
  const auto found = std::find_if(columns.begin(), columns.end(),
                                  [&](const ColumnText& own) { return text::equal_fold(own.name, column); });
  return found == columns.end() ? nullptr : &*found;
}

std::vector<std::string> TableText::take_indexes() {
  std::vector<std::string> indexes;
  const auto add = [&](std::string_view key, const std::vector<std::string>& of) {
    indexes.push_back("CREATE UNIQUE INDEX " + index_name(name, key) + " ON " + quoted_name(name) + " (" +
                      column_list(of) + ")");
  };
  const auto counter =
      std::find_if(columns.begin(), columns.end(), [](const ColumnText& own) { return own.counter; });
  const bool counts = counter != columns.end();
  for (auto own = constraints.begin(); own != constraints.end();) {
    const bool is_key = own->is == ConstraintText::Is::primary;
    if (is_key) {
      for (const std::string& key : own->columns) {
        if (ColumnText* const column = find(key)) column->not_null = true;
      }
    }
    if (is_key && counts && own->columns.size() == 1 &&
        text::equal_fold(own->columns.front(), counter->name)) {
      counter->key_name = own->name;
    } else if ((is_key && counts) || (own->is == ConstraintText::Is::unique && !own->name.empty())) {
      add(own->name.empty() ? "PrimaryKey" : own->name, own->columns);
    } else {
      ++own;
      continue;
    }
    own = constraints.erase(own);
  }
  for (ColumnText& column : columns) {
    if (column.primary && !column.counter) column.not_null = true;
    if (!counts || !column.primary || column.counter) continue;
    column.primary = false;
    add(column.key_name.empty() ? "PrimaryKey" : column.key_name, {column.name});
  }
  // The engine numbers rows only in its primary key.
  if (counts) counter->primary = true;
  return indexes;
}

std::string TableText::text() const {
  std::string body;
  for (const ColumnText& column : columns) {
    if (!body.empty()) body += ", ";
    body += quoted_name(column.name);
    if (!column.declaration.empty()) body += " " + column.declaration;
    if (column.primary) {
      if (!column.key_name.empty()) body += " CONSTRAINT " + quoted_name(column.key_name);
      body += column.counter ? " PRIMARY KEY AUTOINCREMENT" : " PRIMARY KEY";
    }
    // The engine's row number is never null, and declaring that would keep it from being given.
    const bool numbers_rows = column.primary && text::equal_fold(column.declaration, "INTEGER");
    if (column.not_null && !numbers_rows) body += " NOT NULL";
    body += column.rest;
  }
  for (const ConstraintText& own : constraints) {
    body += ", ";
    if (!own.name.empty()) body += "CONSTRAINT " + quoted_name(own.name) + " ";
    if (own.is != ConstraintText::Is::other) {
      body += own.is == ConstraintText::Is::primary ? "PRIMARY KEY (" : "UNIQUE (";
      body += column_list(own.columns) + ")";
    }
    body += own.text;
  }
  return head + " (" + body + ")" + tail;
}

}  // namespace quarno::desktop::jet
