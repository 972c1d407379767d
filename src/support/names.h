// Names of tags and fields, in UTF-8: the same whatever the case of their ASCII letters.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace wavecodec {

constexpr char ToLowerASCII(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool SameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return ToLowerASCII(x) == ToLowerASCII(y);
         });
}

constexpr bool StartsWithName(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && SameName(text.substr(0, start.size()), start);
}

// Eight characters at a time. The bit that tells the cases of a letter apart is left out. Differs
// from run to run, so that no file can be made whose names all meet in one place of an index.
inline uint32_t HashName(std::string_view name) {
  static const char anchor = 0;
  constexpr uint64_t kCaseBits = 0x2020202020202020;
  constexpr uint64_t kFactor = 0x9E3779B97F4A7C15;
  uint64_t hash = reinterpret_cast<uintptr_t>(&anchor) ^ name.size();
  for (; !name.empty(); name.remove_prefix(std::min(name.size(), sizeof(uint64_t)))) {
    uint64_t piece = 0;
    std::memcpy(&piece, name.data(), std::min(name.size(), sizeof piece));
    hash = (hash ^ (piece | kCaseBits)) * kFactor;
    hash ^= hash >> 32;
  }
  hash *= kFactor;
  return static_cast<uint32_t>(hash >> 32);
}

}  // namespace wavecodec
