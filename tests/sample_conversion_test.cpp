#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "wave/audio_buffer.h"
#include "wave/bits_converter.h"
#include "wave/sample_converter.h"
#include "wave/sample_io.h"

namespace wavecodec {
namespace {

XAudioWFX Float(int channels, int bits) {
  XAudioWFX format(channels, 44100, bits);
  format.SetFormatTag(WaveFormatIEEEFloat);
  return format;
}

std::string Used(const XAudioBufferNew& buffer) {
  return {reinterpret_cast<const char*>(buffer.BufferStart()), buffer.GetUsedByte()};
}

TEST(SampleIO, EveryTypeReadsAndWrites) {
  const struct {
    XAudioWFX Format;
    const wchar_t* Settings;
    int32_t Written, Read, Raw;
  } cases[] = {
      {{1, 8000, 8}, L"", -0x7F000001, INT32_MIN, -128},
      {{1, 8000, 16}, L"", 0x7FFFFFFF, 0x7FFF0000, 0x7FFF},
      {{1, 8000, 16}, L"noise=2 dither=1", 0x12348765, 0x12340000, 0x1234},
      {{1, 8000, 24}, L"", -0x12345678, -0x12345700, -0x123457},
      {{1, 8000, 24}, L"dither=1", 0x7FFFFFFF, 0x7FFFFF00, 0x7FFFFF},
      {{1, 8000, 32}, L"dither=1", INT32_MIN, INT32_MIN, INT32_MIN},
      {Float(1, 32), L"", 0x40000000, 0x40000000, 0x40000000},
      {Float(1, 64), L"", -0x12345678, -0x12345678, -0x12345678},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Format.WFXToString().c_str());
    std::vector<uint8_t> memory(9, 0xEE);
    XAudioRdWr samples(memory.data() + 1, 1, 1, c.Format, c.Settings);  // not aligned
    samples.PutInt(0, c.Written);
    samples.PutInt(1, 0);
    samples.PutInt(-1, 0);
    EXPECT_TRUE(samples.GetInt(0) == c.Read && samples.GetIntRaw(0) == c.Raw);
    EXPECT_DOUBLE_EQ(samples.GetDbl(0), c.Read / 2147483648.0);
    const auto width = static_cast<size_t>(c.Format.BytesPerSample());
    EXPECT_TRUE(memory[0] == 0xEE && (width == 8 || memory[1 + width] == 0xEE));
    samples.PutIntRaw(0, c.Raw);
    EXPECT_EQ(samples.GetInt(0), c.Read);
  }
  uint8_t memory[4];
  XAudioRdWr wide(memory, 1, 1, XAudioWFX(1, 8000, 32));
  const std::pair<double, int32_t> doubles[] = {
      {1.0, INT32_MAX}, {-1.5, INT32_MIN}, {0.5, 1 << 30}, {NAN, 0}, {INFINITY, INT32_MAX}};
  for (const auto& [written, read] : doubles) {
    wide.PutDbl(0, written);
    EXPECT_EQ(wide.GetInt(0), read) << written;
  }
  float stored = NAN;
  XAudioRdWr narrow(reinterpret_cast<uint8_t*>(&stored), 1, 1, Float(1, 32));
  EXPECT_EQ(narrow.GetDbl(0), 0);
  narrow.PutDbl(0, -1e300);
  EXPECT_EQ(stored, -1);
  stored = 7;  // a file may hold anything
  EXPECT_EQ(narrow.GetDbl(0), 1);
  EXPECT_FALSE(XAudioRdWr::TypeOf(XAudioWFX(1, 8000, 12)) ||
               NOneChannelDither::IsWanted(L"nodither=1 dither=0"));
}

TEST(BitsConverter, NarrowsInPlaceAndWidensInNewMemory) {
  // 24-bit stereo: the largest, -1, the smallest, 0x010203
  uint8_t stored[] = {0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF, 0, 0, 0x80, 3, 2, 1};
  XAudioBufferNew in;
  XAudioBitsConv converter;
  const XAudioWFX format(2, 8000, 24);
  ASSERT_TRUE(in.InitializeBuffer(stored, sizeof stored, format, false, true));
  ASSERT_TRUE(converter.ConvertData(in, 32, true, {}, false));
  EXPECT_NE(converter.Buffer().BufferStart(), stored);
  EXPECT_EQ(Used(converter.Buffer()),
            std::string("\0\xFF\xFF\x7F\0\xFF\xFF\xFF\0\0\0\x80\0\3\2\1", 16));
  ASSERT_TRUE(converter.ConvertData(in, 16, true, L"dither=1", false));
  EXPECT_EQ(converter.Buffer().BufferStart(), stored);
  EXPECT_EQ(Used(converter.Buffer()), std::string("\xFF\x7F\xFF\xFF\0\x80\2\1", 8));
  EXPECT_EQ(converter.Buffer().BlockAlign(), 4);
  EXPECT_FALSE(converter.ConvertData(in, 64, false, {}, false) ||
               XAudioBitsConv::Init(XAudioWFX(1, 8000, 12), 16));
  EXPECT_TRUE(XAudioBitsConv::Init(XAudioWFX(1, 8000, 12), 12) &&
              XAudioBitsConv::Init(Float(1, 32), 64));
}

TEST(Converter, MakesIntegersOfFloatWhenAsked) {
  XAudioACMDecoder converter;
  ASSERT_TRUE(converter.CreateNewConverter(Float(1, 32), false));
  EXPECT_EQ(converter.GetWFXOut().WFXFormatTag(), WaveFormatPCM);
  float stored[] = {0.5F, 1.0F, -1.5F};
  const int32_t expected[] = {1 << 30, INT32_MAX, INT32_MIN};
  XAudioBufferNew in;
  in.InitializeBuffer(stored, sizeof stored, Float(1, 32), false, true);
  ASSERT_TRUE(converter.ConvertData(in, true, true, false));
  ASSERT_EQ(converter.Buffer().GetUsedByte(), sizeof expected);
  EXPECT_EQ(memcmp(converter.Buffer().BufferStart(), expected, sizeof expected), 0);
  in.Assign(1, 44100, 16);
  in.SetFormatTag(WaveFormatADPCM);
  EXPECT_FALSE(converter.ConvertData(in, true, true, false));
  EXPECT_EQ(converter.Buffer().BufferStart(), nullptr);  // nothing of the block before
}

TEST(Buffer, CopiesAndGrowsByWholeFrames) {
  const XAudioWFX format(2, 8000, 16);  // 4 bytes a frame
  char samples[] = "aaaabbbbccccdddd";
  XAudioBufferNew buffer;
  ASSERT_TRUE(buffer.SetBufferSize(2, format, true, false));
  EXPECT_TRUE(buffer.AppendAudio(samples, 1) && buffer.AppendAudio(samples, 3));
  EXPECT_EQ(Used(buffer), "aaaaaaaabbbbcccc");
  EXPECT_TRUE(buffer.CopyToBuffer(samples, 1, 3, 1));
  EXPECT_EQ(Used(buffer), "aaaadddd");  // resized to the end of the copy
  char out[13] = "............";
  EXPECT_TRUE(buffer.CopyFromBuffer(out, 1, 2, 1));
  EXPECT_STREQ(out, "........dddd");
  EXPECT_FALSE(buffer.CopyToBuffer(samples, 1, 0, 3) || buffer.CopyToBuffer(nullptr, 1, 0, 0) ||
               buffer.CopyToBuffer(samples, INT64_MAX, 0, 1) ||
               buffer.CopyFromBuffer(out, 2, 0, 1) || buffer.CopyFromBuffer(out, INT64_MAX, 0, 2));

  ASSERT_TRUE(buffer.InitializeBuffer(samples, 16, format, false, true));
  EXPECT_FALSE(buffer.AppendAudio(out, 1));
  EXPECT_TRUE(buffer.CopyToBuffer(out, 1, 2, 0));
  EXPECT_STREQ(samples, "ddddbbbbccccdddd");  // fits: written where it lies
  buffer.SetUsedByte(4);
  EXPECT_TRUE(buffer.CopyToBuffer(out, 2, 1, 3) && !buffer.IsInPlace());
  EXPECT_EQ(Used(buffer), "ddddbbbbcccc....dddd");  // also what lay behind the used bytes
  buffer.SetUsedByte(6);
  buffer.SetStartOffset(99);
  EXPECT_EQ(buffer() - buffer.BufferStart(), 6);
}

TEST(Buffer, SilenceIsTheMiddleOfTheRange) {
  XAudioBufferNew buffer;
  ASSERT_TRUE(buffer.InitializeBuffer(nullptr, 3, XAudioWFX(1, 8000, 8), true, false) &&
              buffer.SetBufferByteSizeNew(5, true, true));
  buffer.SetUsedByte(9);
  EXPECT_EQ(Used(buffer), "\x80\x80\x80\x80\x80");
  EXPECT_FALSE(buffer.SetBufferSize(INT64_MAX, false, false));
  buffer.Free();
  EXPECT_EQ(buffer.GetCapacity(), 0U);
}

}  // namespace
}  // namespace wavecodec
