// The cipher of encoded files: it hides their bytes from a casual look and protects nothing.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace quarno::desktop::access {

/// Decodes in place; encoding is the same.
void rc4(std::span<char> bytes, const std::array<std::uint8_t, 4>& key);

}  // namespace quarno::desktop::access
