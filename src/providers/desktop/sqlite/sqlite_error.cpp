#include "providers/desktop/sqlite/sqlite_error.h"

#include <sqlite3.h>

#include "ado/ado_error.h"
#include "providers/desktop/desktop_provider.h"

namespace quarno::desktop::sqlite {
namespace {

struct Meaning {
  std::int32_t number;
  const char* sql_state;
  const char* text;  // instead of the engine's own; null keeps that
};

Meaning constraint_meaning(int extended) {
  switch (extended) {
    case SQLITE_CONSTRAINT_UNIQUE:
    case SQLITE_CONSTRAINT_PRIMARYKEY:
    case SQLITE_CONSTRAINT_ROWID: return {ado::kIntegrityViolation, "23505", nullptr};
    case SQLITE_CONSTRAINT_NOTNULL: return {ado::kIntegrityViolation, "23502", nullptr};
    case SQLITE_CONSTRAINT_FOREIGNKEY: return {ado::kIntegrityViolation, "23503", nullptr};
    case SQLITE_CONSTRAINT_CHECK: return {ado::kIntegrityViolation, "23514", nullptr};
    default: return {ado::kIntegrityViolation, "23000", nullptr};
  }
}

Meaning meaning_of(int extended, std::string_view message) {
  switch (extended & 0xFF) {
    case SQLITE_CONSTRAINT: return constraint_meaning(extended);
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return {ado::kUnspecified, "HYT00", "Could not use the database; it is locked by another user."};
    case SQLITE_READONLY: return {ado::kReadOnly, "25006", "Cannot update. Database or object is read-only."};
    case SQLITE_INTERRUPT: return {ado::kTimeoutExpired, "HYT00", "Timeout expired"};
    case SQLITE_NOTADB: return {ado::kUnspecified, "HY000", "Unrecognized database format."};
    case SQLITE_CORRUPT: return {ado::kUnspecified, "HY000", "The database file is damaged."};
    case SQLITE_FULL: return {ado::kUnspecified, "53100", "There is not enough space on disk."};
    case SQLITE_MISMATCH: return {ado::kTypeMismatchInCriteria, "22018", nullptr};
    case SQLITE_TOOBIG: return {ado::kMultipleStep, "22001", nullptr};
    default: break;
  }
  if (message == run_time_text(RunTime::type_mismatch))
    return {ado::kTypeMismatchInCriteria, "22018", nullptr};
  if (message == run_time_text(RunTime::overflow)) return {ado::kErrorsInCommand, "22003", nullptr};
  if (message.starts_with("no such table")) return {ado::kTableNotFound, "42S02", nullptr};
  if (message.starts_with("no such column")) return {ado::kParameterMissing, "42S22", nullptr};
  const bool in_statement = (extended & 0xFF) == SQLITE_ERROR;
  return {in_statement ? ado::kErrorsInCommand : ado::kUnspecified, in_statement ? "42000" : "HY000",
          nullptr};
}

}  // namespace

Error engine_error(sqlite3* database, std::string_view statement) {
  const int extended = sqlite3_extended_errcode(database);
  const std::string message = sqlite3_errmsg(database);
  const Meaning meaning = meaning_of(extended, message);
  // A table from elsewhere says more than the engine does by itself.
  const bool is_own_text = message == sqlite3_errstr(extended & 0xFF);
  Error error = ado::provider_error(
      meaning.number, meaning.text != nullptr && is_own_text ? meaning.text : message, kSourceName);
  error.sql_state = meaning.sql_state;
  error.native_number = extended;
  error.statement = statement;
  return error;
}

}  // namespace quarno::desktop::sqlite
