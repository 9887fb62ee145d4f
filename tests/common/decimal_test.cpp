#include "common/decimal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

namespace quarno {
namespace {

template <class Exact>
std::string shown(const std::optional<Exact>& value) {
  return value ? value->text() : "none";
}

TEST(Decimal, ReadsExactlyOrRoundsHalfToEven) {
  // clang-format off
  const struct { const char* text; const char* value; } rows[] = {
      {"0", "0"}, {"-0.00", "0.00"}, {"+12.50", "12.50"}, {".5", "0.5"}, {"5.", "5"}, {"007", "7"},
      {"1e3", "1000"}, {"1.25E-3", "0.00125"}, {"12.5e+1", "125"},
      {"79228162514264337593543950335", "79228162514264337593543950335"},
      {"-79228162514264337593543950335", "-79228162514264337593543950335"},
      {"79228162514264337593543950336", "none"},
      {"7922816251426433759354395033.45", "7922816251426433759354395033.4"},
      {"7.9228162514264337593543950336", "7.922816251426433759354395034"},
      {"0.00000000000000000000000000005", "0.0000000000000000000000000000"},
      {"0.00000000000000000000000000015", "0.0000000000000000000000000002"},
      {"0.000000000000000000000000000050000001", "0.0000000000000000000000000001"},
      {"1e-400", "0.0000000000000000000000000000"}, {"1e28", "10000000000000000000000000000"},
      {"1e29", "none"}, {"1e401", "none"}, {"1e2147483648", "none"}, {"1e-2147483648", "none"}, {"", "none"},
      {"-", "none"}, {".", "none"}, {"1.2.3", "none"}, {"1,5", "none"}, {" 1", "none"}, {"--1", "none"},
      {"1e", "none"}, {"1e+", "none"}, {"1e+-5", "none"}, {"1e5x", "none"}, {"nan", "none"},
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
