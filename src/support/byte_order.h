// Numbers in byte buffers: little-endian, as RIFF and Wave structures store them, and big-endian.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace wavecodec {

constexpr uint16_t ReadU16LE(const uint8_t* bytes) {
  return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}
constexpr uint32_t ReadU32LE(const uint8_t* bytes) {
  return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}
constexpr uint32_t ReadU32BE(const uint8_t* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

constexpr void WriteU16LE(uint8_t* bytes, uint16_t value) {
  bytes[0] = static_cast<uint8_t>(value);
  bytes[1] = static_cast<uint8_t>(value >> 8);
}
constexpr void WriteU32LE(uint8_t* bytes, uint32_t value) {
  WriteU16LE(bytes, static_cast<uint16_t>(value));
  WriteU16LE(bytes + 2, static_cast<uint16_t>(value >> 16));
}
constexpr void WriteU32BE(uint8_t* bytes, uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}
constexpr uint64_t ReadU64LE(const uint8_t* bytes) {
  return ReadU32LE(bytes) | uint64_t{ReadU32LE(bytes + 4)} << 32;
}
constexpr void WriteU64LE(uint8_t* bytes, uint64_t value) {
  WriteU32LE(bytes, static_cast<uint32_t>(value));
  WriteU32LE(bytes + 4, static_cast<uint32_t>(value >> 32));
}

// The low 16 bits of each of `count` units, one behind another.
template <typename Unit>
void WriteUnitsLE(uint8_t* bytes, const Unit* units, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    auto low = static_cast<uint16_t>(units[i]);
    if constexpr (std::endian::native == std::endian::big) {
      low = static_cast<uint16_t>(low << 8 | low >> 8);
    }
    std::memcpy(bytes + 2 * i, &low, sizeof low);  // a form that compilers turn into wide stores
  }
}

}  // namespace wavecodec
