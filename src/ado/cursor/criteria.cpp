#include "ado/cursor/criteria.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "ado/ado_error.h"
#include "ado/field_conversion.h"
#include "common/convert.h"
#include "common/date_text.h"
#include "common/number_text.h"
#include "common/text.h"

namespace quarno::ado {
namespace {

[[noreturn]] void refuse() { throw model_error(Model::invalid_argument); }

struct Token {
  enum class Kind { word, name, text, date, symbol, end };
  Kind kind = Kind::end;
  std::string text;
};

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) { next(); }

  const Token& token() const { return token_; }
  Token take() {
    Token taken = std::exchange(token_, {});
    next();
    return taken;
  }
  bool is_word(std::string_view word) const {
    return token_.kind == Token::Kind::word && text::equal_fold(token_.text, word);
  }
  bool is_symbol(std::string_view symbol) const {
    return token_.kind == Token::Kind::symbol && token_.text == symbol;
  }
  bool skip_word(std::string_view word) {
    const bool there = is_word(word);
    if (there) next();
    return there;
  }
  bool skip_symbol(std::string_view symbol) {
    const bool there = is_symbol(symbol);
    if (there) next();
    return there;
  }
  bool at_end() const { return token_.kind == Token::Kind::end; }

 private:
  void next() {
    while (at_ < text_.size() &&
           (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\r' || text_[at_] == '\n'))
      ++at_;
    token_ = {};
    if (at_ == text_.size()) return;
    const char c = text_[at_];
    if (c == '\'') return delimited(Token::Kind::text, '\'', true);
    if (c == '#') return delimited(Token::Kind::date, '#', false);
    if (c == '[') return delimited(Token::Kind::name, ']', false);
    const std::string_view rest = text_.substr(at_);
    for (const std::string_view symbol : {"<>", "<=", ">=", "=", "<", ">", "(", ")", ","}) {
      if (!rest.starts_with(symbol)) continue;
      token_ = {Token::Kind::symbol, std::string(symbol)};
      at_ += symbol.size();
      return;
    }
    const auto length = std::min(rest.find_first_of(" \t\r\n'#[]=<>(),"), rest.size());
    if (length == 0) refuse();
    token_ = {Token::Kind::word, std::string(rest.substr(0, length))};
    at_ += length;
  }

  void delimited(Token::Kind kind, char close, bool doubled) {
    token_.kind = kind;
    for (++at_; at_ < text_.size(); ++at_) {
      if (text_[at_] != close) {
        token_.text.push_back(text_[at_]);
      } else if (doubled && at_ + 1 < text_.size() && text_[at_ + 1] == close) {
        token_.text.push_back(close);
        ++at_;
      } else {
        ++at_;
        return;
      }
    }
    refuse();
  }

  std::string_view text_;
  std::size_t at_ = 0;
  Token token_;
};

std::size_t column_of(const Token& token, const FindColumn& find) {
  if (token.kind != Token::Kind::word && token.kind != Token::Kind::name) refuse();
  const std::int32_t index = find(token.text);
  if (index < 0) throw model_error(Model::item_not_found);
  return static_cast<std::size_t>(index);
}

Comparison comparison_of(const Token& token) {
  if (token.kind == Token::Kind::word && text::equal_fold(token.text, "like")) return Comparison::like;
  static constexpr std::pair<std::string_view, Comparison> kSymbols[] = {
      {"=", Comparison::equal},       {"<>", Comparison::not_equal}, {"<", Comparison::less},
      {"<=", Comparison::less_equal}, {">", Comparison::greater},    {">=", Comparison::greater_equal}};
  for (const auto& [symbol, comparison] : kSymbols) {
    if (token.kind == Token::Kind::symbol && token.text == symbol) return comparison;
  }
  refuse();
}

Variant literal_of(const Token& token) {
  switch (token.kind) {
    case Token::Kind::text: return token.text;
    case Token::Kind::date: {
      LocaleInfo month_first;
      month_first.date_order = LocaleInfo::DateOrder::month_day_year;
      if (const auto date = parse_date(token.text, month_first)) return *date;
      return token.text;  // # delimits texts as well
    }
    case Token::Kind::word: {
      if (text::equal_fold(token.text, "null")) return Variant::null();
      if (text::equal_fold(token.text, "true")) return true;
      if (text::equal_fold(token.text, "false")) return false;
      std::string_view number = token.text;
      if (number.starts_with('$')) number.remove_prefix(1);
      const auto plain = invariant_number(number, LocaleInfo{});
      if (plain) {
        if (const auto exact = Decimal::parse(*plain)) return *exact;
      }
      refuse();
    }
    default: refuse();
  }
}

// A pattern is allowed its wildcard at the end, or one at each end.
void check_pattern(const std::string& pattern) {
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '*' && pattern[i] != '%') continue;
    const bool at_end = i + 1 == pattern.size();
    const bool at_start = i == 0 && (pattern.back() == '*' || pattern.back() == '%');
    if (!at_end && !at_start) refuse();
  }
}

