#include "providers/odbc/rows.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "ado/ado_error.h"
#include "ado/write_statement.h"
#include "common/date_text.h"
#include "common/locale_info.h"
#include "common/text.h"
#include "providers/odbc/diagnosis.h"
#include "providers/odbc/odbc_provider.h"

namespace quarno::odbc {
namespace {

constexpr std::size_t kBlockRows = 256;
constexpr std::size_t kMostBlockBytes = std::size_t{4} << 20;
// A column of wider values is read piece by piece.
constexpr std::int64_t kMostBoundWidth = 16384;
constexpr std::size_t kPieceBytes = 65536;

struct Wire {
  SQLSMALLINT type;
  std::int64_t width;  // bytes, the terminator included; 0: as wide as the column
};
Wire wire_of(Form form) {
  switch (form) {
    case Form::bit: return {SQL_C_BIT, 1};
    case Form::small: return {SQL_C_SLONG, 4};
    case Form::integer: return {SQL_C_SBIGINT, 8};
    case Form::number: return {SQL_C_CHAR, 0};
    case Form::real: return {SQL_C_DOUBLE, 8};
    // As text: the number struct loses decimals, a double digits.
    case Form::exact: return {SQL_C_CHAR, 160};
    case Form::date: return {SQL_C_TYPE_DATE, sizeof(SQL_DATE_STRUCT)};
    // As text: the time struct has no fraction.
    case Form::time: return {SQL_C_CHAR, 40};
    case Form::timestamp: return {SQL_C_TYPE_TIMESTAMP, sizeof(SQL_TIMESTAMP_STRUCT)};
    case Form::date_text: return {SQL_C_CHAR, 0};
    case Form::guid: return {SQL_C_CHAR, 40};
    case Form::text: return {SQL_C_CHAR, 0};
    case Form::bytes: return {SQL_C_BINARY, 0};
  }
  return {SQL_C_CHAR, 0};
}

template <class T>
T taken(const char* data) {
  T value;
  std::memcpy(&value, data, sizeof(T));
  return value;
}

// A day the calendar of dates does not have (a year before 100) stays readable as text; a zero date is no
// date.
void append_timestamp(ado::ColumnData& column, const SQL_TIMESTAMP_STRUCT& t) {
  if (t.month == 0 || t.day == 0) return column.append_null();
  const auto date = date_from_civil(
      {t.year, t.month, t.day, t.hour, t.minute, t.second, static_cast<int>(t.fraction / 1000)});
  if (date) return column.append_date(*date);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02u:%02u:%02u", t.year, unsigned{t.month},
                unsigned{t.day}, unsigned{t.hour}, unsigned{t.minute}, unsigned{t.second});
  column.append_text(text);
}

void append_time(ado::ColumnData& column, std::string_view text) {
  const auto date = parse_date(text, LocaleInfo{});
  if (!date) return column.append_text(text);
  column.append(Date{date->days - std::floor(date->days)});
}

void append_number(ado::ColumnData& column, std::string_view text) {
  std::int64_t whole = 0;
  const char* const end = text.data() + text.size();
  if (const auto read = std::from_chars(text.data(), end, whole); read.ec == std::errc() && read.ptr == end) {
    return column.append_integer(whole);
  }
  double real = 0;
  if (const auto read = std::from_chars(text.data(), end, real); read.ec == std::errc() && read.ptr == end) {
    return column.append_real(real);
  }
  column.append_text(text);
}

void append_value(ado::ColumnData& column, Form form, const char* data, std::size_t length) {
  const std::string_view text(data, length);
  switch (form) {
    case Form::bit: return column.append_integer(*data);
    case Form::small: return column.append_integer(taken<SQLINTEGER>(data));
    case Form::integer: return column.append_integer(taken<SQLBIGINT>(data));
    case Form::number: return append_number(column, text);
    // SQLite's driver makes a text of 15 digits on the way; what is beyond them is lost there.
    case Form::real: return column.append_real(taken<double>(data));
    case Form::exact: {
      const auto value = Decimal::parse(text);
      if (value && column.layout() == ado::Layout::currency) {
        if (const auto money = Currency::from_decimal(*value)) return column.append_currency(*money);
      }
      return value ? column.append(*value) : column.append_text(text);
    }
    case Form::date: {
      const auto day = taken<SQL_DATE_STRUCT>(data);
      return append_timestamp(column, {day.year, day.month, day.day, 0, 0, 0, 0});
    }
    case Form::time: return append_time(column, text);
    case Form::timestamp: return append_timestamp(column, taken<SQL_TIMESTAMP_STRUCT>(data));
    case Form::date_text:
      if (!column.append_date_text(text)) column.append_text(text);
      return;
    case Form::guid: return column.append_text("{" + text::upper(text) + "}");
    case Form::text: return column.append_text(text);
    case Form::bytes: return column.append_bytes({reinterpret_cast<const std::uint8_t*>(data), length});
  }
}

}  // namespace

void OpenResults::keep() {
  // Each takes itself off the list at its end.
  while (!open_.empty()) open_.back()->keep_rest();
}

