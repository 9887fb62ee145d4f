// The rows of a client cursor as typed columns: numbers and dates packed at their own width, text and bytes
// one after the other, nulls as bits. No variant is kept per cell. Rows are only ever appended; a value that
// is not of its column's type (a data source without fixed types can send one) is kept aside as it came.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ado/enums.h"
#include "common/variant.h"

namespace quarno::ado {

/// How the values of a column are laid out.
enum class Layout : std::uint8_t {
  boolean,
  byte,
  int16,
  int32,
  int64,
  single,
  real,
  currency,
  decimal,
  date,
  text,
  bytes,
  any
};

Layout layout_of(DataType type);

class ColumnData {
 public:
  explicit ColumnData(DataType type) : layout_(layout_of(type)) {}

  Layout layout() const { return layout_; }

  void append_null();
  /// A number for a column of any numeric layout; kept aside when it does not fit the column's width.
  void append_integer(std::int64_t value);
  void append_real(double value);
  void append_currency(Currency value);
  void append_date(Date value);
  void append_text(std::string_view utf8);
  void append_bytes(std::span<const std::uint8_t> bytes);
  /// Any value: packed when it has the column's own type, else kept aside.
  void append(const Variant& value);
  /// Many numbers or texts at once, a null where its length is negative. A text of row i begins at
  /// `texts + i * width` and has that many bytes.
  void append_integers(std::span<const std::int32_t> values, const std::int64_t* lengths);
  void append_integers(std::span<const std::int64_t> values, const std::int64_t* lengths);
  void append_reals(std::span<const double> values, const std::int64_t* lengths);
  void append_texts(const char* texts, std::size_t width, std::span<const std::int64_t> lengths);
  /// A date that the data source keeps as this text, which alone finds the row again. False, and nothing is
  /// appended, when it is no date.
  bool append_date_text(std::string_view text);

  /// Remembers for the row appended last what the data source itself holds, where reading changed it: only
  /// that finds the row again.
  void keep_source_value(Variant value) { source_values_.insert_or_assign(row_count_ - 1, std::move(value)); }
  /// What the data source holds, for comparisons there.
  Variant source_value(std::size_t row) const;

  bool is_null(std::size_t row) const;
  Variant value(std::size_t row) const;
  /// Text without a copy for columns of text layout; empty for null and for values kept aside.
  std::string_view text(std::size_t row) const;
  std::size_t row_count() const { return row_count_; }
  /// Takes all rows out and keeps the room for others.
  void clear();

 private:
  // A full chunk is packed into just the room it needs and never touched again; the one that grows keeps its
  // room for the next.
  static constexpr std::size_t kChunkRows = 4096;
  struct Chunk {
    std::vector<std::uint8_t> values;       // fixed widths, or the bytes of all texts
    std::vector<std::uint32_t> ends;        // texts and bytes only: end of each value
    std::vector<std::uint16_t> short_ends;  // in its place where they are small, once the chunk is full
    std::vector<std::uint64_t> nulls;       // one bit a row; empty as long as the chunk has none
  };

  enum class DateText : std::uint8_t { none, day, second };

  Chunk& open_chunk() {
    if (row_count_ / kChunkRows > chunks_.size()) pack();
    return growing_;
  }
  void pack();
  // `row_count_` may stand at the end of the growing chunk, which is then not packed yet.
  const Chunk& chunk_of(std::size_t row) const {
    const std::size_t index = row / kChunkRows;
    return index < chunks_.size() ? chunks_[index] : growing_;
  }
  template <class T, class Value>
  void append_block(std::span<const Value> values, const std::int64_t* lengths);
  template <class Int>
  void append_whole(std::span<const Int> values, const std::int64_t* lengths);
  void mark_null(Chunk& chunk);
  void close_row(Chunk& chunk, bool null);
  template <class T>
  void append_fixed(T value);
  template <class T>
  T fixed(std::size_t row) const;
  void append_packed(const void* data, std::size_t size);
  void keep_aside(Variant value);
  bool null_bit(const Chunk& chunk, std::size_t row) const {
    const std::size_t in_chunk = row % kChunkRows;
    return !chunk.nulls.empty() && (chunk.nulls[in_chunk / 64] >> (in_chunk % 64) & 1) != 0;
  }

  std::vector<Chunk> chunks_;
  Chunk growing_;
  std::unordered_map<std::size_t, Variant> source_values_;
  std::unordered_map<std::size_t, Variant> aside_;  // rows marked null whose value is of another type
  std::size_t row_count_ = 0;
  Layout layout_;
  DateText date_text_ = DateText::none;  // how the data source writes the dates of this column
};

/// All columns of a result. The columns are appended to one by one; each row must append to every column
/// once.
class ColumnStore {
 public:
  explicit ColumnStore(std::span<const DataType> types);

  ColumnData& column(std::size_t index) { return columns_[index]; }
  const ColumnData& column(std::size_t index) const { return columns_[index]; }
  void clear() {
    for (ColumnData& column : columns_) column.clear();
  }
  /// Whole rows: one that broke off while it was read does not count.
  std::size_t row_count() const { return columns_.empty() ? 0 : columns_.back().row_count(); }

 private:
  std::vector<ColumnData> columns_;
};

}  // namespace quarno::ado
