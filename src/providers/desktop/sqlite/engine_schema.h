// What the rewriting of a statement asks of an open database.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "providers/desktop/jet/schema.h"
#include "providers/desktop/sqlite/statement.h"

namespace quarno::desktop::sqlite {

class EngineSchema : public jet::Schema {
 public:
  /// The text of a query that is saved outside the engine, by its name.
  using FindQuery = std::function<std::optional<std::string>(std::string_view name)>;
  using RunPairs = std::function<std::vector<std::pair<std::string, std::string>>(const std::string& select)>;

  EngineSchema(sqlite3* database, FindQuery find_query, RunPairs run_pairs)
      : database_(database), find_query_(std::move(find_query)), run_pairs_(std::move(run_pairs)) {}

  const std::vector<jet::Column>* columns(std::string_view table) const override;
  std::optional<std::string> query(std::string_view name) const override;
  std::vector<std::pair<std::string, std::string>> pairs(const std::string& select) const override {
    return run_pairs_(select);
  }
  std::string definition(std::string_view table) const override;
  std::vector<std::string> attachments(std::string_view table) const override;

  /// Another statement begins: what is known of tables may have changed.
  void forget() { known_.clear(); }

 private:
  Statement ask(const char* query, std::string_view parameter) const;

  sqlite3* database_;
  FindQuery find_query_;
  RunPairs run_pairs_;
  mutable Statement columns_query_;  // kept, because nearly every statement asks it
  mutable std::map<std::string, std::optional<std::vector<jet::Column>>> known_;  // by name in small letters
};

}  // namespace quarno::desktop::sqlite
