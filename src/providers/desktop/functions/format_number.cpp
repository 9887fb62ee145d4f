#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "common/convert.h"
#include "common/error.h"
#include "providers/desktop/functions/format.h"

namespace quarno::desktop {
namespace {

// value = 0.DIGITS * 10^point; no digits for zero.
struct Digits {
  bool negative = false;
  std::string digits;
  int point = 0;
};

Digits digits_of(const Variant& value) {
  std::string written;
  int exponent = 0;
  if (const auto* real = value.get_if<double>()) {
    if (!std::isfinite(*real)) throw run_time_error(RunTime::overflow);
    // Fifteen digits: what a double adds beyond them is its own rounding.
    std::array<char, 40> buffer;
    const auto end =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), *real, std::chars_format::scientific, 14);
    written.assign(buffer.data(), end.ptr);
    const std::size_t e = written.find('e');
    const std::size_t sign = written[e + 1] == '+' ? 2 : 1;
    std::from_chars(written.data() + e + sign, written.data() + written.size(), exponent);
    written.erase(e);
  } else {
    written = to_text(value, LocaleInfo{});
  }
  Digits result;
  result.negative = written.front() == '-';
  if (result.negative) written.erase(0, 1);
  const std::size_t point = std::min(written.find('.'), written.size());
  result.point = static_cast<int>(point) + exponent;
  if (point < written.size()) written.erase(point, 1);
  const std::size_t zeros = written.find_first_not_of('0');
  if (zeros == std::string::npos) return {};
  result.point -= static_cast<int>(zeros);
  result.digits = written.substr(zeros, written.find_last_not_of('0') + 1 - zeros);
  return result;
}

// Keeps `count` digits, which may be none or fewer; a half goes away from zero.
void round_to(Digits& value, int count) {
  if (count >= static_cast<int>(value.digits.size())) return;
  const bool up = count >= 0 && value.digits[static_cast<std::size_t>(count)] >= '5';
  value.digits.resize(static_cast<std::size_t>(std::max(count, 0)));
  if (up) {
    while (!value.digits.empty() && value.digits.back() == '9') value.digits.pop_back();
    if (value.digits.empty()) {
      value.digits = "1";
      ++value.point;
    } else {
      ++value.digits.back();
    }
  }
  while (!value.digits.empty() && value.digits.back() == '0') value.digits.pop_back();
  if (value.digits.empty()) value = {};
}

// A section: literals among the places for digits.
struct Section {
  enum class Kind { literal, place, point, exponent };
  struct Piece {
    Kind kind;
    std::string text;  // of a literal; "E" or "e" of an exponent
    bool zero = false;
  };
  std::vector<Piece> pieces;
  int whole_places = 0;
  int decimal_places = 0;
  bool grouped = false;
  int shift = 0;  // powers of ten the number is multiplied by
  bool has_exponent = false;
  bool exponent_plus = false;
  int exponent_places = 0;
};

bool is_place(char sign) { return sign == '0' || sign == '#'; }

class SectionReader {
 public:
  explicit SectionReader(std::string_view pattern) : tokens_(format_tokens(pattern)) {}

  Section read() {
    while (at_ < tokens_.size()) {
      const FormatToken& token = tokens_[at_];
      if (is_place(token.sign)) {
        place(token.sign == '0');
      } else if (token.sign == '.') {
        point();
      } else if (token.sign == ',') {
        comma();
      } else if ((token.sign == 'E' || token.sign == 'e') && is_exponent()) {
        exponent();
      } else {
        if (token.sign == '%') section_.shift += 2;
        literal(token.literal);
      }
      ++at_;
    }
    return std::move(section_);
  }

 private:
  char sign(std::size_t at) const { return at < tokens_.size() ? tokens_[at].sign : '\0'; }

  void literal(const std::string& text) { section_.pieces.push_back({Section::Kind::literal, text}); }

  void place(bool zero) {
    section_.pieces.push_back({Section::Kind::place, {}, zero});
    ++(after_point_ ? section_.decimal_places : section_.whole_places);
  }

  void point() {
    if (after_point_) return literal(".");
    after_point_ = true;
    section_.pieces.push_back({Section::Kind::point, {}});
  }

  // Between places it asks for groups; behind the last whole one it divides by a thousand.
  void comma() {
    std::size_t next = at_;
    while (sign(next) == ',') ++next;
    if (after_point_ || section_.whole_places == 0) return;
    if (is_place(sign(next))) {
      section_.grouped = true;
    } else {
      section_.shift -= 3;
    }
  }

  bool is_exponent() const {
    const char next = sign(at_ + 1);
    return !section_.has_exponent && section_.whole_places + section_.decimal_places > 0 &&
           (next == '+' || next == '-') && is_place(sign(at_ + 2));
  }

