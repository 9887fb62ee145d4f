// A folder of dBASE tables: one .dbf file is one table, named as its file.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "providers/desktop/dbase/table_file.h"
#include "providers/desktop/table_source.h"

namespace quarno::desktop::dbase {

class Folder : public TableSource {
 public:
  struct Settings {
    int code_page = 1252;  // of tables that name none, and of new ones
    bool may_write = true;
  };

  /// `path` as platform/data_files.h takes it; the engine's database may outlive the folder.
  explicit Folder(std::string path) : Folder(std::move(path), Settings{}) {}
  Folder(std::string path, Settings settings);

  std::vector<std::string> names() override;
  bool bring(sqlite3* database, std::string_view name, const GoOn& go_on) override;
  bool is_writable() const override { return site_->may_write; }
  void set_patience_ms(int milliseconds) override { site_->patience_ms = milliseconds; }
  void create(sqlite3* database, const std::string& name, const std::vector<NewColumn>& columns) override;
  void drop(sqlite3* database, const std::string& name) override;

 private:
  struct Opened {
    std::string name;  // without the extension
    std::shared_ptr<TableFile> table;
  };

  std::shared_ptr<TableFile> opened(std::string_view name);

  std::shared_ptr<Site> site_;
  std::vector<Opened> opened_;
};

}  // namespace quarno::desktop::dbase
