// UTF-8 sequences (RFC 3629), one character at a time. Surrogates count as characters here, so that
// text that holds them comes through; a caller that wants none looks for them itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace wavecodec {

// Appends the sequence of a character up to U+10FFFF.
inline void AppendUtf8Sequence(std::string& out, uint32_t c) {
  const auto continuation = [&](unsigned shift) {
    out += static_cast<char>(0x80 | ((c >> shift) & 0x3F));
  };
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    continuation(0);
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    continuation(6);
    continuation(0);
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    continuation(12);
    continuation(6);
    continuation(0);
  }
}

// Length of the sequence at the front of `size` bytes (one at least), its character in `c`; 0 when
// there is none: cut short, longer than need be, past U+10FFFF.
inline size_t ReadUtf8Sequence(const uint8_t* bytes, size_t size, uint32_t& c) {
  const uint8_t lead = bytes[0];
  if (lead < 0x80) {
    c = lead;
    return 1;
  }
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  constexpr uint32_t kSmallest[] = {0x80, 0x800, 0x10000};
  if (lead < 0xC2 || lead > 0xF4 || size < length) return 0;
  c = lead & (0xFFU >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    if ((bytes[i] & 0xC0) != 0x80) return 0;
    c = c << 6 | (bytes[i] & 0x3F);
  }
  return c < kSmallest[length - 2] || c > 0x10FFFF ? 0 : length;
}

}  // namespace wavecodec
