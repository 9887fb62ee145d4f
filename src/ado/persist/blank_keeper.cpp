#include "ado/persist/blank_keeper.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace quarno::ado::persist {
namespace {

constexpr std::array<bool, 256> kStops = [] {
  std::array<bool, 256> stops{};
  for (const char c : {'\t', '\n', '\r', '\'', '"'}) stops[static_cast<unsigned char>(c)] = true;
  return stops;
}();

}  // namespace

void BlankKeeper::add(std::string_view bytes) {
  const char* at = bytes.data();
  const char* const end = at + bytes.size();
  while (at < end) {
    switch (place_) {
      case Place::content: {
        const void* const found = std::memchr(at, '<', static_cast<std::size_t>(end - at));
        const char* const tag = found == nullptr ? end : static_cast<const char*>(found);
        kept_.append(at, tag);
        at = tag;
        if (tag == end) break;
        tag_at_ = kept_.size();
        kept_ += *at++;
        place_ = Place::opening;
        break;
      }
      case Place::opening:
        place_ = *at == '!' ? Place::declaration : *at == '?' ? Place::instruction : Place::tag;
        run_ = 0;
        if (place_ != Place::tag) kept_ += *at++;
        break;
      case Place::tag: at = in_tag(at, end); break;
      case Place::value: at = in_value(at, end); break;
      default: at = in_other(at, end); break;
    }
  }
}

const char* BlankKeeper::in_tag(const char* at, const char* end) {
  const char* const begin = at;
  while (at < end && *at != '\'' && *at != '"' && *at != '>') ++at;
  if (at == end) return kept_.append(begin, end), end;
  place_ = *at == '>' ? Place::content : Place::value;
  quote_ = *at;
  return kept_.append(begin, ++at), at;
}

const char* BlankKeeper::in_value(const char* at, const char* end) {
  const char* const begin = at;
  while (at < end && !kStops[static_cast<unsigned char>(*at)]) ++at;
  kept_.append(begin, at);
  if (at == end) return end;
  switch (*at) {
    case '\t': kept_ += "&#9;"; break;
    case '\r': kept_ += "&#13;"; break;
    case '\n':
      kept_ += "&#10;";
      ++lost_lines_;
      break;
    default:
      kept_ += *at;
      if (*at != quote_) break;
      place_ = Place::tag;
      // The parser goes on counting the lines rightly, for what it says of errors.
      kept_.append(lost_lines_, '\n');
      lost_lines_ = 0;
  }
  return at + 1;
}

// Whether "<!" begins a comment or a section shows in the next signs; anything else the parser refuses.
const char* BlankKeeper::in_other(const char* at, const char* end) {
  for (; at < end && place_ != Place::content; ++at) {
    const char c = *at;
    kept_ += c;
    switch (place_) {
      case Place::declaration:
        if (c == '-' && ++run_ < 2) break;
        place_ = c == '-' ? Place::comment : c == '[' ? Place::section : Place::content;
        run_ = 0;
        break;
      case Place::comment:
      case Place::section: {
        const char sign = place_ == Place::comment ? '-' : ']';
        if (c == '>' && run_ >= 2) place_ = Place::content;
        run_ = c == sign ? run_ + 1 : 0;
        break;
      }
      default:
        if (c == '>' && run_ > 0) place_ = Place::content;
        run_ = c == '?' ? 1 : 0;
    }
  }
  return at;
}

}  // namespace quarno::ado::persist
