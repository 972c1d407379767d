// The module through its entry points, as a host sees it.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <set>

#include "support.h"
#include "wave/wave_decoder.h"

namespace wavecodec::test {
namespace {

constexpr uint32_t kAll = ZuOpenDecode | ZuOpenInfo | ZuOpenTags | ZuOpenProperties;
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();

// A bar ends a line; NAME is the file, FORMAT the whole format.
constexpr const char* kTrace =
    "->->  [Open]|  Opening file 'NAME' for read access: |  Opened|"
    "  Reading Audio Information|"
    "  ->->  [Initialize]|  <-<-  [Initialize]|"
    "  ->->  [Initialize]|    clRIFFHandler::CalcAllChunks: |    Ok|  <-<-  [Initialize]|"
    "  ->->  [ScanFile]|    clRIFFHandler::CalcAllChunks: |    Ok|"
    "      RIFF Header 'RIFF'  Length: 140048  FormType 'WAVE'  [ScanFile]|"
    "      Got Chunk 'fmt '  Length: 16  RiffSizeLeft: 140036  ChunkPosition: 12  [ScanFile]|"
    "      Got Chunk 'fact'  Length: 4  RiffSizeLeft: 140012  ChunkPosition: 36  [ScanFile]|"
    "      Got Chunk 'data'  Length: 140000  RiffSizeLeft: 140000  ChunkPosition: 48  [ScanFile]|"
    "    clRIFFHandler::CalcAllChunks: |    Ok|  <-<-  [ScanFile]|  Read Audio Information|"
    "  Writing Audio Information|"
    "  ->->  [FillAudioInfo]|"
    "    ->->  [PullOutFMTnDATA]|"
    "      Finding 'fmt ' chunk.|"
    "      Finding 'data' chunk.|      Assigning 'fmt ' chunk to WFX|"
    "      Read 'fact' chunk: 7 samples|    <-<-  [PullOutFMTnDATA]|"
    "    Audio Length: 793 mili-seconds  140000 bytes  1411 kbps|  <-<-  [FillAudioInfo]|"
    "  Written Audio Information|"
    "  Preparing to Decode|"
    "  ->->  [PrepareToDecodeAudio]|    Calling ACMDecoder.CreateNewConverter|"
    "    Compressed WFX (on file): FORMAT|"
    "    Uncompressed WFX (sent to zu): FORMAT|    Setting Position in File|"
    "  <-<-  [PrepareToDecodeAudio]|  Prepared Decoding|<-<-  [Open]|"
    "->->  [SetPosition]|<-<-  [SetPosition]|"
    "->->  [Close]|"
    "  ->->  [Close]|  <-<-  [Close]|<-<-  [Close]|";

TEST(Decoder, WritesItsWholeTrace) {
  const TempFile file(Riff(Fmt(1, 2, 44100, 16) + Chunk("fact", LE(7, 4)) +
                           Chunk("data", std::string(140000, 'a'))));
  const CapturedReport report;
  Instance decoder(report.Record);
  ASSERT_TRUE(decoder.Open(file.Name(), ZuOpenDecode));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(decoder.Decode());
  EXPECT_TRUE(decoder.Seek(10));
  decoder.Close();
  // Failures of other tests in this process have left the indentation deeper.
  const std::string deeper(report.Debug().find_first_not_of(' '), ' ');
  std::string expected = Replaced(deeper + kTrace, "|", "\r\n" + deeper);
  expected = Replaced(expected, "NAME", file.Path.native());
  expected = Replaced(expected, "FORMAT",
                      "Format Tag: 1  Channels: 2  Bits per Sample: 16  Samples Per Second: 44100  "
                      "Bytes Per Second: 176400  Block Align: 4  CB Size: 0");
  EXPECT_EQ(report.Debug() + deeper, expected);
  EXPECT_EQ(report.Errors() + report.Information(), "");
}

TEST(Decoder, DeliversWholeFramesInBlocks) {
  const std::string data = Noise(200003);  // three bytes more than whole frames
  const TempFile file(Stereo16(data));
  Instance decoder;
  ASSERT_TRUE(decoder.Open(file.Name(), kAll));
  const STZuAudioInfo& info = decoder.Record.audioInfo;
  EXPECT_EQ(info.lengthBytes, 200000U);
  EXPECT_EQ(info.lengthMs, 1133U);
  EXPECT_EQ(info.bitRate, 1411200);
  std::string decoded;
  std::string told;  // of each block
  std::set<const void*> memory;
  do {
    ASSERT_TRUE(decoder.Decode());
    const STZuAudioBlock& block = decoder.Block;
    told += std::to_string(block.byteCount) + " " + std::to_string(block.positionMs) + " " +
            std::to_string(block.blockMs) + " ";
    memory.insert(block.data);
    decoded.append(static_cast<const char*>(block.data), block.byteCount);
  } while (decoder.Block.lastBlock == 0);
  EXPECT_EQ(told, "65536 0 371 65536 371 371 65536 743 371 3392 1114 19 ");
  EXPECT_EQ(memory.size(), 1U);  // one buffer for all
  EXPECT_EQ(decoded, data.substr(0, 200000));
  ASSERT_TRUE(decoder.Decode());  // once more at the end: no data, still the last block
  EXPECT_TRUE(decoder.Block.lastBlock == 1 && decoder.Block.data == nullptr);
}

TEST(Decoder, RangesAndSeeksStayInsideTheData) {
  const std::string data = Noise(4003);  // 1000 frames, and a piece of one that never comes out
  const TempFile file(Stereo16(data));
  const struct {
    int64_t From, To, Seek;
    size_t Begin, End;  // frames of the data that come out
    size_t Length;      // bytes that the range is said to have
  } cases[] = {
      {100, -1, 0, 100, 1000, 3600}, {100, 300, 50, 150, 300, 800},     {10, 5, 0, 0, 0, 0},
      {kMax, -1, 0, 0, 0, 0},        {kMin, kMax, 1, 1, 1000, 4003},    {0, kMin, 0, 0, 0, 0},
      {0, 5000, 0, 0, 1000, 4003},   {0, -1, kMax / 4 + 1, 0, 0, 4000}, {999, -1, 1, 0, 0, 4},
      {100, 300, -50, 50, 300, 800},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.From << " to " << c.To << ", seek " << c.Seek);
    Instance decoder;
    decoder.Range(c.From, c.To);
    ASSERT_TRUE(decoder.Open(file.Name(), ZuOpenDecode));
    EXPECT_EQ(decoder.Record.audioInfo.lengthBytes, c.Length);
    ASSERT_TRUE(decoder.Seek(c.Seek));
    EXPECT_EQ(decoder.DecodeAll(), data.substr(c.Begin * 4, (c.End - c.Begin) * 4));
  }
  CapturedReport report;
  Instance decoder(report.Record);
  EXPECT_FALSE(decoder.Seek(0));  // nothing is open
  ASSERT_TRUE(decoder.Open(file.Name(), ZuOpenDecode));
  ASSERT_TRUE(decoder.Seek(998));
  EXPECT_FALSE(decoder.Seek(-12) || decoder.Seek(kMin) || decoder.Seek(kMin / 4 - 1));
  EXPECT_EQ(decoder.DecodeAll(), data.substr(998 * 4, 8));  // the failed seeks moved nothing
  const std::string error = "Error SetPosition returned false.  [SetPosition]\r\n";
  EXPECT_EQ(report.Errors(), error + error + error + error);
}

TEST(Decoder, FormatsAreDeliveredAsStoredOrRefused) {
  const auto refused = [](const std::string& name) {
    return "Error Cannot Create Wave Decoder (" + name + ")?  [PrepareToDecodeAudio]\r\n";
  };
  const std::string fmt = Fmt(1, 2, 8000, 16);
  const struct {
    const char* What;
    std::string Fmt, Error;  // no error: decodes
  } cases[] = {
      {"24-bit", Fmt(1, 2, 8000, 24), ""},
      {"64-bit float", Fmt(3, 2, 8000, 64), ""},
      {"extensible float", ExtensibleFmt(3, 2, 48000, 32), ""},
      {"14 bytes", Chunk("fmt ", fmt.substr(8, 14)), ""},
      {"128000 bytes", Chunk("fmt ", fmt.substr(8) + std::string(128000 - 16, 0)), ""},
      {"128001 bytes", Chunk("fmt ", fmt.substr(8) + std::string(128001 - 16, 0)),
       "Error 'fmt ' chunk is a bad size.  [PullOutFMTnDATA]\r\n"},
      {"FMT in capitals", Chunk("FMT ", fmt.substr(8)),
       "Error cannot find 'fmt ' chunk.  [PullOutFMTnDATA]\r\n"},
      {"mu-law", Fmt(7, 2, 8000, 8), refused("Unknown ACM ID: 7")},
      {"extensible MPEG", ExtensibleFmt(80, 2, 48000, 16), refused("MPEG-1 Layer 1 or 2")},
      {"extensible unknown", ExtensibleFmt(999, 2, 48000, 16), refused("Unknown ACM ID: 65534")},
  };
  const std::string data = Noise(4800);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    const TempFile file(Riff(c.Fmt + Chunk("data", data)));
    CapturedReport report;
    Instance decoder(report.Record);
    EXPECT_EQ(decoder.Open(file.Name(), ZuOpenDecode), c.Error.empty());
    EXPECT_EQ(report.Errors(), c.Error);
    EXPECT_EQ(decoder.DecodeAll(), c.Error.empty() ? data : "");
    if (c.Error.empty() && c.Fmt.size() == 48) {  // the whole format reaches the host
      EXPECT_EQ(memcmp(&decoder.Block.format, c.Fmt.data() + 8, 40), 0);
    }
  }
}

