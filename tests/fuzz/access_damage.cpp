// What damage_files needs for Access files: the small ones of a folder, and one made for what those lack.
#include <filesystem>

#include "desktop/access/made_file.h"
#include "fuzz/access_reading.h"
#include "fuzz/damage.h"
#include "support/temp_folder.h"

namespace quarno::test {

DamagePlan access_plan(const std::string& folder) {
  constexpr std::uintmax_t kSmall = 200'000;
  DamagePlan plan;
  plan.files.push_back(made::file());
  plan.files.push_back(made::file(0x12345678));
  std::error_code missing;  // the folder need not be there
  for (const auto& entry : std::filesystem::directory_iterator(folder, missing)) {
    const bool is_access = entry.path().extension() == ".mdb" || entry.path().extension() == ".accdb";
    if (is_access && entry.file_size() <= kSmall) plan.files.push_back(bytes_of(entry.path()));
  }
  plan.block_size = [](const std::string& file) { return std::size_t{file[0x14] == 0 ? 2048U : 4096U}; };
  plan.read = read_access_file;
  return plan;
}

}  // namespace quarno::test
