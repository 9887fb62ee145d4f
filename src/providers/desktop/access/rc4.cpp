#include "providers/desktop/access/rc4.h"

#include <utility>

namespace quarno::desktop::access {

void rc4(std::span<char> bytes, const std::array<std::uint8_t, 4>& key) {
  std::array<std::uint8_t, 256> state;
  for (std::size_t i = 0; i < state.size(); ++i) state[i] = static_cast<std::uint8_t>(i);
  std::uint8_t j = 0;
  for (std::size_t i = 0; i < state.size(); ++i) {
    j = static_cast<std::uint8_t>(j + state[i] + key[i % key.size()]);
    std::swap(state[i], state[j]);
  }
  std::uint8_t i = 0;
  j = 0;
  for (char& byte : bytes) {
    ++i;
    j = static_cast<std::uint8_t>(j + state[i]);
    std::swap(state[i], state[j]);
    byte = static_cast<char>(byte ^ state[static_cast<std::uint8_t>(state[i] + state[j])]);
  }
}

}  // namespace quarno::desktop::access
