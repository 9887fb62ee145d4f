// Which column a name means, and of what type an expression is.
#pragma once

#include <unordered_map>

#include "providers/desktop/jet/schema.h"
#include "providers/desktop/jet/tree.h"

namespace quarno::desktop::jet {

/// The columns of a result or a table; `known` says whether they are all there.
struct Columns {
  bool known = false;
  std::vector<Column> list;
};

class Resolver {
 public:
  enum class Found : std::uint8_t {
    column,
    item,      // another item of the same select, by its alias
    nothing,   // every source is known, and none has it
    undecided  // some source could have it
  };
  struct Result {
    Found found = Found::undecided;
    std::string type;
    int expression = kNothing;  // of an item
  };

  /// `nesting` counts saved queries within saved queries.
  Resolver(const Tree& tree, const Schema& schema, int nesting)
      : tree_(tree), schema_(schema), nesting_(nesting) {}

  /// Names are looked up in the select entered last, then in those around it.
  void enter(const Select& select) { scopes_.push_back(&select); }
  void leave() { scopes_.pop_back(); }

  Result find(const Node& name);
  /// As find, for a name that another item of the select around has as its alias.
  Result find_item(const Node& name);
  /// Whether a column is an expression of a query in FROM, and so has no order of texts of its own.
  bool is_computed(const Node& name);
  /// Whether the select around has a source by that name.
  bool is_source(std::string_view name) const;
  const Columns& columns(int source);
  Columns outputs(const Select& select);
  std::string type_of(int expression);
  std::string type_of_call(const Node& call);
  /// Whether a name is that of a WITH.
  const CommonTable* common_table(std::string_view name) const;
  int nesting() const { return nesting_; }

 private:
  const Node& node(int index) const { return tree_.nodes[static_cast<std::size_t>(index)]; }
  const Select& select(int index) const { return tree_.selects[static_cast<std::size_t>(index)]; }
  Columns read_columns(const Source& source);
  Columns of_table(std::string_view name);
  void find_in(int source, std::string_view qualifier, std::string_view column, Result& result);
  void add_all(int source, std::string_view qualifier, Columns& found);

  const Tree& tree_;
  const Schema& schema_;
  int nesting_;
  std::vector<const Select*> scopes_;
  std::unordered_map<int, Columns> known_;
  int depth_ = 0;
};

/// Names and types of what a query gives.
Columns result_columns(std::string_view query, const Schema& schema, int nesting = 0);
Columns result_columns(const std::vector<Token>& tokens, const Schema& schema, int nesting = 0);

/// The name of an item that has none of its own.
std::string unnamed_item(std::size_t position);

}  // namespace quarno::desktop::jet
