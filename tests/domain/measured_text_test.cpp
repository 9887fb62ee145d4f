#include "domain/measured_text.h"

#include <gtest/gtest.h>

#include "platform/fake/fakes.h"

namespace quarno::domain {
namespace {

TEST(MeasuredText, EitherDecimalSignInEitherLocale) {
  const LocaleInfo point;
  const LocaleInfo comma = platform::fake::FixedLocale::italian();
  // clang-format off
  const struct { const char* text; double in_point; double in_comma; } rows[] = {
      {"2,50", 2.5, 2.5}, {"2.50", 2.5, 2.5}, {"  -3.75 ", -3.75, -3.75}, {"-3,75", -3.75, -3.75},
      {"1000", 1000, 1000}, {"1.0", 1, 1}, {"1,00", 1, 1}, {"1.", 1, 1}, {"0", 0, 0}, {"0.0", 0, 0},
      {"0,500", 0.5, 0.5}, {"10.20", 10.2, 10.2}, {"", 0, 0}, {"   ", 0, 0}, {"abc", 0, 0}, {"12 mg", 0, 0},
      {"1.2.3", 0, 0}, {"1.234,5", 0, 0}, {"1,234.5", 0, 0}, {"1.5 0", 1.5, 1.5}, {".5", 5, 0.5},
      {"+1.5", 15, 1.5}, {"007", 7, 7}, {"1.5E+21", 1.5e21, 1.5e21},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(measured_number(row.text, point), row.in_point) << row.text;
    EXPECT_EQ(measured_number(row.text, comma), row.in_comma) << row.text;
  }
}

}  // namespace
}  // namespace quarno::domain