TEST(Decoder, LengthOfCompressedDataComesFromFact) {
  const TempFile file(Riff(Fmt(2, 1, 8000, 4) + Chunk("fact", LE(80000, 4)) +
                           Chunk("data", std::string(4000, 'x'))));
  Instance decoder;
  ASSERT_TRUE(decoder.Open(file.Name(), ZuOpenInfo));
  EXPECT_EQ(decoder.Record.audioInfo.lengthMs, 10000U);
  EXPECT_EQ(decoder.Record.audioInfo.format.Format.wBitsPerSample, 16);
}

TEST(Decoder, OpensAnRf64OfFiveGiB) {
  const TempFile file("RF64" + LE(0xFFFFFFFF, 4) + "WAVE" + Chunk("ds64", std::string(28, 0)) +
                      Fmt(1, 2, 48000, 24) + "data" + LE(0xFFFFFFFF, 4));
  constexpr uint64_t kBytes = (5ULL << 30) / 6 * 6;
  std::filesystem::resize_file(file.Path, std::filesystem::file_size(file.Path) + kBytes + 2);
  Instance decoder;
  ASSERT_TRUE(decoder.Open(file.Name(), ZuOpenDecode));
  EXPECT_EQ(decoder.Record.audioInfo.lengthBytes, kBytes);
  EXPECT_EQ(decoder.Record.audioInfo.lengthMs, kBytes * 1000 / 288000);
  ASSERT_TRUE(decoder.Seek(static_cast<int64_t>(kBytes / 6) - 10));
  EXPECT_EQ(decoder.DecodeAll(), std::string(60, 0));
}

