#include "providers/desktop/jet/writer.h"

#include <algorithm>
#include <charconv>

#include "common/text.h"
#include "providers/desktop/jet/date_literal.h"
#include "providers/desktop/jet/parser.h"
#include "providers/desktop/jet/syntax_error.h"
#include "providers/desktop/jet/tokens.h"
#include "providers/desktop/jet/types.h"

namespace quarno::desktop::jet {
namespace {

constexpr std::size_t kMostText = 1'000'000;
constexpr int kMostNesting = 12;

bool is_one_of(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(),
                     [&](std::string_view known) { return text::equal_fold(word, known); });
}

}  // namespace

void ParameterList::declare(std::string_view name, std::string_view type) {
  list_.push_back({std::string(name), std::string(type)});
  declared_ = list_.size();
}

bool ParameterList::is_declared(std::string_view name) const {
  return std::any_of(list_.begin(), list_.begin() + static_cast<std::ptrdiff_t>(declared_),
                     [&](const Column& one) { return text::equal_fold(one.name, name); });
}

std::string ParameterList::place(std::string_view name) {
  std::size_t index = list_.size();
  for (std::size_t i = 0; i < list_.size() && !name.empty(); ++i) {
    if (text::equal_fold(list_[i].name, name)) index = i;
  }
  if (index == list_.size()) list_.push_back({std::string(name), {}});
  return index < given_.size() ? "(" + given_[index] + ")" : "?" + std::to_string(index + 1 - given_.size());
}

std::vector<Column> ParameterList::left() const {
  return {list_.begin() + static_cast<std::ptrdiff_t>(std::min(given_.size(), list_.size())), list_.end()};
}

std::string Writer::value(int expression) {
  return apart([&] { put_value(expression); });
}
std::string Writer::condition(int expression) {
  return apart([&] { put_condition(expression); });
}
std::string Writer::sources(int source) {
  return apart([&] { put_source(source); });
}
std::string Writer::order(const Select& select) {
  return apart([&] {
    if (!select.order.empty()) put_terms(select.order);
  });
}

std::string Writer::query(int first, Unnamed unnamed) {
  return apart([&] {
    const Select& head = select(first);
    resolver_.enter(head);
    if (!head.with.empty()) {
      out_ += head.recursive ? "WITH RECURSIVE " : "WITH ";
      for (const CommonTable& table : head.with) {
        if (&table != &head.with.front()) out_ += ", ";
        out_.append(table.head).append(" ").append(table.as).append(" (");
        out_ += query(table.query);
        out_ += ")";
      }
      out_ += " ";
    }
    resolver_.leave();
    const bool alone = head.next == kNothing;
    for (int at = first; at != kNothing; at = select(at).next) {
      put_member(select(at), alone, at == first ? unnamed : Unnamed::stay);
      if (select(at).next != kNothing) out_.append(" ").append(select(at).joined_by).append(" ");
    }
    resolver_.enter(head);
    if (!head.order.empty()) put_terms(head.order);
    if (alone && head.top != kNothing) {
      if (head.limit != kNothing) throw NotUnderstood();
      out_ += " LIMIT ";
      if (head.percent) {
        out_ += "(SELECT CAST(count(*) * " + value(head.top) + " / 100.0 + 0.999999999 AS INTEGER) FROM (";
        resolver_.leave();
        put_member(head, true, Unnamed::stay);
        resolver_.enter(head);
        out_ += "))";
      } else {
        put_value(head.top);
      }
    }
    if (head.limit != kNothing) out_ += " LIMIT " + value(head.limit);
    if (head.offset != kNothing) out_ += " OFFSET " + value(head.offset);
    resolver_.leave();
  });
}

