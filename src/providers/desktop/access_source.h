// The tables and saved queries of an Access file for the engine: a table is copied when a statement names it
// first, and stays as it was then.
#pragma once

#include <memory>

#include "providers/desktop/access/database.h"
#include "providers/desktop/table_source.h"

namespace quarno::desktop {

class AccessSource : public TableSource {
 public:
  explicit AccessSource(std::unique_ptr<access::Database> database) : database_(std::move(database)) {}

  std::vector<std::string> names() override;
  std::string type_of(const std::string& name) override;
  /// Raises kUnspecified for a linked table, whose rows are in another database.
  bool bring(sqlite3* engine, std::string_view name, const GoOn& go_on) override;
  bool bring_design(sqlite3* engine, std::string_view name) override;
  std::vector<ado::IndexDefinition> indexes(const std::string& name) override;
  std::vector<SavedQuery> queries() override;
  bool is_writable() const override { return false; }
  std::string_view why_read_only() const override {
    return " Access files are only read here: 'quarnofwk convert OLD.mdb NEW.db' makes a database file of "
           "one "
           "that can be changed.";
  }
  void create(sqlite3* engine, const std::string& name, const std::vector<NewColumn>& columns) override;
  void drop(sqlite3* engine, const std::string& name) override;

 private:
  const access::Table* local_table(std::string_view name) const;

  std::unique_ptr<access::Database> database_;
};

}  // namespace quarno::desktop
