#include "common/date.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "common/date_text.h"
#include "support/outcome.h"

namespace quarno {
namespace {

TEST(Date, CountsDaysFromItsEpoch) {
  // clang-format off
  const struct { CivilTime civil; double days; } rows[] = {
      {{1899, 12, 30}, 0}, {{1899, 12, 31}, 1}, {{1899, 12, 29, 6}, -1.25}, {{1899, 12, 29, 18}, -1.75},
      {{1899, 12, 30, 6}, 0.25}, {{1900, 2, 28}, 60}, {{1900, 3, 1}, 61}, {{2000, 1, 1}, 36526},
      {{2000, 2, 29, 12}, 36585.5}, {{2000, 3, 1}, 36586}, {{2024, 1, 5, 14, 7, 33}, 45296 + 50853.0 / 86400},
      {{100, 1, 1}, kFirstDay}, {{100, 1, 1, 12}, kFirstDay - 0.5}, {{9999, 12, 31}, kLastDay - 1},
      {{1600, 2, 29}, -109512},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(row.days);
    ASSERT_TRUE(date_from_civil(row.civil));
    EXPECT_DOUBLE_EQ(date_from_civil(row.civil)->days, row.days);
    EXPECT_EQ(civil_from_date(Date{row.days}), row.civil);
  }
  EXPECT_EQ(civil_from_date(Date{-0.25}), (CivilTime{1899, 12, 30, 6}));
}

TEST(Date, RefusesWhatIsNoDayOrTime) {
  // clang-format off
  const CivilTime rows[] = {
      {99, 12, 31}, {10000, 1, 1}, {2024, 0, 1}, {2024, 13, 1}, {2024, 1, 0}, {2024, 4, 31}, {2023, 2, 29},
      {1900, 2, 29}, {2200, 2, 29}, {2024, 2, 30}, {2024, 1, 1, 24}, {2024, 1, 1, -1}, {2024, 1, 1, 0, 60},
      {2024, 1, 1, 0, 0, 60}, {2024, 1, 1, 0, 0, 0, 1'000'000},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_FALSE(date_from_civil(row)) << row.year << "-" << row.month;
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double days : {kLastDay, kFirstDay - 1, 1e300, infinity, -infinity, std::nan("")}) {
    EXPECT_EQ(test::error_of([&] { return civil_from_date(Date{days}); }), 6) << days;
  }
  // Rounding up carries into the next day, but not over the end of the calendar.
  EXPECT_EQ(civil_from_date(Date{std::nextafter(2.0, 0)}), (CivilTime{1900, 1, 1}));
  EXPECT_EQ(civil_from_date(Date{std::nextafter(-2.0, 0)}), (CivilTime{1899, 12, 30}));
  EXPECT_EQ(civil_from_date(Date{std::nextafter(kLastDay, 0)}).day, 31);
}

TEST(Date, ConsecutiveDaysFollowTheLeapRulesAndKeepTheTime) {
  CivilTime before = civil_from_date(Date{kFirstDay});
  for (double day = kFirstDay + 1; day < kLastDay; ++day) {
    const CivilTime civil = civil_from_date(Date{day});
    const bool next_day = civil.day == before.day + 1 && civil.month == before.month;
    const bool next_month = civil.day == 1 && before.day >= 28 && civil.month == before.month % 12 + 1;
    ASSERT_TRUE(next_day || next_month) << day;
    ASSERT_EQ(civil.year, before.year + (next_month && civil.month == 1 ? 1 : 0)) << day;
    ASSERT_EQ(date_from_civil(civil)->days, day);
    before = civil;
    // A double holds microseconds within 65536 days of the epoch.
    const int microsecond = std::abs(day) < 65536 ? 999'999 : 999'000;
    const CivilTime late{civil.year, civil.month,      civil.day,  civil.day % 24,
                         59,         29 + civil.month, microsecond};
    ASSERT_EQ(civil_from_date(*date_from_civil(late)), late) << day;
  }
}

using Order = LocaleInfo::DateOrder;

LocaleInfo locale_of(Order order, const std::string& date_separator = "/") {
  LocaleInfo locale;
  locale.date_order = order;
  locale.date_separator = date_separator;
  locale.month_abbreviations[0] = "gen";
  return locale;
}

TEST(DateText, WritesFieldsAndCopiesTheRest) {
  const Date date = date_from_civil({2024, 1, 5, 14, 7, 33}).value();
  // clang-format off
  const struct { const char* pattern; const char* text; } rows[] = {
      {"'yyyymmdd '", "'20240105 '"}, {"'yyyymmdd  hh:mm'", "'20240105  14:07'"},
      {"#mm/dd/yyyy  hh:mm:ss#", "#01/05/2024  14:07:33#"}, {"dd-mmmyy", "05-gen24"},
      {"dd/mm/yyyy hh.nn.ss", "05/01/2024 14.07.33"}, {"hh:mm dd/mm", "14:07 05/01"}, {"nn", "07"}, {"", ""},
      {"è€ 'x'", "è€ 'x'"},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(date_text(date, row.pattern, locale_of(Order::day_month_year, ".")), row.text);
  }
  EXPECT_EQ(date_text(Date{kFirstDay}, "yyyy yy mmm"), "0100 00 Jan");
  EXPECT_EQ(date_text(Date{0.999999}, "dd hh:nn:ss"), "30 23:59:59");
}

TEST(DateText, ConversionWritesTheLocalesShortDate) {
  const double afternoon = 45296 + 50853.0 / 86400;
  // clang-format off
  const struct { double days; Order order; const char* separator; const char* text; } rows[] = {
      {45296, Order::day_month_year, "/", "05/01/2024"}, {45296, Order::month_day_year, "-", "01-05-2024"},
      {45296, Order::year_month_day, ".", "2024.01.05"},
      {afternoon, Order::day_month_year, "/", "05/01/2024 14:07:33"}, {0.5, Order::day_month_year, "/", "12:00:00"},
      {0, Order::day_month_year, "/", "00:00:00"}, {-1.25, Order::day_month_year, "/", "29/12/1899 06:00:00"},
  };
  // clang-format on
  for (const auto& row : rows) {
    const LocaleInfo locale = locale_of(row.order, row.separator);
    EXPECT_EQ(general_date_text(Date{row.days}, locale), row.text);
    ASSERT_TRUE(parse_date(row.text, locale)) << row.text;
    EXPECT_DOUBLE_EQ(parse_date(row.text, locale)->days, row.days);
  }
}

TEST(DateText, ReadsDatesInTheLocalesOrder) {
  // clang-format off
  const struct { const char* text; Order order; CivilTime civil; } rows[] = {
      {"2024-01-05", Order::month_day_year, {2024, 1, 5}}, {"2024/1/5", Order::day_month_year, {2024, 1, 5}},
      {"2024-01-05T14:07:33", Order::day_month_year, {2024, 1, 5, 14, 7, 33}},
      {"  5/1/2024  14:07 ", Order::day_month_year, {2024, 1, 5, 14, 7}},
      {"5/1/2024", Order::month_day_year, {2024, 5, 1}}, {"25/1/2024", Order::month_day_year, {2024, 1, 25}},
      {"1/25/2024", Order::day_month_year, {2024, 1, 25}}, {"24-1-5", Order::year_month_day, {2024, 1, 5}},
      {"5.1.29", Order::day_month_year, {2029, 1, 5}}, {"5.1.30", Order::day_month_year, {1930, 1, 5}},
      {"14:07:33.25", Order::day_month_year, {1899, 12, 30, 14, 7, 33, 250'000}},
      {"1/1/2024 0:00:00.1234567", Order::day_month_year, {2024, 1, 1, 0, 0, 0, 123'456}},
  };
  // clang-format on
  for (const auto& row : rows) {
    const auto date = parse_date(row.text, locale_of(row.order));
    ASSERT_TRUE(date) << row.text;
    EXPECT_EQ(civil_from_date(*date), row.civil) << row.text;
  }
  for (const char* text :
       {"", " ", "abc", "12", "1/2", "1/2/3/4", "30/2/2024", "1/1/2024 25:00", "12:60", "12:", "1/1/2024 x",
        "-1/1/2024", "1/1-2024", "12:30:15.", "12:30:15.x", "1234567/1/1", "1/1/2024T", "5 1 2024"}) {
    EXPECT_FALSE(parse_date(text, locale_of(Order::day_month_year))) << text;
  }
}

}  // namespace
}  // namespace quarno
