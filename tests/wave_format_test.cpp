#include "wave/wave_format.h"

#include <gtest/gtest.h>

#include <cstring>

#include "wave_builder.h"

namespace wavecodec {
namespace {

using test::LE;

// The body of a `fmt ` chunk as a description.
XAudioWFX FromBody(std::string body) { return {body.data(), static_cast<uint32_t>(body.size())}; }

std::string Body(unsigned tag, unsigned channels, unsigned align, unsigned bits) {
  return LE(tag, 2) + LE(channels, 2) + LE(8000, 4) + LE(99, 4) + LE(align, 2) + LE(bits, 2);
}

// "tag channels bits rate bytes/s align extra"
std::string Numbers(const XAudioWFX& format) {
  std::string text;
  for (const wchar_t c : format.WFXToString()) {
    if ((c >= L'0' && c <= L'9') || (c == L' ' && !text.empty() && text.back() != ' ')) {
      text += static_cast<char>(c);
    }
  }
  return text;
}

TEST(WaveFormat, TakesFmtBodiesOfEveryLength) {
  const std::string pcm = Body(1, 2, 4, 16);
  const std::string adpcm = Body(2, 2, 4, 16);
  const std::pair<std::string, const char*> cases[] = {
      {pcm.substr(0, 13), "0 0 0 0 1 1 0"},
      {pcm.substr(0, 14), "1 2 16 8000 32000 4 0"},                        // bits from the block
      {Body(2, 0, 4, 0).substr(0, 14), "2 0 16 8000 99 4 0"},              // no channels
      {adpcm.substr(0, 15), "2 2 0 8000 99 4 0"},                          // no bits
      {Body(1, 3, 4, 24), "1 3 24 8000 72000 9 0"},                        // wrong block of PCM
      {Body(1, 1, 1, 4), "1 1 4 8000 1 1 0"},                              // no whole byte
      {Body(1, 65535, 1, 65535), "1 65535 65535 8000 393224000 49153 0"},  // past 32 bits
      {adpcm + LE(4, 2) + "abcd", "2 2 16 8000 99 4 4"},
  };
  for (const auto& [body, numbers] : cases) {
    EXPECT_EQ(Numbers(FromBody(body)), numbers) << body.size() << " bytes";
  }
  std::string lying = Body(0xFFFE, 2, 4, 16) + LE(22, 2);
  const XAudioWFX cut(lying.data(), static_cast<uint32_t>(lying.size()));
  EXPECT_FALSE(cut.IsExtensible());
  EXPECT_EQ(lying.substr(16), LE(0, 2));  // the caller's bytes show it too
}

TEST(WaveFormat, ConvertsBetweenPlainAndExtensible) {
  XAudioWFX format(2, 48000, 24);
  ASSERT_TRUE(format.ConvertWFXToExtensible());
  EXPECT_TRUE(format.IsExtensibleGUID(SubFormatOf(WaveFormatPCM)));
  EXPECT_EQ(format.pwfxex()->dwChannelMask, 0x80000000U);
  EXPECT_EQ(format.pwfxex()->wValidBitsPerSample, 24);
  format.SetBitsPerSample(16, true);
  EXPECT_TRUE(format.pwfxex()->wValidBitsPerSample == 16 && format.AvgBytesPerSec() == 192000);
  format.SetChannels(1, true);
  EXPECT_EQ(format.pwfxex()->dwChannelMask, 0U);
  for (const int tag : {2, 7, 6, 3, 80, 4711}) format.SetWFXFormatTag(tag);
  EXPECT_EQ(format.WFXFormatTag(), WaveFormatIEEEFloat);  // 80 and unknown tags change nothing
  EXPECT_EQ(format.FormatTag(), WaveFormatExtensibleTag);

  XAudioWFX copy = format;
  format.Assign(1, 8000, 8);  // the copy has bytes of its own
  EXPECT_TRUE(copy.ConvertExtensibleToWFX());
  EXPECT_EQ(copy.FormatTag(), WaveFormatIEEEFloat);
  EXPECT_EQ(copy.GetExtraData(), nullptr);
  EXPECT_FALSE(copy.ConvertExtensibleToWFX() ||
               FromBody(Body(2, 1, 256, 4)).ConvertWFXToExtensible());

  const std::string guid(reinterpret_cast<const char*>(SubFormatOf(WaveFormatMPEG).Bytes), 16);
  XAudioWFX mpeg = FromBody(Body(0xFFFE, 2, 1, 0) + LE(25, 2) + LE(0, 2) + LE(3, 4) + guid + "xyz");
  EXPECT_EQ(mpeg.WFXFormatTag(), WaveFormatMPEG);
  ASSERT_TRUE(mpeg.ConvertExtensibleToWFX());
  EXPECT_EQ(mpeg.FormatTag(), WaveFormatMPEG);
  EXPECT_EQ(memcmp(mpeg.GetExtraData(), "xyz", 3), 0);
}

TEST(WaveFormat, FillsRecordsWithoutPromisingMoreBytes) {
  WAVEFORMATEXTENSIBLE record;
  memset(&record, 0xAA, sizeof record);
  FromBody(Body(2, 1, 256, 4) + LE(32, 2) + std::string(32, 'x')).CopyTo(record);
  EXPECT_TRUE(record.Format.cbSize == 0 && record.wValidBitsPerSample == 0xAAAA);
}

TEST(WaveFormat, Arithmetic) {
  XAudioWFX format(2, 44100, 24);
  EXPECT_EQ(format.BlockAlignBuffer(-7), -6);
  EXPECT_EQ(format.CalcmsTime(264600 * 3 / 2), 1500);
  EXPECT_EQ(format.CalcBufferSize(1), 264);
  EXPECT_EQ(format.ChannelAlignSamples(7), 6);
  EXPECT_EQ(format.SamplesToBytes_DivChan(10), 60);
  EXPECT_EQ(format.BytesToSamples_DivChan(65), 10);
  format.SetAvgBytesPerSec(0);
  format.SetBlockAlign(0);
  EXPECT_EQ(format.CalcmsTime(5), 5000);  // divisors of 0 repair themselves
  EXPECT_EQ(format.BlockAlignBuffer(5), 5);
  EXPECT_EQ(format.BlockAlign(), 1);
  EXPECT_EQ(XAudioWFX(1, 8000, 4).BytesToSamples_RAW(10), 10);
}

}  // namespace
}  // namespace wavecodec
