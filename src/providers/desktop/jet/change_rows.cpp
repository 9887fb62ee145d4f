// INSERT, UPDATE, DELETE, SELECT INTO and TRANSFORM.
#include <algorithm>

#include "common/text.h"
#include "providers/desktop/jet/statements.h"
#include "providers/desktop/jet/types.h"

namespace quarno::desktop::jet {
namespace {

constexpr std::string_view kChanged = "jet_changed";

std::string named(std::string_view name) {
  std::string text;
  append_name(text, name);
  return text;
}

// What may follow in the engine's own language: ON CONFLICT, RETURNING, LIMIT.
std::string rest_of(Parser& parser) {
  if (parser.at_end()) return {};
  if (!parser.token().is_one_of({"on", "returning", "limit", "order"})) throw NotUnderstood();
  return " " + std::string(parser.text_to_end());
}

void skip_options(Parser& parser) {
  while (parser.at_word("with") && parser.token(1).is_word("owneraccess")) {
    parser.take();
    parser.take();
    parser.expect_word("option");
  }
}

Select& select_of(Work& work, int index) { return work.tree.selects[static_cast<std::size_t>(index)]; }

const Source& source_of(const Work& work, int index) {
  return work.tree.sources[static_cast<std::size_t>(index)];
}

// The table of a FROM that is to change, by its name there; the first when nothing else is said.
int changed_table(Work& work, int from, std::string_view wanted) {
  const Source& source = source_of(work, from);
  if (source.is == Source::Is::join) {
    const int left = changed_table(work, source.left, wanted);
    return left != kNothing ? left : changed_table(work, source.right, wanted);
  }
  if (source.is != Source::Is::table) return kNothing;
  const std::string_view own = bare(source.alias.empty() ? source.last : source.alias);
  return wanted.empty() || text::equal_fold(own, wanted) ? from : kNothing;
}

// The table of a FROM that has a column.
int table_with(Work& work, int from, std::string_view column) {
  const Source& source = source_of(work, from);
  if (source.is == Source::Is::join) {
    const int left = table_with(work, source.left, column);
    return left != kNothing ? left : table_with(work, source.right, column);
  }
  const Columns& columns = work.writer.resolver().columns(from);
  const bool has = std::any_of(columns.list.begin(), columns.list.end(),
                               [&](const Column& own) { return text::equal_fold(own.name, column); });
  return has ? from : kNothing;
}

struct Assignment {
  int column = kNothing;  // a name
  int value = kNothing;
};

// Through the rows' own numbers, so that every join there is can choose them.
void update_joined(Work& work, const std::vector<Assignment>& assignments, const Select& scope,
                   std::string_view verb, const std::string& from) {
  Parser& parser = work.parser;
  int target = kNothing;
  for (const Assignment& one : assignments) {
    const Node& column = parser.node(one.column);
    const int own = column.a != kNothing ? changed_table(work, scope.from, bare(parser.node(column.a).text))
                                         : table_with(work, scope.from, bare(column.text));
    if (own == kNothing) throw NotUnderstood();
    if (target != kNothing && own != target) refuse_unsupported("UPDATE of two tables at once");
    target = own;
  }
  const Source table = source_of(work, target);
  if (table.is != Source::Is::table) throw NotUnderstood();
  std::string sets;
  std::string values;
  for (std::size_t i = 0; i < assignments.size(); ++i) {
    const std::string name = "v" + std::to_string(i);
    values += ", " + work.writer.value(assignments[i].value) + " AS " + name;
    if (i > 0) sets += ", ";
    sets += named(parser.node(assignments[i].column).text) + " = " + std::string(kChanged) + "." + name;
  }
  const std::string where = scope.where == kNothing ? "" : " WHERE " + work.writer.condition(scope.where);
  const std::string own_name = named(table.alias.empty() ? table.last : table.alias);
  work.step(std::string(verb) + named(table.name) + " SET " + sets + " FROM (SELECT " + own_name +
            ".rowid AS r" + values + " FROM " + from + where + ") AS " + std::string(kChanged) + " WHERE " +
            named(table.last) + ".rowid = " + std::string(kChanged) + ".r")
      .counts = true;
}

}  // namespace

void rewrite_insert(Work& work) {
  Parser& parser = work.parser;
  const std::size_t begin = parser.position();
  const bool replaces = parser.skip_word("replace");
  if (!replaces) {
    parser.expect_word("insert");
    if (parser.skip_word("or")) parser.take();
  }
  std::string text(parser.text_since(begin));
  parser.skip_word("into");
  text += " INTO " + named(parser.table_name().first);
  if (parser.at_word("in") || (parser.token().is("(") && parser.token(1).is_word("in"))) {
    refuse_unsupported("IN with another database");
  }
  if (parser.skip_word("as")) text += " AS " + named(parser.take().text);
  if (parser.token().is("(") && !parser.at_query()) {
    parser.take();
    text += " (";
    do {
      if (text.back() != '(') text += ", ";
      text += named(parser.table_name().second);
    } while (parser.skip(","));
    parser.expect(")");
    text += ")";
  }
  if (parser.skip_word("default")) {
    parser.expect_word("values");
    text += " DEFAULT VALUES";
  } else {
    if (!parser.at_query()) throw NotUnderstood();
    text += " " + work.writer.query(parser.query(), Writer::Unnamed::stay);
  }
  work.result.kind = Kind::insert;
  work.step(text + rest_of(parser)).counts = true;
}

void rewrite_update(Work& work) {
  Parser& parser = work.parser;
  const std::size_t begin = parser.position();
  parser.take();
  if (parser.at_word("or") && parser.token(1).is_name() && parser.token(2).is_name()) {
    parser.take();
    parser.take();
  }
  const std::string verb = std::string(parser.text_since(begin)) + " ";
  parser.skip_word("distinctrow");
  work.tree.selects.emplace_back();
  Select& scope = work.tree.selects.back();
  scope.from = parser.from_list();
  parser.expect_word("set");
  std::vector<Assignment> assignments;
  do {
    if (parser.token().is("(")) throw NotUnderstood();
    Assignment one;
    one.column = parser.name();
    parser.expect("=");
    one.value = parser.expression();
    assignments.push_back(one);
  } while (parser.skip(","));
  work.result.kind = Kind::update;
  const int first = scope.from;
  const bool joins = source_of(work, first).is == Source::Is::join;
  if (!joins && parser.skip_word("from")) {
    // The engine's own form: the table of the first list is not among those of the second.
    const int other = parser.from_list();
    Source both;
    both.is = Source::Is::join;
    both.join = ",";
    both.left = first;
    both.right = other;
    work.tree.sources.push_back(both);
    scope.from = static_cast<int>(work.tree.sources.size()) - 1;
  }
  if (parser.skip_word("where")) scope.where = parser.expression();
  skip_options(parser);
  work.writer.enter(scope);
  // Written in the order of the text, because that is the order of parameters.
  const std::string from = work.writer.sources(first);
  if (joins) {
    if (!parser.at_end()) throw NotUnderstood();
    update_joined(work, assignments, scope, verb, from);
    return work.writer.leave();
  }
  std::string text = verb + from + " SET ";
  for (const Assignment& one : assignments) {
    if (&one != &assignments.front()) text += ", ";
    text += named(parser.node(one.column).text) + " = ";
    text += work.writer.value(one.value);
  }
  if (scope.from != first) text += " FROM " + work.writer.sources(source_of(work, scope.from).right);
  if (scope.where != kNothing) text += " WHERE " + work.writer.condition(scope.where);
  work.writer.leave();
  work.step(text + rest_of(parser)).counts = true;
}

void rewrite_delete(Work& work) {
  Parser& parser = work.parser;
  parser.take();
  parser.skip_word("distinctrow");
  std::string_view wanted;
  while (!parser.at_word("from")) {
    // Columns are allowed to be named, and only their table counts.
    if (parser.skip("*")) continue;
    if (parser.skip(",")) continue;
    const int name = parser.name();
    const int qualifier = parser.node(name).a;
    const std::string_view table = bare(parser.node(qualifier == kNothing ? name : qualifier).text);
    if (!wanted.empty() && !text::equal_fold(wanted, table))
      refuse_unsupported("DELETE from two tables at once");
    wanted = table;
  }
  parser.expect_word("from");
  work.tree.selects.emplace_back();
  Select& scope = work.tree.selects.back();
  scope.from = parser.from_list();
  if (parser.skip_word("where")) scope.where = parser.expression();
  skip_options(parser);
  work.result.kind = Kind::remove;
  work.writer.enter(scope);
  const std::string from = work.writer.sources(scope.from);
  const std::string where = scope.where == kNothing ? "" : " WHERE " + work.writer.condition(scope.where);
  const bool joins = source_of(work, scope.from).is == Source::Is::join;
  if (joins && wanted.empty())
    throw SyntaxError("Specify the table containing the records you want to delete.");
  if (joins) {
    const int target = changed_table(work, scope.from, wanted);
    if (target == kNothing) throw SyntaxError("Could not delete from specified tables.");
    const Source table = source_of(work, target);
    const std::string own = named(table.alias.empty() ? table.last : table.alias);
    work.step("DELETE FROM " + named(table.name) + " WHERE rowid IN (SELECT " + own + ".rowid FROM " + from +
              where + ")" + rest_of(parser))
        .counts = true;
  } else {
    work.step("DELETE FROM " + from + where + rest_of(parser)).counts = true;
  }
  work.writer.leave();
}

void rewrite_into(Work& work, int query) {
  const std::string_view target = select_of(work, query).into;
  const Columns columns = work.writer.resolver().outputs(select_of(work, query));
  std::string body = work.writer.query(query);
  work.result.kind = Kind::insert;
  if (!columns.known || columns.list.empty()) {
    // A source that cannot be seen: the engine names the columns.
    work.step("CREATE TABLE " + named(target) + " AS " + body).counts = true;
    return;
  }
  std::string definition;
  std::vector<NewColumn> created;
  for (const Column& column : columns.list) {
    NewColumn fresh{column.name, column.type, false};
    if (fresh.declaration.empty() || fresh.declaration == "NULL") fresh.declaration = "VARCHAR(255)";
    if (is_counter(fresh.declaration)) fresh.declaration = "INTEGER";
    const Family kind = family(fresh.declaration);
    if (!definition.empty()) definition += ", ";
    definition += quoted_name(fresh.name) + " " + fresh.declaration;
    if (is_text(kind) && !work.collation.empty()) definition += " COLLATE " + std::string(work.collation);
    created.push_back(std::move(fresh));
  }
  Step& create = work.step("CREATE TABLE " + named(target) + " (" + definition + ")");
  create.create = std::move(created);
  create.table = bare(target);
  work.step("INSERT INTO " + named(target) + " " + std::move(body)).counts = true;
}

// One column for each value of PIVOT, over rows grouped as the query says.
void rewrite_crosstab(Work& work) {
  Parser& parser = work.parser;
  parser.take();
  const int cell = parser.expression();
  const int query = parser.query();
  Select& select = select_of(work, query);
  parser.expect_word("pivot");
  int pivot = parser.expression();
  // The list of headings reads as a test whether the value is among them.
  int listed = kNothing;
  if (const Node test = parser.node(pivot); test.is == Is::in && !test.negated && test.b != kNothing) {
    pivot = test.a;
    listed = test.b;
  }
  std::vector<std::pair<std::string, std::string>> heads;  // the value in SQL, the column's name
  work.writer.enter(select);
  for (int at = listed; at != kNothing; at = parser.node(at).next) {
    const Node& value = parser.node(at);
    heads.emplace_back(work.writer.value(at),
                       value.is == Is::text ? text_value(value.text) : std::string(value.text));
  }
  if (!parser.at_end()) throw NotUnderstood();
  const std::string key = work.writer.value(pivot);
  const Family kind = family(work.writer.resolver().type_of(pivot));
  work.writer.leave();
  if (select.next != kNothing || select.from == kNothing) refuse_unsupported("TRANSFORM of such a query");
  if (listed == kNothing) {
    // The values are those of the rows the query reads.
    Select values = select;
    values.items.clear();
    values.group.clear();
    values.order.clear();
    values.having = kNothing;
    values.distinct = true;
    const std::string_view text = kind == Family::date      ? "jet_text_date"
                                  : kind == Family::boolean ? "jet_text_bool"
                                                            : "jet_text";
    work.writer.enter(values);
    const std::string from = work.writer.sources(values.from);
    const std::string where = values.where == kNothing ? "" : " WHERE " + work.writer.condition(values.where);
    work.writer.leave();
    const std::string all = from + where;
    if (all.find('?') != std::string::npos || key.find('?') != std::string::npos) {
      refuse_unsupported("TRANSFORM with parameters and without a list of headings");
    }
    heads =
        work.schema.pairs("SELECT quote(k), ifnull(" + std::string(text) +
                          "(k), '<>') FROM (SELECT DISTINCT " + key + " AS k FROM " + all + ") ORDER BY k");
  }
  work.tree.selects.push_back(select);
  Select& shown = work.tree.selects.back();
  const std::vector<SortTerm> order = std::exchange(shown.order, {});
  const std::string body = work.writer.query(static_cast<int>(work.tree.selects.size()) - 1);
  // The cells stand behind the last item, which is where FROM begins: both parts are written here.
  work.writer.enter(select);
  std::string cells;
  for (const auto& [value, name] : heads) {
    const std::string is = is_text(kind) && value != "NULL" ? " COLLATE JET" : "";
    work.writer.filter(std::string("(").append(key).append(") IS ").append(value).append(is));
    const Node& own = parser.node(cell);
    const bool counts = own.is == Is::call && text::equal_fold(own.text, "count");
    // No row is no count, not zero.
    cells += counts ? ", nullif(" + work.writer.value(cell) + ", 0)" : ", " + work.writer.value(cell);
    cells += " AS " + quoted_name(name);
  }
  work.writer.filter({});
  const std::string from = " FROM " + work.writer.sources(select.from);
  Select ordered;
  ordered.order = order;
  const std::string by = work.writer.order(ordered);
  work.writer.leave();
  const auto at = body.find(from);
  if (at == std::string::npos) refuse_unsupported("TRANSFORM of such a query");
  work.result.kind = Kind::select;
  work.step(body.substr(0, at) + cells + body.substr(at) + by);
}

}  // namespace quarno::desktop::jet
