#include "common/number_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "common/decimal.h"
#include "common/exact_sum.h"

namespace quarno {
namespace {

LocaleInfo comma() {
  LocaleInfo locale;
  locale.decimal = ",";
  locale.group = ".";
  return locale;
}

TEST(NumberText, GeneralAndInvariantForms) {
  // clang-format off
  const struct { double value; const char* general; const char* invariant; } rows[] = {
      {0, "0", "0"}, {-0.0, "0", "0"}, {12, "12", "12"}, {0.5, "0.5", ".5"}, {-0.25, "-0.25", "-.25"},
      {-3.25, "-3.25", "-3.25"}, {10.05, "10.05", "10.05"}, {0.1 + 0.2, "0.30000000000000004", ".30000000000000004"},
      {999999999999999, "999999999999999", "999999999999999"}, {1e15, "1E+15", "1E+15"},
      {-1.5e300, "-1.5E+300", "-1.5E+300"}, {1e-5, "0.00001", ".00001"},
      {1e-15, "0.000000000000001", ".000000000000001"}, {1e-16, "1E-16", "1E-16"},
      {1.5e-9, "0.0000000015", ".0000000015"}, {1.23456789e-9, "1.23456789E-09", "1.23456789E-09"},
      {0.000123456789012345678, "0.00012345678901234567", ".00012345678901234567"}, {5e-324, "5E-324", "5E-324"},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(general_text(row.value), row.general);
    EXPECT_EQ(invariant_text(row.value), row.invariant);
    EXPECT_EQ(parse_number(general_text(row.value, comma()), comma()), row.value);
    EXPECT_EQ(leading_number(row.invariant), row.value);
  }
  EXPECT_EQ(general_text(-1234.5, comma()), "-1234,5");
  EXPECT_EQ(general_text(1.5e-20, comma()), "1,5E-20");
  EXPECT_EQ(general_text(0.1f), "0.1");
}

TEST(NumberText, ReadsNumbersByTheLocale) {
  constexpr double kNone = -987654321;
  // clang-format off
  const struct { const char* text; double point; double comma; } rows[] = {
      {"12", 12, 12}, {"  -1.5  ", -1.5, -15}, {"3,5", 35, 3.5}, {"1,234.5", 1234.5, kNone},
      {"1.234,5", kNone, 1234.5}, {"1.2.3", kNone, 123}, {".5", 0.5, 5}, {"5.", 5, 5}, {"+7", 7, 7},
      {"1e3", 1000, 1000}, {"1.5D+2", 150, 1500}, {"2E-2", 0.02, 0.02}, {"1e-999", 0, 0}, {"1e999", kNone, kNone},
      {"&HFF", 255, 255}, {"&hFFFF", -1, -1}, {"&HFFFF&", 65535, 65535}, {"&HFFFFFFFF", -1, -1}, {"&O17", 15, 15},
      {"&H", kNone, kNone}, {"&HXY", kNone, kNone}, {"&H1FFFFFFFF", kNone, kNone}, {"", kNone, kNone},
      {"   ", kNone, kNone}, {".", kNone, kNone}, {"-", kNone, kNone}, {"- 5", kNone, kNone}, {"5-", kNone, kNone},
      {"1 2", kNone, kNone}, {"12abc", kNone, kNone}, {"1e", kNone, kNone}, {"1e+", kNone, kNone},
      {"1e5.5", kNone, kNone}, {"nan", kNone, kNone}, {"inf", kNone, kNone}, {"0x10", kNone, kNone},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(parse_number(row.text, {}).value_or(kNone), row.point) << row.text;
    EXPECT_EQ(parse_number(row.text, comma()).value_or(kNone), row.comma) << row.text;
  }
}

TEST(NumberText, LeadingNumberStopsAtTheFirstOtherCharacter) {
  const std::pair<const char*, double> rows[] = {
      {"12abc", 12},   {" 1 2 3 ", 123}, {"-4.5 mg", -4.5}, {"1,5", 1}, {".5x", 0.5}, {"+3", 3},
      {"1e2z", 100},   {"1d2", 100},     {"&H1F", 31},      {"", 0},    {"-", 0},     {"+-3", 0},
      {"infinity", 0}, {"1.2.3", 1.2},   {"1e", 1},         {".", 0},   {"\t7\n", 7}};
  for (const auto& [text, value] : rows) EXPECT_EQ(leading_number(text), value) << text;
}

template <class Exact>
std::string shown(const std::optional<Exact>& value) {
  return value ? value->text() : "none";
}

TEST(Decimal, ReadsExactlyOrRoundsHalfToEven) {
  // clang-format off
  const struct { const char* text; const char* value; } rows[] = {
      {"0", "0"}, {"-0.00", "0.00"}, {"+12.50", "12.50"}, {".5", "0.5"}, {"5.", "5"}, {"007", "7"}, {"1e3", "1000"},
      {"1.25E-3", "0.00125"}, {"12.5e+1", "125"}, {"79228162514264337593543950335", "79228162514264337593543950335"},
      {"-79228162514264337593543950335", "-79228162514264337593543950335"}, {"79228162514264337593543950336", "none"},
      {"7922816251426433759354395033.45", "7922816251426433759354395033.4"},
      {"7.9228162514264337593543950336", "7.922816251426433759354395034"},
      {"0.00000000000000000000000000005", "0.0000000000000000000000000000"},
      {"0.00000000000000000000000000015", "0.0000000000000000000000000002"},
      {"0.000000000000000000000000000050000001", "0.0000000000000000000000000001"},
      {"1e-400", "0.0000000000000000000000000000"}, {"1e28", "10000000000000000000000000000"}, {"1e29", "none"},
      {"1e401", "none"}, {"1e2147483648", "none"}, {"1e-2147483648", "none"}, {"", "none"}, {"-", "none"},
      {".", "none"}, {"1.2.3", "none"}, {"1,5", "none"}, {" 1", "none"}, {"--1", "none"}, {"1e", "none"},
      {"1e+", "none"}, {"1e+-5", "none"}, {"1e5x", "none"}, {"nan", "none"},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(shown(Decimal::parse(row.text)), row.value) << row.text;
}

TEST(Decimal, ComparesRescalesAndConverts) {
  EXPECT_TRUE(Decimal::parse("1.5") == Decimal::parse("1.500"));
  EXPECT_FALSE(Decimal::parse("1.5") == Decimal::parse("-1.5"));
  EXPECT_TRUE(Decimal::parse("-0.0") == Decimal(0));
  // Too large to take the other's scale.
  EXPECT_FALSE(Decimal::parse("79228162514264337593543950335") ==
               Decimal::parse("1.0000000000000000000000000000"));
  EXPECT_EQ(Decimal(std::numeric_limits<std::int64_t>::min()).text(), "-9223372036854775808");

  const std::tuple<const char*, int, const char*> rows[] = {
      {"2.5", 0, "2"},  {"3.5", 0, "4"},      {"-2.51", 0, "-3"},
      {"-0.4", 0, "0"}, {"1.2", 4, "1.2000"}, {"79228162514264337593543950335", 1, "none"}};
  for (const auto& [text, scale, expected] : rows)
    EXPECT_EQ(shown(Decimal::parse(text)->rescaled(scale)), expected) << text;
  EXPECT_EQ(Decimal::from_double(0.1)->text(), "0.1");
  EXPECT_EQ(Decimal::from_double(-1e20)->text(), "-100000000000000000000");
  for (const double none : {8e28, std::nan(""), HUGE_VAL}) EXPECT_FALSE(Decimal::from_double(none));
  EXPECT_EQ(Decimal::parse("0.1234567890123456789012345678")->to_double(), 0.1234567890123456789012345678);
}

TEST(ExactSum, IsRoundedOnceHalfToEven) {
  using Texts = std::vector<const char*>;
  const char* const most = "79228162514264337593543950335";
  const struct {
    Texts values;
    std::uint64_t count;
    std::optional<int> decimals;
    const char* expected;
  } rows[] = {
      {{}, 1, {}, "0"},
      {{}, 3, 4, "0.0000"},
      {{"0.10", "0.2", "-1.15"}, 1, {}, "-0.85"},
      {{"0.10", "0.2", "-1.15"}, 1, 3, "-0.850"},
      {{"100", "-100", "-20"}, 1, {}, "-20"},
      {{"1"}, 3, {}, "0.3333333333333333333333333333"},
      {{"-2"}, 3, {}, "-0.6666666666666666666666666667"},
      // Halves, and what only looks like one after a first rounding.
      {{"0.0001"}, 2, 4, "0.0000"},
      {{"0.0003"}, 2, 4, "0.0002"},
      {{"-0.0005"}, 2, 4, "-0.0002"},
      {{"0.0015000003"}, 30, 4, "0.0001"},
      {{"5"}, 10, 0, "0"},
      {{"5.0000000000000000000000000001"}, 10, 0, "1"},
      {{"15"}, 10, 0, "2"},
      // More than fits on the way, digits that no longer fit, and too much.
      {{most, most, "-1"}, 3, 0, "52818775009509558395695966890"},
      {{most, "0.4"}, 1, 4, most},
      {{"1234567890123456789012345.6789", "0.00001"}, 1, 28, "1234567890123456789012345.6789"},
      {{most, "0.5"}, 1, {}, "none"},
      {{most, most}, 1, 0, "none"},
  };
  for (const auto& row : rows) {
    ExactSum sum;
    for (const char* value : row.values) sum.add(*Decimal::parse(value));
    EXPECT_EQ(shown(sum.result(row.count, row.decimals)), row.expected);
    for (const char* value : row.values) sum.subtract(*Decimal::parse(value));
    EXPECT_EQ(sum.result()->text(), "0");
  }
}

TEST(Currency, KeepsFourDecimalsExactly) {
  // clang-format off
  const struct { const char* text; const char* value; } rows[] = {
      {"12.5", "12.5"}, {"-3.0000", "-3"}, {"100", "100"}, {"0", "0"}, {"0.00005", "0"},
      {"0.00015", "0.0002"}, {"-0.00015", "-0.0002"}, {"922337203685477.5807", "922337203685477.5807"},
      {"-922337203685477.5808", "-922337203685477.5808"}, {"922337203685477.5808", "none"},
      {"922337203685477.58075", "none"}, {"-922337203685477.5809", "none"},
  };
  // clang-format on
  for (const auto& row : rows) {
    const auto value = Currency::from_decimal(Decimal::parse(row.text).value());
    EXPECT_EQ(shown(value), row.value) << row.text;
    EXPECT_EQ(value ? Currency::from_decimal(value->to_decimal()) : value, value) << row.text;
  }
}

}  // namespace
}  // namespace quarno
