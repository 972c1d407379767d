#include "riff/riff_handler.h"

#include <gtest/gtest.h>

#include <vector>

#include "support.h"
#include "support/xstr.h"

namespace wavecodec {
namespace {

using test::Chunk;
using test::LE;
using test::Riff;

// What a scan of some bytes found, and what it said.
struct Scanned {
  explicit Scanned(std::string_view bytes) : Content(bytes) {
    EXPECT_TRUE(File.Open(Content.Name().c_str()));
    Ok = Handler.Initialize(File, Captured.Record);
  }
  // "id@position+size" for each chunk.
  [[nodiscard]] std::string Table() const {
    std::string text;
    for (size_t i = 0; i < Handler.Count(); ++i) {
      const STRIFFChunk chunk = *Handler.GetChunk(i);
      const XStr id = RIFFChnkID2CHR(chunk.ChunkID);
      EXPECT_EQ(chunk.FileDataPosition, chunk.ChunkPosition + 8);
      text += (text.empty() ? "" : " ") + ToUtf8(id) + "@" + std::to_string(chunk.ChunkPosition) +
              "+" + std::to_string(chunk.ChunkSize);
    }
    return text;
  }

  test::TempFile Content;
  test::CapturedReport Captured;
  XFile File;
  clRIFFHandler Handler;
  bool Ok = false;
};

constexpr const char* kExtra =
    "Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file.  [ScanFile]\r\n";
constexpr const char* kOutOfRiff =
    "Warning Chunk is out of RIFF area (but still inside file).  [ScanFile]\r\n";
constexpr const char* kOutOfFile = "Error Chunk is out of file.  [ScanFile]\r\n";
constexpr const char* kTotalDiffers =
    "Error calculated total RIFF chunk size differs from file.  [ScanFile]\r\n";
constexpr const char* kUneven =
    "Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.  [ScanFile]\r\n";

TEST(RiffScan, ReadsWhatMakesSenseAndSaysWhatDoesNot) {
  const std::string abcd = Chunk("abcd", "1234");
  const std::string odd = "odd " + LE(3, 4) + "xyz";  // at the end, without its pad byte
  const auto header = [](const char* id, uint64_t size, const char* form) {
    return id + LE(size, 4) + form;
  };
  const struct {
    const char* What;
    std::string Bytes;
    bool Ok;
    std::string Table;
    std::string Information;
    std::string Errors;
  } cases[] = {
      {"empty file", "", true, "", "", ""},
      {"tight file", Riff(abcd + Chunk("odd ", "xyz") + abcd), true,
       "abcd@12+4 odd @24+3 abcd@36+4", "", ""},
      {"lower case", header("riff", 16, "wave") + abcd, true, "abcd@12+4", "", ""},
      {"short header", "RIFF\4\0\0\0WAV", false, "", "",
       "Error: File too small for RIFF.  [ScanFile]\r\n"},
      {"mixed case", header("Riff", 16, "WAVE") + abcd, false, "", "",
       "Error RIFF chunk unknown 'Riff'  [ScanFile]\r\n"},
      {"other form", header("RIFF", 16, "AV\1 ") + abcd, false, "", "",
       "Error RIFF form chunk unknown 'AV. '  [ScanFile]\r\n"},
      {"bytes behind the RIFF area", Riff(abcd) + std::string(100, 'x'), true, "abcd@12+4", kExtra,
       ""},
      {"odd end without pad byte", header("RIFF", 27, "WAVE") + abcd + odd, true,
       "abcd@12+4 odd @24+3", kUneven, ""},
      {"claims more than the file has",
       header("RIFF", 1000, "WAVE") + abcd + "LIST" + LE(20, 4) + "ten bytes!", true,
       "abcd@12+4 LIST@24+10", std::string(kExtra) + kTotalDiffers, kOutOfFile},
      {"claims 4 GiB in RIFF area", header("RIFF", 24, "WAVE") + abcd + "big " + LE(0xFFFFFFFE, 4),
       true, "abcd@12+4 big @24+0", kOutOfRiff, ""},
      {"leaves the RIFF area, not the file", header("RIFF", 14, "WAVE") + abcd, true, "abcd@12+4",
       std::string(kExtra) + kOutOfRiff + kTotalDiffers, ""},
      {"cut chunk header", header("RIFF", 100, "WAVE") + abcd + "LIS", true, "abcd@12+4",
       std::string(kExtra) + kTotalDiffers, "File error reading chunk.  [ScanFile]\r\n"},
      {"size field 0", header("RIFF", 0, "WAVE") + abcd, true, "",
       std::string(kExtra) + kTotalDiffers, ""},
      {"RF64",
       header("RF64", 0xFFFFFFFF, "WAVE") + Chunk("ds64", std::string(28, '\0')) + "data" +
           LE(0xFFFFFFFF, 4) + "123456",
       true, "ds64@12+28 data@48+6", std::string(kExtra) + kOutOfRiff, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    Scanned scanned(c.Bytes);
    EXPECT_EQ(scanned.Ok, c.Ok);
    EXPECT_EQ(scanned.Table(), c.Table);
    EXPECT_EQ(scanned.Captured.Information(), c.Information);
    EXPECT_EQ(scanned.Captured.Errors(), c.Errors);
  }
}

TEST(RiffScan, FindsChunksByNameInFileOrder) {
  Scanned scanned(Riff(Chunk("DATA", "1") + Chunk("Data", "22") + Chunk("data", "333")));
  EXPECT_EQ(scanned.Handler.IndexOfDataChunk(), 0);
  EXPECT_EQ(scanned.Handler.FindChunkForRead(chunk_id::kData, false)->ChunkSize, 3U);
  EXPECT_EQ(scanned.Handler.FindChunkForRead(chunk_id::kData, true)->ChunkSize, 1U);
  EXPECT_EQ(scanned.Handler.IndexOfChunk(chunk_id::kFmt), -1);
  EXPECT_FALSE(scanned.Handler.FindChunkForRead(chunk_id::kFmt, true));
  EXPECT_FALSE(scanned.Handler.GetChunk(3));
}

TEST(RiffScan, KeepsPositionsOverManyChunks) {
  std::string chunks;
  std::vector<size_t> positions;
  for (size_t i = 0; i < 5000; ++i) {
    positions.push_back(12 + chunks.size());
    chunks += Chunk("abcd", std::string(i % 7, 'x'));
  }
  Scanned scanned(Riff(chunks));
  ASSERT_EQ(scanned.Handler.Count(), positions.size());
  for (size_t i = 0; i < positions.size(); i += 123) {
    EXPECT_EQ(static_cast<size_t>(scanned.Handler.GetChunk(i)->ChunkPosition), positions[i]);
  }
  EXPECT_EQ(scanned.Handler.GetRiffSize(), 4 + chunks.size());
  scanned.Handler.Destroy();
  EXPECT_EQ(scanned.Handler.Count(), 0U);
}

// A source that fails where a disk would.
struct FailingFile : XFile {
  int64_t Size() const override { return FailSize ? -1 : XFile::Size(); }
  int64_t GetPosition() const override { return FailPosition ? -1 : XFile::GetPosition() + Shift; }
  bool SetPosition(int64_t offset, ENXFilePos from) override {
    return from != FailFrom && XFile::SetPosition(offset, from);
  }
  bool FailSize = false;
  bool FailPosition = false;
  int64_t Shift = 0;
  ENXFilePos FailFrom = ENXFilePos::End;
};

TEST(RiffScan, ReportsASourceThatFails) {
  const auto scan = [](bool expected, auto prepare) {
    const test::TempFile content(Riff(Chunk("abcd", "1234")));
    test::CapturedReport captured;
    FailingFile file;
    EXPECT_TRUE(file.Open(content.Name().c_str()));
    prepare(file);
    clRIFFHandler handler;
    EXPECT_EQ(handler.Initialize(file, captured.Record), expected);
    return captured.Errors();
  };
  EXPECT_EQ(scan(false, [](FailingFile& f) { f.FailSize = true; }),
            "Error reading File Size.  [ScanFile]\r\n");
  EXPECT_EQ(scan(false, [](FailingFile& f) { f.FailFrom = ENXFilePos::Begin; }),
            "Error Setting File Position to 0.  [ScanFile]\r\n");
  EXPECT_EQ(scan(false, [](FailingFile& f) { f.FailPosition = true; }),
            "Error reading File Position.  [ScanFile]\r\n");
  EXPECT_EQ(scan(true, [](FailingFile& f) { f.FailFrom = ENXFilePos::Current; }),
            "Error Setting Position.  [ScanFile]\r\n");
  EXPECT_EQ(scan(true, [](FailingFile& f) { f.Shift = 2; }),
            "Error calculated sub-chunk ChunkPosition differs from file.  [ScanFile]\r\n"
            "Error calculated sub-chunk FileDataPosition differs from file.  [ScanFile]\r\n");
}

}  // namespace
}  // namespace wavecodec
