#include "providers/desktop/jet/rewrite.h"

#include <algorithm>

#include "common/text.h"
#include "providers/desktop/jet/statements.h"
#include "providers/desktop/jet/types.h"

namespace quarno::desktop::jet {
namespace {

constexpr int kMostCalls = 12;

// Where the statement that begins at `at` ends: at ";" or at the end of the text. The body of a trigger and
// the parameters of a procedure's query have their own.
std::size_t end_of_statement(const std::vector<Token>& tokens, std::size_t at) {
  const auto creates = [&](std::initializer_list<std::string_view> what) {
    const std::size_t word = tokens[at + 1].is_one_of({"temp", "temporary"}) ? at + 2 : at + 1;
    return tokens[at].is_word("create") && tokens[word].is_one_of(what);
  };
  const bool trigger = creates({"trigger"});
  const bool procedure = creates({"procedure", "proc"});
  bool was_end = !trigger;
  for (; tokens[at].kind != Token::Kind::end && !(tokens[at].is(";") && was_end); ++at) {
    if (trigger) was_end = tokens[at].is_word("end");
    if (procedure && tokens[at].is_word("as") && tokens[at + 1].is_word("parameters")) {
      while (tokens[at + 1].kind != Token::Kind::end && !tokens[at].is(";")) ++at;
    }
  }
  return at;
}

class Rewriting {
 public:
  Rewriting(const Schema& schema, std::string_view collation, Rewritten& result, int calls = 0)
      : schema_(schema), collation_(collation), result_(result), calls_(calls) {}

  void give(std::vector<std::string> values) { parameters_.give(std::move(values)); }

  void run(std::string_view statement) {
    const std::vector<Token> tokens = tokens_of(statement);
    for (std::size_t at = 0; tokens[at].kind != Token::Kind::end;) {
      if (tokens[at].is(";")) {
        ++at;
        continue;
      }
      if (tokens[at].is_word("parameters") && tokens[at + 1].is_name()) at = read_parameters(tokens, at);
      const std::size_t end = end_of_statement(tokens, at);
      if (end == at) continue;
      std::vector<Token> own(tokens.begin() + static_cast<std::ptrdiff_t>(at),
                             tokens.begin() + static_cast<std::ptrdiff_t>(end));
      own.push_back({Token::Kind::end, tokens[end].text.substr(0, 0)});
      one(own);
      at = end;
    }
    const std::vector<Column> left = parameters_.left();
    result_.parameters.insert(result_.parameters.end(), left.begin(), left.end());
  }

 private:
  // PARAMETERS [a] Text(20), b Long; gives the place behind it.
  std::size_t read_parameters(const std::vector<Token>& tokens, std::size_t at) {
    for (++at; tokens[at].kind != Token::Kind::end && !tokens[at].is(";");) {
      const std::string_view name = bare(tokens[at++].text);
      std::string type;
      std::string sizes;
      for (; tokens[at].kind != Token::Kind::end && !tokens[at].is(",") && !tokens[at].is(";"); ++at) {
        std::string& part = tokens[at].is("(") || !sizes.empty() ? sizes : type;
        if (&part == &type && !type.empty()) type += ' ';
        part += tokens[at].text;
        // Sizes may have a comma.
        if (!sizes.empty() && tokens[at + 1].is(",") && tokens[at + 2].kind == Token::Kind::number) {
          sizes += ',';
          ++at;
        }
      }
      parameters_.declare(name, declaration(type, sizes));
      if (tokens[at].is(",")) ++at;
    }
    return tokens[at].kind == Token::Kind::end ? at : at + 1;
  }

  void one(const std::vector<Token>& tokens) {
    const std::size_t steps = result_.steps.size();
    const bool rebuilds = result_.rebuilds_table;
    const ParameterList parameters = parameters_;
    result_.kind = Kind::other;
    Tree tree;
    Parser parser(tokens, tree);
    try {
      Writer writer(tree, schema_, parameters_);
      Work work{parser, tree, writer, schema_, collation_, result_};
      if (known(work)) {
        for (std::size_t i = steps; i + 1 < result_.steps.size(); ++i) result_.steps[i].goes_on = true;
        return;
      }
    } catch (const NotUnderstood&) {
      result_.steps.resize(steps);
      result_.rebuilds_table = rebuilds;
      parameters_ = parameters;
    }
    parser.back_to(0);
    const Token& word = parser.token();
    result_.kind = word.is_one_of({"select", "values"})          ? Kind::select
                   : word.is_one_of({"insert", "replace"})       ? Kind::insert
                   : word.is_word("update")                      ? Kind::update
                   : word.is_word("delete")                      ? Kind::remove
                   : word.is_one_of({"create", "alter", "drop"}) ? Kind::define
                                                                 : Kind::other;
    work_step(std::string(parser.text_to_end())).counts =
        result_.kind == Kind::insert || result_.kind == Kind::update || result_.kind == Kind::remove;
  }

  Step& work_step(std::string text) {
    result_.steps.emplace_back();
    result_.steps.back().text = std::move(text);
    return result_.steps.back();
  }

