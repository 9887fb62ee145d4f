#include "ado/cursor/column_store.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "common/date_text.h"

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
bool fits(std::int64_t value) requires std::is_integral_v<Int> {
  return value >= std::int64_t{std::numeric_limits<Int>::min()} &&
         value <= std::int64_t{std::numeric_limits<Int>::max()};
}

template <class Real>
bool fits(double) requires std::is_floating_point_v<Real> {
  return true;
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

void ColumnData::pack() {
  Chunk& full = chunks_.emplace_back();
  const std::size_t bytes = growing_.values.size();
  const std::size_t slack = growing_.values.capacity() - bytes;
  if (slack <= bytes / 16) {
    full.values = std::move(growing_.values);
    growing_.values = {};
    // The next chunk will most likely need as much.
    growing_.values.reserve(width_of(layout_) != 0 ? bytes : bytes + bytes / 16);
  } else {
    full.values.assign(growing_.values.begin(), growing_.values.end());
    growing_.values.clear();
  }
  if (bytes <= std::numeric_limits<std::uint16_t>::max()) {
    full.short_ends.assign(growing_.ends.begin(), growing_.ends.end());
  } else {
    full.ends.assign(growing_.ends.begin(), growing_.ends.end());
  }
  growing_.ends.clear();
  full.nulls = std::move(growing_.nulls);
  growing_.nulls.clear();
}

void ColumnData::clear() {
  chunks_.clear();
  source_values_.clear();
  aside_.clear();
  growing_.values.clear();
  growing_.ends.clear();
  growing_.nulls.clear();
  row_count_ = 0;
  date_text_ = DateText::none;
}

void ColumnData::mark_null(Chunk& chunk) {
  const std::size_t in_chunk = row_count_ % kChunkRows;
  if (chunk.nulls.empty()) chunk.nulls.resize(kChunkRows / 64);
  chunk.nulls[in_chunk / 64] |= std::uint64_t{1} << (in_chunk % 64);
}

void ColumnData::close_row(Chunk& chunk, bool null) {
  if (null) mark_null(chunk);
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
  const std::size_t at = chunk.values.size();
  chunk.values.resize(at + sizeof(T));
  std::memcpy(chunk.values.data() + at, &value, sizeof(T));
  close_row(chunk, false);
}

// Room is made once for what fits into the chunk; a value that is not of the column's width goes its own way.
template <class T, class Value>
void ColumnData::append_block(std::span<const Value> values, const std::int64_t* lengths) {
  for (std::size_t next = 0; next < values.size();) {
    Chunk& chunk = open_chunk();
    const std::size_t room = kChunkRows - row_count_ % kChunkRows;
    const std::size_t begin = chunk.values.size();
    const std::size_t end = std::min(values.size(), next + room);
    chunk.values.resize(begin + (end - next) * sizeof(T));
    std::uint8_t* to = chunk.values.data() + begin;
    for (; next < end; ++next, ++row_count_, to += sizeof(T)) {
      if (lengths[next] < 0) {
        mark_null(chunk);
      } else if (fits<T>(values[next])) {
        const T value = static_cast<T>(values[next]);
        std::memcpy(to, &value, sizeof(T));
      } else {
        aside_.emplace(row_count_, values[next]);
        mark_null(chunk);
      }
    }
  }
}

template <class T>
T ColumnData::fixed(std::size_t row) const {
  T value;
  std::memcpy(&value, chunk_of(row).values.data() + (row % kChunkRows) * sizeof(T), sizeof(T));
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
      if (value > kFirstDay - 1 && value < kLastDay) return append_date(Date{value});
      break;
    case Layout::decimal:
      if (const auto exact = Decimal::from_double(value)) return append_fixed(*exact);
      break;
    case Layout::currency:
      if (const auto money = Currency::exactly(value)) return append_fixed(*money);
      if (const auto exact = Decimal::from_double(value)) {
        if (const auto money = Currency::from_decimal(*exact)) return append_fixed(*money);
      }
      break;
    case Layout::boolean: return append_fixed<std::uint8_t>(value != 0 ? 1 : 0);
    default: break;
  }
  keep_aside(value);
}

template <class Int>
void ColumnData::append_whole(std::span<const Int> values, const std::int64_t* lengths) {
  if (layout_ == Layout::int32) return append_block<std::int32_t>(values, lengths);
  if (layout_ == Layout::int16) return append_block<std::int16_t>(values, lengths);
  if (layout_ == Layout::int64) return append_block<std::int64_t>(values, lengths);
  for (std::size_t i = 0; i < values.size(); ++i) {
    lengths[i] < 0 ? append_null() : append_integer(values[i]);
  }
}

void ColumnData::append_integers(std::span<const std::int32_t> values, const std::int64_t* lengths) {
  append_whole(values, lengths);
}

void ColumnData::append_integers(std::span<const std::int64_t> values, const std::int64_t* lengths) {
  append_whole(values, lengths);
}

