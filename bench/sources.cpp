#include "sources.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "contenders.h"

namespace quarno::bench {
namespace {

const Engine kEngines[] = {{"mariadb", "libmaodbc.so", test::Server::Kind::mariadb},
                           {"postgresql", "psqlodbcw.so", test::Server::Kind::postgresql},
                           {"sqlite", "libsqlite3odbc.so", std::nullopt}};

// A server accepts before it lets anyone in.
void wait_for(const Engine& engine) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!run_odbc(engine.name, {})) {
    require(std::chrono::steady_clock::now() < end, std::string("reaching ") + engine.name);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
}

}  // namespace

Sources::Sources(const std::vector<std::string>& wanted) {
  std::string drivers;
  std::string sources;
  for (const Engine& each : kEngines) {
    if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), each.name) == wanted.end()) continue;
    int port = 0;
    if (each.server) {
      test::Server& server = *each.server == test::Server::Kind::mariadb ? mariadb_ : postgresql_;
      const std::string problem = server.ensure_running();
      require(problem.empty(), each.name + (": " + problem));
      port = server.port();
    }
    drivers += std::string("[") + each.name + "]\nDriver=" + each.library + "\n";
    sources += description(each, port);
    engines_.push_back(&each);
  }
  folder_.put("odbcinst.ini", drivers);
  folder_.put("odbc.ini", sources);
  for (const Engine* each : engines_) {
    wait_for(*each);
    // The product is compared, not disks: the data stays in the server's memory.
    if (each->server == test::Server::Kind::mariadb)
      run_odbc(each->name, {"SET GLOBAL innodb_buffer_pool_size = 268435456"});
  }
}

// As a site's data source would be: no options of a driver's own.
std::string Sources::description(const Engine& engine, int port) const {
  const std::string lines = "[" + std::string(engine.name) + "]\nDriver=" + engine.name + "\n";
  if (!engine.server) return lines + "Database=" + file() + "\n";
  const bool is_mariadb = *engine.server == test::Server::Kind::mariadb;
  return lines + "Server=127.0.0.1\nServername=127.0.0.1\nPort=" + std::to_string(port) +
         "\nDatabase=" + (is_mariadb ? test::kServerDatabase : "postgres") + "\nUser=" + test::kServerUser +
         "\nUsername=" + test::kServerUser + "\nPassword=" + test::server_password() + "\n";
}

}  // namespace quarno::bench
