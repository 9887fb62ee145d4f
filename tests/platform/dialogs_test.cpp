#include "platform/dialogs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>

#include "support/temp_folder.h"

namespace quarno::platform {
namespace {

// Standard error is the writing end of a pipe for a scope.
class PipedStandardError {
 public:
  PipedStandardError() : before_(::dup(STDERR_FILENO)) {
    EXPECT_EQ(::pipe(ends_.data()) | ::fcntl(ends_[0], F_SETFL, O_NONBLOCK), 0);
    ::dup2(ends_[1], STDERR_FILENO);
    ::close(ends_[1]);
  }
  ~PipedStandardError() {
    ::dup2(before_, STDERR_FILENO);
    ::close(before_);
    close_reader();
  }
  void close_reader() { ends_[0] = ends_[0] < 0 ? -1 : (::close(ends_[0]), -1); }
  std::string waiting() const {
    std::string all(1 << 20, ' ');
    all.resize(static_cast<std::size_t>(std::max<ssize_t>(0, ::read(ends_[0], all.data(), all.size()))));
    return all;
  }

 private:
  std::array<int, 2> ends_{};
  int before_;
};

std::unique_ptr<Dialogs> adapter(const char* choice) {
  const test::ScopedVariable chosen("QUARNOFWK_UI", choice);
  return make_adapter<Dialogs>();
}

TEST(Dialogs, ConsoleNeverBlocksOnAPipeThatNobodyReads) {
  const PipedStandardError pipe;
  adapter("none")->message_box("x", "y", BoxIcon::none);
  EXPECT_EQ(pipe.waiting(), "");
  const auto console = adapter("console");
  console->message_box("Connessione fallita", "Attenzione", BoxIcon::critical);
  console->message_box("x", "", BoxIcon::none);
  EXPECT_EQ(pipe.waiting(), "[Attenzione] Connessione fallita\n[QuarnoFwk] x\n");
  const auto start = std::chrono::steady_clock::now();
  console->message_box(std::string(1 << 20, 'x'), "big", BoxIcon::none);  // more than a pipe holds
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_GT(pipe.waiting().size(), 4096u);  // as much as went in
  console->message_box("again", "", BoxIcon::none);
  EXPECT_EQ(pipe.waiting(), "[QuarnoFwk] again\n");
}

TEST(Dialogs, ConsoleSurvivesAStandardErrorThatIsGone) {
  // The default action would end this process.
  auto* const before = std::signal(SIGPIPE, SIG_DFL);
  {
    PipedStandardError pipe;
    pipe.close_reader();
    adapter("console")->message_box("into the void", "", BoxIcon::none);
    ::close(STDERR_FILENO);
    adapter("console")->message_box("no descriptor at all", "", BoxIcon::none);
  }
  // No signal is left waiting.
  sigset_t waiting;
  ::sigpending(&waiting);
  EXPECT_EQ(sigismember(&waiting, SIGPIPE), 0);
  std::signal(SIGPIPE, before);
}

}  // namespace
}  // namespace quarno::platform
