#include "providers/odbc/parameters.h"

#include <algorithm>
#include <cstdio>

#include "ado/ado_error.h"
#include "common/text.h"

namespace quarno::odbc {
namespace {

// Beyond these a driver cuts what is bound as a short type.
constexpr std::size_t kShortText = 4000;
constexpr std::size_t kShortBytes = 8000;

std::string date_text(const CivilTime& t) {
  char text[40];
  const int length = std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.year, t.month, t.day,
                                   t.hour, t.minute, t.second);
  std::string result(text, static_cast<std::size_t>(length));
  if (t.microsecond == 0) return result;
  std::snprintf(text, sizeof text, ".%06d", t.microsecond);
  return result + text;
}

}  // namespace

struct Parameters::Bind {
  const Statement& statement;
  SQLUSMALLINT index;
  Slot& slot;
  const Dbms& dbms;

  void bind(SQLSMALLINT c_type, SQLSMALLINT type, SQLULEN size, SQLSMALLINT digits, const void* data,
            std::size_t length) const {
    slot.length = static_cast<SQLLEN>(length);
    statement.check(SQLBindParameter(statement.get(), index, SQL_PARAM_INPUT, c_type, type, size, digits,
                                     const_cast<void*>(data), static_cast<SQLLEN>(length), &slot.length));
  }

  void null() const {
    bind(SQL_C_CHAR, dbms.sends_wide_text ? SQL_WVARCHAR : SQL_VARCHAR, 1, 0, nullptr, 0);
    slot.length = SQL_NULL_DATA;
  }
  void exact(std::string text) const {
    slot.text = std::move(text);
    const auto point = slot.text.find('.');
    const std::size_t decimals = point == std::string::npos ? 0 : slot.text.size() - point - 1;
    const auto digits = static_cast<std::size_t>(
        std::count_if(slot.text.begin(), slot.text.end(), [](char c) { return c >= '0' && c <= '9'; }));
    bind(SQL_C_CHAR, SQL_DECIMAL, digits, static_cast<SQLSMALLINT>(decimals), slot.text.data(),
         slot.text.size());
  }
  void narrow_text(const std::string& v) const {
    // Wide types count units of 16 bits, of which a character of four bytes takes two; what is beyond the
    // size is cut.
    const auto pairs = std::count_if(v.begin(), v.end(), [](unsigned char c) { return c >= 0xF0; });
    const std::size_t units = text::length(v) + (dbms.sends_wide_text ? static_cast<std::size_t>(pairs) : 0);
    const bool is_long = units > kShortText;
    const SQLSMALLINT narrow = is_long ? SQL_LONGVARCHAR : SQL_VARCHAR;
    const SQLSMALLINT wide = is_long ? SQL_WLONGVARCHAR : SQL_WVARCHAR;
    bind(SQL_C_CHAR, dbms.sends_wide_text ? wide : narrow, std::max<std::size_t>(units, 1), 0, v.data(),
         v.size());
  }
  void integer(std::int64_t v, SQLSMALLINT type, SQLULEN size) const {
    slot.integer = v;
    bind(SQL_C_SBIGINT, type, size, 0, &slot.integer, sizeof slot.integer);
  }
  void real(double v) const {
    slot.real = v;
    bind(SQL_C_DOUBLE, SQL_DOUBLE, 15, 0, &slot.real, sizeof slot.real);
  }

  void operator()(std::monostate) const { null(); }
  void operator()(Variant::Null) const { null(); }
  void operator()(Variant::Missing) const { null(); }
  void operator()(bool v) const {
    slot.bit = v ? 1 : 0;
    bind(SQL_C_BIT, SQL_BIT, 1, 0, &slot.bit, 1);
  }
  void operator()(std::uint8_t v) const { integer(v, SQL_SMALLINT, 5); }
  void operator()(std::int16_t v) const { integer(v, SQL_SMALLINT, 5); }
  void operator()(std::int32_t v) const { integer(v, SQL_INTEGER, 10); }
  void operator()(std::int64_t v) const { integer(v, SQL_BIGINT, 19); }
  void operator()(float v) const { real(double{v}); }
  void operator()(double v) const { real(v); }
  void operator()(Currency v) const { exact(v.to_decimal().text()); }
  void operator()(const Decimal& v) const { exact(v.text()); }
  void operator()(Date v) const {
    const CivilTime t = civil_from_date(v);
    if (dbms.sends_date_text || t.year < dbms.first_counted_year) {
      slot.text = date_text(t);
      return narrow_text(slot.text);
    }
    const auto part = [](int value) { return static_cast<SQLUSMALLINT>(value); };
    const std::int32_t digits = t.microsecond == 0 ? 0 : dbms.fraction_digits;
    const std::uint32_t step = dbms.fraction_digits >= 6 ? 1 : 1000;
    const auto fraction = static_cast<SQLUINTEGER>(t.microsecond) / step * step * 1000;
    slot.timestamp = {static_cast<SQLSMALLINT>(t.year),
                      part(t.month),
                      part(t.day),
                      part(t.hour),
                      part(t.minute),
                      part(t.second),
                      fraction};
    bind(SQL_C_TYPE_TIMESTAMP, SQL_TYPE_TIMESTAMP, static_cast<SQLULEN>(digits == 0 ? 19 : 20 + digits),
         static_cast<SQLSMALLINT>(digits), &slot.timestamp, sizeof slot.timestamp);
  }
  void operator()(const std::string& v) const { narrow_text(v); }
  void operator()(const Variant::Bytes& v) const {
    // A driver takes a null pointer for null, whatever the length says.
    const void* const data = v.empty() ? static_cast<const void*>("") : v.data();
    bind(SQL_C_BINARY, v.size() > kShortBytes ? SQL_LONGVARBINARY : SQL_VARBINARY,
         std::max<std::size_t>(v.size(), 1), 0, data, v.size());
  }
  void operator()(const Variant::Array&) const { throw ado::multiple_step_error(); }
  void operator()(const Variant::Object&) const { throw ado::multiple_step_error(); }
};

Parameters::Parameters(const Statement& statement, std::span<const Variant> values, const Dbms& dbms)
    : slots_(values.size()) {
  SQLFreeStmt(statement.get(), SQL_RESET_PARAMS);
  for (std::size_t i = 0; i < values.size(); ++i) {
    std::visit(Bind{statement, static_cast<SQLUSMALLINT>(i + 1), slots_[i], dbms}, values[i].storage());
  }
}

}  // namespace quarno::odbc
