#include "riff/chunk_plan.h"

#include <iterator>
#include <optional>
#include <utility>

#include "riff/chunk_id.h"

namespace wavecodec {
namespace {

using Piece = RIFFChunkPlan::Piece;
using Kind = RIFFChunkPlan::Kind;

Piece MakeKept(size_t first, size_t count) {
  Piece piece;
  piece.First = first;
  piece.Count = count;
  return piece;
}

Piece MakePadding(uint32_t id, uint64_t size) {
  Piece piece;
  piece.What = Kind::Padding;
  piece.ID = id;
  piece.Size = size;
  return piece;
}

uint32_t PaddingID(uint32_t padding_type) {
  return padding_type == RIFFPaddingPad ? chunk_id::kPad : chunk_id::kJunk;
}

// The size of a padding chunk that takes up another chunk beside it, whose header becomes padding
// too. Two odd sizes had two pad bytes.
uint64_t Absorbed(uint64_t padding, uint64_t chunk) {
  const bool both_odd = padding % 2 != 0 && chunk % 2 != 0;
  return padding + chunk + RIFFChunkTable::kHeaderSize + (both_odd ? 2 : 0);
}

}  // namespace

RIFFChunkPlan::RIFFChunkPlan(const RIFFChunkTable& table) : Table(table) {
  if (table.Count() != 0) Layout.push_back(MakeKept(0, table.Count()));
}

size_t RIFFChunkPlan::Count() const {
  size_t count = 0;
  for (const Piece& piece : Layout) count += piece.Count;
  return count;
}

size_t RIFFChunkPlan::IndexOfOld(size_t old_index) const {
  size_t index = 0;
  for (const Piece& piece : Layout) {
    if (piece.What == Kind::Kept && old_index - piece.First < piece.Count) {
      return index + old_index - piece.First;
    }
    index += piece.Count;
  }
  return index;
}

std::optional<size_t> RIFFChunkPlan::OldIndexOf(size_t index) const {
  for (const Piece& piece : Layout) {
    if (index < piece.Count) {
      return piece.What == Kind::Kept ? std::optional(piece.First + index) : std::nullopt;
    }
    index -= piece.Count;
  }
  return std::nullopt;
}

int64_t RIFFChunkPlan::OldPosition(size_t old_index) const {
  const auto chunk = Table.At(old_index);
  return chunk ? chunk->ChunkPosition : Table.EndPosition();
}

int64_t RIFFChunkPlan::Footprint(const Piece& piece) const {
  switch (piece.What) {
    case Kind::Kept:
      return OldPosition(piece.First + piece.Count) - OldPosition(piece.First);
    case Kind::New:
      return static_cast<int64_t>(piece.Bytes.Size());
    case Kind::Padding:
      return kHeaderSize + static_cast<int64_t>(piece.Size + piece.Size % 2);
  }
  return 0;
}

// The piece that is the chunk at `index` alone.
size_t RIFFChunkPlan::Isolate(size_t index) {
  size_t at = 0;
  while (index >= Layout[at].Count) index -= Layout[at++].Count;
  const Piece& whole = Layout[at];
  if (whole.Count == 1) return at;
  std::vector<Piece> parts;
  if (index != 0) parts.push_back(MakeKept(whole.First, index));
  parts.push_back(MakeKept(whole.First + index, 1));
  if (index + 1 != whole.Count) {
    parts.push_back(MakeKept(whole.First + index + 1, whole.Count - index - 1));
  }
  Replace(at, at + 1, std::move(parts));
  return index == 0 ? at : at + 1;
}

size_t RIFFChunkPlan::IsolateLastOf(size_t piece) {
  if (Layout[piece].Count == 1) return piece;
  const Piece whole = MakeKept(Layout[piece].First, Layout[piece].Count);
  std::vector<Piece> parts;
  parts.push_back(MakeKept(whole.First, whole.Count - 1));
  parts.push_back(MakeKept(whole.First + whole.Count - 1, 1));
  Replace(piece, piece + 1, std::move(parts));
  return piece + 1;
}

void RIFFChunkPlan::Replace(size_t first, size_t last, std::vector<Piece> pieces) {
  const auto begin = Layout.begin() + static_cast<ptrdiff_t>(first);
  const auto at = Layout.erase(begin, begin + static_cast<ptrdiff_t>(last - first));
  Layout.insert(at, std::move_iterator(pieces.begin()), std::move_iterator(pieces.end()));
}

bool RIFFChunkPlan::BeginsWithPadding(size_t piece) const {
  const Piece& it = Layout[piece];
  return it.What == Kind::Padding ||
         (it.What == Kind::Kept && IsPaddingID(Table.At(it.First)->ChunkID));
}

bool RIFFChunkPlan::EndsWithPadding(size_t piece) const {
  const Piece& it = Layout[piece];
  return it.What == Kind::Padding ||
         (it.What == Kind::Kept && IsPaddingID(Table.At(it.First + it.Count - 1)->ChunkID));
}

// The first piece from `piece` on that is no padding, or is too far; each padding chunk before is a
// piece by itself.
size_t RIFFChunkPlan::EndOfPadding(size_t piece) {
  const size_t farthest = piece + kMostJoined;
  while (piece < Layout.size() && piece < farthest && BeginsWithPadding(piece)) {
    const Piece whole = MakeKept(Layout[piece].First, Layout[piece].Count);
    if (whole.Count > 1) {
      std::vector<Piece> parts;
      parts.push_back(MakeKept(whole.First, 1));
      parts.push_back(MakeKept(whole.First + 1, whole.Count - 1));
      Replace(piece, piece + 1, std::move(parts));
    }
    ++piece;
  }
  return piece;
}

// A padding piece, or any single chunk that becomes one, by its ID and the size of its data.
Piece RIFFChunkPlan::PaddingOf(const Piece& piece) const {
  if (piece.What == Kind::Padding) return MakePadding(piece.ID, piece.Size);
  if (piece.What == Kind::New) return MakePadding(0, piece.Bytes.Size() - kHeaderSize);
  const auto chunk = Table.At(piece.First);
  return MakePadding(chunk->ChunkID, chunk->ChunkSize);
}

// Padding that has come to stand behind other padding becomes one with it.
void RIFFChunkPlan::JoinPadding(size_t piece) {
  for (size_t joined = 0; joined < kMostJoined && piece > 0 && EndsWithPadding(piece - 1);
       ++joined) {
    piece = IsolateLastOf(piece - 1);
    std::vector<Piece> one;
    one.push_back(PaddingOf(Layout[piece]));
    one[0].Size = Absorbed(one[0].Size, Layout[piece + 1].Size);
    Replace(piece, piece + 2, std::move(one));
  }
}

bool RIFFChunkPlan::Remove(size_t index, uint32_t padding_type) {
  if (index >= Count()) return false;
  Changed = true;
  const size_t at = Isolate(index);
  const size_t end = EndOfPadding(at + 1);
  const bool fits_padding_before = at > 0 && EndsWithPadding(at - 1);
  std::vector<Piece> rest;
  if (end > at + 1) {
    Piece padding = PaddingOf(Layout[at + 1]);
    padding.Size = Absorbed(padding.Size, PaddingOf(Layout[at]).Size);
    for (size_t i = at + 2; i < end; ++i) {
      padding.Size = Absorbed(padding.Size, PaddingOf(Layout[i]).Size);
    }
    rest.push_back(std::move(padding));
  } else if (!IsLast(at) && (padding_type < RIFFPaddingNone || fits_padding_before)) {
    rest.push_back(MakePadding(PaddingID(padding_type), PaddingOf(Layout[at]).Size));
  }
  const bool leaves_padding = !rest.empty();
  Replace(at, end, std::move(rest));
  if (leaves_padding) JoinPadding(at);
  return true;
}

bool RIFFChunkPlan::Insert(size_t index, XMem chunk, uint32_t padding_type, uint32_t padding_size) {
  if (chunk.Size() < kHeaderSize) return false;
  Changed = true;
  size_t first = Layout.size();
  size_t last = first;
  if (index < Count()) {
    first = Isolate(index);
    last = EndOfPadding(first);
  } else {
    for (size_t joined = 0; joined < kMostJoined && first > 0 && EndsWithPadding(first - 1) &&
                            !Layout[first - 1].Fresh;
         ++joined) {
      first = IsolateLastOf(first - 1);
      last = Layout.size();
    }
  }
  std::optional<uint32_t> id;
  if (first != last) id = PaddingOf(Layout[first]).ID;
  Place(first, last, id, std::move(chunk), padding_type, padding_size);
  return true;
}

bool RIFFChunkPlan::Resize(size_t index, XMem chunk, uint32_t padding_type, uint32_t padding_size) {
  if (index >= Count() || chunk.Size() < kHeaderSize) return false;
  Changed = true;
  const size_t at = Isolate(index);
  if (Footprint(Layout[at]) == static_cast<int64_t>(chunk.Size())) {
    Piece piece;
    piece.What = Kind::New;
    piece.Bytes = std::move(chunk);
    Layout[at] = std::move(piece);
    return true;
  }
  const size_t end = EndOfPadding(at + 1);
  std::optional<uint32_t> id;
  if (end > at + 1) id = PaddingOf(Layout[at + 1]).ID;
  Place(at, end, id, std::move(chunk), padding_type, padding_size);
  return true;
}

// Puts a new chunk into the room of the pieces [first, last), which go. `padding`: the ID of
// padding among them. 1 to 7 bytes that are left over can be no chunk: what follows moves then.
void RIFFChunkPlan::Place(size_t first, size_t last, std::optional<uint32_t> padding, XMem chunk,
                          uint32_t padding_type, uint32_t padding_size) {
  int64_t left = -static_cast<int64_t>(chunk.Size());
  for (size_t i = first; i < last; ++i) left += Footprint(Layout[i]);
  const bool may_pad = padding_type < RIFFPaddingNone;
  const bool moves = left < 0 || (left != 0 && last != Layout.size());
  std::vector<Piece> pieces(1);
  pieces[0].What = Kind::New;
  pieces[0].Bytes = std::move(chunk);
  if (left >= kHeaderSize && (padding || may_pad)) {
    const auto size = static_cast<uint64_t>(left - kHeaderSize);
    pieces.push_back(MakePadding(padding.value_or(PaddingID(padding_type)), size));
  } else if (moves && may_pad && padding_size >= kHeaderSize) {
    pieces.push_back(MakePadding(PaddingID(padding_type), padding_size - kHeaderSize));
    pieces.back().Fresh = true;
  }
  Replace(first, last, std::move(pieces));
}

void RIFFChunkPlan::HoldInPlace(size_t old_index) {
  const size_t held = IndexOfOld(old_index);
  if (held == Count()) return;
  int64_t shift = RIFFChunkTable::kFirstPosition - OldPosition(old_index);
  const size_t end = Isolate(held);
  for (size_t i = 0; i < end; ++i) shift += Footprint(Layout[i]);
  if (shift == 0) return;
  const auto can_give = [&](int64_t footprint) {
    return footprint == shift || footprint - shift >= kHeaderSize;
  };
  // The last padding before the chunk that is large enough.
  std::optional<size_t> found;
  Table.ForEach([&](size_t index, const STRIFFChunk& chunk) {
    if (index >= old_index || !IsPaddingID(chunk.ChunkID)) return;
    const auto size = static_cast<int64_t>(chunk.ChunkSize + chunk.ChunkSize % 2);
    if (!can_give(kHeaderSize + size)) return;
    const size_t planned = IndexOfOld(index);
    if (planned != Count()) found = planned;
  });
  size_t index = 0;
  for (size_t i = 0; i < end; index += Layout[i++].Count) {
    const Piece& piece = Layout[i];
    const bool usable = piece.What == Kind::Padding && !piece.Fresh;
    if (usable && can_give(Footprint(piece)) && (!found || index > *found)) found = index;
  }
  if (!found) return;
  const size_t at = Isolate(*found);
  const int64_t footprint = Footprint(Layout[at]) - shift;
  std::vector<Piece> rest;
  if (footprint != 0) {
    rest.push_back(
        MakePadding(PaddingOf(Layout[at]).ID, static_cast<uint64_t>(footprint - kHeaderSize)));
  }
  Replace(at, at + 1, std::move(rest));
}

}  // namespace wavecodec
