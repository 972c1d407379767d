#include "support/base64.h"

#include <algorithm>

namespace wavecodec {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The six bits of a character, -1 for one outside the alphabet.
constexpr int SixBits(wchar_t c) {
  if (c >= L'A' && c <= L'Z') return c - L'A';
  if (c >= L'a' && c <= L'z') return c - L'a' + 26;
  if (c >= L'0' && c <= L'9') return c - L'0' + 52;
  return c == L'+' ? 62 : c == L'/' ? 63 : -1;
}

}  // namespace

std::string ToBase64(const uint8_t* bytes, size_t size) {
  std::string out;
  out.reserve((size + 2) / 3 * 4);
  for (size_t i = 0; i < size; i += 3) {
    const size_t used = std::min<size_t>(3, size - i);
    uint32_t group = 0;
    for (size_t k = 0; k < 3; ++k) group = group << 8 | (k < used ? bytes[i + k] : 0U);
    for (size_t k = 0; k < 4; ++k) {
      out += k > used ? '=' : kAlphabet[group >> (18 - 6 * k) & 63];
    }
  }
  return out;
}

std::optional<size_t> Base64Size(std::wstring_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == L'=') ++padding;
  const auto digits = text.substr(0, text.size() - padding);
  if (!std::all_of(digits.begin(), digits.end(), [](wchar_t c) { return SixBits(c) >= 0; })) {
    return std::nullopt;
  }
  return text.size() / 4 * 3 - padding;
}

bool FromBase64(std::wstring_view text, XMem& out) {
  const auto size = Base64Size(text);
  if (!size || !out.SetSize(*size)) {
    out.Free();
    return false;
  }
  uint32_t bits = 0;
  unsigned held = 0;
  for (size_t i = 0, at = 0; at < *size; ++i) {
    bits = bits << 6 | static_cast<uint32_t>(SixBits(text[i]));
    held += 6;
    if (held < 8) continue;
    held -= 8;
    out.Data()[at++] = static_cast<uint8_t>(bits >> held);
  }
  return true;
}

}  // namespace wavecodec
