#include "riff/riff_handler.h"

#include <algorithm>
#include <array>

#include "module/report/std_report.h"
#include "support/byte_order.h"

namespace wavecodec {
namespace {

constexpr size_t kContainerHeaderSize = 12;
constexpr size_t kChunkHeaderSize = 8;

}  // namespace

void clRIFFHandler::Scan::Spend(int64_t bytes) {
  FileSizeLeft = std::max<int64_t>(0, FileSizeLeft - bytes);
  RiffSizeLeft = std::max<int64_t>(0, RiffSizeLeft - bytes);
}

void clRIFFHandler::DefaultCreate() {
  RiffID = chunk_id::kRiff;
  CalcAllChunks();
}

void clRIFFHandler::Destroy() {
  RiffID = chunk_id::kRiff;
  RiffSize = 0;
  Planned.reset();
  Chunks.Clear();
  File = nullptr;
  Report = {};
}

// The positions themselves follow from the sizes in the table.
void clRIFFHandler::CalcAllChunks() {
  DebugLine(Report) << L"clRIFFHandler::CalcAllChunks: ";
  RiffSize = static_cast<uint64_t>(Chunks.EndPosition() - RIFFChunkTable::kHeaderSize);
  DebugLine(Report) << L"Ok";
}

bool clRIFFHandler::Initialize(XFile& file, const STNStdReport& report, RIFFScan extent) {
  Report = report;
  Extent = extent;
  {
    const TraceScope trace(Report, "Initialize");
    DefaultCreate();
    File = &file;
    trace.Leave();
  }
  return ScanFile();
}

std::optional<STRIFFChunk> clRIFFHandler::FindChunkForRead(uint32_t id, bool any_case) const {
  const auto index = Chunks.Find([&](uint32_t chunk) { return CompareID(chunk, id, any_case); });
  return index ? Chunks.At(*index) : std::nullopt;
}

ptrdiff_t clRIFFHandler::IndexOfChunk(uint32_t id) const {
  const auto index = Chunks.Find([&](uint32_t chunk) { return CompareID(chunk, id, true); });
  return index ? static_cast<ptrdiff_t>(*index) : -1;
}

bool clRIFFHandler::ScanFile() {
  const TraceScope trace(Report, "ScanFile");
  Planned.reset();
  Whole = true;
  Walk = {.FileSizeLeft = File->Size()};
  if (Walk.FileSizeLeft < 0) return trace.Fail(L"Error reading File Size.");
  if (Walk.FileSizeLeft == 0) {
    Chunks.Clear();
    return trace.Leave(true);
  }
  DefaultCreate();
  Chunks.Clear();
  if (!File->SetPosition(0)) return trace.Fail(L"Error Setting File Position to 0.");
  if (!ReadContainerHeader(trace) || !ScanChunks(trace)) return false;
  if (Whole) CompareLayout(trace);
  return trace.Leave(true);
}

void clRIFFHandler::ScanRest() {
  const TraceScope trace(Report, "ScanRest");
  Whole = true;
  if (!File->SetPosition(RestPosition())) {
    trace.Error() << L"Error Setting Position.";
  } else if (ScanChunks(trace)) {
    CompareLayout(trace);
    trace.Leave();
  }
}

bool clRIFFHandler::ScanChunks(const TraceScope& trace) {
  while (!Walk.IsAtEnd()) {
    const int64_t position = File->GetPosition();
    if (position < 0) return trace.Fail(L"Error reading File Position.");
    const bool stops_behind_data = Extent != RIFFScan::Everything && !Walk.PassedData;
    if (!ScanChunk(position, trace)) break;
    if (stops_behind_data && Walk.PassedData) {
      Whole = Walk.IsAtEnd();
      break;
    }
  }
  return true;
}

bool clRIFFHandler::ReadContainerHeader(const TraceScope& trace) {
  std::array<uint8_t, kContainerHeaderSize> header{};
  if (File->ReadSmall(header.data(), header.size()) < header.size()) {
    return trace.Fail(L"Error: File too small for RIFF.");
  }
  const uint32_t id = ReadU32LE(header.data());
  const uint32_t size = ReadU32LE(header.data() + 4);
  const uint32_t form = ReadU32LE(header.data() + 8);
  if (!CompareID(id, chunk_id::kRiff, true) && !CompareID(id, chunk_id::kRf64, true)) {
    return trace.Fail(L"Error RIFF chunk unknown '", RIFFChnkID2CHR(id), L"'");
  }
  if (!CompareID(form, chunk_id::kWave, true)) {
    return trace.Fail(L"Error RIFF form chunk unknown '", RIFFChnkID2CHR(form), L"'");
  }
  trace.Debug() << L"  RIFF Header '" << [&] { return RIFFChnkID2CHR(id); } << L"'  Length: "
                << size << L"  FormType '" << [&] { return RIFFChnkID2CHR(form); } << L"'";
  if (size != kRF64SizeMark && size % 2 != 0) {
    trace.Info() << L"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.";
  }
  RiffID = id;
  FormType = form;
  RiffSize = StoredRiffSize = size;
  Walk.FileSizeLeft -= static_cast<int64_t>(kContainerHeaderSize);
  Walk.RiffSizeLeft = size >= 4 ? int64_t{size} - 4 : 0;
  if (Walk.RiffSizeLeft != Walk.FileSizeLeft && File->Size() != XFile::kUnknownSize) {
    trace.Info() << L"Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file.";
  }
  return true;
}

// Takes in the chunk at the file's position and moves behind it. False ends the walk.
bool clRIFFHandler::ScanChunk(int64_t position, const TraceScope& trace) {
  std::array<uint8_t, kChunkHeaderSize> header{};
  if (File->ReadSmall(header.data(), header.size()) < header.size()) {
    if (Walk.RiffSizeLeft > static_cast<int64_t>(kChunkHeaderSize)) {
      trace.Error() << L"File error reading chunk.";
    }
    return false;
  }
  Walk.Spend(static_cast<int64_t>(kChunkHeaderSize));
  const uint32_t id = ReadU32LE(header.data());
  const uint32_t claimed_size = ReadU32LE(header.data() + 4);
  trace.Debug() << L"  Got Chunk '" << [&] { return RIFFChnkID2CHR(id); } << L"'  Length: "
                << claimed_size << L"  RiffSizeLeft: " << Walk.RiffSizeLeft << L"  ChunkPosition: "
                << position;
  StoredLastSize = claimed_size;
  uint64_t size = CutToBounds(id, claimed_size, trace);
  if (const uint64_t wanted = SizeToKeep(id, size); wanted != 0) {
    const auto kept = static_cast<uint64_t>(File->KeepAhead(static_cast<int64_t>(wanted)));
    // Where the source is known to go on, what comes next is not the next chunk.
    if (kept < wanted && File->Size() != XFile::kUnknownSize) {
      trace.Error() << L"File error reading chunk.";
      return false;
    }
    if (kept < wanted) size = kept;
  }
  if (position != Chunks.EndPosition()) ++Walk.Misplaced;
  Chunks.Append(id, size);
  Walk.PassedData = Walk.PassedData || id == chunk_id::kData;
  const auto skip = static_cast<int64_t>(size + size % 2);
  if (!File->SetPosition(skip, ENXFilePos::Current)) {
    trace.Error() << L"Error Setting Position.";
    return false;
  }
  Walk.Spend(skip);
  return true;
}

// The size that a chunk really has: what it claims, as far as the file goes.
uint64_t clRIFFHandler::CutToBounds(uint32_t id, uint32_t size, const TraceScope& trace) const {
  if (size > Walk.RiffSizeLeft) {
    trace.Info() << L"Warning Chunk is out of RIFF area (but still inside file).";
  } else if (size > Walk.FileSizeLeft) {
    trace.Error() << L"Error Chunk is out of file.";
  }
  const auto left = static_cast<uint64_t>(Walk.FileSizeLeft);
  const bool runs_to_the_end = size == kRF64SizeMark && CompareID(id, chunk_id::kData, true) &&
                               CompareID(RiffID, chunk_id::kRf64, true);
  return runs_to_the_end ? left : std::min<uint64_t>(size, left);
}

// How much of a chunk is read after the walk.
uint64_t clRIFFHandler::SizeToKeep(uint32_t id, uint64_t size) const {
  constexpr uint64_t kMostForAudio = uint64_t{128} << 10;  // of a `fmt ` or `fact` chunk
  if (Extent == RIFFScan::Everything || CompareID(id, chunk_id::kData, true)) return 0;
  if (Extent == RIFFScan::AudioAndTags) return IsPaddingID(id) ? 0 : size;
  const bool tells_of_audio = id == chunk_id::kFmt || id == chunk_id::kFact;
  return tells_of_audio ? std::min(size, kMostForAudio) : 0;
}

void clRIFFHandler::CompareLayout(const TraceScope& trace) {
  const uint64_t stored_size = RiffSize;
  CalcAllChunks();
  if (RiffSize != stored_size && !CompareID(RiffID, chunk_id::kRf64, true) &&
      stored_size % 2 == 0) {
    trace.Info() << L"Error calculated total RIFF chunk size differs from file.";
  }
  for (; Walk.Misplaced > 0; --Walk.Misplaced) {
    trace.Error() << L"Error calculated sub-chunk ChunkPosition differs from file.";
    trace.Error() << L"Error calculated sub-chunk FileDataPosition differs from file.";
  }
}

}  // namespace wavecodec
