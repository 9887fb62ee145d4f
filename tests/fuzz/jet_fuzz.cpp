// Statements of hosts: whatever they say, the rewriting ends, what comes out can be handed to the engine, and
// a text stays the text it is.
#include <sqlite3.h>

#include "common/text.h"
#include "fuzz/fuzz.h"
#include "providers/desktop/functions/functions.h"
#include "providers/desktop/jet/result_types.h"
#include "providers/desktop/jet/rewrite.h"

const int kMutations = 10'000;
const std::vector<std::string> kSeeds = {
    "SELECT TOP 5 PERCENT a & \"x\"\"y\", [b c] \\ 2 ^ -1, #01/05/2024  14:07:33# AS D FROM T AS x INNER "
    "JOIN (U LEFT JOIN V ON "
    "u.a = v.a) ON x.a = u.a WHERE UCase(a) = 'q' AND NOT b IN (1, 2) GROUP BY a HAVING Count(*) > 1 ORDER "
    "BY 1 DESC;",
    "PARAMETERS [p q] Text(5), r Long; UPDATE T INNER JOIN U ON T.a = U.a SET T.a = [p q], T.b = IIf(a Is "
    "Null, r, ?)",
    "CREATE TABLE N (i COUNTER(3, 1), t TEXT(5) WITH COMP DEFAULT \"x\" CONSTRAINT u UNIQUE, CONSTRAINT p "
    "PRIMARY KEY (t, i))",
    "TRANSFORM Sum(a) SELECT b FROM T GROUP BY b PIVOT c IN ('x', 2)",
    "ALTER TABLE T ALTER COLUMN a TEXT(9) NOT NULL; ALTER TABLE T ADD CONSTRAINT k PRIMARY KEY (a); DROP "
    "INDEX i ON T",
    "DELETE T.* FROM T, U WHERE T.a > ALL (SELECT a FROM Q) -- x\n",
    "EXEC Q 1, 'a'; SELECT a INTO N FROM Q, [SELECT 1]. AS s",
    "WITH c(x) AS (SELECT 1 UNION SELECT CASE x WHEN 1 THEN Yes END FROM c) INSERT INTO T (a) VALUES "
    "(CAST(x'00' AS TEXT))"};

namespace {

using namespace quarno::desktop;

sqlite3* engine() {
  static sqlite3* const database = [] {
    sqlite3* made = nullptr;
    sqlite3_open(":memory:", &made);
    register_functions(made);
    sqlite3_exec(made,
                 "CREATE TABLE T (a TEXT, b DATETIME, [b c] INTEGER); CREATE TABLE U (a TEXT, b DOUBLE)",
                 nullptr, nullptr, nullptr);
    return made;
  }();
  return database;
}

class Tables : public jet::Schema {
 public:
  const std::vector<jet::Column>* columns(std::string_view table) const override {
    static const std::vector<jet::Column> t = {{"a", "TEXT"}, {"b", "DATETIME"}, {"b c", "INTEGER"}};
    return table == "T" || table == "U" ? &t : nullptr;
  }
  // Q asks itself, as nothing keeps saved queries from doing.
  std::optional<std::string> query(std::string_view name) const override {
    if (name != "Q") return std::nullopt;
    return "PARAMETERS z Long; SELECT * FROM T, Q WHERE a = [z]";
  }
  std::vector<std::pair<std::string, std::string>> pairs(const std::string& /*select*/) const override {
    return {{"'x'", "x"}, {"NULL", "<>"}};
  }
  std::string definition(std::string_view /*table*/) const override {
    return "CREATE TABLE T (a TEXT, b DATETIME CONSTRAINT p PRIMARY KEY, [b c] INTEGER)";
  }
  std::vector<std::string> attachments(std::string_view /*table*/) const override {
    return {"CREATE INDEX [T.i] ON [T] (a)"};
  }
};

std::string first_value(const std::string& select) {
  sqlite3_stmt* statement = nullptr;
  std::string value = "no row";
  if (sqlite3_prepare_v2(engine(), select.c_str(), -1, &statement, nullptr) != SQLITE_OK) return "refused";
  if (sqlite3_step(statement) == SQLITE_ROW) {
    value.assign(static_cast<const char*>(sqlite3_column_blob(statement, 0)),
                 static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)));
  }
  sqlite3_finalize(statement);
  return value;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = text_of(data, size);
  const Tables tables;
  expect_refused_or([&] {
    for (const jet::Step& step : jet::rewrite(text, tables, "JET").steps) {
      sqlite3_stmt* statement = nullptr;
      sqlite3_prepare_v2(engine(), step.text.c_str(), -1, &statement, nullptr);
      sqlite3_finalize(statement);
    }
    return true;
  });
  expect_refused_or([&] {
    jet::names_in(text);
    return jet::result_types(text, tables).size() <= size * size + 16;
  });
  std::string value(text);
  std::erase(value, '\0');
  if (value.empty()) return 0;
  for (const std::string quote : {"'", "\""}) {
    const std::string literal = quote + quarno::text::replace_all(value, quote, quote + quote) + quote;
    const auto steps = jet::rewrite("SELECT " + literal, tables).steps;
    if (steps.size() != 1 || first_value(steps.front().text) != value) __builtin_trap();
  }
  return 0;
}
