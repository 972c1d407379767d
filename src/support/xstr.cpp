#include "support/xstr.h"

#include <algorithm>
#include <cstdint>
#include <cwchar>

#include "support/utf8.h"

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
  AppendUtf8Sequence(out, IsCharacter(c) ? c : kReplacement);
}

size_t ReadUnit(std::string_view bytes, uint32_t& c) {
  return ReadUtf8Sequence(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), c);
}

// The text of `bytes`, each byte that is part of no sequence replaced by `broken(byte)`.
template <bool kSurrogates, typename Broken>
XStr Decode(std::string_view bytes, Broken broken) {
  const auto* first = reinterpret_cast<const uint8_t*>(bytes.data());
  XStr out(first, first + AsciiRun(first, bytes.size()));
  bytes.remove_prefix(out.size());
  if (!bytes.empty()) out.reserve(out.size() + bytes.size());
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

std::string ToWholeUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (const wchar_t c : text) {
    AppendUtf8Sequence(out, CodePoint(c) <= 0x10FFFF ? CodePoint(c) : kReplacement);
  }
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
