// `LIST` chunks of type `INFO`: texts under four-character IDs, in Windows-1252.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "support/xmem.h"
#include "tags/set/tag_set.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// How entries of one name are taken in.
enum class NTagRepeats { Keep, FirstOnly };

// Both work on memory: the body of the chunk, from the list type on.
class clRIFFLISTChunk {
 public:
  // Replaces `tags` by what the body holds, in file order. `album_option` 0: the album is `IPRD`;
  // otherwise `ISRC`. False when the body is no `INFO` list or ends inside a sub-chunk; what was
  // read before is in `tags` then.
  static bool InitFrom(const uint8_t* body, size_t size, NTag& tags, const STNStdReport& report,
                       uint32_t album_option, NTagRepeats repeats = NTagRepeats::Keep);
  // Makes the body of the tags that have an ID; an empty one when none has. `track_option` 0: the
  // track is `ITRK`; 1: `TRCK`; otherwise `itrk`. False only when there is no memory.
  static bool TagsToLIST(XMem& out, const NTag& tags, const STNStdReport& report,
                         uint32_t album_option, uint32_t track_option);
  // The sub-chunks of a body that TagsToLIST would not write again, as they are: those of unknown
  // IDs, and those of `tags` that are only read.
  static std::string OtherSubChunks(const XMem& body, const NTag& tags, uint32_t album_option,
                                    uint32_t track_option);
  // Puts the old sub-chunks of `body` into the place of those of a body of TagsToLIST that say the
  // same: a text that nobody has changed keeps bytes which the code page lacks. `present` are the
  // tags of the file: UTF-8 of a value of theirs says the same where it is a value of `tags`, too.
  static bool KeepSubChunks(XMem& made, const XMem& body, const NTag& tags, const NTag& present,
                            uint32_t album_option);
  // Makes a body of TagsToLIST longer by an even number of bytes: zeros behind its last text.
  static bool Lengthen(XMem& body, size_t bytes);
};

}  // namespace wavecodec
