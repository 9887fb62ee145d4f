#include "ado/connection_string.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "ado/field_conversion.h"
#include "ado/write_statement.h"
#include "common/convert.h"
#include "support/outcome.h"

namespace quarno::ado {
namespace {

TEST(ConnectionString, ReadsWordsAndQuotes) {
  // clang-format off
  const struct Row {
    const char* text;
    const char* name;
    const char* value;  // null: the word is not there
  } rows[] = {
      {"Provider=X;Data Source=a b ;", "data source", "a b"}, {" User ID = sa ;; Password= ", "Password", ""},
      {"A=1;a=2", "A", "2"}, {"A='x;y''z';B=2", "A", "x;y'z"}, {"A=\"say \"\"hi\"\";\"", "A", "say \"hi\";"},
      {"DRIVER={My}}Driver};X=1", "DRIVER", "My}Driver"}, {"a==b=c=d", "a=b", "c=d"},
      {"Extended Properties=\"dBASE III;\"", "Extended Properties", "dBASE III;"}, {"A=1", "B", nullptr},
      {"", "A", nullptr},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const auto value = ConnectionString::parse(row.text).find(row.name);
    EXPECT_EQ(value.value_or("<none>"), row.value != nullptr ? row.value : "<none>");
  }
}

TEST(ConnectionString, RefusesWhatIsNoList) {
  for (const char* text : {"word", "A=1;word;B=2", "A='open", "A={open", "A='x'y", "="}) {
    const bool lone_sign = std::string_view(text) == "=";
    EXPECT_EQ(test::error_of([&] { return ConnectionString::parse(text).value_or("x", ""); }),
              lone_sign ? 0 : kUnspecified)
        << text;
  }
}

TEST(WriteStatement, KnowsATableThatIsReadTwice) {
  const struct {
    const char* query;
    bool twice;
  } rows[] = {
      {"SELECT * FROM t", false},
      {"SELECT t.a, T.b FROM x.T AS t WHERE t.a = 1 ORDER BY t.b", false},
      {"SELECT a FROM t, u JOIN v ON (t.a = v.a AND f(t.b, u.b))", false},
      {"SELECT a FROM t WHERE a IN (SELECT a FROM t) AND b = (SELECT max(b) FROM (t))", false},
      {"SELECT 'FROM t, t' /* , t */ FROM t -- JOIN t", false},
      {"SELECT \"t\", t FROM t", false},
      {"SELECT * FROM t a, t b", true},
      {"SELECT * FROM (\"t\" a INNER JOIN x.[T] b ON a.c = b.c)", true},
      {"SELECT * FROM t a LEFT JOIN (SELECT * FROM t WHERE a > 1) b ON 1 = 1", true},
      {"SELECT (SELECT max(a) FROM t) m, b FROM t", true},
      {"WITH s AS (SELECT * FROM `t`) SELECT * FROM s JOIN t ON s.a = t.a", true},
  };
  for (const auto& [query, twice] : rows) EXPECT_EQ(reads_twice(query, "t"), twice) << query;
}

TEST(WriteStatement, QuotesNamesAndTakesValuesAsParameters) {
  const Dialect plain;
  const Dialect brackets{"[", "]"};
  const std::string_view two[] = {"A", "B\"C"};
  const Criterion criteria[] = {{"K", false}, {"N", true}};
  EXPECT_EQ(insert_text(plain, "T", two), "INSERT INTO \"T\" (\"A\", \"B\"\"C\") VALUES (?, ?)");
  EXPECT_EQ(insert_text(plain, "T", {}), "INSERT INTO \"T\" DEFAULT VALUES");
  EXPECT_EQ(update_text(brackets, "T]x", {two, 1}, criteria),
            "UPDATE [T]]x] SET [A] = ? WHERE [K] = ? AND [N] IS NULL");
  EXPECT_EQ(delete_text(plain, "T", criteria), "DELETE FROM \"T\" WHERE \"K\" = ? AND \"N\" IS NULL");
}

TEST(FieldConversion, GivesTheColumnsTypeOrTheModelsError) {
  struct Row {
    DataType type;
    std::int64_t size;
    Variant value;
    const char* expected;  // text of the result, or "!" and the error
  };
  const int mismatch = full_number(Model::data_conversion);
  // clang-format off
  const Row rows[] = {
      {DataType::integer, 4, Variant("12"), "12"}, {DataType::integer, 4, Variant(2.5), "2"},
      {DataType::integer, 4, Variant(3e9), "!-2147217887"}, {DataType::integer, 4, Variant("x"), "mismatch"},
      {DataType::small_int, 2, Variant(std::int32_t{40000}), "!-2147217887"},
      {DataType::unsigned_tiny_int, 1, Variant(std::int16_t{-1}), "!-2147217887"},
      {DataType::tiny_int, 1, Variant(std::int16_t{-129}), "!-2147217887"},
      {DataType::unsigned_small_int, 2, Variant(std::int32_t{65536}), "!-2147217887"},
      {DataType::unsigned_int, 4, Variant(std::int32_t{-1}), "!-2147217887"},
      {DataType::unsigned_big_int, 8, Variant("18446744073709551616"), "!-2147217887"},
      {DataType::currency, 8, Variant("1.00005"), "1"}, {DataType::currency, 8, Variant("1.00015"), "1.0002"},
      {DataType::boolean, 2, Variant(std::int16_t{-1}), "True"}, {DataType::boolean, 2, Variant(""), "mismatch"},
      {DataType::var_wchar, 3, Variant("èèè"), "èèè"}, {DataType::var_wchar, 3, Variant("abcd"), "!-2147217887"},
      {DataType::long_var_wchar, 3, Variant("abcd"), "abcd"}, {DataType::var_binary, 3, Variant("abc"), "mismatch"},
      {DataType::date, 8, Variant("2015-01-05 14:07:33"), "05/01/2015 14:07:33"},
      {DataType::date, 8, Variant::Array{}, "mismatch"},
  };
  // clang-format on
  for (const Row& row : rows) {
    Column column;
    column.type = row.type;
    column.defined_size = row.size;
    const std::string expected =
        std::string(row.expected) == "mismatch" ? "!" + std::to_string(mismatch) : std::string(row.expected);
    EXPECT_EQ(test::outcome([&] { return to_text(coerced(row.value, column, {}), {}); }), expected);
  }
  Column column;
  EXPECT_TRUE(coerced(Variant(), column, {}).is_null());
  EXPECT_TRUE(coerced(Variant::null(), column, {}).is_null());
}

}  // namespace
}  // namespace quarno::ado
