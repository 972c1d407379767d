// Names of fields: the same whatever the case of their ASCII letters.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace wavecodec::id3parser {

constexpr char toLowerASCII(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool sameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return toLowerASCII(x) == toLowerASCII(y);
         });
}

constexpr bool startsWithName(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && sameName(text.substr(0, start.size()), start);
}

// Eight characters at a time. The bit that tells the cases of a letter apart is left out.
inline uint32_t hashName(std::string_view name) {
  constexpr uint64_t kCaseBits = 0x2020202020202020;
  constexpr uint64_t kFactor = 0x9E3779B97F4A7C15;
  uint64_t hash = name.size();
  for (; !name.empty(); name.remove_prefix(std::min(name.size(), sizeof(uint64_t)))) {
    uint64_t piece = 0;
    std::memcpy(&piece, name.data(), std::min(name.size(), sizeof piece));
    hash = (hash ^ (piece | kCaseBits)) * kFactor;
    hash ^= hash >> 32;
  }
  hash *= kFactor;
  return static_cast<uint32_t>(hash >> 32);
}

}  // namespace wavecodec::id3parser
