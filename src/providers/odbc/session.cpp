#include "providers/odbc/session.h"

#include <algorithm>
#include <array>
#include <map>
#include <unordered_map>

#include "ado/ado_error.h"
#include "ado/write_statement.h"
#include "common/text.h"
#include "providers/odbc/catalog.h"
#include "providers/odbc/dbms.h"
#include "providers/odbc/odbc_provider.h"
#include "providers/odbc/origins.h"
#include "providers/odbc/parameters.h"
#include "providers/odbc/rows.h"
#include "providers/odbc/statement_text.h"
#include "providers/sqlite_origins.h"

namespace quarno::odbc {
namespace {

constexpr std::size_t kMostPrepared = 64;

std::string info_text(const Link& link, SQLUSMALLINT item) {
  std::array<char, 256> buffer{};
  SQLSMALLINT length = 0;
  SQLGetInfo(link.handle(), item, buffer.data(), static_cast<SQLSMALLINT>(buffer.size()), &length);
  return buffer.data();
}

SQLUSMALLINT info_number(const Link& link, SQLUSMALLINT item) {
  SQLUSMALLINT value = 0;
  SQLGetInfo(link.handle(), item, &value, sizeof value, nullptr);
  return value;
}

constexpr std::string_view kWrongKindOfObject = "42809";

class OdbcSession : public ado::Session {
 public:
  OdbcSession(std::shared_ptr<Link> link, sqlite3* engine)
      : link_(std::move(link)),
        engine_(engine),
        dbms_(dbms_named(info_text(*link_, SQL_DBMS_NAME))),
        catalog_(*this, dbms_.name),
        // With one reader at a time nothing can be asked about a result while it is open.
        asks_while_reading_(info_number(*link_, SQL_MAX_CONCURRENT_ACTIVITIES) != 1),
        loses_prepared_(info_number(*link_, SQL_CURSOR_COMMIT_BEHAVIOR) == SQL_CB_DELETE) {}

  ado::Outcome execute(const std::string& statement, std::int32_t timeout_seconds,
                       ado::Reading reading) override;
  ado::Outcome execute_with(const std::string& statement, std::span<const Variant> parameters,
                            std::int32_t timeout_seconds) override;
  void prepare_editing(const std::string& statement) override;
  std::int64_t write(const std::string& statement, std::span<const Variant> parameters,
                     std::int64_t most) override;
  bool write_rows(const std::string& statement, std::span<const std::vector<Variant>> rows) override;
  void together(const std::function<void()>& work) override;
  Variant last_identity(const std::string& table, const std::string& column) override;
  void begin() override;
  void commit() override;
  void rollback() override;
  int transaction_level() const override { return in_transaction_ ? 1 : 0; }
  bool is_alive() override;
  const ado::Dialect& dialect() const override { return dbms_.dialect; }
  ado::SchemaSource* schema() override { return catalog_.is_known() ? &catalog_ : nullptr; }

 private:
  // After a failure that undid the whole transaction, what the host believes to be inside it must not be
  // stored on its own.
  template <class Work>
  auto in_order(Work&& work) {
    refuse_when_lost();
    results_->keep();
    try {
      return work();
    } catch (const Error& error) {
      const std::int32_t code = dbms_.transaction_lost_code;
      link_lost_ = link_lost_ || error.sql_state.starts_with("08");
      lost_ = lost_ || (in_transaction_ && ((code != 0 && error.native_number == code) || has_vanished()));
      throw;
    }
  }
  void refuse_when_lost() const;
  bool has_vanished();
  ado::Outcome execute_now(const std::string& statement, std::int32_t timeout_seconds, ado::Reading reading);
  std::unique_ptr<ado::Rows> rows_of_cursor(const std::string& query, std::int32_t timeout_seconds);
  std::unique_ptr<ado::Rows> rows_of(Statement statement, const std::string& text, const Clock& clock,
                                     std::optional<ServerCursor> cursor = {});
  std::int64_t write_now(const std::string& statement, std::span<const Variant> parameters,
                         std::int64_t most);
  void run(const std::string& statement);
  std::string single_text(std::string_view query);
  void limit_time(const Statement& statement, std::int32_t seconds);
  const TableFacts& facts_of(const BaseTable& table);
  std::vector<std::string> column_names(const BaseTable& table, bool of_key);
  const std::string& home();
  const Statement& prepared(const std::string& statement);
  std::int64_t write_once(const std::string& statement, std::span<const Variant> parameters);
  std::int64_t write_in_savepoint(const std::string& statement, std::span<const Variant> parameters,
                                  std::int64_t most);
  // Each has a name of its own: one server forgets the outer of two equal ones.
  void set_savepoint() { run(std::string(dbms_.savepoint) + savepoint_name(++savepoints_)); }
  void end_savepoint(bool undone);
  static std::string savepoint_name(int number) { return "quarnofwk_" + std::to_string(number); }
  void require_transaction() const;
  void end_transaction(SQLSMALLINT how);

