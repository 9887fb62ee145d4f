// Database servers for the tests: private ones on loopback, each with a folder and a port of its own, started
// when first needed and stopped by their own process number.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace quarno::test {

/// The account and password every server gets, made up for this run. The password has what connection strings
/// trip over.
const std::string& server_password();
inline constexpr const char* kServerUser = "tester";
inline constexpr const char* kServerDatabase = "quarno";

/// A loopback port nobody listens on now.
int free_port();
/// Whether something accepts on the loopback port.
bool accepts(int port);
/// A socket connected to the loopback port, -1 when nobody accepts.
int connected_socket(int port);
/// Sends on what can be read; false when either end is gone.
bool pass_on(int from, int to);
/// Closes without a farewell.
void reset_socket(int socket);

/// Takes connections in and never answers them.
class SilentListener {
 public:
  SilentListener();
  ~SilentListener();
  SilentListener(const SilentListener&) = delete;
  SilentListener& operator=(const SilentListener&) = delete;
  int port() const { return port_; }
  int socket() const { return socket_; }

 private:
  int socket_;
  int port_ = 0;
};

class Server {
 public:
  enum class Kind { mariadb, postgresql };

  explicit Server(Kind kind) : kind_(kind) {}
  ~Server() { stop(); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Empty when it runs, though it may not let anyone in yet; else why it does not. It keeps its port for
  /// life.
  std::string ensure_running();
  int port() const { return port_; }
  /// Ends it at once, connections and all.
  void kill();
  void stop();

 private:
  std::string make_data();
  std::vector<std::string> command() const;

  Kind kind_;
  std::unique_ptr<TempFolder> folder_;
  pid_t pid_ = 0;
  int port_ = 0;
};

}  // namespace quarno::test
