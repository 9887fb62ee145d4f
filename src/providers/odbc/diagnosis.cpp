#include "providers/odbc/diagnosis.h"

#include <sqlext.h>

#include <algorithm>
#include <array>

#include "ado/ado_error.h"
#include "common/text.h"
#include "providers/odbc/odbc_provider.h"

namespace quarno::odbc {
namespace {

constexpr std::int32_t kOverflow = -2147217833;

// Failures that drivers report under a general state, or that are told apart only by the engine's own code.
// The code alone would not do: engines reuse each other's numbers.
struct Known {
  std::int32_t native;
  std::string_view fragment;
  std::int32_t number;
  std::string_view sql_state;
};
constexpr Known kKnown[] = {
    // SQLite: HY000 for everything.
    {19, "UNIQUE constraint failed", ado::kIntegrityViolation, "23505"},
    {19, "NOT NULL constraint failed", ado::kIntegrityViolation, "23502"},
    {19, "FOREIGN KEY constraint failed", ado::kIntegrityViolation, "23503"},
    {19, "CHECK constraint failed", ado::kIntegrityViolation, "23514"},
    {19, "constraint failed", ado::kIntegrityViolation, "23000"},
    {1, "[SQLite]no such table", ado::kTableNotFound, "42S02"},
    {1, "[SQLite]no such column", ado::kErrorsInCommand, "42S22"},
    {1, "[SQLite]", ado::kErrorsInCommand, "42000"},
    {8, "[SQLite]", ado::kReadOnly, "25006"},
    {5, "database is locked", ado::kUnspecified, "HYT00"},
    // MariaDB and MySQL.
    {1062, "[ma-", ado::kIntegrityViolation, "23505"},
    {1062, "Duplicate entry", ado::kIntegrityViolation, "23505"},
    {1048, "cannot be null", ado::kIntegrityViolation, "23502"},
    {1364, "default value", ado::kIntegrityViolation, "23502"},
    {1452, "foreign key", ado::kIntegrityViolation, "23503"},
    {1205, "Lock wait timeout", ado::kTimeoutExpired, "HYT00"},
    {1049, "Unknown database", ado::kUnspecified, "3D000"},
    {1044, "Access denied", ado::kLoginFailed, "28000"},
    // SQLite: what ends a statement is its time limit alone.
    {9, "interrupted", ado::kTimeoutExpired, "HYT00"},
    // PostgreSQL: 08001 for every failure to connect.
    {101, "password authentication failed", ado::kLoginFailed, "28P01"},
    {101, "no password supplied", ado::kLoginFailed, "28P01"},
    // SQL Server.
    {2627, "[SQL Server]", ado::kIntegrityViolation, "23505"},
    {2601, "[SQL Server]", ado::kIntegrityViolation, "23505"},
    {18456, "[SQL Server]", ado::kLoginFailed, "28000"},
    {18456, "Login failed", ado::kLoginFailed, "28000"},
};

std::int32_t number_of(std::string_view state) {
  struct Row {
    std::string_view prefix;
    std::int32_t number;
  };
  // The first that fits.
  constexpr Row kRows[] = {
      {"28", ado::kLoginFailed},
      {"23", ado::kIntegrityViolation},
      {"42S02", ado::kTableNotFound},
      {"42P01", ado::kTableNotFound},
      {"42501", ado::kReadOnly},
      {"25006", ado::kReadOnly},
      {"42", ado::kErrorsInCommand},
      {"07002", ado::kParameterMissing},
      {"HYT00", ado::kTimeoutExpired},
      {"HY018", ado::kTimeoutExpired},
      {"57014", ado::kTimeoutExpired},
      {"22001", kOverflow},
      {"22003", kOverflow},
      {"22007", ado::kTypeMismatchInCriteria},
      {"22008", ado::kTypeMismatchInCriteria},
      {"22018", ado::kTypeMismatchInCriteria},
      {"22P02", ado::kTypeMismatchInCriteria},
  };
  const auto* const found = std::find_if(std::begin(kRows), std::end(kRows),
                                         [&](const Row& row) { return state.starts_with(row.prefix); });
  return found == std::end(kRows) ? ado::kUnspecified : found->number;
}

std::string without_password(std::string text, std::string_view password) {
  if (password.empty()) return text;
  for (const std::string_view word : {"PWD=", "PASSWORD=", "Password="}) {
    text = text::replace_all(text, std::string(word).append(password), std::string(word) + "***");
  }
  // Striking out a letter or two wherever they occur would give them away.
  return password.size() < 4 ? text : text::replace_all(text, password, "***");
}

}  // namespace

Diagnosis diagnosis_of(SQLSMALLINT kind, SQLHANDLE handle) {
  Diagnosis result;
  std::array<SQLCHAR, 6> state{};
  std::array<SQLCHAR, 4096> buffer{};
  for (SQLSMALLINT record = 1; record <= 16; ++record) {
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    const SQLRETURN found = SQLGetDiagRec(kind, handle, record, state.data(), &native, buffer.data(),
                                          static_cast<SQLSMALLINT>(buffer.size()), &length);
    if (!SQL_SUCCEEDED(found)) break;
    const std::string own_state(reinterpret_cast<const char*>(state.data()));
    const std::string own_text(reinterpret_cast<const char*>(buffer.data()));
    if (result.sql_state.empty() || (result.sql_state.starts_with("01") && !own_state.starts_with("01"))) {
      result.sql_state = own_state;
      result.native = native;
    }
    if (!result.text.empty()) result.text.push_back('\n');
    result.text.append(own_text);
  }
  if (result.sql_state.empty()) result = {"HY000", 0, "The driver reports a failure and does not say which."};
  return result;
}

Error error_from(const Diagnosis& diagnosis, std::string_view password, std::string_view statement) {
  std::int32_t number = number_of(diagnosis.sql_state);
  std::string state = diagnosis.sql_state;
  for (const Known& known : kKnown) {
    if (diagnosis.native != known.native || diagnosis.text.find(known.fragment) == std::string::npos)
      continue;
    number = known.number;
    state = known.sql_state;
    break;
  }
  Error error = ado::provider_error(number, without_password(diagnosis.text, password), kSourceName);
  error.sql_state = state;
  error.native_number = diagnosis.native;
  error.statement = statement;
  return error;
}

}  // namespace quarno::odbc