void Writer::put_member(const Select& own, bool alone, Unnamed unnamed) {
  if (out_.size() > kMostText) throw SyntaxError("The query is too complex.");
  resolver_.enter(own);
  // Within a union, what belongs to one member must not be taken for the whole.
  const bool wrapped = !alone && own.top != kNothing;
  if (own.percent && wrapped) refuse_unsupported("TOP n PERCENT in a union");
  if (wrapped) out_ += "SELECT * FROM (";
  if (own.values) {
    out_ += "VALUES ";
    for (const int row : own.rows) {
      if (row != own.rows.front()) out_ += ", ";
      put_value(row);
    }
    resolver_.leave();
    return;
  }
  out_ += own.distinct ? "SELECT DISTINCT " : "SELECT ";
  put_items(own, unnamed);
  if (own.from != kNothing) {
    out_ += " FROM ";
    put_source(own.from);
  }
  if (own.where != kNothing) {
    out_ += " WHERE ";
    put_condition(own.where);
  }
  for (const int term : own.group) {
    out_ += term == own.group.front() ? " GROUP BY " : ", ";
    put_term(term);
  }
  if (own.having != kNothing) {
    out_ += " HAVING ";
    put_condition(own.having);
  }
  if (!own.windows.empty()) out_.append(" ").append(own.windows);
  if (wrapped) out_ += " LIMIT " + value(own.top) + ")";
  resolver_.leave();
}

void Writer::put_items(const Select& own, Unnamed unnamed) {
  for (std::size_t i = 0; i < own.items.size(); ++i) {
    const Item& item = own.items[i];
    if (i > 0) out_ += ", ";
    items_.push_back(item.expression);
    put_value(item.expression);
    items_.pop_back();
    if (own.distinct && is_computed_text(item.expression)) out_ += kFold;
    const Is is = node(item.expression).is;
    if (!item.alias.empty()) {
      out_ += " AS ";
      append_name(out_, item.alias);
    } else if (is != Is::name && is != Is::star && unnamed == Unnamed::get_a_name) {
      out_ += " AS " + unnamed_item(i);
    }
  }
}

void Writer::put_terms(const std::vector<SortTerm>& terms) {
  for (const SortTerm& term : terms) {
    out_ += &term == &terms.front() ? " ORDER BY " : ", ";
    put_term(term.expression);
    if (!term.tail.empty()) out_.append(" ").append(term.tail);
  }
}

// A column has its own order of texts; what is computed would get that of bytes.
void Writer::put_term(int expression) {
  put_value(expression);
  const Node& term = node(inside(expression));
  const int named =
      term.is == Is::name && term.a == kNothing ? resolver_.find_item(term).expression : kNothing;
  if (is_computed_text(named == kNothing ? expression : named)) out_ += kFold;
}

bool Writer::is_computed_text(int expression) const {
  const Node& own = node(inside(expression));
  if (own.op == Op::cat) return true;
  return own.is == Is::call && family(function_type(text::lower_ascii(own.text))) == Family::text;
}

void Writer::put_source(int source) {
  const Source& own = tree_.sources[static_cast<std::size_t>(source)];
  switch (own.is) {
    case Source::Is::join: {
      put_source(own.left);
      if (own.join != ",") out_ += " ";
      out_.append(own.join).append(" ");
      const Source& right = tree_.sources[static_cast<std::size_t>(own.right)];
      // What follows a comma can see all before it, unless the join says otherwise.
      const bool apart = right.is == Source::Is::join &&
                         (own.join != "," || is_one_of(right.join.substr(0, 5), {"right", "full ", "full"}));
      if (apart) out_ += "(";
      put_source(own.right);
      if (apart) out_ += ")";
      if (own.on != kNothing) {
        out_ += " ON ";
        put_condition(own.on);
      }
      if (!own.tail.empty()) out_.append(" ").append(own.tail);
      return;
    }
    case Source::Is::query: out_ += "(" + query(own.query) + ")"; break;
    case Source::Is::function:
      out_.append(own.name).append("(");
      put_list(own.arguments);
      out_ += ")";
      break;
    case Source::Is::table: put_table(own); return;
  }
  if (!own.alias.empty()) {
    out_ += " AS ";
    append_name(out_, own.alias);
  }
}

