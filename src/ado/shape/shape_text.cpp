#include "ado/shape/shape_text.h"

#include <array>
#include <charconv>
#include <initializer_list>
#include <utility>

#include "ado/shape/shape_error.h"
#include "common/text.h"

namespace quarno::ado::shape {
namespace {

// Of shapes and parentheses in one another: more than any host writes, and far from what the stack holds.
constexpr int kMostLevels = 32;

constexpr std::pair<std::string_view, Function> kFunctions[] = {
    {"SUM", Function::sum},     {"AVG", Function::avg},     {"MIN", Function::min}, {"MAX", Function::max},
    {"COUNT", Function::count}, {"STDEV", Function::stdev}, {"ANY", Function::any},
};

struct NewType {
  std::string_view name;
  DataType type;
};
constexpr NewType kNewTypes[] = {
    {"adSmallInt", DataType::small_int},
    {"adInteger", DataType::integer},
    {"adSingle", DataType::single},
    {"adDouble", DataType::real},
    {"adCurrency", DataType::currency},
    {"adDate", DataType::date},
    {"adBSTR", DataType::bstr},
    {"adBoolean", DataType::boolean},
    {"adDecimal", DataType::decimal},
    {"adTinyInt", DataType::tiny_int},
    {"adUnsignedTinyInt", DataType::unsigned_tiny_int},
    {"adUnsignedSmallInt", DataType::unsigned_small_int},
    {"adUnsignedInt", DataType::unsigned_int},
    {"adBigInt", DataType::big_int},
    {"adUnsignedBigInt", DataType::unsigned_big_int},
    {"adGUID", DataType::guid},
    {"adBinary", DataType::binary},
    {"adChar", DataType::char_},
    {"adWChar", DataType::wchar},
    {"adNumeric", DataType::numeric},
    {"adDBDate", DataType::db_date},
    {"adDBTime", DataType::db_time},
    {"adDBTimeStamp", DataType::db_timestamp},
    {"adVarChar", DataType::var_char},
    {"adLongVarChar", DataType::long_var_char},
    {"adVarWChar", DataType::var_wchar},
    {"adLongVarWChar", DataType::long_var_wchar},
    {"adVarBinary", DataType::var_binary},
    {"adLongVarBinary", DataType::long_var_binary},
};

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool is_name_character(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x80 || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         c == '_' || c == '$' || c == '#' || c == '@';
}

// Position of the "}" that closes what begins at `position`, or npos. A brace in a quoted text or name is
// none, as long as the quotes are in pairs; a quote in a comment is none.
std::size_t closing_brace(std::string_view text, std::size_t position, bool heeds_quotes) {
  char closing = 0;  // what ends the quoted text
  bool in_comment = false;
  const std::size_t last_end = text.rfind("*/");
  for (int depth = 1; position < text.size(); ++position) {
    const char c = text[position];
    const std::string_view two = text.substr(position, 2);
    if (closing != 0) {
      if (c == closing) closing = 0;
    } else if (c == '{') {
      ++depth;
    } else if (c == '}') {
      if (--depth == 0) return position;
    } else if (in_comment) {
      in_comment = c != '\n' && c != '\r';
    } else if (heeds_quotes && (c == '\'' || c == '"' || c == '`' || c == '[')) {
      closing = c == '[' ? ']' : c;
    } else if (heeds_quotes && two == "/*") {
      // One that does not end is none.
      if (last_end != text.npos && last_end >= position + 2) position = text.find("*/", position + 2) + 1;
    } else {
      in_comment = heeds_quotes && two == "--";
    }
  }
  return std::string_view::npos;
}

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) { advance(); }

  Shape parse() {
    Shape result = shape();
    if (kind_ == Kind::symbol && token_ == ";") advance();
    if (kind_ != Kind::end) fail("the end");
    return result;
  }

 private:
  enum class Kind : std::uint8_t { end, name, quoted, braced, symbol };

  [[noreturn]] void fail(const std::string& expected) const {
    const std::string place = std::to_string(text::length(text_.substr(0, begin_)) + 1);
    const std::string_view near = text::left(text_.substr(begin_), 20);
    throw command_error("Syntax error in the SHAPE command at character " + place +
                        (near.empty() ? std::string(" (its end)") : ", near \"" + std::string(near) + "\"") +
                        ": expected " + expected + ".");
  }

