#include "ado/shape/grouping.h"

#include <bit>
#include <cmath>
#include <functional>
#include <numeric>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "ado/shape/shape_error.h"

namespace quarno::ado::shape {
namespace {

__extension__ typedef unsigned __int128 Wide;

constexpr double kBeyondInt64 = 9223372036854775808.0;

// Groups by their key: open addressing over the keys in the order in which they came.
template <class Key>
class KeyTable {
 public:
  explicit KeyTable(std::size_t expected) {
    std::size_t size = 16;
    while (size < expected * 2) size *= 2;
    slots_.assign(size, Groups::kNone);
  }
  std::size_t count() const { return keys_.size(); }
  std::uint32_t find(const Key& key) const { return slots_[slot_of(key)]; }
  std::uint32_t find_or_add(const Key& key) {
    std::size_t slot = slot_of(key);
    if (slots_[slot] != Groups::kNone) return slots_[slot];
    if ((keys_.size() + 1) * 2 > slots_.size()) {
      grow();
      slot = slot_of(key);
    }
    slots_[slot] = static_cast<std::uint32_t>(keys_.size());
    keys_.push_back(key);
    return slots_[slot];
  }

 private:
  std::size_t slot_of(const Key& key) const {
    const std::size_t mask = slots_.size() - 1;
    // Row numbers follow one another: spread over the table.
    std::size_t slot = std::hash<Key>{}(key)*0x9E3779B97F4A7C15u;
    slot = (slot ^ (slot >> 32)) & mask;
    while (slots_[slot] != Groups::kNone && !(keys_[slots_[slot]] == key)) slot = (slot + 1) & mask;
    return slot;
  }
  void grow() {
    slots_.assign(slots_.size() * 2, Groups::kNone);
    for (std::uint32_t group = 0; group < keys_.size(); ++group) slots_[slot_of(keys_[group])] = group;
  }

  std::vector<Key> keys_;
  std::vector<std::uint32_t> slots_;
};

// What a row has as its key. `odd` is a value that this kind of key cannot stand for: all keys are then made
// the general way.
enum class KeyState : std::uint8_t { usual, null, odd };

std::optional<std::int64_t> whole(const Variant& value) {
  return std::visit(
      [](const auto& v) -> std::optional<std::int64_t> {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, bool>) {
          return v ? kTrue : 0;
        } else if constexpr (std::is_integral_v<T>) {
          return std::int64_t{v};
        } else if constexpr (std::is_floating_point_v<T>) {
          const double number = v;
          if (std::trunc(number) != number || std::fabs(number) >= kBeyondInt64) return std::nullopt;
          return static_cast<std::int64_t>(number);
        } else {
          return std::nullopt;
        }
      },
      value.storage());
}

// Readers of one column's keys.
struct WholeKeys {
  using Key = std::int64_t;
  const ColumnData& column;

