#include "providers/desktop/functions/folding.h"

#include <algorithm>
#include <array>

namespace quarno::desktop {
namespace {

// Capitals from `first` to `last`, every `step`-th, in ascending order; the small letter stands `distance`
// behind.
struct Capitals {
  char32_t first;
  char32_t last;
  int distance;
  char32_t step;
};

constexpr Capitals kCapitals[] = {
    {0xC0, 0xD6, 32, 1},     {0xD8, 0xDE, 32, 1},   {0x100, 0x12E, 1, 2},    {0x132, 0x136, 1, 2},
    {0x139, 0x147, 1, 2},    {0x14A, 0x176, 1, 2},  {0x178, 0x178, -121, 1}, {0x179, 0x17D, 1, 2},
    {0x1CD, 0x1DB, 1, 2},    {0x1DE, 0x1EE, 1, 2},  {0x1F8, 0x21E, 1, 2},    {0x222, 0x232, 1, 2},
    {0x386, 0x386, 38, 1},   {0x388, 0x38A, 37, 1}, {0x38C, 0x38C, 64, 1},   {0x38E, 0x38F, 63, 1},
    {0x391, 0x3A1, 32, 1},   {0x3A3, 0x3AB, 32, 1}, {0x400, 0x40F, 80, 1},   {0x410, 0x42F, 32, 1},
    {0x460, 0x480, 1, 2},    {0x48A, 0x4BE, 1, 2},  {0x4C0, 0x4C0, 15, 1},   {0x4C1, 0x4CD, 1, 2},
    {0x4D0, 0x52E, 1, 2},    {0x531, 0x556, 48, 1}, {0x1E00, 0x1E94, 1, 2},  {0x1EA0, 0x1EFE, 1, 2},
    {0xFF21, 0xFF3A, 32, 1},
};

constexpr bool holds(const Capitals& row, char32_t c) {
  return c >= row.first && c <= row.last && (c - row.first) % row.step == 0;
}

constexpr char32_t moved(char32_t c, int distance) {
  return static_cast<char32_t>(static_cast<int>(c) + distance);
}

// Base letters of U+00DF to U+017F; a blank where the character is its own.
constexpr std::string_view kLatinBase =
    "s"
    "aaaaaaaceeeeiiii"
    "dnooooo ouuuuy y"
    "aaaaaaccccccccdd"
    "ddeeeeeeeeeegggg"
    "gggghhhhiiiiiiii"
    "iiiijjkkklllllll"
    "lllnnnnnnnnnoooo"
    "oooorrrrrrssssss"
    "ssttttttuuuuuuuu"
    "uuuuwwyyyzzzzzzs";
static_assert(kLatinBase.size() == 0x180 - 0xDF);

struct Pair {
  char32_t from;
  char32_t to;
};

// Forms of a letter beyond its capital and its small one.
constexpr Pair kOtherForms[] = {{0xB5, 0x3BC},   {0x17F, 's'},  {0x3C2, 0x3C3}, {0x1E9E, 0xDF},
                                {0x2126, 0x3C9}, {0x212A, 'k'}, {0x212B, 0xE5}};

constexpr Pair kAccented[] = {{0x390, 0x3B9}, {0x3AC, 0x3B1}, {0x3AD, 0x3B5}, {0x3AE, 0x3B7},
                              {0x3AF, 0x3B9}, {0x3B0, 0x3C5}, {0x3CA, 0x3B9}, {0x3CB, 0x3C5},
                              {0x3CC, 0x3BF}, {0x3CD, 0x3C5}, {0x3CE, 0x3C9}, {0x451, 0x435}};

template <std::size_t N>
char32_t replaced(const Pair (&pairs)[N], char32_t c) {
  const auto* const found = std::find_if(pairs, pairs + N, [c](const Pair& pair) { return pair.from == c; });
  return found == pairs + N ? c : found->to;
}

template <class Change>
std::string changed(std::string_view utf8, Change&& change) {
  std::string result;
  result.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) append_distinct(result, change(next_distinct(utf8, at)));
  return result;
}

}  // namespace

char32_t small_letter(char32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + 32 : c;
  for (const Capitals& row : kCapitals) {
    if (c < row.first) break;
    if (holds(row, c)) return moved(c, row.distance);
  }
  return c;
}

char32_t capital_letter(char32_t c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? c - 32 : c;
  for (const Capitals& row : kCapitals) {
    if (holds(row, moved(c, -row.distance))) return moved(c, -row.distance);
  }
  return c;
}

char32_t folded(char32_t c) {
  if (c < 0x80) return small_letter(c);
  return replaced(kOtherForms, small_letter(c));
}

char32_t base_letter(char32_t c) {
  if (c >= 0xDF && c <= 0x17F) {
    const char base = kLatinBase[c - 0xDF];
    return base == ' ' ? c : static_cast<unsigned char>(base);
  }
  return c < 0x390 || c > 0x451 ? c : replaced(kAccented, c);
}

std::string small_letters(std::string_view utf8) { return changed(utf8, small_letter); }
std::string capital_letters(std::string_view utf8) { return changed(utf8, capital_letter); }

void append_distinct(std::string& utf8, char32_t c) {
  if (c < 0x80 || c >= kMalformed) {
    utf8.push_back(static_cast<char>(c & 0xFF));
  } else {
    text::append_character(utf8, c);
  }
}

}  // namespace quarno::desktop
