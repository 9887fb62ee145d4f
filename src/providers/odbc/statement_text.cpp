#include "providers/odbc/statement_text.h"

#include <algorithm>
#include <cctype>
#include <vector>

#include "ado/write_statement.h"
#include "common/text.h"

namespace quarno::odbc {

bool is_alias(std::string_view statement, std::string_view name) {
  const auto in_name = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
  const auto is_blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  const std::string lower = text::lower_ascii(statement);
  // The next place of a whole word.
  const auto find_word = [&](const std::string& word, std::size_t from) {
    for (std::size_t at = lower.find(word, from); at != std::string::npos; at = lower.find(word, at + 1)) {
      const std::size_t end = at + word.size();
      if ((at == 0 || !in_name(lower[at - 1])) && (end == lower.size() || !in_name(lower[end]))) return at;
    }
    return std::string::npos;
  };
  const std::size_t list_end = std::min(find_word("from", 0), lower.size());
  const std::string wanted = text::lower_ascii(name);
  for (std::size_t at = find_word(wanted, 0); at < list_end; at = find_word(wanted, at + 1)) {
    std::size_t before = at;
    if (before > 0 && std::string_view("\"`[").find(lower[before - 1]) != std::string_view::npos) --before;
    while (before > 0 && is_blank(lower[before - 1])) --before;
    if (before > 0 && std::string_view("\"`])'").find(lower[before - 1]) != std::string_view::npos)
      return true;
    std::size_t begin = before;
    while (begin > 0 && in_name(lower[begin - 1])) --begin;
    const std::string_view word(lower.data() + begin, before - begin);
    if (!word.empty() && word != "select" && word != "distinct" && word != "all") return true;
  }
  return false;
}

std::string call_of_procedure(std::string_view statement) {
  statement = text::trim(statement);
  if (!statement.starts_with('{') || !statement.ends_with('}')) return {};
  const std::string call(text::trim(statement.substr(1, statement.size() - 2)));
  if (!text::equal_fold(std::string_view(call).substr(0, 5), "call ")) return {};
  return call.find('(') == std::string::npos ? call + "()" : call;
}

bool may_hold_body(std::string_view statement) {
  const std::string word = ado::first_word(statement);
  constexpr std::string_view kWords[] = {"create", "alter", "if", "case", "loop", "while", "repeat", "for"};
  return std::find(std::begin(kWords), std::end(kWords), word) != std::end(kWords);
}

bool is_single_query(std::string_view statement) {
  statement = text::trim(statement);
  const std::size_t word_end = std::min(statement.find_first_of(" \t\r\n("), statement.size());
  const std::string word = text::lower_ascii(statement.substr(0, word_end));
  if (word != "select" && word != "with" && word != "values") return false;
  return statement.find(';') >= statement.size() - 1;
}

std::optional<bool> begins_transaction(std::string_view statement) {
  statement = text::trim(statement);
  if (statement.ends_with(';')) statement.remove_suffix(1);
  std::string lower = text::lower_ascii(statement);
  std::replace_if(
      lower.begin(), lower.end(), [](char c) { return c == '\t' || c == '\r' || c == '\n'; }, ' ');
  std::vector<std::string_view> words = text::split(lower, " ");
  std::erase(words, std::string_view());
  const auto is_one_of = [&](std::size_t at, std::initializer_list<std::string_view> known) {
    return at < words.size() && std::find(known.begin(), known.end(), words[at]) != known.end();
  };
  // In other languages of servers these words also begin a block.
  const bool alone = words.size() == 1 || is_one_of(1, {"transaction", "tran", "work", "isolation", "read",
                                                        "deferred", "immediate", "exclusive"});
  if (is_one_of(0, {"begin", "start"}) && alone) return true;
  if (is_one_of(0, {"commit", "end", "abort"}) && alone) return false;
  if (is_one_of(0, {"rollback"}) && alone && !is_one_of(2, {"to"})) return false;
  return std::nullopt;
}

}  // namespace quarno::odbc
