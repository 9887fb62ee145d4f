// Takes queries and expressions apart.
#pragma once

#include <algorithm>
#include <span>
#include <utility>

#include "providers/desktop/jet/tokens.h"
#include "providers/desktop/jet/tree.h"

namespace quarno::desktop::jet {

/// The statement goes on in a way that is not known here: the engine is to judge it as it stands.
struct NotUnderstood {};

class Parser {
 public:
  /// The tokens end with an end token, and outlive the parser as the tree does.
  Parser(std::span<const Token> tokens, Tree& tree) : tokens_(tokens), tree_(tree) {}

  const Token& token(std::size_t ahead = 0) const {
    return tokens_[std::min(at_ + ahead, tokens_.size() - 1)];
  }
  bool at_end() const { return token().kind == Token::Kind::end; }
  bool at_word(std::string_view word) const { return token().is_word(word); }
  bool skip_word(std::string_view word);
  bool skip(std::string_view symbol);
  void expect_word(std::string_view word);
  void expect(std::string_view symbol);
  Token take();
  void back_to(std::size_t position) { at_ = position; }
  std::size_t position() const { return at_; }
  /// The statement's own text from a token on up to where the parser is.
  std::string_view text_since(std::size_t position) const;
  std::string_view text_to_end();
  /// From "(" to the ")" that closes it, with both.
  std::string_view parenthesis_text();

  int expression(int lowest = 1);
  /// A literal with its sign, a name, a call or what stands in parentheses.
  int operand();
  /// Expressions with commas between, chained by `next`; the first.
  int list();
  bool at_query() const;
  /// A whole query with WITH, UNION, ORDER BY.
  int query();
  int from_list();
  /// A path "a.b" or "a!b".
  int name();
  /// "x.y" as it stands and its last part.
  std::pair<std::string_view, std::string_view> table_name();
  std::string_view alias(bool needs_as);
  Node& node(int index) { return tree_.nodes[static_cast<std::size_t>(index)]; }
  int add(Node node);

 private:
  struct Infix;
  class Deeper;

  Infix infix() const;
  int comparison_tail(int left, const Infix& infix);
  int in_tail(int left, bool negated);
  int prefix();
  int primary();
  int parenthesis();
  int choice();
  int cast();
  int call();
  int member();
  int select_member();
  void read_with(Select& select);
  void read_items(Select& select);
  void read_top(Select& select);
  void read_order(Select& select);
  int join_chain();
  int source();
  std::string_view join_words();
  int leaf(Is is);
  int chain(int first, int& last, int next);

  std::span<const Token> tokens_;
  Tree& tree_;
  std::size_t at_ = 0;
  int depth_ = 0;
};

}  // namespace quarno::desktop::jet
