// Text on its ways between the command line, the module and the terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace wavehost {

// A file name as the module takes it: whatever is not valid UTF-8 becomes U+DC80 to U+DCFF.
std::wstring WideFileName(std::string_view bytes);

// UTF-8 of `text`; a unit that is no character becomes U+FFFD.
std::string Utf8(std::wstring_view text);
// The same of a text of the module, which may be null.
std::string TextOrEmpty(const wchar_t* text);

// A line fit for a terminal: no invalid bytes, no control characters, nothing that reverses the
// direction of what follows.
std::string Displayable(std::string_view bytes);

[[nodiscard]] bool IsUtf8(std::string_view bytes);

// The columns that a line takes on a terminal.
[[nodiscard]] size_t Columns(std::string_view text);

// Takes the valid UTF-8 sequence, or else the single invalid byte as U+DC80 to U+DCFF, off the
// front of `bytes`, which is not empty.
uint32_t TakeCodePoint(std::string_view& bytes);

// The small letter of an ASCII capital; anything else as it is.
constexpr char LowerASCII(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
std::string LowerASCII(std::string_view text);

// Such as "999 bytes", "12 KB" or "1.5 MB".
std::string SizeText(uint64_t bytes);

}  // namespace wavehost
