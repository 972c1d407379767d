// The RIFF container: checks the header of a Wave file and walks its top-level chunks once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "riff/chunk_id.h"
#include "riff/chunk_plan.h"
#include "riff/chunk_table.h"
#include "support/file_rewrite.h"
#include "support/xfile.h"
#include "support/xmem.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

class TraceScope;

// How far a first scan goes, and what it has the source keep: one that can only be read forwards
// stops in front of the audio.
enum class RIFFScan {
  Everything,   // all chunks
  Audio,        // up to `data`; keeps what describes the audio
  AudioAndTags  // up to `data`; keeps every chunk that means something
};

// Tolerant on purpose: a damaged file is reported and then read as far as it makes sense. No size
// in the file is believed beyond what the file has left.
class clRIFFHandler {
 public:
  clRIFFHandler() noexcept { DefaultCreate(); }

  // Scans `file`, which must stay open as long as the handler is used. True when the table is
  // usable.
  bool Initialize(XFile& file, const STNStdReport& report, RIFFScan extent = RIFFScan::Everything);
  // Walks the chunks of the file anew. Fails only when there is no size or no RIFF Wave header.
  bool ScanFile();
  // False when the scan stopped at `data` and there are bytes behind it, at RestPosition.
  [[nodiscard]] bool IsWhole() const { return Whole; }
  [[nodiscard]] int64_t RestPosition() const { return Chunks.EndPosition(); }
  // Walks the chunks behind `data`, where a first scan stopped.
  void ScanRest();
  // Back to an empty container without a file.
  void Destroy();

  [[nodiscard]] size_t Count() const { return Chunks.Count(); }
  [[nodiscard]] std::optional<STRIFFChunk> GetChunk(size_t index) const { return Chunks.At(index); }
  // Calls work(index, chunk) with each chunk in file order.
  template <typename Work>
  void ForEachChunk(Work work) const {
    Chunks.ForEach(work);
  }
  // The first chunk, in file order, with this ID.
  [[nodiscard]] std::optional<STRIFFChunk> FindChunkForRead(uint32_t id, bool any_case) const;
  // Index of the first chunk with this ID in any case; -1 when there is none.
  [[nodiscard]] ptrdiff_t IndexOfChunk(uint32_t id) const;
  [[nodiscard]] ptrdiff_t IndexOfDataChunk() const { return IndexOfChunk(chunk_id::kData); }

  [[nodiscard]] uint32_t GetRiffID() const { return RiffID; }
  // Bytes behind the first 8 that the chunks take by the layout rule (see RIFFChunkTable).
  [[nodiscard]] uint64_t GetRiffSize() const { return RiffSize; }

  // Changing the file, which is open for writing. The operations plan: each works on the layout
  // that those before leave, and nothing is written before WriteChunkHeaders carries the whole plan
  // out. Padding types are those of RIFFPadding.

  // False, with an error line, for a file that is not understood well enough to be changed: no
  // format, no audio, or audio that is still being recorded.
  [[nodiscard]] bool CanBeChanged();
  // The planned index of a chunk that was scanned.
  [[nodiscard]] size_t PlannedIndex(size_t index) { return Plan().IndexOfOld(index); }
  [[nodiscard]] size_t PlannedCount() { return Plan().Count(); }
  // Where chunks go that stand before the audio: at the first padding between `fmt ` and `data`,
  // else at `data`.
  [[nodiscard]] size_t PlannedIndexBeforeData();

  bool RemoveChunkFromFile(size_t index, uint32_t padding_type);
  // Before the chunk at `index`; behind the last one when there is none, or, where nothing can
  // stand behind the audio, before that. Fails when `chunk` (see CreateChunk) is shorter than a
  // header.
  bool InsertNewChunkIntoFile(size_t index, XMem chunk, uint32_t padding_type,
                              uint32_t padding_size);
  // Does nothing when the chunk has just these bytes.
  bool ResizeExistingChunkOnFile(size_t index, XMem chunk, uint32_t padding_type,
                                 uint32_t padding_size);
  // Writes what was planned: chunks, headers, sizes. The audio is moved once at most, and only when
  // there is no room before it. On failure the file is as it was, or the change is finished when it
  // is next opened. Afterwards the file has to be scanned anew.
  bool WriteChunkHeaders();

 private:
  // A walk through the chunks: what is still before it, as the file and as the container header
  // tell it.
  struct Scan {
    int64_t FileSizeLeft = 0;
    int64_t RiffSizeLeft = 0;
    size_t Misplaced = 0;  // chunks found where the layout rule does not have them
    bool PassedData = false;

    void Spend(int64_t bytes);
    [[nodiscard]] bool IsAtEnd() const { return FileSizeLeft == 0 || RiffSizeLeft == 0; }
  };

  void DefaultCreate();
  void CalcAllChunks();
  bool ReadContainerHeader(const TraceScope& trace);
  bool ScanChunks(const TraceScope& trace);
  bool ScanChunk(int64_t position, const TraceScope& trace);
  [[nodiscard]] uint64_t CutToBounds(uint32_t id, uint32_t size, const TraceScope& trace) const;
  [[nodiscard]] uint64_t SizeToKeep(uint32_t id, uint64_t size) const;
  void CompareLayout(const TraceScope& trace);

  RIFFChunkPlan& Plan();
  [[nodiscard]] bool IsUnfinished(size_t data) const;
  [[nodiscard]] bool ReadDs64();
  [[nodiscard]] bool DataIsMarked() const;
  [[nodiscard]] bool DataKeepsMark() const;
  [[nodiscard]] bool Ds64TellsLess() const;
  [[nodiscard]] uint64_t LastSize() const;
  [[nodiscard]] bool HasJustTheseBytes(size_t index, const XMem& chunk);
  struct Rewrite;
  void PlanPiece(Rewrite& rewrite, RIFFChunkPlan::Piece& piece);
  void PlanMove(Rewrite& rewrite, int64_t from, int64_t length);
  void PlanTail(Rewrite& rewrite);
  void PlanHeaders(Rewrite& rewrite);
  [[nodiscard]] bool Fits(const Rewrite& rewrite);
  [[nodiscard]] int64_t SeenEnd() const;
  [[nodiscard]] bool IsOverPages(const FileRewrite::Patch& patch) const;
  [[nodiscard]] bool MayBlockTheWay(const FileRewrite::Patch& patch) const;
  [[nodiscard]] RewriteSafety SafetyOf(const Rewrite& rewrite) const;
  bool FailReading() const;
  [[nodiscard]] int64_t OldEnd();
  void ReportHeader(uint32_t id, uint64_t size, int64_t position) const;

  XFile* File = nullptr;
  STNStdReport Report{};
  RIFFScan Extent = RIFFScan::Everything;
  Scan Walk;
  bool Whole = true;
  uint32_t RiffID = chunk_id::kRiff;
  uint32_t FormType = chunk_id::kWave;
  uint64_t RiffSize = 0;
  RIFFChunkTable Chunks;
  uint32_t StoredRiffSize = 0;           // as the header has it
  uint32_t StoredLastSize = 0;           // as the header of the last chunk has it
  std::optional<RIFFChunkPlan> Planned;  // refers to Chunks
  // The sizes in an RF64 file's `ds64` chunk, when it is the first one.
  struct LongSizes {
    uint64_t Riff = 0;
    uint64_t Data = 0;
  };
  std::optional<LongSizes> Ds64;
};

// Makes a complete chunk: header, the data, and a pad byte when their size is odd. False when there
// is no memory or the data are too large for a chunk.
bool CreateChunk(XMem& out, uint32_t id, const uint8_t* data, size_t size);

}  // namespace wavecodec
