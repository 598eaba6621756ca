#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace QuorViewer {

// Scans are stored in little-endian byte order. Values are assembled byte by byte, so that neither the machine's byte
// order nor the alignment of a record matters; compilers reduce each of these to a single load or store.

inline void loadLittle(const unsigned char* bytes, std::uint8_t& value) {
  value = bytes[0];
}

inline void loadLittle(const unsigned char* bytes, std::uint16_t& value) {
  value = static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

inline void loadLittle(const unsigned char* bytes, std::uint32_t& value) {
  value = std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
          std::uint32_t{bytes[3]} << 24;
}

inline void loadLittle(const unsigned char* bytes, std::uint64_t& value) {
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  loadLittle(bytes, low);
  loadLittle(bytes + 4, high);
  value = std::uint64_t{low} | std::uint64_t{high} << 32;
}

inline void storeLittle(std::uint8_t value, unsigned char* bytes) {
  bytes[0] = value;
}

inline void storeLittle(std::uint16_t value, unsigned char* bytes) {
  bytes[0] = static_cast<unsigned char>(value & 0xFFU);
  bytes[1] = static_cast<unsigned char>(value >> 8);
}

inline void storeLittle(std::uint32_t value, unsigned char* bytes) {
  storeLittle(static_cast<std::uint16_t>(value & 0xFFFFU), bytes);
  storeLittle(static_cast<std::uint16_t>(value >> 16), bytes + 2);
}

inline void storeLittle(std::uint64_t value, unsigned char* bytes) {
  storeLittle(static_cast<std::uint32_t>(value & 0xFFFFFFFFU), bytes);
  storeLittle(static_cast<std::uint32_t>(value >> 32), bytes + 4);
}

/// The unsigned integer that carries the bits of a signed or floating-point value.
template <std::size_t size>
struct BitsOf;
template <>
struct BitsOf<1> {
  using type = std::uint8_t;
};
template <>
struct BitsOf<2> {
  using type = std::uint16_t;
};
template <>
struct BitsOf<4> {
  using type = std::uint32_t;
};
template <>
struct BitsOf<8> {
  using type = std::uint64_t;
};

template <typename T>
void loadLittle(const unsigned char* bytes, T& value) {
  typename BitsOf<sizeof(T)>::type bits = 0;
  loadLittle(bytes, bits);
  std::memcpy(&value, &bits, sizeof value);
}

template <typename T>
void storeLittle(T value, unsigned char* bytes) {
  typename BitsOf<sizeof(T)>::type bits = 0;
  std::memcpy(&bits, &value, sizeof value);
  storeLittle(bits, bytes);
}

template <typename T, std::size_t count>
void loadLittle(const unsigned char* bytes, std::array<T, count>& values) {
  for (T& value : values) {
    loadLittle(bytes, value);
    bytes += sizeof(T);
  }
}

template <typename T, std::size_t count>
void storeLittle(const std::array<T, count>& values, unsigned char* bytes) {
  for (const T& value : values) {
    storeLittle(value, bytes);
    bytes += sizeof(T);
  }
}

template <typename T>
T loadLittle(const unsigned char* bytes) {
  T value{};
  loadLittle(bytes, value);
  return value;
}

}  // namespace QuorViewer
