// Builds ID3v2 tags byte by byte, without the module's own code.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

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

// In tables zeros are written as "~", and lists with "; " between their items.
inline std::string Zeroed(std::string text) {
  std::replace(text.begin(), text.end(), '~', '\0');
  return text;
}
inline std::string Tildes(std::string bytes) {
  std::replace(bytes.begin(), bytes.end(), '\0', '~');
  return bytes;
}
inline std::vector<std::string> Items(const std::string& list) {
  std::vector<std::string> items;
  for (size_t at = 0; at < list.size();) {
    const size_t end = std::min(list.find("; ", at), list.size());
    items.push_back(list.substr(at, end - at));
    at = end + 2;
  }
  return items;
}
// "TIT2 ~a; PRIV x" as frames of a version.
inline std::string Frames(unsigned version, const std::string& list) {
  std::string bytes;
  for (const std::string& item : Items(list)) {
    const size_t size = version == 2 ? 3 : 4;
    const std::string id = Zeroed(item.substr(0, size)), data = Zeroed(item.substr(size + 1));
    bytes += version == 2 ? V2(id, data) : version == 3 ? V3(id, data) : V4(id, data);
  }
  return bytes;
}

}  // namespace wavecodec::test
