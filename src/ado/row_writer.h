// Writes rows of a row set to the tables they come from. The statements are the model's own; values go as
// parameters. A row is told by its key and by the original values of what is changed; where one table has no
// key among the columns, by all values that can be compared.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "ado/cursor/row_set.h"
#include "ado/provider.h"
#include "ado/write_statement.h"

namespace quarno::ado {

/// What became of the rows of a batch.
struct BatchResult {
  std::vector<std::size_t> written;
  std::vector<std::pair<std::size_t, RecordStatus>> failed;
  std::vector<std::tuple<std::size_t, std::size_t, Variant>>
      numbers;                   // row, column, and what the source numbered it
  std::optional<Error> failure;  // the first
};

class RowWriter {
 public:
  /// For adding and deleting rows; raises 3251 when the columns come from several tables.
  static void require_one_table(const RowSet& rows);
  /// `values` and `assigned` are by column, as in all calls: what is assigned is written.
  void insert(Session& session, const RowSet& rows, std::span<const Variant> values,
              const std::vector<bool>& assigned);
  /// The INSERT that this takes.
  const std::string& insert_statement(const Dialect& dialect, const RowSet& rows,
                                      const std::vector<bool>& assigned);
  /// What the source numbered the row that was added last, as a value of the column; null when that is not
  /// known. Raises nothing: the row is stored.
  static Variant given_number(Session& session, const RowSet& rows, std::size_t column);
  /// Raises kConflict when the row is not there as it was read. Each table that has a changed column is
  /// written, all or none.
  static void update(Session& session, const RowSet& rows, std::size_t row, std::span<const Variant> values,
                     const std::vector<bool>& assigned);
  static void remove(Session& session, const RowSet& rows, std::size_t row);
  /// Writes pending rows inside the session's transaction, added ones many at a time where the session can. A
  /// row that fails does not stop the others, but one that ran out of time does: those behind it stay
  /// pending. A lost connection is raised.
  BatchResult write_batch(Session& session, const RowSet& rows, std::span<const std::size_t> numbers);

 private:
  // Of the last INSERT, whose text is kept because the next is mostly the same.
  std::vector<bool> insert_assigned_;
  std::string insert_text_;
};

}  // namespace quarno::ado
