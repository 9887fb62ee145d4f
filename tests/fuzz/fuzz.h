// What an entry point shares with its driver.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/error.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
/// Seeds of the entry point and how many mutations they get, written in its own file.
extern const std::vector<std::string> kSeeds;
extern const int kMutations;

inline std::string_view text_of(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// To refuse an input is an answer; to say something of it that does not hold is none.
template <class Call>
int expect_refused_or(Call&& holds) try {
  if (!holds()) __builtin_trap();
  return 0;
} catch (const quarno::Error&) {
  return 0;
}