  bool known(Work& work) {
    Parser& parser = work.parser;
    if (parser.at_word("transform")) return rewrite_crosstab(work), true;
    if (parser.at_query()) {
      const bool ends = query(work);
      if (!ends) throw NotUnderstood();
      return true;
    }
    if (parser.at_word("insert") || (parser.at_word("replace") && parser.token(1).is_word("into"))) {
      rewrite_insert(work);
    } else if (parser.at_word("update")) {
      rewrite_update(work);
    } else if (parser.at_word("delete")) {
      rewrite_delete(work);
    } else if (parser.at_word("create")) {
      rewrite_create(work);
    } else if (parser.at_word("alter") && parser.token(1).is_word("table")) {
      rewrite_alter(work);
    } else if (parser.at_word("drop")) {
      rewrite_drop(work);
    } else if (parser.token().is_one_of({"exec", "execute"})) {
      call(work);
    } else {
      return alone(work);
    }
    return true;
  }

  bool query(Work& work) {
    const int first = work.parser.query();
    if (work.parser.at_word("with")) return false;
    // A saved query may change rows, with its WITH before it.
    if (!work.parser.at_end()) return false;
    if (!work.tree.selects[static_cast<std::size_t>(first)].into.empty())
      return rewrite_into(work, first), true;
    result_.kind = Kind::select;
    std::string text = work.writer.query(first);
    work_step(std::move(text));
    return true;
  }

  // The name of a table or a saved query is a statement.
  bool alone(Work& work) {
    if (!work.parser.token().is_name() || work.parser.token(1).kind != Token::Kind::end) return false;
    const std::string name(bare(work.parser.token().text));
    if (schema_.columns(name) != nullptr) {
      result_.kind = Kind::select;
      work_step("SELECT * FROM " + quoted_name(name));
      return true;
    }
    if (!schema_.query(name)) return false;
    work.parser.take();
    call_of(work, name);
    return true;
  }

  void call(Work& work) {
    work.parser.take();
    if (!work.parser.token().is_name()) throw NotUnderstood();
    const std::string name(bare(work.parser.take().text));
    call_of(work, name);
  }

  void call_of(Work& work, const std::string& name) {
    Parser& parser = work.parser;
    const auto saved = schema_.query(name);
    if (!saved) throw SyntaxError("Could not find the procedure '" + name + "'.");
    if (calls_ >= kMostCalls) throw SyntaxError("Circular reference caused by '" + name + "'.");
    std::vector<std::string> values;
    if (!parser.at_end()) {
      const bool in_parenthesis = parser.skip("(");
      for (int at = parser.list(); at != kNothing; at = parser.node(at).next) {
        values.push_back(work.writer.value(at));
      }
      if (in_parenthesis) parser.expect(")");
      if (!parser.at_end()) throw NotUnderstood();
    }
    Rewriting inner(schema_, collation_, result_, calls_ + 1);
    inner.give(std::move(values));
    inner.run(*saved);
  }

  const Schema& schema_;
  std::string_view collation_;
  Rewritten& result_;
  int calls_;
  ParameterList parameters_;
};

}  // namespace

Rewritten rewrite(std::string_view statement, const Schema& schema, std::string_view collation) {
  Rewritten result;
  Rewriting(schema, collation, result).run(statement);
  return result;
}

std::vector<std::string> names_in(std::string_view statement) {
  const std::vector<Token> tokens = tokens_of(statement);
  std::vector<std::string> names;
  const auto add = [&](std::string_view name) {
    const bool known = std::any_of(names.begin(), names.end(),
                                   [&](const std::string& own) { return text::equal_fold(own, bare(name)); });
    if (!known) names.emplace_back(bare(name));
  };
  if (tokens.size() == 2 && tokens[0].is_name()) add(tokens[0].text);
  std::vector<bool> in_from(1);
  bool expected = false;
  for (std::size_t at = 0; tokens[at].kind != Token::Kind::end; ++at) {
    const Token& token = tokens[at];
    if (token.is("(")) {
      // A parenthesis where a table is expected holds tables, or a query.
      in_from.push_back(expected);
    } else if (token.is(")")) {
      if (in_from.size() > 1) in_from.pop_back();
      expected = false;
    } else if (token.is(",")) {
      expected = in_from.back();
    } else if (token.is(";")) {
      in_from.assign(1, false);
      expected = false;
    } else if (token.is_one_of(
                   {"from", "join", "update", "into", "table", "references", "exec", "execute"})) {
      expected = true;
      in_from.back() = in_from.back() || token.is_one_of({"from", "join", "update"});
    } else if (token.is_word("on") && (tokens[0].is_word("create") || tokens[0].is_word("drop"))) {
      expected = true;
    } else if (token.is_word("in") && tokens[at + 1].is_name()) {
      add(tokens[at + 1].text);
    } else if (token.is_one_of(
                   {"where", "group", "order", "having", "set", "values", "select", "union", "limit"})) {
      in_from.back() = false;
      expected = false;
    } else if (expected && token.is_name()) {
      if (token.is_one_of({"if", "not", "exists", "only"})) continue;
      while (tokens[at + 1].is(".") && tokens[at + 2].is_name()) at += 2;
      add(tokens[at].text);
      expected = false;
    }
  }
  return names;
}

}  // namespace quarno::desktop::jet
