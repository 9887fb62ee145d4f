// A data source's schema as plain values, and what the model asks of a source about it. How a table is
// written down is the model's business (definition_text.h); the source tells which language that takes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ado/enums.h"

namespace quarno::ado {

/// What a list of tables shows. The type is one of the catalogue's texts: "TABLE", "VIEW", "SYSTEM TABLE",
/// "SYSTEM VIEW", "LINK", "LOCAL TEMPORARY".
struct TableEntry {
  std::string name;
  std::string type;
};

/// A view or a procedure with its command text; empty where the source does not show it.
struct StoredQuery {
  std::string name;
  std::string text;
};

struct ColumnDefinition {
  std::string name;
  DataType type = DataType::var_wchar;
  std::int64_t defined_size = 0;  // characters of text, bytes otherwise; 0: what is usual for the type
  std::uint8_t precision = 0;     // of exact numbers; 0: 18 digits without decimals
  std::uint8_t scale = 0;
  bool nullable = true;
  bool allow_zero_length = true;  // of text, where the language can tell
  bool auto_increment = false;
};

struct IndexDefinition {
  std::string name;
  bool primary = false;
  bool unique = false;
  std::vector<std::string> columns;
  std::string stored_name = {};  // what the database calls it, where that differs or matters
};

struct TableDefinition {
  std::string name;
  std::vector<ColumnDefinition> columns;
  std::vector<IndexDefinition> indexes;
};

/// The language tables are defined in; `none`: this source defines none. `folder` is Jet's
/// without indexes.
enum class Ddl : std::uint8_t { none, jet, folder, mariadb, postgresql, sqlite, sql_server };

class Session;

class SchemaSource {
 public:
  virtual ~SchemaSource() = default;
  /// Everything that a bare name reaches, the system's own tables included, in any order.
  virtual std::vector<TableEntry> tables() = 0;
  virtual std::vector<StoredQuery> views() = 0;
  virtual std::vector<StoredQuery> procedures() = 0;
  /// Of a table whose name is written as in tables(); the columns of each index in their order.
  virtual std::vector<IndexDefinition> indexes(const std::string& table) = 0;
  /// A session whose table of that name has its columns and no rows, where the source's own would have to
  /// fetch them first; else null.
  virtual std::shared_ptr<Session> designs(const std::string& /*table*/) { return nullptr; }
  virtual Ddl ddl() const = 0;
  /// Raises 3251 where procedures cannot be made of such a text.
  virtual void create_procedure(const std::string& name, const std::string& text) = 0;
};

}  // namespace quarno::ado
