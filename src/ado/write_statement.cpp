#include "ado/write_statement.h"

#include "common/text.h"

namespace quarno::ado {
namespace {

std::string criteria_text(const Dialect& dialect, std::span<const Criterion> criteria) {
  std::string result;
  for (const Criterion& criterion : criteria) {
    result.append(result.empty() ? " WHERE " : " AND ").append(quoted_name(dialect, criterion.column));
    result.append(criterion.is_null ? " IS NULL" : " = ?");
  }
  return result;
}

}  // namespace

std::string quoted_name(const Dialect& dialect, std::string_view name) {
  // A closing quote inside a name is doubled.
  const std::string doubled = std::string(dialect.quote_close) + std::string(dialect.quote_close);
  return std::string(dialect.quote_open) + text::replace_all(name, dialect.quote_close, doubled) +
         std::string(dialect.quote_close);
}

std::string insert_text(const Dialect& dialect, std::string_view table,
                        std::span<const std::string_view> columns) {
  std::string result = "INSERT INTO " + quoted_name(dialect, table);
  if (columns.empty()) return result + std::string(dialect.empty_insert);
  std::string marks;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    result.append(i == 0 ? " (" : ", ").append(quoted_name(dialect, columns[i]));
    marks.append(i == 0 ? "?" : ", ?");
  }
  return result + ") VALUES (" + marks + ")";
}

std::string update_text(const Dialect& dialect, std::string_view table,
                        std::span<const std::string_view> columns, std::span<const Criterion> criteria) {
  std::string result = "UPDATE " + quoted_name(dialect, table);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    result.append(i == 0 ? " SET " : ", ").append(quoted_name(dialect, columns[i])).append(" = ?");
  }
  return result + criteria_text(dialect, criteria);
}

std::string delete_text(const Dialect& dialect, std::string_view table, std::span<const Criterion> criteria) {
  return "DELETE FROM " + quoted_name(dialect, table) + criteria_text(dialect, criteria);
}

bool is_call(std::string_view statement) {
  statement = text::trim(statement);
  const std::string word = text::lower_ascii(statement.substr(0, statement.find_first_of(" \t\r\n(")));
  return statement.starts_with('{') || word == "exec" || word == "execute" || word == "call";
}

std::string call_text(const Dialect& dialect, const std::string& procedure) {
  if (is_call(procedure)) return procedure;
  return std::string(dialect.call_open) + procedure + std::string(dialect.call_close);
}

}  // namespace quarno::ado
