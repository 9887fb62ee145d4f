#include "ado/cursor/column_store.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

namespace quarno::ado {
namespace {

std::size_t width_of(Layout layout) {
  switch (layout) {
    case Layout::boolean:
    case Layout::byte: return 1;
    case Layout::int16: return 2;
    case Layout::int32:
    case Layout::single: return 4;
    case Layout::int64:
    case Layout::real:
    case Layout::currency:
    case Layout::date: return 8;
    case Layout::decimal: return sizeof(Decimal);
    case Layout::text:
    case Layout::bytes:
    case Layout::any: return 0;
  }
  return 0;
}

template <class Int>
bool fits(std::int64_t value) {
  return value >= std::int64_t{std::numeric_limits<Int>::min()} &&
         value <= std::int64_t{std::numeric_limits<Int>::max()};
}

}  // namespace

Layout layout_of(DataType type) {
  switch (type) {
    case DataType::boolean: return Layout::boolean;
    case DataType::unsigned_tiny_int: return Layout::byte;
    case DataType::tiny_int:
    case DataType::small_int: return Layout::int16;
    case DataType::unsigned_small_int:
    case DataType::integer: return Layout::int32;
    case DataType::unsigned_int:
    case DataType::big_int: return Layout::int64;
    case DataType::single: return Layout::single;
    case DataType::real: return Layout::real;
    case DataType::currency: return Layout::currency;
    case DataType::unsigned_big_int:
    case DataType::decimal:
    case DataType::numeric: return Layout::decimal;
    default: break;
  }
  if (is_date(type)) return Layout::date;
  if (is_text(type)) return Layout::text;
  return is_binary(type) ? Layout::bytes : Layout::any;
}

ColumnData::Chunk& ColumnData::open_chunk() {
  const std::size_t in_chunk = row_count_ % kChunkRows;
  if (in_chunk == 0) {
    if (!chunks_.empty()) {
      chunks_.back().values.shrink_to_fit();
      chunks_.back().ends.shrink_to_fit();
    }
    chunks_.emplace_back();
  }
  return chunks_.back();
}

void ColumnData::close_row(Chunk& chunk, bool null) {
  const std::size_t in_chunk = row_count_ % kChunkRows;
  if (null && chunk.nulls.empty()) chunk.nulls.resize(kChunkRows / 64);
  if (null) chunk.nulls[in_chunk / 64] |= std::uint64_t{1} << (in_chunk % 64);
  ++row_count_;
}

void ColumnData::append_null() {
  Chunk& chunk = open_chunk();
  chunk.values.resize(chunk.values.size() + width_of(layout_));
  if (layout_ == Layout::text || layout_ == Layout::bytes) {
    chunk.ends.push_back(static_cast<std::uint32_t>(chunk.values.size()));
  }
  close_row(chunk, true);
}

void ColumnData::keep_aside(Variant value) {
  aside_.emplace(row_count_, std::move(value));
  append_null();
}

template <class T>
void ColumnData::append_fixed(T value) {
  Chunk& chunk = open_chunk();
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&value);
  chunk.values.insert(chunk.values.end(), bytes, bytes + sizeof(T));
  close_row(chunk, false);
}

template <class T>
T ColumnData::fixed(std::size_t row) const {
  T value;
  std::memcpy(&value, chunks_[row / kChunkRows].values.data() + (row % kChunkRows) * sizeof(T), sizeof(T));
  return value;
}

void ColumnData::append_integer(std::int64_t value) {
  switch (layout_) {
    case Layout::boolean: return append_fixed<std::uint8_t>(value != 0 ? 1 : 0);
    case Layout::byte:
      if (fits<std::uint8_t>(value)) return append_fixed(static_cast<std::uint8_t>(value));
      break;
    case Layout::int16:
      if (fits<std::int16_t>(value)) return append_fixed(static_cast<std::int16_t>(value));
      break;
    case Layout::int32:
      if (fits<std::int32_t>(value)) return append_fixed(static_cast<std::int32_t>(value));
      break;
    case Layout::int64: return append_fixed(value);
    case Layout::single:
    case Layout::real:
    case Layout::date: {
      // Beyond 2^53 a double would change the number.
      constexpr std::int64_t kExact = std::int64_t{1} << 53;
      if (value >= -kExact && value <= kExact) return append_real(static_cast<double>(value));
      break;
    }
    case Layout::currency:
      if (const auto exact = Currency::from_decimal(Decimal(value))) return append_fixed(*exact);
      break;
    case Layout::decimal: return append_fixed(Decimal(value));
    default: break;
  }
  keep_aside(value);
}

void ColumnData::append_real(double value) {
  switch (layout_) {
    case Layout::single:
      // A number too large for a single would read as infinity.
      if (std::isfinite(value) && std::fabs(value) > double{std::numeric_limits<float>::max()}) break;
      return append_fixed(static_cast<float>(value));
    case Layout::real: return append_fixed(value);
    case Layout::date:
      if (value > kFirstDay - 1 && value < kLastDay) return append_fixed(value);
      break;
    case Layout::decimal:
      if (const auto exact = Decimal::from_double(value)) return append_fixed(*exact);
      break;
    case Layout::currency:
      if (const auto exact = Decimal::from_double(value)) {
        if (const auto money = Currency::from_decimal(*exact)) return append_fixed(*money);
      }
      break;
    case Layout::boolean: return append_fixed<std::uint8_t>(value != 0 ? 1 : 0);
    default: break;
  }
  keep_aside(value);
}

