#include "text.h"

#include <cstddef>
#include <cstdint>

namespace wavehost {
namespace {

constexpr uint32_t kRawByteEscapes = 0xDC00;
constexpr uint32_t kReplacement = 0xFFFD;

bool IsCharacter(uint32_t code) { return code < 0xD800 || (code >= 0xE000 && code <= 0x10FFFF); }

// Takes the valid UTF-8 sequence, or else the single invalid byte (escaped), off the front of
// `bytes`.
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

}  // namespace

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

std::string Displayable(std::string_view bytes) {
  std::wstring name = WideFileName(bytes);
  for (wchar_t& unit : name) {
    if (unit < 0x20 || (unit >= 0x7F && unit < 0xA0)) unit = L'?';
  }
  return Utf8(name);
}

}  // namespace wavehost
