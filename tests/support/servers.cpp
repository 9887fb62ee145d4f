#include "support/servers.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

namespace quarno::test {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// Where Debian keeps the programs; the newest version first.
std::string program(const std::string& name) {
  std::vector<std::string> folders = {"/usr/bin", "/usr/sbin"};
  for (int version = 19; version >= 11; --version) {
    folders.push_back("/usr/lib/postgresql/" + std::to_string(version) + "/bin");
  }
  for (const std::string& folder : folders) {
    if (::access((folder + "/" + name).c_str(), X_OK) == 0) return folder + "/" + name;
  }
  return {};
}

// The servers refuse to be run by root: then they are run by their own account.
const passwd* account(const char* name) { return ::geteuid() == 0 ? ::getpwnam(name) : nullptr; }

// Starts a program with its output in a file; the test's sanitizer settings are not for it.
pid_t start(const std::vector<std::string>& command, const std::string& log, const passwd* run_as,
            const std::string& folder) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const pid_t pid = ::fork();
  if (pid != 0) return pid;
  const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  const int in = ::open("/dev/null", O_RDONLY);
  bool ready =
      ::dup2(in, 0) == 0 && ::dup2(out, 1) == 1 && ::dup2(out, 2) == 2 && ::chdir(folder.c_str()) == 0;
  if (run_as != nullptr) {
    ready = ready && ::setgroups(0, nullptr) == 0 && ::setgid(run_as->pw_gid) == 0 &&
            ::setuid(run_as->pw_uid) == 0;
  }
  // Should the test be killed, its servers end too.
  ready = ready && ::prctl(PR_SET_PDEATHSIG, SIGQUIT) == 0;
  if (ready) ::execv(arguments[0], arguments.data());
  ::_exit(127);
}

// Whether the process ended within the time, and well.
bool ended(pid_t pid, Clock::duration time, bool* well = nullptr) {
  for (const auto end = Clock::now() + time; Clock::now() < end; std::this_thread::sleep_for(20ms)) {
    int status = 0;
    if (::waitpid(pid, &status, WNOHANG) != pid) continue;
    if (well != nullptr) *well = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return true;
  }
  return false;
}

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

}  // namespace

const std::string& server_password() {
  static const std::string value = [] {
    std::random_device random;
    return "p;w}d=1{" + std::to_string(random()) + std::to_string(random());
  }();
  return value;
}

SilentListener::SilentListener() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address = loopback(0);
  socklen_t length = sizeof address;
  ::bind(socket_, reinterpret_cast<sockaddr*>(&address), length);
  ::listen(socket_, 8);
  ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
}

SilentListener::~SilentListener() { ::close(socket_); }

int free_port() { return SilentListener().port(); }

int connected_socket(int port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in address = loopback(port);
  if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return socket;
  ::close(socket);
  return -1;
}

bool accepts(int port) {
  const int socket = connected_socket(port);
  if (socket >= 0) ::close(socket);
  return socket >= 0;
}

bool pass_on(int from, int to) {
  char bytes[65536];
  const ssize_t count = ::recv(from, bytes, sizeof bytes, 0);
  for (ssize_t sent = 0; sent < count;) {
    const ssize_t part = ::send(to, bytes + sent, static_cast<std::size_t>(count - sent), MSG_NOSIGNAL);
    if (part <= 0) return false;
    sent += part;
  }
  return count > 0;
}

void reset_socket(int socket) {
  const linger at_once{1, 0};
  ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  ::close(socket);
}

std::string Server::make_data() {
  auto folder = std::make_unique<TempFolder>();
  const bool is_mariadb = kind_ == Kind::mariadb;
  const passwd* const owner = account(is_mariadb ? "mysql" : "postgres");
  if (owner != nullptr && ::chown(folder->path().c_str(), owner->pw_uid, owner->pw_gid) != 0)
    return "no folder";
  const std::string maker = program(is_mariadb ? "mariadb-install-db" : "initdb");
  if (maker.empty() || program(is_mariadb ? "mariadbd" : "postgres").empty()) return "not installed";
  std::vector<std::string> command;
  if (is_mariadb) {
    folder->put("init.sql", "CREATE DATABASE IF NOT EXISTS " + std::string(kServerDatabase) +
                                " CHARACTER SET utf8mb4;\n"
                                "CREATE USER IF NOT EXISTS '" +
                                kServerUser + "'@'127.0.0.1' IDENTIFIED BY '" + server_password() +
                                "';\nGRANT ALL ON *.* TO '" + kServerUser + "'@'127.0.0.1';\n");
    command = {maker, "--no-defaults", "--datadir=" + *folder / "data",
               "--auth-root-authentication-method=normal", "--skip-test-db"};
  } else {
    // The server's own account reads it, which is not the one that wrote it.
    const std::string password_file = folder->put("password", server_password() + "\n");
    command = {maker,
               "-D",
               *folder / "data",
               "-U",
               kServerUser,
               "-A",
               "scram-sha-256",
               "-E",
               "UTF8",
               "--locale=C.UTF-8",
               "--no-sync",
               "--pwfile=" + password_file};
  }
  const pid_t pid = start(command, *folder / "make.log", owner, folder->path());
  bool well = false;
  if (!ended(pid, 60s, &well)) ::kill(pid, SIGKILL);
  if (!well) return bytes_of(*folder / "make.log");
  folder_ = std::move(folder);
  return {};
}

std::vector<std::string> Server::command() const {
  const std::string data = *folder_ / "data";
  const std::string port = std::to_string(port_);
  if (kind_ == Kind::mariadb) {
    return {program("mariadbd"),
            "--no-defaults",
            "--datadir=" + data,
            "--port=" + port,
            "--bind-address=127.0.0.1",
            "--socket=" + *folder_ / "socket",
            "--pid-file=" + *folder_ / "pid",
            "--skip-name-resolve",
            "--init-file=" + *folder_ / "init.sql",
            "--innodb-flush-log-at-trx-commit=0",
            "--max-allowed-packet=64M",
            "--innodb-buffer-pool-size=16M",
            "--innodb-log-file-size=32M"};
  }
  return {program("postgres"), "-D", data,       "-p", port, "-h", "127.0.0.1", "-k",
          folder_->path(),     "-c", "fsync=off"};
}

std::string Server::ensure_running() {
  if (pid_ != 0) return {};
  std::string problem = folder_ ? "" : make_data();
  if (!problem.empty()) return problem;
  if (port_ == 0) port_ = free_port();
  const passwd* const owner = account(kind_ == Kind::mariadb ? "mysql" : "postgres");
  pid_ = start(command(), *folder_ / "server.log", owner, folder_->path());
  for (const auto end = Clock::now() + 60s; Clock::now() < end; std::this_thread::sleep_for(50ms)) {
    if (accepts(port_)) return {};
    if (ended(pid_, 1ms)) {
      pid_ = 0;
      break;
    }
  }
  stop();
  return "did not start: " + bytes_of(*folder_ / "server.log");
}

void Server::kill() {
  if (pid_ == 0) return;
  // PostgreSQL is many processes: the first ends the others at once on this signal.
  ::kill(pid_, kind_ == Kind::mariadb ? SIGKILL : SIGQUIT);
  if (!ended(pid_, 20s)) ::kill(pid_, SIGKILL);
  pid_ = 0;
}

void Server::stop() {
  if (pid_ == 0) return;
  ::kill(pid_, kind_ == Kind::mariadb ? SIGTERM : SIGINT);
  if (!ended(pid_, 20s)) kill();
  pid_ = 0;
}

}  // namespace quarno::test
