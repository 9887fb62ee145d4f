#include "providers/desktop/jet/tokens.h"

#include <algorithm>
#include <array>

#include "providers/desktop/jet/syntax_error.h"

namespace quarno::desktop::jet {
namespace {

enum Class : std::uint8_t { kNone, kBlank, kLetter, kDigit };

constexpr std::array<std::uint8_t, 256> make_classes() {
  std::array<std::uint8_t, 256> classes{};
  for (std::size_t c = 0; c < 256; ++c) {
    if (c == ' ' || (c >= 9 && c <= 13)) classes[c] = kBlank;
    // A byte above ASCII belongs to a letter of some script.
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c >= 0x80) classes[c] = kLetter;
    if (c >= '0' && c <= '9') classes[c] = kDigit;
  }
  return classes;
}
constexpr auto kClasses = make_classes();

std::uint8_t class_of(char c) { return kClasses[static_cast<unsigned char>(c)]; }

// Longer ones first.
constexpr std::string_view kSymbols[] = {"->>", "<>", "<=", ">=", "=<", "=>",
                                         "==",  "!=", "||", "<<", ">>", "->"};

class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  std::vector<Token> all() {
    std::vector<Token> found;
    found.reserve(text_.size() / 4 + 4);
    for (skip_blanks(); at_ < text_.size(); skip_blanks()) {
      after_name_ = !found.empty() && at_ == end_of_last_ && found.back().is_name();
      found.push_back(next());
      end_of_last_ = at_;
    }
    found.push_back({Token::Kind::end, text_.substr(text_.size())});
    return found;
  }

