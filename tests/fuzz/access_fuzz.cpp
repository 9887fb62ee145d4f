// Access files out of any bytes. An input is a file as it stands, or changes to a whole one: three bytes of a
// place and the byte that goes there. Small inputs then reach deep.
#include "desktop/access/made_file.h"
#include "fuzz/access_reading.h"
#include "fuzz/fuzz.h"

const int kMutations = 10'000;
const std::vector<std::string> kSeeds = {
    std::string(),
    {"\x00\x00\x2E\x03\x00\x20\x2D\x05", 8},
    {"\x00\x40\x0E\x10\x00\x50\x0E\xC0\x00\x50\x10\x00\x00\x30\x0C\x01", 16},
    quarno::test::made::file().substr(0, 3000)};

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string whole = quarno::test::made::file();
  std::string input(text_of(data, size));
  if (!input.starts_with(whole.substr(0, 19))) {
    std::string changed = whole;
    for (std::size_t i = 0; i + 4 <= size; i += 4) {
      const std::size_t place = std::size_t{data[i]} << 16 | std::size_t{data[i + 1]} << 8 | data[i + 2];
      changed[place % changed.size()] = input[i + 3];
    }
    input = std::move(changed);
  }
  quarno::test::read_access_file(std::move(input));
  return 0;
}
