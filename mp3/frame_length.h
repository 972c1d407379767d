// The length of an MPEG audio frame, from its header.
#pragma once

#include <cstddef>
#include <cstdint>

namespace wavecodec {

constexpr size_t kFrameHeaderBytes = 4;
// The longest frame whose header tells its length: layer 2 at 160 kbit/s and 8 kHz, padded.
constexpr size_t kLongestFrame = 2881;

// Bytes of the frame that begins with these four bytes, the header among them; 0 when they are no
// header, or that of a free format frame, which does not tell its length.
size_t FrameLength(const uint8_t* header);

}  // namespace wavecodec
