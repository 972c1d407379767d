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

// Eight characters with their ASCII capital letters made small.
constexpr uint64_t PieceToLowerASCII(uint64_t piece) {
  constexpr uint64_t kEach = 0x0101010101010101;
  const uint64_t low = piece & 0x7F * kEach;
  const uint64_t from_a = low + (0x80 - 'A') * kEach;  // the top bit tells, as in the next one
  const uint64_t past_z = low + (0x7F - 'Z') * kEach;
  return piece | ((from_a & ~past_z & ~piece & 0x80 * kEach) >> 2);
}

// Differs from run to run, so that no file can be made whose names all meet in one place of an
// index: every eight characters are multiplied by a number that is not known beforehand, and spread
// over all bits before the next ones come in.
inline uint32_t HashName(std::string_view name) {
  static const char anchor = 0;
  constexpr uint64_t kFactor = 0x9E3779B97F4A7C15;
  const uint64_t seed = reinterpret_cast<uintptr_t>(&anchor) * kFactor;
  const uint64_t secret = (seed ^ seed >> 32) | 1;
  uint64_t hash = seed;
  const auto mix = [&](uint64_t piece) {
    hash = (hash ^ piece) * kFactor;
    hash = (hash ^ hash >> 32) * secret;
    hash ^= hash >> 29;
  };
  const char* at = name.data();
  size_t left = name.size();
  for (; left >= sizeof(uint64_t); left -= sizeof(uint64_t), at += sizeof(uint64_t)) {
    uint64_t piece = 0;
    std::memcpy(&piece, at, sizeof piece);
    mix(PieceToLowerASCII(piece));
  }
  uint64_t rest = 0;
  for (; left > 0; --left) rest = rest << 8 | static_cast<uint8_t>(ToLowerASCII(at[left - 1]));
  mix(rest);
  mix(name.size());  // a zero at the end of a name counts as well
  return static_cast<uint32_t>(hash >> 32);
}

}  // namespace wavecodec
