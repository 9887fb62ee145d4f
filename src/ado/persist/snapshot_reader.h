// Reads a recordset that was saved as XML, row by row as it is asked for: no more of the file is held than a
// block and what its rows became. Columns are known at once. What belongs to the rows but is no row of the
// result (changes that were not sent yet, the rows of chapters) gathers in Extras and is whole when the last
// row was fetched.
//
//   auto reader = std::make_unique<SnapshotReader>(file_source(files().open(path, OpenFor::input)));
//   auto extras = reader->extras();
//   RowSet rows(std::move(reader));
//   while (rows.load(kBlock)) continue;
//   apply_pending(*extras, rows);
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "ado/cursor/row_set.h"
#include "ado/persist/byte_stream.h"
#include "ado/provider.h"
#include "common/variant.h"

namespace quarno::ado::persist {

/// A chapter of a hierarchy with the rows of all parents, each once.
struct ChapterData {
  explicit ChapterData(std::vector<Column> own_columns)
      : columns(std::move(own_columns)), rows(store_for(columns)) {}

  std::string name;
  std::string reshape_name;
  std::size_t position = 0;  // among the parent's fields, where the chapter itself counts as one
  /// Columns of the parent and of the child whose values are equal, by their places in `columns`.
  std::vector<std::pair<std::size_t, std::size_t>> relation;
  bool is_computed = false;  // a group of rows that its parent sums up
  std::vector<Column> columns;
  ColumnStore rows;
  std::vector<ChapterData> chapters;
};

/// What became of a row since it was read from its source.
struct PendingRow {
  std::size_t row;
  RecordStatus kind;           // adRecNew, adRecModified or adRecDeleted
  std::vector<bool> assigned;  // of a new row
  std::vector<std::pair<std::size_t, Variant>> changes;
};

struct Extras {
  std::string reshape_name;
  bool is_updatable = false;
  std::optional<std::int32_t> command_timeout;  // missing where the rows came from no source
  std::vector<PendingRow> pending;
  std::vector<ChapterData> chapters;
};

/// Marks the changes in a set whose rows were all loaded from the reader that these come from.
void apply_pending(const Extras& extras, RowSet& rows);

class SnapshotReader : public Rows {
 public:
  /// Reads as far as the columns. Raises what is no snapshot.
  explicit SnapshotReader(ByteSource source);
  ~SnapshotReader() override;

  const std::vector<Column>& columns() const override;
  std::size_t fetch(ColumnStore& store, std::size_t limit) override;
  std::shared_ptr<Extras> extras() const;

 private:
  class Parsing;
  std::unique_ptr<Parsing> parsing_;
};

}  // namespace quarno::ado::persist
