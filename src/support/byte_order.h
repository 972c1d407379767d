// Little-endian numbers in byte buffers, as RIFF and Wave structures store them.
#pragma once

#include <cstdint>

namespace wavecodec {

constexpr uint32_t ReadU32LE(const uint8_t* bytes) {
  return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

}  // namespace wavecodec
