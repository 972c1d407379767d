// Unsynchronisation, and undoing it: the zero bytes that keep an 0xFF of a tag from being taken for
// the start of MPEG audio (ID3v2.4 structure, 6.1).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace wavecodec::id3parser {

// Replaces `out` by the decoded bytes. False when they end at a fault: an 0xFF that is the last
// byte or stands before 0xE0 or above. `out` then holds what is before it.
bool undoUnsynchronisation(std::vector<uint8_t>& out, const uint8_t* bytes, size_t size);

// Whether bytes hold what could be taken for audio: an 0xFF before 0xE0 or above, or at their end.
bool test_for_false_sync(const uint8_t* bytes, size_t size);

// Appends the encoded bytes: undoing gives these back.
void unsync(std::vector<uint8_t>& out, const uint8_t* bytes, size_t size);

}  // namespace wavecodec::id3parser
