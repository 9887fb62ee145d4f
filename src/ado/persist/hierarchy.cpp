#include "ado/persist/hierarchy.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "ado/ado_error.h"
#include "ado/persist/snapshot_error.h"
#include "ado/shape/composed_rows.h"
#include "ado/shape/joined_chapters.h"

namespace quarno::ado::persist {
namespace {

// Where the columns of a file stand once its chapters are among them.
std::vector<std::size_t> places_among(std::size_t columns, const std::vector<ChapterData>& chapters) {
  std::vector<std::size_t> places;
  std::size_t place = 0;
  const auto is_taken = [&] {
    return std::ranges::any_of(chapters, [&](const ChapterData& each) { return each.position == place; });
  };
  for (std::size_t i = 0; i < columns; ++i, ++place) {
    while (is_taken()) ++place;
    places.push_back(place);
  }
  return places;
}

// The rows of a group, as the writer of the file had them: null is like null there.
shape::Join join_of(const shape::Keys& parents, const shape::Keys& children, std::size_t parent_count,
                    bool is_computed) {
  if (is_computed || parents.chosen.empty()) {
    shape::Groups groups = shape::grouped(children);
    if (groups.count() == parent_count) {
      std::vector<std::uint32_t> own(parent_count);
      std::iota(own.begin(), own.end(), 0U);
      return {std::move(own), std::move(groups)};
    }
  }
  if (parents.chosen.empty()) throw no_snapshot("A chapter is related to nothing.");
  return shape::join(parents, children);
}

std::shared_ptr<RowSet> with_chapters(const std::vector<Column>& columns, ColumnStore& store,
                                      std::vector<ChapterData>& chapters) {
  const std::vector<std::size_t> places = places_among(columns.size(), chapters);
  const std::size_t row_count = store.row_count();
  std::vector<std::shared_ptr<Chapters>> joined;
  for (ChapterData& data : chapters) {
    const std::vector<std::size_t> child_places = places_among(data.columns.size(), data.chapters);
    shape::Keys parents{store, columns, {}};
    shape::Keys children{data.rows, data.columns, {}};
    std::vector<shape::RelatedColumns> relations;
    for (const auto& [parent, child] : data.relation) {
      parents.chosen.push_back(parent);
      children.chosen.push_back(child);
      relations.push_back({places[parent], child_places[child]});
    }
    // The child's columns change hands: an index is made of them before.
    shape::Join join = join_of(parents, children, row_count, data.is_computed);
    joined.push_back(
        std::make_shared<shape::JoinedChapters>(with_chapters(data.columns, data.rows, data.chapters),
                                                std::move(join), std::move(relations), data.is_computed));
  }
  auto rows = std::make_unique<shape::ComposedRows>(row_count);
  std::size_t next = 0;
  for (std::size_t place = 0; place < columns.size() + chapters.size(); ++place) {
    const auto found = std::ranges::find(chapters, place, &ChapterData::position);
    if (found == chapters.end()) {
      rows->add(columns[next], std::move(store.column(next)));
      ++next;
      continue;
    }
    Column column;
    column.name = found->name;
    column.type = DataType::chapter;
    column.defined_size = 4;
    column.attributes = adFldFixed | adFldIsChapter;
    ColumnData nothing(DataType::chapter);
    for (std::size_t i = 0; i < row_count; ++i) nothing.append_null();
    rows->add(std::move(column), std::move(nothing),
              joined[static_cast<std::size_t>(found - chapters.begin())]);
  }
  return shape::read_whole(std::move(rows));
}

}  // namespace

std::shared_ptr<RowSet> rows_of(std::unique_ptr<SnapshotReader> reader) {
  const std::shared_ptr<Extras> extras = reader->extras();
  std::shared_ptr<RowSet> rows = shape::read_whole(std::move(reader));
  if (!extras->chapters.empty()) {
    if (!extras->pending.empty()) throw no_snapshot("A hierarchy has changes that were not sent.");
    return with_chapters(rows->columns(), rows->store(), extras->chapters);
  }
  apply_pending(*extras, *rows);
  return rows;
}

bool is_whole(const RowSet& rows) {
  for (std::size_t i = 0; i < rows.columns().size(); ++i) {
    const auto& chapters = rows.chapters(i);
    if (chapters == nullptr) continue;
    const auto relation = chapters->relation();
    if (!relation || !is_whole(*relation->child)) return false;
  }
  return true;
}

namespace {

TableToSave numbered_table(RowSet& rows, bool is_updatable, std::optional<std::int32_t> command_timeout,
                           int& last_number) {
  TableToSave table;
  table.rows = &rows;
  table.is_updatable = is_updatable;
  table.command_timeout = command_timeout;
  if (last_number > 0 || rows.has_chapters()) {
    table.reshape_name = "DSRowset" + std::to_string(++last_number);
  }
  for (std::size_t i = 0; i < rows.columns().size(); ++i) {
    const std::shared_ptr<Chapters>& chapters = rows.chapters(i);
    if (chapters == nullptr) continue;
    auto relation = chapters->relation();
    if (!relation) {
      Error error = model_error(Model::feature_not_available);
      error.description += " The rows of \"" + rows.columns()[i].name + "\" are read for one row at a time.";
      throw error;
    }
    ChapterToSave& chapter = table.chapters.emplace_back();
    chapter.name = rows.columns()[i].name;
    chapter.position = i;
    chapter.relation = std::move(relation->columns);
    chapter.is_computed = relation->is_computed;
    chapter.table = numbered_table(*relation->child, is_updatable, command_timeout, last_number);
    chapter.children_of = [chapters, child = relation->child](std::size_t row, auto& child_rows) {
      child_rows = chapters->members(row);
      std::erase_if(child_rows, [&](std::size_t each) { return child->is_deleted(each); });
    };
  }
  return table;
}

}  // namespace

TableToSave table_to_save(RowSet& rows, bool is_updatable, std::optional<std::int32_t> command_timeout) {
  int last_number = 0;
  return numbered_table(rows, is_updatable, command_timeout, last_number);
}

}  // namespace quarno::ado::persist
