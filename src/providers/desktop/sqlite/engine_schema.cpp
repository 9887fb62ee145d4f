#include "providers/desktop/sqlite/engine_schema.h"

#include "common/text.h"
#include "providers/desktop/jet/tokens.h"
#include "providers/desktop/sqlite/engine_calls.h"

namespace quarno::desktop::sqlite {
Statement EngineSchema::ask(const char* query, std::string_view parameter) const {
  Statement statement = prepare(database_, query);
  sqlite3_bind_text64(statement.get(), 1, parameter.data(), parameter.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  return statement;
}

const std::vector<jet::Column>* EngineSchema::columns(std::string_view table) const {
  const auto [found, is_new] = known_.try_emplace(text::lower_ascii(table));
  if (is_new) {
    if (columns_query_ == nullptr) {
      columns_query_ = ask("SELECT name, type FROM pragma_table_xinfo(?1) WHERE hidden <> 1", table);
    } else {
      sqlite3_bind_text64(columns_query_.get(), 1, table.data(), table.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    }
    std::vector<jet::Column> columns;
    while (step(database_, columns_query_)) {
      columns.push_back({column_text(columns_query_.get(), 0), column_text(columns_query_.get(), 1)});
    }
    sqlite3_reset(columns_query_.get());
    if (!columns.empty()) found->second = std::move(columns);
  }
  return found->second ? &*found->second : nullptr;
}

std::optional<std::string> EngineSchema::query(std::string_view name) const {
  if (auto saved = find_query_(name)) return saved;
  const Statement view =
      ask("SELECT sql FROM sqlite_schema WHERE type = 'view' AND name = ?1 COLLATE NOCASE", name);
  if (!step(database_, view)) return std::nullopt;
  // CREATE VIEW name (columns) AS query
  const std::string text = column_text(view.get(), 0);
  int depth = 0;
  for (const jet::Token& token : jet::tokens_of(text)) {
    depth += token.is("(") ? 1 : token.is(")") ? -1 : 0;
    if (depth == 0 && token.is_word("as")) {
      return text.substr(static_cast<std::size_t>(token.text.data() - text.data()) + token.text.size());
    }
  }
  return std::nullopt;
}

std::string EngineSchema::definition(std::string_view table) const {
  const Statement query =
      ask("SELECT sql FROM sqlite_schema WHERE type = 'table' AND name = ?1 COLLATE NOCASE", table);
  return step(database_, query) ? column_text(query.get(), 0) : std::string();
}

std::vector<std::string> EngineSchema::attachments(std::string_view table) const {
  const Statement query =
      ask("SELECT sql FROM sqlite_schema WHERE type IN ('index', 'trigger') AND tbl_name = ?1 COLLATE NOCASE "
          "AND sql IS NOT NULL",
          table);
  std::vector<std::string> texts;
  while (step(database_, query)) texts.push_back(column_text(query.get(), 0));
  return texts;
}

}  // namespace quarno::desktop::sqlite
