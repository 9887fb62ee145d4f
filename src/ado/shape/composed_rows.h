// Results that are put together in memory, of columns that were read before.
#pragma once

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "ado/cursor/row_set.h"
#include "ado/provider.h"

namespace quarno::ado::shape {

/// Rows that are there, column by column. They change hands as a whole when they are first fetched.
class ComposedRows : public Rows {
 public:
  /// The rows that were read, to which columns are added.
  explicit ComposedRows(RowSet& read) : columns_(read.columns()) {
    row_count_ = read.row_count();
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      data_.push_back(std::move(read.store().column(i)));
      chapters_.push_back(read.chapters(i));
    }
  }
  explicit ComposedRows(std::size_t row_count) : row_count_(row_count) {}

  void add(Column column, ColumnData data, std::shared_ptr<Chapters> chapters = nullptr) {
    columns_.push_back(std::move(column));
    data_.push_back(std::move(data));
    chapters_.push_back(std::move(chapters));
  }
  std::size_t row_count() const { return row_count_; }

  const std::vector<Column>& columns() const override { return columns_; }
  const std::vector<std::shared_ptr<Chapters>>* chapters() const override { return &chapters_; }
  std::size_t fetch(ColumnStore& store, std::size_t) override {
    if (data_.empty()) return 0;
    for (std::size_t i = 0; i < data_.size(); ++i) store.column(i) = std::move(data_[i]);
    data_.clear();
    return row_count_;
  }

 private:
  std::vector<Column> columns_;
  std::vector<ColumnData> data_;  // by column; none once they were fetched
  std::vector<std::shared_ptr<Chapters>> chapters_;
  std::size_t row_count_ = 0;
};

/// Reads a result to its end.
inline std::shared_ptr<RowSet> read_whole(std::unique_ptr<Rows> rows, std::string_view query = {}) {
  constexpr std::size_t kFetchRows = 4096;
  auto result = std::make_shared<RowSet>(std::move(rows), query);
  while (result->load(kFetchRows)) continue;
  return result;
}

}  // namespace quarno::ado::shape
