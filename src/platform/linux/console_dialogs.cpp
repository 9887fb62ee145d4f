#include "platform/linux/console_dialogs.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>

#include "platform/linux/pipe_signal.h"

namespace quarno::platform {
namespace {

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

}  // namespace

void ConsoleDialogs::message_box(std::string_view text, std::string_view title, BoxIcon) {
  std::string line = "[";
  line.append(title.empty() ? kDefaultTitle : title).append("] ").append(text).append("\n");
  write_without_blocking(line);
}

}  // namespace quarno::platform
