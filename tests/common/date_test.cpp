#include "common/date.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

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

}  // namespace
}  // namespace quarno
