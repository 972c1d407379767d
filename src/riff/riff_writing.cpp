// Changing the chunks of a file in place.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "module/report/std_report.h"
#include "riff/riff_handler.h"
#include "support/byte_order.h"

namespace wavecodec {
namespace {

constexpr const char* kName = "WriteChunkHeaders";
constexpr int64_t kHeaderSize = RIFFChunkTable::kHeaderSize;
constexpr size_t kContainerHeaderSize = 12;
constexpr uint64_t kLargestSize = kRF64SizeMark - 1;  // that a header can tell
constexpr size_t kDs64Sizes = 16;                     // the two sizes that are looked at

constexpr AnyCaseID kFmt(chunk_id::kFmt);
constexpr AnyCaseID kData(chunk_id::kData);
constexpr AnyCaseID kDs64(chunk_id::kDs64);
constexpr AnyCaseID kRf64(chunk_id::kRf64);

bool IsPrintable(uint32_t id) {
  for (; id != 0; id >>= 8) {
    if ((id & 0xFF) < 0x20 || (id & 0xFF) > 0x7E) return false;
  }
  return true;
}

void PutHeader(uint8_t* bytes, uint32_t id, uint64_t size) {
  WriteU32LE(bytes, id);
  WriteU32LE(bytes + 4, static_cast<uint32_t>(size));
}

FileRewrite::Patch MakePatch(int64_t position, size_t size) {
  FileRewrite::Patch patch;
  patch.Position = position;
  if (!patch.Bytes.SetSize(size)) throw std::bad_alloc();
  if (size != 0) std::memset(patch.Bytes.Data(), 0, size);
  return patch;
}

int64_t EndOf(const FileRewrite::Patch& patch) {
  return patch.Position + static_cast<int64_t>(patch.Bytes.Size());
}

// Adds a patch behind those before; one that follows on is one with the last.
void AddPatch(std::vector<FileRewrite::Patch>& patches, FileRewrite::Patch patch) {
  if (patches.empty() || EndOf(patches.back()) != patch.Position) {
    patches.push_back(std::move(patch));
    return;
  }
  XMem& last = patches.back().Bytes;
  const size_t before = last.Size();
  if (!last.SetSize(before + patch.Bytes.Size(), true)) throw std::bad_alloc();
  std::memcpy(last.Data() + before, patch.Bytes.Data(), patch.Bytes.Size());
}

// A signal can end a process between two pages of one write.
constexpr int64_t kPage = 4096;
bool SpansPages(int64_t begin, int64_t end) { return begin / kPage != (end - 1) / kPage; }

// The chunks that begin in a patch.
struct PatchedChunks {
  explicit PatchedChunks(const FileRewrite::Patch& patch) : End(patch.Position) {
    for (; End + kHeaderSize <= EndOf(patch); ++Count) {
      Last = End;
      const uint32_t size = ReadU32LE(patch.Bytes.Data() + (Last - patch.Position) + 4);
      End += kHeaderSize + size + size % 2;
    }
    IsPadded = Count == 2 && Last + kHeaderSize == EndOf(patch);
  }

