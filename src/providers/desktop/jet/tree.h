// A statement taken apart. Nodes live in the tree's own vectors and name each other by number; texts are
// views into the statement, which outlives the tree.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "providers/desktop/jet/tokens.h"

namespace quarno::desktop::jet {

inline constexpr int kNothing = -1;

enum class Is : std::uint8_t {
  name,  // a: qualifier, itself a name
  text,
  number,
  date,
  null,
  truth,  // True or False
  parameter,
  star,         // a: qualifier
  call,         // a: first argument; text: the name; tail: FILTER and OVER
  unary,        // a
  binary,       // a, b
  between,      // a, b, c
  in,           // a; b: first of the list, or `query`, or text: a table
  quantified,   // a; text: the comparison; negated: ALL
  exists,       // query
  subquery,     // query
  choice,       // CASE; a: base, b: first of when, then, when, then; c: else
  cast,         // a; text: type
  parenthesis,  // a: first of a list
  collate,      // a; text: the collation
};

enum class Op : std::uint8_t {
  none,
  imp,
  eqv,
  xor_,
  or_,
  and_,
  not_,
  compare,
  like,
  cat,
  add,
  subtract,
  mod,
  int_divide,
  multiply,
  divide,
  power,
  negate,
  other,
};

struct Node {
  Is is;
  Op op = Op::none;
  bool negated = false;
  bool distinct = false;
  bool bang = false;  // T!A
  std::int16_t depth = 1;
  std::string_view text = {};
  std::string_view tail = {};
  int a = kNothing;
  int b = kNothing;
  int c = kNothing;
  int next = kNothing;   // in a list
  int query = kNothing;  // a Select
};

struct Item {
  int expression = kNothing;
  std::string_view alias = {};
};

struct SortTerm {
  int expression = kNothing;
  std::string_view tail;  // DESC, NULLS LAST
};

/// A table of FROM, or two joined.
struct Source {
  enum class Is : std::uint8_t { table, function, query, join };
  Is is = Is::table;
  std::string_view name;  // with a database before it
  std::string_view last;  // the name alone
  std::string_view alias;
  std::string_view join;  // "INNER JOIN", ","
  std::string_view tail;  // INDEXED BY, USING
  int arguments = kNothing;
  int query = kNothing;
  int left = kNothing;
  int right = kNothing;
  int on = kNothing;
};

struct CommonTable {
  std::string_view head;  // name and columns
  std::string_view name;
  std::string_view as;  // "AS", "AS MATERIALIZED"
  int query = kNothing;
};

struct Select {
  std::vector<CommonTable> with;
  bool recursive = false;
  bool distinct = false;
  bool percent = false;
  bool values = false;  // rows: one parenthesis each
  int top = kNothing;
  std::vector<Item> items;
  std::vector<int> rows;
  std::string_view into;
  int from = kNothing;
  int where = kNothing;
  std::vector<int> group;
  int having = kNothing;
  std::string_view windows;
  std::vector<SortTerm> order;  // of a whole union on its first member
  int limit = kNothing;
  int offset = kNothing;
  std::string_view joined_by;  // "UNION ALL": how the next member follows
  int next = kNothing;
};

struct Tree {
  std::vector<Node> nodes;
  std::vector<Source> sources;
  std::deque<Select> selects;            // scopes hold on to them
  std::deque<std::vector<Token>> inner;  // of queries within brackets
};

}  // namespace quarno::desktop::jet
