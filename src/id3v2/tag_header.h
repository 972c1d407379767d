// The ten bytes that a tag starts with (ID3v2.2, 2.3, 2.4).
#pragma once

#include <cstddef>
#include <cstdint>

#include "id3v2/frame.h"

namespace wavecodec::id3parser {

// A frame of that size or more fails a tag.
inline constexpr uint32_t kFrameSizeLimit = 0x4000000;

struct t_tagHeader {
  t_tagRevision revision = revisionNone;
  bool unsynchronised = false;  // as a whole; ID3v2.4 does that frame by frame
  bool extendedHeader = false;
  size_t size = 0;  // of what follows, without a footer
};

// Takes kTagHeaderSize bytes; throws parseError when they are no header of a tag that can be read.
t_tagHeader readTagHeader(const uint8_t* bytes);

// Four bytes of seven bits each; parseError when a top bit is set.
uint32_t readSyncSafe(const uint8_t* bytes);

}  // namespace wavecodec::id3parser
