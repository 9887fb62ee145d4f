// Writing to a pipe or socket whose other end is gone must not end the host.
#pragma once

#include <signal.h>

#include <cerrno>

namespace quarno::platform {

/// Keeps SIGPIPE from this thread while in scope.
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

}  // namespace quarno::platform
