// Pings each address given and prints, one line each, the milliseconds it took and what the ping ended with.
#include <chrono>
#include <cstdio>

#include "net/CPing.h"

int main(int argc, char** argv) {
  quarno::CPing ping;
  for (int i = 1; i < argc; ++i) {
    const auto start = std::chrono::steady_clock::now();
    const bool answered = ping.Ping(argv[i]);
    const auto took = std::chrono::steady_clock::now() - start;
    std::printf("%lld %s%s\n", static_cast<long long>(took / std::chrono::milliseconds(1)),
                answered ? "answered" : "", ping.last_message().c_str());
  }
}