  void exponent() {
    section_.has_exponent = true;
    section_.exponent_plus = sign(at_ + 1) == '+';
    section_.pieces.push_back({Section::Kind::exponent, std::string(1, tokens_[at_].sign)});
    at_ += 2;
    while (is_place(sign(at_))) {
      ++section_.exponent_places;
      ++at_;
    }
    --at_;
  }

  std::vector<FormatToken> tokens_;
  std::size_t at_ = 0;
  bool after_point_ = false;
  Section section_;
};

class NumberWriter {
 public:
  NumberWriter(Section section, Digits value, const LocaleInfo& locale)
      : section_(std::move(section)), value_(std::move(value)), locale_(locale) {
    if (!value_.digits.empty()) value_.point += section_.shift;
    if (section_.has_exponent) {
      round_to(value_, section_.whole_places + section_.decimal_places);
      exponent_ = value_.digits.empty() ? 0 : value_.point - section_.whole_places;
      value_.point -= exponent_;
    } else {
      round_to(value_, value_.point + section_.decimal_places);
    }
  }

  bool is_zero() const { return value_.digits.empty(); }

  std::string write() const {
    std::string result;
    int whole = 0;
    int decimal = 0;
    bool after_point = false;
    for (const Section::Piece& piece : section_.pieces) {
      switch (piece.kind) {
        case Section::Kind::literal: result += piece.text; break;
        case Section::Kind::exponent: result += piece.text + exponent_text(); break;
        case Section::Kind::point:
          // Whole digits that found no place of their own stand before the point.
          if (section_.whole_places == 0) whole_digits(result, value_.point);
          result += locale_.decimal;
          after_point = true;
          break;
        case Section::Kind::place:
          if (after_point) {
            decimal_digit(result, decimal++);
          } else {
            whole_place(result, whole++);
          }
      }
    }
    return result;
  }

 private:
  char digit(int index) const {
    return index >= 0 && index < static_cast<int>(value_.digits.size())
               ? value_.digits[static_cast<std::size_t>(index)]
               : '0';
  }

  // The digit that stands `place` places before the point's left neighbour.
  void put_whole(std::string& out, int place) const {
    out.push_back(digit(value_.point - 1 - place));
    if (section_.grouped && place > 0 && place % 3 == 0) out += locale_.group;
  }

  // The first `count` of them.
  void whole_digits(std::string& out, int count) const {
    for (int place = value_.point - 1; count > 0; --count, --place) put_whole(out, place);
  }

  void whole_place(std::string& out, int index) const {
    const int place = section_.whole_places - 1 - index;
    const bool has_digit = !value_.digits.empty() && place < value_.point;
    if (index == 0 && value_.point > section_.whole_places)
      whole_digits(out, value_.point - section_.whole_places);
    if (has_digit || zero_from(index)) put_whole(out, place);
  }

  // Whether a place at or before this one asks for a zero.
  bool zero_from(int index) const {
    int seen = 0;
    for (const Section::Piece& piece : section_.pieces) {
      if (piece.kind != Section::Kind::place) continue;
      if (seen++ > index) break;
      if (piece.zero) return true;
    }
    return false;
  }

  void decimal_digit(std::string& out, int index) const {
    const int at = value_.point + index;
    bool needed = !value_.digits.empty() && at < static_cast<int>(value_.digits.size());
    int seen = -section_.whole_places;
    for (const Section::Piece& piece : section_.pieces) {
      if (piece.kind == Section::Kind::place && seen++ >= index && piece.zero) needed = true;
    }
    if (needed) out.push_back(value_.digits.empty() ? '0' : digit(at));
  }

  std::string exponent_text() const {
    std::string digits = std::to_string(std::abs(exponent_));
    const auto places = static_cast<std::size_t>(section_.exponent_places);
    if (digits.size() < places) digits.insert(0, places - digits.size(), '0');
    return (exponent_ < 0 ? "-" : (section_.exponent_plus ? "+" : "")) + digits;
  }

  Section section_;
  Digits value_;
  const LocaleInfo& locale_;
  int exponent_ = 0;
};

}  // namespace

std::string format_number(const Variant& value, std::string_view pattern, const LocaleInfo& locale) {
  const auto sections = format_sections(pattern);
  const Digits digits = digits_of(value);
  const auto writer = [&](std::size_t section) {
    return NumberWriter(SectionReader(sections[section]).read(), digits, locale);
  };
  const auto has = [&](std::size_t section) {
    return sections.size() > section && !sections[section].empty();
  };
  if (digits.digits.empty() && has(2)) return writer(2).write();
  if (digits.negative && has(1)) return writer(1).write();
  const NumberWriter first = writer(0);
  // What rounds to nothing has no sign.
  return (digits.negative && !first.is_zero() ? "-" : "") + first.write();
}

}  // namespace quarno::desktop