void ColumnData::append_reals(std::span<const double> values, const std::int64_t* lengths) {
  if (layout_ == Layout::real) return append_block<double>(values, lengths);
  for (std::size_t i = 0; i < values.size(); ++i) lengths[i] < 0 ? append_null() : append_real(values[i]);
}

void ColumnData::append_texts(const char* texts, std::size_t width, std::span<const std::int64_t> lengths) {
  std::int64_t total = 0;
  for (const std::int64_t length : lengths) total += std::max<std::int64_t>(length, 0);
  const bool in_one_chunk = row_count_ % kChunkRows + lengths.size() <= kChunkRows;
  const std::size_t begin = open_chunk().values.size();
  const bool fit = begin + static_cast<std::size_t>(total) <= std::numeric_limits<std::uint32_t>::max();
  if (layout_ != Layout::text || !in_one_chunk || !fit) {
    for (std::size_t i = 0; i < lengths.size(); ++i) {
      const char* const text = texts + i * width;
      lengths[i] < 0 ? append_null() : append_text({text, static_cast<std::size_t>(lengths[i])});
    }
    return;
  }
  Chunk& chunk = growing_;
  chunk.values.resize(begin + static_cast<std::size_t>(total));
  std::size_t end = begin;
  for (std::size_t i = 0; i < lengths.size(); ++i, ++row_count_) {
    if (lengths[i] < 0) {
      mark_null(chunk);
    } else {
      const auto length = static_cast<std::size_t>(lengths[i]);
      if (length > 0) std::memcpy(chunk.values.data() + end, texts + i * width, length);
      end += length;
    }
    chunk.ends.push_back(static_cast<std::uint32_t>(end));
  }
}

bool ColumnData::append_date_text(std::string_view text) {
  const std::optional<Date> usual = parse_iso_date(text);
  const std::optional<Date> date = usual ? usual : parse_date(text, LocaleInfo{});
  if (!date || layout_ != Layout::date) return false;
  append_fixed(*date);
  // Kept once for all dates that are written the way the first one is.
  const DateText form = !usual ? DateText::none : text.size() > 10 ? DateText::second : DateText::day;
  if (row_count_ == 1) date_text_ = form;
  if (form == DateText::none || form != date_text_) keep_source_value(text);
  return true;
}

Variant ColumnData::source_value(std::size_t row) const {
  const auto found = source_values_.find(row);
  if (found != source_values_.end()) return found->second;
  const Variant own = value(row);
  const Date* const date = own.get_if<Date>();
  if (date == nullptr || date_text_ == DateText::none) return own;
  return iso_date_text(civil_from_date(*date), date_text_ == DateText::second);
}

void ColumnData::append_date(Date value) {
  if (layout_ != Layout::date) return keep_aside(value);
  append_fixed(value);
  // Among dates that are kept as text this one is not.
  if (date_text_ != DateText::none) keep_source_value(value);
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
  const std::size_t at = chunk.values.size();
  chunk.values.resize(at + size);
  if (size > 0) std::memcpy(chunk.values.data() + at, data, size);
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
  if (const auto* date = value.get_if<Date>()) return append_date(*date);
  const auto exactly = [&]<class T>(Layout layout) {
    const T* const same = layout_ == layout ? value.get_if<T>() : nullptr;
    if (same != nullptr) append_fixed(*same);
    return same != nullptr;
  };
  if (exactly.operator()<double>(Layout::real) || exactly.operator()<std::int32_t>(Layout::int32) ||
      exactly.operator()<std::int16_t>(Layout::int16) || exactly.operator()<std::int64_t>(Layout::int64) ||
      exactly.operator()<std::uint8_t>(Layout::byte) || exactly.operator()<float>(Layout::single) ||
      exactly.operator()<Currency>(Layout::currency) || exactly.operator()<Decimal>(Layout::decimal)) {
    return;
  }
  const bool* const flag = layout_ == Layout::boolean ? value.get_if<bool>() : nullptr;
  if (flag != nullptr) return append_fixed<std::uint8_t>(*flag ? 1 : 0);
  keep_aside(value);
}

bool ColumnData::is_null(std::size_t row) const {
  return null_bit(chunk_of(row), row) && !aside_.contains(row);
}

std::string_view ColumnData::text(std::size_t row) const {
  if (layout_ != Layout::text && layout_ != Layout::bytes) return {};
  const Chunk& chunk = chunk_of(row);
  const std::size_t in_chunk = row % kChunkRows;
  const auto between = [&](const auto& ends) -> std::string_view {
    const std::size_t begin = in_chunk == 0 ? 0 : ends[in_chunk - 1];
    return {reinterpret_cast<const char*>(chunk.values.data()) + begin, ends[in_chunk] - begin};
  };
  return chunk.short_ends.empty() ? between(chunk.ends) : between(chunk.short_ends);
}

Variant ColumnData::value(std::size_t row) const {
  if (null_bit(chunk_of(row), row)) {
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
    case Layout::text: return text(row);
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
