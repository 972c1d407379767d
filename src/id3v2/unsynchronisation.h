// Undoing unsynchronisation: the zero bytes that keep an 0xFF of a tag from being taken for the
// start of MPEG audio (ID3v2.4 structure, 6.1).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace wavecodec::id3parser {

// Replaces `out` by the decoded bytes. False when they end at a fault: an 0xFF that is the last
// byte or stands before 0xE0 or above. `out` then holds what is before it.
bool undoUnsynchronisation(std::vector<uint8_t>& out, const uint8_t* bytes, size_t size);

}  // namespace wavecodec::id3parser
