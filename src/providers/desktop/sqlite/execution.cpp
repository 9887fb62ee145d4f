// How a host's statement runs: the tables it names are brought in, it is rewritten for the engine, and its
// steps run one after the other.
#include <utility>

#include "ado/ado_error.h"
#include "ado/catalog/definition_text.h"
#include "ado/write_statement.h"
#include "common/text.h"
#include "providers/desktop/desktop_provider.h"
#include "providers/desktop/jet/result_types.h"
#include "providers/desktop/jet/tokens.h"
#include "providers/desktop/sqlite/rows.h"
#include "providers/desktop/sqlite/sqlite_error.h"
#include "providers/desktop/sqlite/sqlite_session.h"
#include "providers/sqlite_origins.h"

namespace quarno::desktop::sqlite {
namespace {

// Where procedures are kept that a file has no other place for; lists of tables leave out what begins so.
constexpr const char* kProcedures = "MSysProcedures";
constexpr int kMostNesting = 12;

Error refusal(std::int32_t number, std::string text) {
  return ado::provider_error(number, std::move(text), kSourceName);
}

GoOn until(const providers::TimeLimit& limit) {
  if (!limit) return {};
  return [end = *limit] { return std::chrono::steady_clock::now() < end; };
}

// What would be made in the engine's own database only, and be gone with the connection.
bool defines(const std::string& step) {
  const std::vector<jet::Token> tokens = jet::tokens_of(step);
  return tokens[0].is_word("create") || tokens[0].is_word("alter") || tokens[0].is_word("drop");
}

bool makes_view(const std::string& statement) {
  if (ado::first_word(statement) != "create") return false;
  const std::vector<jet::Token> tokens = jet::tokens_of(statement);
  return tokens[tokens[1].is_one_of({"temp", "temporary"}) ? 2 : 1].is_word("view");
}

// "{call p(1)}", "{? = call p}" and "call p(1)" as Jet calls a saved query.
std::string call_as_execute(const std::string& text) {
  // Nearly no statement is one.
  if (text.find('{') == std::string::npos && ado::first_word(text) != "call") return text;
  const std::vector<jet::Token> tokens = jet::tokens_of(text);
  std::size_t at = tokens[0].is("{") ? 1 : 0;
  if (tokens[at].kind == jet::Token::Kind::parameter && tokens[at + 1].is("=")) at += 2;
  if (!tokens[at].is_word("call")) return text;
  std::size_t end = at + 1;
  while (tokens[end].kind != jet::Token::Kind::end && !tokens[end].is("}")) ++end;
  const char* const first = tokens[at].text.data() + tokens[at].text.size();
  return "EXECUTE " + std::string(first, tokens[end].text.data());
}

}  // namespace

// While in scope, tables can be put into a database whose hosts may not change it.
class SqliteSession::Unlocked {
 public:
  explicit Unlocked(SqliteSession& session) : session_(session) {
    if (session_.is_read_only()) session_.run("PRAGMA query_only = OFF");
  }
  ~Unlocked() {
    if (session_.is_read_only()) quietly([&] { session_.run("PRAGMA query_only = ON"); });
  }
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;

