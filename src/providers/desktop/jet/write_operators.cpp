// Operators and calls of expressions.
#include <algorithm>

#include "common/text.h"
#include "providers/desktop/jet/parser.h"
#include "providers/desktop/jet/tokens.h"
#include "providers/desktop/jet/types.h"
#include "providers/desktop/jet/writer.h"

namespace quarno::desktop::jet {
namespace {

bool is_one_of(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

}  // namespace

// Whether a comparison has to be told not to heed letter case: a column says so by itself.
bool Writer::folds_case(int left, int right) {
  const auto is_any = [&](int expression, std::initializer_list<Is> kinds) {
    return std::find(kinds.begin(), kinds.end(), node(inside(expression)).is) != kinds.end();
  };
  for (const int side : {left, right}) {
    if (is_any(side, {Is::number, Is::date, Is::null, Is::truth, Is::collate})) return false;
  }
  for (const int side : {left, right}) {
    if (is_any(side, {Is::name})) return resolver_.is_computed(node(inside(side)));
  }
  const auto may_be_text = [&](int side) {
    return is_any(side, {Is::text, Is::call, Is::subquery, Is::choice, Is::parameter}) ||
           node(inside(side)).op == Op::cat;
  };
  return may_be_text(left) && may_be_text(right);
}

void Writer::put_binary(const Node& own) {
  const auto call = [&](std::string_view function) {
    out_.append(function).append("(");
    put_value(own.a);
    out_ += ", ";
    put_value(own.b);
    out_ += ")";
  };
  const auto infix = [&](std::string_view sign) {
    put_value(own.a);
    out_.append(" ").append(sign).append(" ");
    put_value(own.b);
  };
  switch (own.op) {
    case Op::and_:
    case Op::or_:
      put_condition(own.a);
      out_ += own.op == Op::and_ ? " AND " : " OR ";
      return put_condition(own.b);
    case Op::xor_:
    case Op::eqv:
      out_ += "((NOT (" + condition(own.a) + ")) " + (own.op == Op::xor_ ? "<>" : "=") + " (NOT (" +
              condition(own.b) + ")))";
      return;
    case Op::imp: out_ += "((NOT (" + condition(own.a) + ")) OR (" + condition(own.b) + "))"; return;
    case Op::compare:
      infix(own.text == "=<" ? "<=" : own.text == "=>" ? ">=" : own.text);
      if (folds_case(own.a, own.b)) out_ += kFold;
      return;
    case Op::like:
      put_text(own.a);
      out_ += own.negated ? " NOT " : " ";
      if (text::equal_fold(own.text, "alike")) {
        out_ += "LIKE ";
      } else {
        out_.append(own.text).append(" ");
      }
      put_value(own.b);
      if (own.c != kNothing) out_ += " ESCAPE " + value(own.c);
      return;
    case Op::cat:
      out_ += "jet_cat(";
      put_text(own.a);
      out_ += ", ";
      put_text(own.b);
      out_ += ")";
      return;
    case Op::add: {
      const auto is_plain_number = [&](int side) {
        const Family kind = family(resolver_.type_of(side));
        return kind == Family::whole || kind == Family::real || kind == Family::date;
      };
      return is_plain_number(own.a) && is_plain_number(own.b) ? infix("+") : call("jet_add");
    }
    case Op::divide: return call("jet_div");
    case Op::int_divide: return call("jet_int_div");
    case Op::mod: return call("jet_mod");
    case Op::power: return call("jet_power");
    case Op::other:
      if (text::equal_fold(own.text, "is")) return infix(own.negated ? "IS NOT" : "IS");
      return infix(own.text);
    default: return infix(own.text);
  }
}

void Writer::put_in(const Node& own) {
  put_value(own.a);
  const bool has_texts = own.query != kNothing || (own.b != kNothing && node(own.b).is == Is::text);
  const Is left = node(inside(own.a)).is;
  const bool folds = left == Is::name ? resolver_.is_computed(node(inside(own.a))) : left != Is::parenthesis;
  if (has_texts && folds) out_ += kFold;
  out_ += own.negated ? " NOT IN " : " IN ";
  if (own.query == kNothing && !own.text.empty() && own.tail == own.text) return append_name(out_, own.text);
  out_ += "(";
  if (own.query != kNothing) {
    out_ += query(own.query, Unnamed::stay);
  } else {
    put_list(own.b);
  }
  out_ += ")";
}

void Writer::put_between(const Node& own) {
  put_value(own.a);
  out_ += own.negated ? " NOT BETWEEN " : " BETWEEN ";
  put_value(own.b);
  if (folds_case(own.a, own.b)) out_ += kFold;
  out_ += " AND ";
  put_value(own.c);
  if (folds_case(own.a, own.c)) out_ += kFold;
}

void Writer::put_quantified(const Node& own) {
  const std::string compared = value(own.a) + " " + std::string(own.text) + " jet_value";
  out_ += own.negated ? "NOT EXISTS" : "EXISTS";
  out_ += " (WITH jet_values(jet_value) AS (" + query(own.query, Unnamed::stay) +
          ") SELECT 1 FROM jet_values WHERE ";
  // A comparison with null decides nothing, so ALL does not hold.
  out_ += own.negated ? "(" + compared + ") IS NOT 1)" : compared + ")";
}

void Writer::put_choice(const Node& own) {
  out_ += "CASE";
  if (own.a != kNothing) out_ += " " + value(own.a);
  for (int at = own.b; at != kNothing; at = node(node(at).next).next) {
    out_ += " WHEN ";
    if (own.a == kNothing) {
      put_condition(at);
    } else {
      put_value(at);
      if (folds_case(own.a, at)) out_ += kFold;
    }
    out_ += " THEN " + value(node(at).next);
  }
  if (own.c != kNothing) out_ += " ELSE " + value(own.c);
  out_ += " END";
}

// A date is a number to the engine; where a text is made of it, its type must not be lost.
void Writer::put_text(int expression) {
  std::string_view function;
  if (node(expression).is != Is::text && node(expression).is != Is::parameter) {
    const std::string type = resolver_.type_of(expression);
    switch (family(type)) {
      case Family::date: function = "jet_text_date"; break;
      case Family::boolean: function = "jet_text_bool"; break;
      case Family::currency: function = "jet_text_currency"; break;
      case Family::real:
        if (text::equal_fold(type, "single")) function = "jet_text_single";
        break;
      default: break;
    }
  }
  if (function.empty()) return put_value(expression);
  out_.append(function).append("(");
  put_value(expression);
  out_ += ")";
}

// Calls that depend on the type of what they are given.
bool Writer::put_typed_call(const Node& own, std::string_view name) {
  if (own.a == kNothing || node(own.a).is == Is::star || node(own.a).next != kNothing) return false;
  const auto type_of_argument = [&] { return family(resolver_.type_of(own.a)); };
  if (name == "min" || name == "max") {
    const Family kind = type_of_argument();
    if (kind != Family::decimal && kind != Family::currency) return false;
    out_ += name == "min" ? "jet_min_exact(" : "jet_max_exact(";
    put_value(own.a);
    out_ += ")";
    return true;
  }
  if (name == "cstr" || name == "format") {
    const std::string text = apart([&] { put_text(own.a); });
    if (!text.starts_with("jet_text_")) return false;
    out_ += name == "cstr" ? "jet_cstr_" + text.substr(9) : "ifnull(" + text + ", '')";
    return true;
  }
  if ((name == "isdate" || name == "isnumeric") && type_of_argument() == Family::date) {
    out_ += name == "isdate" ? "(-(" + value(own.a) + " IS NOT NULL))" : "0";
    return true;
  }
  return false;
}

void Writer::put_call(const Node& own) {
  std::string name = text::lower_ascii(bare(own.text));
  if (name.ends_with('$')) name.pop_back();
  const bool aggregate = is_aggregate(name) && (own.a == kNothing || node(own.a).next == kNothing);
  if (name == "isnull" && own.a != kNothing && node(own.a).next == kNothing) {
    out_ += "(" + value(own.a) + " IS NULL)";
    return;
  }
  if (!own.distinct && own.tail.empty() && put_typed_call(own, name)) {
    if (aggregate && !filter_.empty()) out_ += " FILTER (WHERE " + filter_ + ")";
    return;
  }
  const bool texts = reads_text(name);
  if (name == "left" || name == "right") {
    out_ += "jet_" + name;
  } else if (name == "nz" && own.a != kNothing && node(own.a).next != kNothing) {
    out_ += "ifnull";
  } else {
    append_name(out_, own.text.ends_with('$') ? own.text.substr(0, own.text.size() - 1) : own.text);
  }
  out_ += "(";
  if (own.distinct) out_ += "DISTINCT ";
  // One of several values: a date among texts becomes a text itself.
  const bool chooses = is_one_of(name, {"iif", "nz", "switch", "choose", "ifnull", "coalesce"}) &&
                       is_text(family(resolver_.type_of_call(own)));
  for (int at = own.a; at != kNothing; at = node(at).next) {
    if (at != own.a) out_ += ", ";
    if (at == own.a && name == "iif") {
      put_condition(at);
    } else if (texts || (chooses && family(resolver_.type_of(at)) == Family::date)) {
      put_text(at);
    } else {
      put_value(at);
    }
  }
  out_ += ")";
  if (!own.tail.empty()) {
    out_.append(" ").append(own.tail);
  } else if (aggregate && !filter_.empty()) {
    out_ += " FILTER (WHERE " + filter_ + ")";
  }
}

}  // namespace quarno::desktop::jet
