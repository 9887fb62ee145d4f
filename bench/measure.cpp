#include "measure.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace quarno::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::minutes kLongest{5};
// From 30 December 1899 to 1 January 1970.
constexpr double kDaysBefore1970 = 25569;

long peak_kb() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long kb = 0;
    if (word == "VmHWM:" && status >> kb) return kb;
  }
  return 0;
}

// What the program printed until it closed its output, or as far as it came in time.
std::string output_of(int pipe) {
  std::string output;
  char buffer[512];
  const auto end = Clock::now() + kLongest;
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    pollfd ready{pipe, POLLIN, 0};
    if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) <= 0) return output;
    const ssize_t got = ::read(pipe, buffer, sizeof buffer);
    if (got <= 0) return output;
    output.append(buffer, static_cast<std::size_t>(got));
  }
}

}  // namespace

void Checksum::moment(int year, unsigned month, unsigned day, unsigned hour) {
  using namespace std::chrono;
  const sys_days date = std::chrono::year(year) / static_cast<int>(month) / static_cast<int>(day);
  hours += std::int64_t{date.time_since_epoch().count()} * 24 + hour;
}

void Checksum::moment(double days) { hours += std::llround((days - kDaysBefore1970) * 24); }

void fail(std::string_view what) { throw std::runtime_error(std::string(what) + " failed"); }

int finished(const std::function<void()>& work) {
  try {
    work();
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench: %s\n", failure.what());
    return 1;
  }
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double seconds_of(const std::function<void()>& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

Result run(const Contender& contender) {
  if (!contender.read) return run_program(contender.command);
  Result result;
  if (contender.write) {
    result.seconds = seconds_of(contender.write);
    result.sum = contender.read();
  } else {
    result.seconds = seconds_of([&] { result.sum = contender.read(); });
  }
  result.peak_kb = peak_kb();
  return result;
}

void print_result(const Result& result) {
  std::printf("%lld %.17g %lld %lld %.6f %ld\n", static_cast<long long>(result.sum.wholes), result.sum.reals,
              static_cast<long long>(result.sum.hours), static_cast<long long>(result.sum.text_bytes),
              result.seconds, result.peak_kb);
}

Result run_program(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  int ends[2];
  require(::pipe2(ends, O_CLOEXEC) == 0, "making a pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
  pid_t pid = 0;
  const int failure = ::posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  require(failure == 0, "starting " + command[0]);
  ::close(ends[1]);
  const std::string output = output_of(ends[0]);
  ::close(ends[0]);
  // It has printed its line and is about to end, or it took too long.
  if (output.find('\n') == std::string::npos) ::kill(pid, SIGKILL);
  int status = 0;
  ::waitpid(pid, &status, 0);
  Result result;
  long long wholes = 0;
  long long hours = 0;
  long long text_bytes = 0;
  const int fields = std::sscanf(output.c_str(), "%lld %lf %lld %lld %lf %ld", &wholes, &result.sum.reals,
                                 &hours, &text_bytes, &result.seconds, &result.peak_kb);
  require(WIFEXITED(status) && WEXITSTATUS(status) == 0 && fields == 6, "running " + command[0]);
  result.sum.wholes = wholes;
  result.sum.hours = hours;
  result.sum.text_bytes = text_bytes;
  return result;
}

void compare(const std::vector<Contender>& contenders, long rows, int rounds) {
  std::vector<std::vector<double>> seconds(contenders.size());
  Checksum expected;
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < contenders.size(); ++i) {
      const Result result = run(contenders[i]);
      if (round == 0 && i == 0) expected = result.sum;
      require(result.sum == expected, "comparing the checksum of " + contenders[i].name);
      seconds[i].push_back(result.seconds);
    }
  }
  std::printf("%-28s %10s %7s   %s\n", "", "rows/s", "ratio", "seconds, least to most");
  for (std::size_t i = 0; i < contenders.size(); ++i) {
    std::vector<double> ratios;
    for (std::size_t round = 0; round < seconds[i].size(); ++round) {
      ratios.push_back(seconds[0][round] / seconds[i][round]);
    }
    const auto [least, most] = std::minmax_element(seconds[i].begin(), seconds[i].end());
    std::printf("%-28s %10.0f %7.2f   %.3f to %.3f\n", contenders[i].name.c_str(),
                static_cast<double>(rows) / median(seconds[i]), median(ratios), *least, *most);
  }
  std::fflush(stdout);
}

std::string own_path() { return std::filesystem::read_symlink("/proc/self/exe").string(); }

}  // namespace quarno::bench
