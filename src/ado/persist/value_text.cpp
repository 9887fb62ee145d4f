#include "ado/persist/value_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "ado/field_conversion.h"
#include "ado/persist/value_type.h"
#include "common/convert.h"
#include "common/error.h"
#include "common/text.h"

namespace quarno::ado::persist {
namespace {

constexpr std::size_t kGuidCharacters = 38;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

template <class T>
std::optional<T> number(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  T value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

template <class T>
bool append_whole(ColumnData& to, std::string_view text) {
  const auto value = number<T>(text);
  if (value) to.append_integer(*value);
  return value.has_value();
}

template <class T>
bool append_real(ColumnData& to, std::string_view text) {
  const auto value = number<T>(text);
  if (!value || !std::isfinite(*value)) return false;
  to.append_real(*value);
  return true;
}

bool append_boolean(ColumnData& to, std::string_view text) {
  const auto as_number = number<double>(text);
  const bool is_true = text::equal_fold(text, "true");
  if (!as_number && !is_true && !text::equal_fold(text, "false")) return false;
  if (as_number && !std::isfinite(*as_number)) return false;
  to.append_integer(is_true || (as_number && *as_number != 0) ? 1 : 0);
  return true;
}

// A plain number of up to 18 digits, which most are: its digits and how many of them are decimals.
struct Digits {
  std::uint64_t value = 0;
  std::uint8_t scale = 0;
  bool is_negative = false;
};
std::optional<Digits> short_digits(std::string_view text) {
  Digits result;
  if (text.starts_with('-')) {
    result.is_negative = true;
    text.remove_prefix(1);
  }
  bool after_point = false;
  std::size_t count = 0;
  for (const char c : text) {
    if (c == '.' && !after_point) {
      after_point = true;
      continue;
    }
    if (!is_digit(c) || ++count > 18) return std::nullopt;
    result.value = result.value * 10 + static_cast<std::uint64_t>(c - '0');
    if (after_point) ++result.scale;
  }
  if (count == 0) return std::nullopt;
  return result;
}

bool append_currency(ColumnData& to, std::string_view text) {
  constexpr std::int64_t kPowers[] = {10'000, 1'000, 100, 10, 1};
  const auto digits = short_digits(text);
  if (digits && digits->scale <= 4 && digits->value < 100'000'000'000'000) {
    const std::int64_t scaled = static_cast<std::int64_t>(digits->value) * kPowers[digits->scale];
    to.append_currency({digits->is_negative ? -scaled : scaled});
    return true;
  }
  const auto exact = Decimal::parse(text);
  const auto money = exact ? Currency::from_decimal(*exact) : std::nullopt;
  if (money) to.append_currency(*money);
  return money.has_value();
}

bool append_decimal(ColumnData& to, const Column& column, std::string_view text) {
  const auto digits = short_digits(text);
  std::optional<Decimal> value;
  if (digits) {
    value = Decimal(digits->is_negative && digits->value != 0, 0, digits->value, digits->scale);
  } else {
    value = Decimal::parse(text);
  }
  if (!value) return false;
  // A number of fewer decimals than its column's is the same number with all of them.
  if (column.type == DataType::numeric && column.scale <= Decimal::kMaxScale &&
      value->scale() < column.scale) {
    value = value->rescaled(column.scale).value_or(*value);
  }
  to.append(*value);
  return true;
}

// Numbers at fixed places: takes `digits` of them, then what must follow.
class Places {
 public:
  explicit Places(std::string_view text) : text_(text) {}
  int number(std::size_t digits) {
    int value = 0;
    for (; digits > 0; --digits) value = value * 10 + (at_digit() ? take() - '0' : fail());
    return value;
  }
  void sign(char expected) {
    if (!skip(expected)) fail();
  }
  bool skip(char c) {
    const bool is_there = text_.starts_with(c);
    if (is_there) text_.remove_prefix(1);
    return is_there;
  }
  bool at_digit() const { return !text_.empty() && is_digit(text_.front()); }
  char take() {
    const char c = text_.front();
    text_.remove_prefix(1);
    return c;
  }
  bool at_end() const { return text_.empty(); }
  bool failed() const { return failed_; }

 private:
  int fail() {
    failed_ = true;
    text_ = {};
    return 0;
  }
  std::string_view text_;
  bool failed_ = false;
};

void read_time(Places& places, CivilTime& moment) {
  moment.hour = places.number(2);
  places.sign(':');
  moment.minute = places.number(2);
  places.sign(':');
  moment.second = places.number(2);
  if (!places.skip('.')) return;
  int unit = 100'000;
  // Digits behind the microseconds are finer than a date is.
  for (; places.at_digit(); unit /= 10) moment.microsecond += (places.take() - '0') * unit;
}

// A moment without its time is one at midnight; a Z behind it says nothing that these columns could keep.
bool append_date(ColumnData& to, DataType type, std::string_view text) {
  Places places(text);
  CivilTime moment;
  if (type == DataType::db_time) {
    read_time(places, moment);
  } else {
    moment.year = places.number(4);
    places.sign('-');
    moment.month = places.number(2);
    places.sign('-');
    moment.day = places.number(2);
    if (places.skip('T') || places.skip(' ')) read_time(places, moment);
  }
  places.skip('Z');
  if (places.failed() || !places.at_end()) return false;
  const auto date = date_from_civil(moment);
  if (date) to.append(*date);
  return date.has_value();
}

// In the form that the format has, letters large; empty for any other text.
std::string guid_text(std::string_view text) {
  constexpr std::string_view kForm = "{00000000-0000-0000-0000-000000000000}";
  static_assert(kForm.size() == kGuidCharacters);
  if (text.size() != kForm.size()) return {};
  std::string result(text);
  for (std::size_t i = 0; i < result.size(); ++i) {
    if (result[i] >= 'a' && result[i] <= 'f') result[i] = static_cast<char>(result[i] - 'a' + 'A');
    const bool is_hex = is_digit(result[i]) || (result[i] >= 'A' && result[i] <= 'F');
    if (kForm[i] == '0' ? !is_hex : result[i] != kForm[i]) return {};
  }
  return result;
}

bool append_guid(ColumnData& to, std::string_view text) {
  const std::string guid = guid_text(text);
  if (!guid.empty()) to.append_text(guid);
  return !guid.empty();
}

bool append_text(ColumnData& to, const Column& column, std::string_view text) {
  const auto most = static_cast<std::size_t>(column.defined_size);
  // Bytes are never fewer than characters; a size of 0 sets no limit.
  to.append_text(most > 0 && text.size() > most ? text::left(text, most) : text);
  return true;
}

bool append_bytes(ColumnData& to, std::string_view text) {
  Variant::Bytes bytes;
  if (!read_bytes(text, bytes)) return false;
  to.append_bytes(bytes);
  return true;
}

template <class T>
void write_number(Output& to, T value) {
  char* const at = to.room(32);
  to.end_at(std::to_chars(at, at + 32, value).ptr);
}

// The exponent's sign is a large letter.
template <class... Precision>
Refusal write_real(Output& to, auto value, Precision... precision) {
  if (!std::isfinite(value)) return "Not a number that a file can hold.";
  char* const at = to.room(64);
  char* const end = std::to_chars(at, at + 64, value, std::chars_format::general, precision...).ptr;
  std::replace(at, end, 'e', 'E');
  to.end_at(end);
  return {};
}

void write_currency(Output& to, Currency value) {
  const std::uint64_t scaled = value.scaled < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(value.scaled)
                                                : static_cast<std::uint64_t>(value.scaled);
  char* at = to.room(32);
  if (value.scaled < 0) *at++ = '-';
  at = std::to_chars(at, at + 24, scaled / 10'000).ptr;
  if (auto decimals = static_cast<int>(scaled % 10'000); decimals != 0) {
    *at++ = '.';
    for (int unit = 1000; decimals != 0; decimals %= unit, unit /= 10) {
      *at++ = static_cast<char>('0' + decimals / unit);
    }
  }
  to.end_at(at);
}

// Decimals lose the zeros at their end, numerics have as many places as their column and no zero before the
// point.
void write_decimal(Output& to, const Column& column, const Decimal& value) {
  if (column.type == DataType::numeric) {
    const auto fitted = column.scale <= Decimal::kMaxScale && value.scale() < column.scale
                            ? value.rescaled(column.scale)
                            : value;
    const std::string text = fitted.value_or(value).text();
    const bool is_negative = text.starts_with('-');
    const std::string_view digits = std::string_view(text).substr(is_negative ? 1 : 0);
    if (is_negative) to.put('-');
    return to.put(digits.starts_with("0.") ? digits.substr(1) : digits);
  }
  const std::string text = value.text();
  if (text.find('.') == std::string::npos) return to.put(text);
  const std::string_view kept = std::string_view(text).substr(0, text.find_last_not_of('0') + 1);
  to.put(kept.ends_with('.') ? kept.substr(0, kept.size() - 1) : kept);
}

char* put_places(char* at, int value, int digits) {
  for (int place = digits - 1; place >= 0; --place, value /= 10)
    at[place] = static_cast<char>('0' + value % 10);
  return at + digits;
}

Refusal write_date(Output& to, DataType type, Date value) {
  const bool has_fraction = type == DataType::db_timestamp || type == kFileTime;
  CivilTime moment;
  try {
    moment = civil_from_date(value);
    // What is written to the second is rounded to it, unless that leads out of the calendar, or a time out of
    // its day.
    if (!has_fraction && type != DataType::db_date && moment.microsecond >= 500'000) {
      moment.microsecond = 0;
      if (const auto down = date_from_civil(moment); down && down->days > 0 && down->days < kLastDay - 1) {
        const CivilTime up = civil_from_date({down->days + 1.0 / 86'400});
        if (type != DataType::db_time || up.day == moment.day) moment = up;
      }
    }
  } catch (const Error&) {
    return "Not a day of the years 100 to 9999.";
  }
  char* at = to.room(40);
  if (type != DataType::db_time) {
    at = put_places(at, moment.year, 4);
    *at++ = '-';
    at = put_places(at, moment.month, 2);
    *at++ = '-';
    at = put_places(at, moment.day, 2);
    if (type != DataType::db_date) *at++ = 'T';
  }
  if (type != DataType::db_date) {
    at = put_places(at, moment.hour, 2);
    *at++ = ':';
    at = put_places(at, moment.minute, 2);
    *at++ = ':';
    at = put_places(at, moment.second, 2);
    if (has_fraction && moment.microsecond != 0) {
      *at++ = '.';
      at = put_places(at, moment.microsecond, 6);
      at = put_places(at, 0, 3);
    }
  }
  to.end_at(at);
  return {};
}

// A fixed text or binary value fills its column.
void pad(Output& to, std::size_t count, std::int64_t size, std::string_view filler) {
  for (auto at = static_cast<std::int64_t>(count); at < size; ++at) to.put(filler);
}

Refusal write_fixed_text(Output& to, const Column& column, const std::string& text) {
  if (column.type == DataType::guid) {
    const std::string guid = guid_text(text.starts_with('{') ? text : "{" + text + "}");
    to.put(guid);
    return guid.empty() ? "Not a unique identifier." : "";
  }
  const Refusal refusal = write_text(to, text);
  if (column.type == DataType::char_ || column.type == DataType::wchar) {
    pad(to, text::length(text), column.defined_size, " ");
  }
  return refusal;
}

// What may stand in an attribute's value as it is; the rest is one of the others.
enum class Written : std::uint8_t { as_is, escaped, long_character, never };

constexpr std::array<Written, 256> kWritten = [] {
  std::array<Written, 256> table{};
  for (std::size_t c = 0; c < 32; ++c) table[c] = Written::never;
  // Blanks of these kinds would come back from most readers as spaces.
  for (const char c : {'\t', '\n', '\r', '&', '\'', '"', '<', '>'}) {
    table[static_cast<std::uint8_t>(c)] = Written::escaped;
  }
  for (std::size_t c = 128; c < 256; ++c) table[c] = Written::long_character;
  return table;
}();

// What a variant column holds goes out as text, and so does what a loose data source put into a column of
// another type, where that text says the same in the column's own type.
Refusal write_other(Output& to, const Column& column, const Variant& value) {
  constexpr Refusal kRefused = "The value is not of its column's type.";
  LocaleInfo plain;
  plain.date_order = LocaleInfo::DateOrder::month_day_year;
  try {
    if (column.type == DataType::variant) return write_text(to, to_text(value, plain));
    Column unbounded = column;
    unbounded.defined_size = 0;
    const Variant own = coerced(value, unbounded, plain);
    if (own.storage().index() == value.storage().index() || to_text(own, plain) != to_text(value, plain)) {
      return kRefused;
    }
    return write_value(to, column, own);
  } catch (const Error&) {
    return kRefused;
  }
}

}  // namespace

bool read_bytes(std::string_view text, Variant::Bytes& bytes) {
  bytes.clear();
  bytes.reserve(text.size() / 2);
  int high = -1;
  for (const char c : text) {
    int digit = -1;
    if (is_digit(c)) digit = c - '0';
    if (c >= 'a' && c <= 'f') digit = c - 'a' + 10;
    if (c >= 'A' && c <= 'F') digit = c - 'A' + 10;
    if (digit < 0) continue;
    if (high < 0) {
      high = digit;
      continue;
    }
    bytes.push_back(static_cast<std::uint8_t>(high * 16 + digit));
    high = -1;
  }
  return high < 0;
}

bool append_value(ColumnData& to, const Column& column, std::string_view text) {
  using enum DataType;
  if (column.type == kVarNumeric) return append_decimal(to, column, text);
  if (column.type == kFileTime) return append_date(to, column.type, text);
  switch (column.type) {
    case boolean: return append_boolean(to, text);
    case tiny_int: return append_whole<std::int8_t>(to, text);
    case unsigned_tiny_int: return append_whole<std::uint8_t>(to, text);
    case small_int: return append_whole<std::int16_t>(to, text);
    case unsigned_small_int: return append_whole<std::uint16_t>(to, text);
    case integer: return append_whole<std::int32_t>(to, text);
    case unsigned_int: return append_whole<std::uint32_t>(to, text);
    case big_int: return append_whole<std::int64_t>(to, text);
    case unsigned_big_int: {
      const auto value = number<std::uint64_t>(text);
      if (value) to.append(Decimal(false, 0, *value, 0));
      return value.has_value();
    }
    case single: return append_real<float>(to, text);
    case real: return append_real<double>(to, text);
    case currency: return append_currency(to, text);
    case decimal:
    case numeric: return append_decimal(to, column, text);
    case date:
    case db_date:
    case db_time:
    case db_timestamp: return append_date(to, column.type, text);
    case guid: return append_guid(to, text);
    case binary:
    case var_binary:
    case long_var_binary: return append_bytes(to, text);
    default: return append_text(to, column, text);
  }
}

void write_bytes(Output& to, std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  while (!bytes.empty()) {
    const std::string_view part = bytes.substr(0, 256);
    char* at = to.room(2 * part.size());
    for (const char c : part) {
      *at++ = kDigits[static_cast<std::uint8_t>(c) >> 4];
      *at++ = kDigits[static_cast<std::uint8_t>(c) & 15];
    }
    to.end_at(at);
    bytes.remove_prefix(part.size());
  }
}

Refusal write_text(Output& to, std::string_view utf8) {
  constexpr Refusal kRefused = "The text holds a character that XML cannot hold.";
  std::size_t begin = 0;
  for (std::size_t at = 0; at < utf8.size();) {
    const auto c = static_cast<std::uint8_t>(utf8[at]);
    switch (kWritten[c]) {
      case Written::as_is: ++at; continue;
      case Written::never: return kRefused;
      case Written::long_character: {
        const char32_t character = text::next_character(utf8, at);
        if (character == text::kInvalid || character == 0xFFFE || character == 0xFFFF) return kRefused;
        continue;
      }
      case Written::escaped: break;
    }
    to.put(utf8.substr(begin, at - begin));
    char* place = to.room(8);
    *place++ = '&';
    *place++ = '#';
    *place++ = 'x';
    place = std::to_chars(place, place + 2, c, 16).ptr;
    *place++ = ';';
    to.end_at(place);
    begin = ++at;
  }
  to.put(utf8.substr(begin));
  return {};
}

Refusal write_value(Output& to, const Column& column, const Variant& value) {
  const bool is_moment = is_date(column.type) || column.type == kFileTime;
  const bool is_decimal_alike = layout_of(column.type) == Layout::decimal || column.type == kVarNumeric;
  if (const auto* const text = value.get_if<std::string>(); text != nullptr && is_text(column.type)) {
    return write_fixed_text(to, column, *text);
  }
  switch (layout_of(column.type)) {
    case Layout::byte:
      if (const auto* const number = value.get_if<std::uint8_t>())
        return write_number(to, *number), Refusal{};
      break;
    case Layout::int16:
      if (const auto* const number = value.get_if<std::int16_t>())
        return write_number(to, *number), Refusal{};
      break;
    case Layout::int32:
      if (const auto* const number = value.get_if<std::int32_t>())
        return write_number(to, *number), Refusal{};
      break;
    case Layout::int64:
      if (const auto* const number = value.get_if<std::int64_t>())
        return write_number(to, *number), Refusal{};
      break;
    case Layout::single:
      if (const auto* const number = value.get_if<float>()) return write_real(to, *number);
      break;
    case Layout::real:
      if (const auto* const number = value.get_if<double>()) return write_real(to, *number, 17);
      break;
    case Layout::boolean:
      if (const auto* const flag = value.get_if<bool>()) return to.put(*flag ? "True" : "False"), Refusal{};
      break;
    case Layout::currency:
      if (const auto* const money = value.get_if<Currency>()) return write_currency(to, *money), Refusal{};
      break;
    case Layout::date:
    case Layout::any:
      if (const auto* const date = value.get_if<Date>(); date != nullptr && is_moment) {
        return write_date(to, column.type, *date);
      }
      break;
    default: break;
  }
  if (const auto* const number = value.get_if<Decimal>(); number != nullptr && is_decimal_alike) {
    return write_decimal(to, column, *number), Refusal{};
  }
  if (const auto* const bytes = value.get_if<Variant::Bytes>(); bytes != nullptr && is_binary(column.type)) {
    write_bytes(to, {reinterpret_cast<const char*>(bytes->data()), bytes->size()});
    if (column.type == DataType::binary) pad(to, bytes->size(), column.defined_size, "00");
    return {};
  }
  return write_other(to, column, value);
}

}  // namespace quarno::ado::persist
