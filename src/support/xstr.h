// Wide text, and its ways in and out of UTF-8.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wavecodec {

// All text inside the module: one 32-bit unit a character.
using XStr = std::wstring;

// UTF-8 of `text`; a unit that is no character (a surrogate, or past U+10FFFF) becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);

// Bytes of a file name: UTF-8, except that U+DC80 to U+DCFF stand for the raw bytes 0x80 to 0xFF,
// so that a name that is not valid UTF-8 can be named. None for a name with any other unit that is
// no character: no file has it.
std::optional<std::string> ToFileNameBytes(std::wstring_view name);
// The reverse: whatever is not valid UTF-8 becomes U+DC80 to U+DCFF.
XStr FromFileNameBytes(std::string_view bytes);

// A list of texts.
struct XStrList : std::vector<XStr> {
  // Replaces the list by a packed array: zero-terminated texts one after another, ended by an empty
  // text. At most `bound` characters are looked at. Null is an empty list.
  void SetFromPackedCharArray(const wchar_t* packed, size_t bound);
};

}  // namespace wavecodec
