// The planned layout of a RIFF file's chunks: what changes make of the chunk table, before anything
// is written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "riff/chunk_table.h"
#include "support/xmem.h"

namespace wavecodec {

// The padding chunk that is left where a chunk was, or behind a new one. With none, a padding chunk
// that is there gives and takes room all the same.
enum RIFFPadding : uint32_t { RIFFPaddingJunk = 0, RIFFPaddingPad = 1, RIFFPaddingNone = 2 };

// Edits work one after another, each on the layout that the ones before have left; an index counts
// the chunks of that layout. Room comes from padding chunks where they stand, so that nothing
// behind them moves.
class RIFFChunkPlan {
 public:
  enum class Kind {
    Kept,     // chunks of the old table
    New,      // a complete chunk
    Padding,  // a header; the bytes behind it do not matter
  };
  struct Piece {
    Kind What = Kind::Kept;
    size_t First = 0;  // Kept: the old chunks [First, First + Count)
    size_t Count = 1;
    XMem Bytes;          // New: header, body, pad byte
    uint32_t ID = 0;     // Padding
    uint64_t Size = 0;   // Padding: of its data
    bool Fresh = false;  // Padding that was asked for, with nothing in it yet
  };

  explicit RIFFChunkPlan(const RIFFChunkTable& table);

  [[nodiscard]] size_t Count() const;
  // The index of a chunk of the old table; Count() when it went.
  [[nodiscard]] size_t IndexOfOld(size_t old_index) const;
  // The old table's index of the chunk at `index`; none when it is not of the old table.
  [[nodiscard]] std::optional<size_t> OldIndexOf(size_t index) const;

  // Each returns false, and changes nothing, when the index or the chunk is none.
  bool Remove(size_t index, uint32_t padding_type);
  // Before the chunk at `index`; behind the last one when there is none. A padding chunk there
  // gives its room. `padding_size` bytes of padding, header included, are left behind the chunk
  // when it did not fit into room that was there.
  bool Insert(size_t index, XMem chunk, uint32_t padding_type, uint32_t padding_size);
  bool Resize(size_t index, XMem chunk, uint32_t padding_type, uint32_t padding_size);
  // Lets padding chunks before the old chunk `old_index` take up what the edits shift, so that the
  // chunk stays where it is.
  void HoldInPlace(size_t old_index);

  [[nodiscard]] std::vector<Piece>& Pieces() { return Layout; }
  // Bytes that a piece takes in the file.
  [[nodiscard]] int64_t Footprint(const Piece& piece) const;
  [[nodiscard]] bool IsChanged() const { return Changed; }

 private:
  static constexpr int64_t kHeaderSize = RIFFChunkTable::kHeaderSize;
  static constexpr size_t kMostJoined = 256;  // padding chunks side by side that are looked at

  size_t Isolate(size_t index);
  size_t IsolateLastOf(size_t piece);
  [[nodiscard]] bool BeginsWithPadding(size_t piece) const;
  [[nodiscard]] bool EndsWithPadding(size_t piece) const;
  size_t EndOfPadding(size_t piece);
  [[nodiscard]] bool IsLast(size_t piece) const { return piece + 1 == Layout.size(); }
  [[nodiscard]] Piece PaddingOf(const Piece& piece) const;
  void Replace(size_t first, size_t last, std::vector<Piece> pieces);
  void Place(size_t first, size_t last, std::optional<uint32_t> padding, XMem chunk,
             uint32_t padding_type, uint32_t padding_size);
  void JoinPadding(size_t piece);
  [[nodiscard]] int64_t OldPosition(size_t old_index) const;

  const RIFFChunkTable& Table;
  std::vector<Piece> Layout;
  bool Changed = false;
};

}  // namespace wavecodec
