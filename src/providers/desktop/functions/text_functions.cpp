// Texts, counted in characters. Where two are compared, letter case counts only when the last argument asks
// for it, as "=" and LIKE have it in this language.
#include <algorithm>
#include <string>

#include "common/text.h"
#include "providers/desktop/functions/call.h"
#include "providers/desktop/functions/collation.h"
#include "providers/desktop/functions/folding.h"

namespace quarno::desktop {
namespace {

// One element for each character.
std::u32string characters(std::string_view utf8) {
  std::u32string result;
  result.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) result.push_back(next_distinct(utf8, at));
  return result;
}

std::string text_of(std::u32string_view characters) {
  std::string result;
  result.reserve(characters.size());
  for (const char32_t c : characters) append_distinct(result, c);
  return result;
}

std::u32string comparable(std::u32string text, bool minds_case) {
  if (!minds_case) std::transform(text.begin(), text.end(), text.begin(), folded);
  return text;
}

std::size_t checked_length(double length) {
  if (length < 0) refuse();
  if (length > static_cast<double>(kLongestText)) throw run_time_error(RunTime::out_of_memory);
  return static_cast<std::size_t>(length);
}

Variant length(const Arguments& args) {
  if (args.is_null(0)) return Variant::null();
  return static_cast<std::int64_t>(text::length(args.text(0)));
}

Variant mid(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  const std::int32_t start = args.whole(1);
  const std::int32_t count = args.whole_or(2, INT32_MAX);
  if (start < 1 || count < 0) refuse();
  const std::string whole = args.text(0);
  std::string_view rest = whole;
  rest.remove_prefix(text::left(rest, static_cast<std::size_t>(start) - 1).size());
  return text::left(rest, static_cast<std::size_t>(count));
}

template <std::string (*change)(std::string_view)>
Variant changed(const Arguments& args) {
  if (args.is_null(0)) return Variant::null();
  return change(args.text(0));
}

// Blanks alone: tabs and line ends stay.
std::string without_leading(std::string_view text) {
  return std::string(text.substr(std::min(text.find_first_not_of(' '), text.size())));
}
std::string without_trailing(std::string_view text) {
  return std::string(text.substr(0, text.find_last_not_of(' ') + 1));
}
std::string trimmed(std::string_view text) { return std::string(text::trim(text)); }

Variant space(const Arguments& args) { return std::string(checked_length(args.whole(0)), ' '); }

Variant ansi_character(std::int32_t code) {
  const char byte = static_cast<char>(code);
  return text::from_windows_1252({&byte, 1});
}

Variant repeated(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  const std::size_t count = checked_length(args.whole(0));
  std::string one;
  if (args.is_text(1)) {
    one = text::left(text_view(args.raw(1)), 1);
    if (one.empty()) refuse();
  } else {
    one = *ansi_character(args.whole(1) & 0xFF).get_if<std::string>();
  }
  std::string result;
  result.reserve(count * one.size());
  for (std::size_t i = 0; i < count; ++i) result += one;
  return result;
}

Variant compared(const Arguments& args) {
  const bool minds_case = args.minds_case(2);
  if (args.is_null(0) || args.is_null(1)) return Variant::null();
  const std::string a = args.text(0);
  const std::string b = args.text(1);
  const int order = minds_case ? a.compare(b) : compare_texts(a, b);
  return std::int32_t{order < 0 ? -1 : (order > 0 ? 1 : 0)};
}

Variant reversed(const Arguments& args) {
  std::u32string text = characters(args.text(0));
  std::reverse(text.begin(), text.end());
  return text_of(text);
}

std::string proper_case(std::string_view utf8) {
  std::u32string text = characters(utf8);
  bool starts_word = true;
  for (char32_t& c : text) {
    c = starts_word ? capital_letter(c) : small_letter(c);
    starts_word = c == ' ' || (c >= '\t' && c <= '\r') || c == 0;
  }
  return text_of(text);
}

// Other conversions than those of case serve writings this engine's texts do not need.
Variant case_converted(const Arguments& args) {
  if (args.is_null(0)) return Variant::null();
  switch (args.whole(1)) {
    case 1: return capital_letters(args.text(0));
    case 2: return small_letters(args.text(0));
    case 3: return proper_case(args.text(0));
    default: refuse();
  }
}

// InStr([start,] text, part [, compare])
Variant position(const Arguments& args) {
  const std::size_t text_at = args.count() == 2 ? 0 : 1;
  const bool minds_case = args.minds_case(3);
  const std::int32_t start = text_at == 0 ? 1 : args.whole(0);
  if (start < 1) refuse();
  if (args.is_null(text_at) || args.is_null(text_at + 1)) return Variant::null();
  const std::u32string text = comparable(characters(args.text(text_at)), minds_case);
  const std::u32string part = comparable(characters(args.text(text_at + 1)), minds_case);
  if (static_cast<std::size_t>(start) > text.size()) return std::int32_t{0};
  const std::size_t found = text.find(part, static_cast<std::size_t>(start) - 1);
  return found == std::u32string::npos ? std::int64_t{0} : static_cast<std::int64_t>(found) + 1;
}

// InStrRev(text, part [, start [, compare]]): the whole part lies before or at `start`.
Variant last_position(const Arguments& args) {
  const bool minds_case = args.minds_case(3);
  const std::int32_t start = args.whole_or(2, -1);
  if (start == 0 || start < -1) refuse();
  const std::u32string text = comparable(characters(args.text(0)), minds_case);
  const std::u32string part = comparable(characters(args.text(1)), minds_case);
  const std::size_t end = start == -1 ? text.size() : static_cast<std::size_t>(start);
  if (text.empty() || end > text.size() || part.size() > end) return std::int32_t{0};
  if (part.empty()) return static_cast<std::int64_t>(end);
  const std::size_t found = text.rfind(part, end - part.size());
  return found == std::u32string::npos ? std::int64_t{0} : static_cast<std::int64_t>(found) + 1;
}

// Replace(text, find, by [, start [, count [, compare]]]): what comes before `start` is dropped.
Variant replaced(const Arguments& args) {
  const bool minds_case = args.minds_case(5);
  const std::int32_t start = args.whole_or(3, 1);
  const std::int32_t count = args.whole_or(4, -1);
  if (start < 1 || count < -1) refuse();
  std::u32string text = characters(args.text(0));
  const std::u32string part = comparable(characters(args.text(1)), minds_case);
  const std::u32string by = characters(args.text(2));
  text.erase(0, static_cast<std::size_t>(start) - 1 < text.size() ? static_cast<std::size_t>(start) - 1
                                                                  : text.size());
  if (part.empty()) return text_of(text);
  const std::u32string searched = comparable(text, minds_case);
  std::u32string result;
  std::size_t done = 0;
  for (std::int32_t i = 0; i != count; ++i) {
    const std::size_t found = searched.find(part, done);
    if (found == std::u32string::npos) break;
    result.append(text, done, found - done).append(by);
    if (result.size() > kLongestText) throw run_time_error(RunTime::out_of_memory);
    done = found + part.size();
  }
  return text_of(result.append(text, done));
}

Variant chr(const Arguments& args) {
  const std::int32_t code = args.whole(0);
  if (code < 0 || code > 255) refuse();
  return ansi_character(code);
}

Variant wide_chr(const Arguments& args) {
  const std::int32_t code = args.whole(0);
  if (code < INT16_MIN || code > UINT16_MAX) refuse();
  std::string result;
  text::append_character(result, static_cast<char32_t>(code & 0xFFFF));
  return result;
}

Variant code(const Arguments& args) {
  const std::string text = text::to_windows_1252(text::left(args.text(0), 1));
  if (text.empty()) refuse();
  return std::int32_t{static_cast<unsigned char>(text[0])};
}

// A 16-bit number with a sign; of a character beyond 16 bits its first half in UTF-16.
Variant wide_code(const Arguments& args) {
  const std::string text = args.text(0);
  if (text.empty()) refuse();
  std::size_t at = 0;
  const char32_t c = text::next_character(text, at);
  const char32_t unit = c == text::kInvalid ? 0xFFFD : (c > 0xFFFF ? 0xD800 + ((c - 0x10000) >> 10) : c);
  return std::int32_t{static_cast<std::int16_t>(static_cast<std::uint16_t>(unit))};
}

constexpr Function kFunctions[] = {
    {"Len", 1, 1, entry<length>},
    {"Mid", 2, 3, entry<mid>},
    {"UCase", 1, 1, entry<changed<capital_letters>>},
    {"LCase", 1, 1, entry<changed<small_letters>>},
    {"Trim", 1, 1, entry<changed<trimmed>>},
    {"LTrim", 1, 1, entry<changed<without_leading>>},
    {"RTrim", 1, 1, entry<changed<without_trailing>>},
    {"Space", 1, 1, entry<space>},
    {"String", 2, 2, entry<repeated>},
    {"StrComp", 2, 3, entry<compared>},
    {"StrReverse", 1, 1, entry<reversed>},
    {"StrConv", 2, 2, entry<case_converted>},
    {"InStr", 2, 4, entry<position>},
    {"InStrRev", 2, 4, entry<last_position>},
    {"Replace", 3, 6, entry<replaced>},
    {"Chr", 1, 1, entry<chr>},
    {"ChrW", 1, 1, entry<wide_chr>},
    {"Asc", 1, 1, entry<code>},
    {"AscW", 1, 1, entry<wide_code>},
};

}  // namespace

std::span<const Function> text_functions() { return kFunctions; }

}  // namespace quarno::desktop
