// The join and the grouping against the plainest way to do the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "ado/shape/aggregate.h"
#include "ado/shape/grouping.h"
#include "common/convert.h"

namespace quarno::ado::shape {
namespace {

struct Result {
  std::vector<Column> columns;
  ColumnStore store{std::span<const DataType>()};
};

constexpr DataType kTypes[] = {
    DataType::unsigned_tiny_int, DataType::integer, DataType::big_int,   DataType::real,  DataType::currency,
    DataType::numeric,           DataType::boolean, DataType::var_wchar, DataType::char_, DataType::date};
constexpr std::size_t kNumbers = 7, kTexts = 2;  // of the types

// A few values that meet, and now and then one that the column's type does not hold.
Variant random_value(DataType type, std::mt19937& random) {
  const int n = static_cast<int>(random() % 5);
  if (random() % 8 == 0) return Variant::null();
  if (random() % 40 == 0) return random() % 2 == 0 ? Variant("odd") : Variant(0.5);
  switch (type) {
    case DataType::integer: return std::int32_t{n};
    case DataType::big_int: return std::int64_t{n};
    case DataType::real: return n * 0.5;
    case DataType::currency: return Currency{n * 5000};
    case DataType::numeric: return *Decimal(n).rescaled(n);
    case DataType::boolean: return n % 2 == 0;
    case DataType::var_wchar: return std::string(static_cast<std::size_t>(n), 'x');
    case DataType::char_: return std::string(static_cast<std::size_t>(n), 'x') + "  ";
    case DataType::date: return Date{n * 0.5};
    default: return static_cast<std::uint8_t>(n);
  }
}

Result random_result(const std::vector<DataType>& types, std::size_t rows, std::mt19937& random) {
  Result result;
  for (const DataType type : types) {
    Column column;
    column.type = type;
    result.columns.push_back(column);
  }
  result.store = store_for(result.columns);
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t i = 0; i < types.size(); ++i)
      result.store.column(i).append(random_value(types[i], random));
  }
  return result;
}

bool is_same(const Variant& a, DataType a_type, const Variant& b, DataType b_type) {
  if (a.is_null() || b.is_null()) return false;
  const auto text = [](const Variant& value, DataType type) {
    std::string own = *value.get_if<std::string>();
    while (type == DataType::char_ && own.ends_with(' ')) own.pop_back();
    return own;
  };
  if (a.is_text() || b.is_text()) return a.is_text() && b.is_text() && text(a, a_type) == text(b, b_type);
  const bool a_is_date = a.get_if<Date>() != nullptr;
  if (a_is_date != (b.get_if<Date>() != nullptr)) return false;
  return to_decimal(a, LocaleInfo{}) == to_decimal(b, LocaleInfo{});
}

TEST(ShapeJoin, FindsWhatComparingAllRowsFinds) {
  std::mt19937 random(7);
  std::size_t matches = 0;
  for (int round = 0; round < 300; ++round) {
    // Up to three pairs of columns whose types can be compared.
    std::vector<DataType> left, right;
    for (auto pairs = 1 + random() % 3; pairs > 0; --pairs) {
      const std::size_t kind = random() % 4;
      const std::size_t from = kind < 2 ? 0 : kind == 2 ? kNumbers : kNumbers + kTexts;
      const std::size_t count = kind < 2 ? kNumbers : kind == 2 ? kTexts : 1;
      left.push_back(kTypes[from + random() % count]);
      right.push_back(kTypes[from + random() % count]);
    }
    const Result parents = random_result(left, random() % 20, random);
    const Result children = random_result(right, random() % 60, random);
    std::vector<std::size_t> chosen;
    for (std::size_t i = 0; i < left.size(); ++i) chosen.push_back(i);
    const Join found =
        join({parents.store, parents.columns, chosen}, {children.store, children.columns, chosen});
    for (std::size_t p = 0; p < parents.store.row_count(); ++p) {
      std::vector<std::uint32_t> expected;
      for (std::uint32_t c = 0; c < children.store.row_count(); ++c) {
        const bool same = std::all_of(chosen.begin(), chosen.end(), [&](std::size_t i) {
          return is_same(parents.store.column(i).value(p), left[i], children.store.column(i).value(c),
                         right[i]);
        });
        if (same) expected.push_back(c);
      }
      const std::uint32_t group = found.group_of_parent[p];
      const auto rows =
          group == Groups::kNone ? std::span<const std::uint32_t>() : found.children.rows(group);
      EXPECT_EQ(std::vector<std::uint32_t>(rows.begin(), rows.end()), expected) << "round " << round;
      matches += expected.size();
    }
  }
  EXPECT_GT(matches, 2000U);  // or the rounds would say little
}

