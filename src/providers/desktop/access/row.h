// One stored row, taken apart into its fields. Pure; raises nothing, because a damaged page holds many rows.
#pragma once

#include "providers/desktop/access/bytes.h"
#include "providers/desktop/access/design.h"

namespace quarno::desktop::access {

/// What rows of a table have in common.
struct RowShape {
  bool jet3 = false;
  std::uint16_t columns_ever = 0;
  bool has_variable_columns = false;
};

/// Borrows the row's bytes.
class StoredRow {
 public:
  enum class Field { null, present, damaged };

  /// False when the row's own counts do not fit its length.
  bool read(Bytes row, const RowShape& shape);

  /// Whether the column has a value; of a Boolean, the value itself.
  bool has(std::uint16_t number) const {
    // The spare bits of the last byte of nulls are garbage, so the count decides first.
    return number < column_count_ &&
           (little_endian::u8(row_.data() + nulls_ + number / 8) >> number % 8 & 1) != 0;
  }
  /// The bytes of a field that takes `size` bytes in the fixed part.
  Field fixed(std::uint16_t number, std::size_t offset, std::size_t size, Bytes& bytes) const;
  /// The bytes of a field of the variable part.
  Field variable(std::uint16_t number, std::uint16_t index, Bytes& bytes) const;

 private:
  bool read_jet3();
  bool read_jet4();
  std::size_t offset(std::size_t index) const;

  Bytes row_;
  bool jet3_ = false;
  std::size_t column_count_ = 0;
  std::size_t nulls_ = 0;  // where they begin
  std::size_t variable_count_ = 0;
  std::size_t first_offset_ = 0;  // where the offset of variable column 0 stands; the others stand before it
  std::size_t data_end_ = 0;      // where the fields end
  std::size_t jumps_ = 0;         // of a row longer than a byte can count
};

}  // namespace quarno::desktop::access
