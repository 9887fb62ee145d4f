#include "ado/catalog/definition_text.h"

#include <algorithm>
#include <array>

#include "ado/ado_error.h"
#include "common/text.h"

namespace quarno::ado {
namespace {

constexpr std::int32_t kInvalidType = -2147217859;
constexpr std::int64_t kUsualSize = 255;

/// How a language differs where tables are defined.
struct Rules {
  std::size_t types = 0;  // its place in a row of kTypes
  std::string_view open = "\"";
  std::string_view close = "\"";
  std::int64_t longest_fixed = INT64_MAX;  // beyond it a text is a variable one,
  std::int64_t longest = INT64_MAX;        // beyond this a long one
  std::string_view null_column = {};
  std::string_view numbered = {};          // behind the type of a column that numbers its rows,
  std::string_view number_type = {};       // or its type
  std::string_view long_number_type = {};  // the same of 64 bits
  std::string_view add_column = " ADD COLUMN ";
  bool indexes_inside = false;  // in the CREATE TABLE; else each is a statement of its own
  bool shares_keys = false;     // names of keys are those of the whole database,
  bool shares_indexes = false;  // so are names of indexes
  bool undoes = true;
};

constexpr Rules kJet{.open = "[", .close = "]", .number_type = "COUNTER", .long_number_type = "COUNTER"};
constexpr Rules kFolder{
    .open = "[", .close = "]", .number_type = "COUNTER", .long_number_type = "COUNTER", .undoes = false};
constexpr Rules kMariaDb{.types = 1,
                         .open = "`",
                         .close = "`",
                         .longest_fixed = 255,
                         .longest = 16383,
                         .numbered = " AUTO_INCREMENT",
                         .indexes_inside = true,
                         .undoes = false};
constexpr Rules kPostgreSql{.types = 2,
                            .number_type = "SERIAL",
                            .long_number_type = "BIGSERIAL",
                            .shares_keys = true,
                            .shares_indexes = true};
// Only such a key numbers rows, and it cannot be declared apart from its column. In double quotes a name that
// is no column would be taken for a text.
constexpr Rules kSqlite{.types = 3,
                        .open = "`",
                        .close = "`",
                        .number_type = "INTEGER PRIMARY KEY AUTOINCREMENT",
                        .long_number_type = "INTEGER PRIMARY KEY AUTOINCREMENT",
                        .shares_indexes = true};
constexpr Rules kSqlServer{.types = 4,
                           .open = "[",
                           .close = "]",
                           .longest_fixed = 4000,
                           .longest = 4000,
                           .null_column = " NULL",
                           .numbered = " IDENTITY(1,1)",
                           .add_column = " ADD ",
                           .shares_keys = true};

const Rules& rules_of(Ddl ddl) {
  switch (ddl) {
    case Ddl::jet: return kJet;
    case Ddl::folder: return kFolder;
    case Ddl::mariadb: return kMariaDb;
    case Ddl::postgresql: return kPostgreSql;
    case Ddl::sqlite: return kSqlite;
    case Ddl::sql_server: return kSqlServer;
    case Ddl::none: break;
  }
  throw model_error(Model::feature_not_available, "ADOX.Tables");
}

struct TypeRow {
  DataType type;
  // Jet, MariaDB, PostgreSQL, SQLite, SQL Server; "%" stands for the size, or digits and decimals.
  std::array<std::string_view, 5> texts;
};

// A number without a type of its own takes the next larger one. SQLite's driver knows a column by its
// declared name, and makes texts of exact numbers.
constexpr TypeRow kTypes[] = {
    {DataType::small_int, {"SHORT", "SMALLINT", "SMALLINT", "SMALLINT", "SMALLINT"}},
    {DataType::integer, {"LONG", "INT", "INTEGER", "INTEGER", "INT"}},
    {DataType::single, {"SINGLE", "FLOAT", "REAL", "FLOAT", "REAL"}},
    {DataType::real, {"DOUBLE", "DOUBLE", "DOUBLE PRECISION", "DOUBLE", "FLOAT"}},
    {DataType::currency, {"CURRENCY", "DECIMAL(19,4)", "NUMERIC(19,4)", "DECIMAL(19,4)", "MONEY"}},
    {DataType::date, {"DATETIME", "DATETIME(3)", "TIMESTAMP", "TIMESTAMP", "DATETIME"}},
    {DataType::boolean, {"YESNO", "BIT", "BOOLEAN", "BIT", "BIT"}},
    {DataType::decimal, {"DECIMAL(%)", "DECIMAL(%)", "NUMERIC(%)", "DECIMAL(%)", "DECIMAL(%)"}},
    {DataType::numeric, {"DECIMAL(%)", "DECIMAL(%)", "NUMERIC(%)", "DECIMAL(%)", "NUMERIC(%)"}},
    {DataType::tiny_int, {"SHORT", "TINYINT", "SMALLINT", "TINYINT", "SMALLINT"}},
    {DataType::unsigned_tiny_int, {"BYTE", "TINYINT UNSIGNED", "SMALLINT", "SMALLINT", "TINYINT"}},
    {DataType::unsigned_small_int, {"LONG", "SMALLINT UNSIGNED", "INTEGER", "INTEGER", "INT"}},
    {DataType::unsigned_int, {"BIGINT", "INT UNSIGNED", "BIGINT", "BIGINT", "BIGINT"}},
    {DataType::big_int, {"BIGINT", "BIGINT", "BIGINT", "BIGINT", "BIGINT"}},
    {DataType::unsigned_big_int,
     {"DECIMAL(20,0)", "BIGINT UNSIGNED", "NUMERIC(20,0)", "DECIMAL(20,0)", "DECIMAL(20,0)"}},
    {DataType::guid, {"GUID", "CHAR(38)", "UUID", "CHAR(38)", "UNIQUEIDENTIFIER"}},
    {DataType::binary, {"BINARY(%)", "BINARY(%)", "BYTEA", "BINARY(%)", "BINARY(%)"}},
    {DataType::var_binary, {"BINARY(%)", "VARBINARY(%)", "BYTEA", "VARBINARY(%)", "VARBINARY(%)"}},
    {DataType::long_var_binary, {"LONGBINARY", "LONGBLOB", "BYTEA", "BLOB", "VARBINARY(MAX)"}},
    {DataType::char_, {"TEXT(%)", "CHAR(%)", "CHAR(%)", "CHAR(%)", "CHAR(%)"}},
    {DataType::wchar, {"TEXT(%)", "CHAR(%)", "CHAR(%)", "CHAR(%)", "NCHAR(%)"}},
    {DataType::var_char, {"TEXT(%)", "VARCHAR(%)", "VARCHAR(%)", "VARCHAR(%)", "VARCHAR(%)"}},
    {DataType::var_wchar, {"TEXT(%)", "VARCHAR(%)", "VARCHAR(%)", "VARCHAR(%)", "NVARCHAR(%)"}},
    {DataType::bstr, {"TEXT(%)", "VARCHAR(%)", "VARCHAR(%)", "VARCHAR(%)", "NVARCHAR(%)"}},
    {DataType::long_var_char, {"MEMO", "LONGTEXT", "TEXT", "TEXT", "VARCHAR(MAX)"}},
    {DataType::long_var_wchar, {"MEMO", "LONGTEXT", "TEXT", "TEXT", "NVARCHAR(MAX)"}},
    {DataType::db_date, {"DATETIME", "DATE", "DATE", "DATE", "DATE"}},
    {DataType::db_time, {"DATETIME", "TIME", "TIME", "TIME", "TIME"}},
    {DataType::db_timestamp, {"DATETIME", "DATETIME(3)", "TIMESTAMP", "TIMESTAMP", "DATETIME"}},
};

// The type that takes the size in this language.
DataType fitting(const Rules& rules, DataType type, std::int64_t size) {
  const bool binary = is_binary(type);
  if (is_long(type) || (!binary && !is_text(type)) || type == DataType::guid) return type;
  const bool wide = is_wide_text(type);
  if (size > rules.longest) {
    return binary ? DataType::long_var_binary : wide ? DataType::long_var_wchar : DataType::long_var_char;
  }
  if (size > rules.longest_fixed) {
    return binary ? DataType::var_binary : wide ? DataType::var_wchar : DataType::var_char;
  }
  return type;
}

std::string quoted(const Rules& rules, std::string_view name) {
  if (name.find('\0') != std::string_view::npos) throw model_error(Model::invalid_argument, "ADOX.Tables");
  // Jet has no way to write a closing bracket inside brackets.
  const bool is_jet = rules.types == 0;
  if (is_jet && name.find(']') != std::string_view::npos) return "`" + std::string(name) + "`";
  const std::string close(rules.close);
  return std::string(rules.open) +
         (is_jet ? std::string(name) : text::replace_all(name, close, close + close)) + close;
}

std::string column_list(const Rules& rules, const std::vector<std::string>& names) {
  std::vector<std::string> texts;
  texts.reserve(names.size());
  for (const std::string& name : names) texts.push_back(quoted(rules, name));
  return "(" + text::join(texts, ", ") + ")";
}

std::string index_name(const Rules& rules, std::string_view table, const IndexDefinition& index) {
  const bool shared = index.primary ? rules.shares_keys : rules.shares_indexes;
  return quoted(rules, shared ? std::string(table) + "." + index.name : index.name);
}

bool numbers_by_type(const Rules& rules, const ColumnDefinition& column) {
  return column.auto_increment && !rules.number_type.empty();
}

std::string column_text(Ddl ddl, const ColumnDefinition& column, bool in_key) {
  const Rules& rules = rules_of(ddl);
  std::string result = quoted(rules, column.name) + " ";
  if (numbers_by_type(rules, column)) {
    const bool is_long = column.type == DataType::big_int;
    return result + std::string(is_long ? rules.long_number_type : rules.number_type);
  }
  result += type_text(ddl, column);
  if (column.auto_increment) result += rules.numbered;
  const bool not_null = !column.nullable || in_key || column.auto_increment;
  result += not_null ? std::string_view(" NOT NULL") : rules.null_column;
  const bool is_jet = rules.types == 0;
  if (is_jet && !column.allow_zero_length && is_text(column.type) && column.type != DataType::guid) {
    // In brackets it would be a value to be asked for: the table is not there yet.
    result += " CHECK (`" + text::replace_all(column.name, "`", "``") + "` <> '')";
  }
  return result;
}

std::string key_text(const Rules& rules, std::string_view table, const IndexDefinition& index) {
  std::string result;
  if (!rules.indexes_inside) result = "CONSTRAINT " + index_name(rules, table, index) + " ";
  return result + "PRIMARY KEY " + column_list(rules, index.columns);
}

std::string index_statement(const Rules& rules, std::string_view table, const IndexDefinition& index) {
  return std::string(index.unique ? "CREATE UNIQUE INDEX " : "CREATE INDEX ") +
         index_name(rules, table, index) + " ON " + quoted(rules, table) + " " +
         column_list(rules, index.columns);
}

}  // namespace

std::string type_text(Ddl ddl, const ColumnDefinition& column) {
  const Rules& rules = rules_of(ddl);
  const std::int64_t size = column.defined_size > 0 ? column.defined_size : kUsualSize;
  const DataType type = fitting(rules, column.type, size);
  const auto* const row =
      std::find_if(std::begin(kTypes), std::end(kTypes), [&](const TypeRow& r) { return r.type == type; });
  if (row == std::end(kTypes)) throw Error(kInvalidType, "Type is invalid.", "ADOX.Columns");
  std::string sizes = std::to_string(size);
  if (type == DataType::decimal || type == DataType::numeric) {
    const int digits = column.precision == 0 || column.precision == 255 ? 18 : column.precision;
    sizes = std::to_string(digits) + "," + std::to_string(column.scale == 255 ? 0 : column.scale);
  }
  return text::replace_all(row->texts[rules.types], "%", sizes);
}

std::vector<std::string> create_table_texts(Ddl ddl, const TableDefinition& table) {
  const Rules& rules = rules_of(ddl);
  std::vector<std::string> parts;
  bool has_own_key = false;
  for (const ColumnDefinition& column : table.columns) {
    const bool in_key =
        std::any_of(table.indexes.begin(), table.indexes.end(), [&](const IndexDefinition& index) {
          return index.primary &&
                 std::any_of(index.columns.begin(), index.columns.end(),
                             [&](const std::string& name) { return text::equal_fold(name, column.name); });
        });
    parts.push_back(column_text(ddl, column, in_key));
    has_own_key = has_own_key || (ddl == Ddl::sqlite && numbers_by_type(rules, column));
  }
  std::vector<std::string> texts(1);
  for (const IndexDefinition& index : table.indexes) {
    if (index.primary) {
      if (has_own_key) continue;
      parts.push_back(key_text(rules, table.name, index));
    } else if (rules.indexes_inside) {
      parts.push_back((index.unique ? "UNIQUE KEY " : "KEY ") + index_name(rules, table.name, index) + " " +
                      column_list(rules, index.columns));
    } else {
      texts.push_back(index_statement(rules, table.name, index));
    }
  }
  texts[0] = "CREATE TABLE " + quoted(rules, table.name) + " (" + text::join(parts, ", ") + ")";
  return texts;
}

std::string drop_table_text(Ddl ddl, std::string_view table) {
  return "DROP TABLE " + quoted(rules_of(ddl), table);
}

std::string add_column_text(Ddl ddl, std::string_view table, const ColumnDefinition& column) {
  const Rules& rules = rules_of(ddl);
  return "ALTER TABLE " + quoted(rules, table) + std::string(rules.add_column) +
         column_text(ddl, column, false);
}

std::string drop_column_text(Ddl ddl, std::string_view table, std::string_view column) {
  const Rules& rules = rules_of(ddl);
  return "ALTER TABLE " + quoted(rules, table) + " DROP COLUMN " + quoted(rules, column);
}

std::string add_index_text(Ddl ddl, std::string_view table, const IndexDefinition& index) {
  const Rules& rules = rules_of(ddl);
  if (!index.primary) return index_statement(rules, table, index);
  if (ddl == Ddl::sqlite) throw model_error(Model::feature_not_available, "ADOX.Indexes");
  if (rules.types == 0) return index_statement(rules, table, index) + " WITH PRIMARY";
  return "ALTER TABLE " + quoted(rules, table) + " ADD " + key_text(rules, table, index);
}

bool undoes_definitions(Ddl ddl) { return rules_of(ddl).undoes; }

std::string own_index_name(std::string_view table, std::string_view stored) {
  const bool prefixed = stored.size() > table.size() + 1 && stored[table.size()] == '.' &&
                        text::equal_fold(stored.substr(0, table.size()), table);
  return std::string(prefixed ? stored.substr(table.size() + 1) : stored);
}

std::string query_of_view(std::string_view create_view) {
  constexpr std::string_view kCloses = "\"\"''``[]";
  constexpr std::string_view kBlanks = " \t\r\n";
  int depth = 0;
  for (std::size_t i = 0; i < create_view.size(); ++i) {
    const char c = create_view[i];
    const auto quote = kCloses.find(c);
    if (c == '-' && create_view.substr(i).starts_with("--")) {
      i = create_view.find('\n', i);
    } else if (create_view.substr(i).starts_with("/*")) {
      i = create_view.find("*/", i);
    } else if (quote != std::string_view::npos && quote % 2 == 0) {
      i = create_view.find(kCloses[quote + 1], i + 1);
    } else if (c == '(' || c == ')') {
      depth += c == '(' ? 1 : -1;
    } else if (depth == 0 && i > 0 && i + 2 < create_view.size() &&
               text::equal_fold(create_view.substr(i, 2), "as") &&
               !std::isalnum(static_cast<unsigned char>(create_view[i - 1])) && create_view[i - 1] != '_' &&
               kBlanks.find(create_view[i + 2]) != std::string_view::npos) {
      const std::size_t begin = create_view.find_first_not_of(kBlanks, i + 2);
      return std::string(create_view.substr(std::min(begin, create_view.size())));
    }
    if (i == std::string_view::npos) break;
  }
  return std::string(create_view);
}

}  // namespace quarno::ado
