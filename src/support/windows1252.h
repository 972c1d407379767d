// The Windows-1252 code page: the published assignments, five of whose bytes stand for nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace wavecodec {

// The character of a byte; 0 for a byte above 0 that stands for nothing.
wchar_t CharacterOf1252(uint8_t byte);
// The byte of a character; 0 for a character above 0 that the code page lacks.
uint8_t ByteOf1252(uint32_t character);

// UTF-8 of bytes, to the first zero or the end. What stands for nothing becomes "_".
std::string From1252(const uint8_t* bytes, size_t size);
// The reverse, from valid UTF-8; what the code page lacks becomes "_".
std::string To1252(std::string_view utf8);

}  // namespace wavecodec
