// The data sources that are measured through ODBC: private servers and a SQLite file, with driver manager
// settings of their own.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/servers.h"

namespace quarno::bench {

struct Engine {
  const char* name;  // of its data source too
  const char* library;
  std::optional<test::Server::Kind> server;
};

class Sources {
 public:
  /// `wanted` names engines; empty means all. Their servers let in when this returns.
  explicit Sources(const std::vector<std::string>& wanted);

  const test::TempFolder& folder() const { return folder_; }
  /// Of the SQLite engine.
  std::string file() const { return folder_ / "m.db"; }
  const std::vector<const Engine*>& engines() const { return engines_; }

 private:
  std::string description(const Engine& engine, int port) const;

  // The driver manager reads its settings at the first call; none of the machine's are to count.
  const test::TempFolder folder_;
  const test::ScopedVariable settings_{"ODBCSYSINI", folder_.path()};
  test::Server mariadb_{test::Server::Kind::mariadb};
  test::Server postgresql_{test::Server::Kind::postgresql};
  std::vector<const Engine*> engines_;
};

}  // namespace quarno::bench
