#include "support/xstr.h"

#include <algorithm>
#include <cstdint>
#include <cwchar>

namespace wavecodec {
namespace {

constexpr uint32_t kReplacement = 0xFFFD;
constexpr uint32_t kRawByteBase = 0xDC00;  // U+DC80..U+DCFF stand for the bytes 0x80..0xFF

constexpr uint32_t CodePoint(wchar_t unit) { return static_cast<uint32_t>(unit); }
constexpr bool IsSurrogate(uint32_t c) { return c >= 0xD800 && c <= 0xDFFF; }
constexpr bool IsCharacter(uint32_t c) { return c <= 0x10FFFF && !IsSurrogate(c); }
constexpr bool IsRawByte(uint32_t c) {
  return c >= kRawByteBase + 0x80 && c <= kRawByteBase + 0xFF;
}

void AppendCharacter(std::string& out, uint32_t c) {
  if (!IsCharacter(c)) c = kReplacement;
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

// Length of the sequence at the front of `bytes`, its character in `c`; 0 when there is none. RFC
// 3629 (no overlong forms, nothing past U+10FFFF), but for surrogates, which it excludes.
size_t ReadUnit(std::string_view bytes, uint32_t& c) {
  const auto lead = static_cast<uint8_t>(bytes.front());
  if (lead < 0x80) {
    c = lead;
    return 1;
  }
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  constexpr uint32_t kSmallest[] = {0x80, 0x800, 0x10000};
  if (lead < 0xC2 || lead > 0xF4 || bytes.size() < length) return 0;
  c = lead & (0xFFU >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    const auto next = static_cast<uint8_t>(bytes[i]);
    if ((next & 0xC0) != 0x80) return 0;
    c = c << 6 | (next & 0x3F);
  }
  return c < kSmallest[length - 2] || c > 0x10FFFF ? 0 : length;
}

// The text of `bytes`, each byte that is part of no sequence replaced by `broken(byte)`.
template <bool kSurrogates, typename Broken>
XStr Decode(std::string_view bytes, Broken broken) {
  const auto is_ascii = [](char c) { return static_cast<uint8_t>(c) < 0x80; };
  const auto* ascii_end = std::find_if_not(bytes.begin(), bytes.end(), is_ascii);
  XStr out(bytes.begin(), ascii_end);
  bytes.remove_prefix(out.size());
  out.reserve(out.size() + bytes.size());
  while (!bytes.empty()) {
    uint32_t c = 0;
    size_t length = ReadUnit(bytes, c);
    if (length == 0 || (!kSurrogates && IsSurrogate(c))) {
      c = broken(static_cast<uint8_t>(bytes.front()));
      length = 1;
    }
    out += static_cast<wchar_t>(c);
    bytes.remove_prefix(length);
  }
  return out;
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (const wchar_t c : text) AppendCharacter(out, CodePoint(c));
  return out;
}

std::optional<std::string> ToFileNameBytes(std::wstring_view name) {
  std::string out;
  out.reserve(name.size());
  for (const wchar_t c : name) {
    if (IsRawByte(CodePoint(c))) {
      out += static_cast<char>(CodePoint(c) - kRawByteBase);
    } else if (!IsCharacter(CodePoint(c))) {
      return std::nullopt;
    } else {
      AppendCharacter(out, CodePoint(c));
    }
  }
  return out;
}

XStr FromFileNameBytes(std::string_view bytes) {
  return Decode<false>(bytes, [](uint8_t byte) { return kRawByteBase + byte; });
}

XStr FromUtf8(std::string_view bytes) {
  return Decode<true>(bytes, [](uint8_t) { return kReplacement; });
}

void AppendUtf8(std::string& out, wchar_t unit) { AppendCharacter(out, CodePoint(unit)); }

wchar_t TakeUtf8(std::string_view& bytes) {
  uint32_t c = 0;
  const size_t length = ReadUnit(bytes, c);
  bytes.remove_prefix(length != 0 ? length : 1);
  return static_cast<wchar_t>(length != 0 ? c : kReplacement);
}

bool EqualNoCase(std::wstring_view a, std::wstring_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](wchar_t x, wchar_t y) { return FoldCase(x) == FoldCase(y); });
}

void XStrList::SetFromPackedCharArray(const wchar_t* packed, size_t bound) {
  clear();
  while (packed != nullptr && bound > 0) {
    const size_t length = wcsnlen(packed, bound);
    if (length == 0) break;
    emplace_back(packed, length);
    const size_t used = std::min(length + 1, bound);
    packed += used;
    bound -= used;
  }
}

}  // namespace wavecodec
