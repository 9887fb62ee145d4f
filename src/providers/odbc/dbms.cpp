#include "providers/odbc/dbms.h"

#include <algorithm>

#include "common/text.h"

namespace quarno::odbc {
namespace {

// Whatever the column's collation and character set: by default "a" equals "A" and "à".
constexpr std::string_view kSameTextOpen = "CAST(";
constexpr std::string_view kSameText = " AS CHAR CHARACTER SET utf8mb4) COLLATE utf8mb4_bin = ?";

// Measured with the drivers of Debian 12 where the README says so.
constexpr Dbms kKnown[] = {
    {.name = "SQLite",
     .identity_query = "SELECT last_insert_rowid()",
     .lacks_identity_variable = true,
     .alias_as_base_column = true,
     .whole_numbers_vary = true,
     .keeps_date_text = true,
     .sends_date_text = true},
    {.name = "MariaDB",
     .dialect = {.quote_open = "`",
                 .quote_close = "`",
                 .empty_insert = " () VALUES ()",
                 .same_text = kSameText,
                 .same_text_open = kSameTextOpen},
     .identity_query = "SELECT LAST_INSERT_ID()",
     .timeout_statement = "SET SESSION max_statement_time=",
     .takes_rows = true,
     .home_query = "SELECT DATABASE()",
     .sizes_hold = true,
     .long_sizes_hold = true,
     .miscounts_bodies = true,
     .texts_hold_nul = true,
     .sends_date_text = true,
     .transaction_lost_code = 1213},
    {.name = "MySQL",
     .dialect = {.quote_open = "`",
                 .quote_close = "`",
                 .empty_insert = " () VALUES ()",
                 .same_text = kSameText,
                 .same_text_open = kSameTextOpen},
     .identity_query = "SELECT LAST_INSERT_ID()",
     .timeout_statement = "SET SESSION max_execution_time=",
     .timeout_units = 1000,
     .takes_rows = true,
     .home_query = "SELECT DATABASE()",
     .sizes_hold = true,
     .long_sizes_hold = true,
     .miscounts_bodies = true,
     .texts_hold_nul = true,
     .sends_date_text = true,
     .transaction_lost_code = 1213},
    {.name = "PostgreSQL",
     .identity_query = "SELECT lastval()",
     .number_query = "SELECT currval(pg_get_serial_sequence(",
     .declare_cursor = "DECLARE ",
     // Not WITH HOLD: the server would run the whole query when it commits, where no time limit holds.
     .cursor_options = " NO SCROLL CURSOR FOR ",
     .fetch_cursor = "FETCH FORWARD 4096 FROM ",
     .home_query = "SELECT current_schema()",
     .home_is_schema = true,
     .sizes_hold = true,
     .unsized_text = kPostgresLongestVarchar,
     .unsized_number_digits = 28,
     .reads_day_text = true,
     .sends_date_text = true,
     .mark_transaction = "SET LOCAL quarnofwk.transaction = '",
     .transaction_mark = "SELECT current_setting('quarnofwk.transaction', true)"},
    {.name = "Microsoft SQL Server",
     .dialect = {.quote_open = "[", .quote_close = "]"},
     .identity_query = "SELECT @@IDENTITY",
     .savepoint = "SAVE TRANSACTION ",
     .undo_savepoint = "ROLLBACK TRANSACTION ",
     .release_savepoint = "",
     .home_query = "SELECT SCHEMA_NAME()",
     .home_is_schema = true,
     .origins_begin = "SELECT is_hidden, source_schema, source_table, source_column, is_identity_column, "
                      "is_part_of_unique_key, is_updateable FROM sys.dm_exec_describe_first_result_set(N'",
     .origins_end = "', NULL, 1) ORDER BY column_ordinal",
     .sizes_hold = true,
     .long_sizes_hold = true,
     // Measured wrong up to February 1600. A datetime, whose texts depend on the language, begins in 1753.
     .first_counted_year = 1753,
     .sends_wide_text = true,
     .transaction_lost_code = 1205,
     .fraction_digits = 3},
    {.name = "Oracle", .undo_savepoint = "ROLLBACK TO ", .release_savepoint = "", .sizes_hold = true},
};

constexpr Dbms kUnknown{};

}  // namespace

const Dbms& dbms_named(std::string_view name) {
  const auto* const found = std::find_if(std::begin(kKnown), std::end(kKnown), [&](const Dbms& row) {
    return text::equal_fold(name.substr(0, row.name.size()), row.name);
  });
  return found == std::end(kKnown) ? kUnknown : *found;
}

}  // namespace quarno::odbc
