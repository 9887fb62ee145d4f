// Composed statements, literals, and values between host and field.
#include <gtest/gtest.h>

#include "common/convert.h"
#include "data/failure_text.h"
#include "data/field_value.h"
#include "data/select_text.h"
#include "data/sql_literal.h"
#include "platform/fake/fakes.h"

namespace quarno::data {
namespace {

using ado::DataType;

TEST(SelectText, ComposesOnlyWhatIsThere) {
  EXPECT_EQ(select_text({"", "T", "", "", ""}), "SELECT * FROM T");
  EXPECT_EQ(select_text({"A,B", "T", "A=1", "A", "B"}), "SELECT A,B FROM T WHERE A=1 GROUP BY A ORDER BY B");
  EXPECT_EQ(fast_select_text({"*", "T", "", "", "B"}), "SELECT *  FROM T ORDER BY B");
  EXPECT_EQ(qualified_table({.kind = Conn_SQL, .database = " D ", .owner = "dbo"}, "T"), "[D].dbo.T");
  EXPECT_EQ(qualified_table({.kind = Conn_SQL, .database = "D", .owner = "dbo"}, "x.T"), "x.T");
  EXPECT_EQ(qualified_table({.kind = Conn_As400, .database = "D", .owner = "dbo"}, "T"), "T");
}

TEST(SqlLiteral, TextsAndDates) {
  EXPECT_EQ(text_literal("O'Neil", true), "'O''Neil'");
  EXPECT_EQ(text_literal("  ab  ", true), "'ab'");
  EXPECT_EQ(text_literal("  ab  ", false), "'  ab  '");
  EXPECT_EQ(text_literal("'", true), "''''");
  EXPECT_EQ(text_literal("a' ", false), "'a'' '");
  EXPECT_EQ(text_literal("", true), "''");
  const Date when = date_from_civil({2024, 1, 5, 14, 7, 33, 0}).value();
  const struct {
    int kind;
    const char* day;
    const char* hour;
  } rows[] = {{Conn_ODBC, "'20240105 '", "'20240105  14:07'"},
              {Conn_Jet, "#01/05/2024 #", "#01/05/2024  14:07:33#"},
              {Conn_SQL, "'20240105'", "'20240105 14:07'"},
              {-1, "'20240105'", "'20240105 14:07'"}};
  for (const auto& row : rows) {
    EXPECT_EQ(date_literal(when, false, row.kind), row.day);
    EXPECT_EQ(date_literal(when, true, row.kind), row.hour);
  }
  const Date midnight = date_from_civil({2024, 1, 5, 0, 0, 0, 0}).value();
  EXPECT_EQ(date_literal(midnight, true, Conn_Jet), "#01/05/2024  00:00:00#");
}

TEST(FieldValue, NullsReadByType) {
  const struct {
    int type;
    Variant expected;
  } rows[] = {{2, std::int16_t{0}}, {5, std::int16_t{0}}, {131, std::int16_t{0}}, {20, std::int16_t{0}},
              {6, Variant()},       {11, false},          {129, std::string()},   {200, std::string()},
              {202, Variant()},     {130, Variant()},     {201, Variant()},       {203, Variant()},
              {205, Variant()},     {7, Variant()},       {135, Variant()}};
  for (const auto& row : rows) {
    EXPECT_EQ(null_substitute(static_cast<DataType>(row.type), false), row.expected) << row.type;
  }
  EXPECT_EQ(null_substitute(DataType::date, true), Variant(date_from_civil({100, 1, 1, 0, 0, 0, 0}).value()));
}

TEST(FieldValue, WhatIsStored) {
  const LocaleInfo plain;
  const LocaleInfo italian = platform::fake::FixedLocale::italian();
  struct Row {
    int type;
    int size;
    Variant value;
    const char* expected;  // as text; null: the field stays as it is
  };
  const Row rows[] = {
      {5, 8, "1.234,56", "1234.56"},
      {5, 8, "1,234.5", "1.2345"},  // a comma makes every point a group sign
      {5, 8, "12.5", "12.5"},
      {5, 8, "abc", nullptr},
      {5, 8, Variant::null(), nullptr},
      {5, 8, 0.1, "0.1"},
      {6, 8, "922337203685477.5807", "922337203685477.5807"},
      {3, 4, "12 apples", "12"},
      {3, 4, "abc", "0"},
      {20, 8, "9007199254740993", "9007199254740993"},
      {129, 10, "a \"quoted\" text", "a ''quoted"},
      {130, 0, "a \"b\"", "a ''b''"},
      {200, 5, "abcdefgh", "abcde"},
      {202, 3, "perché", "per"},
      {202, 6, "perché!", "perché"},
      {202, 8, "\"x\"", "\"x\""},
      {11, 2, std::int16_t{1}, "True"},
      {11, 2, std::int16_t{-1}, "True"},
      {11, 2, std::int16_t{2}, "False"},
      {11, 2, "yes", "False"},
      {11, 2, true, "True"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.type << " " << (row.expected ? row.expected : "stays"));
    const auto stored = value_to_store(static_cast<DataType>(row.type), row.size, row.value, plain);
    EXPECT_EQ(stored.has_value(), row.expected != nullptr);
    if (!stored) continue;
    EXPECT_EQ(to_text(*stored, plain), row.expected);
    // The same on a locale with a decimal comma.
    const auto there = value_to_store(static_cast<DataType>(row.type), row.size, row.value, italian);
    ASSERT_TRUE(there.has_value());
    EXPECT_EQ(to_text(*there, plain), row.expected);
  }
  EXPECT_TRUE(value_to_store(DataType::integer, 4, Variant::null(), plain)->is_null());
}

TEST(FailureText, LogLineAndBox) {
  const ErrorRecord failure{-5167, "Error on ping", "CData-Initialize"};
  const Date when = date_from_civil({2024, 1, 5, 14, 7, 33, 0}).value();
  EXPECT_EQ(failure_log_line(when, "GetValue", failure),
            "05/01/2024 14:07:33\tGetValue\tCData-Initialize\t-5167\tError on ping");
  EXPECT_EQ(failure_box_text("GetValue - ", failure),
            "GetValue - \r\nNumber : -5167\r\nSource : CData-Initialize\r\nDescription : Error on ping");
}

}  // namespace
}  // namespace quarno::data
