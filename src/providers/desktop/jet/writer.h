// Writes queries and expressions as the engine reads them.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "providers/desktop/jet/resolver.h"
#include "providers/desktop/jet/schema.h"
#include "providers/desktop/jet/tree.h"

namespace quarno::desktop::jet {

/// What a host has to give before a statement can run, in the order it is to be given. The engine's
/// statements number them, so that one may stand in several places.
class ParameterList {
 public:
  /// Named by PARAMETERS: such a name means the parameter even where a column has it.
  void declare(std::string_view name, std::string_view type);
  bool is_declared(std::string_view name) const;
  /// Values written in the statement itself, for the first ones.
  void give(std::vector<std::string> values) { given_ = std::move(values); }
  /// How the parameter stands in the statement. One without a name is always a new one.
  std::string place(std::string_view name);
  /// Those no value was given for.
  std::vector<Column> left() const;

 private:
  std::vector<Column> list_;
  std::size_t declared_ = 0;
  std::vector<std::string> given_;
};

/// Makes a comparison or an order of texts disregard letter case.
inline constexpr std::string_view kFold = " COLLATE JET";

class Writer {
 public:
  Writer(const Tree& tree, const Schema& schema, ParameterList& parameters, int nesting = 0)
      : tree_(tree), schema_(schema), parameters_(parameters), resolver_(tree, schema, nesting) {}

  enum class Unnamed : std::uint8_t { get_a_name, stay };

  std::string query(int first, Unnamed unnamed = Unnamed::get_a_name);
  std::string value(int expression);
  std::string condition(int expression);
  std::string sources(int source);
  std::string order(const Select& select);
  /// Names are looked up in it until it is left.
  void enter(const Select& select) { resolver_.enter(select); }
  void leave() { resolver_.leave(); }
  Resolver& resolver() { return resolver_; }
  /// Only rows that fulfil it count for the aggregates written from now on.
  void filter(std::string condition) { filter_ = std::move(condition); }

 private:
  const Node& node(int index) const { return tree_.nodes[static_cast<std::size_t>(index)]; }
  const Select& select(int index) const { return tree_.selects[static_cast<std::size_t>(index)]; }
  bool is_truth_value(int expression) const;
  int inside(int expression) const;
  bool folds_case(int left, int right);
  void put_member(const Select& select, bool alone, Unnamed unnamed);
  void put_items(const Select& select, Unnamed unnamed);
  void put_source(int source);
  void put_table(const Source& source);
  void put_value(int expression);
  void put_condition(int expression);
  void put_plain(int expression, bool is_condition);
  void put_path(const Node& name);
  void put_name(const Node& name);
  void put_binary(const Node& binary);
  void put_call(const Node& call);
  void put_in(const Node& in);
  void put_between(const Node& between);
  void put_quantified(const Node& node);
  void put_choice(const Node& choice);
  void put_text(int expression);
  void put_list(int first);
  void put_literal(const Node& literal);
  void put_terms(const std::vector<SortTerm>& terms);
  void put_term(int expression);
  bool is_computed_text(int expression) const;
  bool put_typed_call(const Node& call, std::string_view name);
  /// What `work` writes, by itself.
  template <class Work>
  std::string apart(Work&& work) {
    std::string kept = std::move(out_);
    out_.clear();
    work();
    std::swap(kept, out_);
    return kept;
  }

  const Tree& tree_;
  const Schema& schema_;
  ParameterList& parameters_;
  Resolver resolver_;
  std::string out_;
  std::string filter_;
  std::vector<int> items_;  // those being written, the innermost last
};

}  // namespace quarno::desktop::jet
