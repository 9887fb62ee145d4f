// What every measurement needs: a checksum of what was read, medians of interleaved rounds, and runs in a
// process of their own, for peaks of memory.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quarno::bench {

/// Every contender adds every field of every row, so that nobody is fast by leaving something out. Real
/// numbers are added in the order of the rows: equal values give equal sums.
struct Checksum {
  std::int64_t wholes = 0;
  double reals = 0;
  std::int64_t hours = 0;  // of the moments, since 1 January 1970
  std::int64_t text_bytes = 0;

  void whole(std::int64_t value) { wholes += value; }
  void real(double value) { reals += value; }
  void text(std::string_view value) { text_bytes += static_cast<std::int64_t>(value.size()); }
  void moment(int year, unsigned month, unsigned day, unsigned hour);
  /// Days since 30 December 1899.
  void moment(double days);
  friend bool operator==(const Checksum&, const Checksum&) = default;
};

struct Result {
  Checksum sum;
  double seconds = 0;
  long peak_kb = 0;  // of the process that read
};

/// Opens, walks and reads everything once, or writes it.
struct Contender {
  std::string name;
  std::function<Checksum()> read;
  std::vector<std::string> command;  // in place of `read`: a program that prints its own result
  std::function<void()> write = {};  // what is timed where it is set: `read` then tells what came of it
};

/// Raises when something that has to work did not, so that servers and folders are cleared away.
[[noreturn]] void fail(std::string_view what);
inline void require(bool done, std::string_view what) {
  if (!done) fail(what);
}
/// Does a program's work; the code it ends with. A failure is printed.
int finished(const std::function<void()>& work);
/// The middle one.
double median(std::vector<double> values);
double seconds_of(const std::function<void()>& work);

/// Reads once, in this process or by the contender's own program.
Result run(const Contender& contender);
/// One line, which `run` understands when another process prints it.
void print_result(const Result& result);
/// Waits for a program that prints a result; ends it when it takes too long.
Result run_program(const std::vector<std::string>& command);

/// All contenders in turn, round by round; the first is what the others are compared with. Prints rows per
/// second by the median and the median of the ratios within a round. Fails when checksums differ.
void compare(const std::vector<Contender>& contenders, long rows, int rounds);

/// The path of this program, for running it again.
std::string own_path();

}  // namespace quarno::bench
