// Patterns of Format and LIKE, and texts read as dates: the first line is the pattern, the rest the value.
#include "common/convert.h"
#include "fuzz/fuzz.h"
#include "providers/desktop/functions/collation.h"
#include "providers/desktop/functions/format.h"
#include "providers/desktop/functions/like.h"
#include "providers/desktop/functions/reading.h"

const int kMutations = 20'000;
const std::vector<std::string> kSeeds = {
    "#,##0.00;(0.0E+00);\"zero\";\\n\n-1234.5678", "dddd dd/mm/yyyy hh:nn:ss AM/PM ww q\n42009.58",
    "!@@@-&&<>;none\nText", "%[a-cé-ö]_[!x]%\nEin Text", "ttttt ddddd c y\n5-Jan-2015 6:07:33 pm"};

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quarno;
  using namespace quarno::desktop;
  const std::string_view input = text_of(data, size);
  const std::string_view pattern = input.substr(0, input.find('\n'));
  const std::string_view value = input.substr(std::min(input.size(), pattern.size() + 1));
  const LocaleInfo locale;
  // A text is like itself wherever it holds no sign, and equal to itself in any case.
  if (value.find_first_of("%_[") == std::string_view::npos && !LikePattern(value).matches(value))
    __builtin_trap();
  if (LikePattern(pattern).matches(value) && !LikePattern(std::string(pattern) + "%").matches(value))
    __builtin_trap();
  if (compare_texts(pattern, value) != 0 &&
      compare_texts(pattern, value) * compare_texts(value, pattern) >= 0)
    __builtin_trap();
  expect_refused_or([&] {
    formatted(value, pattern, {}, locale);
    // What is no double's text is formatted as one all the same.
    const double number =
        is_numeric(value, locale) ? to_double(value, locale) : static_cast<double>(size) * -1.5;
    return formatted(number, pattern, {2, 2}, locale).size() < 100'000;
  });
  return expect_refused_or([&] {
    const auto date = date_of_text(value, locale);
    return !date || (date->days >= kFirstDay && date->days < kLastDay);
  });
}
