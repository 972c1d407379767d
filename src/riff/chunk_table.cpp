#include "riff/chunk_table.h"

#include <limits>

#include "support/saturating.h"

namespace wavecodec {
namespace {

// Bytes that a chunk takes in the file: header, data, pad byte.
int64_t Footprint(uint64_t size) {
  return SaturatingAdd(RIFFChunkTable::kHeaderSize, static_cast<int64_t>(size + (size & 1)));
}

}  // namespace

void RIFFChunkTable::Append(uint32_t id, uint64_t size) {
  if (Entries.size() % kStride == 0) Positions.push_back(End);
  if (size > std::numeric_limits<uint32_t>::max()) {
    WideIndex = Entries.size();
    WideSize = size;
  }
  Entries.push_back({id, static_cast<uint32_t>(size)});
  End = SaturatingAdd(End, Footprint(size));
}

void RIFFChunkTable::Clear() { *this = RIFFChunkTable(); }

std::optional<STRIFFChunk> RIFFChunkTable::At(size_t index) const {
  if (index >= Entries.size()) return std::nullopt;
  int64_t position = Positions[index / kStride];
  for (size_t i = index / kStride * kStride; i < index; ++i) {
    position = SaturatingAdd(position, Footprint(SizeAt(i)));
  }
  return STRIFFChunk{Entries[index].ID, SizeAt(index), position, position + kHeaderSize};
}

}  // namespace wavecodec
