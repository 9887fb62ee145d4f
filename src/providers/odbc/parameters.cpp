#include "providers/odbc/parameters.h"

#include <algorithm>
#include <cstring>

#include "ado/ado_error.h"
#include "common/date_text.h"
#include "common/text.h"
#include "providers/odbc/odbc_provider.h"

namespace quarno::odbc {
namespace {

// Beyond these a driver cuts what is bound as a short type.
constexpr std::size_t kShortText = 4000;
constexpr std::size_t kShortBytes = 8000;

}  // namespace

struct Parameters::Encode {
  Slot& slot;
  const Dbms& dbms;

  void put(SQLSMALLINT c_type, SQLSMALLINT type, SQLULEN size, SQLSMALLINT digits, const void* data,
           std::size_t length) const {
    slot.c_type = c_type;
    slot.type = type;
    slot.size = size;
    slot.digits = digits;
    slot.data = data;
    slot.length = static_cast<SQLLEN>(length);
  }

  void null() const {
    put(SQL_C_CHAR, dbms.sends_wide_text ? SQL_WVARCHAR : SQL_VARCHAR, 1, 0, nullptr, 0);
    slot.length = SQL_NULL_DATA;
  }
  void exact(std::string text) const {
    slot.text = std::move(text);
    const auto point = slot.text.find('.');
    const std::size_t decimals = point == std::string::npos ? 0 : slot.text.size() - point - 1;
    const auto digits = static_cast<std::size_t>(
        std::count_if(slot.text.begin(), slot.text.end(), [](char c) { return c >= '0' && c <= '9'; }));
    put(SQL_C_CHAR, SQL_DECIMAL, digits, static_cast<SQLSMALLINT>(decimals), nullptr, slot.text.size());
  }
  void narrow_text(const std::string& v, const void* data) const {
    if (!dbms.texts_hold_nul && v.find('\0') != std::string::npos) {
      throw ado::provider_error(
          ado::kMultipleStep,
          "A text with a NUL character cannot be stored here: the driver would cut it there.", kSourceName);
    }
    // Wide types count units of 16 bits, of which a character of four bytes takes two; what is beyond the
    // size is cut.
    const auto pairs = std::count_if(v.begin(), v.end(), [](unsigned char c) { return c >= 0xF0; });
    const std::size_t units = text::length(v) + (dbms.sends_wide_text ? static_cast<std::size_t>(pairs) : 0);
    const bool is_long = units > kShortText;
    const SQLSMALLINT narrow = is_long ? SQL_LONGVARCHAR : SQL_VARCHAR;
    const SQLSMALLINT wide = is_long ? SQL_WLONGVARCHAR : SQL_WVARCHAR;
    put(SQL_C_CHAR, dbms.sends_wide_text ? wide : narrow, std::max<std::size_t>(units, 1), 0, data, v.size());
  }
  void integer(std::int64_t v, SQLSMALLINT type, SQLULEN size) const {
    slot.own.integer = v;
    put(SQL_C_SBIGINT, type, size, 0, nullptr, sizeof v);
  }
  void real(double v) const {
    slot.own.real = v;
    put(SQL_C_DOUBLE, SQL_DOUBLE, 15, 0, nullptr, sizeof v);
  }

  void operator()(std::monostate) const { null(); }
  void operator()(Variant::Null) const { null(); }
  void operator()(Variant::Missing) const { null(); }
  void operator()(bool v) const {
    slot.own.bit = v ? 1 : 0;
    put(SQL_C_BIT, SQL_BIT, 1, 0, nullptr, 1);
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
      slot.text = iso_date_text(t, true);
      return narrow_text(slot.text, nullptr);
    }
    const auto part = [](int value) { return static_cast<SQLUSMALLINT>(value); };
    const std::int32_t digits = t.microsecond == 0 ? 0 : dbms.fraction_digits;
    const std::uint32_t step = dbms.fraction_digits >= 6 ? 1 : 1000;
    const auto fraction = static_cast<SQLUINTEGER>(t.microsecond) / step * step * 1000;
    slot.own.timestamp = {static_cast<SQLSMALLINT>(t.year),
                          part(t.month),
                          part(t.day),
                          part(t.hour),
                          part(t.minute),
                          part(t.second),
                          fraction};
    put(SQL_C_TYPE_TIMESTAMP, SQL_TYPE_TIMESTAMP, static_cast<SQLULEN>(digits == 0 ? 19 : 20 + digits),
        static_cast<SQLSMALLINT>(digits), nullptr, sizeof slot.own.timestamp);
  }
  void operator()(const std::string& v) const { narrow_text(v, v.data()); }
  void operator()(const Variant::Bytes& v) const {
    // A driver takes a null pointer for null, whatever the length says.
    const void* const data = v.empty() ? static_cast<const void*>("") : v.data();
    put(SQL_C_BINARY, v.size() > kShortBytes ? SQL_LONGVARBINARY : SQL_VARBINARY,
        std::max<std::size_t>(v.size(), 1), 0, data, v.size());
  }
  void operator()(const Variant::Array&) const { throw ado::multiple_step_error(); }
  void operator()(const Variant::Object&) const { throw ado::multiple_step_error(); }
};

