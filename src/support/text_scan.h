// Numbers and edges of text.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "support/names.h"

namespace wavecodec {

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// What a hexadecimal digit of either case stands for; -1 when the character is none.
constexpr int HexDigit(char c) {
  if (IsDigit(c)) return c - '0';
  const char letter = ToLowerASCII(c);
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

// Without the white space (ASCII) at both ends.
std::string_view Trimmed(std::string_view text);

// The decimal number at the front of a text, behind white space and with an optional sign; 0 when
// there is none, the nearest limit when it does not fit.
int64_t LeadingInt64(std::string_view text);

// The number that a text of decimal digits alone is; none when it is anything else or does not fit.
std::optional<int64_t> WholeNumber(std::string_view text);

// The hexadecimal number at the front of a text, of either case; 0 when there is none. Only its low
// 32 bits are kept.
uint32_t LeadingHex32(std::string_view text);

}  // namespace wavecodec
