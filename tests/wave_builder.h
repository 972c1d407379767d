// Builds Wave files for tests, benchmarks and fuzz seeds, byte by byte and without the module's own
// code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace wavecodec::test {

// The low `width` bytes of a number, little-endian.
inline std::string LE(uint64_t value, size_t width) {
  std::string bytes;
  for (size_t i = 0; i < width; ++i) bytes += static_cast<char>(value >> (8 * i));
  return bytes;
}

inline std::string Chunk(std::string_view id, std::string_view body) {
  std::string chunk = std::string(id) + LE(body.size(), 4) + std::string(body);
  if (body.size() % 2 != 0) chunk += '\0';
  return chunk;
}

inline std::string Riff(std::string_view chunks) {
  return "RIFF" + LE(4 + chunks.size(), 4) + "WAVE" + std::string(chunks);
}

// A 16-byte `fmt ` chunk.
inline std::string Fmt(unsigned tag, unsigned channels, unsigned rate, unsigned bits) {
  const unsigned align = channels * bits / 8;
  return Chunk("fmt ", LE(tag, 2) + LE(channels, 2) + LE(rate, 4) + LE(rate * align, 4) +
                           LE(align, 2) + LE(bits, 2));
}

// An extensible one of 40 bytes, all of whose bits but four are said to be valid.
inline std::string ExtensibleFmt(unsigned tag, unsigned channels, unsigned rate, unsigned bits) {
  const std::string plain = Fmt(0xFFFE, channels, rate, bits).substr(8);
  return Chunk("fmt ", plain + LE(22, 2) + LE(bits - 4, 2) + LE(3, 4) + LE(tag, 4) +
                           std::string("\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 12));
}

// A file of 16-bit stereo.
inline std::string Stereo16(std::string_view data, std::string_view chunks_behind = {}) {
  return Riff(Fmt(1, 2, 44100, 16) + Chunk("data", data) + std::string(chunks_behind));
}

inline std::string Noise(size_t count, uint32_t seed = 1) {
  std::string bytes;
  for (; count > 0; --count) {
    seed = seed * 1664525 + 1013904223;
    bytes += static_cast<char>(seed >> 24);
  }
  return bytes;
}

}  // namespace wavecodec::test
