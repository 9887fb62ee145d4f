#include "providers/desktop/jet/resolver.h"

#include <algorithm>

#include "common/text.h"
#include "providers/desktop/jet/parser.h"
#include "providers/desktop/jet/tokens.h"
#include "providers/desktop/jet/types.h"

namespace quarno::desktop::jet {
namespace {

constexpr int kMostNesting = 12;

std::string_view name_of(const Source& source) {
  return bare(source.alias.empty() ? source.last : source.alias);
}

}  // namespace

std::string unnamed_item(std::size_t position) { return "Expr" + std::to_string(1000 + position); }

const CommonTable* Resolver::common_table(std::string_view name) const {
  for (auto scope = scopes_.rbegin(); scope != scopes_.rend(); ++scope) {
    for (const CommonTable& table : (*scope)->with) {
      if (text::equal_fold(bare(table.name), name)) return &table;
    }
  }
  return nullptr;
}

Columns Resolver::of_table(std::string_view name) {
  if (const CommonTable* const table = common_table(name)) {
    // One that has columns of its own, or asks itself, is left open.
    if (table->head.size() != table->name.size() || depth_ > kMostNesting) return {};
    return outputs(select(table->query));
  }
  const std::vector<Column>* const own = schema_.columns(name);
  const bool complete = own != nullptr && std::none_of(own->begin(), own->end(), [](const Column& column) {
                          return column.type.empty();
                        });
  if (complete) return {true, *own};
  if (nesting_ < kMostNesting) {
    if (const auto text = schema_.query(name)) {
      Columns inner = result_columns(*text, schema_, nesting_ + 1);
      if (own == nullptr) return inner;
      // A view's expressions have no type of their own.
      Columns both{true, *own};
      for (std::size_t i = 0; i < both.list.size() && inner.known && i < inner.list.size(); ++i) {
        if (both.list[i].type.empty()) both.list[i].type = inner.list[i].type;
      }
      return both;
    }
  }
  if (own == nullptr) return {};
  return {true, *own};
}

Columns Resolver::read_columns(const Source& source) {
  switch (source.is) {
    case Source::Is::table: return of_table(bare(source.last));
    case Source::Is::query: return outputs(select(source.query));
    case Source::Is::function: return {};
    case Source::Is::join: break;
  }
  return {};
}

const Columns& Resolver::columns(int source) {
  const auto known = known_.find(source);
  if (known != known_.end()) return known->second;
  if (depth_ > kMostNesting) {
    static const Columns kUnknown;
    return kUnknown;
  }
  ++depth_;
  Columns read = read_columns(tree_.sources[static_cast<std::size_t>(source)]);
  --depth_;
  return known_[source] = std::move(read);
}

void Resolver::find_in(int source, std::string_view qualifier, std::string_view column, Result& result) {
  if (source == kNothing || result.found == Found::column) return;
  const Source& own = tree_.sources[static_cast<std::size_t>(source)];
  if (own.is == Source::Is::join) {
    find_in(own.left, qualifier, column, result);
    find_in(own.right, qualifier, column, result);
    return;
  }
  if (!qualifier.empty() && !text::equal_fold(name_of(own), qualifier)) return;
  const Columns& there = columns(source);
  for (const Column& candidate : there.list) {
    if (!text::equal_fold(candidate.name, column)) continue;
    result.found = Found::column;
    result.type = candidate.type;
    return;
  }
  if (!there.known) result.found = Found::undecided;
}

Resolver::Result Resolver::find(const Node& name) {
  const std::string_view column = bare(name.text);
  const std::string_view qualifier = name.a == kNothing ? std::string_view() : bare(node(name.a).text);
  Result result{Found::nothing, {}, kNothing};
  // Columns of a query in FROM are found by entering it, so the list may grow meanwhile.
  for (std::size_t depth = scopes_.size(); depth > 0 && result.found != Found::column; --depth) {
    const Select* const scope = scopes_[depth - 1];
    Result here{Found::nothing, {}, kNothing};
    find_in(scope->from, qualifier, column, here);
    if (here.found == Found::nothing && qualifier.empty()) {
      for (const Item& item : scope->items) {
        if (item.alias.empty() || !text::equal_fold(bare(item.alias), column)) continue;
        return {result.found == Found::undecided ? Found::undecided : Found::item, {}, item.expression};
      }
    }
    if (here.found != Found::nothing) result = here;
  }
  for (const std::string_view hidden : {"rowid", "_rowid_", "oid"}) {
    if (result.found == Found::nothing && text::equal_fold(column, hidden))
      return {Found::column, "INTEGER", kNothing};
  }
  return result;
}

Resolver::Result Resolver::find_item(const Node& name) {
  const std::string_view wanted = bare(name.text);
  const bool has =
      !scopes_.empty() &&
      std::any_of(scopes_.back()->items.begin(), scopes_.back()->items.end(), [&](const Item& item) {
        return !item.alias.empty() && text::equal_fold(bare(item.alias), wanted);
      });
  return has ? find(name) : Result{};
}

bool Resolver::is_computed(const Node& name) {
  // Asked for every comparison with a text, so the usual case is told first.
  const bool has_queries = std::any_of(tree_.sources.begin(), tree_.sources.end(),
                                       [](const Source& source) { return source.is == Source::Is::query; });
  if (!has_queries) return false;
  const std::string_view column = bare(name.text);
  for (const Source& source : tree_.sources) {
    if (source.is != Source::Is::query) continue;
    if (name.a != kNothing && !text::equal_fold(name_of(source), bare(node(name.a).text))) continue;
    for (const Item& item : select(source.query).items) {
      const bool plain = node(item.expression).is == Is::name || node(item.expression).is == Is::star;
      if (!plain && text::equal_fold(bare(item.alias), column)) return true;
    }
  }
  return false;
}

bool Resolver::is_source(std::string_view name) const {
  const auto matches = [&](const auto& self, int source) -> bool {
    if (source == kNothing) return false;
    const Source& own = tree_.sources[static_cast<std::size_t>(source)];
    if (own.is == Source::Is::join) return self(self, own.left) || self(self, own.right);
    return text::equal_fold(name_of(own), name);
  };
  return std::any_of(scopes_.begin(), scopes_.end(),
                     [&](const Select* scope) { return matches(matches, scope->from); });
}

void Resolver::add_all(int source, std::string_view qualifier, Columns& found) {
  if (source == kNothing) return;
  const Source& own = tree_.sources[static_cast<std::size_t>(source)];
  if (own.is == Source::Is::join) {
    add_all(own.left, qualifier, found);
    add_all(own.right, qualifier, found);
    return;
  }
  if (!qualifier.empty() && !text::equal_fold(name_of(own), qualifier)) return;
  const Columns& there = columns(source);
  found.known = found.known && there.known;
  found.list.insert(found.list.end(), there.list.begin(), there.list.end());
}

Columns Resolver::outputs(const Select& select) {
  Columns found{true, {}};
  if (depth_ > kMostNesting) return {};
  ++depth_;
  enter(select);
  if (select.values) {
    for (int value = select.rows.empty() ? kNothing : node(select.rows.front()).a; value != kNothing;
         value = node(value).next) {
      found.list.push_back({"column" + std::to_string(found.list.size() + 1), type_of(value)});
    }
  }
  for (std::size_t i = 0; i < select.items.size(); ++i) {
    const Item& item = select.items[i];
    const Node& expression = node(item.expression);
    if (expression.is == Is::star) {
      add_all(select.from, expression.a == kNothing ? std::string_view() : bare(node(expression.a).text),
              found);
      continue;
    }
    std::string name(bare(item.alias));
    if (name.empty()) name = expression.is == Is::name ? std::string(bare(expression.text)) : unnamed_item(i);
    found.list.push_back({std::move(name), type_of(item.expression)});
  }
  leave();
  --depth_;
  return found;
}

std::string Resolver::type_of(int expression) {
  if (expression == kNothing) return {};
  const Node& own = node(expression);
  switch (own.is) {
    case Is::name: {
      if (depth_ > kMostNesting) return {};
      Result result = find(own);
      if (result.found == Found::column) return result.type;
      if (result.found == Found::item) {
        ++depth_;
        std::string type = type_of(result.expression);
        --depth_;
        return type;
      }
      if (own.a == kNothing && own.text.front() != '[') {
        const std::string word = text::lower_ascii(own.text);
        if (word == "date" || word == "time" || word == "now") return "DATETIME";
        if (word == "yes" || word == "no" || word == "on" || word == "off") return "BOOLEAN";
      }
      return {};
    }
    case Is::text: return own.text.size() > 257 ? "LONGTEXT" : "VARCHAR(255)";
    case Is::number: {
      const bool whole = own.text.find_first_of(".eE") == std::string_view::npos;
      return own.text.find('\'') != std::string_view::npos ? "LONGBLOB"
             : whole && own.text.size() < 10               ? "INTEGER"
                                                           : "DOUBLE";
    }
    case Is::date: return "DATETIME";
    case Is::null: return "NULL";
    case Is::truth:
    case Is::exists:
    case Is::between:
    case Is::in:
    case Is::quantified: return "BOOLEAN";
    case Is::parameter: return text::equal_fold(own.text, "@@identity") ? "INTEGER" : "";
    case Is::star: return {};
    case Is::call: return type_of_call(own);
    case Is::unary: {
      if (own.op == Op::not_) return "BOOLEAN";
      std::string type = type_of(own.a);
      return family(type) == Family::boolean ? "INTEGER" : type;
    }
    case Is::binary: break;
    case Is::subquery: {
      const Columns columns = outputs(select(own.query));
      return columns.list.empty() ? std::string() : columns.list.front().type;
    }
    case Is::choice: {
      std::string type = type_of(own.c);
      for (int when = own.b; when != kNothing && node(when).next != kNothing;
           when = node(node(when).next).next) {
        type = either(type, type_of(node(when).next));
      }
      return type;
    }
    case Is::cast: return declaration(own.text.substr(0, own.text.find('(')), "");
    case Is::parenthesis:
    case Is::collate: return type_of(own.a);
  }
  switch (own.op) {
    case Op::add:
    case Op::subtract:
    case Op::multiply: return combined(own.text.front(), type_of(own.a), type_of(own.b));
    case Op::divide:
    case Op::power: return "DOUBLE";
    case Op::mod:
    case Op::int_divide: return "INTEGER";
    case Op::cat: {
      const bool memo = family(type_of(own.a)) == Family::memo || family(type_of(own.b)) == Family::memo;
      return memo ? "LONGTEXT" : "VARCHAR(255)";
    }
    case Op::other:
      if (own.text == "||") return "VARCHAR(255)";
      return text::equal_fold(own.text, "is") ? "BOOLEAN" : "";
    default: return "BOOLEAN";
  }
}

std::string Resolver::type_of_call(const Node& call) {
  const std::string name = text::lower_ascii(bare(call.text));
  const std::string_view fixed = function_type(name);
  const auto argument = [&](int count) {
    int at = call.a;
    for (; count > 0 && at != kNothing; --count) at = node(at).next;
    return at;
  };
  if (!fixed.empty()) {
    // What keeps the length of a memo gives one.
    if (family(fixed) == Family::text && family(type_of(call.a)) == Family::memo) return "LONGTEXT";
    return std::string(fixed);
  }
  if (name == "jet_add") return combined('+', type_of(call.a), type_of(argument(1)));
  if (name == "iif") return either(type_of(argument(1)), type_of(argument(2)));
  if (name == "sum") {
    const std::string type = type_of(call.a);
    const Family kind = family(type);
    return kind == Family::currency || kind == Family::decimal ? type
           : kind == Family::unknown                           ? ""
                                                               : "DOUBLE";
  }
  if (name == "nz" || name == "coalesce" || name == "ifnull" || name == "choose" || name == "switch") {
    std::string type;
    int at = name == "choose" || name == "switch" ? argument(1) : call.a;
    while (at != kNothing) {
      type = either(type, type_of(at));
      at = node(at).next;
      if (name == "switch" && at != kNothing) at = node(at).next;
    }
    return type;
  }
  for (const std::string_view same : {"min", "max", "first", "last", "abs", "int", "fix", "round", "nullif",
                                      "jet_min_exact", "jet_max_exact"}) {
    if (name == same) return type_of(call.a);
  }
  return {};
}

Columns result_columns(std::string_view query, const Schema& schema, int nesting) {
  return result_columns(tokens_of(query), schema, nesting);
}

Columns result_columns(const std::vector<Token>& tokens, const Schema& schema, int nesting) {
  Tree tree;
  Parser parser(tokens, tree);
  try {
    if (parser.at_word("parameters")) {
      while (!parser.skip(";")) parser.take();
    }
    // A view is known by the statement that made it.
    if (parser.at_word("create") && parser.token(1).is_word("view")) {
      while (!parser.skip_word("as")) parser.take();
    }
    if (!parser.at_query()) return {};
    const int first = parser.query();
    Resolver resolver(tree, schema, nesting);
    return resolver.outputs(tree.selects[static_cast<std::size_t>(first)]);
  } catch (const NotUnderstood&) {
    return {};
  }
}

}  // namespace quarno::desktop::jet
