#include <algorithm>

#include "providers/desktop/jet/parser.h"
#include "providers/desktop/jet/syntax_error.h"

namespace quarno::desktop::jet {

namespace {

// From what binds loosest to what binds closest. The language puts & below +, and Mod and \ between + and *;
// what only the engine knows stands where the engine has it.
enum Level {
  kImp = 1,
  kEqv,
  kXor,
  kOr,
  kAnd,
  kNot,
  kCompare,
  kCat,
  kAdd,
  kMod,
  kIntDivide,
  kMultiply,
  kSign,
  kPower,
  kJoin,
  kCollate
};

constexpr int kMostNested = 100;  // parentheses and operators on the stack
constexpr int kMostDepth = 1000;  // the engine's own limit

struct Symbol {
  std::string_view text;
  Op op;
  int level;
};
constexpr Symbol kSymbols[] = {
    {"=", Op::compare, kCompare},
    {"<", Op::compare, kCompare},
    {">", Op::compare, kCompare},
    {"<>", Op::compare, kCompare},
    {"<=", Op::compare, kCompare},
    {">=", Op::compare, kCompare},
    {"==", Op::compare, kCompare},
    {"!=", Op::compare, kCompare},
    {"=<", Op::compare, kCompare},
    {"=>", Op::compare, kCompare},
    {"&", Op::cat, kCat},
    {"|", Op::other, kCat},
    {"<<", Op::other, kCat},
    {">>", Op::other, kCat},
    {"+", Op::add, kAdd},
    {"-", Op::subtract, kAdd},
    {"\\", Op::int_divide, kIntDivide},
    {"*", Op::multiply, kMultiply},
    {"/", Op::divide, kMultiply},
    {"%", Op::other, kMultiply},
    {"^", Op::power, kPower},
    {"||", Op::other, kJoin},
    {"->", Op::other, kJoin},
    {"->>", Op::other, kJoin},
};
constexpr Symbol kWords[] = {
    {"and", Op::and_, kAnd},          {"or", Op::or_, kOr},
    {"xor", Op::xor_, kXor},          {"eqv", Op::eqv, kEqv},
    {"imp", Op::imp, kImp},           {"mod", Op::mod, kMod},
    {"like", Op::like, kCompare},     {"alike", Op::like, kCompare},
    {"glob", Op::like, kCompare},     {"regexp", Op::like, kCompare},
    {"match", Op::like, kCompare},    {"is", Op::other, kCompare},
    {"in", Op::other, kCompare},      {"between", Op::other, kCompare},
    {"isnull", Op::other, kCompare},  {"notnull", Op::other, kCompare},
    {"collate", Op::other, kCollate},
};

// Words that end an expression or a name's place, and so are never names themselves.
constexpr std::string_view kStructure[] = {
    "select", "from",  "where",   "group",  "having", "order",   "union", "except", "intersect",
    "on",     "inner", "left",    "right",  "full",   "cross",   "join",  "as",     "and",
    "or",     "not",   "in",      "is",     "like",   "between", "set",   "into",   "then",
    "else",   "when",  "end",     "using",  "xor",    "mod",     "alike", "with",   "pivot",
    "case",   "outer", "natural", "escape", "collate"};

bool is_structure(const Token& token) {
  return token.kind == Token::Kind::word &&
         std::any_of(std::begin(kStructure), std::end(kStructure),
                     [&](std::string_view word) { return token.is_word(word); });
}

}  // namespace

struct Parser::Infix {
  const Symbol* symbol = nullptr;
  bool negated = false;
  int level() const { return symbol == nullptr ? 0 : symbol->level; }
};

class Parser::Deeper {
 public:
  explicit Deeper(Parser& parser) : depth_(parser.depth_) {
    if (++depth_ > kMostNested) throw SyntaxError("The expression is too complex.");
  }
  ~Deeper() { --depth_; }
  Deeper(const Deeper&) = delete;
  Deeper& operator=(const Deeper&) = delete;

