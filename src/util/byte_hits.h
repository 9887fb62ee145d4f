// Where one byte occurs among 32, as bits: a column has so few bytes that one search for each costs more.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace quarno::util {

constexpr std::size_t kHitBytes = 32;

struct Hits {
  std::uint32_t bits;  // the lowest for the first byte
  bool is_ascii;       // all bytes are below 128
};

/// For every processor.
inline Hits plain_hits(const char* bytes, char wanted) {
  using Eight = std::uint64_t;
  constexpr Eight kLow = 0x0101010101010101;
  constexpr Eight kHigh = kLow << 7;
  // Moves the lowest bits of eight bytes into the highest byte, the first byte's lowest.
  constexpr Eight kGather = 0x0102040810204080;
  const Eight repeated = kLow * static_cast<unsigned char>(wanted);
  Eight all = 0;
  std::uint32_t bits = 0;
  for (std::size_t at = 0; at < kHitBytes; at += sizeof(Eight)) {
    Eight eight = 0;
    std::memcpy(&eight, bytes + at, sizeof eight);
    if constexpr (std::endian::native == std::endian::big) eight = __builtin_bswap64(eight);
    all |= eight;
    const Eight different = eight ^ repeated;
    // The high bit of each byte that is zero, and no other bit.
    const Eight zeros = ~(((different & ~kHigh) + ~kHigh) | different) & kHigh;
    bits |= static_cast<std::uint32_t>((zeros >> 7) * kGather >> 56) << at;
  }
  return {bits, (all & kHigh) == 0};
}

#ifdef __SSE2__
inline Hits hits(const char* bytes, char wanted) {
  const auto load = [&](std::size_t at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + at));
  };
  const auto mask = [](__m128i value) { return static_cast<std::uint32_t>(_mm_movemask_epi8(value)); };
  const __m128i repeated = _mm_set1_epi8(wanted);
  const __m128i first = load(0);
  const __m128i second = load(16);
  return {mask(_mm_cmpeq_epi8(first, repeated)) | mask(_mm_cmpeq_epi8(second, repeated)) << 16,
          mask(_mm_or_si128(first, second)) == 0};
}
#else
inline Hits hits(const char* bytes, char wanted) { return plain_hits(bytes, wanted); }
#endif

}  // namespace quarno::util
