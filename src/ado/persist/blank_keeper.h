// Tabs and ends of lines within the values of attributes, kept from the XML parser: by its rules it would
// hand them out as spaces, while the writers of snapshots put them there as they are. They become character
// references; all else passes through unchanged, and tags are handed on whole.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarno::ado::persist {

class BlankKeeper {
 public:
  /// Appends the next bytes of the text to what is kept.
  void add(std::string_view bytes);
  /// The part that ends outside of a tag; all there is once the text is at its end.
  std::string_view ready(bool at_end) const {
    return std::string_view(kept_).substr(0, at_end || place_ == Place::content ? kept_.size() : tag_at_);
  }
  /// Lets go of what was ready.
  void drop(std::size_t count) {
    kept_.erase(0, count);
    tag_at_ -= count < tag_at_ ? count : tag_at_;
  }
  std::size_t waiting() const { return kept_.size(); }

 private:
  enum class Place { content, opening, tag, value, declaration, comment, section, instruction };

  const char* in_tag(const char* at, const char* end);
  const char* in_value(const char* at, const char* end);
  const char* in_other(const char* at, const char* end);

  std::string kept_;
  std::size_t tag_at_ = 0;  // where the tag that is open begins
  Place place_ = Place::content;
  char quote_ = '\'';
  std::size_t run_ = 0;         // signs in a row that may end a comment, a section or an instruction
  std::size_t lost_lines_ = 0;  // ends of lines in a value that became references
};

}  // namespace quarno::ado::persist
