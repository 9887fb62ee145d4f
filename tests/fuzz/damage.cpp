// damage_files KIND COUNT SEED FOLDER [FIRST]: reads COUNT damaged copies of the files in FOLDER and prints
// how many were read and how many were refused. Each copy follows from SEED and its number alone, so that one
// that failed comes again with its number as FIRST. A copy that takes five seconds, or more memory than any
// of them needs, ends the program.
#include "fuzz/damage.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>

// Asked by the address sanitizer where the program was built with it.
extern "C" const char* __asan_default_options() {
  return "abort_on_error=1:max_allocation_size_mb=64:hard_rss_limit_mb=1024:quarantine_size_mb=32";
}

namespace quarno::test {
namespace {

constexpr unsigned kSecondsEach = 5;

std::string number(std::uint_fast32_t value, std::size_t bytes) {
  std::string result;
  for (std::size_t i = 0; i < bytes; ++i) result += static_cast<char>(value >> 8 * i & 0xFF);
  return result;
}

}  // namespace

std::string damaged(std::string file, std::size_t block_size, std::mt19937& random) {
  const auto below = [&](std::size_t bound) { return bound == 0 ? 0 : random() % bound; };
  std::size_t blocks = 1;
  // Half of what is changed lies near the beginning of a block, where it says what the rest is.
  const auto position = [&] {
    const std::size_t in_block =
        random() % 2 == 0 ? below(std::min<std::size_t>(block_size, 64)) : below(block_size);
    return std::min(below(blocks) * block_size + in_block, file.size() - 1);
  };
  const auto put = [&](std::size_t at, const std::string& bytes) {
    const std::size_t count = std::min(bytes.size(), file.size() - at);
    file.replace(at, count, bytes, 0, count);
  };
  for (auto count = 1 + random() % 4; count > 0 && !file.empty(); --count) {
    blocks = std::max<std::size_t>(file.size() / block_size, 1);
    const std::size_t one = below(blocks) * block_size;
    const std::size_t other = below(blocks) * block_size;
    switch (random() % 12) {
      case 0:
      case 1: file[position()] ^= static_cast<char>(1U << random() % 8); break;
      case 2:
      case 3: file[position()] = static_cast<char>(random()); break;
      case 4: put(position(), number(random() % 300, 2)); break;
      case 5: put(position(), number(random(), 2)); break;
      case 6: put(position(), number(below(blocks), 4)); break;
      case 7: put(position(), number(below(blocks) << 8 | random() % 8, 4)); break;
      case 8: put(position(), number(random() % 2 == 0 ? 0xFFFFFFFFUL : 0x7FFFFFFFUL, 4)); break;
      case 9: put(one, std::string(block_size, '\0')); break;
      case 10: {
        const std::string first = file.substr(one, block_size);
        if (random() % 2 == 0) put(one, file.substr(other, block_size));
        put(other, first);
        break;
      }
      default:
        if (random() % 4 == 0) file.resize(below(file.size() + 1));
        break;
    }
  }
  return file;
}

}  // namespace quarno::test

namespace {

volatile std::sig_atomic_t current = 0;

// Only calls that a signal handler may make.
extern "C" void tell_which(int signal_number) {
  char text[80] = "input ";
  char* end = std::to_chars(text + 6, text + 40, static_cast<long>(current)).ptr;
  const char* const why = signal_number == SIGALRM ? " took too long\n" : " failed\n";
  std::memcpy(end, why, std::strlen(why));
  if (write(STDERR_FILENO, text, static_cast<std::size_t>(end - text) + std::strlen(why)) < 0) _exit(2);
  _exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace quarno::test;
  const std::pair<const char*, DamagePlan (*)(const std::string&)> plans[] = {{"access", access_plan},
                                                                              {"dbase", dbase_plan}};
  const auto found = std::find_if(std::begin(plans), std::end(plans), [&](const auto& plan) {
    return argc >= 5 && std::strcmp(plan.first, argv[1]) == 0;
  });
  if (found == std::end(plans)) {
    std::fprintf(stderr, "usage: damage_files KIND COUNT SEED FOLDER [FIRST]\n");
    return 2;
  }
  const long count = std::atol(argv[2]);
  const auto seed = static_cast<std::uint32_t>(std::atol(argv[3]));
  const long first = argc > 5 ? std::atol(argv[5]) : 0;
  const DamagePlan plan = found->second(argv[4]);
  if (plan.files.empty()) {
    std::fprintf(stderr, "no files in %s\n", argv[4]);
    return 2;
  }
  std::signal(SIGALRM, tell_which);
  std::signal(SIGABRT, tell_which);
  long read = 0;
  const auto start = std::chrono::steady_clock::now();
  auto longest = std::chrono::steady_clock::duration::zero();
  for (long i = first; i < first + count; ++i) {
    current = static_cast<std::sig_atomic_t>(i);
    std::seed_seq sequence{seed, static_cast<std::uint32_t>(i)};
    std::mt19937 random(sequence);
    const std::string& file = plan.files[random() % plan.files.size()];
    std::string input = damaged(file, plan.block_size(file), random);
    const auto began = std::chrono::steady_clock::now();
    alarm(kSecondsEach);
    read += plan.read(std::move(input)) ? 1 : 0;
    longest = std::max(longest, std::chrono::steady_clock::now() - began);
  }
  alarm(0);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  std::printf("%ld inputs: %ld read, %ld refused, %.1f s, %.0f a second, longest %.3f s\n", count, read,
              count - read, seconds.count(), static_cast<double>(count) / seconds.count(),
              std::chrono::duration<double>(longest).count());
  return 0;
}