  std::shared_ptr<Link> link_;
  sqlite3* engine_;  // behind the driver, where the time limit has to be set there
  std::shared_ptr<OpenResults> results_ = std::make_shared<OpenResults>();
  std::int64_t cursors_made_ = 0;
  int savepoints_ = 0;  // one within the other
  std::int64_t transactions_ = 0;
  const Dbms& dbms_;
  OdbcCatalog catalog_;
  bool asks_while_reading_;
  bool loses_prepared_;
  bool in_transaction_ = false;
  bool in_text_transaction_ = false;  // begun by a statement of the host's
  bool link_lost_ = false;            // a statement said so; PostgreSQL's driver can still call it alive
  bool lost_ = false;                 // the server undid the transaction, and the host has not yet
  std::int32_t time_limit_ = 0;       // that holds on the server
  std::map<BaseTable, TableFacts> tables_;
  std::pair<std::string, std::vector<Origin>> origins_;  // of the statement that runs next
  std::string mixed_;                                    // that statement, when its rows have several origins
  std::string home_;
  bool home_known_ = false;
  std::unordered_map<std::string, Statement> prepared_;
};

ado::Outcome OdbcSession::execute(const std::string& statement, std::int32_t timeout_seconds,
                                  ado::Reading reading) {
  return in_order([&] {
    try {
      return execute_now(statement, timeout_seconds, reading);
    } catch (const Error& error) {
      const std::string call = call_of_procedure(statement);
      if (call.empty() || error.sql_state != kWrongKindOfObject) throw;
      return execute_now(call, timeout_seconds, reading);
    }
  });
}

ado::Outcome OdbcSession::execute_with(const std::string& text, std::span<const Variant> values,
                                       std::int32_t timeout_seconds) {
  return in_order([&] {
    Statement statement(link_);
    limit_time(statement, timeout_seconds);
    const Clock clock(engine_, timeout_seconds);
    const auto running = clock.running();
    statement.check(SQLPrepare(statement.get(), odbc_text(text), SQL_NTS), text);
    Parameters parameters(values, dbms_);
    parameters.bind(statement);
    statement.check(SQLExecute(statement.get()), text);
    // What they point to does not outlive this call.
    SQLFreeStmt(statement.get(), SQL_RESET_PARAMS);
    SQLSMALLINT columns = 0;
    statement.check(SQLNumResultCols(statement.get(), &columns), text);
    ado::Outcome outcome;
    if (columns > 0) outcome.rows = rows_of(std::move(statement), text, clock);
    return outcome;
  });
}

std::int64_t OdbcSession::write(const std::string& statement, std::span<const Variant> parameters,
                                std::int64_t most) {
  return in_order([&] { return write_now(statement, parameters, most); });
}

// Whether a failure took the transaction with it: its mark is gone.
bool OdbcSession::has_vanished() {
  if (dbms_.mark_transaction.empty() || !is_alive()) return false;
  try {
    return single_text(dbms_.transaction_mark) != std::to_string(transactions_);
  } catch (const Error&) {
    return true;
  }
}

void OdbcSession::refuse_when_lost() const {
  if (!lost_) return;
  throw ado::provider_error(ado::kNoTransaction,
                            "The transaction is no longer active: it was rolled back after an error. Roll it "
                            "back to go on.",
                            kSourceName);
}

void OdbcSession::prepare_editing(const std::string& statement) {
  mixed_ = engine_ != nullptr && providers::mixes_rows(engine_, statement) ? statement : std::string();
  if (dbms_.origins_begin.empty()) return;
  results_->keep();
  origins_ = {statement, origins_of(link_, dbms_, statement)};
  if (!origins_.second.empty()) home();
}

void OdbcSession::run(const std::string& statement) {
  const Statement own(link_);
  own.check(SQLExecDirect(own.get(), odbc_text(statement), SQL_NTS), statement);
}

std::string OdbcSession::single_text(std::string_view query) {
  const std::string text(query);
  const Statement own(link_);
  own.check(SQLExecDirect(own.get(), odbc_text(text), SQL_NTS), text);
  const SQLRETURN fetched = SQLFetch(own.get());
  own.check(fetched, text);
  return fetched == SQL_NO_DATA ? std::string() : text_at(own, 1);
}

void OdbcSession::limit_time(const Statement& statement, std::int32_t seconds) {
  if (dbms_.timeout_statement.empty()) {
    // A driver that cannot do it says so; the statement then runs without a limit.
    // A prepared statement may still have one from before.
    SQLSetStmtAttr(statement.get(), SQL_ATTR_QUERY_TIMEOUT,
                   odbc_number(static_cast<SQLULEN>(std::max(seconds, 0))), 0);
    return;
  }
  if (seconds == time_limit_) return;
  run(std::string(dbms_.timeout_statement) + std::to_string(seconds * dbms_.timeout_units));
  time_limit_ = seconds;
}

// The driver would hold the whole result, or with its own option for cursors lose rows when another statement
// fails: so the server is asked for a cursor in its own words. It lives in a transaction, of its own when the
// host has none. Nothing when the server makes no cursor of this query.
std::unique_ptr<ado::Rows> OdbcSession::rows_of_cursor(const std::string& query,
                                                       std::int32_t timeout_seconds) {
  const std::string name = "quarnofwk_" + std::to_string(++cursors_made_);
  const auto end = [link = link_, name, own_transaction = !in_transaction_](bool well) {
    // In a transaction of its own the cursor ends with it.
    if (own_transaction) return link->end_transaction(well ? SQL_COMMIT : SQL_ROLLBACK);
    const std::string close = "CLOSE " + name;
    const Statement statement(link);
    statement.check(SQLExecDirect(statement.get(), odbc_text(close), SQL_NTS), close);
  };
  Statement statement(link_);
  limit_time(statement, timeout_seconds);
  if (!in_transaction_) link_->begin_transaction();
  bool declared = false;
  try {
    const std::string declaration =
        std::string(dbms_.declare_cursor) + name + std::string(dbms_.cursor_options) + query;
    statement.check(SQLExecDirect(statement.get(), odbc_text(declaration), SQL_NTS), query);
    declared = true;
    const std::string fetch = std::string(dbms_.fetch_cursor) + name;
    statement.check(SQLExecDirect(statement.get(), odbc_text(fetch), SQL_NTS), query);
    return rows_of(std::move(statement), query, Clock(engine_, timeout_seconds), ServerCursor{fetch, end});
  } catch (const Error& error) {
    statement.close();
    if (!in_transaction_ || declared) quietly([&] { end(false); });
    const bool refused = error.sql_state.starts_with("42") || error.sql_state.starts_with("0A");
    if (declared || !refused) throw;
    return nullptr;
  }
}

std::unique_ptr<ado::Rows> OdbcSession::rows_of(Statement statement, const std::string& text,
                                                const Clock& clock, std::optional<ServerCursor> cursor) {
  FindTable find_table;
  // Behind the rows of a procedure more is to come, until when MariaDB answers nothing else.
  const bool is_mixed = !mixed_.empty() && mixed_ == text;
  if (asks_while_reading_ && !is_mixed && !ado::is_call(text)) {
    find_table = [this](const BaseTable& table) -> const TableFacts& { return facts_of(table); };
  }
  auto described = described_columns(statement, text, dbms_, find_table);
  if (origins_.first == text) give_origins(described, origins_.second, home_);
  origins_ = {};
  return std::make_unique<OdbcRows>(std::move(statement), std::move(described), text, results_,
                                    std::move(cursor), clock);
}

ado::Outcome OdbcSession::execute_now(const std::string& text, std::int32_t timeout_seconds,
                                      ado::Reading reading) {
  if (text.find('\0') != std::string::npos) {
    throw ado::provider_error(ado::kErrorsInCommand, "The statement holds a NUL character.", kSourceName);
  }
  const bool asks_identity =
      dbms_.lacks_identity_variable && text::equal_fold(text::trim(text), "SELECT @@Identity");
  const std::string own_text =
      asks_identity ? std::string(dbms_.identity_query) + " AS \"@@Identity\"" : text;
  ado::Outcome outcome;
  const bool by_cursor = reading == ado::Reading::in_blocks && !dbms_.declare_cursor.empty() &&
                         !in_text_transaction_ && is_single_query(own_text);
  if (by_cursor) outcome.rows = rows_of_cursor(own_text, timeout_seconds);
  if (outcome.rows != nullptr) return outcome;
  Statement statement(link_);
  limit_time(statement, timeout_seconds);
  const Clock clock(engine_, timeout_seconds);
  const auto running = clock.running();
  SQLRETURN result = SQLExecDirect(statement.get(), odbc_text(own_text), SQL_NTS);
  statement.check(result, text);
  // No data after executing: done, no rows touched.
  if (result == SQL_NO_DATA) outcome.affected = 0;
  const bool is_alone = dbms_.miscounts_bodies && may_hold_body(text);
  const auto next = [&] { return is_alone ? SQLRETURN{SQL_NO_DATA} : SQLMoreResults(statement.get()); };
  for (; result != SQL_NO_DATA; result = next()) {
    statement.check(result, text);
    SQLSMALLINT columns = 0;
    statement.check(SQLNumResultCols(statement.get(), &columns), text);
    if (columns > 0) {
      outcome.rows = rows_of(std::move(statement), text, clock);
      return outcome;
    }
    SQLLEN count = -1;
    statement.check(SQLRowCount(statement.get(), &count), text);
    if (count >= 0) outcome.affected = count;
  }
  if (const auto begun = begins_transaction(own_text)) in_text_transaction_ = *begun;
  // It may have changed a table, or which one a name means; prepared statements keep the types they once
  // found.
  if (outcome.affected <= 0) {
    prepared_.clear();
    tables_.clear();
    home_known_ = false;
  }
  return outcome;
}

const std::string& OdbcSession::home() {
  if (!home_known_) home_ = single_text(dbms_.home_query);
  home_known_ = true;
  return home_;
}

const TableFacts& OdbcSession::facts_of(const BaseTable& table) {
  const auto known = tables_.find(table);
  if (known != tables_.end()) return known->second;
  TableFacts facts;
  facts.reachable =
      dbms_.home_query.empty() || home() == (dbms_.home_is_schema ? table.schema : table.catalog);
  if (facts.reachable) {
    facts.key = column_names(table, true);
    if (dbms_.alias_as_base_column) facts.columns = column_names(table, false);
  }
  return tables_.emplace(table, std::move(facts)).first->second;
}

std::vector<std::string> OdbcSession::column_names(const BaseTable& table, bool of_key) {
  const auto part = [](const std::string& name) { return name.empty() ? nullptr : odbc_text(name); };
  const auto length = [](const std::string& name) { return static_cast<SQLSMALLINT>(name.size()); };
  const Statement own(link_);
  const auto ask = [&](const BaseTable& t) {
    return of_key ? SQLPrimaryKeys(own.get(), part(t.catalog), length(t.catalog), part(t.schema),
                                   length(t.schema), part(t.name), length(t.name))
                  : SQLColumns(own.get(), part(t.catalog), length(t.catalog), part(t.schema),
                               length(t.schema), part(t.name), length(t.name), nullptr, 0);
  };
  own.check(ask(table));
  std::vector<std::string> names;
  constexpr SQLUSMALLINT kColumnName = 4;
  for (;;) {
    const SQLRETURN fetched = SQLFetch(own.get());
    own.check(fetched);
    if (fetched == SQL_NO_DATA) return names;
    names.push_back(text_at(own, kColumnName));
  }
}

const Statement& OdbcSession::prepared(const std::string& statement) {
  const auto found = prepared_.find(statement);
  if (found != prepared_.end()) return found->second;
  if (prepared_.size() >= kMostPrepared) prepared_.clear();
  Statement fresh(link_);
  fresh.check(SQLPrepare(fresh.get(), odbc_text(statement), SQL_NTS), statement);
  return prepared_.emplace(statement, std::move(fresh)).first->second;
}

std::int64_t OdbcSession::write_once(const std::string& statement, std::span<const Variant> values) {
  const Statement& own = prepared(statement);
  limit_time(own, write_seconds_);
  const Clock clock(engine_, write_seconds_);
  const auto running = clock.running();
  Parameters parameters(values, dbms_);
  parameters.bind(own);
  const SQLRETURN result = SQLExecute(own.get());
  if (!SQL_SUCCEEDED(result)) {
    if (result == SQL_NO_DATA) return 0;
    const Error error = own.failure(statement);
    // A handle that failed is not trusted with the next row.
    prepared_.erase(statement);
    throw error;
  }
  SQLLEN count = 0;
  own.check(SQLRowCount(own.get(), &count), statement);
  own.close();
  return count;
}

bool OdbcSession::write_rows(const std::string& statement, std::span<const std::vector<Variant>> rows) {
  const bool can_undo = in_transaction_ || in_text_transaction_;
  if (!dbms_.takes_rows || !can_undo || rows.empty()) return false;
  return in_order([&] {
    ParameterRows parameters(rows, dbms_);
    if (parameters.empty()) return false;
    const Statement& own = prepared(statement);
    limit_time(own, write_seconds_);
    set_savepoint();
    parameters.bind(own);
    const bool written = SQL_SUCCEEDED(SQLExecute(own.get()));
    ParameterRows::unbind(own);
    own.close();
    // A handle that failed is not trusted again. Which row it was shows when they are written one by one.
    if (!written) prepared_.erase(statement);
    end_savepoint(!written);
    return written;
  });
}

std::int64_t OdbcSession::write_in_savepoint(const std::string& statement,
                                             std::span<const Variant> parameters, std::int64_t most) {
  set_savepoint();
  std::int64_t affected = 0;
  try {
    affected = write_once(statement, parameters);
  } catch (const Error&) {
    // The savepoint may have gone with its transaction.
    quietly([&] { end_savepoint(true); });
    throw;
  }
  end_savepoint(affected > most);
  return affected;
}

void OdbcSession::end_savepoint(bool undone) {
  const std::string name = savepoint_name(savepoints_--);
  if (!is_alive()) return;
  if (undone) run(std::string(dbms_.undo_savepoint) + name);
  if (!dbms_.release_savepoint.empty()) run(std::string(dbms_.release_savepoint) + name);
}

void OdbcSession::together(const std::function<void()>& work) {
  // A transaction that a statement of the host's began is the host's to end.
  if (!in_transaction_ && !in_text_transaction_) return Session::together(work);
  in_order([&] { set_savepoint(); });
  try {
    work();
  } catch (const Error&) {
    quietly([&] { end_savepoint(true); });
    throw;
  }
  // Without its transaction it is gone as well.
  lost_ ? static_cast<void>(--savepoints_) : in_order([&] { end_savepoint(false); });
}

std::int64_t OdbcSession::write_now(const std::string& statement, std::span<const Variant> parameters,
                                    std::int64_t most) {
  if (most < 0) return write_once(statement, parameters);
  if (in_transaction_ || in_text_transaction_) return write_in_savepoint(statement, parameters, most);
  begin();
  try {
    const std::int64_t affected = write_once(statement, parameters);
    end_transaction(affected > most ? SQL_ROLLBACK : SQL_COMMIT);
    return affected;
  } catch (const Error&) {
    // The first failure is the one to report.
    try {
      if (in_transaction_) rollback();
    } catch (const Error&) {
      in_transaction_ = false;
    }
    throw;
  }
}

Variant OdbcSession::last_identity(const std::string& table, const std::string& column) {
  results_->keep();
  if (dbms_.identity_query.empty()) return Variant::null();
  const auto literal = [](const std::string& text) { return "'" + text::replace_all(text, "'", "''") + "'"; };
  const std::string query = dbms_.number_query.empty() ? std::string(dbms_.identity_query)
                                                       : std::string(dbms_.number_query) +
                                                             literal(ado::quoted_name(dbms_.dialect, table)) +
                                                             ", " + literal(column) + "))";
  try {
    const auto number = Decimal::parse(single_text(query));
    return number && *number != Decimal() ? Variant(*number) : Variant::null();
  } catch (const Error& error) {
    // PostgreSQL: nothing was inserted in this session.
    if (error.sql_state == "55000") return Variant::null();
    throw;
  }
}

void OdbcSession::begin() {
  if (in_transaction_) {
    throw ado::provider_error(ado::kTransactionActive, "Cannot start more transactions on this session.",
                              kSourceName);
  }
  results_->keep();
  link_->begin_transaction();
  in_transaction_ = true;
  ++transactions_;
  if (dbms_.mark_transaction.empty()) return;
  try {
    run(std::string(dbms_.mark_transaction) + std::to_string(transactions_) + "'");
  } catch (const Error&) {
    quietly([&] { link_->end_transaction(SQL_ROLLBACK); });
    in_transaction_ = false;
    throw;
  }
}

void OdbcSession::require_transaction() const {
  if (!in_transaction_)
    throw ado::provider_error(ado::kNoTransaction, "No transaction is active.", kSourceName);
}

void OdbcSession::end_transaction(SQLSMALLINT how) {
  results_->keep();
  // PostgreSQL's driver commits a transaction that died with its server, and says it went well.
  const auto require_alive = [&] {
    if (how != SQL_COMMIT || is_alive()) return;
    in_transaction_ = false;
    throw ado::provider_error(ado::kNoTransaction,
                              "The connection was lost; its open transaction was rolled back.", kSourceName);
  };
  require_alive();
  link_->end_transaction(how);
  require_alive();
  if (loses_prepared_) prepared_.clear();
  in_transaction_ = false;
}

void OdbcSession::commit() {
  require_transaction();
  refuse_when_lost();
  try {
    end_transaction(SQL_COMMIT);
  } catch (const Error&) {
    // A constraint that is checked now: what follows must not go into a transaction nobody knows of.
    lost_ = in_transaction_ && has_vanished();
    throw;
  }
}

void OdbcSession::rollback() {
  require_transaction();
  lost_ = false;
  if (!is_alive()) {
    // The server undid it when it lost the connection.
    in_transaction_ = false;
    return;
  }
  end_transaction(SQL_ROLLBACK);
}

bool OdbcSession::is_alive() {
  if (link_lost_) return false;
  SQLUINTEGER dead = SQL_CD_FALSE;
  const SQLRETURN result = SQLGetConnectAttr(link_->handle(), SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr);
  return SQL_SUCCEEDED(result) ? dead == SQL_CD_FALSE : true;
}

}  // namespace

std::unique_ptr<ado::Session> session_on(std::shared_ptr<Link> link, sqlite3* engine) {
  return std::make_unique<OdbcSession>(std::move(link), engine);
}

}  // namespace quarno::odbc
