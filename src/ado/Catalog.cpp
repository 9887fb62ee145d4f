#include "ado/Catalog.h"

#include <algorithm>
#include <tuple>

#include "ado/catalog/definition_text.h"
#include "ado/write_statement.h"
#include "common/text.h"

namespace quarno::ado {
namespace {

constexpr const char* kSource = "ADOX.Catalog";

template <class Item>
const Item* found(const std::vector<Item>& items, const std::string& name) {
  const auto exact = std::find_if(items.begin(), items.end(), [&](const Item& i) { return i.name == name; });
  if (exact != items.end()) return &*exact;
  const std::string wanted = text::upper(name);
  const auto any =
      std::find_if(items.begin(), items.end(), [&](const Item& i) { return text::upper(i.name) == wanted; });
  return any == items.end() ? nullptr : &*any;
}

template <class Item>
void sort_by_name(std::vector<Item>& items) {
  std::stable_sort(items.begin(), items.end(),
                   [](const Item& a, const Item& b) { return text::upper(a.name) < text::upper(b.name); });
}

template <class Item>
void refuse_second(const std::vector<Item>& items, const std::string& name) {
  if (found(items, name) != nullptr) throw model_error(Model::in_collection, kSource);
}

}  // namespace

template <class Work>
auto Catalog::ask(Work&& work) {
  if (connection_ == nullptr) throw model_error(Model::invalid_connection, kSource);
  Session& session = connection_->session(Model::invalid_connection);
  SchemaSource* const schema = session.schema();
  if (schema == nullptr) throw model_error(Model::feature_not_available, kSource);
  return connection_->report_failures([&] { return work(session, *schema); });
}

std::vector<TableEntry> Catalog::tables() {
  auto entries = ask([](Session&, SchemaSource& schema) { return schema.tables(); });
  sort_by_name(entries);
  std::stable_sort(entries.begin(), entries.end(),
                   [](const TableEntry& a, const TableEntry& b) { return a.type < b.type; });
  return entries;
}

std::vector<StoredQuery> Catalog::views() {
  auto views = ask([](Session&, SchemaSource& schema) { return schema.views(); });
  sort_by_name(views);
  return views;
}

std::vector<StoredQuery> Catalog::procedures() {
  auto procedures = ask([](Session&, SchemaSource& schema) { return schema.procedures(); });
  sort_by_name(procedures);
  return procedures;
}

bool Catalog::has_table(const std::string& name) { return found(tables(), name) != nullptr; }
bool Catalog::has_procedure(const std::string& name) { return found(procedures(), name) != nullptr; }

Table Catalog::table(const std::string& name) {
  const std::vector<TableEntry> entries = tables();
  const TableEntry* const entry = found(entries, name);
  if (entry == nullptr) throw model_error(Model::item_not_found, kSource);
  Table table;
  table.is_stored = true;
  table.reached_by = connection_->ConnectionString();
  table.definition.name = entry->name;
  ask([&](Session& session, SchemaSource& schema) {
    const std::shared_ptr<Session> designs = schema.designs(entry->name);
    table.definition.columns = columns_of(designs == nullptr ? session : *designs, entry->name);
  });
  table.definition.indexes = indexes_of(entry->name);
  return table;
}

std::vector<IndexDefinition> Catalog::indexes_of(const std::string& table) {
  auto indexes = ask([&](Session&, SchemaSource& schema) { return schema.indexes(table); });
  sort_by_name(indexes);
  return indexes;
}

Ddl Catalog::ddl() {
  return ask([](Session&, SchemaSource& schema) { return schema.ddl(); });
}

// A query without rows: so a column has the type and size here that it has in every recordset.
std::vector<ColumnDefinition> Catalog::columns_of(Session& session, const std::string& table) {
  const Outcome outcome =
      session.execute("SELECT * FROM " + quoted_name(session.dialect(), table) + " WHERE 1=0",
                      connection_->CommandTimeout(), Reading::at_once);
  std::vector<ColumnDefinition> columns;
  if (outcome.rows == nullptr) return columns;
  for (const Column& column : outcome.rows->columns()) {
    columns.push_back({column.name, column.type, column.defined_size, column.precision, column.scale,
                       (column.attributes & adFldIsNullable) != 0, true, column.auto_increment});
  }
  outcome.rows->finish();
  return columns;
}

void Catalog::run(const std::string& statement) {
  ask([&](Session& session, SchemaSource&) {
    session.execute(statement, connection_->CommandTimeout(), Reading::at_once);
  });
}

// All or none. Where a definition cannot be undone it is one statement.
void Catalog::run_all(const std::vector<std::string>& statements) {
  const auto work = [&] {
    for (const std::string& statement : statements) run(statement);
  };
  if (statements.size() == 1) return work();
  ask([&](Session& session, SchemaSource&) { session.together(work); });
}

void Catalog::append(Table& table) {
  if (table.is_stored) throw model_error(Model::in_collection, kSource);
  run_all(create_table_texts(ddl(), table.definition));
  table.is_stored = true;
  table.reached_by = connection_->ConnectionString();
}

// A host may have gone on to another database that has a table of this name too.
void Catalog::require_own(const Table& table) const {
  const bool is_own = connection_ != nullptr && connection_->ConnectionString() == table.reached_by;
  if (table.is_stored && !is_own) throw model_error(Model::item_not_found, kSource);
}

void Catalog::append_column(Table& table, const ColumnDefinition& column) {
  require_own(table);
  refuse_second(table.definition.columns, column.name);
  if (table.is_stored) {
    run(add_column_text(ddl(), table.definition.name, column));
  }
  table.definition.columns.push_back(column);
}

void Catalog::append_index(Table& table, const IndexDefinition& index) {
  require_own(table);
  refuse_second(table.definition.indexes, index.name);
  if (table.is_stored) {
    run(add_index_text(ddl(), table.definition.name, index));
  }
  table.definition.indexes.push_back(index);
}

void Catalog::delete_column(Table& table, const std::string& name) {
  require_own(table);
  auto& columns = table.definition.columns;
  const ColumnDefinition* const column = found(columns, name);
  if (column == nullptr) throw model_error(Model::item_not_found, kSource);
  if (table.is_stored) {
    TableDefinition& own = table.definition;
    own.indexes = indexes_of(own.name);
    run_all(drop_column_texts(ddl(), own, column->name));
    own.indexes = indexes_of(own.name);  // some may have gone with the column
  }
  columns.erase(columns.begin() + (column - columns.data()));
}

void Catalog::append_procedure(const std::string& name, const std::string& text) {
  ask([&](Session&, SchemaSource& schema) { schema.create_procedure(name, text); });
}

}  // namespace quarno::ado