  void advance() {
    while (next_ < text_.size() && is_blank(text_[next_])) ++next_;
    begin_ = next_;
    token_.clear();
    if (next_ == text_.size()) {
      kind_ = Kind::end;
      return;
    }
    const char c = text_[next_];
    if (c == '{') return take_braced();
    if (c == '"' || c == '\'' || c == '[') return take_quoted(c == '[' ? ']' : c);
    if (!is_name_character(c)) {
      kind_ = Kind::symbol;
      token_ = c;
      ++next_;
      return;
    }
    kind_ = Kind::name;
    while (next_ < text_.size() && is_name_character(text_[next_])) token_ += text_[next_++];
  }

  void take_braced() {
    kind_ = Kind::braced;
    const std::size_t inside = next_ + 1;
    std::size_t end = closing_brace(text_, inside, true);
    if (end == std::string_view::npos) end = closing_brace(text_, inside, false);
    if (end == std::string_view::npos) fail("a \"}\" for this \"{\"");
    token_ = text_.substr(inside, end - inside);
    next_ = end + 1;
  }

  void take_quoted(char closing) {
    kind_ = Kind::quoted;
    for (++next_; next_ < text_.size(); ++next_) {
      if (text_[next_] != closing) {
        token_ += text_[next_];
      } else if (next_ + 1 < text_.size() && text_[next_ + 1] == closing) {
        token_ += text_[next_++];
      } else {
        ++next_;
        return;
      }
    }
    fail("the end of this quoted name");
  }

  bool is_symbol(std::string_view symbol) const { return kind_ == Kind::symbol && token_ == symbol; }
  bool is_word(std::string_view word) const { return kind_ == Kind::name && text::equal_fold(token_, word); }
  bool is_name() const { return kind_ == Kind::name || kind_ == Kind::quoted; }

  bool skip(std::string_view symbol) {
    if (!is_symbol(symbol)) return false;
    advance();
    return true;
  }
  bool skip_word(std::string_view word) {
    if (!is_word(word)) return false;
    advance();
    return true;
  }
  void expect(std::string_view symbol) {
    if (!skip(symbol)) fail("\"" + std::string(symbol) + "\"");
  }
  void expect_word(std::string_view word) {
    if (!skip_word(word)) fail(std::string(word));
  }
  std::string taken() {
    std::string result = std::move(token_);
    advance();
    return result;
  }
  std::string name(const std::string& what) {
    if (!is_name() || token_.empty()) fail(what);
    return taken();
  }

  // "AS name", or a name that cannot be anything else here.
  std::string alias(std::initializer_list<std::string_view> keywords) {
    if (skip_word("AS")) return name("a name after AS");
    if (!is_name()) return {};
    for (const std::string_view keyword : keywords) {
      if (is_word(keyword)) return {};
    }
    return name("a name");
  }

  Shape shape() {
    if (++level_ > kMostLevels) fail("fewer levels");
    expect_word("SHAPE");
    Shape result;
    // Only a parent of fresh columns has no source.
    if (!is_word("APPEND")) result.parent = source({"APPEND", "COMPUTE"});
    result.computes = result.parent.kind != Source::Kind::none && is_word("COMPUTE");
    if (!skip_word("COMPUTE") && !skip_word("APPEND")) fail("APPEND or COMPUTE");
    const bool has_items = !(result.computes && is_word("BY"));
    do {
      if (has_items) result.items.push_back(result.computes ? computed_item() : appended_item());
    } while (has_items && skip(","));
    if (result.computes && skip_word("BY")) {
      do {
        std::vector<std::string> path = this->path();
        result.by.push_back(std::move(path.back()));
      } while (skip(","));
    }
    --level_;
    return result;
  }

  Source source(std::initializer_list<std::string_view> keywords) {
    Source result;
    if (kind_ == Kind::braced) {
      result.kind = Source::Kind::statement;
      result.text = taken();
    } else if (is_symbol("(")) {
      if (++level_ > kMostLevels) fail("fewer levels");
      advance();
      result = is_word("SHAPE") ? shaped_source() : source({});
      expect(")");
      --level_;
    } else if (is_word("SHAPE")) {
      result = shaped_source();
    } else if (skip_word("TABLE")) {
      result.kind = Source::Kind::table;
      result.text = name("the name of a table");
    } else {
      result.kind = Source::Kind::reused;
      result.text = name("{ a statement }, TABLE, (SHAPE ...) or a name given before");
    }
    if (std::string given = alias(keywords); !given.empty()) result.alias = std::move(given);
    return result;
  }

