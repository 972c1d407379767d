// UTF-8 sequences (RFC 3629), one character at a time. Surrogates count as characters here, so that
// text that holds them comes through; a caller that wants none looks for them itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace wavecodec {

// Bytes at the front that are ASCII and not zero. Eight at a time: a byte above 0x7F shows its top
// bit, and the subtraction gives one to a zero byte.
inline size_t AsciiRun(const uint8_t* bytes, size_t size) {
  size_t i = 0;
  for (uint64_t eight = 0; size - i >= sizeof(eight); i += sizeof(eight)) {
    std::memcpy(&eight, bytes + i, sizeof(eight));
    if (((eight | (eight - 0x0101010101010101U)) & 0x8080808080808080U) != 0) break;
  }
  while (i < size && bytes[i] != 0 && bytes[i] < 0x80) ++i;
  return i;
}

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

// What lies at the front of a text: its characters to the first zero, the end, or what is no UTF-8.
struct Utf8Run {
  size_t Bytes = 0;
  size_t Characters = 0;
};

inline Utf8Run ScanUtf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  Utf8Run run;
  for (;;) {
    const size_t ascii = AsciiRun(bytes + run.Bytes, text.size() - run.Bytes);
    run.Bytes += ascii;
    run.Characters += ascii;
    if (run.Bytes == text.size() || bytes[run.Bytes] == 0) return run;
    uint32_t c = 0;
    const size_t length = ReadUtf8Sequence(bytes + run.Bytes, text.size() - run.Bytes, c);
    if (length == 0) return run;
    run.Bytes += length;
    ++run.Characters;
  }
}

}  // namespace wavecodec
