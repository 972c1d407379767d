#include "support/windows1252.h"

#include <algorithm>
#include <array>

#include "support/utf8.h"

namespace wavecodec {
namespace {

constexpr uint8_t kFirst = 0x80;
// The characters of 0x80 to 0x9F; all other bytes are the character of their number.
constexpr std::array<wchar_t, 32> kMappings = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

constexpr char kNoCharacter = '_';

}  // namespace

wchar_t CharacterOf1252(uint8_t byte) {
  if (byte < kFirst || byte >= kFirst + kMappings.size()) return static_cast<wchar_t>(byte);
  return kMappings[byte - kFirst];
}

uint8_t ByteOf1252(uint32_t character) {
  if (character < kFirst || (character >= kFirst + kMappings.size() && character <= 0xFF)) {
    return static_cast<uint8_t>(character);
  }
  const auto* found = std::find_if(kMappings.begin(), kMappings.end(), [&](wchar_t mapped) {
    return mapped != 0 && static_cast<uint32_t>(mapped) == character;
  });
  if (found == kMappings.end()) return 0;
  return static_cast<uint8_t>(kFirst + (found - kMappings.begin()));
}

std::string From1252(const uint8_t* bytes, size_t size) {
  std::string text;
  while (size != 0 && *bytes != 0) {
    size_t length = AsciiRun(bytes, size);
    if (length != 0) {
      text.append(reinterpret_cast<const char*>(bytes), length);
    } else {
      const wchar_t c = CharacterOf1252(*bytes);
      AppendUtf8Sequence(text, c != 0 ? static_cast<uint32_t>(c) : kNoCharacter);
      length = 1;
    }
    bytes += length;
    size -= length;
  }
  return text;
}

std::string To1252(std::string_view utf8) {
  std::string bytes;
  const auto* next = reinterpret_cast<const uint8_t*>(utf8.data());
  for (size_t left = utf8.size(); left != 0;) {
    size_t length = AsciiRun(next, left);
    if (length != 0) {
      bytes.append(reinterpret_cast<const char*>(next), length);
    } else {
      uint32_t c = 0;
      length = std::max<size_t>(1, ReadUtf8Sequence(next, left, c));
      const uint8_t byte = ByteOf1252(c);
      bytes += byte != 0 ? static_cast<char>(byte) : kNoCharacter;
    }
    next += length;
    left -= length;
  }
  return bytes;
}

}  // namespace wavecodec