  Source shaped_source() {
    Source result;
    result.kind = Source::Kind::shape;
    result.shape = std::make_unique<Shape>(shape());
    return result;
  }

  Item appended_item() {
    Item item;
    if (skip("(")) {
      item.child = source({"RELATE"});
      expect_word("RELATE");
      do {
        item.relations.push_back(relation());
      } while (skip(","));
      expect(")");
    } else if (!calculated_item(item)) {
      fail("a child in parentheses, an aggregate or NEW");
    }
    item.name = alias({"BY", "RELATE"});
    return item;
  }

  Item computed_item() {
    Item item;
    if (!calculated_item(item)) {
      item.path = {name("the child's name, an aggregate or NEW")};
      if (is_symbol("(")) fail("SUM, AVG, MIN, MAX, COUNT, STDEV or ANY before this");
    }
    item.name = alias({"BY", "RELATE"});
    return item;
  }

  // An aggregate or a fresh column.
  bool calculated_item(Item& item) {
    if (kind_ != Kind::name) return false;
    if (is_word("CALC")) {
      throw command_error(
          "CALC columns are not served: put the expression into the data source's statement.");
    }
    if (skip_word("NEW")) {
      item.kind = Item::Kind::fresh;
      fresh_type(item);
      return true;
    }
    for (const auto& [word, function] : kFunctions) {
      if (!is_word(word)) continue;
      advance();
      expect("(");
      item.kind = Item::Kind::aggregate;
      item.function = function;
      item.path = path();
      if (item.path.size() < 2 && function != Function::count) fail("chapter.column");
      expect(")");
      return true;
    }
    return false;
  }

  std::vector<std::string> path() {
    std::vector<std::string> result;
    do {
      result.push_back(name("a name"));
    } while (skip("."));
    return result;
  }

  void fresh_type(Item& item) {
    const NewType* found = nullptr;
    for (const NewType& each : kNewTypes) {
      if (is_word(each.name)) found = &each;
    }
    if (found == nullptr) fail("a type such as adInteger or adVarChar");
    item.type = found->type;
    advance();
    if (!skip("(")) return;
    item.size = number(INT32_MAX);
    if (skip(",")) item.scale = static_cast<std::uint8_t>(number(28));
    expect(")");
  }

  Relation relation() {
    Relation result;
    result.parent = name("a column of the parent");
    expect_word("TO");
    if (skip_word("PARAMETER")) {
      result.parameter = static_cast<std::int32_t>(number(999));
    } else {
      result.child = name("a column of the child");
    }
    return result;
  }

  std::uint32_t number(std::uint32_t most) {
    std::uint32_t value = 0;
    const char* const end = token_.data() + token_.size();
    const auto [stop, error] = std::from_chars(token_.data(), end, value);
    if (kind_ != Kind::name || error != std::errc() || stop != end || value > most) {
      fail("a number up to " + std::to_string(most));
    }
    advance();
    return value;
  }

  std::string_view text_;
  std::size_t begin_ = 0;  // of the token
  std::size_t next_ = 0;   // behind it
  Kind kind_ = Kind::end;
  std::string token_;
  int level_ = 0;
};

}  // namespace

bool is_shape(std::string_view statement) {
  std::size_t begin = 0;
  while (begin < statement.size() && is_blank(statement[begin])) ++begin;
  const std::string_view rest = statement.substr(begin);
  constexpr std::string_view kWord = "SHAPE";
  return text::equal_fold(rest.substr(0, kWord.size()), kWord) &&
         (rest.size() == kWord.size() || !is_name_character(rest[kWord.size()]));
}

Shape parse_shape(std::string_view text) { return Parser(text).parse(); }

std::string_view name_of(Function function) {
  for (const auto& [word, each] : kFunctions) {
    if (each == function) return word;
  }
  return {};
}

}  // namespace quarno::ado::shape
