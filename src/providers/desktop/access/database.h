// An Access file, read only: Jet 3 and 4 and the .accdb versions that are not encrypted. Nothing is locked
// and nothing is kept from other programs, so a file that is written meanwhile may read as damaged. Used by
// one thread. Failures of the file are provider errors; those of the system pass through.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/date.h"
#include "platform/data_files.h"
#include "providers/desktop/access/design.h"
#include "providers/desktop/access/header.h"
#include "providers/desktop/access/query_text.h"
#include "providers/desktop/access/table_rows.h"

namespace quarno::desktop::access {

struct Options {
  std::string password;
  int code_page = 0;  // of Jet 3 text; 0: what the file says, which is wrong in files from some systems
  /// Read what can be read of a damaged table instead of refusing it.
  bool skip_damage = false;
};

enum class TableKind { local, system, linked, linked_odbc };

struct Table {
  std::string name;
  TableKind kind = TableKind::local;
  bool is_hidden = false;  // by its user
  std::uint32_t page = 0;  // where a local one is defined
  // Of linked ones.
  std::string connect;
  std::string foreign_name;
  std::string database;
  // Nothing when the file has no valid ones.
  std::optional<Date> created;
  std::optional<Date> modified;
  std::string properties;  // as the catalogue keeps them
};

struct Query {
  std::string name;
  QueryText definition;
  std::optional<Date> created;
  std::optional<Date> modified;

  /// Plain selects are views; what takes parameters or changes data is a procedure.
  bool is_view() const { return definition.kind == QueryKind::select && !definition.has_parameters; }
};

struct RelationColumns {
  std::string foreign;     // in the table with the foreign key
  std::string referenced;  // in the one it points to
};
struct Relation {
  std::string name;
  std::string foreign_table;
  std::string referenced_table;
  std::vector<RelationColumns> columns;
  bool cascades_update = false;
  bool cascades_delete = false;
  bool is_enforced = true;
};

class Database {
 public:
  /// Raises kLoginFailed for a wrong or a missing password, kUnspecified for a file that cannot be read.
  static std::unique_ptr<Database> open(const std::string& path, const Options& options);
  /// `path` is for messages.
  static std::unique_ptr<Database> open(std::unique_ptr<platform::DataFile> file, const std::string& path,
                                        const Options& options);

  const Options& options() const { return options_; }
  bool jet3() const { return pages_.jet3(); }
  /// In catalogue order, without deleted ones. System tables are among them.
  const std::vector<Table>& tables() const { return tables_; }
  /// Letter case does not matter; null when there is none.
  const Table* find_table(std::string_view name) const;
  /// Read when first asked for; raises for linked tables and damaged definitions.
  const TableDesign& design(const Table& table);
  /// Reads the rows of a local table. Borrows the database.
  TableRows rows(const Table& table) { return {pages_, texts_, design(table)}; }

  /// Read when first asked for. Empty where the file has no such table.
  const std::vector<Query>& queries();
  const std::vector<Relation>& relations();

  /// What of the catalogue, the queries and the relations could not be read so far: some may be missing.
  const Damage& catalogue_damage() const { return damage_; }

 private:
  struct SavedQuery {
    std::string name;
    std::uint32_t flags;
    std::optional<Date> created, modified;
  };

  Database(std::unique_ptr<platform::DataFile> file, const Header& header, std::string path, Options options);
  void read_catalogue();
  void apply_properties(const Table& table, TableDesign& design);
  template <class Take>
  void read_rows(const TableDesign& design, const std::vector<std::string_view>& columns, Take&& take);
  const TableDesign* system_design(std::string_view name);

  std::string path_;
  Options options_;
  PageStore pages_;
  TextReader texts_;
  std::vector<Table> tables_;
  std::map<std::uint32_t, TableDesign> designs_;      // by page
  std::map<std::int32_t, SavedQuery> saved_queries_;  // by id
  std::optional<std::vector<Query>> queries_;
  std::optional<std::vector<Relation>> relations_;
  Damage damage_;
};

/// The column's type as CREATE TABLE words it for the engine, with a name that has the right affinity there.
std::string declaration(const Column& column, bool jet3);

}  // namespace quarno::desktop::access
