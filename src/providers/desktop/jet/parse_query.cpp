#include <algorithm>
#include <tuple>

#include "providers/desktop/jet/parser.h"
#include "providers/desktop/jet/syntax_error.h"

namespace quarno::desktop::jet {

bool Parser::skip_word(std::string_view word) {
  const bool there = at_word(word);
  if (there) ++at_;
  return there;
}

bool Parser::skip(std::string_view symbol) {
  const bool there = token().is(symbol);
  if (there) ++at_;
  return there;
}

void Parser::expect_word(std::string_view word) {
  if (!skip_word(word)) throw NotUnderstood();
}

void Parser::expect(std::string_view symbol) {
  if (!skip(symbol)) throw NotUnderstood();
}

Token Parser::take() {
  if (at_end()) throw NotUnderstood();
  return tokens_[at_++];
}

std::string_view Parser::text_since(std::size_t position) const {
  if (at_ <= position) return {};
  const char* const begin = tokens_[position].text.data();
  const std::string_view last = tokens_[at_ - 1].text;
  return {begin, static_cast<std::size_t>(last.data() + last.size() - begin)};
}

std::string_view Parser::text_to_end() {
  const std::size_t begin = at_;
  at_ = tokens_.size() - 1;
  return text_since(begin);
}

std::string_view Parser::parenthesis_text() {
  const std::size_t begin = at_;
  int open = 0;
  do {
    if (token().is("(")) ++open;
    if (token().is(")")) --open;
    take();
  } while (open > 0);
  return text_since(begin);
}

bool Parser::at_query() const {
  std::size_t ahead = 0;
  while (token(ahead).is("(")) ++ahead;
  if (token(ahead).is_word("transform")) refuse_unsupported("TRANSFORM inside another statement");
  if (token(ahead).is_word("with"))
    return token(ahead + 1).is_name() && !token(ahead + 1).is_word("owneraccess");
  return token(ahead).is_word("select") || (token(ahead).is_word("values") && token(ahead + 1).is("("));
}

int Parser::query() {
  const std::size_t nesting = static_cast<std::size_t>(depth_);
  if (++depth_ > 100) throw SyntaxError("The query is too complex.");
  Select with;
  if (at_word("with")) read_with(with);
  const int first = member();
  int last = first;
  const auto select = [&](int index) -> Select& { return tree_.selects[static_cast<std::size_t>(index)]; };
  if (!with.with.empty()) {
    select(first).with = std::move(with.with);
    select(first).recursive = with.recursive;
  }
  while (select(last).next != kNothing) last = select(last).next;
  while (token().is_one_of({"union", "except", "intersect"})) {
    const std::size_t begin = at_;
    take();
    skip_word("all");
    select(last).joined_by = text_since(begin);
    const int next = member();
    select(last).next = next;
    last = next;
    while (select(last).next != kNothing) last = select(last).next;
  }
  read_order(select(first));
  while (at_word("with")) {
    if (!token(1).is_word("owneraccess")) throw NotUnderstood();
    take();
    take();
    expect_word("option");
  }
  depth_ = static_cast<int>(nesting);
  return first;
}

void Parser::read_with(Select& select) {
  take();
  select.recursive = skip_word("recursive");
  do {
    CommonTable table;
    const std::size_t head = at_;
    if (!token().is_name()) throw NotUnderstood();
    table.name = take().text;
    if (token().is("(")) parenthesis_text();
    table.head = text_since(head);
    const std::size_t as = at_;
    expect_word("as");
    skip_word("not");
    skip_word("materialized");
    table.as = text_since(as);
    expect("(");
    table.query = query();
    expect(")");
    select.with.push_back(table);
  } while (skip(","));
}

// A member in parentheses with an order or a limit of its own becomes a query from itself.
int Parser::member() {
  if (!token().is("(")) return select_member();
  expect("(");
  const int inner = query();
  expect(")");
  const Select& own = tree_.selects[static_cast<std::size_t>(inner)];
  const bool plain = own.next == kNothing && own.order.empty() && own.limit == kNothing &&
                     own.top == kNothing && own.with.empty();
  if (plain) return inner;
  Source source;
  source.is = Source::Is::query;
  source.query = inner;
  tree_.sources.push_back(source);
  Select outer;
  outer.items.push_back({add({Is::star})});
  outer.from = static_cast<int>(tree_.sources.size()) - 1;
  tree_.selects.push_back(std::move(outer));
  return static_cast<int>(tree_.selects.size()) - 1;
}

int Parser::select_member() {
  // The vector may grow while the parts are read, the deque's elements stay.
  tree_.selects.emplace_back();
  const int index = static_cast<int>(tree_.selects.size()) - 1;
  Select& select = tree_.selects.back();
  if (skip_word("values")) {
    select.values = true;
    do {
      if (!token().is("(")) throw NotUnderstood();
      select.rows.push_back(parenthesis());
    } while (skip(","));
    return index;
  }
  expect_word("select");
  for (bool more = true; more;) {
    more = false;
    if (skip_word("distinct")) more = select.distinct = true;
    if (at_word("all") && !token(1).is(".") && !token(1).is(",")) take(), more = true;
    if (at_word("distinctrow") && !token(1).is(",") && !token(1).is_word("from")) take(), more = true;
    if (at_word("top") && select.top == kNothing) {
      read_top(select);
      more = select.top != kNothing;
    }
  }
  read_items(select);
  if (skip_word("into")) {
    select.into = table_name().first;
    if (at_word("in")) refuse_unsupported("IN with another database");
  }
  if (skip_word("from")) select.from = from_list();
  if (skip_word("where")) select.where = expression();
  if (at_word("group") && token(1).is_word("by")) {
    take();
    take();
    do select.group.push_back(expression());
    while (skip(","));
  }
  if (skip_word("having")) select.having = expression();
  if (at_word("window")) {
    const std::size_t begin = at_;
    do {
      take();
      take();
      expect_word("as");
      parenthesis_text();
    } while (token().is(","));
    select.windows = text_since(begin);
  }
  return index;
}

// A column may be called Top: it is the count only when a number follows.
void Parser::read_top(Select& select) {
  const std::size_t begin = at_;
  take();
  const bool in_parenthesis = token().is("(") && token(1).kind == Token::Kind::number && token(2).is(")");
  if (in_parenthesis) take();
  const Token::Kind kind = token().kind;
  const bool counted = kind == Token::Kind::number ||
                       (kind == Token::Kind::parameter && !token(1).is(",") && !token(1).is_word("from"));
  if (!counted) return back_to(begin);
  select.top = primary();
  if (in_parenthesis) expect(")");
  select.percent = skip_word("percent");
}

void Parser::read_items(Select& select) {
  do {
    Item item;
    if (token().is("*")) {
      item.expression = leaf(Is::star);
    } else {
      item.expression = expression();
      item.alias = alias(false);
    }
    select.items.push_back(item);
  } while (skip(","));
}

void Parser::read_order(Select& select) {
  if (at_word("order") && token(1).is_word("by")) {
    take();
    take();
    do {
      SortTerm term;
      term.expression = expression();
      const std::size_t begin = at_;
      if (!skip_word("asc")) skip_word("desc");
      if (skip_word("nulls")) take();
      term.tail = text_since(begin);
      select.order.push_back(term);
    } while (skip(","));
  }
  if (!skip_word("limit")) return;
  select.limit = expression();
  if (skip_word("offset")) {
    select.offset = expression();
  } else if (skip(",")) {
    select.offset = select.limit;
    select.limit = expression();
  }
}

int Parser::from_list() {
  int left = join_chain();
  while (skip(",")) {
    Source both;
    both.is = Source::Is::join;
    both.join = ",";
    both.left = left;
    both.right = join_chain();
    tree_.sources.push_back(both);
    left = static_cast<int>(tree_.sources.size()) - 1;
  }
  return left;
}

std::string_view Parser::join_words() {
  const std::size_t begin = at_;
  while (token().is_one_of({"natural", "inner", "left", "right", "full", "outer", "cross"})) take();
  if (skip_word("join")) return text_since(begin);
  if (at_ != begin) throw NotUnderstood();
  return {};
}

int Parser::join_chain() {
  int left = source();
  for (;;) {
    Source both;
    both.is = Source::Is::join;
    both.join = join_words();
    if (both.join.empty()) return left;
    both.left = left;
    both.right = source();
    if (skip_word("on")) {
      both.on = expression();
    } else if (at_word("using")) {
      const std::size_t begin = at_;
      take();
      parenthesis_text();
      both.tail = text_since(begin);
    }
    tree_.sources.push_back(both);
    left = static_cast<int>(tree_.sources.size()) - 1;
  }
}

int Parser::source() {
  if (++depth_ > 100) throw SyntaxError("The query is too complex.");
  Source own;
  if (token().is("(")) {
    if (at_query()) {
      take();
      own.is = Source::Is::query;
      own.query = query();
      expect(")");
    } else {
      take();
      const int inner = from_list();
      expect(")");
      --depth_;
      return inner;
    }
  } else if (token().kind == Token::Kind::bracketed && token(1).is(".") &&
             text::equal_fold(token().text.substr(1, 7), "select ")) {
    // [SELECT ..]. is how older files write a query in FROM.
    tree_.inner.push_back(tokens_of(bare(take().text)));
    expect(".");
    Parser parser(tree_.inner.back(), tree_);
    parser.depth_ = depth_;
    own.is = Source::Is::query;
    own.query = parser.query();
    if (!parser.at_end()) throw NotUnderstood();
  } else {
    std::tie(own.name, own.last) = table_name();
    if (token().is("(")) {
      take();
      own.is = Source::Is::function;
      if (!token().is(")")) own.arguments = list();
      expect(")");
    }
    if (at_word("in") && token(1).kind != Token::Kind::symbol) refuse_unsupported("IN with another database");
  }
  own.alias = alias(false);
  if (at_word("indexed") || (at_word("not") && token(1).is_word("indexed"))) {
    const std::size_t begin = at_;
    skip_word("not");
    take();
    if (skip_word("by")) take();
    own.tail = text_since(begin);
  }
  tree_.sources.push_back(own);
  --depth_;
  return static_cast<int>(tree_.sources.size()) - 1;
}

std::pair<std::string_view, std::string_view> Parser::table_name() {
  const std::size_t begin = at_;
  if (!token().is_name()) throw NotUnderstood();
  std::string_view last = take().text;
  while (token().is(".") && token(1).is_name()) {
    take();
    last = take().text;
  }
  return {text_since(begin), last};
}

}  // namespace quarno::desktop::jet
