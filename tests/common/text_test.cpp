#include "common/text.h"

#include <gtest/gtest.h>

namespace quarno::text {
namespace {

using namespace std::string_literals;

TEST(Text, CountsAndCutsCharactersNotBytes) {
  // Malformed: stray, cut, overlong, surrogate and too large sequences count byte by byte.
  // clang-format off
  const struct { std::string utf8; std::size_t length; std::string left2; } rows[] = {
      {"", 0, ""}, {"abc", 3, "ab"}, {"a\0b"s, 3, "a\0"s}, {"è€x", 3, "è€"}, {"\U0001F600à", 2, "\U0001F600à"},
      {"\xFF\x80z", 3, "\xFF\x80"}, {"\xC3zz", 3, "\xC3z"}, {"\xC3", 1, "\xC3"}, {"\xF0\x9F\x98", 3, "\xF0\x9F"},
      {"\xC0\x80", 2, "\xC0\x80"}, {"\xE0\x9F\xBFq", 4, "\xE0\x9F"}, {"\xF0\x8F\xBF\xBF", 4, "\xF0\x8F"},
      {"\xED\xA0\x80", 3, "\xED\xA0"}, {"\xED\x9F\xBF\xEE\x80\x80", 2, "\xED\x9F\xBF\xEE\x80\x80"},
      {"\xF4\x8F\xBF\xBF", 1, "\xF4\x8F\xBF\xBF"}, {"\xF4\x90\x80\x80", 4, "\xF4\x90"},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.utf8));
    EXPECT_EQ(length(row.utf8), row.length);
    EXPECT_EQ(left(row.utf8, 2), row.left2);
    EXPECT_EQ(left(row.utf8, 0), "");
    EXPECT_EQ(left(row.utf8, 100), row.utf8);
  }
}

TEST(Text, Windows1252BothWays) {
  std::string every_byte;
  for (int byte = 0; byte < 256; ++byte) every_byte.push_back(static_cast<char>(byte));
  const std::string utf8 = from_windows_1252(every_byte);
  EXPECT_EQ(length(utf8), 256u);
  EXPECT_EQ(to_windows_1252(utf8), every_byte);

  // clang-format off
  const struct { const char* utf8; const char* ansi; } rows[] = {
      {"€‚ƒ„…†‡ˆ‰Š‹ŒŽ", "\x80\x82\x83\x84\x85\x86\x87\x88\x89\x8A\x8B\x8C\x8E"},
      {"‘’“”•–—˜™š›œžŸ", "\x91\x92\x93\x94\x95\x96\x97\x98\x99\x9A\x9B\x9C\x9E\x9F"},
      {"perché µg/m³", "perch\xE9 \xB5g/m\xB3"}, {"\u0081", "\x81"}, {"Ж日本", "???"}, {"\U0001F600.", "?."},
      {"\u0080", "?"}, {"e\u0301", "e?"}, {"\xC3|\xFF", "?|?"},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(to_windows_1252(row.utf8), row.ansi) << row.utf8;
}

TEST(Text, UpperCaseTouchesLettersOnly) {
  EXPECT_EQ(upper("città 1x è÷ß ÿ \u0101\u0137 \u013A\u0148 \u014B\u0177 \u017A\u017E"),
            "CITTÀ 1X È÷ß Ÿ \u0100\u0136 \u0139\u0147 \u014A\u0176 \u0179\u017D");
  EXPECT_EQ(upper("\u0131\u0138\u0149\u0178\u017F\u00B5 жя"), "\u0131\u0138\u0149\u0178\u017F\u00B5 жя");
  EXPECT_EQ(upper("a\xFFz"), "A\xFFZ");
  std::string utf8;
  append_character(utf8, 0xD800);
  EXPECT_EQ(utf8, "\uFFFD");
}

TEST(Text, CutsJoinsAndCompares) {
  EXPECT_EQ(trim("  \tà b\u00A0\n  "), "\tà b\u00A0\n");
  EXPECT_EQ(replace_all("aaa", "aa", "b"), "ba");
  EXPECT_EQ(replace_all("abc", "", "x"), "abc");
  using Pieces = std::vector<std::string_view>;
  EXPECT_EQ(split("", ";"), Pieces{});
  EXPECT_EQ(split(";a;;", ";"), (Pieces{"", "a", "", ""}));
  EXPECT_EQ(split("a::b:", "::"), (Pieces{"a", "b:"}));
  EXPECT_EQ(split("a;b", ""), Pieces{"a;b"});
  EXPECT_EQ(join({"a", "", "b"}, "|"), "a||b");
  // Field and member names fold ASCII alone.
  EXPECT_TRUE(equal_fold("Get£", "GET£"));
  EXPECT_FALSE(equal_fold("è", "È") || equal_fold("[", "{") || equal_fold("ab", "abc"));
  EXPECT_EQ(hash_fold("M_Tabella"), hash_fold("m_tabella"));
  EXPECT_EQ(lower_ascii("ÀB@Z["), "Àb@z[");
}

}  // namespace
}  // namespace quarno::text
