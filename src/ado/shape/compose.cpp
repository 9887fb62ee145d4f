#include "ado/shape/compose.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <utility>

#include "ado/cursor/row_set.h"
#include "ado/shape/aggregate.h"
#include "ado/shape/composed_rows.h"
#include "ado/shape/grouping.h"
#include "ado/shape/joined_chapters.h"
#include "ado/shape/shape_error.h"
#include "ado/write_statement.h"
#include "common/text.h"

namespace quarno::ado::shape {
namespace {

ColumnData nulls(DataType type, std::size_t count) {
  ColumnData result(type);
  for (std::size_t i = 0; i < count; ++i) result.append_null();
  return result;
}

std::size_t column_of(const RowSet& rows, const std::string& name, std::string_view where) {
  const std::int32_t found = rows.find_column(name);
  if (found == NameIndex::kUnknown) {
    throw command_error("There is no column \"" + name + "\" among those of " + std::string(where) + ".");
  }
  return static_cast<std::size_t>(found);
}

// The same for a column that holds values.
std::size_t value_column_of(const RowSet& rows, const std::string& name, std::string_view where) {
  const std::size_t column = column_of(rows, name, where);
  if (rows.chapters(column) != nullptr)
    throw command_error("The column \"" + name + "\" holds rows, no values.");
  return column;
}

// A chapter of the shape in hand, as aggregates name it.
struct NamedChapter {
  std::string name;
  std::string alias;
  std::shared_ptr<JoinedChapters> chapters;  // null for one that is read row by row
};

bool is_named(const NamedChapter& chapter, const std::string& name) {
  return text::equal_fold(chapter.name, name) ||
         (!chapter.alias.empty() && text::equal_fold(chapter.alias, name));
}

// Where the values of an aggregate lie: chapters from the outermost to the innermost, and its column.
struct ValuePath {
  std::vector<const JoinedChapters*> chapters;
  std::optional<std::size_t> column;  // none for COUNT of rows

  void add_values(std::size_t parent_row, Aggregate& aggregate, std::size_t level = 0) const {
    const RowSet& child = *chapters[level]->child();
    for (const std::uint32_t row : chapters[level]->read_members(parent_row)) {
      if (level + 1 < chapters.size()) {
        add_values(row, aggregate, level + 1);
      } else if (column) {
        aggregate.add(child.store().column(*column).value(row));
      } else {
        aggregate.add_row();
      }
    }
  }
};

class Composer {
 public:
  Composer(Session& session, std::int32_t timeout_seconds, bool for_editing)
      : session_(session), timeout_seconds_(timeout_seconds), for_editing_(for_editing) {}

  std::unique_ptr<ComposedRows> composed(const Shape& shape) {
    return shape.computes ? computed(shape) : appended(shape);
  }

 private:
  // --- What is read ---------------------------------------------------------------------------------------

  std::shared_ptr<RowSet> rows_of(const Source& source) {
    std::shared_ptr<RowSet> result;
    switch (source.kind) {
      case Source::Kind::statement: result = queried(source.text); break;
      case Source::Kind::table:
        result = queried("SELECT * FROM " + quoted_name(session_.dialect(), source.text));
        break;
      case Source::Kind::shape:
        result = read_whole(composed(*source.shape));
        // The parent's rows go on in these.
        if (!source.shape->computes) name(source.shape->parent.alias, result);
        break;
      default: return reused(source.text);
    }
    name(source.alias, result);
    return result;
  }

  void name(const std::string& alias, const std::shared_ptr<RowSet>& rows) {
    if (!alias.empty()) named_[text::lower_ascii(alias)] = rows;
  }

  std::shared_ptr<RowSet> queried(const std::string& statement) {
    if (for_editing_) session_.prepare_editing(statement);
    Outcome outcome = session_.execute(statement, timeout_seconds_, Reading::at_once);
    if (outcome.rows == nullptr) throw command_error("This statement gives no rows: " + statement);
    return read_whole(std::move(outcome.rows), statement);
  }

  std::shared_ptr<RowSet> reused(const std::string& name) const {
    const auto found = named_.find(text::lower_ascii(name));
    if (found == named_.end()) throw command_error("No rows were named \"" + name + "\" before.");
    return found->second;
  }

  // --- APPEND ---------------------------------------------------------------------------------------------

