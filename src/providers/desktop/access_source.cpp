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
  for (const access::Table& table : database_->tables()) {
    if (table.kind != TableKind::system) names.push_back(table.name);
  }
  return names;
}

std::string AccessSource::type_of(const std::string& name) {
  const access::Table* const table = database_->find_table(name);
  if (table == nullptr || table->kind == TableKind::local) return "TABLE";
  return table->kind == TableKind::linked ? "LINK" : "PASS-THROUGH";
}

bool AccessSource::bring(sqlite3* engine, std::string_view name, const GoOn& go_on) {
  const access::Table* const table = database_->find_table(name);
  if (table == nullptr) return false;
  if (table->kind == TableKind::linked || table->kind == TableKind::linked_odbc) {
    // Neither the file's path nor its link is followed: they are those of the machine it was made on.
    throw ado::provider_error(ado::kUnspecified,
                              "'" + table->name + "' is a linked table: its rows are those of '" +
                                  table->foreign_name + "' in another database (" +
                                  (table->database.empty() ? std::string("ODBC") : table->database) +
                                  "). Open that one.",
                              kSourceName);
  }
  access::bring_table(engine, *database_, *table, go_on);
  return true;
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
