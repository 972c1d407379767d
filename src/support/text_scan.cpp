#include "support/text_scan.h"

#include "support/names.h"
#include "support/saturating.h"

namespace wavecodec {

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n\v\f";
  const size_t first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

int64_t LeadingInt64(std::string_view text) {
  text = Trimmed(text);
  const bool negative = !text.empty() && text.front() == '-';
  if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
  int64_t value = 0;  // counted on its own side of 0, whose limits differ
  for (const char c : text) {
    if (c < '0' || c > '9') break;
    const int64_t digit = c - '0';
    value = SaturatingAdd(SaturatingMul(value, 10), negative ? -digit : digit);
  }
  return value;
}

uint32_t LeadingHex32(std::string_view text) {
  uint32_t value = 0;
  for (const char c : Trimmed(text)) {
    const char digit = ToLowerASCII(c);
    if (digit >= '0' && digit <= '9') {
      value = value << 4 | static_cast<uint32_t>(digit - '0');
    } else if (digit >= 'a' && digit <= 'f') {
      value = value << 4 | static_cast<uint32_t>(digit - 'a' + 10);
    } else {
      break;
    }
  }
  return value;
}

}  // namespace wavecodec