TEST(Decoder, EachOpenStartsFromNothing) {
  const std::string data = Noise(1000);
  const TempFile good(Stereo16(data));
  const TempFile bad("no Wave file at all");
  const TempFile no_data(Riff(Fmt(1, 2, 44100, 16)));
  const struct {
    std::wstring Name;
    uint32_t Flags;
    bool Opens;
  } cases[] = {{bad.Name(), kAll, false},
               {L"/no/such/file", kAll, false},
               {std::filesystem::temp_directory_path().wstring(), kAll, false},
               {no_data.Name(), kAll, false},
               {no_data.Name(), ZuOpenTags | ZuOpenProperties, true},
               {good.Name(), 0, true}};
  Instance decoder;
  for (const auto& c : cases) {
    ASSERT_TRUE(decoder.Open(good.Name(), ZuOpenDecode) && decoder.Decode());
    EXPECT_EQ(decoder.Open(c.Name, c.Flags), c.Opens);
    EXPECT_EQ(decoder.DecodeAll(), "");
  }
  ASSERT_TRUE(decoder.Open(good.Name(), ZuOpenDecode));
  EXPECT_EQ(decoder.DecodeAll(), data);
  decoder.Close();
  decoder.Close();
}

TEST(Decoder, AReadThatFailsCanBeRepeated) {
  const std::string data = Noise(200000);
  const TempFile file(Stereo16(data));
  CapturedReport report;
  Instance decoder(report.Record);
  ASSERT_TRUE(decoder.Open(file.Name(), ZuOpenDecode));
  ASSERT_TRUE(decoder.Decode());
  std::filesystem::resize_file(file.Path, 100000);
  EXPECT_FALSE(decoder.Decode());
  EXPECT_EQ(report.Errors(), "Error reading data from file.  [ReadDataBlock]\r\n");
  file.Write(Stereo16(data));
  EXPECT_EQ(decoder.DecodeAll(), data.substr(65536));
}

// A source whose n-th use fails, or which tells wrong positions, below a decoder that is driven
// directly.
struct FailingFile : XFile {
  bool Fails() const { return --UsesLeft == 0; }
  int64_t Size() const override { return Fails() ? -1 : XFile::Size(); }
  int64_t GetPosition() const override { return Fails() ? -1 : XFile::GetPosition() + Shift; }
  bool SetPosition(int64_t offset, ENXFilePos from) override {
    return !Fails() && XFile::SetPosition(offset, from);
  }
  size_t ReadSmall(void* buffer, size_t count) override {
    return Fails() ? 0 : XFile::ReadSmall(buffer, count);
  }
  mutable int UsesLeft = 0;
  int64_t Shift = 0;
};
struct DirectDecoder : clWaveDecoderCore {
  explicit DirectDecoder(FailingFile& file) : clWaveDecoderCore(file) {}
  using clWaveDecoderCore::Initialize;
};

