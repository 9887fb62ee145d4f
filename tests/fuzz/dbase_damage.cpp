// What damage_files needs for dBASE tables: those of a folder, with their memos.
#include <filesystem>

#include "desktop/dbase/read_everything.h"
#include "fuzz/damage.h"
#include "support/temp_folder.h"

namespace quarno::test {
namespace {

// Table and memo as one text, so that both are damaged: how long the table is, then both.
std::string joined(const std::string& table, const std::string& memo) {
  std::string size(8, '0');
  std::snprintf(size.data(), size.size() + 1, "%08zx", table.size());
  return size + table + memo;
}

bool read_table(const std::string& file) {
  const std::string_view both = std::string_view(file).substr(std::min<std::size_t>(8, file.size()));
  const std::size_t size =
      std::min<std::size_t>(std::strtoul(file.substr(0, 8).c_str(), nullptr, 16), both.size());
  return !read_everything(both.substr(0, size), both.substr(size)).starts_with("!");
}

}  // namespace

DamagePlan dbase_plan(const std::string& folder) {
  DamagePlan plan;
  std::error_code missing;  // the folder need not be there
  for (const auto& entry : std::filesystem::directory_iterator(folder, missing)) {
    std::filesystem::path path = entry.path();
    if (path.extension() != ".dbf" && path.extension() != ".DBF") continue;
    const std::string table = bytes_of(path);
    path.replace_extension(".dbt");
    plan.files.push_back(joined(table, std::filesystem::exists(path) ? bytes_of(path) : std::string()));
  }
  plan.block_size = [](const std::string&) { return std::size_t{512}; };
  plan.read = read_table;
  return plan;
}

}  // namespace quarno::test
