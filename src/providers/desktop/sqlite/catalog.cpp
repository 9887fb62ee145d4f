// What a session tells of its tables, views and procedures.
#include "ado/ado_error.h"
#include "ado/catalog/definition_text.h"
#include "ado/catalog/schema.h"
#include "ado/write_statement.h"
#include "common/text.h"
#include "providers/desktop/desktop_provider.h"
#include "providers/desktop/jet/tokens.h"
#include "providers/desktop/sqlite/engine_calls.h"
#include "providers/desktop/sqlite/sqlite_session.h"

namespace quarno::desktop::sqlite {

std::vector<std::vector<std::string>> SqliteSession::texts_of(const char* query,
                                                              std::string_view parameter) const {
  const Statement statement = prepare(query);
  if (sqlite3_bind_parameter_count(statement.get()) > 0) {
    sqlite3_bind_text64(statement.get(), 1, parameter.data(), parameter.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  std::vector<std::vector<std::string>> texts;
  int result = SQLITE_ROW;
  while ((result = sqlite3_step(statement.get())) == SQLITE_ROW) {
    auto& row = texts.emplace_back();
    for (int i = 0; i < sqlite3_column_count(statement.get()); ++i) {
      row.push_back(column_text(statement.get(), i));
    }
  }
  if (result != SQLITE_DONE) throw failure(query);
  return texts;
}

std::vector<ado::TableEntry> SqliteSession::tables() {
  std::vector<ado::TableEntry> entries;
  if (source_ != nullptr) {
    for (std::string& name : source_->names()) {
      std::string type = source_->type_of(name);
      entries.push_back({std::move(name), std::move(type)});
    }
    for (const SavedQuery& query : source_queries()) {
      if (query.is_view) entries.push_back({query.name, "VIEW"});
    }
    return entries;
  }
  for (auto& row : texts_of("SELECT name, CASE WHEN substr(name, 1, 7) = 'sqlite_' OR substr(name, 1, 4) = "
                            "'MSys' THEN 'SYSTEM TABLE' ELSE upper(type) END FROM sqlite_schema WHERE type "
                            "IN ('table', 'view') UNION ALL SELECT name, CASE type WHEN 'view' THEN 'VIEW' "
                            "ELSE 'LOCAL TEMPORARY' END FROM sqlite_temp_schema WHERE type IN ('table', "
                            "'view')")) {
    entries.push_back({std::move(row[0]), std::move(row[1])});
  }
  return entries;
}

std::vector<ado::StoredQuery> SqliteSession::views() {
  std::vector<ado::StoredQuery> views;
  if (source_ != nullptr) {
    for (const SavedQuery& query : source_queries()) {
      if (query.is_view) views.push_back({query.name, query.text});
    }
    return views;
  }
  for (auto& row : texts_of("SELECT name, sql FROM sqlite_temp_schema WHERE type = 'view' UNION ALL SELECT "
                            "name, sql FROM sqlite_schema WHERE type = 'view'")) {
    views.push_back({std::move(row[0]), ado::query_of_view(row[1])});
  }
  return views;
}

std::vector<ado::StoredQuery> SqliteSession::procedures() {
  std::vector<ado::StoredQuery> procedures;
  if (source_ != nullptr) {
    for (const SavedQuery& query : source_queries()) {
      if (!query.is_view) procedures.push_back({query.name, query.text});
    }
    return procedures;
  }
  schema_.forget();
  if (schema_.columns("MSysProcedures") == nullptr) return procedures;
  for (auto& row : texts_of("SELECT Name, Definition FROM MSysProcedures")) {
    procedures.push_back({std::move(row[0]), std::move(row[1])});
  }
  return procedures;
}

// What a constraint in its CREATE TABLE calls the key; "PrimaryKey" when nothing does.
std::string SqliteSession::key_name(const std::string& table) {
  const std::string definition = schema_.definition(table);
  const std::vector<jet::Token> tokens = jet::tokens_of(definition);
  for (std::size_t i = 0; i + 2 < tokens.size(); ++i) {
    if (tokens[i].is_word("constraint") && tokens[i + 2].is_word("primary")) {
      return std::string(jet::bare(tokens[i + 1].text));
    }
  }
  return "PrimaryKey";
}

std::vector<ado::IndexDefinition> SqliteSession::indexes(const std::string& table) {
  std::vector<ado::IndexDefinition> indexes;
  if (source_ != nullptr) return source_->indexes(table);
  std::vector<std::string> key;
  for (auto& row : texts_of("SELECT name FROM pragma_table_info(?1) WHERE pk > 0 ORDER BY pk", table)) {
    key.push_back(std::move(row[0]));
  }
  if (!key.empty()) indexes.push_back({key_name(table), true, true, std::move(key)});
  std::string last;
  for (auto& row : texts_of("SELECT l.name, x.name, l.\"unique\" FROM pragma_index_list(?1) l, "
                            "pragma_index_info(l.name) x WHERE l.origin <> 'pk' AND x.name IS NOT NULL "
                            "ORDER BY l.seq DESC, x.seqno",
                            table)) {
    if (row[0] != last || indexes.empty() || indexes.back().primary) {
      indexes.push_back({ado::own_index_name(table, row[0]), false, row[2] == "1", {}});
      last = row[0];
    }
    indexes.back().columns.push_back(std::move(row[1]));
  }
  return indexes;
}

std::shared_ptr<ado::Session> SqliteSession::designs(const std::string& table) {
  if (source_ == nullptr) return nullptr;
  schema_.forget();
  if (schema_.columns(table) != nullptr) return nullptr;  // its rows are here already
  auto empty = std::make_shared<SqliteSession>(open_database("", SQLITE_OPEN_READWRITE), nullptr);
  return source_->bring_design(empty->database_.get(), table) ? empty : nullptr;
}

void SqliteSession::create_procedure(const std::string& name, const std::string& text) {
  if (source_ != nullptr) throw ado::model_error(ado::Model::feature_not_available, "ADOX.Procedures");
  refuse_when_lost();
  if (ado::first_word(text).empty()) {
    throw ado::provider_error(ado::kNoCommandText, "Command text was not set for the command object.",
                              kSourceName);
  }
  schema_.forget();
  if (ado::creates_procedure(text)) return static_cast<void>(execute(text, 0, ado::Reading::at_once));
  jet::Step step;
  step.procedure = true;
  step.table = name;
  step.text = text;
  together([&] { define_procedure(step); });
}

}  // namespace quarno::desktop::sqlite