TEST(Decoder, SaysWhichUseOfTheSourceFailed) {
  const TempFile content(
      Riff(Fmt(1, 2, 44100, 16) + Chunk("fact", LE(7, 4)) + Chunk("data", "abcd")));
  const auto outcome = [&](int failing_use, int64_t shift) {
    const CapturedReport report;
    FailingFile file;
    EXPECT_TRUE(file.Open(content.Name().c_str()));
    file.UsesLeft = failing_use;
    file.Shift = shift;
    DirectDecoder decoder(file);
    STZuAudioInfo info{};
    const bool ok = decoder.Initialize(report.Record, 0, -1, RIFFScan::Everything) &&
                    decoder.PrepareToDecodeAudio(info);
    return (ok ? "opens " : "fails ") + report.Errors();
  };
  const std::string scan = "  [ScanFile]\r\n";
  const std::string pull_out = "  [PullOutFMTnDATA]\r\n";
  const std::string no_position = "fails Error reading File Position." + scan;
  const std::string no_header = "fails File error reading chunk." + scan;
  const std::string no_move = "Error Setting Position." + scan;
  const std::string no_data = "Error cannot find 'data' chunk." + pull_out;
  const std::string expected[] = {
      "fails Error reading File Size." + scan,
      "fails Error Setting File Position to 0." + scan,
      "fails Error: File too small for RIFF." + scan,
      no_position,
      no_header + "Error cannot find 'fmt ' chunk." + pull_out,
      "fails " + no_move + no_data,
      no_position,
      no_header + no_data,
      "fails " + no_move + no_data,
      no_position,
      no_header + no_data,
      "opens " + no_move,
      "fails Error cannot Set File Position." + pull_out,
      "fails Error cannot read 'fmt ' chunk from file." + pull_out,
      "opens Error cannot Set File Position" + pull_out,
      "opens Error cannot read 'fact' chunk from file." + pull_out,
      "fails Error SetPosition returned false.  [PrepareToDecodeAudio]\r\n",
      "opens "};
  for (int use = 1; const std::string& each : expected) EXPECT_EQ(outcome(use++, 0), each);
  const std::string at = "Position differs from file." + scan;
  const std::string differs =
      "Error calculated sub-chunk Chunk" + at + "Error calculated sub-chunk FileData" + at;
  EXPECT_EQ(outcome(0, 2), "opens " + differs + differs + differs);
}

TEST(Decoder, RefusesAndKeepsGoing) {
  const Module& m = Module::Loaded();
  STZuOpenDecoder open{};
  STZuAudioBlock block{};
  STZuCodecGetSet get{};
  EXPECT_FALSE(m.Open(nullptr, &open) || m.Close(nullptr, nullptr) ||
               m.DecodeBlock(nullptr, &block) || m.SetPosition(nullptr, 0) ||
               m.DeleteATag(nullptr, L"x", nullptr) || m.Get(nullptr, L"Decodes", &get) ||
               m.Set(nullptr, L"Decodes", &get));
  EXPECT_EQ(m.Destroy(nullptr), 1U);
  const TempFile adpcm(Riff(Fmt(2, 1, 8000, 4) + Chunk("data", "abcd")));
  const CapturedReport report;
  Instance decoder(report.Record);
  EXPECT_EQ(m.Open(decoder.Self, &open), 0U);  // no file name
  EXPECT_FALSE(decoder.Open(adpcm.Name(), ZuOpenPackets | ZuOpenDecode));
  EXPECT_TRUE(decoder.Open(adpcm.Name(), ZuOpenInfo) && decoder.Seek(0) && !decoder.Decode());
  EXPECT_EQ(report.Errors(),
            "Error opening file '' check no other program has it open.  [Open]\r\n"
            "Error cannot decode external-packet data.  [Open]\r\n"
            "Error cannot decode data, audio file corrupt?  [DecodeBlock]\r\n");
  EXPECT_FALSE(m.Open(decoder.Self, nullptr) || m.DecodeBlock(decoder.Self, nullptr) ||
               m.Get(decoder.Self, nullptr, &get) || m.Set(decoder.Self, L"x", nullptr));
}

}  // namespace
}  // namespace wavecodec::test
