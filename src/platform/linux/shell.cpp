// Documents go to "gio open" and to "lp", by way of "setsid --fork": that leaves the program to the system
// and ends at once, so that waiting for it takes no time and the host gets no child that it would have to
// wait for.
#include "platform/shell.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <vector>

#include "platform/path_text.h"

namespace quarno::platform {
namespace {

// The file's full path. Programs take "x/.." for nothing even where x is a link to elsewhere, so that the
// folder is resolved here; the name stays, because its ending tells the kind.
std::optional<std::string> full_path(const std::string& file) {
  const PathParts parts = split_path(file);
  const std::string folder = parts.folder.empty() ? "." : std::string(parts.folder);
  char* const real = ::realpath(folder.c_str(), nullptr);
  if (real == nullptr) return std::nullopt;
  std::string path = real;
  std::free(real);
  if (path != "/") path.push_back('/');
  return path.append(parts.name);
}

// What posix_spawn is to do in the new process. Steps that do not fit into memory make ready() false.
class SpawnSteps {
 public:
  explicit SpawnSteps(const std::string& working_folder) {
    note(::posix_spawn_file_actions_init(&files_));
    note(::posix_spawnattr_init(&signals_));
    // Programs take over what a host ignores or holds back.
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    note(::posix_spawnattr_setsigmask(&signals_, &none));
    note(::posix_spawnattr_setsigdefault(&signals_, &all));
    note(::posix_spawnattr_setflags(&signals_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      note(::posix_spawn_file_actions_addopen(&files_, standard, "/dev/null", O_RDWR, 0));
    }
    note(::posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1));
    note(::posix_spawn_file_actions_addchdir_np(&files_, working_folder.c_str()));
  }
  ~SpawnSteps() {
    ::posix_spawnattr_destroy(&signals_);
    ::posix_spawn_file_actions_destroy(&files_);
  }
  SpawnSteps(const SpawnSteps&) = delete;
  SpawnSteps& operator=(const SpawnSteps&) = delete;

  bool ready() const { return ready_; }
  const posix_spawn_file_actions_t* files() const { return &files_; }
  const posix_spawnattr_t* signals() const { return &signals_; }

 private:
  void note(int code) { ready_ = ready_ && code == 0; }

  posix_spawn_file_actions_t files_{};
  posix_spawnattr_t signals_{};
  bool ready_ = true;
};

void start(std::vector<std::string> words, const std::string& working_folder) {
  words.insert(words.begin(), {"setsid", "--fork"});
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const SpawnSteps steps(working_folder);
  pid_t process = 0;
  if (!steps.ready() || ::posix_spawnp(&process, arguments[0], steps.files(), steps.signals(),
                                       arguments.data(), environ) != 0) {
    return;
  }
  // A host that waits for any child may be quicker; then there is none left.
  while (::waitpid(process, nullptr, 0) == -1 && errno == EINTR) {
  }
}

class LinuxShell : public Shell {
 public:
  void open(const std::string& file, const std::string& working_folder) override {
    if (const auto path = full_path(file)) start({"gio", "open", *path}, working_folder);
  }
  void print(const std::string& file, const std::string& working_folder) override {
    if (const auto path = full_path(file)) start({"lp", "--", *path}, working_folder);
  }
};

}  // namespace

template <>
std::unique_ptr<Shell> make_adapter<Shell>() {
  return std::make_unique<LinuxShell>();
}

}  // namespace quarno::platform
