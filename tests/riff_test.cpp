#include "riff/riff_handler.h"

#include <gtest/gtest.h>

#include <map>

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

// What a scan says, a letter a line.
std::string Lines(std::string_view letters) {
  static const std::map<char, std::string> lines = {
      {'x', "Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file."},
      {'r', "Warning Chunk is out of RIFF area (but still inside file)."},
      {'f', "Error Chunk is out of file."},
      {'t', "Error calculated total RIFF chunk size differs from file."},
      {'u', "Warning: RIFF chunk has uneven databytes, is non-compliant RIFF."},
      {'s', "Error: File too small for RIFF."},
      {'i', "Error RIFF chunk unknown 'Riff'"},
      {'o', "Error RIFF form chunk unknown 'AV. '"},
      {'c', "File error reading chunk."}};
  std::string text;
  for (const char letter : letters) text += lines.at(letter) + "  [ScanFile]\r\n";
  return text;
}

TEST(RiffScan, ReadsWhatMakesSenseAndSaysWhatDoesNot) {
  const std::string abcd = Chunk("abcd", "1234");
  const std::string odd = "odd " + LE(3, 4) + "xyz";  // at the end, without its pad byte
  const std::string rf64_data = Chunk("ds64", std::string(28, 0)) + "data" + LE(0xFFFFFFFF, 4);
  const auto header = [](const char* id, uint64_t size, const char* form = "WAVE") {
    return id + LE(size, 4) + form;
  };
  const struct {
    const char* What;
    std::string Bytes;
    const char* Table;
    const char* Information = "";  // letters of Lines
    const char* Errors = "";
    bool Ok = true;
  } cases[] = {
      {"tight file", Riff(abcd + Chunk("odd ", "xyz") + abcd), "abcd@12+4 odd @24+3 abcd@36+4"},
      {"lower case", header("riff", 16, "wave") + abcd, "abcd@12+4"},
      {"short header", "RIFF" + LE(4, 4) + "WAV", "", "", "s", false},
      {"mixed case", header("Riff", 16) + abcd, "", "", "i", false},
      {"other form", header("RIFF", 16, "AV\1 ") + abcd, "", "", "o", false},
      {"bytes behind the RIFF area", Riff(abcd) + std::string(100, 'x'), "abcd@12+4", "x"},
      {"odd end without pad byte", header("RIFF", 27) + abcd + odd, "abcd@12+4 odd @24+3", "u"},
      {"claims more than the file has",
       header("RIFF", 1000) + abcd + "LIST" + LE(20, 4) + "ten bytes!", "abcd@12+4 LIST@24+10",
       "xt", "f"},
      {"claims 4 GiB in RIFF area", header("RIFF", 24) + abcd + "big " + LE(0xFFFFFFFE, 4),
       "abcd@12+4 big @24+0", "r"},
      {"leaves the RIFF area, not the file", header("RIFF", 14) + abcd, "abcd@12+4", "xrt"},
      {"cut chunk header", header("RIFF", 100) + abcd + "LIS", "abcd@12+4", "xt", "c"},
      {"RF64", header("RF64", 0xFFFFFFFF) + rf64_data + "123456", "ds64@12+28 data@48+6", "xr"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    const Scanned scanned(c.Bytes);
    EXPECT_EQ(scanned.Ok, c.Ok);
    EXPECT_EQ(scanned.Table(), c.Table);
    EXPECT_EQ(scanned.Captured.Information(), Lines(c.Information));
    EXPECT_EQ(scanned.Captured.Errors(), Lines(c.Errors));
  }
}

}  // namespace
}  // namespace wavecodec
