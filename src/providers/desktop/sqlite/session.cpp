#include "providers/desktop/sqlite/session.h"

#include <utility>

#include "ado/ado_error.h"
#include "common/text.h"
#include "providers/desktop/desktop_provider.h"
#include "providers/desktop/functions/functions.h"
#include "providers/desktop/sqlite/bind_exact.h"
#include "providers/desktop/sqlite/engine_calls.h"
#include "providers/desktop/sqlite/sqlite_session.h"

namespace quarno::desktop::sqlite {
namespace {

constexpr int kMostLevels = 5;
constexpr std::size_t kMostPrepared = 64;

struct Bind {
  sqlite3_stmt* statement;
  int index;

  int operator()(std::monostate) const { return sqlite3_bind_null(statement, index); }
  int operator()(Variant::Null) const { return sqlite3_bind_null(statement, index); }
  int operator()(Variant::Missing) const { return sqlite3_bind_null(statement, index); }
  int operator()(bool v) const { return sqlite3_bind_int(statement, index, v ? kTrue : 0); }
  int operator()(double v) const { return sqlite3_bind_double(statement, index, v); }
  int operator()(float v) const { return sqlite3_bind_double(statement, index, double{v}); }
  int operator()(Date v) const { return sqlite3_bind_double(statement, index, v.days); }
  int operator()(Currency v) const { return bind_exact(statement, index, v.to_decimal()); }
  int operator()(const Decimal& v) const { return bind_exact(statement, index, v); }
  // The caller's values outlive the step, so nothing is copied.
  int operator()(const std::string& v) const {
    return sqlite3_bind_text64(statement, index, v.data(), v.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  int operator()(const Variant::Bytes& v) const {
    // A null pointer would bind null instead of an empty value.
    if (v.empty()) return sqlite3_bind_zeroblob(statement, index, 0);
    return sqlite3_bind_blob64(statement, index, v.data(), v.size(), SQLITE_STATIC);
  }
  int operator()(const Variant::Array&) const { return SQLITE_MISMATCH; }
  int operator()(const Variant::Object&) const { return SQLITE_MISMATCH; }
  template <class Int>
  requires std::is_integral_v<Int>
  int operator()(Int v) const { return sqlite3_bind_int64(statement, index, std::int64_t{v}); }
};

}  // namespace

SqliteSession::SqliteSession(Database database, std::unique_ptr<TableSource> source)
    : source_(std::move(source)),
      database_(std::move(database)),
      schema_(
          database_.get(), [this](std::string_view name) { return saved_query(name); },
          [this](const std::string& select) { return pairs_of(select); }) {
  // Texts compare without their letter case, but a change of it is a change.
  dialect_.same_text = " = ? COLLATE BINARY";
  dialect_.call_open = "EXECUTE ";
  dialect_.call_close = "";
  wait_at_most(providers::kLockPatienceMs);
  register_functions(database_.get());
  run("PRAGMA foreign_keys = ON");
  // The engine opens lazily: this reads the file, so that a damaged one is reported now.
  run("SELECT count(*) FROM sqlite_schema");
  if (is_read_only()) run("PRAGMA query_only = ON");
}

Error SqliteSession::failure(std::string_view statement) const {
  Error error = engine_error(database_.get(), statement);
  if (is_read_only() && error.number == ado::kReadOnly) error.description += source_->why_read_only();
  return error;
}

Statement SqliteSession::prepare(std::string_view statement) const {
  sqlite3_stmt* raw = nullptr;
  const int result = sqlite3_prepare_v2(database_.get(), statement.data(), static_cast<int>(statement.size()),
                                        &raw, nullptr);
  Statement owner(raw);
  if (result != SQLITE_OK) throw failure(statement);
  return owner;
}

void SqliteSession::run(const std::string& statement) const {
  const Statement prepared_statement = prepare(statement);
  const int result = sqlite3_step(prepared_statement.get());
  if (result != SQLITE_DONE && result != SQLITE_ROW) throw failure(statement);
}

void SqliteSession::wait_at_most(int milliseconds) {
  sqlite3_busy_timeout(database_.get(), milliseconds);
  if (source_ != nullptr) source_->set_patience_ms(milliseconds);
}

std::string SqliteSession::identity_query() const {
  const std::int64_t number = last_row_id();
  return "SELECT " + std::to_string(number) + " AS \"@@Identity\" WHERE " + (number != 0 ? "1" : "0");
}

std::vector<std::pair<std::string, std::string>> SqliteSession::pairs_of(const std::string& select) const {
  const Statement query = prepare(select);
  std::vector<std::pair<std::string, std::string>> pairs;
  int result = SQLITE_ROW;
  while ((result = sqlite3_step(query.get())) == SQLITE_ROW) {
    pairs.emplace_back(column_text(query.get(), 0), column_text(query.get(), 1));
  }
  if (result != SQLITE_DONE) throw failure(select);
  return pairs;
}

sqlite3_stmt* SqliteSession::prepared(const std::string& statement) {
  // A row mostly goes the way of the one before it.
  if (last_prepared_ != nullptr && last_prepared_->first == statement) return last_prepared_->second.get();
  auto found = prepared_.find(statement);
  if (found == prepared_.end()) {
    Statement fresh = prepare(statement);
    if (prepared_.size() >= kMostPrepared) prepared_.clear();
    found = prepared_.emplace(statement, std::move(fresh)).first;
  }
  last_prepared_ = &*found;
  return last_prepared_->second.get();
}

void SqliteSession::bind(sqlite3_stmt* handle, std::span<const Variant> values,
                         std::string_view statement) const {
  for (std::size_t i = 0; i < values.size(); ++i) {
    const int result = std::visit(Bind{handle, static_cast<int>(i) + 1}, values[i].storage());
    if (result == SQLITE_MISMATCH) throw ado::multiple_step_error();
    if (result != SQLITE_OK) throw failure(statement);
  }
}

std::int64_t SqliteSession::write_once(const std::string& statement, std::span<const Variant> parameters) {
  refuse_when_lost();
  wait_at_most(providers::lock_patience_ms(write_seconds_));
  const providers::Deadline deadline(database_.get(), providers::time_limit(write_seconds_));
  sqlite3_stmt* const handle = prepared(statement);
  // Reset first and last: an error of an earlier step is reported again by the reset after it.
  sqlite3_reset(handle);
  bind(handle, parameters, statement);
  if (sqlite3_step(handle) != SQLITE_DONE) {
    const Error error = failure(statement);
    sqlite3_reset(handle);
    throw error;
  }
  sqlite3_reset(handle);
  return sqlite3_changes64(database_.get());
}

std::int64_t SqliteSession::write(const std::string& statement, std::span<const Variant> parameters,
                                  std::int64_t most) {
  if (most < 0) return write_once(statement, parameters);
  run("SAVEPOINT quarnofwk_write");
  try {
    const std::int64_t affected = write_once(statement, parameters);
    if (affected > most) run("ROLLBACK TO quarnofwk_write");
    run("RELEASE quarnofwk_write");
    return affected;
  } catch (const Error&) {
    run("ROLLBACK TO quarnofwk_write");
    run("RELEASE quarnofwk_write");
    throw;
  }
}

void SqliteSession::together(const std::function<void()>& work) {
  if (sqlite3_get_autocommit(database_.get()) != 0) return Session::together(work);
  run("SAVEPOINT quarnofwk_together");
  try {
    work();
    run("RELEASE quarnofwk_together");
  } catch (const Error&) {
    // It may have gone with its transaction.
    quietly([&] {
      run("ROLLBACK TO quarnofwk_together");
      run("RELEASE quarnofwk_together");
    });
    throw;
  }
}

bool SqliteSession::write_rows(const std::string& statement, std::span<const std::vector<Variant>> rows) {
  run("SAVEPOINT quarnofwk_write");
  try {
    for (const std::vector<Variant>& row : rows) write_once(statement, row);
    run("RELEASE quarnofwk_write");
    return true;
  } catch (const Error&) {
    // Which row it was shows when they are written one by one.
    if (transaction_is_lost()) throw;
    run("ROLLBACK TO quarnofwk_write");
    run("RELEASE quarnofwk_write");
    return false;
  }
}

int SqliteSession::key_width(const std::string& table) {
  const auto known = key_widths_.find(table);
  if (known != key_widths_.end()) return known->second;
  const Statement query = prepare("SELECT count(*) FROM pragma_table_info(?) WHERE pk > 0");
  sqlite3_bind_text64(query.get(), 1, table.data(), table.size(), SQLITE_STATIC, SQLITE_UTF8);
  if (sqlite3_step(query.get()) != SQLITE_ROW) throw failure(table);
  return key_widths_[table] = sqlite3_column_int(query.get(), 0);
}

std::optional<std::vector<ado::IndexColumn>> SqliteSession::index_columns(const std::string& table,
                                                                          const std::string& index) {
  // The key of a table has no name of its own here; "PrimaryKey" is what such files call it.
  constexpr const char* kKeyColumns = "SELECT name, 0 FROM pragma_table_info(?1) WHERE pk > 0 ORDER BY pk";
  constexpr const char* kIndexColumns =
      "SELECT x.name, x.desc FROM pragma_index_list(?1) l, pragma_index_xinfo(l.name) x "
      "WHERE l.name COLLATE NOCASE IN (?2, ?1 || '.' || ?2) AND x.key = 1 ORDER BY x.seqno";
  schema_.forget();
  bring(table, {}, 0);
  const bool is_key = text::equal_fold(index, "PrimaryKey") && key_width(table) > 0;
  const Statement query = prepare(is_key ? kKeyColumns : kIndexColumns);
  sqlite3_bind_text64(query.get(), 1, table.data(), table.size(), SQLITE_STATIC, SQLITE_UTF8);
  if (!is_key) sqlite3_bind_text64(query.get(), 2, index.data(), index.size(), SQLITE_STATIC, SQLITE_UTF8);
  std::vector<ado::IndexColumn> columns;
  int result = SQLITE_ROW;
  while ((result = sqlite3_step(query.get())) == SQLITE_ROW) {
    // An index over an expression orders by no column.
    if (sqlite3_column_type(query.get(), 0) == SQLITE_NULL) return std::nullopt;
    columns.push_back({column_text(query.get(), 0), sqlite3_column_int(query.get(), 1) != 0});
  }
  if (result != SQLITE_DONE) throw failure(table);
  if (columns.empty()) return std::nullopt;
  return columns;
}

void SqliteSession::refuse_when_lost() const {
  if (!transaction_is_lost()) return;
  throw ado::provider_error(
      ado::kNoTransaction,
      "The transaction is no longer active: it was rolled back after an error, or ended by a "
      "statement. Roll it back to go on.",
      kSourceName);
}

void SqliteSession::begin() {
  refuse_when_lost();
  if (level_ >= kMostLevels) {
    throw ado::provider_error(ado::kTransactionActive, "Cannot start more transactions on this session.",
                              kSourceName);
  }
  // The write lock is taken here, where waiting for another writer is possible: the engine gives up at once
  // when a read lock is to become a write lock in the middle of a transaction. Readers go on reading.
  const bool can_write = !is_read_only() && sqlite3_db_readonly(database_.get(), "main") == 0;
  const std::string outermost = can_write ? "BEGIN IMMEDIATE" : "BEGIN";
  wait_at_most(providers::kLockPatienceMs);
  run(level_ == 0 ? outermost : "SAVEPOINT quarnofwk_" + std::to_string(level_));
  ++level_;
}

void SqliteSession::commit() {
  refuse_when_lost();
  end_level("COMMIT", "RELEASE quarnofwk_");
}

void SqliteSession::rollback() {
  if (transaction_is_lost()) {
    --level_;
    return;
  }
  end_level("ROLLBACK", "ROLLBACK TO quarnofwk_");
}

void SqliteSession::end_level(const std::string& outermost, const std::string& inner) {
  if (level_ == 0) throw ado::provider_error(ado::kNoTransaction, "No transaction is active.", kSourceName);
  if (level_ == 1) {
    run(outermost);
  } else {
    const std::string name = std::to_string(level_ - 1);
    run(inner + name);
    // ROLLBACK TO leaves the savepoint itself in place.
    if (inner.starts_with("ROLLBACK")) run("RELEASE quarnofwk_" + name);
  }
  --level_;
}

std::unique_ptr<ado::Session> open_session(const std::string& native_path) {
  return std::make_unique<SqliteSession>(open_database(native_path, SQLITE_OPEN_READWRITE), nullptr);
}

std::unique_ptr<ado::Session> open_session(std::unique_ptr<TableSource> source) {
  // Without a name: a database of this connection's own, which goes to disk when memory gets short.
  Database database = open_database("", SQLITE_OPEN_READWRITE);
  return std::make_unique<SqliteSession>(std::move(database), std::move(source));
}

}  // namespace quarno::desktop::sqlite
