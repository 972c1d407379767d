// Numbers and edges of text.
#pragma once

#include <cstdint>
#include <string_view>

namespace wavecodec {

// Without the white space (ASCII) at both ends.
std::string_view Trimmed(std::string_view text);

// The decimal number at the front of a text, behind white space and with an optional sign; 0 when
// there is none, the nearest limit when it does not fit.
int64_t LeadingInt64(std::string_view text);

// The hexadecimal number at the front of a text, of either case; 0 when there is none. Only its low
// 32 bits are kept.
uint32_t LeadingHex32(std::string_view text);

}  // namespace wavecodec
