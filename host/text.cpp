#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace wavehost {
namespace {

constexpr uint32_t kRawByteEscapes = 0xDC00;
constexpr uint32_t kReplacement = 0xFFFD;

bool IsCharacter(uint32_t code) { return code < 0xD800 || (code >= 0xE000 && code <= 0x10FFFF); }

void AppendUtf8(std::string& out, uint32_t code) {
  const auto append = [&](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    append(code);
    return;
  }
  if (code < 0x800) {
    append(0xC0 | code >> 6U);
  } else {
    if (code < 0x10000) {
      append(0xE0 | code >> 12U);
    } else {
      append(0xF0 | code >> 18U);
      append(0x80 | (code >> 12U & 0x3FU));
    }
    append(0x80 | (code >> 6U & 0x3FU));
  }
  append(0x80 | (code & 0x3FU));
}

struct Range {
  uint32_t first;
  uint32_t last;
};

template <size_t count>
bool IsIn(const Range (&ranges)[count], uint32_t code) {
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [&](const Range& range) { return code >= range.first && code <= range.last; });
}

bool IsUnfit(uint32_t code) {
  constexpr Range kUnfit[] = {{0, 0x1F}, {0x7F, 0x9F}, {0x2028, 0x202E}, {0x2066, 0x2069}};
  return IsIn(kUnfit, code);
}

size_t ColumnsOf(uint32_t code) {
  constexpr Range kCombining[] = {
      {0x300, 0x36F}, {0x200B, 0x200F}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}};
  constexpr Range kWide[] = {{0x1100, 0x115F}, {0x2E80, 0xA4CF},   {0xAC00, 0xD7A3},
                             {0xF900, 0xFAFF}, {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
                             {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD}};
  if (code < 0x300) return 1;
  return IsIn(kCombining, code) ? 0 : IsIn(kWide, code) ? 2 : 1;
}

}  // namespace

uint32_t TakeCodePoint(std::string_view& bytes) {
  const auto byte_at = [&](size_t index) { return static_cast<uint8_t>(bytes[index]); };
  constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800,
                                    0x10000};  // by length: rejects overlong forms
  const uint32_t lead = byte_at(0);
  const size_t length = lead < 0x80 ? 1 : lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (length != 0 && lead < 0xF8 && bytes.size() >= length) {
    uint32_t code = length == 1 ? lead : lead & (0x7FU >> length);
    bool valid = true;
    for (size_t i = 1; i < length; ++i) {
      valid = valid && (byte_at(i) & 0xC0U) == 0x80;
      code = code << 6U | (byte_at(i) & 0x3FU);
    }
    if (valid && code >= kSmallest[length] && IsCharacter(code)) {
      bytes.remove_prefix(length);
      return code;
    }
  }
  bytes.remove_prefix(1);
  return kRawByteEscapes + lead;
}

std::wstring WideFileName(std::string_view bytes) {
  std::wstring name;
  while (!bytes.empty()) name.push_back(static_cast<wchar_t>(TakeCodePoint(bytes)));
  return name;
}

std::string Utf8(std::wstring_view text) {
  std::string out;
  for (const wchar_t unit : text) {
    const uint32_t code = static_cast<char32_t>(unit);
    AppendUtf8(out, IsCharacter(code) ? code : kReplacement);
  }
  return out;
}

std::string TextOrEmpty(const wchar_t* text) { return text == nullptr ? "" : Utf8(text); }

std::string Displayable(std::string_view bytes) {
  std::wstring name = WideFileName(bytes);
  for (wchar_t& unit : name) {
    if (IsUnfit(static_cast<uint32_t>(unit))) unit = L'?';
  }
  return Utf8(name);
}

bool IsUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    if (!IsCharacter(TakeCodePoint(bytes))) return false;
  }
  return true;
}

size_t Columns(std::string_view text) {
  size_t columns = 0;
  while (!text.empty()) columns += ColumnsOf(TakeCodePoint(text));
  return columns;
}

std::string LowerASCII(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return LowerASCII(c); });
  return lower;
}

std::string SizeText(uint64_t bytes) {
  constexpr uint64_t kKilo = 1024;
  if (bytes < kKilo) return fmt::format("{} byte{}", bytes, bytes == 1 ? "" : "s");
  if (bytes < kKilo * kKilo) return fmt::format("{} KB", (bytes + kKilo / 2) / kKilo);
  return fmt::format("{:.1f} MB", static_cast<double>(bytes) / static_cast<double>(kKilo * kKilo));
}

}  // namespace wavehost