OdbcRows::OdbcRows(Statement statement, std::vector<DescribedColumn> columns, std::string text,
                   std::shared_ptr<OpenResults> results, std::optional<ServerCursor> cursor, Clock clock)
    : statement_(std::move(statement)),
      text_(std::move(text)),
      results_(std::move(results)),
      cursor_(std::move(cursor)),
      clock_(clock) {
  for (DescribedColumn& each : columns) {
    const Wire wire = wire_of(each.form);
    forms_.push_back(each.form);
    widths_.push_back(wire.width != 0 ? wire.width : each.width);
    columns_.push_back(std::move(each.column));
  }
  bind();
  results_->add(*this);
}

OdbcRows::~OdbcRows() {
  // Nobody reads these rows any more.
  if (!ended_) quietly([this] { end(true); });
}

// The connection is free for other work from here on.
void OdbcRows::end(bool well) {
  ended_ = true;
  results_->remove(*this);
  // Not just closed: MariaDB's driver, freeing it later, would swallow what a call behind it has to say.
  statement_.free();
  if (cursor_) cursor_->end(well);
}

// The columns before the first long one are bound. Those behind it are read in their order, which every
// driver can do.
void OdbcRows::bind() {
  const auto first_long = std::find_if(widths_.begin(), widths_.end(), [](std::int64_t width) {
    return width == 0 || width > kMostBoundWidth;
  });
  const auto count = static_cast<std::size_t>(first_long - widths_.begin());
  std::size_t row_bytes = 1;
  for (std::size_t i = 0; i < count; ++i) row_bytes += static_cast<std::size_t>(widths_[i]) + sizeof(SQLLEN);
  const bool one_by_one = first_long != widths_.end();
  const std::size_t rows =
      one_by_one ? 1 : std::clamp<std::size_t>(kMostBlockBytes / row_bytes, 1, kBlockRows);
  states_.resize(rows);
  SQLHSTMT const handle = statement_.get();
  statement_.check(SQLSetStmtAttr(handle, SQL_ATTR_ROW_ARRAY_SIZE, odbc_number(rows), 0), text_);
  statement_.check(SQLSetStmtAttr(handle, SQL_ATTR_ROWS_FETCHED_PTR, &in_block_, 0), text_);
  statement_.check(SQLSetStmtAttr(handle, SQL_ATTR_ROW_STATUS_PTR, states_.data(), 0), text_);
  bound_.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    Bound& bound = bound_[i];
    bound.width = static_cast<std::size_t>(widths_[i]);
    bound.values.resize(bound.width * rows);
    bound.lengths.resize(rows);
    statement_.check(SQLBindCol(handle, static_cast<SQLUSMALLINT>(i + 1), wire_of(forms_[i]).type,
                                bound.values.data(), static_cast<SQLLEN>(bound.width), bound.lengths.data()),
                     text_);
  }
}

// The server's cursor gives another result, empty at its end.
bool OdbcRows::next_from_cursor() {
  if (!cursor_) return false;
  statement_.close();
  statement_.check(SQLExecDirect(statement_.get(), odbc_text(cursor_->fetch), SQL_NTS), text_);
  const SQLRETURN result = SQLFetch(statement_.get());
  statement_.check(result, text_);
  return result != SQL_NO_DATA;
}

bool OdbcRows::next_block() {
  in_block_ = 0;
  next_ = 0;
  // MariaDB's driver leaves the length of a BIT as it was unless it is null.
  for (std::size_t i = 0; i < bound_.size(); ++i) {
    if (forms_[i] == Form::bit) std::fill(bound_[i].lengths.begin(), bound_[i].lengths.end(), 0);
  }
  const SQLRETURN result = SQLFetch(statement_.get());
  statement_.check(result, text_);
  if (result == SQL_NO_DATA) {
    if (next_from_cursor()) return in_block_ > 0;
    read_outcome();
    end(true);
    return false;
  }
  // A failure in the middle of a block comes as a warning; some drivers mark mere truncation the same way,
  // which would lose data as well.
  const bool failed =
      std::find(states_.begin(), states_.begin() + static_cast<std::ptrdiff_t>(in_block_),
                SQLUSMALLINT{SQL_ROW_ERROR}) != states_.begin() + static_cast<std::ptrdiff_t>(in_block_);
  if (result == SQL_SUCCESS_WITH_INFO) {
    const Diagnosis diagnosis = diagnosis_of(SQL_HANDLE_STMT, statement_.get());
    if (failed || !diagnosis.sql_state.starts_with("01")) statement_.check(SQL_ERROR, text_);
  }
  return in_block_ > 0;
}

void OdbcRows::read_outcome() {
  if (!ado::is_call(text_)) return;
  // Nothing of what is skipped goes where the rows went.
  SQLFreeStmt(statement_.get(), SQL_UNBIND);
  try {
    for (SQLRETURN result = SQL_SUCCESS; result != SQL_NO_DATA;) {
      result = SQLMoreResults(statement_.get());
      statement_.check(result, text_);
    }
  } catch (const Error&) {
    quietly([this] { end(false); });
    throw;
  }
}

