// The two kinds of chapters: of a child that was read whole, and of one that is read for each row.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ado/cursor/chapters.h"
#include "ado/provider.h"
#include "ado/shape/grouping.h"

namespace quarno::ado::shape {

/// Positions of two columns that are to be equal.
struct RelatedColumns {
  std::size_t parent = 0;
  std::size_t child = 0;
};

class JoinedChapters : public Chapters {
 public:
  /// Children without a relation belong to the group of the parent's own number.
  JoinedChapters(std::shared_ptr<RowSet> child, Join join, std::vector<RelatedColumns> relations,
                 bool is_computed = false)
      : child_(std::move(child)),
        join_(std::move(join)),
        relations_(std::move(relations)),
        is_computed_(is_computed) {}

  /// As they were read, without those that were added.
  std::span<const std::uint32_t> read_members(std::size_t parent_row) const;
  const std::shared_ptr<RowSet>& child() const { return child_; }

  std::shared_ptr<RowSet> rows(const RowSet&, std::size_t) override { return child_; }
  std::vector<std::size_t> members(std::size_t parent_row) const override;
  void add(std::size_t parent_row, std::size_t row) override;
  std::vector<std::pair<std::size_t, Variant>> presets(const RowSet& parent,
                                                       std::size_t parent_row) const override;
  std::optional<ChapterRelation> relation() const override;

 private:
  std::uint32_t group_of(std::size_t parent_row) const {
    return parent_row < join_.group_of_parent.size() ? join_.group_of_parent[parent_row] : Groups::kNone;
  }

  std::shared_ptr<RowSet> child_;
  Join join_;
  std::vector<RelatedColumns> relations_;
  bool is_computed_;
  std::map<std::uint32_t, std::vector<std::size_t>> added_;              // by group
  std::map<std::size_t, std::vector<std::size_t>> added_without_group_;  // by parent row
};

/// A child whose statement runs for a parent's row, with values of that row as its parameters, when the
/// chapter is opened; once for each row.
class QueriedChapters : public Chapters {
 public:
  using Query = std::function<std::shared_ptr<RowSet>(const std::vector<Variant>& parameters)>;
  /// `parameters` are columns of the parent, in the order of the "?" marks.
  QueriedChapters(Query query, std::vector<std::size_t> parameters)
      : query_(std::move(query)), parameters_(std::move(parameters)) {}

  std::shared_ptr<RowSet> rows(const RowSet& parent, std::size_t parent_row) override;
  std::vector<std::size_t> members(std::size_t parent_row) const override;
  // Whatever lies in the parent's own row set belongs to it.
  void add(std::size_t, std::size_t) override {}
  std::vector<std::pair<std::size_t, Variant>> presets(const RowSet&, std::size_t) const override {
    return {};
  }

 private:
  Query query_;
  std::vector<std::size_t> parameters_;
  std::map<std::size_t, std::shared_ptr<RowSet>> read_;  // by parent row
};

}  // namespace quarno::ado::shape
