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

// A walk through the chunks: what is still before it, as the file and as the container header tell
// it.
struct clRIFFHandler::Scan {
  const TraceScope& Trace;
  int64_t FileSizeLeft = 0;
  int64_t RiffSizeLeft = 0;
  size_t Misplaced = 0;  // chunks found where the layout rule does not have them

  void Spend(int64_t bytes) {
    FileSizeLeft = std::max<int64_t>(0, FileSizeLeft - bytes);
    RiffSizeLeft = std::max<int64_t>(0, RiffSizeLeft - bytes);
  }
};

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

bool clRIFFHandler::Initialize(XFile& file, const STNStdReport& report) {
  Report = report;
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
  Scan scan{.Trace = trace, .FileSizeLeft = File->Size()};
  if (scan.FileSizeLeft < 0) return trace.Fail(L"Error reading File Size.");
  if (scan.FileSizeLeft == 0) {
    Chunks.Clear();
    return trace.Leave(true);
  }
  DefaultCreate();
  Chunks.Clear();
  if (!File->SetPosition(0)) return trace.Fail(L"Error Setting File Position to 0.");
  if (!ReadContainerHeader(scan)) return false;
  while (scan.FileSizeLeft != 0 && scan.RiffSizeLeft != 0) {
    const int64_t position = File->GetPosition();
    if (position < 0) return trace.Fail(L"Error reading File Position.");
    if (!ScanChunk(scan, position)) break;
  }
  CompareLayout(scan);
  return trace.Leave(true);
}

bool clRIFFHandler::ReadContainerHeader(Scan& scan) {
  const TraceScope& trace = scan.Trace;
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
  scan.FileSizeLeft -= static_cast<int64_t>(kContainerHeaderSize);
  scan.RiffSizeLeft = size >= 4 ? int64_t{size} - 4 : 0;
  if (scan.RiffSizeLeft != scan.FileSizeLeft) {
    trace.Info() << L"Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file.";
  }
  return true;
}

// Takes in the chunk at the file's position and moves behind it. False ends the walk.
bool clRIFFHandler::ScanChunk(Scan& scan, int64_t position) {
  const TraceScope& trace = scan.Trace;
  std::array<uint8_t, kChunkHeaderSize> header{};
  if (File->ReadSmall(header.data(), header.size()) < header.size()) {
    if (scan.RiffSizeLeft > static_cast<int64_t>(kChunkHeaderSize)) {
      trace.Error() << L"File error reading chunk.";
    }
    return false;
  }
  scan.Spend(static_cast<int64_t>(kChunkHeaderSize));
  const uint32_t id = ReadU32LE(header.data());
  const uint32_t claimed_size = ReadU32LE(header.data() + 4);
  trace.Debug() << L"  Got Chunk '" << [&] { return RIFFChnkID2CHR(id); } << L"'  Length: "
                << claimed_size << L"  RiffSizeLeft: " << scan.RiffSizeLeft << L"  ChunkPosition: "
                << position;
  StoredLastSize = claimed_size;
  const uint64_t size = CutToBounds(id, claimed_size, scan);
  if (position != Chunks.EndPosition()) ++scan.Misplaced;
  Chunks.Append(id, size);
  const auto skip = static_cast<int64_t>(size + size % 2);
  if (!File->SetPosition(skip, ENXFilePos::Current)) {
    trace.Error() << L"Error Setting Position.";
    return false;
  }
  scan.Spend(skip);
  return true;
}

// The size that a chunk really has: what it claims, as far as the file goes.
uint64_t clRIFFHandler::CutToBounds(uint32_t id, uint32_t size, const Scan& scan) const {
  if (size > scan.RiffSizeLeft) {
    scan.Trace.Info() << L"Warning Chunk is out of RIFF area (but still inside file).";
  } else if (size > scan.FileSizeLeft) {
    scan.Trace.Error() << L"Error Chunk is out of file.";
  }
  const auto left = static_cast<uint64_t>(scan.FileSizeLeft);
  const bool runs_to_the_end = size == kRF64SizeMark && CompareID(id, chunk_id::kData, true) &&
                               CompareID(RiffID, chunk_id::kRf64, true);
  return runs_to_the_end ? left : std::min<uint64_t>(size, left);
}

void clRIFFHandler::CompareLayout(Scan& scan) {
  const uint64_t stored_size = RiffSize;
  CalcAllChunks();
  if (RiffSize != stored_size && !CompareID(RiffID, chunk_id::kRf64, true) &&
      stored_size % 2 == 0) {
    scan.Trace.Info() << L"Error calculated total RIFF chunk size differs from file.";
  }
  for (; scan.Misplaced > 0; --scan.Misplaced) {
    scan.Trace.Error() << L"Error calculated sub-chunk ChunkPosition differs from file.";
    scan.Trace.Error() << L"Error calculated sub-chunk FileDataPosition differs from file.";
  }
}

}  // namespace wavecodec
