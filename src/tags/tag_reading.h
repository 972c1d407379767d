// Gathering the tags of a Wave file: from its ID3v2 tag, its `LIST` and its `bext` chunk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "riff/riff_handler.h"
#include "support/xfile.h"
#include "support/xmem.h"
#include "support/xstr.h"
#include "tags/set/tag_set.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// Where the tags of a file came from.
struct WaveTagSources {
  ptrdiff_t ListIndex = -1;  // of the last `LIST` chunk that decoded; -1: none
  ptrdiff_t Id3Index = -1;   // of the last ID3 chunk that is not empty, also of a damaged one
  std::optional<uint16_t> BextVersion;  // of the first `bext` chunk; 0 when it is too short to tell
};

// Replaces `tags` by all tags of the file. Where sources differ, ID3v2 goes before `LIST`, that
// before `bext`, and the earlier chunk before the later one. A chunk that cannot be read or decoded
// contributes nothing.
WaveTagSources InternalReadTags(XFile& file, const clRIFFHandler& riff, NTag& tags,
                                const STNStdReport& report);

// The kinds of tags found, for people: "LIST & ID3 & BEXT v1". Appended to what `kinds` holds.
void AppendTagKinds(XStr& kinds, const WaveTagSources& sources);

// Makes the tag block of `tags` and of the file's other chunks, each of which becomes an entry
// "_riff_" + number with the ID and the data as payload (`fmt ` and `data`: the ID only), so that
// the host can carry them over. The chunks are read straight into the block.
void MakeTagBlock(XMem& block, const NTag& tags, XFile& file, const clRIFFHandler& riff,
                  const WaveTagSources& sources, const STNStdReport& report);

}  // namespace wavecodec