bool is_exact(Layout layout) {
  switch (layout) {
    case Layout::byte:
    case Layout::int16:
    case Layout::int32:
    case Layout::int64:
    case Layout::currency:
    case Layout::decimal: return true;
    default: return false;
  }
}

// Whole numbers, currency and decimals without a rounding; nothing for anything else.
std::optional<Decimal> exact_number(const Variant& value) {
  switch (value.type()) {
    case VariantType::byte:
    case VariantType::int16:
    case VariantType::int32:
    case VariantType::int64:
    case VariantType::currency:
    case VariantType::decimal: return to_decimal(value, LocaleInfo{});
    default: return std::nullopt;
  }
}

Clause read_clause(Reader& reader, std::span<const Column> columns, const FindColumn& find) {
  Clause clause;
  clause.column = column_of(reader.take(), find);
  clause.comparison = comparison_of(reader.take());
  const Variant literal = literal_of(reader.take());
  if (clause.comparison == Comparison::like) {
    if (!literal.is_text()) refuse();
    check_pattern(*literal.get_if<std::string>());
    clause.value = literal;
    return clause;
  }
  // A number keeps all its digits: rounded to a whole one it would ask another question.
  if (literal.get_if<Decimal>() != nullptr && is_exact(layout_of(columns[clause.column].type))) {
    clause.value = literal;
    return clause;
  }
  // A text may be longer than the column and still be compared.
  Column column = columns[clause.column];
  column.defined_size = 0;
  try {
    clause.value = coerced(literal, column, LocaleInfo{});
  } catch (const Error&) {
    refuse();
  }
  return clause;
}

bool is_like(const std::string& pattern, const Variant& value) {
  if (value.is_null() || value.get_if<Variant::Bytes>() != nullptr) return false;
  const std::string text = text::upper(to_text(value, LocaleInfo{}));
  std::string wanted = text::upper(pattern);
  const auto wildcard = [](char c) { return c == '*' || c == '%'; };
  const bool open_end = !wanted.empty() && wildcard(wanted.back());
  if (open_end) wanted.pop_back();
  const bool open_start = !wanted.empty() && wildcard(wanted.front());
  if (open_start) wanted.erase(0, 1);
  if (open_start) return text.find(wanted) != std::string::npos;
  return open_end ? text.starts_with(wanted) : text == wanted;
}

template <class T>
int three_way(const T& a, const T& b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

}  // namespace

Clause parse_clause(std::string_view text, std::span<const Column> columns, const FindColumn& find) {
  Reader reader(text);
  Clause clause = read_clause(reader, columns, find);
  if (!reader.at_end()) refuse();
  return clause;
}

