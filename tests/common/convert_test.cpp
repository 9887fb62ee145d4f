#include "common/convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "common/error.h"
#include "support/outcome.h"

namespace quarno {
namespace {

using test::outcome;

TEST(Convert, EveryTypeByTheAutomationRules) {
  const LocaleInfo locale;
  // clang-format off
  const struct { Variant value; const char *int16, *int64, *real, *boolean, *text; } rows[] = {
      {Variant(), "0", "0", "0", "0", ""}, {Variant::null(), "!94", "!94", "!94", "!94", "!94"},
      {Variant::missing(), "!13", "!13", "!13", "!13", "!13"}, {Variant::Bytes{1}, "!13", "!13", "!13", "!13", "!13"},
      {Variant::Object{}, "!13", "!13", "!13", "!13", "!13"}, {true, "-1", "-1", "-1", "1", "True"},
      {false, "0", "0", "0", "0", "False"}, {std::uint8_t{200}, "200", "200", "200", "1", "200"},
      {std::int32_t{40000}, "!6", "40000", "40000", "1", "40000"},
      {std::numeric_limits<std::int64_t>::max(), "!6", "9223372036854775807", "9.2233720368547758e+18",
       "1", "9223372036854775807"},
      {0.5, "0", "0", "0.5", "1", "0.5"}, {1.5, "2", "2", "1.5", "1", "1.5"}, {-2.5, "-2", "-2", "-2.5", "1", "-2.5"},
      {32767.5, "!6", "32768", "32767.5", "1", "32767.5"},
      {-32768.5, "-32768", "-32768", "-32768.5", "1", "-32768.5"}, {9.3e18, "!6", "!6", "9.3e+18", "1", "9.3E+18"},
      {std::nan(""), "!6", "!6", "nan", "1", "NaN"}, {2.5f, "2", "2", "2.5", "1", "2.5"},
      {Currency{35000}, "4", "4", "3.5", "1", "3.5"},
      {Currency{std::numeric_limits<std::int64_t>::max()}, "!6", "922337203685478", "922337203685477.62",
       "1", "922337203685477.5807"},
      {Decimal::parse("-4.50").value(), "-4", "-4", "-4.5", "1", "-4.50"},
      {Decimal::parse("9223372036854775807.4").value(), "!6", "9223372036854775807",
       "9.2233720368547758e+18", "1", "9223372036854775807.4"},
      {Decimal::parse("9223372036854775807.5").value(), "!6", "!6", "9.2233720368547758e+18", "1",
       "9223372036854775807.5"},
      {Decimal::parse("-9223372036854775808").value(), "!6", "-9223372036854775808",
       "-9.2233720368547758e+18", "1", "-9223372036854775808"},
      {Date{1.5}, "2", "2", "1.5", "1", "31/12/1899 12:00:00"}, {" 12 ", "12", "12", "12", "1", " 12 "},
      {"2.5", "2", "2", "2.5", "1", "2.5"},
      {"99999999999999999999", "!6", "!6", "1e+20", "1", "99999999999999999999"},
      {"&HFF", "255", "255", "255", "1", "&HFF"}, {"1e3", "1000", "1000", "1000", "1", "1e3"},
      {"true", "!13", "!13", "!13", "1", "true"}, {" FALSE", "!13", "!13", "!13", "0", " FALSE"},
      {"", "!13", "!13", "!13", "!13", ""}, {"12x", "!13", "!13", "!13", "!13", "12x"},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(outcome([&] { return to_int16(row.value, locale); }), row.int16);
    EXPECT_EQ(outcome([&] { return to_int64(row.value, locale); }), row.int64);
    EXPECT_EQ(outcome([&] { return to_double(row.value, locale); }), row.real);
    EXPECT_EQ(outcome([&] { return to_bool(row.value, locale); }), row.boolean);
    EXPECT_EQ(outcome([&] { return to_text(row.value, locale); }), row.text);
  }
}

TEST(Convert, BytesSinglesAndExactNumbers) {
  const LocaleInfo locale;
  const auto byte = [&](const Variant& v) { return outcome([&] { return to_byte(v, locale); }); };
  EXPECT_EQ(byte(true) + byte(255.4) + byte(255.5) + byte(-1), "255255!6!6");
  EXPECT_EQ(outcome([&] { return to_int32(2147483647.5, locale); }), "!6");
  EXPECT_EQ(outcome([&] { return to_int32(-2147483648.5, locale); }), "-2147483648");
  EXPECT_EQ(outcome([&] { return to_single(1e39, locale); }), "!6");
  EXPECT_EQ(outcome([&] { return to_single("1e-60", locale); }), "0");
  // As Decimal and as Currency; 1e15 fits the one alone.
  // clang-format off
  const struct { Variant value; const char* exact; } rows[] = {
      {0.1, "0.1 0.1"}, {"123456789012.123456789", "123456789012.123456789 123456789012.1235"},
      {"&H10", "16 16"}, {true, "-1 -1"}, {Date{2.25}, "2.25 2.25"}, {1e15, "!6"}, {1e30, "!6"}, {"1e30", "!6"},
      {std::nan(""), "!6"}, {"x", "!13"}, {Variant::null(), "!94"},
  };
  // clang-format on
  for (const auto& row : rows) {
    const auto exact = [&] {
      return to_decimal(row.value, locale).text() + " " + to_currency(row.value, locale).text();
    };
    EXPECT_EQ(outcome(exact), row.exact);
  }
}

TEST(Convert, DatesAndTextsByTheLocale) {
  LocaleInfo comma;
  comma.decimal = ",";
  comma.group = ".";
  EXPECT_EQ(to_text(1.5, comma), "1,5");
  EXPECT_EQ(to_text(Currency{-25000}, comma), "-2,5");
  EXPECT_EQ(to_text(Decimal::parse("1.50").value(), comma), "1,50");
  EXPECT_EQ(outcome([&] { return to_double("1.234,5", comma); }), "1234.5");
  EXPECT_EQ(outcome([&] { return to_int64("1,5", comma); }), "2");

  // clang-format off
  const struct { Variant value; const char* days; bool is_numeric; } rows[] = {
      {"5/1/2024", "45296", false}, {"2,5", "2.5", true}, {45296, "45296", true}, {Variant(), "0", true},
      {"x", "!13", false}, {3000000, "!6", true}, {std::nan(""), "!6", true}, {Variant::null(), "!94", false},
      {true, "-1", true}, {" 7 ", "7", true}, {"&HA", "10", true}, {Currency{10000}, "1", true},
      {Decimal(1), "1", true}, {Variant::missing(), "!13", false}, {Date{1}, "1", false}, {"", "!13", false},
      {"True", "!13", false}, {Variant::Bytes{}, "!13", false},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(outcome([&] { return to_date(row.value, comma).days; }), row.days);
    EXPECT_EQ(is_numeric(row.value, comma), row.is_numeric) << row.days;
  }
}

TEST(Error, OfTheRunTimeSaysWhatItWasAbout) {
  EXPECT_EQ(run_time_error(RunTime::file_not_found, "a.txt").description, "File not found: a.txt");
  EXPECT_EQ(run_time_text(static_cast<RunTime>(1000)), "Application-defined or object-defined error");
}

}  // namespace
}  // namespace quarno
