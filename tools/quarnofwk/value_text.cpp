#include "value_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "common/date.h"
#include "common/decimal.h"
#include "common/error.h"
#include "common/text.h"

namespace tool {
namespace {

constexpr int kDateOnly = 133;
constexpr int kTimeOnly = 134;

template <class Number>
std::string number_text(Number number) {
  std::array<char, 64> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
  return {buffer.data(), result.ptr};
}

std::string date_text(double days, int column_type) {
  quarno::CivilTime t;
  try {
    t = quarno::civil_from_date({days});
  } catch (const quarno::Error&) {
    return number_text(days);  // no day of the calendar
  }
  std::array<char, 64> buffer;
  std::string text;
  if (column_type != kTimeOnly) {
    std::snprintf(buffer.data(), buffer.size(), "%04d-%02d-%02d", t.year, t.month, t.day);
    text = buffer.data();
  }
  if (column_type == kDateOnly) return text;
  if (!text.empty()) text += "T";
  std::snprintf(buffer.data(), buffer.size(), "%02d:%02d:%02d", t.hour, t.minute, t.second);
  text += buffer.data();
  if (t.microsecond != 0) {
    std::snprintf(buffer.data(), buffer.size(), ".%06d", t.microsecond);
    text += buffer.data();
  }
  return text;
}

std::string hex(const std::uint8_t* bytes, std::uint64_t size) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (std::uint64_t i = 0; i < size; ++i) {
    text.push_back(kDigits[bytes[i] >> 4]);
    text.push_back(kDigits[bytes[i] & 15]);
  }
  return text;
}

}  // namespace

bool is_null(const quarnofwk::Value& value) { return value.is_null() || value.is_empty(); }

bool is_number(const quarnofwk::Value& value) {
  switch (value.type()) {
    case QF_INT16:
    case QF_INT32:
    case QF_INT64:
    case QF_BYTE:
    case QF_SINGLE:
    case QF_DOUBLE:
    case QF_CURRENCY:
    case QF_DECIMAL: return true;
    default: return false;
  }
}

std::string plain_text(const quarnofwk::Value& value, int column_type) {
  const qf_value& raw = *value.raw();
  switch (raw.type) {
    case QF_TEXT: return std::string(value.text());
    case QF_INT16: return number_text(raw.as.int16);
    case QF_INT32: return number_text(raw.as.int32);
    case QF_INT64: return number_text(raw.as.int64);
    case QF_BYTE: return number_text(static_cast<int>(raw.as.byte));
    case QF_SINGLE: return number_text(raw.as.single);
    case QF_DOUBLE: return number_text(raw.as.real);
    case QF_CURRENCY: return quarno::Currency{raw.as.currency}.text();
    case QF_DECIMAL: return quarno::Decimal(raw.negative != 0, raw.high, raw.as.low, raw.scale).text();
    case QF_DATE: return date_text(raw.as.date, column_type);
    case QF_BOOLEAN: return raw.as.boolean != 0 ? "true" : "false";
    case QF_BYTES: return hex(raw.as.bytes.data, raw.as.bytes.size);
    default: return {};
  }
}

std::string csv_text(std::string_view text) {
  if (!text.empty() && text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
  return "\"" + quarno::text::replace_all(text, "\"", "\"\"") + "\"";
}

std::string csv_cell(const quarnofwk::Value& value, int column_type) {
  return is_null(value) ? std::string() : csv_text(plain_text(value, column_type));
}

std::string json_text(std::string_view text) {
  std::string result = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const char32_t character = quarno::text::next_character(text, at);
    if (character == '"' || character == '\\') {
      result.push_back('\\');
      result.push_back(static_cast<char>(character));
    } else if (character < 0x20) {
      std::array<char, 8> escape;
      std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(character));
      result += escape.data();
    } else {
      quarno::text::append_character(result, character);  // a malformed byte becomes U+FFFD
    }
  }
  return result + "\"";
}

std::string json_value(const quarnofwk::Value& value, int column_type) {
  const bool no_number =
      (value.type() == QF_DOUBLE || value.type() == QF_SINGLE) && !std::isfinite(value.number());
  if (is_null(value) || no_number) return "null";
  const std::string text = plain_text(value, column_type);
  return is_number(value) || value.type() == QF_BOOLEAN ? text : json_text(text);
}

std::string table_cell(std::string_view text) {
  std::string result;
  for (const char byte : text) {
    const auto code = static_cast<unsigned char>(byte);
    if (code >= 0x20 && code != 0x7F) {
      result.push_back(byte);
    } else if (byte == '\n') {
      result += "\\n";
    } else {
      // A control sequence in the data must not drive the terminal.
      std::array<char, 8> escape;
      std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned>(code));
      result += escape.data();
    }
  }
  return result;
}

}  // namespace tool
