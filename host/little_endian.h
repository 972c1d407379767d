// Numbers as they lie in a tag block and in a Wave file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace wavehost {

inline uint64_t LittleEndian(std::span<const std::byte> bytes) {
  uint64_t number = 0;
  for (size_t i = bytes.size(); i > 0; --i) {
    number = number << 8U | std::to_integer<uint64_t>(bytes[i - 1]);
  }
  return number;
}

// Appends so many low bytes of the number.
inline void AppendLittleEndian(std::vector<std::byte>& bytes, uint64_t number, size_t size) {
  for (; size > 0; --size, number >>= 8U) bytes.push_back(static_cast<std::byte>(number & 0xFFU));
}

}  // namespace wavehost
