// The contract with the module that decodes MPEG data, kept by stub modules in its place.
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "support.h"

namespace wavecodec::test {
namespace {

namespace fs = std::filesystem;

constexpr size_t kBlock = 65536;
constexpr const char* kDecodingFails =
    "Error decoding audio with external Decoder.  [ExternalDecodeData]\r\n";

// A folder in which the module finds a stub as its sub-decoder, as long as the object lives.
class StubFolder {
 public:
  explicit StubFolder(const std::string& stub) {
    const fs::path stubs = STUB_FOLDER;
    fs::create_directory(Folder);
    fs::copy_file(stubs / "stub_complete.dll", Folder / "anchor.dll");
    if (!stub.empty()) fs::copy_file(stubs / ("stub_" + stub + ".dll"), Folder / "mp3.dll");
    Anchor = dlopen((Folder / "anchor.dll").c_str(), RTLD_NOW | RTLD_LOCAL);
    *Instance() = Anchor;
  }
  StubFolder(const StubFolder&) = delete;
  StubFolder& operator=(const StubFolder&) = delete;
  ~StubFolder() {
    *Instance() = nullptr;
    dlclose(Anchor);
    fs::remove_all(Folder);
  }

  const fs::path Folder = fs::temp_directory_path() / ("stub" + std::to_string(getpid()));

 private:
  static void** Instance() {
    return static_cast<void**>(dlsym(Module::Loaded().Handle, "gInstance"));
  }
  void* Anchor = nullptr;
};

// One block of 64 KiB for each letter; of the last one 100 bytes.
std::string MpegFile(const std::string& letters) {
  std::string data;
  for (const char letter : letters) {
    data +=
        letter + std::string((data.size() / kBlock + 1 < letters.size() ? kBlock : 100) - 1, '.');
  }
  const std::string fmt = LE(85, 2) + LE(1, 2) + LE(8000, 4) + LE(1000, 4) + LE(1, 2) + LE(0, 2);
  return Riff(Chunk("fmt ", fmt) + Chunk("data", data));
}

// What the stub makes of a block.
std::string Decoded(char letter, bool last, size_t path_length) {
  return letter + LE(last ? 1 : 0, 1) + LE(last ? 100 : kBlock, 4) + LE(path_length, 1) + LE(0, 1);
}

TEST(SubDecoder, EveryEntryPointIsNeededButSetModulePath) {
  const TempFile file(MpegFile("A"));
  for (const std::string name : {"", "Create", "Destroy", "Get", "Set", "Open", "Close",
                                 "DecodeBlock", "SetPosition", "DeleteATag", "SetModulePath"}) {
    SCOPED_TRACE(name);
    const StubFolder stubs(name.empty() ? "" : "without_" + name);
    CapturedReport report;
    Instance decoder(report.Record);
    const bool loads = name == "SetModulePath";
    EXPECT_EQ(decoder.Open(file.Name(), ZuOpenDecode), loads);
    EXPECT_EQ(report.Errors(), loads ? ""
                                     : "Error loading external Decoder '" +
                                           (stubs.Folder / "mp3.dll").native() +
                                           "'  [PrepareToDecodeAudio]\r\n");
    EXPECT_EQ(decoder.DecodeAll(), loads ? Decoded('A', true, 0) : "");
  }
}

TEST(SubDecoder, FeedsUntilTheFirstData) {
  const struct {
    const char* Stub;
    const char* Letters;
    const char* Blocks;     // that come out, "!" for a failure
    const char* OpenError;  // empty: opens
  } cases[] = {
      {"complete", "A", "A", ""},
      {"complete", "ABC", "ABC", ""},
      {"complete", "ENAB", "AB", ""},
      {"complete", "AEB", "AB", ""},
      {"complete", "AE", "A", ""},
      {"complete", "EN", "", ""},
      {"complete", "ABF", "AB!", ""},
      {"complete", "F", "", kDecodingFails},
      {"complete", "EF", "", kDecodingFails},
      {"create_fails", "A", "",
       "Error creating external Decoder.  [InitializeExternalDecoder]\r\n"},
      {"open_fails", "A", "", "Error opening external Decoder.  [InitializeExternalDecoder]\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Letters);
    const StubFolder stubs(c.Stub);
    const TempFile file(MpegFile(c.Letters));
    CapturedReport report;
    Instance decoder(report.Record);
    const bool opens = *c.OpenError == 0;
    ASSERT_EQ(decoder.Open(file.Name(), ZuOpenDecode | ZuOpenInfo), opens) << report.Errors();
    EXPECT_EQ(report.Errors(), c.OpenError);
    if (!opens) continue;
    std::string expected;
    const size_t path_length = (stubs.Folder / "mp3.dll").native().size();
    for (const char* block = c.Blocks; *block != 0; ++block) {
      const bool last = std::string(c.Letters).back() == *block;
      expected += *block == '!' ? "!" : Decoded(*block, last, path_length);
    }
    EXPECT_EQ(decoder.DecodeAll(), expected);
    EXPECT_EQ(report.Errors(), expected.ends_with('!') ? kDecodingFails : "");
    if (*c.Blocks == 0) continue;
    EXPECT_EQ(decoder.Record.audioInfo.format.Format.nSamplesPerSec, 8000U);
    EXPECT_EQ(decoder.Record.audioInfo.format.Format.wBitsPerSample, 16);
  }
}

TEST(SubDecoder, WhatWasDecodedWhileOpeningComesFirst) {
  const StubFolder stubs("complete");
  const TempFile file(MpegFile("EABC"));
  Instance decoder;
  ASSERT_TRUE(decoder.Open(file.Name(), ZuOpenDecode));
  ASSERT_TRUE(decoder.Seek(3 * kBlock));
  ASSERT_TRUE(decoder.Decode());
  EXPECT_EQ(static_cast<const char*>(decoder.Block.data)[0], 'A');
  EXPECT_EQ(decoder.Block.positionMs, 3 * kBlock - 0);  // eight bytes are no whole millisecond
  EXPECT_EQ(decoder.Block.bitRate, 8000);
  EXPECT_EQ(decoder.Block.lastBlock, 0U);
  ASSERT_TRUE(decoder.Decode());
  EXPECT_EQ(static_cast<const char*>(decoder.Block.data)[0], 'C');
  EXPECT_EQ(decoder.Block.lastBlock, 1U);
  decoder.Close();
  EXPECT_EQ(decoder.DecodeAll(), "");  // nothing of the closed one shows through
}

}  // namespace
}  // namespace wavecodec::test
