// Recordings made by others decode to exactly the bytes of their `data` chunk.
#include <gtest/gtest.h>

#include "tag_writing.h"

namespace wavecodec::test {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> Recordings() {
  const char* folder = getenv("WAVECODEC_RECORDINGS");
  std::vector<fs::path> files;
  std::error_code none;
  for (const char* package : {"alsa-utils", "libpython3.11-testsuite", "python3-scipy"}) {
    for (const auto& entry :
         fs::directory_iterator(fs::path(folder ? folder : "") / package, none)) {
      files.push_back(entry.path());
    }
  }
  return files;
}

// The body of the first `data` chunk, by a walk of its own, as far as the file has it.
std::string DataChunk(const std::string& bytes) {
  for (size_t at = 12; at + 8 <= bytes.size();) {
    uint32_t size = 0;
    memcpy(&size, bytes.data() + at + 4, 4);
    if (bytes.compare(at, 4, "data") == 0) return bytes.substr(at + 8, size);
    at += 8 + size_t{size} + size % 2;
  }
  return {};
}

// Big-endian containers, mu-law, cut files, sample widths that are no whole bytes. Frames of
// integer PCM are as long as channels and bits make them, whatever the file says: what is left at
// the end is no frame.
TEST(Recordings, DecodeToTheBytesOfTheirDataChunkOrAreRefused) {
  const auto files = Recordings();
  if (files.empty()) GTEST_SKIP() << "no recordings here";
  int refused = 0;
  for (const fs::path& path : files) {
    SCOPED_TRACE(path.filename());
    const CapturedReport report;
    Instance decoder(report.Record);
    const bool opened = decoder.Open(path.wstring(), ZuOpenDecode);
    EXPECT_EQ(report.Errors().empty(), opened);
    if (!opened) {
      ++refused;
      continue;
    }
    const std::string data = DataChunk(FileBytes(path));
    const size_t align = decoder.Record.audioInfo.format.Format.nBlockAlign;
    EXPECT_EQ(decoder.DecodeAll(), data.substr(0, data.size() - data.size() % align));
  }
  EXPECT_EQ(refused, 6);  // three are big-endian, two cut, one is mu-law
}

}  // namespace
}  // namespace wavecodec::test
