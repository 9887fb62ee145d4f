#include "providers/desktop/convert/queries.h"

#include <algorithm>
#include <map>
#include <optional>

#include "ado/ado_error.h"
#include "common/text.h"
#include "providers/desktop/jet/rewrite.h"
#include "providers/desktop/jet/tokens.h"

namespace quarno::desktop::convert {
namespace {

using access::Query;
using access::QueryKind;

std::string one_line(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n' || c == '\t'; }, ' ');
  return text;
}

// A query after those it reads from, because the columns of a view are known only when it is there.
class Order {
 public:
  explicit Order(const std::vector<Query>& queries) : queries_(queries) {
    for (const Query& query : queries_) by_name_.emplace(text::lower_ascii(query.name), &query);
  }

  std::vector<const Query*> sorted() {
    for (const Query& query : queries_) visit(query, 0);
    return std::move(sorted_);
  }

 private:
  static constexpr int kDeepest = 200;  // a circle ends anyway; a long chain must not use the stack up

  void visit(const Query& query, int depth) {
    bool& seen = seen_[&query];
    if (seen) return;
    seen = true;
    if (depth < kDeepest) {
      for (const std::string& name : names(query)) {
        const auto found = by_name_.find(text::lower_ascii(name));
        if (found != by_name_.end()) visit(*found->second, depth + 1);
      }
    }
    sorted_.push_back(&query);
  }

  static std::vector<std::string> names(const Query& query) {
    try {
      return jet::names_in(query.definition.text);
    } catch (const jet::SyntaxError&) {
      return {};
    }
  }

  const std::vector<Query>& queries_;
  std::map<std::string, const Query*> by_name_;
  std::map<const Query*, bool> seen_;
  std::vector<const Query*> sorted_;
};

void run(ado::Session& session, const std::string& statement) {
  session.execute(statement, 0, ado::Reading::in_blocks);
}

// Why it cannot be a view; nothing when it is one now.
std::optional<std::string> fault_of_view(ado::Session& session, const Query& query, const std::string& text) {
  const std::string name = jet::quoted_name(query.name);
  try {
    run(session, "CREATE VIEW " + name + " AS " + text);
  } catch (const Error& error) {
    return error.description;
  }
  // The engine looks at what a view speaks of only when it is asked for its rows.
  try {
    run(session, "SELECT * FROM " + name + " WHERE 1 = 0");
    return std::nullopt;
  } catch (const Error& error) {
    run(session, "DROP VIEW " + name);
    return error.description;
  }
}

// PARAMETERS a Long; SELECT .. becomes (a Long) AS SELECT ..: a ";" would end the statement that defines it.
std::string procedure_statement(const Query& query, std::string_view text) {
  std::string head = "CREATE PROCEDURE " + jet::quoted_name(query.name);
  const std::vector<jet::Token> tokens = jet::tokens_of(text);
  const auto end_of_parameters =
      std::find_if(tokens.begin(), tokens.end(), [](const jet::Token& token) { return token.is(";"); });
  if (tokens.front().is_word("parameters") && end_of_parameters != tokens.end()) {
    const char* const begin = tokens.front().text.data() + tokens.front().text.size();
    const char* const end = end_of_parameters->text.data();
    head += " (" + std::string(text::trim({begin, static_cast<std::size_t>(end - begin)})) + ")";
    text = {end + 1, static_cast<std::size_t>(text.data() + text.size() - end - 1)};
  }
  return head + " AS " + std::string(text::trim(text));
}

std::optional<std::string> fault_of_procedure(ado::Session& session, const Query& query,
                                              const std::string& text) {
  try {
    const std::string statement = procedure_statement(query, text);
    const std::vector<jet::Token> tokens = jet::tokens_of(statement);
    if (std::any_of(tokens.begin(), tokens.end(), [](const jet::Token& token) { return token.is(";"); })) {
      return "It is more than one statement.";
    }
    run(session, statement);
    return std::nullopt;
  } catch (const Error& error) {
    return error.description;
  }
}

std::string without_end(std::string_view text) {
  text = text::trim(text);
  while (text.ends_with(';')) text = text::trim(text.substr(0, text.size() - 1));
  return std::string(text);
}

}  // namespace

CarriedQueries carry_queries(ado::Session& session, const std::vector<Query>& queries,
                             const std::function<void(std::string)>& note) {
  CarriedQueries carried;
  for (const Query* const query : Order(queries).sorted()) {
    const std::string name = "Query '" + query->name + "'";
    const std::string text = without_end(query->definition.text);
    if (text.empty()) {
      note(name + " is left out: it cannot be read.");
      continue;
    }
    if (query->is_view()) {
      const auto fault = fault_of_view(session, *query, text);
      if (!fault) {
        ++carried.views;
        continue;
      }
      note(name + " is kept as a procedure, because it cannot be a view: " + one_line(*fault));
    }
    if (const auto fault = fault_of_procedure(session, *query, text)) {
      note(name + " is left out: " + one_line(*fault) + " It reads: " + one_line(text));
      continue;
    }
    ++carried.procedures;
    if (query->definition.kind == QueryKind::pass_through) {
      note(name + " is kept as a procedure in the words of the server it was written for.");
    }
  }
  return carried;
}

}  // namespace quarno::desktop::convert
