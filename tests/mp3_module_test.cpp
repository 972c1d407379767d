// mp3.dll as wave.dll drives it. The streams are layer 1 frames, which anybody can write: a header,
// how many bits the samples of each band have, and then noise will do.
#include <gtest/gtest.h>

#define WAVE_MODULE MP3_MODULE
#include "mp3/frame_length.h"
#include "support.h"

namespace wavecodec::test {
namespace {

constexpr size_t kFrameSamples = 384;
constexpr size_t kStereoFrame = kFrameSamples * 4;

constexpr uint8_t k44100 = 0xE0, k48000 = 0xE4, kMono32000 = 0x78;  // the rates in a header

std::string Frames(int count, uint8_t rates = k44100) {
  const bool mono = rates == kMono32000;
  const uint8_t header[] = {0xFF, 0xFF, rates, static_cast<uint8_t>(mono ? 0xC0 : 0)};
  const std::string bands(mono ? 16 : 32, '\x33');  // 3 gives a band four bits a sample
  std::string bytes;
  for (; count > 0; --count) {
    bytes.append(header, std::end(header)) += bands;
    bytes +=
        Noise(FrameLength(header) - sizeof header - bands.size(), static_cast<uint32_t>(count));
  }
  return bytes;
}

struct Packets : Instance {
  explicit Packets(const STNStdReport& report = {}) : Instance(report) { Opens(ZuOpenPackets); }

