// Builds ID3v2 tags byte by byte, without the module's own code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace wavecodec::test {

// The low `bits` bits of each of `width` digits, big-endian.
inline std::string BE(uint64_t value, size_t width, unsigned bits = 8) {
  std::string bytes;
  while (width-- > 0) bytes += static_cast<char>(value >> (bits * width) & ((1U << bits) - 1));
  return bytes;
}
inline std::string SyncSafe(uint64_t value) { return BE(value, 4, 7); }

// A tag without padding.
inline std::string Tag(unsigned version, unsigned flags, const std::string& body) {
  return "ID3" + BE(version, 1) + BE(0, 1) + BE(flags, 1) + SyncSafe(body.size()) + body;
}
// Frames of the three versions.
inline std::string V2(const std::string& id, const std::string& data) {
  return id + BE(data.size(), 3) + data;
}
inline std::string V3(const std::string& id, const std::string& data, unsigned format = 0) {
  return id + BE(data.size(), 4) + BE(format, 2) + data;
}
inline std::string V4(const std::string& id, const std::string& data, unsigned flags = 0) {
  return id + SyncSafe(data.size()) + BE(flags, 2) + data;
}

// A text frame of ID3v2.3 in ISO-8859-1.
inline std::string Text3(const std::string& id, const std::string& text) {
  return V3(id, std::string(1, '\0') + text);
}

}  // namespace wavecodec::test
