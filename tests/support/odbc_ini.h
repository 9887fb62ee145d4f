// The ODBC settings of one test program: a private folder that takes the place of the machine's.
#pragma once

#include <dlfcn.h>

#include <string>

#include "support/temp_folder.h"

namespace quarno::test {

class OdbcIni {
 public:
  /// Made at the first call, which has to come before the first connection.
  static OdbcIni& of_program() {
    static OdbcIni ini;
    return ini;
  }
  /// Adds a data source and gives its name, a new one each time: what was once read of one is kept.
  std::string add_source(const std::string& driver, const std::string& settings) {
    const std::string name = "source" + std::to_string(++count_);
    folder_.put("odbc.ini", sources_.append("[" + name + "]\nDriver=" + driver + "\n" + settings + "\n"));
    return name;
  }
  /// Lets the tests use the drivers of this machine too.
  void add_machine_drivers() { register_drivers(bytes_of("/etc/odbcinst.ini")); }

 private:
  OdbcIni() {
    // The drivers load it again and again, and each time it leaves what it read of the ini files behind.
    ::dlopen("libodbcinst.so.2", RTLD_NOW | RTLD_NODELETE);
    register_drivers("");
  }
  void register_drivers(const std::string& more) {
    folder_.put("odbcinst.ini",
                "[SQLite3]\nDriver=libsqlite3odbc.so\n[MariaDB Unicode]\nDriver=libmaodbc.so\n"
                "[PostgreSQL Unicode]\nDriver=psqlodbcw.so\n[FreeTDS]\nDriver=libtdsodbc.so\n" +
                    more);
  }

  TempFolder folder_;
  ScopedVariable in_place_{"ODBCSYSINI", folder_.path()};
  std::string sources_;
  int count_ = 0;
};

}  // namespace quarno::test
