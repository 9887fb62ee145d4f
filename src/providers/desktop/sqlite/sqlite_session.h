// A session on one database of the engine: a file of its own, or tables that are brought in from elsewhere.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ado/provider.h"
#include "providers/desktop/jet/rewrite.h"
#include "providers/desktop/sqlite/engine_schema.h"
#include "providers/desktop/sqlite/rows.h"
#include "providers/desktop/sqlite/statement.h"
#include "providers/desktop/table_source.h"

namespace quarno::desktop::sqlite {

class SqliteSession : public ado::Session, private ado::SchemaSource {
 public:
  /// Without a source the tables are the database's own.
  SqliteSession(Database database, std::unique_ptr<TableSource> source);

  ado::Outcome execute(const std::string& text, std::int32_t timeout_seconds,
                       ado::Reading /*reading*/) override {
    return execute_values(text, {}, timeout_seconds);
  }
  ado::Outcome execute_with(const std::string& text, std::span<const Variant> values,
                            std::int32_t timeout_seconds) override {
    return execute_values(text, values, timeout_seconds);
  }
  std::int64_t write(const std::string& statement, std::span<const Variant> parameters,
                     std::int64_t most) override;
  bool write_rows(const std::string& statement, std::span<const std::vector<Variant>> rows) override;
  void prepare_editing(const std::string& statement) override { to_be_edited_ = statement; }
  void together(const std::function<void()>& work) override;
  Variant last_identity(const std::string& /*table*/, const std::string& /*column*/) override {
    return last_row_id() != 0 ? Variant(last_row_id()) : Variant::null();
  }
  void begin() override;
  void commit() override;
  void rollback() override;
  int transaction_level() const override { return level_; }
  bool is_alive() override { return true; }
  const ado::Dialect& dialect() const override { return dialect_; }
  bool has_indexes() const override { return true; }
  std::optional<std::vector<ado::IndexColumn>> index_columns(const std::string& table,
                                                             const std::string& index) override;
  ado::SchemaSource* schema() override { return this; }

 private:
  class Unlocked;
  // The catalogue (catalog.cpp).
  std::vector<ado::TableEntry> tables() override;
  std::vector<ado::StoredQuery> views() override;
  std::vector<ado::StoredQuery> procedures() override;
  std::vector<ado::IndexDefinition> indexes(const std::string& table) override;
  std::shared_ptr<ado::Session> designs(const std::string& table) override;
  ado::Ddl ddl() const override { return source_ == nullptr ? ado::Ddl::jet : ado::Ddl::folder; }
  void create_procedure(const std::string& name, const std::string& text) override;
  std::string key_name(const std::string& table);
  std::vector<std::vector<std::string>> texts_of(const char* query, std::string_view parameter = {}) const;

  /// What the steps of a statement share.
  struct Run {
    providers::TimeLimit limit;
    int seconds;
    bool to_be_edited;
    std::span<const Variant> values;  // for its parameters
    ResultTypes types;
  };

  void run(const std::string& statement) const;
  Statement prepare(std::string_view statement) const;
  Error failure(std::string_view statement) const;
  /// For others that write.
  void wait_at_most(int milliseconds);
  std::int64_t last_row_id() const { return sqlite3_last_insert_rowid(database_.get()); }
  // Answers from the session, because the engine has no such variable; no row as long as nothing was
  // inserted.
  std::string identity_query() const;

  // Its tables come from elsewhere, and only to be read.
  bool is_read_only() const { return source_ != nullptr && !source_->is_writable(); }
  void bring(std::string_view name, const GoOn& go_on, int nesting);
  void bring_named(const std::string& text, const GoOn& go_on, int nesting);
  std::optional<std::string> saved_query(std::string_view name);
  const std::vector<SavedQuery>& source_queries();
  void define_procedure(const jet::Step& step);
  ado::Outcome execute_values(const std::string& text, std::span<const Variant> values,
                              std::int32_t timeout_seconds);
  jet::Rewritten rewritten(const std::string& text, std::size_t values);
  ado::Outcome run_steps(const jet::Rewritten& plan, const Run& run);
  ado::Outcome run_rebuilding(const jet::Rewritten& plan, const Run& run);
  ado::Outcome run_step(const jet::Step& step, const Run& run, ado::Outcome before = {});
  std::vector<std::pair<std::string, std::string>> pairs_of(const std::string& select) const;

  // The values are not copied.
  void bind(sqlite3_stmt* handle, std::span<const Variant> values, std::string_view statement) const;
  sqlite3_stmt* prepared(const std::string& statement);
  std::int64_t write_once(const std::string& statement, std::span<const Variant> parameters);
  int key_width(const std::string& table);
  void end_level(const std::string& outermost, const std::string& inner);
  // The engine gives a whole transaction up after some errors (a timeout while writing, a full disk), and a
  // statement can end it. What the host believes to be inside it must then not be stored on its own.
  bool transaction_is_lost() const { return level_ > 0 && sqlite3_get_autocommit(database_.get()) != 0; }
  void refuse_when_lost() const;

  // What is declared later is released before: statements before the database, the database before the files
  // of its tables.
  std::unique_ptr<TableSource> source_;
  std::optional<std::vector<SavedQuery>> queries_;  // of the source, once asked for
  Database database_;
  std::unordered_map<std::string, Statement> prepared_;
  const std::pair<const std::string, Statement>* last_prepared_ = nullptr;  // one of them
  EngineSchema schema_;
  std::unordered_map<std::string, int> key_widths_;
  ado::Dialect dialect_;
  std::string to_be_edited_;  // the statement that runs next
  int level_ = 0;
};

}  // namespace quarno::desktop::sqlite
