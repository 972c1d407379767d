#include "riff/chunk_reader.h"

#include "module/report/std_report.h"

namespace wavecodec {

bool ReadFileIntoMemory(void* target, size_t bytes, int64_t position, XFile& file,
                        const STNStdReport& report) {
  constexpr const char* kName = "ReadFileIntoMemory";
  if (!file.SetPosition(position)) {
    ErrorLine(report, kName) << L"Error SetPosition returned false.";
    return false;
  }
  if (file.ReadSmall(target, bytes) != bytes) {
    ErrorLine(report, kName) << L"Error cannot reading chunk from file.";
    return false;
  }
  return true;
}

bool LoadChunk(XMem& data, const STRIFFChunk& chunk, XFile& file, const STNStdReport& report) {
  if (chunk.ChunkSize > SIZE_MAX || !data.SetSize(static_cast<size_t>(chunk.ChunkSize))) {
    file.SetReadFailed();
    return false;
  }
  return ReadFileIntoMemory(data.Data(), data.Size(), chunk.FileDataPosition, file, report);
}

}  // namespace wavecodec