// A saved query the engine does not have stands in place of its name.
void Writer::put_table(const Source& source) {
  const std::string_view name = bare(source.last);
  std::string_view alias = source.alias;
  const bool may_be_saved = resolver_.common_table(name) == nullptr &&
                            source.name.size() == source.last.size() && schema_.columns(name) == nullptr;
  const auto saved = may_be_saved ? schema_.query(name) : std::nullopt;
  if (saved) {
    if (resolver_.nesting() >= kMostNesting)
      throw SyntaxError("Circular reference caused by '" + std::string(name) + "'.");
    const std::vector<Token> tokens = tokens_of(*saved);
    Tree tree;
    Parser parser(tokens, tree);
    if (parser.at_word("parameters")) {
      while (!parser.skip(";")) parser.take();
    }
    if (!parser.at_query())
      refuse_unsupported("'" + std::string(name) + "' as a table, because it gives no rows");
    const int first = parser.query();
    Writer writer(tree, schema_, parameters_, resolver_.nesting() + 1);
    out_ += "(" + writer.query(first) + ")";
    if (alias.empty()) alias = source.last;
  } else {
    append_name(out_, source.name);
  }
  if (!alias.empty()) {
    out_ += " AS ";
    append_name(out_, alias);
  }
  if (!source.tail.empty()) out_.append(" ").append(source.tail);
}

int Writer::inside(int expression) const {
  while (node(expression).is == Is::parenthesis && node(expression).a != kNothing &&
         node(node(expression).a).next == kNothing) {
    expression = node(expression).a;
  }
  return expression;
}

bool Writer::is_truth_value(int expression) const {
  const Node& own = node(inside(expression));
  switch (own.is) {
    case Is::between:
    case Is::in:
    case Is::quantified:
    case Is::exists: return true;
    case Is::unary: return own.op == Op::not_;
    case Is::binary: return own.op < Op::cat || (own.op == Op::other && text::equal_fold(own.text, "is"));
    case Is::call: return own.a != kNothing && text::equal_fold(own.text, "isnull");
    default: return false;
  }
}

// True is -1, where the engine's own comparisons give 1.
void Writer::put_value(int expression) {
  if (!is_truth_value(expression)) return put_plain(expression, false);
  out_ += "(-(";
  put_plain(inside(expression), true);
  out_ += "))";
}

void Writer::put_condition(int expression) { put_plain(expression, true); }

void Writer::put_list(int first) {
  for (int at = first; at != kNothing; at = node(at).next) {
    if (at != first) out_ += ", ";
    put_value(at);
  }
}

void Writer::put_plain(int expression, bool is_condition) {
  const Node& own = node(expression);
  switch (own.is) {
    case Is::name: return put_name(own);
    case Is::star:
      if (own.a != kNothing) {
        put_path(node(own.a));
        out_ += ".";
      }
      out_ += "*";
      return;
    case Is::call: return put_call(own);
    case Is::unary:
      if (own.op == Op::not_) {
        out_ += "NOT ";
        return put_condition(own.a);
      }
      out_ += own.text;
      // Two signs in a row would begin a comment.
      if (const std::string signed_value = value(own.a); signed_value.starts_with('-')) {
        out_ += " " + signed_value;
      } else {
        out_ += signed_value;
      }
      return;
    case Is::binary: return put_binary(own);
    case Is::between: return put_between(own);
    case Is::in: return put_in(own);
    case Is::quantified: return put_quantified(own);
    case Is::exists: out_ += "EXISTS (" + query(own.query, Unnamed::stay) + ")"; return;
    case Is::subquery: out_ += "(" + query(own.query, Unnamed::stay) + ")"; return;
    case Is::choice: return put_choice(own);
    case Is::cast: out_.append("CAST(" + value(own.a) + " AS ").append(own.text).append(")"); return;
    case Is::parenthesis:
      out_ += "(";
      if (is_condition && own.a != kNothing && node(own.a).next == kNothing) {
        put_condition(own.a);
      } else {
        put_list(own.a);
      }
      out_ += ")";
      return;
    case Is::collate:
      put_value(own.a);
      out_.append(" COLLATE ").append(own.text);
      return;
    default: return put_literal(own);
  }
}

