#include "providers/desktop/dbase/commit.h"

#include <algorithm>
#include <vector>

#include "common/text.h"
#include "providers/desktop/dbase/table_file.h"

namespace quarno::desktop::dbase {
namespace {

constexpr int kMostMasters = 1000;

std::vector<TableFile*> changed_tables(const Site& site) {
  std::vector<TableFile*> tables;
  for (TableFile* table : site.writing) {
    if (!table->changes().empty()) tables.push_back(table);
  }
  return tables;
}

// Its text lists the tables, so that it can be removed when their journals are gone. One of the same name may
// still be there for a journal that nobody has come across since.
std::string make_master(const Site& site, const std::vector<TableFile*>& tables) {
  std::string text;
  for (const TableFile* table : tables) text += table->name() + "\n";
  for (int i = 1;; ++i) {
    const std::string name = tables.front()->name() + "-commit" + std::to_string(i);
    try {
      const auto file = platform::data_files().create(site.folder + "/" + name);
      try {
        file->write_at(0, text);
        file->sync();
      } catch (const Error&) {
        quietly([&] { platform::data_files().remove(site.folder + "/" + name); });
        throw;
      }
      return name;
    } catch (const Error& error) {
      const bool taken = error.number == static_cast<std::int32_t>(RunTime::file_already_exists);
      if (!taken || i == kMostMasters) throw;
    }
  }
}

}  // namespace

void remove_master(const Site& site, const std::string& name) {
  const std::string path = site.folder + "/" + name;
  const auto tables = file_text(path);
  if (!tables) return;
  for (const std::string_view table : text::split(*tables, "\n")) {
    if (!table.empty() && file_text(site.folder + "/" + std::string(table) + "-journal")) return;
  }
  platform::data_files().remove(path);
}

void commit(Site& site) {
  const std::vector<TableFile*> tables = changed_tables(site);
  if (tables.empty()) return;
  std::string master;
  try {
    for (TableFile* table : tables) table->lock_for_commit();
    if (tables.size() > 1) master = make_master(site, tables);
    for (TableFile* table : tables) table->write_journal(master);
    platform::data_files().sync_folder(site.folder);
    for (TableFile* table : tables) table->write_changes();
    if (master.empty()) {
      tables.front()->remove_journal();
    } else {
      platform::data_files().remove(site.folder + "/" + master);
    }
    platform::data_files().sync_folder(site.folder);
  } catch (...) {
    for (TableFile* table : tables) {
      quietly([&] { table->put_back(); });
      table->end_commit(false);
    }
    if (!master.empty()) quietly([&] { remove_master(site, master); });
    throw;
  }
  for (TableFile* table : tables) {
    // Out of date already: one that stays is no harm.
    if (!master.empty()) quietly([&] { table->remove_journal(); });
    table->end_commit(true);
  }
}

}  // namespace quarno::desktop::dbase
