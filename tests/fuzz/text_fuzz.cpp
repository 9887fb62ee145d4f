// Numbers, dates, characters and code pages from any bytes.
#include "common/date_text.h"
#include "common/decimal.h"
#include "common/number_text.h"
#include "common/text.h"
#include "fuzz/fuzz.h"

const int kMutations = 20'000;
// clang-format off
const std::vector<std::string> kSeeds = {
    "-1.234,5e-7", "&HFFFF&", "2015-01-05T14:07:33.25", "5/1/24 10:30", "79228162514264337593543950335.5",
    "perché \xE2\x82\xAC \xF0\x9F\x99\x82", "1E+308"};
// clang-format on

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quarno;
  const std::string_view bytes = text_of(data, size);
  LocaleInfo comma;
  comma.decimal = ",";
  comma.group = ".";
  for (const LocaleInfo& locale : {LocaleInfo{}, comma}) {
    if (const auto number = parse_number(bytes, locale)) {
      // A number's text reads back as the same number.
      if (*number == *number && parse_number(general_text(*number, locale), locale) != number)
        __builtin_trap();
    }
    if (const auto date = parse_date(bytes, locale)) civil_from_date(*date);
  }
  expect_refused_or([&] { return leading_number(bytes), true; });
  if (const auto exact = Decimal::parse(bytes); exact && !(Decimal::parse(exact->text()) == exact))
    __builtin_trap();
  // Every byte survives the way through the code page and back.
  if (text::to_windows_1252(text::from_windows_1252(bytes)) != bytes) __builtin_trap();
  if (text::left(bytes, text::length(bytes)) != bytes) __builtin_trap();
  text::upper(bytes);
  return 0;
}
