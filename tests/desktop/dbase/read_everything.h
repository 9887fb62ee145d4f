// Reads all there is in a table of any bytes: by the engine, every cell of every record.
#pragma once

#include <string>
#include <string_view>

#include "desktop/dbase/engine.h"
#include "desktop/dbase/memory_disk.h"

namespace quarno::test {

/// A table, its memo file and a journal beside it; empty ones are not there. Refusing them is an answer.
inline std::string read_everything(std::string_view dbf, std::string_view dbt,
                                   std::string_view journal = {}) {
  MemoryDisk disk;
  const platform::ScopedPort<platform::DataFiles> port(disk);
  disk.put("f/T.dbf", std::string(dbf));
  if (!dbt.empty()) disk.put("f/T.dbt", std::string(dbt));
  if (!journal.empty()) disk.put("f/T.dbf-journal", std::string(journal));
  Engine engine("f");
  return engine.run("SELECT * FROM T");
}

}  // namespace quarno::test
