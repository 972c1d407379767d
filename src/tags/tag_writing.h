// Writing and deleting the tags of Wave files, in place.
#pragma once

#include <cstddef>

#include "support/xstr.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// Writes the tags of a tag block (see NTag) into a file: they replace the file's tags of the same
// names, all others stay. Where they go is the user's choice (see WaveTagOptions); a file that has
// `LIST` or ID3v2 tags keeps its kinds of tags, and fields of a broadcast go into `bext` as well.
// True when they were written, or there was nothing to write. On failure the file is as it was; a
// change that is interrupted in its midst is finished when the file is opened next.
bool WriteIDTags(const wchar_t* file_name, const void* block, size_t block_size,
                 const STNStdReport& report);

// Deletes the tags of these names from a file, or all `LIST`, ID3v2 and `bext` tags.
bool DeleteTags(const wchar_t* file_name, const XStrList& names, bool delete_all,
                const STNStdReport& report);

}  // namespace wavecodec
