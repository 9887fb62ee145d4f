#include "ado/catalog/definition_text.h"

#include <algorithm>
#include <array>

#include "ado/ado_error.h"
#include "ado/write_statement.h"
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
  std::size_t longest_name = SIZE_MAX;     // in bytes, where the server cuts longer ones without a word
  std::string_view null_column = {};
  std::string_view numbered = {};          // behind the type of a column that numbers its rows,
  std::string_view number_type = {};       // or its type
  std::string_view long_number_type = {};  // the same of 64 bits
  std::string_view add_column = " ADD COLUMN ";
  bool indexes_inside = false;  // in the CREATE TABLE; else each is a statement of its own
  bool shares_keys = false;     // names of keys are those of the whole database,
  bool shares_indexes = false;  // so are names of indexes
  bool keeps_indexed = false;   // a column that an index has cannot be dropped
  std::string_view unfit = {};  // letters that no name may hold, because the driver reads on inside quotes
};

constexpr Rules kJet{.open = "[", .close = "]", .number_type = "COUNTER", .long_number_type = "COUNTER"};
constexpr Rules kMariaDb{.types = 1,
                         .open = "`",
                         .close = "`",
                         .longest_fixed = 255,
                         .longest = 16383,
                         .numbered = " AUTO_INCREMENT",
                         .indexes_inside = true};
constexpr Rules kPostgreSql{.types = 2,
                            .longest_name = 63,
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
                        .shares_indexes = true,
                        .keeps_indexed = true,
                        .unfit = "{?"};
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
    case Ddl::jet:
    case Ddl::folder: return kJet;
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
  // Jet has no way to write a closing bracket inside brackets, nor a back quote inside back quotes.
  const bool is_jet = rules.types == 0;
  const bool in_back_quotes = is_jet && name.find(']') != std::string_view::npos;
  if (name.empty() || name.size() > rules.longest_name || name.find('\0') != std::string_view::npos ||
      name.find_first_of(rules.unfit) != std::string_view::npos ||
      (in_back_quotes && name.find('`') != std::string_view::npos)) {
    throw model_error(Model::invalid_argument, "ADOX.Tables");
  }
  if (in_back_quotes) return "`" + std::string(name) + "`";
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
  if (!shared || index.name.empty()) return quoted(rules, index.name);
  // Of a name that gets too long the table's part is cut, at a whole character.
  const std::size_t own = index.name.size() + 1;
  std::size_t length = std::min(table.size(), rules.longest_name - std::min(own, rules.longest_name));
  while (length > 0 && length < table.size() && (table[length] & 0xC0) == 0x80) --length;
  return quoted(rules, std::string(table.substr(0, length)) + "." + index.name);
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

// What follows the first AS outside parentheses, names, literals and comments.
std::size_t query_begin(std::string_view create_view) {
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
      return std::min(create_view.find_first_not_of(kBlanks, i + 2), create_view.size());
    }
    if (i == std::string_view::npos) break;
  }
  return std::string_view::npos;
}

// Before the query that the engine reads, what its host wrote.
constexpr std::string_view kWritten = "/*as written: ";

}  // namespace

std::string type_text(Ddl ddl, const ColumnDefinition& column) {
  const Rules& rules = rules_of(ddl);
  if (column.defined_size < 0) throw model_error(Model::invalid_argument, "ADOX.Columns");
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
  // Its first part would stay when the second fails, and a key would be forgotten without a word.
  if (ddl == Ddl::folder && !table.indexes.empty()) {
    throw model_error(Model::feature_not_available, "ADOX.Indexes");
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

std::string add_column_text(Ddl ddl, std::string_view table, const ColumnDefinition& column) {
  const Rules& rules = rules_of(ddl);
  return "ALTER TABLE " + quoted(rules, table) + std::string(rules.add_column) +
         column_text(ddl, column, false);
}

std::vector<std::string> drop_column_texts(Ddl ddl, const TableDefinition& table, const std::string& column) {
  const Rules& rules = rules_of(ddl);
  std::vector<std::string> texts;
  for (const IndexDefinition& index : table.indexes) {
    const bool has = std::find(index.columns.begin(), index.columns.end(), column) != index.columns.end();
    if (rules.keeps_indexed && has && !index.primary) {
      texts.push_back("DROP INDEX " + quoted(rules, index.stored_name));
    }
  }
  texts.push_back("ALTER TABLE " + quoted(rules, table.name) + " DROP COLUMN " + quoted(rules, column));
  return texts;
}

std::string add_index_text(Ddl ddl, std::string_view table, const IndexDefinition& index) {
  const Rules& rules = rules_of(ddl);
  if (!index.primary) return index_statement(rules, table, index);
  if (ddl == Ddl::sqlite) throw model_error(Model::feature_not_available, "ADOX.Indexes");
  if (rules.types == 0) return index_statement(rules, table, index) + " WITH PRIMARY";
  return "ALTER TABLE " + quoted(rules, table) + " ADD " + key_text(rules, table, index);
}

std::string own_index_name(std::string_view table, std::string_view stored) {
  // Only a name that was cut is about as long as it may be.
  const bool may_be_cut = stored.size() + 3 >= kPostgreSql.longest_name;
  for (std::size_t length = table.size(); length > 0; --length) {
    if (stored.size() > length + 1 && stored[length] == '.' &&
        text::equal_fold(stored.substr(0, length), table.substr(0, length))) {
      return std::string(stored.substr(length + 1));
    }
    if (!may_be_cut) break;
  }
  return std::string(stored);
}

bool creates_procedure(std::string_view statement) {
  if (first_word(statement) != "create") return false;
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz";
  // CREATE OR REPLACE DEFINER=`x`@`y` PROCEDURE; what is made comes before any parenthesis.
  const std::string head = text::lower_ascii(statement.substr(0, statement.find('(')));
  for (std::size_t begin = head.find_first_of(kLetters); begin != std::string::npos;) {
    const std::size_t end = std::min(head.find_first_not_of(kLetters, begin), head.size());
    const std::string_view word(head.data() + begin, end - begin);
    if (word == "procedure" || word == "proc" || word == "function") return true;
    if (word == "table" || word == "view" || word == "index" || word == "trigger") return false;
    begin = head.find_first_of(kLetters, end);
  }
  return false;
}

std::string query_of_view(std::string_view create_view) {
  const std::size_t begin = query_begin(create_view);
  std::string_view query = create_view.substr(begin == std::string_view::npos ? 0 : begin);
  if (query.starts_with(kWritten)) {
    query.remove_prefix(kWritten.size());
    query = query.substr(0, query.find("*/"));
  }
  return std::string(query);
}

std::string with_query_as_written(std::string create_view, std::string_view written) {
  const std::size_t begin = query_begin(create_view);
  const std::size_t own = query_begin(written);
  if (begin == std::string::npos || own == std::string_view::npos) return create_view;
  std::string_view query = text::trim(written.substr(own));
  while (query.ends_with(';')) query = text::trim(query.substr(0, query.size() - 1));
  // It would end the comment.
  const bool fits = query.find("*/") == std::string_view::npos;
  if (fits && query != create_view.substr(begin)) {
    create_view.insert(begin, std::string(kWritten) + std::string(query) + "*/ ");
  }
  return create_view;
}

}  // namespace quarno::ado
