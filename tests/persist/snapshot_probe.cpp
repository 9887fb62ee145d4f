// Saves a sample of every type, of changes that are pending and of a hierarchy into the folder that it is
// given.
#include <cstdio>

#include "persist/snapshots.h"

int main(int argc, char** argv) try {
  using namespace quarno::test;
  if (argc != 2) return 2;
  const std::string folder = std::string(argv[1]) + "/";
  const auto rows = sample_rows();
  Saving what = saving(*rows);
  what.table.is_updatable = true;
  what.table.command_timeout = 30;
  persist::save_snapshot(folder + "types.xml", what.table, what.order);

  rows->stage_change(1, 0, std::int32_t{8});
  rows->stage_change(1, 33, quarno::Variant::null());
  const std::vector<quarno::Variant> nulls(rows->columns().size(), quarno::Variant::null());
  rows->stage_new(rows->append(nulls, std::vector<bool>(nulls.size(), true)),
                  std::vector<bool>(nulls.size(), true));
  rows->stage_delete(0);
  what.order = all_rows(*rows);
  persist::save_snapshot(folder + "pending.xml", what.table, what.order);

  Column id{.name = "id", .type = DataType::integer, .defined_size = 4, .base_table = "", .base_column = ""};
  Column lines{.name = "Lines", .type = DataType::chapter, .base_table = "", .base_column = ""};
  using Values = std::vector<std::vector<quarno::Variant>>;
  const auto parents = row_set(
      std::make_unique<MadeRows>(std::vector<Column>{id, lines, id},
                                 Values{{std::int32_t{1}, quarno::Variant::null(), std::int32_t{2}}}));
  const auto children =
      row_set(std::make_unique<MadeRows>(std::vector<Column>{id}, Values{{std::int32_t{1}}}));
  Saving hierarchy = saving(*parents);
  hierarchy.table.reshape_name = "Parents";
  hierarchy.table.chapters.resize(1);
  persist::ChapterToSave& chapter = hierarchy.table.chapters[0];
  chapter.name = "Lines";
  chapter.position = 1;
  chapter.relation = {{0, 0}};
  chapter.table = saving(*children).table;
  chapter.table.reshape_name = "Lines";
  chapter.children_of = [](std::size_t, std::vector<std::size_t>& of_parent) { of_parent = {0}; };
  persist::save_snapshot(folder + "hierarchy.xml", hierarchy.table, all_rows(*parents));
  return 0;
} catch (const quarno::Error& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
