// Patterns of LIKE: "%" any text, "_" any character, "[a-c]" one of a set, "[!a-c]" or "[^a-c]" none of it;
// the rest, and a "[" that is not closed, stands for itself. Letter case is ignored. The time it takes grows
// with the length of the text times that of the pattern, at worst. Pure.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace quarno::desktop {

class LikePattern {
 public:
  /// `escape` makes the character behind it stand for itself; 0 for none.
  explicit LikePattern(std::string_view pattern, char32_t escape = 0);
  bool matches(std::string_view text) const;

 private:
  struct Range {
    char32_t first;
    char32_t last;
  };
  struct Element {
    enum class Kind : std::uint8_t { character, any_character, any_text, set, outside_set };
    Kind kind;
    char32_t character = 0;  // folded
    std::uint32_t ranges = 0;
    std::uint32_t range_count = 0;
  };

  /// Reads the set that opens at `at` and moves behind it; false when it is not closed.
  bool read_set(std::string_view pattern, std::size_t& at);
  bool fits(const Element& element, char32_t c) const;
  /// The first place from `at` on where the element may fit.
  static std::size_t candidate(const Element& element, std::string_view text, std::size_t at);

  std::vector<Element> elements_;
  std::vector<Range> ranges_;
};

}  // namespace quarno::desktop
