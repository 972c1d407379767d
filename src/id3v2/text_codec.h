// The text encodings of ID3v2, to and from UTF-8.
//
// Nothing here fails for a character that an encoding lacks: it becomes "?". Only strict reading
// throws parseError.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace wavecodec::id3parser {

// Each appends to `out`, and stops at the first zero.
void importISO(std::string& out, const uint8_t* bytes, size_t size);  // Windows-1252
void importURL(std::string& out, const uint8_t* bytes, size_t size);  // strict ISO-8859-1
// Bytes that are not valid UTF-8 are read as Windows-1252, or throw when `strict`.
void importUTF8(bool strict, std::string& out, const uint8_t* bytes, size_t size);
// UTF-16 of the byte order told. A surrogate without its partner passes as a character.
void importUTF16(std::string& out, const uint8_t* bytes, size_t units, bool big_endian);

// One string of a payload in one of the encodings of t_textEncoding, to its terminator or the end.
void importString(std::string& out, uint8_t encoding, const uint8_t* bytes, size_t size,
                  bool strict);

// These stop at the first zero, or the first bytes that are not UTF-8.
std::string exportISO(std::string_view utf8);    // Windows-1252
std::string exportURL(std::string_view utf8);    // strict ISO-8859-1
std::string exportUTF16(std::string_view utf8);  // little-endian units as bytes, without a mark

// To the first zero. A lone surrogate in three bytes is valid: UTF-16 can hold one.
bool isValidUTF8(std::string_view bytes);

}  // namespace wavecodec::id3parser
