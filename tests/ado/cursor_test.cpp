#include "ado/cursor/criteria.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "ado/ado_error.h"
#include "ado/cursor/column_store.h"
#include "common/date.h"
#include "support/outcome.h"

namespace quarno::ado {
namespace {

// One row: N = 5, S = "Muster", D = 5 January 2015 10:30, B = true, "x y" = null, C = 1.5.
class CriteriaTest : public ::testing::Test {
 protected:
  CriteriaTest() {
    add("N", DataType::integer, std::int32_t{5});
    add("S", DataType::var_wchar, "Muster");
    add("D", DataType::date, date_from_civil({2015, 1, 5, 10, 30, 0, 0}).value());
    add("B", DataType::boolean, true);
    add("x y", DataType::integer, Variant::null());
    add("C", DataType::currency, Currency{15000});
  }
  void add(const char* name, DataType type, Variant value) {
    Column column;
    column.name = name;
    column.type = type;
    columns.push_back(column);
    values.push_back(std::move(value));
  }
  FindColumn find() const {
    return [this](std::string_view name) {
      for (std::size_t i = 0; i < columns.size(); ++i) {
        if (columns[i].name == name) return static_cast<std::int32_t>(i);
      }
      return -1;
    };
  }
  // "yes", "no", or the number of the model's error.
  std::string holds(const std::string& text) const {
    try {
      const Criteria criteria = parse_criteria(text, columns, find());
      return matches(criteria, [this](std::size_t column) { return values[column]; }) ? "yes" : "no";
    } catch (const Error& error) {
      return std::to_string(error.number + 2146828288);
    }
  }

