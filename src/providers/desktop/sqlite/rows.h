// The rows of a statement that is being stepped.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ado/provider.h"
#include "providers/desktop/sqlite/statement.h"

namespace quarno::desktop::sqlite {

/// How many columns the primary key of a table has.
using KeyWidth = std::function<int(const std::string& table)>;
/// Declared types of what the query computes, one for each column; empty where nothing is known.
using ResultTypes = std::function<std::vector<std::string>()>;

class SqliteRows : public ado::Rows {
 public:
  /// `statement` has columns and was not stepped yet; the first row is read here. The limit
  /// holds for all fetches. Without origins no column counts as a table's.
  SqliteRows(sqlite3* database, Statement statement, std::string text, providers::TimeLimit limit,
             int timeout_seconds, const KeyWidth& key_width, const ResultTypes& types, bool with_origins);

  const std::vector<ado::Column>& columns() const override { return columns_; }
  std::size_t fetch(ado::ColumnStore& store, std::size_t limit) override;
  void renew_time_limit() override { limit_ = providers::time_limit(timeout_seconds_); }

 private:
  ado::Column describe(int index, const std::string& type, bool with_origin) const;
  // Keys count only when the result has all columns of a table's key.
  void drop_partial_keys(const KeyWidth& key_width);
  bool step();
  void append_value(ado::ColumnData& column, int index) const;
  void append_text(ado::ColumnData& column, int index) const;
  void append_blob(ado::ColumnData& column, int index) const;

  sqlite3* database_;
  Statement statement_;
  std::string text_;
  providers::TimeLimit limit_;
  int timeout_seconds_;
  bool on_row_ = false;
  std::vector<ado::Column> columns_;
};

}  // namespace quarno::desktop::sqlite