void Writer::put_literal(const Node& literal) {
  const std::string_view text = literal.text;
  switch (literal.is) {
    case Is::text:
      if (text.front() == '"') {
        out_ += quoted_text(text_value(text));
      } else {
        out_ += text;
      }
      return;
    case Is::number:
      if ((text.front() | 0x20) != 'h') return void(out_ += text);
      if (text.size() == 1 || text.find_first_not_of("0123456789abcdefABCDEF", 1) != std::string_view::npos) {
        throw NotUnderstood();
      }
      out_.append("0x").append(text.substr(1));
      return;
    case Is::date: {
      const auto date = date_literal(text.substr(1, text.size() - 2));
      if (!date) throw SyntaxError("Syntax error in date in query expression '" + std::string(text) + "'.");
      char digits[40];
      const auto end =
          std::to_chars(digits, digits + sizeof digits, date->days, std::chars_format::fixed).ptr;
      const std::string_view number(digits, static_cast<std::size_t>(end - digits));
      out_ += number;
      if (number.find('.') == std::string_view::npos) out_ += ".0";
      return;
    }
    case Is::null: out_ += "NULL"; return;
    case Is::truth: out_ += text::equal_fold(text, "true") ? "-1" : "0"; return;
    case Is::parameter:
      if (text::equal_fold(text, "@@identity")) {
        out_ += "last_insert_rowid()";
      } else if (text.size() > 1 && text.front() == '?') {
        out_ += text;
      } else {
        out_ += parameters_.place(text.front() == '?' ? std::string_view() : text);
      }
      return;
    default: throw NotUnderstood();
  }
}

void Writer::put_path(const Node& name) {
  if (name.a != kNothing) {
    put_path(node(name.a));
    out_ += ".";
  }
  append_name(out_, name.text);
}

void Writer::put_name(const Node& name) {
  const std::string_view word = bare(name.text);
  const bool bracketed = name.text.front() == '[';
  if (name.a != kNothing) {
    if (name.bang && !resolver_.is_source(bare(node(name.a).text))) {
      // [Forms]![a]![b] asks the host, as far as the whole path reaches.
      const Node* first = &name;
      while (first->a != kNothing) first = &node(first->a);
      const char* const begin = first->text.data();
      out_ +=
          parameters_.place({begin, static_cast<std::size_t>(name.text.data() + name.text.size() - begin)});
      return;
    }
    put_path(node(name.a));
    out_ += ".";
    append_name(out_, name.text);
    return;
  }
  if (parameters_.is_declared(word)) return void(out_ += parameters_.place(word));
  const bool is_clock = !bracketed && is_one_of(word, {"date", "time", "now"});
  const bool is_truth = !bracketed && is_one_of(word, {"yes", "no", "on", "off"});
  if (bracketed || is_clock || is_truth) {
    const Resolver::Found found = resolver_.find(name).found;
    const bool no_column = found == Resolver::Found::nothing;
    if (is_truth && (no_column || found == Resolver::Found::undecided)) {
      out_ += is_one_of(word, {"yes", "on"}) ? "-1" : "0";
      return;
    }
    if (is_clock && no_column) return void(out_.append(word).append("()"));
    if (bracketed && no_column) return void(out_ += parameters_.place(word));
  }
  // One item may use another's name, which the engine does not know there.
  if (!items_.empty() && items_.size() < 20) {
    const Resolver::Result other = resolver_.find_item(name);
    if (other.found == Resolver::Found::item &&
        std::find(items_.begin(), items_.end(), other.expression) == items_.end()) {
      if (out_.size() > kMostText) throw SyntaxError("The query is too complex.");
      items_.push_back(other.expression);
      out_ += "(" + value(other.expression) + ")";
      items_.pop_back();
      return;
    }
  }
  append_name(out_, name.text);
}

}  // namespace quarno::desktop::jet
