#include "providers/desktop/jet/date_literal.h"

#include <charconv>
#include <utility>
#include <vector>

#include "common/text.h"

namespace quarno::desktop::jet {
namespace {

constexpr std::string_view kMonths[] = {"january",   "february", "march",    "april",
                                        "may",       "june",     "july",     "august",
                                        "september", "october",  "november", "december"};
constexpr int kTwoDigitTurn = 30;

struct Part {
  int value = 0;
  std::size_t digits = 0;  // 0: the name of a month
};

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  std::optional<Date> read() {
    while (at_ < text_.size()) {
      const char c = text_[at_];
      if (c == ' ' || c == '/' || c == '-' || c == ',' || c == '.' || c == '\t') {
        ++at_;
      } else if (c >= '0' && c <= '9') {
        if (!number()) return std::nullopt;
      } else if (!word()) {
        return std::nullopt;
      }
    }
    if (day_.empty() && !has_time_) return std::nullopt;
    if (!set_day() || !set_half()) return std::nullopt;
    return date_from_civil(civil_);
  }

 private:
  std::optional<Part> digits() {
    Part part;
    const auto result = std::from_chars(text_.data() + at_, text_.data() + text_.size(), part.value);
    if (result.ec != std::errc() || part.value < 0) return std::nullopt;
    part.digits = static_cast<std::size_t>(result.ptr - text_.data()) - at_;
    at_ += part.digits;
    return part;
  }

  bool number() {
    const auto part = digits();
    if (!part) return false;
    // "2 PM" has no colon.
    const std::size_t after = text_.find_first_not_of(' ', at_);
    const bool before_half =
        after != std::string_view::npos && day_.size() % 3 == 0 &&
        (text::equal_fold(text_.substr(after, 2), "am") || text::equal_fold(text_.substr(after, 2), "pm"));
    if (at_ < text_.size() && text_[at_] == ':') return time(part->value);
    if (before_half) return time(part->value);
    if (has_time_ || day_.size() == 3) return false;
    day_.push_back(*part);
    return true;
  }

  bool time(int hour) {
    if (has_time_) return false;
    has_time_ = true;
    civil_.hour = hour;
    for (int* const field : {&civil_.minute, &civil_.second}) {
      if (at_ >= text_.size() || text_[at_] != ':') return true;
      ++at_;
      const auto part = digits();
      if (!part) return false;
      *field = part->value;
    }
    return true;
  }

  bool word() {
    std::size_t end = at_;
    while (end < text_.size() && ((text_[end] | 0x20) >= 'a' && (text_[end] | 0x20) <= 'z')) ++end;
    const std::string word = text::lower_ascii(text_.substr(at_, end - at_));
    at_ = end;
    if (word == "t") return !has_time_;  // joins date and time in the ISO form
    if (word == "am" || word == "pm") {
      if (!has_time_ || half_ != 0) return false;
      half_ = word[0];
      return true;
    }
    if (word.size() < 3 || day_.size() == 3 || has_time_) return false;
    for (int month = 0; month < 12; ++month) {
      if (!kMonths[month].starts_with(word)) continue;
      day_.push_back({month + 1, 0});
      return true;
    }
    return false;
  }

  bool set_day() {
    if (day_.empty()) return true;
    if (day_.size() != 3) return false;
    Part year;
    Part month;
    Part day;
    if (day_[0].digits >= 3) {
      year = day_[0], month = day_[1], day = day_[2];
    } else if (day_[1].digits == 0) {
      day = day_[0], month = day_[1], year = day_[2];
    } else {
      month = day_[0], day = day_[1], year = day_[2];
      if (month.value > 12 && month.digits > 0) std::swap(month, day);
    }
    if (year.digits == 0 || day.digits == 0) return false;
    civil_.year = year.value;
    if (year.digits <= 2) civil_.year += year.value < kTwoDigitTurn ? 2000 : 1900;
    civil_.month = month.value;
    civil_.day = day.value;
    return true;
  }

  bool set_half() {
    if (half_ == 0) return true;
    if (civil_.hour < 1 || civil_.hour > 12) return false;
    civil_.hour = civil_.hour % 12 + (half_ == 'p' ? 12 : 0);
    return true;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::vector<Part> day_;
  CivilTime civil_;
  bool has_time_ = false;
  char half_ = 0;
};

}  // namespace

std::optional<Date> date_literal(std::string_view inner) { return Reader(inner).read(); }

}  // namespace quarno::desktop::jet
