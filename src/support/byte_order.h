// Little-endian numbers in byte buffers, as RIFF and Wave structures store them.
#pragma once

#include <cstdint>

namespace wavecodec {

constexpr uint16_t ReadU16LE(const uint8_t* bytes) {
  return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

constexpr uint32_t ReadU32LE(const uint8_t* bytes) {
  return ReadU16LE(bytes) | static_cast<uint32_t>(ReadU16LE(bytes + 2)) << 16;
}

}  // namespace wavecodec
