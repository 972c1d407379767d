// The RIFF container: checks the header of a Wave file and walks its top-level chunks once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "riff/chunk_id.h"
#include "riff/chunk_table.h"
#include "support/xfile.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// Tolerant on purpose: a damaged file is reported and then read as far as it makes sense. No size
// in the file is believed beyond what the file has left.
class clRIFFHandler {
 public:
  clRIFFHandler() noexcept { DefaultCreate(); }

  // Scans `file`, which must stay open as long as the handler is used. True when the table is
  // usable.
  bool Initialize(XFile& file, const STNStdReport& report);
  // Walks the chunks of the file anew. Fails only when there is no size or no RIFF Wave header.
  bool ScanFile();
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

 private:
  struct Scan;

  void DefaultCreate();
  void CalcAllChunks();
  bool ReadContainerHeader(Scan& scan);
  bool ScanChunk(Scan& scan, int64_t position);
  [[nodiscard]] uint64_t CutToBounds(uint32_t id, uint32_t size, const Scan& scan) const;
  void CompareLayout(Scan& scan);

  XFile* File = nullptr;
  STNStdReport Report{};
  uint32_t RiffID = chunk_id::kRiff;
  uint64_t RiffSize = 0;
  RIFFChunkTable Chunks;
};

}  // namespace wavecodec