Parameters::Parameters(std::span<const Variant> values, const Dbms& dbms) : slots_(values.size()) {
  for (std::size_t i = 0; i < values.size(); ++i) std::visit(Encode{slots_[i], dbms}, values[i].storage());
}

void Parameters::bind(const Statement& statement) {
  SQLFreeStmt(statement.get(), SQL_RESET_PARAMS);
  for (std::size_t i = 0; i < slots_.size(); ++i) {
    Slot& slot = slots_[i];
    statement.check(SQLBindParameter(
        statement.get(), static_cast<SQLUSMALLINT>(i + 1), SQL_PARAM_INPUT, slot.c_type, slot.type, slot.size,
        slot.digits, const_cast<void*>(slot.bytes()), std::max<SQLLEN>(slot.length, 0), &slot.length));
  }
}

ParameterRows::ParameterRows(std::span<const std::vector<Variant>> rows, const Dbms& dbms)
    : row_count_(rows.size()) {
  constexpr std::size_t kMostBytes = std::size_t{8} << 20;
  std::vector<Parameters> encoded;
  encoded.reserve(rows.size());
  try {
    for (const auto& row : rows) encoded.emplace_back(row, dbms);
  } catch (const Error&) {
    return;  // which one it was shows when they are written singly
  }
  std::vector<ColumnBlock> columns(rows.empty() ? 0 : rows.front().size());
  for (std::size_t i = 0; i < columns.size(); ++i) {
    ColumnBlock& column = columns[i];
    bool any = false;
    for (const Parameters& row : encoded) {
      const Parameters::Slot& slot = row.slots_[i];
      if (slot.length == SQL_NULL_DATA) continue;
      if (any && slot.c_type != column.form.c_type) return;
      // Of a short and a long type the long one takes both.
      if (!any || slot.size > column.form.size) column.form.type = slot.type;
      column.form.c_type = slot.c_type;
      column.form.size = std::max(any ? column.form.size : 0, slot.size);
      column.form.digits = std::max(column.form.digits, slot.digits);
      column.width = std::max(column.width, static_cast<std::size_t>(slot.length));
      any = true;
    }
    if (!any) column.form.type = encoded.front().slots_[i].type;
    if (column.width * rows.size() > kMostBytes) return;
    column.values.resize(column.width * rows.size());
    for (std::size_t row = 0; row < encoded.size(); ++row) {
      const Parameters::Slot& slot = encoded[row].slots_[i];
      column.lengths.push_back(slot.length);
      if (slot.length <= 0) continue;
      std::memcpy(column.values.data() + row * column.width, slot.bytes(),
                  static_cast<std::size_t>(slot.length));
    }
  }
  columns_ = std::move(columns);
}

void ParameterRows::bind(const Statement& statement) {
  SQLHSTMT const handle = statement.get();
  SQLFreeStmt(handle, SQL_RESET_PARAMS);
  statement.check(SQLSetStmtAttr(handle, SQL_ATTR_PARAMSET_SIZE, odbc_number(row_count_), 0));
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    ColumnBlock& column = columns_[i];
    statement.check(SQLBindParameter(handle, static_cast<SQLUSMALLINT>(i + 1), SQL_PARAM_INPUT,
                                     column.form.c_type, column.form.type, column.form.size,
                                     column.form.digits, column.values.data(),
                                     static_cast<SQLLEN>(column.width), column.lengths.data()));
  }
}

void ParameterRows::unbind(const Statement& statement) {
  SQLFreeStmt(statement.get(), SQL_RESET_PARAMS);
  SQLSetStmtAttr(statement.get(), SQL_ATTR_PARAMSET_SIZE, odbc_number(1), 0);
}

}  // namespace quarno::odbc