  size_t Count = 0;
  int64_t Last = 0;       // where the last one begins
  int64_t End = 0;        // where the next one would
  bool IsPadded = false;  // they are one chunk, and the header of the padding behind it
};

// The header of the padding behind a chunk goes ahead of it where the two span pages.
void SplitAtPages(std::vector<FileRewrite::Patch>& patches, size_t contents) {
  for (size_t i = 0; i < contents; ++i) {
    FileRewrite::Patch& whole = patches[i];
    const PatchedChunks chunks(whole);
    if (!chunks.IsPadded || !SpansPages(whole.Position, EndOf(whole))) continue;
    FileRewrite::Patch header = MakePatch(chunks.Last, kHeaderSize);
    const size_t rest = whole.Bytes.Size() - header.Bytes.Size();
    std::memcpy(header.Bytes.Data(), whole.Bytes.Data() + rest, header.Bytes.Size());
    if (!whole.Bytes.SetSize(rest, true)) throw std::bad_alloc();
    patches.insert(patches.begin() + static_cast<ptrdiff_t>(i), std::move(header));
    ++i;
    ++contents;
  }
}

}  // namespace

bool CreateChunk(XMem& out, uint32_t id, const uint8_t* data, size_t size) {
  const auto header = static_cast<size_t>(kHeaderSize);
  if (size > kLargestSize || !out.SetSize(header + size + size % 2)) return false;
  PutHeader(out.Data(), id, size);
  if (size != 0) std::memcpy(out.Data() + header, data, size);
  if (size % 2 != 0) out.Data()[header + size] = 0;
  return true;
}

RIFFChunkPlan& clRIFFHandler::Plan() {
  if (!Planned) Planned.emplace(Chunks);
  return *Planned;
}

// Audio that a recorder has not told the size of yet looks like bytes behind the last chunk, or
// like a chunk.
bool clRIFFHandler::IsUnfinished(size_t data) const {
  if (Chunks.At(data)->ChunkSize != 0) return false;
  const auto next = Chunks.At(data + 1);
  return next ? !IsPrintable(next->ChunkID) : File->Size() > Chunks.EndPosition();
}

bool clRIFFHandler::CanBeChanged() {
  constexpr const char* kCheck = "CanBeChanged";
  const bool has_fmt = Chunks.Find([](uint32_t id) { return kFmt.Is(id); }).has_value();
  const auto data = Chunks.Find([](uint32_t id) { return kData.Is(id); });
  if (!has_fmt || !data) {
    ErrorLine(Report, kCheck) << L"Error no 'fmt ' or no 'data' chunk, the file is not changed.";
    return false;
  }
  const auto last = Chunks.At(Chunks.Count() - 1);
  const bool is_cut = last->ChunkSize != StoredLastSize;
  if (IsUnfinished(*data) || (is_cut && !IsPrintable(last->ChunkID))) {
    ErrorLine(Report, kCheck) << L"Error the recording is not finished, the file is not changed.";
    return false;
  }
  if (ReadDs64()) return true;
  ErrorLine(Report, kCheck) << L"Error cannot read 'ds64' chunk from file.";
  return false;
}

bool clRIFFHandler::ReadDs64() {
  Ds64.reset();
  const auto first = Chunks.At(0);
  if (!kRf64.Is(RiffID) || !kDs64.Is(first->ChunkID) || first->ChunkSize < kDs64Sizes) return true;
  std::array<uint8_t, kDs64Sizes> sizes{};
  if (!File->SetPosition(first->FileDataPosition) ||
      File->ReadSmall(sizes.data(), sizes.size()) != sizes.size()) {
    return false;
  }
  Ds64 = LongSizes{ReadU64LE(sizes.data()), ReadU64LE(sizes.data() + 8)};
  return true;
}

// The audio of an RF64 file runs to the end of the file while its header leaves the size to `ds64`.
// It goes on doing so where 32 bits cannot tell its size, and where `ds64` tells a smaller one:
// what lies behind may then be chunks for other programs. Nothing can be placed behind such audio.
bool clRIFFHandler::DataKeepsMark() const {
  return DataIsMarked() &&
         (Ds64TellsLess() || Chunks.At(Chunks.Count() - 1)->ChunkSize > kLargestSize);
}

bool clRIFFHandler::DataIsMarked() const {
  return kRf64.Is(RiffID) && kData.Is(Chunks.At(Chunks.Count() - 1)->ChunkID) &&
         StoredLastSize == kRF64SizeMark;
}

bool clRIFFHandler::Ds64TellsLess() const {
  return DataIsMarked() && Ds64 && Ds64->Data != 0 &&
         Ds64->Data + Ds64->Data % 2 < Chunks.At(Chunks.Count() - 1)->ChunkSize;
}

size_t clRIFFHandler::PlannedIndexBeforeData() {
  const auto data = static_cast<size_t>(IndexOfDataChunk());
  const auto fmt = Chunks.Find([](uint32_t id) { return kFmt.Is(id); });
  std::optional<size_t> padding;
  Chunks.ForEach([&](size_t index, const STRIFFChunk& chunk) {
    if (padding || !fmt || index <= *fmt || index >= data) return;
    if (!IsPaddingID(chunk.ChunkID)) return;
    const size_t planned = PlannedIndex(index);
    if (planned < PlannedCount()) padding = planned;
  });
  return padding.value_or(PlannedIndex(data));
}

bool clRIFFHandler::RemoveChunkFromFile(size_t index, uint32_t padding_type) {
  return Plan().Remove(index, padding_type);
}

bool clRIFFHandler::InsertNewChunkIntoFile(size_t index, XMem chunk, uint32_t padding_type,
                                           uint32_t padding_size) {
  if (index >= PlannedCount() && DataKeepsMark()) index = PlannedIndexBeforeData();
  if (index == 0 && Chunks.Count() != 0 && kRf64.Is(RiffID) && kDs64.Is(Chunks.At(0)->ChunkID)) {
    index = 1;  // `ds64` stays the first chunk
  }
  return Plan().Insert(index, std::move(chunk), padding_type, padding_size);
}

bool clRIFFHandler::HasJustTheseBytes(size_t index, const XMem& chunk) {
  const auto old_index = Plan().OldIndexOf(index);
  const auto old = old_index ? Chunks.At(*old_index) : std::nullopt;
  XMem present;
  return old && old->ChunkSize + 2 * kHeaderSize > chunk.Size() && present.SetSize(chunk.Size()) &&
         File->SetPosition(old->ChunkPosition) &&
         File->ReadSmall(present.Data(), chunk.Size()) == chunk.Size() &&
         std::memcmp(present.Data(), chunk.Data(), chunk.Size()) == 0;
}

bool clRIFFHandler::ResizeExistingChunkOnFile(size_t index, XMem chunk, uint32_t padding_type,
                                              uint32_t padding_size) {
  if (HasJustTheseBytes(index, chunk)) return true;
  return Plan().Resize(index, std::move(chunk), padding_type, padding_size);
}

// A plan on its way to a change of the file.
struct clRIFFHandler::Rewrite {
  FileRewrite Change;
  int64_t End = RIFFChunkTable::kFirstPosition;  // of the chunks so far
  size_t Contents = 0;                           // patches that are chunks, not sizes
};

void clRIFFHandler::ReportHeader(uint32_t id, uint64_t size, int64_t position) const {
  DebugLine(Report) << L"Writing Chunk Header '" << [&] { return RIFFChnkID2CHR(id); }
                    << L"' Length: " << size;
  DebugLine(Report) << L"ChunkPosition: " << position;
  DebugLine(Report) << L"ChunkDataPos: " << position + kHeaderSize;
}

// Where the chunks end in the file: before the pad byte of the last one when that is not there. A
// byte where it should be, behind the container and not zero, is the first of others.
int64_t clRIFFHandler::OldEnd() {
  const int64_t end = Chunks.EndPosition();
  if (end > File->Size()) return File->Size();
  if (end != int64_t{StoredRiffSize} + kHeaderSize + 1 ||
      Chunks.At(Chunks.Count() - 1)->ChunkSize % 2 == 0) {
    return end;
  }
  uint8_t last = 0;
  const bool is_read = File->SetPosition(end - 1) && File->ReadSmall(&last, 1) == 1;
  return is_read && last != 0 ? end - 1 : end;
}

// Moves bytes of the old file to the end of the new layout.
void clRIFFHandler::PlanMove(Rewrite& rewrite, int64_t from, int64_t length) {
  std::vector<FileRewrite::Move>& moves = rewrite.Change.Moves;
  if (from == rewrite.End || length <= 0) return;
  if (!moves.empty() && moves.back().From + moves.back().Length == from &&
      moves.back().To + moves.back().Length == rewrite.End) {
    moves.back().Length += length;
  } else {
    moves.push_back({from, rewrite.End, length});
  }
}

void clRIFFHandler::PlanPiece(Rewrite& rewrite, RIFFChunkPlan::Piece& piece) {
  using Kind = RIFFChunkPlan::Kind;
  std::vector<FileRewrite::Patch>& patches = rewrite.Change.Patches;
  int64_t footprint = Plan().Footprint(piece);
  const int64_t position = rewrite.End;
  if (piece.What == Kind::Kept) {
    const int64_t from = Chunks.At(piece.First)->ChunkPosition;
    const int64_t missing = std::max<int64_t>(0, from + footprint - OldEnd());
    PlanMove(rewrite, from, footprint - missing);
    if (missing > 0 && DataKeepsMark()) {
      // Behind audio that runs to the end a pad byte would be audio.
      footprint -= missing;
    } else if (missing > 0) {  // the pad byte of the last chunk
      AddPatch(patches, MakePatch(position + footprint - missing, static_cast<size_t>(missing)));
    }
  } else if (piece.What == Kind::New) {
    ReportHeader(ReadU32LE(piece.Bytes.Data()), ReadU32LE(piece.Bytes.Data() + 4), position);
    AddPatch(patches, {position, std::move(piece.Bytes)});
  } else {
    ReportHeader(piece.ID, piece.Size, position);
    const int64_t size = piece.Fresh ? footprint : kHeaderSize;
    FileRewrite::Patch patch = MakePatch(position, static_cast<size_t>(size));
    PutHeader(patch.Bytes.Data(), piece.ID, piece.Size);
    AddPatch(patches, std::move(patch));
  }
  rewrite.End += footprint;
}

// Bytes behind the chunks stay behind them.
void clRIFFHandler::PlanTail(Rewrite& rewrite) {
  FileRewrite& change = rewrite.Change;
  const int64_t from = OldEnd();
  const int64_t length = change.OldSize - from;
  PlanMove(rewrite, from, length);
  change.NewSize = rewrite.End + length;
  rewrite.Contents = change.Patches.size();
}

// The size of the last chunk's data. Where only `ds64` tells it, a pad byte behind is not of them.
uint64_t clRIFFHandler::LastSize() const {
  const uint64_t size = Chunks.At(Chunks.Count() - 1)->ChunkSize;
  const bool padded = DataIsMarked() && Ds64 && Ds64->Data % 2 != 0 && Ds64->Data + 1 == size;
  return padded ? Ds64->Data : size;
}

void clRIFFHandler::PlanHeaders(Rewrite& rewrite) {
  FileRewrite& change = rewrite.Change;
  const size_t last_index = Chunks.Count() - 1;
  const auto last = Chunks.At(last_index);
  const bool last_is_kept = Plan().IndexOfOld(last_index) != Plan().Count();
  if (last_is_kept && LastSize() != StoredLastSize && !DataKeepsMark()) {
    change.Ahead.push_back(MakePatch(last->ChunkPosition, kHeaderSize));
    PutHeader(change.Ahead.back().Bytes.Data(), last->ChunkID, LastSize());
    ReportHeader(last->ChunkID, LastSize(), last->ChunkPosition);
  }
  const auto size = static_cast<uint64_t>(rewrite.End - kHeaderSize);
  if (Ds64) {
    const auto data = static_cast<size_t>(IndexOfDataChunk());
    LongSizes sizes{size, data == last_index ? LastSize() : Chunks.At(data)->ChunkSize};
    if (Ds64TellsLess()) {
      sizes = *Ds64;
      sizes.Riff += static_cast<uint64_t>(rewrite.End - OldEnd());
    }
    if (sizes.Riff != Ds64->Riff || sizes.Data != Ds64->Data) {
      FileRewrite::Patch patch = MakePatch(Chunks.At(0)->FileDataPosition, kDs64Sizes);
      WriteU64LE(patch.Bytes.Data(), sizes.Riff);
      WriteU64LE(patch.Bytes.Data() + 8, sizes.Data);
      change.Patches.push_back(std::move(patch));
    }
  }
  const bool keeps_mark =
      kRf64.Is(RiffID) && (StoredRiffSize == kRF64SizeMark || size > kLargestSize);
  const uint32_t header_size = keeps_mark ? kRF64SizeMark : static_cast<uint32_t>(size);
  if (header_size == StoredRiffSize) return;
  FileRewrite::Patch patch = MakePatch(0, kContainerHeaderSize);
  PutHeader(patch.Bytes.Data(), RiffID, header_size);
  WriteU32LE(patch.Bytes.Data() + kHeaderSize, FormType);
  change.Patches.push_back(std::move(patch));
}

// Whether every size can be told, and every chunk is found again.
bool clRIFFHandler::Fits(const Rewrite& rewrite) {
  const auto& pieces = Plan().Pieces();
  const bool padding_fits = std::all_of(
      pieces.begin(), pieces.end(), [](const auto& piece) { return piece.Size <= kLargestSize; });
  const uint64_t limit = kRf64.Is(RiffID) ? uint64_t{kRF64SizeMark} : kLargestSize;
  int64_t end = rewrite.End;  // of what has to be found by the container's size
  if (DataKeepsMark()) end -= static_cast<int64_t>(Chunks.At(Chunks.Count() - 1)->ChunkSize);
  return padding_fits && static_cast<uint64_t>(end - kHeaderSize) <= limit;
}

// How far what is written is seen at once, before the sizes in the headers follow.
int64_t clRIFFHandler::SeenEnd() const {
  if (kRf64.Is(RiffID)) return INT64_MAX;
  return std::max(File->Size(), int64_t{StoredRiffSize} + kHeaderSize);
}

// Whether a patch may be seen when only some of its pages are written.
bool clRIFFHandler::IsOverPages(const FileRewrite::Patch& patch) const {
  return patch.Position < SeenEnd() && SpansPages(patch.Position, EndOf(patch));
}

// Whether there may be a moment at which no way leads over the place of a patch, while it and others
// are written. There always is one when it takes the place of whole chunks, within a page. Over
// pages it must be one chunk whose header is within one, alone or with the header of padding that
// is written ahead of it (see SplitAtPages) and touches none of the old chunks'.
bool clRIFFHandler::MayBlockTheWay(const FileRewrite::Patch& patch) const {
  const PatchedChunks patched(patch);
  bool begins = false;
  bool ends = false;
  bool touches = false;
  Chunks.ForEach([&](size_t /*index*/, const STRIFFChunk& chunk) {
    const int64_t distance = std::abs(chunk.ChunkPosition - patched.Last);
    begins = begins || chunk.ChunkPosition == patch.Position;
    ends = ends || chunk.ChunkPosition == patched.End;
    touches = touches || (distance != 0 && distance < kHeaderSize);
  });
  if (!begins || !ends) return true;
  if (!IsOverPages(patch)) return false;
  if (SpansPages(patch.Position, patch.Position + kHeaderSize)) return true;
  return patched.Count != 1 && (!patched.IsPadded || touches);
}

// An append, and a change in place within a page, are safe by the order of their writes.
RewriteSafety clRIFFHandler::SafetyOf(const Rewrite& rewrite) const {
  const FileRewrite& change = rewrite.Change;
  const auto data = Chunks.At(static_cast<size_t>(IndexOfDataChunk()));
  const int64_t audio_end = data->FileDataPosition + static_cast<int64_t>(data->ChunkSize);
  for (const FileRewrite::Move& move : change.Moves) {
    if (move.From < audio_end) return RewriteSafety::Journal;
  }
  bool over_pages = false;
  for (size_t i = 0; i < rewrite.Contents; ++i) {
    const FileRewrite::Patch& patch = change.Patches[i];
    if (patch.Position < audio_end && MayBlockTheWay(patch)) return RewriteSafety::Journal;
    over_pages = over_pages || IsOverPages(patch);
  }
  if (over_pages || !change.Moves.empty() || rewrite.Contents > 1) {
    return RewriteSafety::JournalIfPossible;
  }
  if (rewrite.Contents == 0) return RewriteSafety::Direct;
  const int64_t position = change.Patches.front().Position;
  const bool behind = position >= (kRf64.Is(RiffID) ? change.OldSize : SeenEnd());
  const bool inside = change.OldSize == change.NewSize;
  return behind || inside ? RewriteSafety::Direct : RewriteSafety::JournalIfPossible;
}

// What could not be read is not in the plan: it would be lost.
bool clRIFFHandler::FailReading() const {
  ErrorLine(Report, kName) << L"Error cannot read all of the file, it is not changed.";
  return false;
}

bool clRIFFHandler::WriteChunkHeaders() {
  if (File->HasReadFailed()) return FailReading();
  if (!Plan().IsChanged()) return true;
  Plan().HoldInPlace(static_cast<size_t>(IndexOfDataChunk()));
  CalcAllChunks();
  Rewrite rewrite;
  rewrite.Change.OldSize = File->Size();
  for (RIFFChunkPlan::Piece& piece : Plan().Pieces()) PlanPiece(rewrite, piece);
  PlanTail(rewrite);
  if (!Fits(rewrite)) {
    ErrorLine(Report, kName)
        << L"Error the file would be too large for its header, it is not changed.";
    return false;
  }
  PlanHeaders(rewrite);
  const RewriteSafety safety = SafetyOf(rewrite);
  SplitAtPages(rewrite.Change.Patches, rewrite.Contents);
  const uint64_t told = Ds64 ? Ds64->Riff : StoredRiffSize;
  const auto unlike = static_cast<int64_t>(std::min<uint64_t>(told, INT64_MAX - 8)) + kHeaderSize;
  const RewriteResult result = RewriteFile(*File, rewrite.Change, safety, unlike);
  Planned.reset();
  Chunks.Clear();
  if (result == RewriteResult::Done) return true;
  if (result == RewriteResult::NotDone && File->HasReadFailed()) return FailReading();
  if (result == RewriteResult::NoJournal) {
    ErrorLine(Report, kName) << L"Error cannot make the journal that this change needs beside the "
                                L"file, it is not changed.";
  } else {
    ErrorLine(Report, kName) << L"Error writing to file, disk full?";
  }
  return false;
}

}  // namespace wavecodec
