#include "providers/odbc/driver_text.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "providers/odbc/diagnosis.h"
#include "providers/odbc/statement_text.h"
#include "support/outcome.h"

namespace quarno::odbc {
namespace {

std::string text_for(const std::string& text, std::string_view driver, std::int32_t timeout_seconds = 0) {
  std::vector<Word> words = odbc_words(ado::ConnectionString::parse(text));
  add_driver_words(words, driver, timeout_seconds);
  return driver_text(words, driver);
}

TEST(DriverText, WordsAreWrittenTheWayTheDriverReadsThem) {
  // clang-format off
  const struct { const char* text; const char* driver; const char* expected; } rows[] = {
      {"pwd=x;Driver={Some};Provider=MSDASQL;Data Source=y", "Some", "Driver={Some};pwd=x;"},
      {"DSN=a;UID=;PWD=;DATABASE=", "", "DSN=a;DATABASE=;"}, {"DSN=a;PWD={p;w}}d=1{}", "", "DSN=a;PWD={p;w}}d=1{};"},
      {"DSN=a;PWD={p;w}}d=1{}", "/x/libtdsodbc.so", "DSN=a;PWD={p;w}d=1{};TDS_Version=7.4;ClientCharset=UTF-8;"},
      {"DSN=a;PWD=' x'", "", "DSN=a;PWD={ x};"},
      {"DSN=a;TDS_Version=7.2", "FreeTDS", "DSN=a;TDS_Version=7.2;ClientCharset=UTF-8;"},
      {"DSN=a;OPTION=16", "MySQL ODBC 3.51 Driver", "DSN=a;OPTION=18;CHARSET=utf8mb4;"},
      {"DSN=a;BoolsAsChar=1", "psqlodbcw.so",
       "DSN=a;BoolsAsChar=1;MaxVarcharSize=10485760;MaxLongVarcharSize=1073741824;ConnSettings=SET "
       "client_encoding TO 'UTF8';"},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(text_for(row.text, row.driver), row.expected) << row.text;
  EXPECT_NE(text_for("DSN=a", "libmaodbc.so", 7).find("CONN_TIMEOUT=7;"), std::string::npos);
  EXPECT_EQ(test::error_of([] { return text_for("DSN=a;PWD='x};y'", "FreeTDS"); }), ado::kUnspecified);
}

TEST(StatementText, TellsQueriesCallsAndTransactions) {
  // clang-format off
  const struct { const char* statement; bool single; char transaction; const char* call; } rows[] = {
      {"SELECT 1", true, ' ', ""}, {" select(1) ; ", true, ' ', ""}, {"values (1)", true, ' ', ""},
      {"select 1; select 2", false, ' ', ""}, {"INSERT INTO t SELECT 1", false, ' ', ""}, {"", false, ' ', ""},
      {"BEGIN", false, 'b', ""}, {"start\ttransaction read only;", false, 'b', ""}, {"begin try", false, ' ', ""},
      {"COMMIT WORK", false, 'e', ""}, {"rollback", false, 'e', ""}, {"ROLLBACK TO here", false, ' ', ""},
      {"rollback work to here", false, ' ', ""}, {"End", false, 'e', ""}, {"{call p('a')}", false, ' ', "call p('a')"},
      {" { CALL p } ", false, ' ', "CALL p()"}, {"{p}", false, ' ', ""}, {"call p()", false, ' ', ""},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(is_single_query(row.statement), row.single) << row.statement;
    const auto begun = begins_transaction(row.statement);
    EXPECT_EQ(begun ? (*begun ? 'b' : 'e') : ' ', row.transaction) << row.statement;
    EXPECT_EQ(call_of_procedure(row.statement), row.call) << row.statement;
  }
}

TEST(StatementText, AnotherNameIsToldFromAColumn) {
  // clang-format off
  const struct { const char* statement; bool expected; } rows[] = {
      {"SELECT a, b FROM t WHERE a = 1 ORDER BY b, a", false}, {"select distinct T.A,[b] from T", false},
      {"SELECT * FROM a WHERE a > 2", false}, {"SELECT aa, b AS ba, a+1 FROM t", false},
      {"SELECT b AS a FROM t", true}, {"SELECT b\n A, c FROM t", true}, {"SELECT \"b\" \"a\" FROM t", true},
      {"SELECT (b) a FROM t", true}, {"SELECT a, b AS a", true},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(is_alias(row.statement, "a"), row.expected) << row.statement;
}

TEST(Diagnosis, BecomesAnErrorOfTheModel) {
  // clang-format off
  const struct { Diagnosis diagnosis; int number; const char* state; } rows[] = {
      {{"23000", 2627, "[FreeTDS][SQL Server]Violation of PRIMARY KEY"}, ado::kIntegrityViolation, "23505"},
      {{"23000", 2601, "[FreeTDS][SQL Server]Cannot insert duplicate"}, ado::kIntegrityViolation, "23505"},
      {{"23000", 547, "[FreeTDS][SQL Server]conflicted"}, ado::kIntegrityViolation, "23000"},
      {{"42000", 18456, "[FreeTDS][SQL Server]Login failed for user 'x'."}, ado::kLoginFailed, "28000"},
      {{"HYT00", 0, "[FreeTDS][SQL Server]Timeout expired"}, ado::kTimeoutExpired, "HYT00"},
      {{"22001", 8152, "would be truncated"}, -2147217833, "22001"},
      {{"08S01", 1, "lost"}, ado::kUnspecified, "08S01"}, {{"42000", 1, "syntax"}, ado::kErrorsInCommand, "42000"},
  };
  // clang-format on
  for (const auto& row : rows) {
    const Error error = error_from(row.diagnosis, {}, "SELECT");
    EXPECT_EQ(error.number, row.number) << row.diagnosis.text;
    EXPECT_EQ(error.sql_state, row.state) << row.diagnosis.text;
    EXPECT_EQ(error.native_number, row.diagnosis.native);
  }
  EXPECT_EQ(error_from({"08001", 0, "PWD=ab; cab secret1"}, "ab", {}).description, "PWD=***; cab secret1");
  EXPECT_EQ(error_from({"08001", 0, "bad: secret1"}, "secret1", {}).description, "bad: ***");
}

}  // namespace
}  // namespace quarno::odbc
