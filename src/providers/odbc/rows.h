// The rows of a result that is open on a statement.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "providers/odbc/clock.h"
#include "providers/odbc/described_column.h"

namespace quarno::odbc {

class OdbcRows;

/// The results of a connection that are being read. Some drivers can do nothing else on the connection
/// meanwhile, others end such a result without a word when something fails or a transaction ends: so it is
/// read to its end first.
class OpenResults {
 public:
  void add(OdbcRows& rows) { open_.push_back(&rows); }
  void remove(const OdbcRows& rows) { std::erase(open_, &rows); }
  /// Takes what is left of every result into memory. The connection is free then.
  void keep();

 private:
  std::vector<OdbcRows*> open_;
};

/// Where the rows behind the first result come from, when the server holds them in a cursor of its own.
struct ServerCursor {
  std::string fetch;              // statement that gives the next rows
  std::function<void(bool)> end;  // lets go of it; told whether the rows could be read
};

/// Reads blocks of rows into bound columns. From the first column on whose values may be of any length it
/// goes row by row and takes those columns piece by piece: drivers give wrong data for them in blocks.
class OdbcRows : public ado::Rows {
 public:
  OdbcRows(Statement statement, std::vector<DescribedColumn> columns, std::string text,
           std::shared_ptr<OpenResults> results, std::optional<ServerCursor> cursor, Clock clock);
  ~OdbcRows() override;
  OdbcRows(const OdbcRows&) = delete;
  OdbcRows& operator=(const OdbcRows&) = delete;

  const std::vector<ado::Column>& columns() const override { return columns_; }
  std::size_t fetch(ado::ColumnStore& store, std::size_t limit) override;
  void renew_time_limit() override { clock_.restart(); }
  void finish() override;
  /// Reads the rest into memory, from where it is fetched later; a failure is raised there.
  void keep_rest();

 private:
  struct Bound {
    std::vector<char> values;
    std::vector<SQLLEN> lengths;
    std::size_t width = 0;
  };

  void bind();
  // What a procedure did behind its rows, and whether it failed there.
  void read_outcome();
  std::size_t read(ado::ColumnStore& store, std::size_t limit);
  std::size_t take_kept(ado::ColumnStore& store, std::size_t limit);
  bool next_block();
  bool next_from_cursor();
  void end(bool well);
  void append_bound(ado::ColumnData& column, std::size_t index, std::size_t rows) const;
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
  std::shared_ptr<OpenResults> results_;  // of the connection, as long as this one is being read
  std::optional<ServerCursor> cursor_;
  Clock clock_;
  std::optional<ado::ColumnStore> kept_;
  std::size_t taken_ = 0;
  std::optional<Error> failure_;  // where what is kept breaks off
};

}  // namespace quarno::odbc
