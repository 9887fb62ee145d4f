#include "util/crypt_text.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <tuple>

namespace quarno::util {
namespace {

TEST(CryptText, StartValues) {
  const std::pair<float, int> rows[] = {{0.0F, 1},    {0.00005F, 1}, {0.00025F, 3},       {0.0254F, 255},
                                        {0.0255F, 1}, {0.5F, 156},   {0x1.FFFFFEp-1F, 56}};
  for (const auto& [random, start] : rows) EXPECT_EQ(start_value(random), start) << random;
}

TEST(CryptText, Groups) {
  std::string all(254, '\1');
  std::iota(all.begin(), all.end(), '\1');
  // clang-format off
  const std::tuple<int, std::string, std::string> rows[] = {
      {60, "A", "3C19"}, {60, "", "3C"}, {1, "", "1"}, {255, "", "FF"}, {60, "dddddddd", "3CC446D84EDB2EF634"},
      {106, "\x01", "6A F"}};
  // clang-format on
  for (const auto& [start, clear, cipher] : rows) EXPECT_EQ(cipher_text(clear, start), cipher) << clear;
  for (int start = 1; start < 256; ++start) {
    const bool comes_back = clear_text(cipher_text(all, start)) == all;
    EXPECT_EQ(comes_back, start >= 16) << start;  // one digit is read as two characters
  }
  EXPECT_EQ(clear_text(cipher_text(std::string(1, '\0'), 60)), "\xFF");
  EXPECT_EQ(clear_text(cipher_text("\xFF", 255)), std::string(1, '\0'));
}

TEST(CryptText, ReadsWhatIsNoCipher) {
  // The key's first letter is 100, so one group of code 0 after start 0 gives 100.
  const std::pair<const char*, const char*> rows[] = {
      {"", ""},      {"3", ""},     {"3C", ""},       {"3C19", "A"},    {"3c19", "A"},
      {"  00", "d"}, {"GG0", "d"},  {"000G", "d"},    {"0 0", "d"},     {"1000", "T"},
      {"1G00", "c"}, {"&H00", "d"}, {"64 0", "\xFF"}, {"65 0", "\xFE"}, {"00??", "d"}};
  for (const auto& [cipher, clear] : rows) EXPECT_EQ(clear_text(cipher), clear) << cipher;
}

}  // namespace
}  // namespace quarno::util
