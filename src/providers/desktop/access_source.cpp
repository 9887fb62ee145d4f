#include "providers/desktop/access_source.h"

#include "ado/ado_error.h"
#include "providers/desktop/access/loader.h"
#include "providers/desktop/desktop_provider.h"

namespace quarno::desktop {
namespace {

using access::TableKind;

[[noreturn]] void refuse_change(const AccessSource& source) {
  Error error =
      ado::provider_error(ado::kReadOnly, "Cannot update. Database or object is read-only.", kSourceName);
  error.description += source.why_read_only();
  error.sql_state = "25006";
  throw error;
}

}  // namespace

std::vector<std::string> AccessSource::names() {
  std::vector<std::string> names;
  for (const access::Table& table : database_->tables()) names.push_back(table.name);
  return names;
}

std::string AccessSource::type_of(const std::string& name) {
  const access::Table* const table = database_->find_table(name);
  if (table == nullptr || table->kind == TableKind::local) return "TABLE";
  if (table->kind == TableKind::system) return "SYSTEM TABLE";
  return table->kind == TableKind::linked ? "LINK" : "PASS-THROUGH";
}

// Null when there is none of that name.
const access::Table* AccessSource::local_table(std::string_view name) const {
  const access::Table* const table = database_->find_table(name);
  if (table != nullptr && (table->kind == TableKind::linked || table->kind == TableKind::linked_odbc)) {
    // Neither the file's path nor its link is followed: they are those of the machine it was made on.
    throw ado::provider_error(ado::kUnspecified,
                              "'" + table->name + "' is a linked table: its rows are those of '" +
                                  table->foreign_name + "' in another database (" +
                                  (table->database.empty() ? std::string("ODBC") : table->database) +
                                  "). Open that one.",
                              kSourceName);
  }
  return table;
}

bool AccessSource::bring(sqlite3* engine, std::string_view name, const GoOn& go_on) {
  const access::Table* const table = local_table(name);
  if (table != nullptr) access::bring_table(engine, *database_, *table, go_on);
  return table != nullptr;
}

bool AccessSource::bring_design(sqlite3* engine, std::string_view name) {
  const access::Table* const table = local_table(name);
  access::LoadAs as;
  as.rows = false;
  if (table != nullptr) access::bring_table(engine, *database_, *table, {}, as);
  return table != nullptr;
}

std::vector<ado::IndexDefinition> AccessSource::indexes(const std::string& name) {
  std::vector<ado::IndexDefinition> indexes;
  const access::Table* const table = local_table(name);
  if (table == nullptr) return indexes;  // of a query
  const access::TableDesign& design = database_->design(*table);
  for (const access::Index& index : design.indexes) {
    indexes.push_back({index.name, index.is_primary, index.is_unique, {}});
    for (const access::IndexColumn& column : index.columns) {
      indexes.back().columns.push_back(design.columns[column.column].name);
    }
  }
  return indexes;
}

std::vector<SavedQuery> AccessSource::queries() {
  std::vector<SavedQuery> queries;
  for (const access::Query& query : database_->queries()) {
    queries.push_back({query.name, query.definition.text, query.is_view()});
  }
  return queries;
}

void AccessSource::create(sqlite3*, const std::string&, const std::vector<NewColumn>&) {
  refuse_change(*this);
}
void AccessSource::drop(sqlite3*, const std::string&) { refuse_change(*this); }

}  // namespace quarno::desktop