 private:
  int& depth_;
};

int Parser::add(Node node) {
  int depth = 0;
  for (const int child : {node.a, node.b, node.c}) {
    if (child != kNothing) depth = std::max<int>(depth, tree_.nodes[static_cast<std::size_t>(child)].depth);
  }
  if (depth >= kMostDepth) throw SyntaxError("The expression is too complex.");
  node.depth = static_cast<std::int16_t>(depth + 1);
  tree_.nodes.push_back(node);
  return static_cast<int>(tree_.nodes.size()) - 1;
}

int Parser::leaf(Is is) {
  Node fresh{is};
  fresh.text = take().text;
  return add(fresh);
}

int Parser::chain(int first, int& last, int next) {
  if (last != kNothing) node(last).next = next;
  last = next;
  return first == kNothing ? next : first;
}

int Parser::list() {
  int first = kNothing;
  int last = kNothing;
  do {
    first = chain(first, last, expression());
  } while (skip(","));
  return first;
}

Parser::Infix Parser::infix() const {
  const Token& here = token();
  if (here.kind == Token::Kind::symbol) {
    for (const Symbol& symbol : kSymbols) {
      if (symbol.text == here.text) return {&symbol};
    }
    return {};
  }
  if (here.kind != Token::Kind::word || here.text.size() > 7) return {};
  const bool negated = here.is_word("not");
  const Token& word = negated ? token(1) : here;
  for (const Symbol& symbol : kWords) {
    if (!word.is_word(symbol.text)) continue;
    if (negated && (symbol.level != kCompare || symbol.text == "is")) return {};
    return {&symbol, negated};
  }
  static constexpr Symbol kNotNull{"not null", Op::other, kCompare};
  if (negated && word.is_word("null")) return {&kNotNull, true};
  return {};
}

int Parser::operand() { return expression(kCollate + 1); }

int Parser::expression(int lowest) {
  const Deeper deeper(*this);
  int left = prefix();
  for (;;) {
    const Infix found = infix();
    if (found.symbol == nullptr || found.level() < lowest) return left;
    const Symbol& symbol = *found.symbol;
    if (found.negated) take();
    const Token sign = take();
    if (symbol.level == kCompare && symbol.op != Op::compare) {
      Node fresh{Is::binary, symbol.op, found.negated};
      fresh.text = sign.text;
      fresh.a = left;
      left = comparison_tail(add(fresh), found);
      continue;
    }
    Node fresh{Is::binary, symbol.op};
    fresh.text = sign.text;
    fresh.a = left;
    if (symbol.level == kCollate) {
      fresh.is = Is::collate;
      fresh.text = take().text;
    } else if (symbol.op == Op::compare && token().is_one_of({"any", "some", "all"}) && token(1).is("(")) {
      fresh.is = Is::quantified;
      fresh.negated = take().is_word("all");
      expect("(");
      fresh.query = query();
      expect(")");
    } else {
      // A sign may follow any operator: 2 ^ -1.
      const bool is_sign = token().is("-") || token().is("+");
      fresh.b = is_sign ? prefix() : expression(symbol.level + 1);
    }
    left = add(fresh);
  }
}

// `made` has the left side and the operator's word, which is taken.
int Parser::comparison_tail(int made, const Infix& found) {
  const std::string_view word = found.symbol->text;
  const auto put = [&](Node fresh) {
    fresh.depth = static_cast<std::int16_t>(node(made).depth + 1);
    node(made) = fresh;
    return made;
  };
  Node fresh = node(made);
  if (word == "in") return in_tail(made, found.negated);
  if (word == "isnull" || word == "notnull" || word == "not null") {
    fresh.op = Op::other;
    fresh.negated = word != "isnull";
    fresh.text = "IS";
    fresh.b = add({Is::null});
    return put(fresh);
  }
  if (word == "is") {
    fresh.negated = skip_word("not");
    if (skip_word("distinct")) {
      expect_word("from");
      fresh.negated = !fresh.negated;
    }
    fresh.b = expression(kCompare + 1);
    return put(fresh);
  }
  if (word == "between") {
    fresh.is = Is::between;
    fresh.b = expression(kCompare + 1);
    expect_word("and");
    fresh.c = expression(kCompare + 1);
    return put(fresh);
  }
  fresh.b = expression(kCompare + 1);
  if (skip_word("escape")) fresh.c = expression(kCompare + 1);
  return put(fresh);
}

int Parser::in_tail(int made, bool negated) {
  Node fresh = node(made);
  fresh.is = Is::in;
  fresh.negated = negated;
  if (skip("(")) {
    if (at_query()) {
      fresh.query = query();
    } else if (!token().is(")")) {
      fresh.b = list();
    }
    expect(")");
  } else {
    fresh.text = table_name().first;
    fresh.tail = fresh.text;
  }
  node(made) = fresh;
  return made;
}

int Parser::prefix() {
  const Token& here = token();
  if (here.kind == Token::Kind::word) {
    if (here.is_word("not")) {
      take();
      Node fresh{Is::unary, Op::not_};
      fresh.a = expression(kNot);
      return add(fresh);
    }
    if (here.is_word("exists") && token(1).is("(")) {
      take();
      expect("(");
      Node fresh{Is::exists};
      fresh.query = query();
      expect(")");
      return add(fresh);
    }
  } else if (here.is("-") || here.is("+") || here.is("~")) {
    Node fresh{Is::unary, Op::negate};
    fresh.text = take().text;
    fresh.a = expression(kPower);
    return add(fresh);
  }
  return primary();
}

int Parser::primary() {
  const Token& here = token();
  switch (here.kind) {
    case Token::Kind::text: return leaf(Is::text);
    case Token::Kind::number: return leaf(Is::number);
    case Token::Kind::date: return leaf(Is::date);
    case Token::Kind::parameter: return leaf(Is::parameter);
    case Token::Kind::double_quoted: return token(1).is(".") ? name() : leaf(Is::text);
    case Token::Kind::bracketed: return token(1).is("(") ? call() : name();
    case Token::Kind::symbol:
      if (here.is("(")) return parenthesis();
      if (here.is("&") && token(1).kind == Token::Kind::word && (token(1).text[0] | 0x20) == 'h') {
        take();
        return leaf(Is::number);
      }
      throw NotUnderstood();
    case Token::Kind::end: throw NotUnderstood();
    case Token::Kind::word: break;
  }
  if (token(1).is(".") || token(1).is("!")) return name();
  if (here.is_word("null")) return leaf(Is::null);
  if (here.is_word("true") || here.is_word("false")) return leaf(Is::truth);
  if (here.is_word("case")) return choice();
  if (here.is_word("cast") && token(1).is("(")) return cast();
  if (token(1).is("(") && !here.is_one_of({"select", "in", "and", "or", "where", "from", "on", "values"}))
    return call();
  // ON is a value where one is wanted.
  if (!here.is_word("on") && is_structure(here)) throw NotUnderstood();
  return name();
}

int Parser::parenthesis() {
  expect("(");
  Node fresh{Is::parenthesis};
  if (at_query()) {
    fresh.is = Is::subquery;
    fresh.query = query();
  } else {
    fresh.a = list();
  }
  expect(")");
  return add(fresh);
}

int Parser::choice() {
  take();
  Node fresh{Is::choice};
  if (!at_word("when")) fresh.a = expression();
  int last = kNothing;
  while (skip_word("when")) {
    fresh.b = chain(fresh.b, last, expression());
    expect_word("then");
    fresh.b = chain(fresh.b, last, expression());
  }
  if (fresh.b == kNothing) throw NotUnderstood();
  if (skip_word("else")) fresh.c = expression();
  expect_word("end");
  return add(fresh);
}

int Parser::cast() {
  take();
  expect("(");
  Node fresh{Is::cast};
  fresh.a = expression();
  expect_word("as");
  const std::size_t begin = at_;
  while (!at_end() && !token().is(")")) {
    if (token().is("(")) {
      parenthesis_text();
    } else {
      take();
    }
  }
  fresh.text = text_since(begin);
  expect(")");
  return add(fresh);
}

int Parser::call() {
  Node fresh{Is::call};
  fresh.text = take().text;
  expect("(");
  if (token().is("*")) {
    fresh.a = leaf(Is::star);
  } else if (!token().is(")")) {
    fresh.distinct = skip_word("distinct");
    skip_word("all");
    fresh.a = list();
  }
  expect(")");
  const std::size_t begin = at_;
  if (at_word("filter") && token(1).is("(")) {
    take();
    parenthesis_text();
  }
  if (at_word("over") && (token(1).is("(") || token(1).is_name())) {
    take();
    if (token().is("(")) {
      parenthesis_text();
    } else {
      take();
    }
  }
  fresh.tail = text_since(begin);
  return add(fresh);
}

int Parser::name() {
  if (!token().is_name()) throw NotUnderstood();
  int made = leaf(Is::name);
  while (token().is(".") || token().is("!")) {
    Node fresh{Is::name};
    fresh.bang = take().is("!");
    fresh.a = made;
    if (token().is("*")) {
      fresh.is = Is::star;
    } else if (!token().is_name()) {
      throw NotUnderstood();
    }
    fresh.text = take().text;
    made = add(fresh);
    if (fresh.is == Is::star) break;
  }
  return made;
}

std::string_view Parser::alias(bool needs_as) {
  if (skip_word("as")) {
    if (!token().is_name() && token().kind != Token::Kind::text) throw NotUnderstood();
    return take().text;
  }
  if (needs_as || !token().is_name() || is_structure(token())) return {};
  if (token().is_one_of({"limit", "returning", "window", "indexed", "values", "offset", "default"}))
    return {};
  return take().text;
}

}  // namespace quarno::desktop::jet
