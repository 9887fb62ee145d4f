// Criteria and sort texts of Find, Filter and Sort.
#include "ado/cursor/criteria.h"
#include "fuzz/fuzz.h"

const int kMutations = 20'000;
const std::vector<std::string> kSeeds = {"(N = 1 AND S like 'a*') OR ([x y] >= #1/5/2015 10:30#)",
                                         "S = 'it''s' and N <> null or N < -1.5e3", "S DESC, [x y], N asc"};

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quarno;
  using namespace quarno::ado;
  const std::string_view text = text_of(data, size);
  std::vector<Column> columns(3);
  columns[0].type = DataType::integer;
  columns[1].type = DataType::var_wchar;
  columns[2].type = DataType::date;
  const FindColumn find = [](std::string_view name) {
    return name == "N" ? 0 : name == "S" ? 1 : name == "x y" ? 2 : -1;
  };
  const Variant row[] = {std::int32_t{5}, "Muster", Date{42009.5}};
  expect_refused_or([&] {
    matches(parse_criteria(text, columns, find), [&](std::size_t column) { return row[column]; });
    return true;
  });
  return expect_refused_or([&] { return !parse_sort(text, find).empty(); });
}