  std::vector<Column> columns;
  std::vector<Variant> values;
};

TEST_F(CriteriaTest, ClausesAndGroups) {
  // clang-format off
  const struct { const char* text; const char* expected; } rows[] = {
      {"N = 5", "yes"}, {"N<>5", "no"}, {"N >= 5.0", "yes"}, {"N > 4.5", "yes"}, {"N > 5.5", "no"},
      {"N < 5.5", "yes"},  // rounded to 6 or to 5 it would be another question
      {"S = 'muster'", "yes"}, {"S = 'it''s'", "no"}, {"S > 'Mustang'", "yes"}, {"S like 'mus*'", "yes"},
      {"S LIKE '%ust%'", "yes"}, {"S like 'M*r'", "3001"}, {"S like '*er'", "3001"}, {"D > #1/4/2015#", "yes"},
      {"D = #2015-01-05 10:30:00#", "yes"}, {"D < '2015-01-05'", "no"}, {"B = True", "yes"}, {"C = $1.5", "yes"},
      {"[x y] = Null", "yes"}, {"[x y] <> 1", "no"}, {"N <> null", "yes"}, {"N = 5 AND S = 'x'", "no"},
      {"N = 1 or S = 'muster' and B = true", "yes"}, {"(N = 1 AND B = True) OR (N = 5 AND C < 2)", "yes"},
      {"((N = 5))", "yes"}, {"(N = 5 OR N = 6) AND B = True", "3001"}, {"NONE = 5", "3265"}, {"N =", "3001"},
      {"N = 5 5", "3001"}, {"N = 'x'", "3001"}, {"S = 'open", "3001"}, {"(N = 5", "3001"}, {"", "3001"},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(holds(row.text), row.expected) << row.text;
  EXPECT_EQ(holds(std::string(100, '(') + "N = 5"), "3001");
}

TEST_F(CriteriaTest, SortKeys) {
  const auto keys = parse_sort("S DESC, [x y], N asc", find());
  ASSERT_EQ(keys.size(), 3u);
  EXPECT_TRUE(keys[0].descending && !keys[1].descending && !keys[2].descending);
  EXPECT_EQ(keys[1].column, 4u);
  for (const char* text : {"", "S DESCENDING", "S,", "S DESC ASC"}) {
    EXPECT_NE(test::error_of([&] { return parse_sort(text, find()).size(); }), 0) << text;
  }
  EXPECT_LT(compare_values(Variant::null(), Variant("")), 0);
  EXPECT_EQ(compare_values(Variant("È"), Variant("è")), 0);
  EXPECT_GT(compare_values(Variant(INT64_MAX), Variant(INT64_MAX - 1)), 0);
}

TEST(ColumnData, KeepsEveryTypeAcrossChunksWithNulls) {
  // clang-format off
  const struct Row { DataType type; Variant value; } rows[] = {
      {DataType::boolean, true}, {DataType::unsigned_tiny_int, std::uint8_t{200}},
      {DataType::small_int, std::int16_t{-7}}, {DataType::integer, std::int32_t{-70000}},
      {DataType::big_int, std::numeric_limits<std::int64_t>::min()}, {DataType::single, 1.5F}, {DataType::real, 0.1},
      {DataType::currency, Currency{std::numeric_limits<std::int64_t>::max()}},
      {DataType::numeric, Decimal(true, 0xFFFFFFFF, ~std::uint64_t{0}, 28)}, {DataType::date, Date{-1.25}},
      {DataType::var_wchar, std::string("perché 🙂")}, {DataType::long_var_binary, Variant::Bytes{0, 255, 0}},
  };
  // clang-format on
  for (const Row& row : rows) {
    ColumnData column(row.type);
    for (int i = 0; i < 10'000; ++i) i % 3 == 0 ? column.append_null() : column.append(row.value);
    for (const std::size_t at : {0u, 1u, 4095u, 4096u, 4097u, 9998u, 9999u}) {
      EXPECT_EQ(column.value(at), at % 3 == 0 ? Variant::null() : row.value)
          << static_cast<int>(row.type) << " " << at;
      EXPECT_EQ(column.is_null(at), at % 3 == 0);
    }
  }
}

TEST(ColumnData, KeepsWhatIsNotOfItsTypeAsItCame) {
  ColumnData whole(DataType::integer);
  whole.append_integer(5);
  whole.append_integer(5'000'000'000);
  whole.append_text("n/a");
  whole.append_real(1.5);
  EXPECT_EQ(whole.value(0), Variant(std::int32_t{5}));
  EXPECT_EQ(whole.value(1), Variant(std::int64_t{5'000'000'000}));
  EXPECT_EQ(whole.value(2), Variant("n/a"));
  EXPECT_EQ(whole.value(3), Variant(1.5));
  EXPECT_FALSE(whole.is_null(2));

  ColumnData real(DataType::real);
  real.append_integer((std::int64_t{1} << 53) + 1);  // a double would change it
  EXPECT_EQ(real.value(0), Variant((std::int64_t{1} << 53) + 1));
}

TEST(ColumnData, TellsWhatTheSourceHoldsForADate) {
  ColumnData column(DataType::db_date);
  const Date date{42009};
  for (const char* text : {"2015-01-05", "2015-01-06", "5 Jan 2015", "2015-01-05 00:00:00"}) {
    if (!column.append_date_text(text)) column.append_text(text);
  }
  column.append(date);  // a row that was added here
  column.append_date(date);
  column.append_real(42009.25);
  const Variant expected[] = {"2015-01-05", "2015-01-06", "5 Jan 2015",  "2015-01-05 00:00:00",
                              date,         date,         Date{42009.25}};
  for (std::size_t i = 0; i < std::size(expected); ++i) EXPECT_EQ(column.source_value(i), expected[i]) << i;
  EXPECT_EQ(column.value(0), Variant(date));
}

TEST(ColumnData, TextsOfRandomLengthComeBack) {
  std::mt19937 random(7);
  std::vector<std::string> texts;
  ColumnData column(DataType::var_wchar);
  for (int i = 0; i < 9000; ++i) {
    texts.emplace_back(random() % 40, static_cast<char>('a' + i % 26));
    column.append_text(texts.back());
  }
  for (std::size_t i = 0; i < texts.size(); ++i) ASSERT_EQ(column.text(i), texts[i]) << i;
}

}  // namespace
}  // namespace quarno::ado
