// What is known of each kind of server: how its SQL differs and which of its driver's answers can be trusted.
#pragma once

#include <cstdint>
#include <string_view>

#include "ado/provider.h"

namespace quarno::odbc {

/// The longest a PostgreSQL column can be declared. Its driver is made to say so of columns without a length.
inline constexpr std::int64_t kPostgresLongestVarchar = 10'485'760;

struct Dbms {
  std::string_view name = {};  // how SQL_DBMS_NAME begins
  ado::Dialect dialect = {};
  /// Gives the number of the last row inserted; empty when there is no such query.
  std::string_view identity_query = {};
  /// Where triggers may draw numbers too: gives the number of one column; a table and a column follow, as
  /// texts.
  std::string_view number_query = {};
  /// "SELECT @@Identity" has to be replaced by the query above.
  bool lacks_identity_variable = false;
  /// Limits the statements of the connection when a number of time units follows; empty: the statement
  /// attribute.
  std::string_view timeout_statement = {};
  std::int64_t timeout_units = 1;  // in a second
  /// One execution writes many rows, all of them or none.
  bool takes_rows = false;
  /// In front of a savepoint's name; empty: it needs no release.
  std::string_view savepoint = "SAVEPOINT ";
  std::string_view undo_savepoint = "ROLLBACK TO SAVEPOINT ";
  std::string_view release_savepoint = "RELEASE SAVEPOINT ";
  /// The server's own cursors: how to declare one (with its options in front of the query) and to fetch its
  /// next rows. Empty where the driver itself can read in blocks, or where there is no way.
  std::string_view declare_cursor = {};
  std::string_view cursor_options = {};
  std::string_view fetch_cursor = {};
  /// Gives the catalogue (or schema) that a bare table name is looked up in; empty: there is only one.
  std::string_view home_query = {};
  bool home_is_schema = false;
  /// Gives of each column of a query, which stands between these two as a text literal: whether it is a
  /// hidden key column, schema, table, column, whether the server numbers it, whether it is part of the key,
  /// and whether it can be changed. Empty where the driver tells.
  std::string_view origins_begin = {};
  std::string_view origins_end = {};
  /// No text or binary value is longer than its column says. Where this does not hold, they are read piece by
  /// piece.
  bool sizes_hold = false;
  /// The size of a long text or binary column is a limit of the server's. Elsewhere it is a setting of the
  /// driver's and says nothing.
  bool long_sizes_hold = false;
  /// The size a text column has when it was declared without one, so that values are longer; 0: there is
  /// none.
  std::int64_t unsized_text = 0;
  /// The digits of a number that was declared without any; values of such a column are not rounded.
  std::int64_t unsized_number_digits = 0;
  /// The driver takes the statements within a body (of a procedure, a trigger) for several of its own, and
  /// ends the process when it is asked for their results.
  bool miscounts_bodies = false;
  /// The driver hands on texts with a NUL character whole. Elsewhere they are refused.
  bool texts_hold_nul = false;
  /// The base column a driver names is the alias, when there is one.
  bool alias_as_base_column = false;
  /// A column of whole numbers may hold larger ones, and other values too: they are read as text.
  bool whole_numbers_vary = false;
  /// Dates are kept as text: the text itself is what tells a row.
  bool keeps_date_text = false;
  /// Days are read as text: the driver makes today of one it does not know (infinity).
  bool reads_day_text = false;
  /// Dates go out as text, which the server turns into what the column is: date, time or both.
  bool sends_date_text = false;
  /// Dates of earlier years go out as text too: the driver miscounts their days.
  int first_counted_year = 0;
  /// Text goes out as the wide types; as narrow ones it would pass through the server's code page.
  bool sends_wide_text = false;
  /// The engine's code of a failure that undoes the whole transaction (it lost a deadlock); 0: none is known.
  std::int32_t transaction_lost_code = 0;
  /// Marks a transaction with a number (which follows, with an apostrophe), and asks for the mark of the
  /// present one: for a driver that undoes the whole transaction after some failures without saying so.
  std::string_view mark_transaction = {};
  std::string_view transaction_mark = {};
  std::int32_t fraction_digits = 6;  // of a second
};

/// The facts for a server of that name; unknown ones get defaults that are safe everywhere.
const Dbms& dbms_named(std::string_view name);

}  // namespace quarno::odbc
