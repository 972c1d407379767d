#include "riff/chunk_table.h"

#include <limits>

namespace wavecodec {
void RIFFChunkTable::Append(uint32_t id, uint64_t size) {
  if (Chunks % kBlockCount == 0) Blocks.push_back({End, {}});
  Blocks.back().Entries.push_back({id, static_cast<uint32_t>(size)});
  if (size > std::numeric_limits<uint32_t>::max()) {
    WideIndex = Chunks;
    WideSize = size;
  }
  ++Chunks;
  End = SaturatingAdd(End, Footprint(size));
}

void RIFFChunkTable::Clear() { *this = RIFFChunkTable(); }

std::optional<STRIFFChunk> RIFFChunkTable::At(size_t index) const {
  if (index >= Chunks) return std::nullopt;
  int64_t position = Blocks[index / kBlockCount].Position;
  for (size_t i = index - index % kBlockCount; i < index; ++i) {
    position = SaturatingAdd(position, Footprint(SizeAt(i)));
  }
  return ChunkAt(index, position);
}

}  // namespace wavecodec