  bool Opens(uint32_t flags, const wchar_t* name = nullptr) {
    Record = {};
    Record.flags = flags;
    Record.fileName = name;
    return M.Open(Self, &Record) == 1;
  }
  bool Take(std::string_view bytes, bool last) {
    Block.data = bytes.data();
    Block.byteCount = static_cast<uint32_t>(bytes.size());
    Block.lastBlock = last ? 1 : 0;
    return M.DecodeBlock(Self, &Block) == 1;
  }
  // All of a stream, cut into blocks; "!" where one fails.
  std::string DecodeStream(std::string_view stream, size_t block_size = 65536) {
    std::string samples;
    do {
      const std::string_view bytes = stream.substr(0, block_size);
      stream.remove_prefix(bytes.size());
      if (!Take(bytes, stream.empty())) return samples + "!";
      if (Block.data != nullptr)
        samples.append(static_cast<const char*>(Block.data), Block.byteCount);
    } while (!stream.empty());
    return samples;
  }
};

TEST(MP3Module, FindsTheFramesBehindATag) {
  const std::string frames = Frames(300);
  const std::string samples = Packets().DecodeStream(frames);
  ASSERT_EQ(samples.size(), 300 * kStereoFrame);
  const std::string tag = "ID3" + LE(3, 3) + LE(0x400, 4) + frames.substr(0, 65536);
  EXPECT_TRUE(Packets().DecodeStream(tag + frames) == samples);
  EXPECT_TRUE(Packets().DecodeStream(Noise(70000) + frames, 1).ends_with(samples));
  const std::string big = Frames(2000);  // in one block it takes more than the first buffer
  EXPECT_TRUE(Packets().DecodeStream(big, big.size()) == Packets().DecodeStream(big));
}

// Neither the only frame of a stream nor the last one is lost. The library judges the length that a
// header tells: three frames in a row only come out when each begins where it expects it.
TEST(MP3Module, EveryFrameComesOutWhateverItsHeader) {
  int headers = 0;
  for (unsigned bits = 0; bits < 0x2000; ++bits) {  // version, layer, CRC; rates, padding, private
    const uint8_t header[] = {0xFF, static_cast<uint8_t>(0xE0 | bits >> 8),
                              static_cast<uint8_t>(bits & 0xFF), 0};
    const size_t length = FrameLength(header);
    if ((bits & 0x101) != 0x100 || length == 0) continue;
    ++headers;
    ASSERT_LE(length, kLongestFrame);
    const std::string frame = std::string(header, std::end(header)) + std::string(length - 4, '\0');
    const size_t one = Packets().DecodeStream("junk" + frame, 7).size();
    EXPECT_TRUE(one == kStereoFrame || one == 576 * 4 || one == 1152 * 4) << std::hex << bits;
    EXPECT_EQ(Packets().DecodeStream((frame + frame).append(frame)).size(), 3 * one)
        << std::hex << bits;
  }
  EXPECT_EQ(headers, 3 * 3 * 14 * 3 * 2);  // versions, layers, bit rates, sample rates, padding
}

TEST(MP3Module, TellsTheFormatOfTheFirstFrame) {
  Packets decoder;
  const std::string frames = Frames(4);
  ASSERT_TRUE(decoder.Take(frames.substr(0, 100), false) && decoder.Block.data == nullptr);
  ASSERT_TRUE(decoder.Take({}, false) && decoder.Take(frames.substr(100), true));
  const std::string format(reinterpret_cast<const char*>(&decoder.Block.format), 18);
  EXPECT_EQ(format, Fmt(1, 2, 44100, 16).substr(8) + LE(0, 2));
  EXPECT_EQ(decoder.Block.byteCount, 4 * kStereoFrame);
  EXPECT_EQ(decoder.Block.bitRate, 448000);
  EXPECT_EQ(decoder.Block.blockMs, 4 * kFrameSamples * 1000 / 44100);
}

TEST(MP3Module, KeepsOneFormat) {
  const std::pair<uint8_t, double> seconds[] = {{k48000, 1 / 48.0}, {kMono32000, 1 / 32.0}};
  for (const auto& [rates, ratio] : seconds) {
    const std::string samples = Packets().DecodeStream(Frames(100) + Frames(100, rates));
    EXPECT_NEAR(static_cast<double>(samples.size()) / 4, 38400 * (1 + 44.1 * ratio), 200);
  }
}

TEST(MP3Module, StartsAfreshAndGoesOnBehindDamage) {
  Packets decoder;
  const std::string frames = Frames(50);
  const std::string samples = Packets().DecodeStream(frames);
  ASSERT_TRUE(decoder.Take(frames.substr(0, frames.size() - 300), false) && decoder.Seek(12345));
  EXPECT_TRUE(decoder.DecodeStream(frames) == samples);
  ASSERT_TRUE(decoder.Seek(0));
  EXPECT_EQ(decoder.DecodeStream(frames.substr(frames.size() - 300)), "");  // and no failure
  ASSERT_TRUE(decoder.Opens(ZuOpenPackets));
  EXPECT_EQ(decoder.DecodeStream(Frames(9, kMono32000)).size(), 9 * kFrameSamples * 2);
  // A player gives up after a kilobyte. In noise there is a false header now and then; the end of a
  // false frame may lie blocks away.
  const std::string false_frame = std::string(440, '\0') + "\xFF\xE3" + std::string(4000, '\0');
  for (const std::string& hole : {Noise(200000), false_frame}) {
    const std::string stream = (frames + hole).append(frames);
    const std::string found = Packets().DecodeStream(stream);
    EXPECT_TRUE(Packets().DecodeStream(stream, 485) == found) << hole.size();
    EXPECT_NEAR(static_cast<double>(found.size()), 2.0 * static_cast<double>(samples.size()), 5000);
    EXPECT_TRUE(found.starts_with(samples) && found.ends_with(samples.substr(5000)));
  }
}

TEST(MP3Module, SaysWhyItFails) {
  CapturedReport report;
  Packets decoder(report.Record);
  std::string wanted;
  const auto fails = [&](bool done, const std::string& line) {
    EXPECT_FALSE(done);
    EXPECT_EQ(report.Errors(), wanted += "Error " + line + "]\r\n");
  };
  const std::string decoding = "decoding MPEG audio: ";
  EXPECT_NE(decoder.DecodeStream(Frames(2)), "");
  for (const std::string& stream :
       {std::string(), Frames(1).substr(1), Frames(1).substr(0, 400), std::string(200000, 'x')}) {
    ASSERT_TRUE(decoder.Opens(ZuOpenPackets));
    fails(decoder.DecodeStream(stream) != "!", decoding + "no frame was found.  [DecodeBlock");
  }
  fails(decoder.Take({nullptr, 1}, false), decoding + "there are no bytes.  [DecodeBlock");
  const std::string only =
      "this module decodes packets only: flag 2 and no file name open it.  [Open";
  for (const uint32_t flags : {0U, 3U, 29U}) fails(decoder.Opens(flags), only);
  fails(decoder.Opens(ZuOpenPackets, L"a.mp3"), only);
  fails(decoder.Take("x", false), decoding + "nothing is open.  [DecodeBlock");
  fails(decoder.Seek(0), "nothing is open.  [SetPosition");
  fails(decoder.M.DeleteATag(decoder.Self, nullptr, nullptr) != 0,
        "this module changes no files.  [DeleteATag");
  STZuCodecGetSet record{};
  EXPECT_FALSE(decoder.M.Get(decoder.Self, L"Decodes", &record) ||
               decoder.M.Set(decoder.Self, L"Set Decode Range", &record));
  EXPECT_EQ(decoder.M.Get(decoder.Self, L"Decoder Description", &record), 1U);
  EXPECT_STREQ(record.Text1, L"MPEG Audio Decoder");
}

}  // namespace
}  // namespace wavecodec::test