  std::unique_ptr<ComposedRows> appended(const Shape& shape) {
    std::shared_ptr<RowSet> parent;
    if (shape.parent.kind == Source::Kind::reused) {
      throw command_error("Rows that were read before cannot be a parent: " + shape.parent.text);
    }
    if (shape.parent.kind != Source::Kind::none) {
      parent = rows_of(shape.parent);
      // Its columns change hands: it cannot be used again.
      named_.erase(text::lower_ascii(shape.parent.alias));
    }
    const RowSet* const names = parent.get();
    std::vector<std::shared_ptr<Chapters>> joins;
    std::vector<NamedChapter> chapters;
    // The children are read before the parent's columns change hands, which an index is made of.
    for (const Item& item : shape.items) {
      if (item.kind != Item::Kind::chapter) continue;
      if (names == nullptr) throw command_error("A shape without a parent's statement has no chapters.");
      NamedChapter chapter{item.name, item.child.alias, nullptr};
      if (chapter.name.empty()) chapter.name = chapter.alias;
      if (chapter.name.empty()) chapter.name = "Chapter" + std::to_string(chapters.size() + 1);
      if (item.relations.front().parameter >= 0) {
        joins.push_back(queried_chapters(*names, item));
      } else {
        chapter.chapters = joined_chapters(*names, item);
        joins.push_back(chapter.chapters);
      }
      chapters.push_back(std::move(chapter));
    }
    auto result =
        names != nullptr ? std::make_unique<ComposedRows>(*parent) : std::make_unique<ComposedRows>(0);
    std::size_t next = 0;
    for (const Item& item : shape.items) {
      if (item.kind == Item::Kind::chapter) {
        add_chapter(*result, chapters[next].name, joins[next]);
        ++next;
      } else {
        add_calculated(*result, item, chapters);
      }
    }
    return result;
  }

  std::shared_ptr<JoinedChapters> joined_chapters(const RowSet& parent, const Item& item) {
    // Said before anything runs.
    for (const Relation& each : item.relations) {
      if (each.parameter >= 0) throw command_error("RELATE: columns and parameters cannot be mixed.");
    }
    std::shared_ptr<RowSet> child = rows_of(item.child);
    Keys parents{parent.store(), parent.columns(), {}};
    Keys children{child->store(), child->columns(), {}};
    std::vector<RelatedColumns> relations;
    for (const Relation& each : item.relations) {
      relations.push_back({value_column_of(parent, each.parent, "the parent"),
                           value_column_of(*child, each.child, "the child")});
      parents.chosen.push_back(relations.back().parent);
      children.chosen.push_back(relations.back().child);
    }
    Join found = join(parents, children);
    return std::make_shared<JoinedChapters>(std::move(child), std::move(found), std::move(relations));
  }

  std::shared_ptr<Chapters> queried_chapters(const RowSet& parent, const Item& item) const {
    if (item.child.kind != Source::Kind::statement) {
      throw command_error("RELATE: only a child's statement takes parameters.");
    }
    std::vector<std::size_t> parameters(item.relations.size(), parent.columns().size());
    for (const Relation& each : item.relations) {
      const auto number = static_cast<std::size_t>(each.parameter);
      if (each.parameter < 0) throw command_error("RELATE: columns and parameters cannot be mixed.");
      if (number >= parameters.size() || parameters[number] != parent.columns().size()) {
        throw command_error("RELATE: parameters are counted from 0, each is named once.");
      }
      parameters[number] = value_column_of(parent, each.parent, "the parent");
    }
    const auto query = [&session = session_, statement = item.child.text, timeout = timeout_seconds_,
                        editing = for_editing_](const std::vector<Variant>& values) {
      if (editing) session.prepare_editing(statement);
      Outcome outcome = session.execute_with(statement, values, timeout);
      if (outcome.rows == nullptr) throw command_error("This statement gives no rows: " + statement);
      return read_whole(std::move(outcome.rows), statement);
    };
    return std::make_shared<QueriedChapters>(query, std::move(parameters));
  }

  static void add_chapter(ComposedRows& rows, const std::string& name, std::shared_ptr<Chapters> chapters) {
    Column column;
    column.name = name;
    column.type = DataType::chapter;
    column.defined_size = 4;
    column.attributes = adFldFixed | adFldIsChapter;
    rows.add(std::move(column), nulls(DataType::chapter, rows.row_count()), std::move(chapters));
  }

  // --- Aggregates and fresh columns -----------------------------------------------------------------------

  void add_calculated(ComposedRows& rows, const Item& item, const std::vector<NamedChapter>& chapters) const {
    if (item.kind == Item::Kind::fresh) {
      Column column;
      column.name = item.name.empty() ? "New" + std::to_string(rows.columns().size() + 1) : item.name;
      column.type = item.type;
      column.defined_size = item.size;
      column.attributes = adFldIsNullable | adFldMayBeNull;
      if (layout_of(item.type) == Layout::decimal) {
        column.precision = static_cast<std::uint8_t>(std::min<std::uint32_t>(item.size, 28));
        column.scale = item.scale;
      }
      rows.add(std::move(column), nulls(item.type, rows.row_count()));
      return;
    }
    const ValuePath path = value_path(item, chapters);
    const RowSet& innermost = *path.chapters.back()->child();
    Column column = result_column(item.function, path.column ? &innermost.columns()[*path.column] : nullptr);
    column.name = item.name.empty()
                      ? std::string(name_of(item.function)) + "(" + text::join(item.path, ".") + ")"
                      : item.name;
    ColumnData values(column.type);
    for (std::size_t row = 0; row < rows.row_count(); ++row) {
      Aggregate aggregate(item.function, column.type);
      path.add_values(row, aggregate);
      values.append(aggregate.result());
    }
    rows.add(std::move(column), std::move(values));
  }

