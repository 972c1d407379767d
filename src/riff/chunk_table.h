// The table of a RIFF file's top-level chunks, in file order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "support/saturating.h"

namespace wavecodec {

// One top-level chunk.
struct STRIFFChunk {
  uint32_t ChunkID = 0;          // the four ID bytes as stored (see RIFFChnkID)
  uint64_t ChunkSize = 0;        // data bytes, without the 8-byte header and without a pad byte
  int64_t ChunkPosition = 0;     // file position of the header
  int64_t FileDataPosition = 0;  // file position of the first data byte
};

// Keeps 8 bytes a chunk, as the file does, so that the table never takes more memory than the file
// has bytes. Positions are not stored: by the layout rule they follow from the sizes (chunks stand
// one behind another from byte 12 on, an odd-sized one with one pad byte). One chunk may be larger
// than 32 bits can say: the `data` of an RF64 file, behind which nothing can stand.
class RIFFChunkTable {
 public:
  static constexpr int64_t kFirstPosition = 12;  // behind the container header
  static constexpr int64_t kHeaderSize = 8;

  void Append(uint32_t id, uint64_t size);
  void Clear();
  [[nodiscard]] size_t Count() const { return Chunks; }
  // The chunk at `index`; none past the end.
  [[nodiscard]] std::optional<STRIFFChunk> At(size_t index) const;
  // Index of the first chunk that `matches(id)`; none when there is none.
  template <typename Predicate>
  [[nodiscard]] std::optional<size_t> Find(Predicate matches) const {
    for (size_t i = 0; i < Chunks; ++i) {
      if (matches(EntryAt(i).ID)) return i;
    }
    return std::nullopt;
  }
  // Calls work(index, chunk) with each chunk in turn; cheaper than At for every index.
  template <typename Work>
  void ForEach(Work work) const {
    int64_t position = kFirstPosition;
    for (size_t i = 0; i < Chunks; ++i) {
      work(i, ChunkAt(i, position));
      position = SaturatingAdd(position, Footprint(SizeAt(i)));
    }
  }
  // Where the next chunk would begin: the end of the last one, its pad byte included.
  [[nodiscard]] int64_t EndPosition() const { return End; }

 private:
  struct Entry {
    uint32_t ID;
    uint32_t Size;
  };
  struct Block {
    int64_t Position;  // of its first chunk
    std::vector<Entry> Entries;
  };
  static constexpr size_t kBlockCount = 8192;  // chunks in every block but the last

  // Bytes that a chunk takes in the file: header, data, pad byte.
  static int64_t Footprint(uint64_t size) {
    return SaturatingAdd(kHeaderSize, static_cast<int64_t>(size + (size & 1)));
  }
  [[nodiscard]] STRIFFChunk ChunkAt(size_t index, int64_t position) const {
    return {EntryAt(index).ID, SizeAt(index), position, position + kHeaderSize};
  }
  [[nodiscard]] const Entry& EntryAt(size_t index) const {
    return Blocks[index / kBlockCount].Entries[index % kBlockCount];
  }
  [[nodiscard]] uint64_t SizeAt(size_t index) const {
    return index == WideIndex ? WideSize : EntryAt(index).Size;
  }

  std::vector<Block> Blocks;
  size_t Chunks = 0;
  int64_t End = kFirstPosition;
  size_t WideIndex = SIZE_MAX;  // the chunk whose size is WideSize, not its entry's
  uint64_t WideSize = 0;
};

}  // namespace wavecodec
