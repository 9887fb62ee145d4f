// The catalogue of a connection's data source: its tables, views and procedures, and the definition of
// tables. Nothing is kept between two questions, so what others change shows. Names are found without regard
// to their letter case, the one that is written so first.
#pragma once

#include <string>
#include <vector>

#include "ado/Connection.h"
#include "ado/catalog/schema.h"

namespace quarno::ado {

/// A table as the model works on it: one that there is, whose changes reach the database at once, or a
/// definition that is stored later.
struct Table {
  TableDefinition definition;
  bool is_stored = false;
  std::string reached_by = {};  // of one that is stored: the connection string
};

class Catalog {
 public:
  /// Raises 3709 at the next question when the connection is not open.
  void set_ActiveConnection(Ptr<Connection> connection) { connection_ = std::move(connection); }

  /// Tables, views and the system's tables, by type, then by name.
  std::vector<TableEntry> tables();
  /// By name.
  std::vector<StoredQuery> views();
  std::vector<StoredQuery> procedures();
  bool has_table(const std::string& name);
  bool has_procedure(const std::string& name);

  /// Columns in their order, indexes by name. Raises 3265 for a table that is not there.
  Table table(const std::string& name);
  /// Makes the table with its indexes, or nothing.
  void append(Table& table);
  /// Raises 3367 for a name that is taken. Changing a table of another data source than the connection's
  /// raises 3265, here and below.
  void append_column(Table& table, const ColumnDefinition& column);
  void append_index(Table& table, const IndexDefinition& index);
  /// Raises 3265 when there is none of that name.
  void delete_column(Table& table, const std::string& name);
  void append_procedure(const std::string& name, const std::string& text);

 private:
  template <class Work>
  auto ask(Work&& work);
  std::vector<ColumnDefinition> columns_of(Session& session, const std::string& table);
  void require_own(const Table& table) const;
  std::vector<IndexDefinition> indexes_of(const std::string& table);
  Ddl ddl();
  void run(const std::string& statement);
  void run_all(const std::vector<std::string>& statements);

  Ptr<Connection> connection_;
};

}  // namespace quarno::ado
