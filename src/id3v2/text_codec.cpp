#include "id3v2/text_codec.h"

#include <cstring>

#include "id3v2/errors.h"
#include "id3v2/frame.h"
#include "support/utf8.h"
#include "support/windows1252.h"

namespace wavecodec::id3parser {
namespace {

constexpr uint16_t kByteOrderMark = 0xFEFF;
constexpr uint16_t kSwappedMark = 0xFFFE;

constexpr bool isC1(uint32_t c) { return c >= 0x80 && c < 0xA0; }
constexpr bool isHighSurrogate(uint32_t c) { return c >= 0xD800 && c < 0xDC00; }
constexpr bool isLowSurrogate(uint32_t c) { return c >= 0xDC00 && c < 0xE000; }

void append(std::string& out, const uint8_t* bytes, size_t size) {
  if (size > 0) out.append(reinterpret_cast<const char*>(bytes), size);
}

// Calls ascii(bytes, count) and other(character) in turn, to the first zero or the first bytes that
// are no character. Returns where that is.
template <typename Ascii, typename Other>
size_t walkUTF8(std::string_view utf8, Ascii ascii, Other other) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(utf8.data());
  size_t at = 0;
  while (at < utf8.size()) {
    if (const size_t run = AsciiRun(bytes + at, utf8.size() - at); run > 0) {
      ascii(bytes + at, run);
      at += run;
      continue;
    }
    uint32_t c = 0;
    const size_t length = ReadUtf8Sequence(bytes + at, utf8.size() - at, c);
    if (length == 0 || c == 0) break;
    other(c);
    at += length;
  }
  return at;
}

// Bytes of a code page to the first zero; character(byte) tells what a byte above 0x7F is.
template <typename Character>
void importBytes(std::string& out, const uint8_t* bytes, size_t size, Character character) {
  size_t at = 0;
  while (at < size && bytes[at] != 0) {
    if (bytes[at] < 0x80) {
      const size_t run = AsciiRun(bytes + at, size - at);
      append(out, bytes + at, run);
      at += run;
    } else {
      AppendUtf8Sequence(out, character(bytes[at++]));
    }
  }
}

// The reverse; byte(character) tells what a character above U+007F is.
template <typename Byte>
std::string exportBytes(std::string_view utf8, Byte byte) {
  std::string out;
  out.reserve(utf8.size());
  walkUTF8(
      utf8, [&](const uint8_t* run, size_t size) { append(out, run, size); },
      [&](uint32_t c) { out += static_cast<char>(byte(c)); });
  return out;
}

uint16_t unitAt(const uint8_t* bytes, bool big_endian) {
  return static_cast<uint16_t>(big_endian ? bytes[0] << 8 | bytes[1] : bytes[1] << 8 | bytes[0]);
}

size_t lengthToZero(const uint8_t* bytes, size_t size) {
  const void* zero = size > 0 ? std::memchr(bytes, 0, size) : nullptr;
  return zero == nullptr ? size : static_cast<size_t>(static_cast<const uint8_t*>(zero) - bytes);
}

void importMarkedUTF16(std::string& out, const uint8_t* bytes, size_t units, bool strict) {
  const uint16_t mark = units > 0 ? unitAt(bytes, false) : uint16_t{0};
  const bool marked = mark == kByteOrderMark || mark == kSwappedMark;
  if (!marked && strict) throw parseError();
  if (marked) {
    bytes += 2;
    --units;
  }
  importUTF16(out, bytes, units, mark == kSwappedMark);
}

}  // namespace

void importISO(std::string& out, const uint8_t* bytes, size_t size) {
  importBytes(out, bytes, size, [](uint8_t byte) -> uint32_t {
    const wchar_t c = CharacterOf1252(byte);
    return c == 0 ? '?' : static_cast<uint32_t>(c);
  });
}

void importURL(std::string& out, const uint8_t* bytes, size_t size) {
  importBytes(out, bytes, size, [](uint8_t byte) -> uint32_t { return isC1(byte) ? '?' : byte; });
}

void importUTF8(bool strict, std::string& out, const uint8_t* bytes, size_t size) {
  size = lengthToZero(bytes, size);
  if (isValidUTF8({reinterpret_cast<const char*>(bytes), size})) {
    append(out, bytes, size);
  } else if (strict) {
    throw parseError();
  } else {
    importISO(out, bytes, size);
  }
}

void importUTF16(std::string& out, const uint8_t* bytes, size_t units, bool big_endian) {
  for (size_t i = 0; i < units; ++i) {
    uint32_t c = unitAt(bytes + 2 * i, big_endian);
    if (c == 0) return;
    if (isHighSurrogate(c) && i + 1 < units) {
      const uint32_t low = unitAt(bytes + 2 * (i + 1), big_endian);
      if (isLowSurrogate(low)) {
        c = 0x10000 + ((c & 0x3FF) << 10) + (low & 0x3FF);
        ++i;
      }
    }
    AppendUtf8Sequence(out, c);
  }
}

void importString(std::string& out, uint8_t encoding, const uint8_t* bytes, size_t size,
                  bool strict) {
  switch (encoding) {
    case encodingISO:
      size = lengthToZero(bytes, size);
      if (strict && AsciiRun(bytes, size) < size) throw parseError();
      return importISO(out, bytes, size);
    case encodingUTF16:
      return importMarkedUTF16(out, bytes, size / 2, strict);
    case encodingUTF16BE:
      return importUTF16(out, bytes, size / 2, true);
    case encodingUTF8:
      return importUTF8(strict, out, bytes, size);
    default:
      throw parseError();
  }
}

std::string exportISO(std::string_view utf8) {
  return exportBytes(utf8, [](uint32_t c) {
    const uint8_t byte = ByteOf1252(c);
    return byte == 0 ? uint8_t{'?'} : byte;
  });
}

std::string exportURL(std::string_view utf8) {
  return exportBytes(utf8, [](uint32_t c) -> uint8_t {
    return isC1(c) || c > 0xFF ? uint8_t{'?'} : static_cast<uint8_t>(c);
  });
}

std::string exportUTF16(std::string_view utf8) {
  std::string out;
  out.reserve(2 * utf8.size());
  const auto unit = [&](uint32_t value) {
    out += static_cast<char>(value & 0xFF);
    out += static_cast<char>(value >> 8);
  };
  walkUTF8(
      utf8,
      [&](const uint8_t* run, size_t size) {
        for (size_t i = 0; i < size; ++i) unit(run[i]);
      },
      [&](uint32_t c) {
        if (c >= 0x10000) {
          unit(0xD800 + ((c - 0x10000) >> 10));
          unit(0xDC00 + (c & 0x3FF));
        } else {
          unit(c);
        }
      });
  return out;
}

bool isValidUTF8(std::string_view bytes) {
  const size_t end = walkUTF8(
      bytes, [](const uint8_t*, size_t) {}, [](uint32_t) {});
  return end == bytes.size() || bytes[end] == '\0';
}

}  // namespace wavecodec::id3parser