TEST(ShapeJoin, NumbersAreEqualByValue) {
  const auto exactly = [](const char* text) { return Variant(*Decimal::parse(text)); };
  // Of all others in the list each is equal to those of its own group alone.
  const std::vector<std::vector<Variant>> groups = {
      {0.0, -0.0, std::int32_t{0}, exactly("-0.00"), false},
      {1e-29},
      {2e-29F, double{2e-29F}},
      {1e-300},
      {0.1, exactly("0.1000"), Currency{1000}},
      {0.1F},
      {0.1 + 0.2},
      {0.3},
      {true, std::int16_t{-1}},
      {std::int64_t{9007199254740993}, exactly("9007199254740993")},
      {9007199254740992.0, std::int64_t{9007199254740992}},
      {1e20, exactly("100000000000000000000.0")},
      {std::int64_t{INT64_MIN}, exactly("-9223372036854775808.00")},
      {exactly("9223372036854775808")},
      {exactly("-0.5"), -0.5, Currency{-5000}},
      {exactly("0.5"), exactly("0.50")},
      {exactly("5.5"), 5.5F},
      {1e300}};
  std::vector<Variant> values;
  std::vector<std::size_t> group_of;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    values.insert(values.end(), groups[i].begin(), groups[i].end());
    group_of.resize(values.size(), i);
  }
  Result rows;
  rows.columns.emplace_back().type = DataType::variant;
  rows.store = store_for(rows.columns);
  for (const Variant& value : values) rows.store.column(0).append(value);
  const Keys keys{rows.store, rows.columns, {0}};
  const Join found = join(keys, keys);
  for (std::size_t a = 0; a < values.size(); ++a) {
    std::vector<std::uint32_t> expected;
    for (std::uint32_t b = 0; b < values.size(); ++b) {
      if (group_of[a] == group_of[b]) expected.push_back(b);
    }
    EXPECT_TRUE(std::ranges::equal(found.children.rows(found.group_of_parent[a]), expected)) << "value " << a;
  }
}

TEST(ShapeJoin, GroupsKeepTheirOrderAndTakeNullsTogether) {
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    const Result rows = random_result({DataType::integer, DataType::var_wchar}, random() % 80, random);
    const Groups groups = grouped({rows.store, rows.columns, {0, 1}});
    const auto value = [&](std::size_t row, std::size_t i) { return rows.store.column(i).value(row); };
    std::vector<std::vector<std::uint32_t>> expected;
    for (std::uint32_t row = 0; row < rows.store.row_count(); ++row) {
      const auto place = std::find_if(expected.begin(), expected.end(), [&](const auto& group) {
        return value(group.front(), 0) == value(row, 0) && value(group.front(), 1) == value(row, 1);
      });
      place == expected.end() ? expected.push_back({row}) : place->push_back(row);
    }
    ASSERT_EQ(groups.count(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_TRUE(std::ranges::equal(groups.rows(i), expected[i])) << "round " << round;
    }
  }
}

TEST(ShapeAggregate, ResultsAndTheirTypes) {
  using F = Function;
  const auto exactly = [](const char* text) { return Variant(*Decimal::parse(text)); };
  const std::vector<Variant> whole = {std::int32_t{2}, Variant::null(), std::int32_t{5}, std::int32_t{2}};
  const std::vector<Variant> big = {std::int64_t{INT64_MAX}, std::int64_t{INT64_MAX}, std::int64_t{-1}};
  const std::vector<Variant> money = {Currency{100}, Currency{100}, Currency{101}};
  const std::vector<Variant> exact = {exactly("0.10"), exactly("0.2"), exactly("-1.15")};
  // Just above a half of the fourth decimal, which six decimals do not show; digits that doubles lose.
  const std::vector<Variant> half(19'999, Currency{0}), tenths(10, 0.1), lost = {1e16, 1.0, -1e16};
  std::vector<Variant> above = half;
  above.insert(above.end(), {Currency{10'000}, Variant::null(), Currency{1}});
  const std::vector<Variant> texts = {"b", "A", "c"}, none = {Variant::null()};
  const std::vector<Variant> huge = {exactly("79228162514264337593543950335"),
                                     exactly("79228162514264337593543950335")};
  struct Row {
    F function;
    DataType type;
    const std::vector<Variant>& values;
    Variant expected;
    DataType expected_type;
  };
  using enum DataType;
  const Row rows[] = {
      {F::sum, integer, whole, 9.0, real},
      {F::avg, integer, whole, 3.0, real},
      {F::min, integer, whole, std::int32_t{2}, integer},
      {F::max, integer, whole, std::int32_t{5}, integer},
      {F::any, integer, whole, std::int32_t{2}, integer},
      {F::count, integer, whole, std::int32_t{3}, integer},
      {F::stdev, integer, whole, 1.7320508075688772, real},
      {F::sum, big_int, big, exactly("18446744073709551613"), numeric},
      {F::sum, currency, money, Currency{301}, currency},
      {F::avg, currency, money, Currency{100}, currency},
      {F::avg, currency, above, Currency{1}, currency},
      {F::avg, currency, {std::vector<Variant>{Currency{1}, Currency{2}}}, Currency{2}, currency},
      {F::sum,
       currency,
       {std::vector<Variant>{Currency{INT64_MAX}, Currency{1}}},
       exactly("922337203685477.5808"),
       currency},
      {F::sum, real, tenths, 1.0, real},
      {F::avg, real, tenths, 0.1, real},
      {F::sum, single, lost, 1.0, real},
      {F::sum, numeric, exact, exactly("-0.85"), numeric},
      {F::avg, numeric, exact, exactly("-0.283333"), numeric},
      {F::sum, numeric, huge, 2 * 79228162514264337593543950335.0, numeric},
      {F::min, var_wchar, texts, "A", var_wchar},
      {F::max, var_wchar, texts, "c", var_wchar},
      {F::sum, integer, none, Variant::null(), real},
      {F::avg, currency, none, Variant::null(), currency},
      {F::max, date, none, Variant::null(), date},
      {F::count, date, none, std::int32_t{0}, integer},
      {F::stdev, real, {std::vector<Variant>{1.0}}, Variant::null(), real},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(name_of(row.function)) + " " + std::to_string(static_cast<int>(row.type)));
    Column column;
    column.type = row.type;
    const Column result = result_column(row.function, &column);
    EXPECT_EQ(result.type, row.expected_type);
    Aggregate aggregate(row.function, result.type);
    for (const Variant& value : row.values) aggregate.add(value);
    EXPECT_EQ(aggregate.result(), row.expected);
  }
}

}  // namespace
}  // namespace quarno::ado::shape