Criteria parse_criteria(std::string_view text, std::span<const Column> columns, const FindColumn& find) {
  Reader reader(text);
  // A term is a clause or a parenthesis; a parenthesis may hold a whole list of groups.
  const std::function<Criteria(int)> read_list = [&](int depth) {
    if (depth > 32) refuse();
    Criteria list;
    do {
      std::vector<Clause> group;
      std::size_t terms = 0;
      bool held_or = false;
      do {
        ++terms;
        if (reader.skip_symbol("(")) {
          Criteria inner = read_list(depth + 1);
          if (!reader.skip_symbol(")")) refuse();
          held_or = held_or || inner.groups.size() > 1;
          if (inner.groups.size() > 1 && terms == 1 && !reader.is_word("and")) {
            std::move(inner.groups.begin(), inner.groups.end(), std::back_inserter(list.groups));
          } else {
            std::move(inner.groups.front().begin(), inner.groups.front().end(), std::back_inserter(group));
          }
        } else {
          group.push_back(read_clause(reader, columns, find));
        }
      } while (reader.skip_word("and"));
      if (held_or && terms > 1) refuse();
      if (!group.empty()) list.groups.push_back(std::move(group));
    } while (reader.skip_word("or"));
    return list;
  };
  Criteria criteria = read_list(0);
  if (!reader.at_end()) refuse();
  return criteria;
}

std::vector<SortKey> parse_sort(std::string_view text, const FindColumn& find) {
  std::vector<SortKey> keys;
  Reader reader(text);
  do {
    SortKey key;
    key.column = column_of(reader.take(), find);
    if (!reader.skip_word("asc")) key.descending = reader.skip_word("desc");
    keys.push_back(key);
  } while (reader.skip_symbol(","));
  if (!reader.at_end()) refuse();
  return keys;
}

int compare_values(const Variant& a, const Variant& b) {
  if (a.is_null() || b.is_null()) return three_way(!a.is_null(), !b.is_null());
  const auto* const text_a = a.get_if<std::string>();
  const auto* const text_b = b.get_if<std::string>();
  if (text_a != nullptr && text_b != nullptr) return three_way(text::upper(*text_a), text::upper(*text_b));
  const auto* const bytes_a = a.get_if<Variant::Bytes>();
  const auto* const bytes_b = b.get_if<Variant::Bytes>();
  if (bytes_a != nullptr && bytes_b != nullptr) return three_way(*bytes_a, *bytes_b);
  const auto exact_a = exact_number(a);
  const auto exact_b = exact_a ? exact_number(b) : std::nullopt;
  if (exact_b) return compare(*exact_a, *exact_b);
  // A value of another type than its column's: numbers among themselves, anything else by its text.
  const auto number = [](const Variant& value) -> std::optional<double> {
    if (const auto* date = value.get_if<Date>()) return date->days;
    if (value.is_text() || !is_numeric(value, LocaleInfo{})) return std::nullopt;
    return to_double(value, LocaleInfo{});
  };
  const auto number_a = number(a);
  const auto number_b = number(b);
  if (number_a && number_b) return three_way(*number_a, *number_b);
  return three_way(number_a.has_value(), number_b.has_value()) * -1;  // numbers before texts
}

bool matches(const Clause& clause, const Variant& value) {
  if (clause.comparison == Comparison::like) return is_like(*clause.value.get_if<std::string>(), value);
  if (clause.value.is_null()) {
    if (clause.comparison == Comparison::equal) return value.is_null();
    return clause.comparison == Comparison::not_equal && !value.is_null();
  }
  // Null is neither equal nor unequal to a value.
  if (value.is_null()) return false;
  const int order = compare_values(value, clause.value);
  switch (clause.comparison) {
    case Comparison::equal: return order == 0;
    case Comparison::not_equal: return order != 0;
    case Comparison::less: return order < 0;
    case Comparison::less_equal: return order <= 0;
    case Comparison::greater: return order > 0;
    case Comparison::greater_equal: return order >= 0;
    case Comparison::like: break;
  }
  return false;
}

bool matches(const Criteria& criteria, const std::function<Variant(std::size_t)>& value_of) {
  return std::any_of(criteria.groups.begin(), criteria.groups.end(), [&](const std::vector<Clause>& group) {
    return std::all_of(group.begin(), group.end(),
                       [&](const Clause& clause) { return matches(clause, value_of(clause.column)); });
  });
}

}  // namespace quarno::ado
