// Loading chunks into memory.
#pragma once

#include <cstddef>
#include <cstdint>

#include "riff/chunk_table.h"
#include "support/xfile.h"
#include "support/xmem.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// Reads `bytes` bytes at `position` of `file`: all of them, or it is an error.
bool ReadFileIntoMemory(void* target, size_t bytes, int64_t position, XFile& file,
                        const STNStdReport& report);

// Loads the data of a chunk as the chunk table has it, never more than the file holds. False when
// they cannot be read or there is no memory.
bool LoadChunk(XMem& data, const STRIFFChunk& chunk, XFile& file, const STNStdReport& report);

}  // namespace wavecodec
