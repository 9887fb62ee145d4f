// The rows of a result that is open on a statement.
#pragma once

#include <vector>

#include "providers/odbc/described_column.h"

namespace quarno::odbc {

/// Reads blocks of rows into bound columns. From the first column on whose values may be of any length it
/// goes row by row and takes those columns piece by piece: drivers give wrong data for them in blocks.
class OdbcRows : public ado::Rows {
 public:
  OdbcRows(Statement statement, std::vector<DescribedColumn> columns, std::string text);

  const std::vector<ado::Column>& columns() const override { return columns_; }
  std::size_t fetch(ado::ColumnStore& store, std::size_t limit) override;

 private:
  struct Bound {
    std::vector<char> values;
    std::vector<SQLLEN> lengths;
    std::size_t width = 0;
  };

  void bind();
  bool next_block();
  void append_bound(ado::ColumnData& column, std::size_t index) const;
  void append_read(ado::ColumnData& column, std::size_t index);
  bool read_pieces(std::size_t index);

  Statement statement_;
  std::vector<Form> forms_;
  std::vector<std::int64_t> widths_;
  std::vector<ado::Column> columns_;
  std::string text_;
  std::vector<Bound> bound_;  // of the first columns; the rest are read one by one
  std::vector<SQLUSMALLINT> states_;
  std::vector<char> piece_;  // for what is read one by one
  std::vector<char> whole_;
  SQLULEN in_block_ = 0;
  SQLULEN next_ = 0;
  bool ended_ = false;
};

/// A result that was read to its end at once, for connections that can do nothing else while one is open.
class WholeRows : public ado::Rows {
 public:
  explicit WholeRows(OdbcRows& source);

  const std::vector<ado::Column>& columns() const override { return columns_; }
  std::size_t fetch(ado::ColumnStore& store, std::size_t limit) override;

 private:
  std::vector<ado::Column> columns_;
  ado::ColumnStore store_;
  std::size_t next_ = 0;
};

}  // namespace quarno::odbc