 private:
  SqliteSession& session_;
};

const std::vector<SavedQuery>& SqliteSession::source_queries() {
  if (!queries_) queries_ = source_->queries();
  return *queries_;
}

std::optional<std::string> SqliteSession::saved_query(std::string_view name) {
  if (source_ != nullptr) {
    for (const SavedQuery& query : source_queries()) {
      if (!text::equal_fold(query.name, name)) continue;
      if (query.text.empty())
        throw refusal(ado::kErrorsInCommand, "The saved query '" + query.name + "' cannot be read.");
      return query.text;
    }
    return std::nullopt;
  }
  if (schema_.columns(kProcedures) == nullptr) return std::nullopt;
  const Statement query = prepare("SELECT Definition FROM MSysProcedures WHERE Name = ?");
  sqlite3_bind_text64(query.get(), 1, name.data(), name.size(), SQLITE_STATIC, SQLITE_UTF8);
  if (sqlite3_step(query.get()) != SQLITE_ROW) return std::nullopt;
  return column_text(query.get(), 0);
}

void SqliteSession::define_procedure(const jet::Step& step) {
  if (source_ != nullptr) {
    throw refusal(ado::kErrorsInCommand, "Procedures cannot be kept by this kind of database.");
  }
  const bool is_new = !step.drop;
  if (is_new && saved_query(step.table))
    throw refusal(ado::kErrorsInCommand, "Object '" + step.table + "' already exists.");
  if (!is_new && !saved_query(step.table))
    throw refusal(ado::kErrorsInCommand, "Could not find the procedure '" + step.table + "'.");
  run("CREATE TABLE IF NOT EXISTS MSysProcedures (Name VARCHAR(64) PRIMARY KEY COLLATE NOCASE, Definition "
      "LONGTEXT)");
  const std::vector<Variant> values =
      is_new ? std::vector<Variant>{step.table, step.text} : std::vector<Variant>{step.table};
  write_once(is_new ? "INSERT INTO MSysProcedures (Name, Definition) VALUES (?, ?)"
                    : "DELETE FROM MSysProcedures WHERE Name = ?",
             values);
}

void SqliteSession::bring(std::string_view name, const GoOn& go_on, int nesting) {
  if (source_ == nullptr || schema_.columns(name) != nullptr) return;
  {
    const Unlocked unlocked(*this);
    if (source_->bring(database_.get(), name, go_on)) return schema_.forget();
  }
  const auto query = nesting < kMostNesting ? saved_query(name) : std::nullopt;
  if (query) bring_named(*query, go_on, nesting + 1);
}

void SqliteSession::bring_named(const std::string& text, const GoOn& go_on, int nesting) {
  if (source_ == nullptr) return;
  for (const std::string& name : jet::names_in(text)) bring(name, go_on, nesting);
}

jet::Rewritten SqliteSession::rewritten(const std::string& text, std::size_t values) {
  // Tables of the engine's own files stay readable for other programs, which know its own text order only.
  jet::Rewritten plan = jet::rewrite(text, schema_, source_ == nullptr ? "NOCASE" : "");
  if (plan.steps.empty()) {
    throw refusal(ado::kNoCommandText, "Command text was not set for the command object.");
  }
  if (plan.parameters.size() != values) {
    std::string names;
    for (const jet::Column& parameter : plan.parameters) {
      if (!parameter.name.empty()) names += (names.empty() ? " " : ", ") + parameter.name;
    }
    throw refusal(ado::kParameterMissing, "No value given for one or more required parameters." + names);
  }
  if (plan.steps.size() == 1 && makes_view(text)) {
    plan.steps[0].text = ado::with_query_as_written(std::move(plan.steps[0].text), text);
  }
  return plan;
}

// Rows are stepped as they are taken, however the host reads.
ado::Outcome SqliteSession::execute_values(const std::string& text, std::span<const Variant> values,
                                           std::int32_t timeout_seconds) {
  if (text.find('\0') != std::string::npos) {
    throw refusal(ado::kErrorsInCommand, "The statement holds a NUL character.");
  }
  refuse_when_lost();
  Run run{providers::time_limit(timeout_seconds),
          timeout_seconds,
          std::exchange(to_be_edited_, {}) == text,
          values,
          {}};
  wait_at_most(providers::lock_patience_ms(timeout_seconds));
  schema_.forget();
  if (text::equal_fold(text::trim(text), "SELECT @@Identity")) {
    jet::Step number;
    number.text = identity_query();
    return run_step(number, run);
  }
  try {
    const std::string statement = call_as_execute(text);
    bring_named(statement, until(run.limit), 0);
    const jet::Rewritten plan = rewritten(statement, values.size());
    run.types = [this, &statement] { return jet::result_types(statement, schema_); };
    return plan.rebuilds_table ? run_rebuilding(plan, run) : run_steps(plan, run);
  } catch (const jet::SyntaxError& error) {
    Error own = refusal(ado::kErrorsInCommand, error.description);
    own.sql_state = "42000";
    own.statement = text;
    throw own;
  }
}

ado::Outcome SqliteSession::run_steps(const jet::Rewritten& plan, const Run& run) {
  ado::Outcome outcome;
  for (std::size_t i = 0; i < plan.steps.size();) {
    std::size_t end = i + 1;
    while (plan.steps[end - 1].goes_on) ++end;
    const auto work = [&] {
      for (; i < end; ++i) outcome = run_step(plan.steps[i], run, std::move(outcome));
    };
    // The steps of one statement happen together or not at all.
    if (end - i > 1) {
      together(work);
    } else {
      work();
    }
  }
  return outcome;
}

// A table is made anew under its own name, so those that refer to it must not be watched meanwhile.
ado::Outcome SqliteSession::run_rebuilding(const jet::Rewritten& plan, const Run& run) {
  if (level_ > 0) {
    throw refusal(ado::kErrorsInCommand, "The columns of a table cannot be changed inside a transaction.");
  }
  this->run("PRAGMA foreign_keys = OFF");
  const auto watch = [&] { this->run("PRAGMA foreign_keys = ON"); };
  try {
    ado::Outcome outcome;
    together([&] { outcome = run_steps(plan, run); });
    watch();
    return outcome;
  } catch (const Error&) {
    quietly(watch);
    throw;
  }
}

ado::Outcome SqliteSession::run_step(const jet::Step& step, const Run& run, ado::Outcome before) {
  if (step.procedure) {
    define_procedure(step);
    return {};
  }
  if (source_ != nullptr && (step.create || step.drop)) {
    if (step.drop && schema_.columns(step.table) == nullptr) bring(step.table, until(run.limit), 0);
    key_widths_.clear();
    if (step.drop) {
      source_->drop(database_.get(), step.table);
    } else {
      source_->create(database_.get(), step.table, *step.create);
    }
    schema_.forget();
    return {nullptr, 0};
  }
  Statement statement = prepare(step.text);
  if (statement == nullptr) return before;  // only a comment
  if (source_ != nullptr && source_->is_writable() && defines(step.text)) {
    throw refusal(
        ado::kErrorsInCommand,
        "This kind of database keeps tables alone: no views, indexes or triggers, and no other columns "
        "in a table that is there.");
  }
  if (!run.values.empty()) bind(statement.get(), run.values, step.text);
  const bool changes = sqlite3_stmt_readonly(statement.get()) == 0;
  if (changes) key_widths_.clear();
  if (sqlite3_column_count(statement.get()) > 0) {
    const bool has_origins = !run.to_be_edited || !providers::mixes_rows(database_.get(), step.text);
    ado::Outcome outcome;
    outcome.rows = std::make_unique<SqliteRows>(
        database_.get(), std::move(statement), step.text, run.limit, run.seconds,
        [this](const std::string& table) { return key_width(table); }, run.types, has_origins);
    return outcome;
  }
  const providers::Deadline deadline(database_.get(), run.limit);
  const std::int64_t total = sqlite3_total_changes64(database_.get());
  if (sqlite3_step(statement.get()) != SQLITE_DONE) throw failure(step.text);
  if (changes) schema_.forget();
  const bool counted = changes && sqlite3_total_changes64(database_.get()) != total;
  const std::int64_t affected = counted ? sqlite3_changes64(database_.get()) : 0;
  // Of a statement that takes several steps, one tells how many rows it is about.
  const bool tells = step.counts || before.affected <= 0;
  return {nullptr, tells ? affected : before.affected};
}

}  // namespace quarno::desktop::sqlite
