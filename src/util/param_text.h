// The text of a parameter file: lines of a tag, "=" and a value, in bytes of the code page. Pure. The rules
// are loose on purpose and files depend on them: a line counts when it holds the tag and "=" anywhere, yet
// its value is counted from the line's beginning; and a file that is written never gets shorter.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/code_page.h"

namespace quarno::util {

/// A text that lines are searched for, ignoring letter case. Takes time in proportion to what it reads,
/// whatever the text.
class LineSearch {
 public:
  /// `wanted` in UTF-8, not empty. One with a character that the code page lacks is in no line.
  LineSearch(const std::string& wanted, platform::CodePage& code_page);
  /// Whether a line, in bytes of the code page, holds the text.
  bool is_in(std::string_view line) const;
  /// Characters of the text.
  std::size_t length() const { return wanted_.size(); }

 private:
  char folded(char byte) const { return capitals_[static_cast<unsigned char>(byte)]; }

  std::string capitals_;                // for each byte that of its capital letter
  std::string wanted_;                  // in capital letters
  std::vector<std::size_t> fall_back_;  // for each length of a partial match, the next shorter one
  bool can_be_there_ = true;
};

/// The value of a line: what follows its first `tag_length` characters, the "=" counted, without blanks
/// around it. A view into the line.
std::string_view value_of(std::string_view line, std::size_t tag_length);

/// What a file holds once `setting` (the tag, "=" and the value, in bytes) took the place of its first line
/// that the search finds, or was added behind an empty line. Pieces in their order, views into the arguments;
/// never shorter than before: the last bytes of a longer file stay behind the new content.
std::array<std::string_view, 5> changed_content(std::string_view content, const LineSearch& search,
                                                std::string_view setting);

}  // namespace quarno::util
