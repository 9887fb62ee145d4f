#include "providers/desktop/access/table_rows.h"

#include "providers/desktop/access/long_value.h"
#include "providers/desktop/access/table_definition.h"
#include "providers/desktop/access/values.h"

namespace quarno::desktop::access {
namespace {

Cell whole(std::int64_t value) {
  Cell cell;
  cell.kind = Cell::Kind::whole;
  cell.whole = value;
  return cell;
}
Cell real(double value) {
  Cell cell;
  cell.kind = Cell::Kind::real;
  cell.real = value;
  return cell;
}
Cell currency(std::int64_t scaled) {
  Cell cell = whole(scaled);
  cell.kind = Cell::Kind::currency;
  return cell;
}
Cell text(std::string_view value) {
  Cell cell;
  cell.kind = Cell::Kind::text;
  cell.text = value;
  return cell;
}
Cell binary(Bytes bytes) {
  Cell cell = text(bytes.text());
  cell.kind = Cell::Kind::bytes;
  return cell;
}
Cell real_or_damaged(std::optional<double> value) { return value ? real(*value) : throw Damaged(); }
Cell decimal_or_damaged(const std::optional<Decimal>& value) {
  if (!value) throw Damaged();
  Cell cell;
  cell.kind = Cell::Kind::decimal;
  cell.decimal = *value;
  return cell;
}

bool is_long(ColumnType type) { return type == ColumnType::memo || type == ColumnType::ole; }

}  // namespace

TableRows::TableRows(PageStore& pages, TextReader& texts, const TableDesign& design)
    : pages_(pages),
      texts_(texts),
      design_(design),
      shape_{pages.jet3(), design.columns_ever, design.has_variable_columns},
      budget_(4 * pages.size()),
      buffers_(design.columns.size()) {
  try {
    page_numbers_ = data_pages(pages, design, damage_.pages);
  } catch (const Damaged&) {
    ++damage_.pages;
  }
}

bool TableRows::next() {
  for (;;) {
    while (page_ && row_number_ < page_->row_count()) {
      const DataPage::Row row = page_->row(row_number_++);
      // A moved row is read where the pointer to it stands, which keeps the order.
      if (row.kind == DataPage::Kind::erased || row.kind == DataPage::Kind::moved) continue;
      if (open_row(row)) return true;
      ++damage_.rows;
    }
    if (!next_page()) return false;
  }
}

bool TableRows::next_page() {
  page_.reset();
  while (next_page_ < page_numbers_.size()) {
    try {
      page_.emplace(pages_.read(page_numbers_[next_page_++], page_bytes_), shape_.jet3, design_.page);
      row_number_ = 0;
      lowest_ = page_bytes_.data() + page_bytes_.size();
      return true;
    } catch (const Damaged&) {
      ++damage_.pages;
    }
  }
  return false;
}

bool TableRows::open_row(const DataPage::Row& row) {
  if (row.kind == DataPage::Kind::damaged) return false;
  // Rows fill a page from its end. Only in a damaged one do they overlap, and reading them all would take far
  // longer than the page is worth.
  if (row.bytes.data() + row.bytes.size() > lowest_) return false;
  lowest_ = row.bytes.data();
  if (row.kind == DataPage::Kind::normal) return row_.read(row.bytes, shape_);
  try {
    return row_.read(moved_row(row.bytes), shape_);
  } catch (const Damaged&) {
    return false;
  }
}

Bytes TableRows::moved_row(Bytes forward) {
  const RowPointer pointer = row_pointer(forward.u32(0));
  const DataPage page(pages_.page(pointer.page), shape_.jet3, design_.page);
  if (pointer.row >= page.row_count()) throw Damaged();
  const DataPage::Row row = page.row(pointer.row);
  if (row.kind != DataPage::Kind::moved || row.bytes.size() > budget_) throw Damaged();
  budget_ -= row.bytes.size();
  moved_ = row.bytes.text();
  return Bytes(moved_);
}

StoredRow::Field TableRows::field(const Column& column, Bytes& bytes) const {
  if (!column.is_fixed) return row_.variable(column.number, column.variable_index, bytes);
  const std::size_t known = size_of(column.stored_type);
  return row_.fixed(column.number, column.fixed_offset, known != 0 ? known : column.length, bytes);
}

Cell TableRows::cell(std::size_t index) {
  const Column& column = design_.columns[index];
  if (column.stored_type == ColumnType::boolean && !column.is_calculated) {
    return whole(row_.has(column.number) ? -1 : 0);
  }
  Bytes bytes;
  const StoredRow::Field found = field(column, bytes);
  if (found == StoredRow::Field::null) return {};
  if (found == StoredRow::Field::damaged) {
    ++damage_.cells;
    return {};
  }
  try {
    return column.is_calculated ? calculated_cell(column, bytes, buffers_[index])
                                : stored_cell(column, bytes, buffers_[index]);
  } catch (const Damaged&) {
    ++damage_.cells;
    return {};
  }
}

Cell TableRows::stored_cell(const Column& column, Bytes bytes, std::string& buffer) {
  if (is_long(column.type)) return long_cell(column, bytes, buffer);
  const std::size_t needed = size_of(column.type);
  if (needed != 0 && bytes.empty()) return {};
  if (bytes.size() < needed) throw Damaged();
  return value(column, bytes, buffer);
}

Cell TableRows::calculated_cell(const Column& column, Bytes bytes, std::string& buffer) {
  if (bytes.empty()) return {};
  const bool is_memo =
      is_long(column.stored_type) || (column.stored_type == ColumnType::text && column.length == 0);
  if (is_memo) {
    long_bytes_.clear();
    append_long_value(pages_, bytes, budget_, long_bytes_);
    bytes = Bytes(long_bytes_);
  }
  const Bytes data = unwrapped(bytes);
  if (data.empty()) return {};
  if (column.type == ColumnType::boolean) return whole(data.u8(0) != 0 ? -1 : 0);
  if (column.type == ColumnType::decimal) return decimal_or_damaged(calculated_decimal(data));
  if (column.type == ColumnType::memo || column.type == ColumnType::text) {
    buffer.clear();
    texts_.append(buffer, data, column.code_page);
    return text(buffer);
  }
  if (data.size() < size_of(column.type)) throw Damaged();
  const Cell result = value(column, data, buffer);
  if (result.kind != Cell::Kind::bytes) return result;
  buffer = data.text();  // the next calculated memo takes the place of these bytes
  return binary(Bytes(buffer));
}

Cell TableRows::value(const Column& column, Bytes bytes, std::string& buffer) {
  const char* const p = bytes.data();
  switch (column.type) {
    case ColumnType::byte: return whole(little_endian::u8(p));
    case ColumnType::integer: return whole(static_cast<std::int16_t>(little_endian::u16(p)));
    case ColumnType::long_integer:
    case ColumnType::complex: return whole(static_cast<std::int32_t>(little_endian::u32(p)));
    case ColumnType::big_integer: return whole(static_cast<std::int64_t>(little_endian::u64(p)));
    case ColumnType::currency: return currency(static_cast<std::int64_t>(little_endian::u64(p)));
    case ColumnType::single: return real(double{little_endian::f32(p)});
    case ColumnType::real: return real(little_endian::f64(p));
    case ColumnType::date: return real_or_damaged(date_value(little_endian::f64(p)));
    case ColumnType::extended_date: return real_or_damaged(extended_date_value(bytes));
    case ColumnType::decimal: return decimal_or_damaged(decimal_value(bytes, column.scale));
    case ColumnType::text:
      buffer.clear();
      texts_.append(buffer, bytes, column.code_page);
      return text(buffer);
    case ColumnType::guid:
      buffer.clear();
      append_guid(buffer, bytes);
      return text(buffer);
    default: return binary(bytes);
  }
}

Cell TableRows::long_cell(const Column& column, Bytes bytes, std::string& buffer) {
  buffer.clear();
  const bool is_text = column.type == ColumnType::memo;
  // A memo that is there without a value is an empty text.
  if (bytes.empty()) return is_text ? text(buffer) : binary(Bytes(buffer));
  if (!is_text) {
    append_long_value(pages_, bytes, budget_, buffer);
    return binary(Bytes(buffer));
  }
  long_bytes_.clear();
  append_long_value(pages_, bytes, budget_, long_bytes_);
  texts_.append(buffer, Bytes(long_bytes_), column.code_page);
  return text(buffer);
}

}  // namespace quarno::desktop::access
