// Writes a recordset as XML, in the one form that its readers know: order of attributes, quotes, ends of
// lines and indents are part of it. Two liberties: long tags are not wrapped, and tabs and ends of lines
// within texts are character references, as raw ones do not survive most XML parsers.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ado/cursor/row_set.h"
#include "ado/persist/byte_stream.h"
#include "ado/persist/whole_file.h"

namespace quarno::ado::persist {

struct ChapterToSave;

/// The rows of a recordset or of a chapter. What it refers to is the caller's and stays as it is meanwhile.
struct TableToSave {
  RowSet* rows = nullptr;
  std::string reshape_name;  // in a hierarchy
  bool is_updatable = false;
  /// Missing for rows without a source, whose columns a host made.
  std::optional<std::int32_t> command_timeout;
  /// Described here whether or not the rows have columns for them, which are skipped.
  std::vector<ChapterToSave> chapters;
};

struct ChapterToSave {
  std::string name;
  std::size_t position = 0;                                   // among the parent's fields
  std::vector<std::pair<std::size_t, std::size_t>> relation;  // columns of the parent and of the child
  bool is_computed = false;
  TableToSave table;
  /// Puts the numbers of a parent's child rows, in their order, into the empty vector.
  std::function<void(std::size_t parent_row, std::vector<std::size_t>& child_rows)> children_of;
};

/// Writes the rows of these numbers in this order with the changes that are pending among them; deleted rows
/// follow wherever they were. What a file cannot hold raises -2147217887 and names row and column; the sink
/// has a part by then. A hierarchy with pending changes raises 3251.
void write_snapshot(const TableToSave& table, std::span<const std::size_t> order, const ByteSink& sink);

/// The same into a file, which is there whole or as it was before. Without leave to write over a file that is
/// there it raises 58.
void save_snapshot(std::string_view path, const TableToSave& table, std::span<const std::size_t> order,
                   OverFile over = OverFile::yes);

}  // namespace quarno::ado::persist
