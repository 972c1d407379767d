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
// The same, but surrogates are written like characters, so that FromUtf8 gives them back.
std::string ToWholeUtf8(std::wstring_view text);
// The reverse of both: a byte that belongs to no valid sequence becomes U+FFFD. A surrogate written
// as three bytes becomes that unit, so that text of other programs is not changed by being looked
// at.
XStr FromUtf8(std::string_view bytes);

// One unit at a time, for text that is mixed with something else. A unit that is no character is
// appended as U+FFFD.
void AppendUtf8(std::string& out, wchar_t unit);
// Takes the sequence at the front of `bytes`, which are not empty: as FromUtf8.
wchar_t TakeUtf8(std::string_view& bytes);

// Bytes of a file name: UTF-8, except that U+DC80 to U+DCFF stand for the raw bytes 0x80 to 0xFF,
// so that a name that is not valid UTF-8 can be named. None for a name with any other unit that is
// no character: no file has it.
std::optional<std::string> ToFileNameBytes(std::wstring_view name);
// The reverse: whatever is not valid UTF-8 becomes U+DC80 to U+DCFF.
XStr FromFileNameBytes(std::string_view bytes);

// The small letter of an ASCII capital; anything else as it is. Names are compared this way: what
// two names have in common then never depends on the language that the host runs in.
constexpr wchar_t FoldCase(wchar_t c) {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
}
// Whether two texts differ in the case of ASCII letters at most.
inline bool EqualNoCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i] && FoldCase(a[i]) != FoldCase(b[i])) return false;
  }
  return true;
}

// A list of texts.
struct XStrList : std::vector<XStr> {
  // Replaces the list by a packed array: zero-terminated texts one after another, ended by an empty
  // text. At most `bound` characters are looked at. Null is an empty list.
  void SetFromPackedCharArray(const wchar_t* packed, size_t bound);
};

}  // namespace wavecodec
