// The contract with the module that decodes MPEG data, kept by stub modules in its place.
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "support.h"

namespace wavecodec::test {
namespace {

namespace fs = std::filesystem;

constexpr size_t kBlock = 65536;

// A folder in which the module finds a stub as its sub-decoder, as long as the object lives.
class StubFolder : Fixed {
 public:
  explicit StubFolder(const std::string& stub) {
    const fs::path stubs = STUB_FOLDER;
    fs::create_directory(Folder);
    fs::copy_file(stubs / "stub_complete.dll", Folder / "anchor.dll");
    if (!stub.empty()) fs::copy_file(stubs / ("stub_" + stub + ".dll"), Folder / "mp3.dll");
    Anchor = dlopen((Folder / "anchor.dll").c_str(), RTLD_NOW | RTLD_LOCAL);
    *Instance = Anchor;
  }
  ~StubFolder() {
    *Instance = nullptr;
    dlclose(Anchor);
    fs::remove_all(Folder);
  }

  const fs::path Folder = fs::temp_directory_path() / ("stub" + std::to_string(getpid()));

 private:
  void** const Instance = static_cast<void**>(dlsym(Module::Loaded().Handle, "gInstance"));
  void* Anchor = nullptr;
};

// One block of 64 KiB for each letter; of the last one 100 bytes.
std::string MpegFile(const std::string& letters) {
  std::string data;
  for (const char letter : letters) (data += letter).append(kBlock - 1, '.');
  data.resize(data.size() - kBlock + 100);
  const std::string fmt = LE(85, 2) + LE(1, 2) + LE(8000, 4) + LE(1000, 4) + LE(1, 2) + LE(0, 2);
  return Riff(Chunk("fmt ", fmt) + Chunk("data", data));
}

TEST(SubDecoder, FeedsUntilTheFirstData) {
  struct Case {
    std::string Stub, Letters;
    std::string Blocks;     // that come out, "!" for a failure
    std::string OpenError;  // empty: opens
  };
  const std::string loading = "Error loading external Decoder 'PATH'  [PrepareToDecodeAudio]\r\n";
  const std::string decoding =
      "Error decoding audio with external Decoder.  [ExternalDecodeData]\r\n";
  const std::string initialize = "ing external Decoder.  [InitializeExternalDecoder]\r\n";
  std::vector<Case> cases = {
      {"complete", "ABC", "ABC", ""},
      {"complete", "ENAB", "AB", ""},
      {"complete", "AEB", "AB", ""},
      {"complete", "EN", "", ""},
      {"complete", "ABF", "AB!", ""},
      {"complete", "EF", "", decoding},
      {"create_fails", "A", "", "Error creat" + initialize},
      {"open_fails", "A", "", "Error open" + initialize},
      {"without_SetModulePath", "A", "A", ""},
      {"", "A", "", loading},
  };
  for (const char* entry : {"Create", "Destroy", "Get", "Set", "Open", "Close", "DecodeBlock",
                            "SetPosition", "DeleteATag"}) {
    cases.push_back({std::string("without_") + entry, "A", "", loading});
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Stub + " " + c.Letters);
    const StubFolder stubs(c.Stub);
    const TempFile file(MpegFile(c.Letters));
    const std::string path = (stubs.Folder / "mp3.dll").native();
    std::string error = c.OpenError;
    if (error == loading) error.replace(error.find("PATH"), 4, path);
    CapturedReport report;
    Instance decoder(report.Record);
    EXPECT_EQ(decoder.Open(file.Name(), ZuOpenDecode | ZuOpenInfo), error.empty());
    EXPECT_EQ(report.Errors(), error);
    std::string expected;
    for (const char block : c.Blocks) {
      const bool last = c.Letters.back() == block;
      expected += block;
      if (block == '!') continue;
      expected += LE(last ? 1 : 0, 1) + LE(last ? 100 : kBlock, 4) +
                  LE(c.Stub == "complete" ? path.size() : 0, 1) + std::string(25, 0);
    }
    EXPECT_EQ(decoder.DecodeAll(), expected);
    EXPECT_EQ(report.Errors(), error + (expected.ends_with('!') ? decoding : ""));
    if (c.Blocks.empty()) continue;
    EXPECT_EQ(decoder.Record.audioInfo.format.Format.wBitsPerSample, 16);
  }
}

TEST(SubDecoder, WhatWasDecodedWhileOpeningComesFirst) {
  const StubFolder stubs("complete");
  const TempFile file(MpegFile("EABC"));
  Instance decoder;
  ASSERT_TRUE(decoder.Open(file.Name(), ZuOpenDecode));
  ASSERT_TRUE(decoder.Seek(3 * kBlock) && decoder.Decode());
  EXPECT_EQ(static_cast<const char*>(decoder.Block.data)[0], 'A');
  EXPECT_EQ(decoder.Block.positionMs, 3 * kBlock - 2);  // it lasts two milliseconds
  EXPECT_EQ(decoder.Block.bitRate, 8000);
  EXPECT_EQ(decoder.DecodeAll()[0], 'C');
  decoder.Close();
  EXPECT_EQ(decoder.DecodeAll(), "");  // nothing of the closed one shows through
}

}  // namespace
}  // namespace wavecodec::test