  explicit WholeKeys(const Keys& keys) : column(keys.store.column(keys.chosen.front())) {}
  static bool serves(const Keys& keys) {
    const Layout layout = keys.store.column(keys.chosen.front()).layout();
    return layout == Layout::byte || layout == Layout::int16 || layout == Layout::int32 ||
           layout == Layout::int64;
  }
  KeyState read(std::size_t row, Key& key) const {
    const Variant value = column.value(row);
    if (value.is_null()) return KeyState::null;
    const auto number = whole(value);
    if (!number) return KeyState::odd;
    key = *number;
    return KeyState::usual;
  }
};

bool is_filled_with_blanks(DataType type) { return type == DataType::char_ || type == DataType::wchar; }

std::string_view without_filling(std::string_view text, DataType type) {
  if (!is_filled_with_blanks(type)) return text;
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

struct TextKeys {
  using Key = std::string_view;
  const ColumnData& column;
  DataType type;

  explicit TextKeys(const Keys& keys)
      : column(keys.store.column(keys.chosen.front())), type(keys.columns[keys.chosen.front()].type) {}
  static bool serves(const Keys& keys) {
    return keys.store.column(keys.chosen.front()).layout() == Layout::text;
  }
  KeyState read(std::size_t row, Key& key) const {
    key = column.text(row);
    if (key.empty()) {
      // Empty, null, or a value of another type.
      const Variant value = column.value(row);
      if (value.is_null()) return KeyState::null;
      if (!value.is_text()) return KeyState::odd;
    }
    key = without_filling(key, type);
    return KeyState::usual;
  }
};

void append_bits(std::string& key, std::uint64_t bits) {
  key.append(reinterpret_cast<const char*>(&bits), sizeof bits);
}

void append_counted(std::string& key, char kind, std::string_view bytes) {
  key += kind;
  append_bits(key, bytes.size());
  key += bytes;
}

// Without the zeros that say nothing; a whole number as such.
void append_number(std::string& key, const Decimal& value) {
  Wide digits = Wide{value.high()} << 64 | value.low();
  int scale = value.scale();
  for (; scale > 0 && digits % 10 == 0; --scale) digits /= 10;
  const auto low = static_cast<std::uint64_t>(digits);
  constexpr Wide kLimit = Wide{1} << 63;
  if (scale == 0 && (value.negative() ? digits <= kLimit : digits < kLimit)) {
    key += 'i';
    return append_bits(key, value.negative() ? std::uint64_t{0} - low : low);
  }
  key += 'n';
  key += value.negative() ? '-' : '+';
  key += static_cast<char>(scale);
  append_bits(key, low);
  append_bits(key, static_cast<std::uint64_t>(digits >> 64));
}

// The same bytes for equal values, whatever the type of a number.
void append_key(std::string& key, const Variant& value, DataType type) {
  if (const auto number = whole(value)) {
    key += 'i';
    return append_bits(key, static_cast<std::uint64_t>(*number));
  }
  const auto append_real = [&](double number) {
    // One that a Decimal rounds is equal to none.
    const auto exact = Decimal::from_double(number);
    if (exact && exact->to_double() == number) return append_number(key, *exact);
    key += 'r';
    append_bits(key, std::bit_cast<std::uint64_t>(number));
  };
  if (const auto* text = value.get_if<std::string>())
    return append_counted(key, 's', without_filling(*text, type));
  if (const auto* number = value.get_if<Decimal>()) return append_number(key, *number);
  if (const auto* money = value.get_if<Currency>()) return append_number(key, money->to_decimal());
  if (const auto* number = value.get_if<double>()) return append_real(*number);
  if (const auto* number = value.get_if<float>()) return append_real(double{*number});
  if (const auto* bytes = value.get_if<Variant::Bytes>()) {
    return append_counted(key, 'b', {reinterpret_cast<const char*>(bytes->data()), bytes->size()});
  }
  if (const auto* date = value.get_if<Date>()) {
    key += 'd';
    // 0.0 and -0.0 are one day.
    return append_bits(key, std::bit_cast<std::uint64_t>(date->days == 0 ? 0.0 : date->days));
  }
  key += '0';
}

struct AnyKeys {
  using Key = std::string;
  const Keys& keys;
  bool nulls_are_alike = false;

  KeyState read(std::size_t row, Key& key) const {
    key.clear();
    for (const std::size_t column : keys.chosen) {
      const ColumnData& data = keys.store.column(column);
      const DataType type = keys.columns[column].type;
      // Most texts are not copied out first.
      const std::string_view text = data.layout() == Layout::text ? data.text(row) : std::string_view();
      if (!text.empty()) {
        append_counted(key, 's', without_filling(text, type));
        continue;
      }
      const Variant value = data.value(row);
      if (value.is_null() && !nulls_are_alike) return KeyState::null;
      append_key(key, value, type);
    }
    return KeyState::usual;
  }
};

// The rows of both sides by their key: parents with the same share a number, which children have that belong
// to them. kNone for all others.
struct Numbers {
  std::vector<std::uint32_t> parents;
  std::vector<std::uint32_t> children;
  std::size_t count = 0;
};

// Nothing when a key is odd.
template <class Reader>
std::optional<Numbers> numbered_by(const Reader& parents, const Reader& children, std::size_t parent_count,
                                   std::size_t child_count) {
  KeyTable<typename Reader::Key> table(parent_count);
  typename Reader::Key key{};
  Numbers result{std::vector<std::uint32_t>(parent_count, Groups::kNone),
                 std::vector<std::uint32_t>(child_count, Groups::kNone)};
  for (std::size_t row = 0; row < parent_count; ++row) {
    const KeyState state = parents.read(row, key);
    if (state == KeyState::odd) return std::nullopt;
    if (state == KeyState::usual) result.parents[row] = table.find_or_add(key);
  }
  for (std::size_t row = 0; row < child_count; ++row) {
    const KeyState state = children.read(row, key);
    if (state == KeyState::odd) return std::nullopt;
    if (state == KeyState::usual) result.children[row] = table.find(key);
  }
  result.count = table.count();
  return result;
}

Numbers numbered(const Keys& parents, const Keys& children) {
  const std::size_t parent_count = parents.store.row_count();
  const std::size_t child_count = children.store.row_count();
  std::optional<Numbers> result;
  const auto by = [&]<class Reader>() {
    if (result || !Reader::serves(parents) || !Reader::serves(children)) return;
    result = numbered_by(Reader(parents), Reader(children), parent_count, child_count);
  };
  by.template operator()<WholeKeys>();
  by.template operator()<TextKeys>();
  if (!result) result = numbered_by(AnyKeys{parents}, AnyKeys{children}, parent_count, child_count);
  return std::move(*result);
}

// Two columns' numbers, read as one key.
struct NumberPairs {
  using Key = std::uint64_t;
  const std::vector<std::uint32_t>& one;
  const std::vector<std::uint32_t>& other;

  KeyState read(std::size_t row, Key& key) const {
    if (one[row] == Groups::kNone || other[row] == Groups::kNone) return KeyState::null;
    key = Key{one[row]} << 32 | other[row];
    return KeyState::usual;
  }
};

enum class Class : std::uint8_t { number, text, bytes, date, unknown };

Class class_of(DataType type) {
  switch (layout_of(type)) {
    case Layout::text: return Class::text;
    case Layout::bytes: return Class::bytes;
    case Layout::date: return Class::date;
    case Layout::any: return Class::unknown;
    default: return Class::number;
  }
}

void require_comparable(const Keys& parents, const Keys& children) {
  // A computed column of no rows has no type of its own.
  if (parents.store.row_count() == 0 || children.store.row_count() == 0) return;
  for (std::size_t i = 0; i < parents.chosen.size(); ++i) {
    const Column& parent = parents.columns[parents.chosen[i]];
    const Column& child = children.columns[children.chosen[i]];
    const Class one = class_of(parent.type);
    const Class other = class_of(child.type);
    if (one == other || one == Class::unknown || other == Class::unknown) continue;
    throw command_error("RELATE: the columns \"" + parent.name + "\" and \"" + child.name +
                        "\" hold values that cannot be compared.");
  }
}

}  // namespace

Groups::Groups(std::span<const std::uint32_t> group_of, std::size_t count) : starts_(count + 1, 0) {
  for (const std::uint32_t group : group_of) {
    if (group != kNone) ++starts_[group + 1];
  }
  std::partial_sum(starts_.begin(), starts_.end(), starts_.begin());
  rows_.resize(starts_.back());
  std::vector<std::uint32_t> next(starts_.begin(), starts_.end() - 1);
  for (std::size_t row = 0; row < group_of.size(); ++row) {
    if (group_of[row] != kNone) rows_[next[group_of[row]]++] = static_cast<std::uint32_t>(row);
  }
}

Join join(const Keys& parents, const Keys& children) {
  require_comparable(parents, children);
  // Column by column: each is read in the way that suits it.
  std::optional<Numbers> result;
  for (std::size_t i = 0; i < parents.chosen.size(); ++i) {
    Numbers next = numbered({parents.store, parents.columns, {parents.chosen[i]}},
                            {children.store, children.columns, {children.chosen[i]}});
    if (result) {
      next = *numbered_by(NumberPairs{result->parents, next.parents},
                          NumberPairs{result->children, next.children}, next.parents.size(),
                          next.children.size());
    }
    result = std::move(next);
  }
  return {std::move(result->parents), Groups(result->children, result->count)};
}

Groups grouped(const Keys& keys) {
  const std::size_t row_count = keys.store.row_count();
  std::vector<std::uint32_t> group_of(row_count, 0);
  // Without a column all rows are one group, be there any or none.
  if (keys.chosen.empty()) return Groups(group_of, 1);
  KeyTable<std::string> table(64);
  const AnyKeys reader{keys, true};
  std::string key;
  for (std::size_t row = 0; row < row_count; ++row) {
    reader.read(row, key);
    group_of[row] = table.find_or_add(key);
  }
  return Groups(group_of, table.count());
}

}  // namespace quarno::ado::shape