void OdbcRows::finish() {
  if (ended_) return;
  read_outcome();
  end(true);
}

std::size_t OdbcRows::fetch(ado::ColumnStore& store, std::size_t limit) {
  return kept_ ? take_kept(store, limit) : read(store, limit);
}

std::size_t OdbcRows::read(ado::ColumnStore& store, std::size_t limit) {
  const auto running = clock_.running();
  std::size_t count = 0;
  while (count < limit && !ended_) {
    if (next_ == in_block_ && !next_block()) break;
    // With values that are read one by one a block is one row.
    const std::size_t rows = std::min<std::size_t>(in_block_ - next_, limit - count);
    for (std::size_t i = 0; i < bound_.size(); ++i) append_bound(store.column(i), i, rows);
    for (std::size_t i = bound_.size(); i < columns_.size(); ++i) append_read(store.column(i), i);
    next_ += rows;
    count += rows;
  }
  return count;
}

void OdbcRows::append_bound(ado::ColumnData& column, std::size_t index, std::size_t rows) const {
  static_assert(sizeof(SQLLEN) == sizeof(std::int64_t) && SQL_NULL_DATA < 0);
  const Form form = forms_[index];
  const Bound& bound = bound_[index];
  const std::int64_t* const lengths = bound.lengths.data() + next_;
  const char* values = bound.values.data() + next_ * bound.width;
  const bool is_text = wire_of(form).type == SQL_C_CHAR;
  const bool sized = is_text || form == Form::bytes;
  const auto room = static_cast<std::int64_t>(bound.width - (is_text ? 1 : 0));
  if (sized && std::any_of(lengths, lengths + rows, [&](std::int64_t length) {
        return length > room || (length < 0 && length != SQL_NULL_DATA);
      })) {
    throw ado::provider_error(
        ado::kUnspecified, "A value of column " + columns_[index].name + " is longer than the driver said.",
        kSourceName);
  }
  if (form == Form::small)
    return column.append_integers(std::span(reinterpret_cast<const std::int32_t*>(values), rows), lengths);
  if (form == Form::integer)
    return column.append_integers(std::span(reinterpret_cast<const std::int64_t*>(values), rows), lengths);
  if (form == Form::real)
    return column.append_reals({reinterpret_cast<const double*>(values), rows}, lengths);
  if (form == Form::text) return column.append_texts(values, bound.width, {lengths, rows});
  for (std::size_t i = 0; i < rows; ++i, values += bound.width) {
    if (lengths[i] == SQL_NULL_DATA) {
      column.append_null();
    } else {
      append_value(column, form, values, sized ? static_cast<std::size_t>(lengths[i]) : bound.width);
    }
  }
}

void OdbcRows::append_read(ado::ColumnData& column, std::size_t index) {
  piece_.resize(kPieceBytes);
  if (!read_pieces(index)) return column.append_null();
  append_value(column, forms_[index], whole_.data(), whole_.size());
}

// False for null.
bool OdbcRows::read_pieces(std::size_t index) {
  const SQLSMALLINT type = wire_of(forms_[index]).type;
  whole_.clear();
  // Most values are short, and SQLite's driver clears all the room it is given, value by value.
  constexpr std::size_t kFirstPieceBytes = 256;
  for (std::size_t offered = kFirstPieceBytes;; offered = kPieceBytes) {
    const std::size_t room = offered - (type == SQL_C_CHAR ? 1 : 0);
    SQLLEN left = 0;
    const SQLRETURN result = SQLGetData(statement_.get(), static_cast<SQLUSMALLINT>(index + 1), type,
                                        piece_.data(), static_cast<SQLLEN>(offered), &left);
    statement_.check(result, text_);
    if (result == SQL_NO_DATA) return true;
    if (left == SQL_NULL_DATA) return false;
    const bool cut = left == SQL_NO_TOTAL || (left >= 0 && static_cast<std::size_t>(left) > room);
    const bool more = cut && result == SQL_SUCCESS_WITH_INFO;
    // The last piece of an unknown total ends at its terminator.
    const std::size_t got = !cut   ? static_cast<std::size_t>(left)
                            : more ? room
                                   : ::strnlen(piece_.data(), room);
    whole_.insert(whole_.end(), piece_.begin(), piece_.begin() + static_cast<std::ptrdiff_t>(got));
    if (!more) return true;
  }
}

void OdbcRows::keep_rest() {
  kept_ = ado::store_for(columns_);
  clock_.restart();
  try {
    while (read(*kept_, kBlockRows) > 0) {
    }
  } catch (const Error& error) {
    failure_ = error;
  }
  if (!ended_) quietly([this] { end(false); });
}

std::size_t OdbcRows::take_kept(ado::ColumnStore& store, std::size_t limit) {
  const std::size_t count = std::min(limit, kept_->row_count() - taken_);
  if (count == 0 && failure_) throw Error(*failure_);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    for (std::size_t row = taken_; row < taken_ + count; ++row) {
      store.column(i).append(kept_->column(i).value(row));
    }
  }
  taken_ += count;
  return count;
}

}  // namespace quarno::odbc
