#include "ado/shape/joined_chapters.h"

#include <numeric>

#include "ado/cursor/row_set.h"

namespace quarno::ado::shape {

std::span<const std::uint32_t> JoinedChapters::read_members(std::size_t parent_row) const {
  const std::uint32_t group = group_of(parent_row);
  return group == Groups::kNone ? std::span<const std::uint32_t>() : join_.children.rows(group);
}

std::vector<std::size_t> JoinedChapters::members(std::size_t parent_row) const {
  const auto read = read_members(parent_row);
  std::vector<std::size_t> result(read.begin(), read.end());
  const auto append = [&](const auto& added, auto key) {
    const auto found = added.find(key);
    if (found != added.end()) result.insert(result.end(), found->second.begin(), found->second.end());
  };
  const std::uint32_t group = group_of(parent_row);
  group == Groups::kNone ? append(added_without_group_, parent_row) : append(added_, group);
  return result;
}

void JoinedChapters::add(std::size_t parent_row, std::size_t row) {
  const std::uint32_t group = group_of(parent_row);
  (group == Groups::kNone ? added_without_group_[parent_row] : added_[group]).push_back(row);
}

std::vector<std::pair<std::size_t, Variant>> JoinedChapters::presets(const RowSet& parent,
                                                                     std::size_t parent_row) const {
  std::vector<std::pair<std::size_t, Variant>> result;
  for (const RelatedColumns& each : relations_) {
    result.emplace_back(each.child, parent.value(parent_row, each.parent));
  }
  return result;
}

std::optional<ChapterRelation> JoinedChapters::relation() const {
  ChapterRelation result{child_, {}, is_computed_};
  for (const RelatedColumns& each : relations_) result.columns.emplace_back(each.parent, each.child);
  return result;
}

std::shared_ptr<RowSet> QueriedChapters::rows(const RowSet& parent, std::size_t parent_row) {
  const auto found = read_.find(parent_row);
  if (found != read_.end()) return found->second;
  std::vector<Variant> values;
  values.reserve(parameters_.size());
  for (const std::size_t column : parameters_) values.push_back(parent.value(parent_row, column));
  return read_.emplace(parent_row, query_(values)).first->second;
}

std::vector<std::size_t> QueriedChapters::members(std::size_t parent_row) const {
  const auto found = read_.find(parent_row);
  std::vector<std::size_t> result(found == read_.end() ? 0 : found->second->row_count());
  std::iota(result.begin(), result.end(), std::size_t{0});
  return result;
}

}  // namespace quarno::ado::shape
