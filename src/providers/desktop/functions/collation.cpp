#include "providers/desktop/functions/collation.h"

#include <sqlite3.h>

#include <array>
#include <cstdint>

#include "common/error.h"
#include "providers/desktop/functions/folding.h"
#include "providers/desktop/functions/functions.h"

namespace quarno::desktop {
namespace {

constexpr std::array<std::uint8_t, 128> ascii_weights() {
  std::array<std::uint8_t, 128> weights{};
  std::uint8_t next = 0;
  const auto is_digit = [](std::size_t c) { return c >= '0' && c <= '9'; };
  const auto is_letter = [](std::size_t c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  for (std::size_t c = 0; c < 128; ++c) {
    if (!is_digit(c) && !is_letter(c)) weights[c] = next++;
  }
  for (std::size_t c = '0'; c <= '9'; ++c) weights[c] = next++;
  for (std::size_t c = 'a'; c <= 'z'; ++c) weights[c] = weights[c - 32] = next++;
  return weights;
}
constexpr std::array<std::uint8_t, 128> kWeights = ascii_weights();

int sign(char32_t a, char32_t b) { return a < b ? -1 : (a > b ? 1 : 0); }

char32_t weight(char32_t c) {
  const char32_t base = base_letter(c);
  return base < 0x80 ? kWeights[base] : base;
}

// Decides between letters of the same base: the one without an accent comes first.
char32_t accent(char32_t c) { return base_letter(c) == c ? 0 : c; }

int compare_characters(std::string_view a, std::string_view b) {
  int by_accent = 0;
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    const char32_t x = next_distinct(a, i);
    const char32_t y = next_distinct(b, j);
    if (x == y) continue;
    if ((x | y) < 0x80) {
      if (const int order = sign(kWeights[x], kWeights[y])) return order;
      continue;
    }
    const char32_t small_x = folded(x);
    const char32_t small_y = folded(y);
    if (small_x == small_y) continue;
    if (const int order = sign(weight(small_x), weight(small_y))) return order;
    if (by_accent == 0) by_accent = sign(accent(small_x), accent(small_y));
  }
  if (i < a.size()) return 1;
  if (j < b.size()) return -1;
  return by_accent;
}

// The start of the character that the byte at `at` belongs to, in a text that is the same before it.
std::size_t character_start(std::string_view text, std::size_t at) {
  for (std::size_t back = 1; back <= 3 && back <= at; ++back) {
    const auto byte = static_cast<unsigned char>(text[at - back]);
    if ((byte & 0xC0) != 0x80) return byte >= 0xC0 ? at - back : at;
  }
  return at;
}

int collate(void*, int a_size, const void* a, int b_size, const void* b) {
  return compare_texts({static_cast<const char*>(a), static_cast<std::size_t>(a_size)},
                       {static_cast<const char*>(b), static_cast<std::size_t>(b_size)});
}

}  // namespace

int compare_texts(std::string_view a, std::string_view b) noexcept {
  const std::size_t shared = a.size() < b.size() ? a.size() : b.size();
  for (std::size_t i = 0; i < shared; ++i) {
    const auto x = static_cast<unsigned char>(a[i]);
    const auto y = static_cast<unsigned char>(b[i]);
    if (x == y) continue;
    if ((x | y) >= 0x80) {
      const std::size_t start = character_start(a, i);
      return compare_characters(a.substr(start), b.substr(start));
    }
    if (kWeights[x] != kWeights[y]) return kWeights[x] < kWeights[y] ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  // A text that ends within a character of the other ends with malformed bytes.
  const std::string_view longer = a.size() < b.size() ? b : a;
  if ((static_cast<unsigned char>(longer[shared]) & 0xC0) == 0x80) {
    const std::size_t start = character_start(longer, shared);
    return compare_characters(a.substr(start), b.substr(start));
  }
  return a.size() < b.size() ? -1 : 1;
}

void register_collation(sqlite3* database) {
  if (sqlite3_create_collation_v2(database, kCollation, SQLITE_UTF8, nullptr, collate, nullptr) != SQLITE_OK)
    throw run_time_error(RunTime::out_of_memory);
}

}  // namespace quarno::desktop