 private:
  char peek(std::size_t ahead = 0) const { return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0'; }

  void skip_blanks() {
    for (;;) {
      while (at_ < text_.size() && class_of(text_[at_]) == kBlank) ++at_;
      if (peek() == '-' && peek(1) == '-') {
        at_ = std::min(text_.find('\n', at_), text_.size());
      } else if (peek() == '/' && peek(1) == '*') {
        const auto end = text_.find("*/", at_ + 2);
        at_ = end == std::string_view::npos ? text_.size() : end + 2;
      } else {
        return;
      }
    }
  }

  Token next() {
    const char c = text_[at_];
    switch (class_of(c)) {
      case kLetter:
        if ((c == 'x' || c == 'X') && peek(1) == '\'') return delimited(Token::Kind::number, '\'', 2, "text");
        return word(Token::Kind::word, 0);
      case kDigit: return number();
      default: break;
    }
    switch (c) {
      case '\'': return delimited(Token::Kind::text, '\'', 1, "text");
      case '"': return delimited(Token::Kind::double_quoted, '"', 1, "text");
      case '`': return delimited(Token::Kind::bracketed, '`', 1, "name");
      case '[': return delimited(Token::Kind::bracketed, ']', 1, "name");
      case '#': return delimited(Token::Kind::date, '#', 1, "date");
      case '.':
        if (!after_name_ && class_of(peek(1)) == kDigit) return number();
        break;
      case '?': return word(Token::Kind::parameter, 1);
      case ':':
      case '$':
        if (class_of(peek(1)) >= kLetter) return word(Token::Kind::parameter, 1);
        break;
      case '@':
        if (peek(1) == '@') return word(Token::Kind::parameter, 2);
        if (class_of(peek(1)) >= kLetter) return word(Token::Kind::parameter, 1);
        break;
      default: break;
    }
    for (const std::string_view symbol : kSymbols) {
      if (symbol[0] == c && text_.substr(at_).starts_with(symbol))
        return take(Token::Kind::symbol, symbol.size());
    }
    return take(Token::Kind::symbol, 1);
  }

  Token take(Token::Kind kind, std::size_t length) {
    const Token token{kind, text_.substr(at_, length)};
    at_ += length;
    return token;
  }

  // Some names of functions end in "$".
  Token word(Token::Kind kind, std::size_t prefix) {
    std::size_t end = at_ + prefix;
    while (end < text_.size() && class_of(text_[end]) >= kLetter) ++end;
    if (kind == Token::Kind::word && end + 1 < text_.size() && text_[end] == '$' && text_[end + 1] == '(')
      ++end;
    return take(kind, end - at_);
  }

  Token number() {
    std::size_t end = at_;
    const auto digits = [&] {
      while (end < text_.size() && class_of(text_[end]) == kDigit) ++end;
    };
    if (peek() == '0' && (peek(1) | 0x20) == 'x') {
      end += 2;
      while (end < text_.size() && std::isxdigit(static_cast<unsigned char>(text_[end])) != 0) ++end;
      return take(Token::Kind::number, end - at_);
    }
    digits();
    if (end < text_.size() && text_[end] == '.') {
      ++end;
      digits();
    }
    if (end < text_.size() && (text_[end] | 0x20) == 'e') {
      const std::size_t sign =
          end + 1 < text_.size() && (text_[end + 1] == '+' || text_[end + 1] == '-') ? 1 : 0;
      if (end + 1 + sign < text_.size() && class_of(text_[end + 1 + sign]) == kDigit) {
        end += 1 + sign;
        digits();
      }
    }
    return take(Token::Kind::number, end - at_);
  }

  // Quotes within their own kind are written twice; brackets and # cannot be.
  Token delimited(Token::Kind kind, char close, std::size_t opening, const char* what) {
    const bool doubles = close != ']' && close != '#';
    std::size_t end = text_.find(close, at_ + opening);
    while (doubles && end != std::string_view::npos && end + 1 < text_.size() && text_[end + 1] == close) {
      end = text_.find(close, end + 2);
    }
    if (end == std::string_view::npos) {
      throw SyntaxError("Syntax error: a " + std::string(what) + " is not closed in '" +
                            std::string(text_.substr(at_, 40)) + "'.",
                        at_);
    }
    return take(kind, end + 1 - at_);
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t end_of_last_ = 0;
  bool after_name_ = false;
};

// Words the engine takes for something else where a name stands.
constexpr std::string_view kReserved[] = {
    "add",        "all",         "alter",   "and",      "as",         "autoincrement", "between",
    "case",       "check",       "collate", "commit",   "constraint", "create",        "cross",
    "default",    "deferrable",  "delete",  "distinct", "drop",       "else",          "escape",
    "except",     "exists",      "foreign", "from",     "full",       "group",         "having",
    "in",         "index",       "inner",   "insert",   "intersect",  "into",          "is",
    "isnull",     "join",        "left",    "limit",    "natural",    "not",           "nothing",
    "notnull",    "null",        "on",      "or",       "order",      "outer",         "primary",
    "references", "returning",   "right",   "select",   "set",        "table",         "then",
    "to",         "transaction", "union",   "unique",   "update",     "using",         "values",
    "when",       "where"};

}  // namespace

bool Token::is_one_of(std::initializer_list<std::string_view> words) const {
  return std::any_of(words.begin(), words.end(), [&](std::string_view word) { return is_word(word); });
}

std::vector<Token> tokens_of(std::string_view statement) { return Scanner(statement).all(); }

std::string_view bare(std::string_view name) {
  if (name.size() < 2 || class_of(name.front()) != kNone) return name;
  return name.substr(1, name.size() - 2);
}

std::string quoted_name(std::string_view bare_name) {
  if (bare_name.find(']') == std::string_view::npos) return "[" + std::string(bare_name) + "]";
  return "\"" + text::replace_all(bare_name, "\"", "\"\"") + "\"";
}

std::string quoted_text(std::string_view value) { return "'" + text::replace_all(value, "'", "''") + "'"; }

std::string text_value(std::string_view literal) {
  const std::string_view quote = literal.substr(0, 1);
  return text::replace_all(literal.substr(1, literal.size() - 2), std::string(quote) + std::string(quote),
                           quote);
}

void append_name(std::string& out, std::string_view name) {
  const bool is_word = !name.empty() && class_of(name.front()) == kLetter;
  const bool reserved =
      is_word && std::any_of(std::begin(kReserved), std::end(kReserved), [&](std::string_view word) {
        return word.size() == name.size() && word[0] == (name[0] | 0x20) && text::equal_fold(word, name);
      });
  if (reserved) return void(out.append("[").append(name).append("]"));
  out.append(name);
}

}  // namespace quarno::desktop::jet
