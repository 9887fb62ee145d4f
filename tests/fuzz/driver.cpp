// Feeds an entry point its seeds and mutations of them. Deterministic: a failure comes again.
#include <cstdio>
#include <random>

#include "fuzz/fuzz.h"

namespace {

void feed(const std::string& input) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

std::string mutated(std::string input, std::mt19937& random) {
  const auto position = [&] { return input.empty() ? 0 : random() % input.size(); };
  for (unsigned i = 0, count = 1 + random() % 4; i < count; ++i) {
    switch (random() % 5) {
      case 0: input.insert(position(), 1, static_cast<char>(random())); break;
      case 1: input.erase(position(), 1 + random() % 3); break;
      case 2:
        if (!input.empty()) input[position()] = static_cast<char>(random());
        break;
      case 3: input.insert(position(), input.substr(position(), random() % 20)); break;
      default: input += kSeeds[random() % kSeeds.size()].substr(0, random() % 30); break;
    }
  }
  return input;
}

}  // namespace

int main() {
  std::mt19937 random(20150101);
  for (const std::string& seed : kSeeds) feed(seed);
  std::string input = kSeeds.front();
  for (int i = 0; i < kMutations; ++i) {
    // A chain of mutations goes deeper than single ones; a fresh seed every so often.
    input = mutated(i % 8 == 0 ? kSeeds[random() % kSeeds.size()] : input, random).substr(0, 4096);
    feed(input);
  }
  std::printf("%d inputs, no failure\n", kMutations);
  return 0;
}
