#include "ado/write_statement.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <vector>

#include "common/text.h"

namespace quarno::ado {
namespace {

std::string criteria_text(const Dialect& dialect, std::span<const Criterion> criteria) {
  std::string result;
  for (const Criterion& criterion : criteria) {
    const bool by_case = criterion.by_case && !criterion.is_null;
    result.append(result.empty() ? " WHERE " : " AND ").append(by_case ? dialect.same_text_open : "");
    result.append(quoted_name(dialect, criterion.column));
    result.append(criterion.is_null ? " IS NULL" : by_case ? dialect.same_text : " = ?");
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

namespace {

// The next word, quoted name, or sign of a statement; comments and literals are left out. Empty at the end.
struct Token {
  std::string_view text;
  bool is_word = false;
};
Token next_token(std::string_view& rest) {
  const auto in_word = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '$' || c == '#' ||
           static_cast<unsigned char>(c) >= 0x80;
  };
  const auto take = [&](std::size_t count) {
    const std::string_view taken = rest.substr(0, count);
    rest.remove_prefix(taken.size());
    return taken;
  };
  const auto take_to = [&](std::string_view end, std::size_t from) {
    const std::size_t at = rest.find(end, from);
    return take(at == std::string_view::npos ? rest.size() : at + end.size());
  };
  while (!rest.empty()) {
    const char c = rest.front();
    if (in_word(c)) {
      std::size_t size = 1;
      while (size < rest.size() && in_word(rest[size])) ++size;
      return {take(size), true};
    }
    if (c == '"' || c == '`' || c == '[') {
      const std::string_view name = take_to(c == '"' ? "\"" : c == '`' ? "`" : "]", 1);
      return {name.size() > 2 ? name.substr(1, name.size() - 2) : name, false};
    }
    if (c == '\'') {
      take_to("'", 1);
    } else if (rest.starts_with("--")) {
      take_to("\n", 2);
    } else if (rest.starts_with("/*")) {
      take_to("*/", 2);
    } else if (std::isspace(static_cast<unsigned char>(c)) != 0) {
      take(1);
    } else {
      return {take(1), false};
    }
  }
  return {};
}

}  // namespace

bool reads_twice(std::string_view query, std::string_view table) {
  // What a part of the query between parentheses is about.
  struct Level {
    bool in_from = false;
    bool in_criteria = false;
    bool gives_columns = true;
  };
  std::vector<Level> levels(1);
  const auto is = [](const Token& token, std::initializer_list<std::string_view> words) {
    return token.is_word && std::any_of(words.begin(), words.end(), [&](std::string_view word) {
             return text::equal_fold(word, token.text);
           });
  };
  int found = 0;
  Token before;
  Token now = next_token(query);
  while (!now.text.empty() && found < 2) {
    const Token behind = next_token(query);
    Level& level = levels.back();
    if (now.text == "(") {
      levels.push_back({level.in_from, false, level.gives_columns && !level.in_criteria});
    } else if (now.text == ")") {
      if (levels.size() > 1) levels.pop_back();
    } else if (is(now, {"from"})) {
      level.in_from = true;
      level.in_criteria = false;
    } else if (is(now, {"where", "having"})) {
      level.in_from = false;
      level.in_criteria = true;
    } else if (is(now, {"select", "group", "order", "limit", "union", "window"})) {
      level.in_from = level.in_criteria = false;
    } else if (level.in_from && level.gives_columns && text::equal_fold(now.text, table) &&
               behind.text != "." &&
               (is(before, {"from", "join"}) || before.text == "," || before.text == "(" ||
                before.text == ".")) {
      ++found;
    }
    before = now;
    now = behind;
  }
  return found > 1;
}

std::string first_word(std::string_view statement) {
  const Token first = next_token(statement);
  return first.is_word ? text::lower_ascii(first.text) : std::string();
}

bool is_call(std::string_view statement) {
  const std::string word = first_word(statement);
  return text::trim(statement).starts_with('{') || word == "exec" || word == "execute" || word == "call";
}

std::string call_text(const Dialect& dialect, const std::string& procedure) {
  if (is_call(procedure)) return procedure;
  return std::string(dialect.call_open) + procedure + std::string(dialect.call_close);
}

}  // namespace quarno::ado