void ColumnData::append_currency(Currency value) {
  if (layout_ == Layout::currency) return append_fixed(value);
  keep_aside(value);
}

void ColumnData::append_packed(const void* data, std::size_t size) {
  Chunk& chunk = open_chunk();
  // Ends are 32 bits wide; what would pass them (megabytes in each of a chunk's rows) is kept aside.
  if (chunk.values.size() + size > std::numeric_limits<std::uint32_t>::max()) {
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    if (layout_ == Layout::text) return keep_aside(std::string(static_cast<const char*>(data), size));
    return keep_aside(Variant::Bytes(bytes, bytes + size));
  }
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  chunk.values.insert(chunk.values.end(), bytes, bytes + size);
  chunk.ends.push_back(static_cast<std::uint32_t>(chunk.values.size()));
  close_row(chunk, false);
}

void ColumnData::append_text(std::string_view utf8) {
  if (layout_ != Layout::text) return keep_aside(std::string(utf8));
  append_packed(utf8.data(), utf8.size());
}

void ColumnData::append_bytes(std::span<const std::uint8_t> bytes) {
  if (layout_ != Layout::bytes) return keep_aside(Variant::Bytes(bytes.begin(), bytes.end()));
  append_packed(bytes.data(), bytes.size());
}

void ColumnData::append(const Variant& value) {
  if (value.is_null() || value.is_empty() || value.is_missing()) return append_null();
  if (const auto* text = value.get_if<std::string>()) return append_text(*text);
  if (const auto* bytes = value.get_if<Variant::Bytes>()) return append_bytes(*bytes);
  const auto exactly = [&]<class T>(Layout layout) {
    const T* const same = layout_ == layout ? value.get_if<T>() : nullptr;
    if (same != nullptr) append_fixed(*same);
    return same != nullptr;
  };
  if (exactly.operator()<double>(Layout::real) || exactly.operator()<std::int32_t>(Layout::int32) ||
      exactly.operator()<std::int16_t>(Layout::int16) || exactly.operator()<std::int64_t>(Layout::int64) ||
      exactly.operator()<std::uint8_t>(Layout::byte) || exactly.operator()<float>(Layout::single) ||
      exactly.operator()<Currency>(Layout::currency) || exactly.operator()<Decimal>(Layout::decimal) ||
      exactly.operator()<Date>(Layout::date)) {
    return;
  }
  const bool* const flag = layout_ == Layout::boolean ? value.get_if<bool>() : nullptr;
  if (flag != nullptr) return append_fixed<std::uint8_t>(*flag ? 1 : 0);
  keep_aside(value);
}

bool ColumnData::null_bit(std::size_t row) const {
  const Chunk& chunk = chunks_[row / kChunkRows];
  if (chunk.nulls.empty()) return false;
  const std::size_t in_chunk = row % kChunkRows;
  return (chunk.nulls[in_chunk / 64] >> (in_chunk % 64) & 1) != 0;
}

bool ColumnData::is_null(std::size_t row) const { return null_bit(row) && !aside_.contains(row); }

std::string_view ColumnData::text(std::size_t row) const {
  if (layout_ != Layout::text && layout_ != Layout::bytes) return {};
  const Chunk& chunk = chunks_[row / kChunkRows];
  const std::size_t in_chunk = row % kChunkRows;
  const std::size_t begin = in_chunk == 0 ? 0 : chunk.ends[in_chunk - 1];
  return {reinterpret_cast<const char*>(chunk.values.data()) + begin, chunk.ends[in_chunk] - begin};
}

Variant ColumnData::value(std::size_t row) const {
  if (null_bit(row)) {
    const auto found = aside_.find(row);
    return found == aside_.end() ? Variant::null() : found->second;
  }
  switch (layout_) {
    case Layout::boolean: return fixed<std::uint8_t>(row) != 0;
    case Layout::byte: return fixed<std::uint8_t>(row);
    case Layout::int16: return fixed<std::int16_t>(row);
    case Layout::int32: return fixed<std::int32_t>(row);
    case Layout::int64: return fixed<std::int64_t>(row);
    case Layout::single: return fixed<float>(row);
    case Layout::real: return fixed<double>(row);
    case Layout::currency: return fixed<Currency>(row);
    case Layout::decimal: return fixed<Decimal>(row);
    case Layout::date: return fixed<Date>(row);
    case Layout::text: return std::string(text(row));
    case Layout::bytes: {
      const std::string_view bytes = text(row);
      return Variant::Bytes(bytes.begin(), bytes.end());
    }
    case Layout::any: break;
  }
  return Variant::null();
}

ColumnStore::ColumnStore(std::span<const DataType> types) {
  columns_.reserve(types.size());
  for (const DataType type : types) columns_.emplace_back(type);
}

}  // namespace quarno::ado
