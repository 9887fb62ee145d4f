// The order of texts and the patterns of LIKE: tables, and properties over random texts.
#include <clocale>
#include <cwctype>
#include <random>

#include "common/text.h"
#include "desktop/functions/evaluation.h"
#include "providers/desktop/functions/collation.h"
#include "providers/desktop/functions/folding.h"
#include "providers/desktop/functions/like.h"

namespace quarno::desktop::test {
namespace {

// The system's own tables, which no locale of the host changes.
TEST(Folding, AgreesWithTheSystemsTables) {
  const locale_t system = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
  ASSERT_NE(system, locale_t{});
  const std::pair<char32_t, char32_t> blocks[] = {{0, 0x17F},       {0x1CD, 0x1DC},  {0x386, 0x3CE},
                                                  {0x400, 0x52F},   {0x531, 0x556},  {0x1E00, 0x1E95},
                                                  {0x1EA0, 0x1EFF}, {0xFF21, 0xFF5A}};
  for (const auto& [first, last] : blocks) {
    for (char32_t c = first; c <= last; ++c) {
      // The Turkish dotted and dotless letters, and letters whose capital lies elsewhere, stay themselves.
      const bool is_special = c == 0x130 || c == 0x131 || c == 0xB5 || c == 0x17F || c == 0x3C2;
      if (is_special) continue;
      EXPECT_EQ(small_letter(c), static_cast<char32_t>(::towlower_l(static_cast<wint_t>(c), system)))
          << std::hex << +c;
      EXPECT_EQ(capital_letter(c), static_cast<char32_t>(::towupper_l(static_cast<wint_t>(c), system)))
          << std::hex << +c;
    }
  }
  ::freelocale(system);
}

TEST(Collation, OrdersAsDescribed) {
  const std::pair<std::string_view, std::string_view> equal[] = {
      {"abc", "ABC"}, {"É", "é"}, {"ΣΟΦΟΣ", "σοφος"}, {"σοφός", "ΣΟΦΌσ"}, {"ПРИВЕТ", "привет"},
      {"Ÿ", "ÿ"},     {"ſ", "S"}, {"", ""},           {"\xFF", "\xFF"}};
  for (const auto& [a, b] : equal) EXPECT_EQ(compare_texts(a, b), 0) << a << " " << b;
  const std::string_view ascending[] = {"",     "\t",   " ",    "-",     "_", "~",     "0",     "9",
                                        "a",    "à",    "æ",    "ab",    "B", "citta", "città", "cittadino",
                                        "cote", "coté", "côte", "Cotes", "z", "ž",     "Z!",    "Za",
                                        "α",    "ά",    "β",    "е",     "ё", "я",     "\xFF"};
  for (std::size_t i = 0; i < std::size(ascending); ++i) {
    for (std::size_t j = 0; j < std::size(ascending); ++j) {
      const int order = compare_texts(ascending[i], ascending[j]);
      EXPECT_EQ(order < 0 ? -1 : (order > 0 ? 1 : 0), i < j ? -1 : (i > j ? 1 : 0))
          << ascending[i] << " " << ascending[j];
    }
  }
}

std::string random_text(std::mt19937& random, const std::vector<std::string_view>& letters,
                        std::size_t longest) {
  std::string result;
  for (std::size_t count = random() % (longest + 1); count > 0; --count)
    result += letters[random() % letters.size()];
  return result;
}

int sign_of(int order) { return order < 0 ? -1 : (order > 0 ? 1 : 0); }

TEST(Collation, IsATotalOrder) {
  const std::vector<std::string_view> letters = {"a", "A", "b", "e", "é", "É", "è",    "E",    "ß",  "s", "z",
                                                 "1", "-", "Я", "я", "ά", "α", "\xC3", "\xA9", "日", " "};
  std::mt19937 random(7);
  for (int i = 0; i < 200'000; ++i) {
    const std::string a = random_text(random, letters, 4);
    const std::string b = random_text(random, letters, 4);
    const std::string c = random_text(random, letters, 4);
    const int ab = sign_of(compare_texts(a, b));
    const int bc = sign_of(compare_texts(b, c));
    ASSERT_EQ(ab, -sign_of(compare_texts(b, a))) << a << "|" << b;
    if (ab <= 0 && bc <= 0) {
      ASSERT_EQ(sign_of(compare_texts(a, c)), std::min(ab, bc)) << a << "|" << b << "|" << c;
    }
    // Equal means the same but for letter case.
    ASSERT_EQ(ab == 0, small_letters(a) == small_letters(b)) << a << "|" << b;
  }
}

TEST(Like, Patterns) {
  Engine engine;
  // clang-format off
  check(engine, {
      {"'Müller' LIKE 'mÜ%'", "1"}, {"'abc' LIKE '_b_'", "1"}, {"'abc' LIKE 'ab'", "0"}, {"'' LIKE '%'", "1"},
      {"'' LIKE ''", "1"}, {"'a' LIKE ''", "0"}, {"'é' LIKE '_'", "1"}, {"'é' LIKE 'e'", "0"},
      {"'b' LIKE '[A-C]'", "1"}, {"'d' LIKE '[a-c]'", "0"}, {"'d' LIKE '[!a-c]'", "1"}, {"'B' LIKE '[^a-c]'", "0"},
      {"'-' LIKE '[a-]'", "1"}, {"'!' LIKE '[!]'", "1"}, {"'%' LIKE '[%]'", "1"}, {"'a' LIKE '[%]'", "0"},
      {"'[' LIKE '[[]'", "1"}, {"'[a' LIKE '[a'", "1"}, {"'ab' LIKE 'a[]b'", "1"}, {"'b' LIKE '[c-a]'", "0"},
      {"'x5y' LIKE '%[0-9]%'", "1"}, {"'Я' LIKE '[а-я]'", "1"}, {"'' LIKE '[!a]'", "0"},
      {"'a%' LIKE 'a\\%' ESCAPE '\\'", "1"}, {"'ab' LIKE 'a\\%' ESCAPE '\\'", "0"},
      {"'a' LIKE 'a\\' ESCAPE '\\'", "0"}, {"'a' LIKE 'a' ESCAPE 'xx'", "!Invalid procedure call or argument"},
      {"'a_b' LIKE 'aé_b' ESCAPE 'é'", "1"}, {"null LIKE 'a'", "null"}, {"'a' LIKE null", "null"},
      {"12.0 LIKE '12'", "1"}, {"'a' NOT LIKE 'b'", "1"}, {"'a*' LIKE 'a*'", "1"}, {"'ab' LIKE 'a*'", "0"},
      {"'a' LIKE String(50001,'%')", "!Invalid procedure call or argument"},
      {"String(5000,'a') LIKE String(2000,'%a') || 'b'", "0"},
  });
  // clang-format on
  EXPECT_EQ(
      engine.rows("WITH t(s, e) AS (VALUES ('a!', '!'), ('a!', '?')) SELECT s LIKE 'a!!' ESCAPE e FROM t"),
      "1;0");
}

// As the rules say it, with no thought of time; classes of plain characters only.
bool naive_match(std::string_view pattern, std::string_view text) {
  if (pattern.empty()) return text.empty();
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  if (pattern[0] == '%')
    return naive_match(pattern.substr(1), text) || (!text.empty() && naive_match(pattern, text.substr(1)));
  if (text.empty()) return false;
  if (pattern[0] == '_') return naive_match(pattern.substr(1), text.substr(1));
  if (pattern[0] != '[')
    return lower(pattern[0]) == lower(text[0]) && naive_match(pattern.substr(1), text.substr(1));
  const bool negative = pattern[1] == '!';
  const std::size_t close = pattern.find(']');
  bool inside = false;
  for (std::size_t i = negative ? 2 : 1; i < close; ++i)
    inside = inside || lower(pattern[i]) == lower(text[0]);
  return inside != negative && naive_match(pattern.substr(close + 1), text.substr(1));
}

TEST(Like, AgreesWithTheNaiveMatcher) {
  const std::vector<std::string_view> pieces = {"%", "%", "_", "a", "B", "c", "[ab]", "[!aC]", "[b]"};
  const std::vector<std::string_view> letters = {"a", "b", "c", "A", "B", "C"};
  std::mt19937 random(11);
  int matched = 0;
  for (int i = 0; i < 100'000; ++i) {
    const std::string pattern = random_text(random, pieces, 7);
    const std::string text = random_text(random, letters, 9);
    const bool expected = naive_match(pattern, text);
    matched += expected ? 1 : 0;
    ASSERT_EQ(LikePattern(pattern).matches(text), expected) << pattern << " " << text;
  }
  EXPECT_GT(matched, 10'000);
}

}  // namespace
}  // namespace quarno::desktop::test
