// Stands between a client and a server on loopback, and cuts what passes through it short.
#pragma once

#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include "support/servers.h"

namespace quarno::test {

class ResetProxy {
 public:
  explicit ResetProxy(int server_port) : server_port_(server_port), worker_([this] { pass(); }) {}
  ~ResetProxy() {
    ended_ = true;
    worker_.join();
  }
  ResetProxy(const ResetProxy&) = delete;
  ResetProxy& operator=(const ResetProxy&) = delete;
  int port() const { return listener_.port(); }
  /// Both ends of every connection get a reset; the next one is passed on again.
  void reset() { reset_ = true; }

 private:
  void pass() {
    std::vector<std::pair<int, int>> ways;  // from, to
    while (!ended_) {
      std::vector<pollfd> waiting{{listener_.socket(), POLLIN, 0}};
      for (const auto& way : ways) waiting.push_back({way.first, POLLIN, 0});
      ::poll(waiting.data(), waiting.size(), 20);
      bool cut = reset_.exchange(false);
      for (std::size_t i = 0; i < ways.size() && !cut; ++i) {
        if (waiting[i + 1].revents != 0) cut = !pass_on(ways[i].first, ways[i].second);
      }
      if (cut) {
        for (const auto& way : ways) reset_socket(way.first);
        ways.clear();
      } else if (waiting[0].revents != 0) {
        const int client = ::accept(listener_.socket(), nullptr, nullptr);
        const int server = connected_socket(server_port_);
        ways.insert(ways.end(), {{client, server}, {server, client}});
      }
    }
    for (const auto& way : ways) reset_socket(way.first);
  }

  SilentListener listener_;
  int server_port_;
  std::atomic<bool> ended_ = false;
  std::atomic<bool> reset_ = false;
  std::thread worker_;
};

}  // namespace quarno::test
