#include "providers/desktop/access/row.h"

namespace quarno::desktop::access {

bool StoredRow::read(Bytes row, const RowShape& shape) {
  row_ = row;
  jet3_ = shape.jet3;
  variable_count_ = jumps_ = 0;
  const std::size_t head = jet3_ ? 1 : 2;
  if (row.size() < head) return false;
  column_count_ = jet3_ ? little_endian::u8(row.data()) : little_endian::u16(row.data());
  const std::size_t null_bytes = (column_count_ + 7) / 8;
  if (column_count_ > shape.columns_ever || row.size() < head + null_bytes) return false;
  nulls_ = data_end_ = row.size() - null_bytes;
  if (!shape.has_variable_columns) return true;
  return (jet3_ ? read_jet3() : read_jet4()) && offset(variable_count_) <= data_end_;
}

bool StoredRow::read_jet4() {
  if (nulls_ < 2 + 2 + 2) return false;
  variable_count_ = little_endian::u16(row_.data() + nulls_ - 2);
  first_offset_ = nulls_ - 4;
  if (first_offset_ < 2 + 2 * variable_count_) return false;
  data_end_ = first_offset_ - 2 * variable_count_;
  return true;
}

bool StoredRow::read_jet3() {
  jumps_ = (row_.size() - 1) / 256;
  if (nulls_ < 1 + 1 + jumps_ + 1) return false;
  variable_count_ = little_endian::u8(row_.data() + nulls_ - 1);
  first_offset_ = nulls_ - 2 - jumps_;
  if (first_offset_ < 1 + variable_count_) return false;
  data_end_ = first_offset_ - variable_count_;
  // The last jump may be there for the length of the tables alone; no field begins behind it.
  if (data_end_ / 256 < jumps_) --jumps_;
  return true;
}

std::size_t StoredRow::offset(std::size_t index) const {
  if (!jet3_) return little_endian::u16(row_.data() + first_offset_ - 2 * index);
  std::size_t result = little_endian::u8(row_.data() + first_offset_ - index);
  // Each jump names the first column that begins in the next 256 bytes.
  for (std::size_t i = 0; i < jumps_ && little_endian::u8(row_.data() + nulls_ - 2 - i) <= index; ++i) {
    result += 256;
  }
  return result;
}

StoredRow::Field StoredRow::fixed(std::uint16_t number, std::size_t offset, std::size_t size,
                                  Bytes& bytes) const {
  if (!has(number)) return Field::null;
  const std::size_t start = (jet3_ ? 1 : 2) + offset;
  if (start + size > data_end_) return Field::damaged;
  bytes = {row_.data() + start, size};
  return Field::present;
}

StoredRow::Field StoredRow::variable(std::uint16_t number, std::uint16_t index, Bytes& bytes) const {
  if (!has(number) || index >= variable_count_) return Field::null;
  const std::size_t start = offset(index);
  const std::size_t end = offset(index + std::size_t{1});
  if (start > end || end > data_end_) return Field::damaged;
  bytes = {row_.data() + start, end - start};
  return Field::present;
}

}  // namespace quarno::desktop::access
