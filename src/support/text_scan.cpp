#include "support/text_scan.h"

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
    if (!IsDigit(c)) break;
    const int64_t digit = c - '0';
    value = SaturatingAdd(SaturatingMul(value, 10), negative ? -digit : digit);
  }
  return value;
}

std::optional<int64_t> WholeNumber(std::string_view text) {
  int64_t value = 0;
  if (text.empty()) return std::nullopt;
  for (const char c : text) {
    if (!IsDigit(c) || __builtin_mul_overflow(value, 10, &value) ||
        __builtin_add_overflow(value, c - '0', &value)) {
      return std::nullopt;
    }
  }
  return value;
}

uint32_t LeadingHex32(std::string_view text) {
  uint32_t value = 0;
  for (const char c : Trimmed(text)) {
    const int digit = HexDigit(c);
    if (digit < 0) break;
    value = value << 4 | static_cast<uint32_t>(digit);
  }
  return value;
}

}  // namespace wavecodec
