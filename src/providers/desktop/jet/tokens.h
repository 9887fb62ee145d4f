// The pieces of a statement. Pure text: every piece is a view into what was given.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/text.h"

namespace quarno::desktop::jet {

struct Token {
  enum class Kind : std::uint8_t {
    word,           // also words of the language
    bracketed,      // [a b] or `a b`
    double_quoted,  // a text, or a name where only names can stand
    text,           // 'a'
    date,           // #1/5/2024#
    number,         // also x'00FF'
    parameter,      // ? ?1 :a @a $a, and @@Identity
    symbol,
    end,
  };
  Kind kind = Kind::end;
  std::string_view text;  // with its delimiters; empty at the end of the statement

  bool is(std::string_view symbol) const { return kind == Kind::symbol && text == symbol; }
  bool is_word(std::string_view word) const {
    return kind == Kind::word && text.size() == word.size() && (text[0] | 0x20) == (word[0] | 0x20) &&
           text::equal_fold(text, word);
  }
  bool is_one_of(std::initializer_list<std::string_view> words) const;
  /// A word, or a name in delimiters.
  bool is_name() const {
    return kind == Kind::word || kind == Kind::bracketed || kind == Kind::double_quoted;
  }
};

/// Comments and blanks are left out, the last token is the end. Raises SyntaxError for a piece that is not
/// closed.
std::vector<Token> tokens_of(std::string_view statement);

/// A name without its delimiters.
std::string_view bare(std::string_view name);
/// A name as the engine reads it, whatever letters it has.
std::string quoted_name(std::string_view bare_name);
/// A text as the engine reads it.
std::string quoted_text(std::string_view value);
/// What a text in either kind of quotes says.
std::string text_value(std::string_view literal);
/// A name as it may be handed to the engine: words that are reserved there get brackets.
void append_name(std::string& out, std::string_view name);

}  // namespace quarno::desktop::jet
