#include "providers/desktop/functions/like.h"

#include <algorithm>
#include <memory>

#include "common/text.h"
#include "providers/desktop/functions/call.h"
#include "providers/desktop/functions/folding.h"

namespace quarno::desktop {

LikePattern::LikePattern(std::string_view pattern, char32_t escape) {
  using Kind = Element::Kind;
  for (std::size_t at = 0; at < pattern.size();) {
    if (pattern[at] == '[' && escape != '[' && read_set(pattern, at)) continue;
    char32_t c = next_distinct(pattern, at);
    if (escape != 0 && c == escape) {
      // An escape at the very end has nothing to escape: such a pattern fits no text.
      if (at == pattern.size()) {
        elements_.push_back({Kind::set});
        return;
      }
      c = next_distinct(pattern, at);
    } else if (c == '%') {
      if (elements_.empty() || elements_.back().kind != Kind::any_text) elements_.push_back({Kind::any_text});
      continue;
    } else if (c == '_') {
      elements_.push_back({Kind::any_character});
      continue;
    }
    elements_.push_back({Kind::character, folded(c)});
  }
}

bool LikePattern::read_set(std::string_view pattern, std::size_t& at) {
  const std::size_t close = pattern.find(']', at + 1);
  if (close == std::string_view::npos) return false;
  std::string_view inside = pattern.substr(at + 1, close - at - 1);
  at = close + 1;
  if (inside.empty()) return true;
  Element element{Element::Kind::set, 0, static_cast<std::uint32_t>(ranges_.size()), 0};
  // Alone, the sign stands for itself.
  if (inside.size() > 1 && (inside.front() == '!' || inside.front() == '^')) {
    element.kind = Element::Kind::outside_set;
    inside.remove_prefix(1);
  }
  for (std::size_t i = 0; i < inside.size(); ++element.range_count) {
    const char32_t first = folded(next_distinct(inside, i));
    char32_t last = first;
    // At the set's end a "-" stands for itself.
    if (i + 1 < inside.size() && inside[i] == '-') last = folded(next_distinct(inside, ++i));
    ranges_.push_back({first, last});
  }
  elements_.push_back(element);
  return true;
}

bool LikePattern::fits(const Element& element, char32_t c) const {
  using Kind = Element::Kind;
  if (element.kind == Kind::any_character) return true;
  if (element.kind == Kind::character) return element.character == c || element.character == folded(c);
  const auto begin = ranges_.begin() + element.ranges;
  const char32_t sought = folded(c);
  const bool inside = std::any_of(begin, begin + element.range_count, [sought](const Range& range) {
    return sought >= range.first && sought <= range.last;
  });
  return inside == (element.kind == Kind::set);
}

std::size_t LikePattern::candidate(const Element& element, std::string_view text, std::size_t at) {
  if (element.kind != Element::Kind::character) return at;
  const char32_t c = element.character;
  const bool ascii = c < 0x80;
  const char small = static_cast<char>(c);
  const char capital = static_cast<char>(capital_letter(c));
  // These two have forms outside ASCII.
  const bool skips_others = ascii && c != 's' && c != 'k';
  for (; at < text.size(); ++at) {
    const char byte = text[at];
    const bool is_ascii = static_cast<unsigned char>(byte) < 0x80;
    if (is_ascii ? ascii && (byte == small || byte == capital) : !skips_others) break;
  }
  return at;
}

// Takes each "%" as short as it can be. When what follows does not fit, only the last "%" has to grow: all
// before it ended as early as possible.
bool LikePattern::matches(std::string_view text) const {
  const std::size_t count = elements_.size();
  std::size_t element = 0;
  std::size_t at = 0;
  std::size_t behind_any = 0;  // the element behind the last "%"; 0 when there was none
  std::size_t retry_at = 0;
  while (at < text.size()) {
    if (element < count && elements_[element].kind == Element::Kind::any_text) {
      if (++element == count) return true;
      behind_any = element;
      at = retry_at = candidate(elements_[element], text, at);
      continue;
    }
    if (element < count) {
      std::size_t next = at;
      if (fits(elements_[element], next_distinct(text, next))) {
        at = next;
        ++element;
        continue;
      }
    }
    if (behind_any == 0) return false;
    next_distinct(text, retry_at);
    element = behind_any;
    at = retry_at = candidate(elements_[element], text, retry_at);
  }
  while (element < count && elements_[element].kind == Element::Kind::any_text) ++element;
  return element == count;
}

namespace {

// A longer pattern times a long text would hold the statement up beyond its time limit.
constexpr int kLongestPattern = 50'000;

LikePattern compiled(const Arguments& args) {
  const std::string pattern = args.text(0);
  if (pattern.size() > kLongestPattern) refuse();
  char32_t escape = 0;
  if (args.count() > 2) {
    const std::string sign = args.text(2);
    if (text::length(sign) != 1) refuse();
    std::size_t at = 0;
    escape = next_distinct(sign, at);
  }
  return LikePattern(pattern, escape);
}

// like(pattern, text [, escape]): the engine turns the operator's operands round.
void like(sqlite3_context* context, int count, sqlite3_value** values) noexcept {
  try {
    const Arguments args(count, values);
    if (args.any_null()) return sqlite3_result_null(context);
    const auto matched = [&](const LikePattern& pattern) {
      const bool is_text = args.is_text(1);
      sqlite3_result_int(context, pattern.matches(is_text ? text_view(args.raw(1)) : args.text(1)) ? 1 : 0);
    };
    // The engine keeps what was made of a constant pattern as long as the statement runs; it cannot tell that
    // the escape is constant as well.
    if (count > 2) return matched(compiled(args));
    if (const auto* kept = static_cast<const LikePattern*>(sqlite3_get_auxdata(context, 0)))
      return matched(*kept);
    auto pattern = std::make_unique<LikePattern>(compiled(args));
    matched(*pattern);
    sqlite3_set_auxdata(context, 0, pattern.release(),
                        [](void* kept) { delete static_cast<LikePattern*>(kept); });
  } catch (...) {
    give_error(context);
  }
}

}  // namespace

void register_like(sqlite3* database) {
  constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
  for (int count = 2; count <= 3; ++count) {
    expect_ok(sqlite3_create_function_v2(database, "like", count, kFlags, nullptr, like, nullptr, nullptr,
                                         nullptr));
  }
}

}  // namespace quarno::desktop
