// A view of bytes of a file that may be damaged: nothing is read outside it. Numbers are little-endian.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <string_view>

namespace quarno::desktop::access {

/// The bytes contradict the format. Thrown and caught inside this folder; its callers see errors.
class Damaged : public std::exception {
 public:
  const char* what() const noexcept override { return "damaged"; }
};

namespace little_endian {

// Put together from bytes, so that it holds on any machine; compilers make one load of it.
inline std::uint8_t u8(const char* p) { return static_cast<std::uint8_t>(*p); }
inline std::uint16_t u16(const char* p) { return static_cast<std::uint16_t>(u8(p) | u8(p + 1) << 8); }
inline std::uint32_t u32(const char* p) { return u16(p) | std::uint32_t{u16(p + 2)} << 16; }
inline std::uint64_t u64(const char* p) { return u32(p) | std::uint64_t{u32(p + 4)} << 32; }
inline float f32(const char* p) { return std::bit_cast<float>(u32(p)); }
inline double f64(const char* p) { return std::bit_cast<double>(u64(p)); }

}  // namespace little_endian

/// Borrows the bytes.
class Bytes {
 public:
  Bytes() = default;
  Bytes(const char* data, std::size_t size) : data_(data), size_(size) {}
  explicit Bytes(std::string_view text) : Bytes(text.data(), text.size()) {}

  const char* data() const { return data_; }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  bool holds(std::size_t offset, std::size_t count) const {
    return offset <= size_ && count <= size_ - offset;
  }
  std::string_view text() const { return {data_, size_}; }

  // These raise Damaged when they would reach outside.
  std::uint8_t u8(std::size_t offset) const { return little_endian::u8(at(offset, 1)); }
  std::uint16_t u16(std::size_t offset) const { return little_endian::u16(at(offset, 2)); }
  std::uint32_t u32(std::size_t offset) const { return little_endian::u32(at(offset, 4)); }
  std::uint64_t u64(std::size_t offset) const { return little_endian::u64(at(offset, 8)); }
  Bytes part(std::size_t offset, std::size_t count) const { return {at(offset, count), count}; }
  Bytes rest(std::size_t offset) const { return {at(offset, 0), size_ - offset}; }

 private:
  const char* at(std::size_t offset, std::size_t count) const {
    if (!holds(offset, count)) throw Damaged();
    return data_ + offset;
  }

  const char* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace quarno::desktop::access
