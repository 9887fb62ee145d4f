#include "domain/measured_text.h"

#include "common/number_text.h"
#include "common/text.h"

namespace quarno::domain {

double measured_number(std::string_view text, const LocaleInfo& locale) {
  text = text::trim(text);
  // Zeros at the end would defeat the comparison below; a text without a separator keeps its zeros.
  const auto separator = text.find_first_of(".,");
  while (!text.empty() && text.back() == '0' && separator < text.size()) {
    text = text::trim(text.substr(0, text.size() - 1));
  }
  if (text.empty()) return 0;
  const std::string with_points = text::replace_all(text, ",", ".");
  const auto number = parse_number(with_points, locale);
  if (!number) return 0;
  // Where the locale's decimal sign is ",", "3.5" reads as 35: what does not read back as it was written goes
  // through the other sign.
  if (general_text(*number, locale) == with_points) return *number;
  return parse_number(text::replace_all(text, ".", ","), locale).value_or(0);
}

}  // namespace quarno::domain
