#include "providers/desktop/functions/call.h"

#include <algorithm>
#include <cmath>

#include "common/convert.h"
#include "platform/locale.h"
#include "providers/desktop/functions/reading.h"

namespace quarno::desktop {
namespace {

// Only what has too many digits for a double is kept as text in a blob; a shorter one is a picture.
std::optional<Decimal> exact_number(std::string_view bytes) {
  constexpr std::size_t kLongestNumber = 31;  // 29 digits, a sign and a point
  if (bytes.size() <= 15 || bytes.size() > kLongestNumber) return std::nullopt;
  if (bytes.find_first_not_of("-.0123456789") != std::string_view::npos) return std::nullopt;
  return Decimal::parse(bytes);
}

void give_exact(sqlite3_context* context, const Decimal& value) {
  const std::string digits = value.text();
  const auto count = std::count_if(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (count <= 15) return sqlite3_result_double(context, value.to_double());
  sqlite3_result_blob64(context, digits.data(), digits.size(), SQLITE_TRANSIENT);
}

void give_text(sqlite3_context* context, std::string_view text) {
  sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

}  // namespace

std::string_view text_view(sqlite3_value* value) {
  const auto* const data = reinterpret_cast<const char*>(sqlite3_value_text(value));
  if (data == nullptr) throw run_time_error(RunTime::out_of_memory);
  return {data, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

Variant value_of(sqlite3_value* value) {
  switch (sqlite3_value_type(value)) {
    case SQLITE_NULL: return Variant::null();
    case SQLITE_INTEGER: return std::int64_t{sqlite3_value_int64(value)};
    case SQLITE_FLOAT: return sqlite3_value_double(value);
    case SQLITE_TEXT: return text_view(value);
    default: break;
  }
  const auto* const data = static_cast<const std::uint8_t*>(sqlite3_value_blob(value));
  const auto size = static_cast<std::size_t>(sqlite3_value_bytes(value));
  if (const auto exact = exact_number({reinterpret_cast<const char*>(data), size})) return *exact;
  return Variant::Bytes(data, data + size);
}

void give(sqlite3_context* context, const Variant& value) {
  switch (value.type()) {
    case VariantType::boolean: return sqlite3_result_int(context, *value.get_if<bool>() ? kTrue : 0);
    case VariantType::int32: return sqlite3_result_int(context, *value.get_if<std::int32_t>());
    case VariantType::int64: return sqlite3_result_int64(context, *value.get_if<std::int64_t>());
    case VariantType::real: {
      const double number = *value.get_if<double>();
      // The engine would take one that is no number for null.
      if (!std::isfinite(number)) throw run_time_error(RunTime::overflow);
      return sqlite3_result_double(context, number);
    }
    case VariantType::date: return sqlite3_result_double(context, value.get_if<Date>()->days);
    case VariantType::currency: return give_exact(context, value.get_if<Currency>()->to_decimal());
    case VariantType::decimal: return give_exact(context, *value.get_if<Decimal>());
    case VariantType::text: return give_text(context, *value.get_if<std::string>());
    case VariantType::bytes: {
      const auto& bytes = *value.get_if<Variant::Bytes>();
      if (bytes.empty()) return sqlite3_result_zeroblob(context, 0);
      return sqlite3_result_blob64(context, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
    }
    default: return sqlite3_result_null(context);
  }
}

bool Arguments::any_null() const {
  return std::any_of(values_.begin(), values_.end(),
                     [](sqlite3_value* value) { return sqlite3_value_type(value) == SQLITE_NULL; });
}

std::string Arguments::text(std::size_t i) const {
  if (is_text(i)) return std::string(text_view(raw(i)));
  return to_text(value(i), platform::locale());
}

double Arguments::number(std::size_t i) const {
  switch (sqlite3_value_type(raw(i))) {
    case SQLITE_INTEGER:
    case SQLITE_FLOAT: return sqlite3_value_double(raw(i));
    default: return to_double(value(i), platform::locale());
  }
}

Date Arguments::date(std::size_t i) const { return read_date(value(i), platform::locale()); }
std::int32_t Arguments::whole(std::size_t i) const { return to_int32(value(i), platform::locale()); }
bool Arguments::truth(std::size_t i) const { return to_bool(value(i), platform::locale()); }

bool Arguments::minds_case(std::size_t i) const {
  const std::int32_t kind = whole_or(i, 1);
  if (kind < 0 || kind > 2) refuse();
  return kind == 0;
}

void give_error(sqlite3_context* context) noexcept {
  const Error error = error_being_handled();
  sqlite3_result_error(context, error.description.data(), static_cast<int>(error.description.size()));
}

void expect_ok(int result) {
  if (result != SQLITE_OK) throw run_time_error(RunTime::out_of_memory);
}

}  // namespace quarno::desktop