  static ValuePath value_path(const Item& item, const std::vector<NamedChapter>& chapters) {
    const auto fail = [&](const std::string& name) {
      return command_error(std::string(name_of(item.function)) + ": \"" + name +
                           "\" is no chapter whose rows were read.");
    };
    const auto found = std::find_if(chapters.begin(), chapters.end(), [&](const NamedChapter& chapter) {
      return is_named(chapter, item.path.front());
    });
    if (found == chapters.end() || found->chapters == nullptr) throw fail(item.path.front());
    ValuePath result{{found->chapters.get()}, {}};
    for (std::size_t i = 1; i < item.path.size(); ++i) {
      const RowSet& child = *result.chapters.back()->child();
      const std::size_t column = column_of(child, item.path[i], "the chapter");
      const auto* const inner = dynamic_cast<const JoinedChapters*>(child.chapters(column).get());
      const bool is_last = i + 1 == item.path.size();
      if (inner != nullptr) {
        if (is_last && item.function != Function::count) throw fail(item.path[i] + "\" without a column, \"");
        result.chapters.push_back(inner);
      } else if (is_last && child.chapters(column) == nullptr) {
        result.column = column;
      } else {
        throw fail(item.path[i]);
      }
    }
    return result;
  }

  // --- COMPUTE --------------------------------------------------------------------------------------------

  std::unique_ptr<ComposedRows> computed(const Shape& shape) {
    const std::shared_ptr<RowSet> child = rows_of(shape.parent);
    Keys keys{child->store(), child->columns(), {}};
    for (const std::string& name : shape.by)
      keys.chosen.push_back(value_column_of(*child, name, "the child"));
    Groups groups = grouped(keys);
    const std::size_t count = groups.count();
    // The first row of each group says what the group has in common.
    std::vector<std::size_t> first_rows;
    for (std::size_t i = 0; i < count && !keys.chosen.empty(); ++i)
      first_rows.push_back(groups.rows(i).front());
    Join own{std::vector<std::uint32_t>(count), std::move(groups)};
    std::iota(own.group_of_parent.begin(), own.group_of_parent.end(), 0U);

    auto result = std::make_unique<ComposedRows>(count);
    std::vector<RelatedColumns> relations;
    for (std::size_t i = 0; i < keys.chosen.size(); ++i) {
      relations.push_back({shape.items.size() + i, keys.chosen[i]});
    }
    const std::string& alias = shape.parent.alias.empty() ? shape.parent.text : shape.parent.alias;
    const auto chapters = std::make_shared<JoinedChapters>(child, std::move(own), std::move(relations), true);
    const std::vector<NamedChapter> named = {{alias, {}, chapters}};
    for (const Item& item : shape.items) {
      if (item.kind != Item::Kind::chapter) {
        add_calculated(*result, item, named);
        continue;
      }
      if (!is_named(named.front(), item.path.front())) {
        throw command_error("COMPUTE: \"" + item.path.front() + "\" is not the name of the child.");
      }
      add_chapter(*result, item.name.empty() ? item.path.front() : item.name, chapters);
    }
    for (const std::size_t column : keys.chosen) add_common(*result, *child, column, first_rows);
    return result;
  }

  static void add_common(ComposedRows& rows, const RowSet& child, std::size_t column,
                         const std::vector<std::size_t>& first_rows) {
    Column common = child.columns()[column];
    // No row of a table stands behind it.
    common.base_table.clear();
    common.base_column.clear();
    common.key = common.auto_increment = false;
    common.attributes &= ~(adFldUpdatable | adFldKeyColumn);
    ColumnData values(common.type);
    for (const std::size_t row : first_rows) values.append(child.store().column(column).value(row));
    rows.add(std::move(common), std::move(values));
  }

  Session& session_;
  std::int32_t timeout_seconds_;
  bool for_editing_;
  std::map<std::string, std::shared_ptr<RowSet>> named_;  // in small letters
};

}  // namespace

std::unique_ptr<Rows> composed(Session& session, const Shape& shape, std::int32_t timeout_seconds,
                               bool for_editing) {
  return Composer(session, timeout_seconds, for_editing).composed(shape);
}

}  // namespace quarno::ado::shape
