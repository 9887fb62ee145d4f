// Messages without a display: "console" writes each box to standard error and counts it as answered, "none"
// shows nothing. QUARNOFWK_UI chooses; anything it does not name here is the console.
#include "platform/dialogs.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>

namespace quarno::platform {
namespace {

// Keeps SIGPIPE from this thread while in scope: a standard error that nobody reads must not end the host.
class PipeSignalHeld {
 public:
  PipeSignalHeld() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  ~PipeSignalHeld() {
    if (!was_pending_) {
      const timespec at_once{};
      while (sigtimedwait(&pipe_, nullptr, &at_once) == -1 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  PipeSignalHeld(const PipeSignalHeld&) = delete;
  PipeSignalHeld& operator=(const PipeSignalHeld&) = delete;

 private:
  sigset_t pipe_{};
  sigset_t before_{};
  bool was_pending_ = false;
};

// Writes what standard error takes without waiting for a reader that may never come: PIPE_BUF bytes fit
// whenever poll says that a pipe is writable.
void write_without_blocking(std::string_view text) {
  constexpr int kPatienceMs = 200;
  const PipeSignalHeld held;
  while (!text.empty()) {
    pollfd ready{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&ready, 1, kPatienceMs) != 1 || (ready.revents & POLLOUT) == 0) return;
    const ssize_t count = ::write(STDERR_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

class ConsoleDialogs : public Dialogs {
 public:
  void message_box(std::string_view text, std::string_view title, BoxIcon) override {
    std::string line = "[";
    line.append(title.empty() ? kDefaultTitle : title).append("] ").append(text).append("\n");
    write_without_blocking(line);
  }
  bool has_event_loop() override { return false; }
  void process_pending_events() override {}
};

class NoDialogs : public Dialogs {
 public:
  void message_box(std::string_view, std::string_view, BoxIcon) override {}
  bool has_event_loop() override { return false; }
  void process_pending_events() override {}
};

}  // namespace

template <>
std::unique_ptr<Dialogs> make_adapter<Dialogs>() {
  const char* const choice = std::getenv("QUARNOFWK_UI");
  if (choice != nullptr && std::string_view(choice) == "none") return std::make_unique<NoDialogs>();
  return std::make_unique<ConsoleDialogs>();
}

}  // namespace quarno::platform
