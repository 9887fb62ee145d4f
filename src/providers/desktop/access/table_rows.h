// A walk over the rows of a table, in the order they were added.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/decimal.h"
#include "providers/desktop/access/design.h"
#include "providers/desktop/access/page_store.h"
#include "providers/desktop/access/row.h"
#include "providers/desktop/access/text_reader.h"

namespace quarno::desktop::access {

/// A value as it is stored; the column's type says what it means.
struct Cell {
  enum class Kind { null, whole, real, currency, decimal, text, bytes };

  Kind kind = Kind::null;
  std::int64_t whole = 0;  // of a Boolean 0 or -1; of a currency ten-thousandths
  double real = 0;         // of a date the days since 30 December 1899
  Decimal decimal;
  std::string_view text;  // UTF-8, or the bytes of a binary
};

/// What could not be read. A row with a damaged cell is still there, the cell as null.
struct Damage {
  std::uint64_t pages = 0;
  std::uint64_t rows = 0;
  std::uint64_t cells = 0;

  bool any() const { return pages + rows + cells > 0; }
};

/// Borrows what it is made from.
class TableRows {
 public:
  TableRows(PageStore& pages, TextReader& texts, const TableDesign& design);

  /// Goes to the next row; false at the end.
  bool next();
  /// The value of design.columns[column] in the row. Its text holds until next(); ask for each column once.
  Cell cell(std::size_t column);
  /// Of what was walked over so far.
  const Damage& damage() const { return damage_; }

 private:
  bool next_page();
  bool open_row(const DataPage::Row& row);
  Bytes moved_row(Bytes forward);
  StoredRow::Field field(const Column& column, Bytes& bytes) const;
  Cell stored_cell(const Column& column, Bytes bytes, std::string& buffer);
  Cell calculated_cell(const Column& column, Bytes bytes, std::string& buffer);
  Cell value(const Column& column, Bytes bytes, std::string& buffer);
  Cell long_cell(const Column& column, Bytes bytes, std::string& buffer);

  PageStore& pages_;
  TextReader& texts_;
  const TableDesign& design_;
  RowShape shape_;
  Damage damage_;
  std::uint64_t budget_;  // bytes that may still be read outside the rows themselves
  std::vector<std::uint32_t> page_numbers_;
  std::size_t next_page_ = 0;
  std::string page_bytes_;
  std::optional<DataPage> page_;
  std::size_t row_number_ = 0;
  const char* lowest_ = nullptr;  // where the last row of the page began
  std::string moved_;             // bytes of a row that lies on another page
  StoredRow row_;
  std::vector<std::string> buffers_;  // texts of the row, kept for their memory
  std::string long_bytes_;
};

}  // namespace quarno::desktop::access
