#include <gtest/gtest.h>

#include <cstring>

#include "support/number_format.h"
#include "wave/audio_properties.h"
#include "wave_builder.h"

namespace wavecodec {
namespace {

using test::LE;

struct Form {
  unsigned tag, channels, rate, bits;
  unsigned bytes_per_second = 0;  // 0: by the other fields
};

XAudioWFX Plain(const Form& form) {
  const unsigned align = form.channels * form.bits / 8;
  const unsigned bytes = form.bytes_per_second != 0 ? form.bytes_per_second : form.rate * align;
  std::string fmt = LE(form.tag, 2) + LE(form.channels, 2) + LE(form.rate, 4) + LE(bytes, 4) +
                    LE(align, 2) + LE(form.bits, 2) + LE(0, 2);
  return {fmt.data(), static_cast<uint32_t>(fmt.size())};
}

XAudioWFX Extensible(uint32_t mask, unsigned channels) {
  XAudioWFX format(static_cast<int>(channels), 48000, 16);
  format.ConvertWFXToExtensible();
  WAVEFORMATEXTENSIBLE record = *format.pwfxex();
  record.dwChannelMask = mask;
  return XAudioWFX(&record);
}

TEST(AudioProperties, QualityAndCodec) {
  const struct {
    Form form;
    const wchar_t* quality;
    const wchar_t* codec;
    const wchar_t* gapless;
  } cases[] = {
      {{1, 2, 44100, 16}, L"CD  (Lossless)", L"PCM", L"Yes"},
      {{1, 1, 48000, 16}, L"DAT  (Lossless)", L"PCM", L"Yes"},
      {{1, 2, 48000, 24}, L"DVD  (Lossless)", L"PCM", L"Yes"},
      {{3, 2, 96000, 32}, L"DVD  (Lossless)", L"IEEE Float", L"Yes"},
      {{1, 2, 44100, 24}, L"Perfect  (Lossless)", L"PCM", L"Yes"},
      {{1, 2, 96000, 16}, L"Perfect  (Lossless)", L"PCM", L"Yes"},
      {{1, 2, 44100, 8}, L"Perfect  (Lossless)", L"PCM", L"Yes"},
      {{3, 2, 44100, 32}, L"Perfect  (Lossless)", L"IEEE Float", L"Yes"},
      {{85, 2, 44100, 0, 24000}, L"High  (Lossy)", L"MPEG-1 Layer 3", L"No"},
      {{85, 2, 44100, 0, 23874}, L"Medium  (Lossy)", L"MPEG-1 Layer 3", L"No"},
      {{85, 2, 44100, 0, 16000}, L"Medium  (Lossy)", L"MPEG-1 Layer 3", L"No"},
      {{85, 2, 44100, 0, 14000}, L"Low  (Lossy)", L"MPEG-1 Layer 3", L"No"},
      {{80, 1, 44100, 0, 15938}, L"High  (Lossy)", L"MPEG-1 Layer 1 or 2", L"No"},
      {{80, 1, 44100, 0, 15937}, L"Medium  (Lossy)", L"MPEG-1 Layer 1 or 2", L"No"},
      {{80, 1, 44100, 0, 9937}, L"Low  (Lossy)", L"MPEG-1 Layer 1 or 2", L"No"},
      {{80, 1, 44100, 0, 0x20000000},
       L"Low  (Lossy)",
       L"MPEG-1 Layer 1 or 2",
       L"No"},  // 0 in 32 bits
      {{2, 1, 44100, 4, 100000}, L"Medium  (Lossy)", L"Unknown ACM ID: 2", L"Yes"},
      {{2, 1, 44100, 4, 15937}, L"Low  (Lossy)", L"Unknown ACM ID: 2", L"Yes"},
      {{0x11, 1, 44100, 4, 100000}, L"Medium  (Lossy)", L"Unknown ACM ID: 17", L"No"},
  };
  for (const auto& c : cases) {
    const XAudioWFX format = Plain(c.form);
    const auto name = testing::Message() << c.form.tag << " " << c.form.bytes_per_second;
    EXPECT_STREQ(GetAudioQuality(format), c.quality) << name;
    EXPECT_EQ(GetACMFormat(format), c.codec) << name;
    EXPECT_STREQ(GetGapless(format), c.gapless) << name;
  }
}

TEST(AudioProperties, Channels) {
  EXPECT_EQ(GetChannelString(Extensible(0x3F, 6)),
            L"Left,  Right,  Center,  Sub-woofer,  Back Left,  Back Right");
  EXPECT_EQ(
      GetChannelString(Extensible(0xFFFFFFC0, 6)),
      L"Left of Center,  Right of Center,  Back Center,  Side Left,  Side Right,  Top Center,  "
      L"Top Front Left,  Top Front Center,  Top Front Right,  Top Back Left,  "
      L"Top Back Center,  Top Back Right");
  EXPECT_EQ(GetChannelString(Extensible(0, 2)), L"Left, Right");
  const wchar_t* by_count[] = {
      L"Center",
      L"Left, Right",
      L"Left, Right, Sub-woofer",
      L"Left, Right, Back Left, Back Right",
      L"Left, Right, Center, Back Left, Back Right",
      L"Left, Right, Center, Sub-woofer, Back Left, Back Right",
      L"Left, Right, Center, Sub-woofer, Back Left, Back Right, Back Center",
      L"Left, Right, Center, Sub-woofer, Back Left, Back Right, Side Left, Side Right",
      L""};
  for (unsigned i = 0; i < std::size(by_count); ++i) {
    EXPECT_EQ(GetChannelString(Plain({1, i + 1, 8000, 8})), by_count[i]);
  }
}

TEST(AudioProperties, HeaderForms) {
  const struct {
    uint64_t size;
    const wchar_t* header;
  } cases[] = {
      {14, L"Wave Format"},           {16, L"Wave Format PCM"}, {18, L"Wave Format Extended"},
      {999, L"Wave Format Extended"}, {0, L"Invalid"},          {17, L"Invalid"}};
  for (const auto& c : cases) EXPECT_STREQ(GetWaveHeader(Plain({1, 1, 8000, 8}), c.size), c.header);
  EXPECT_STREQ(GetWaveHeader(Extensible(3, 2), 40), L"Wave Format Extensible");
}

TEST(AudioProperties, Sizes) {
  constexpr uint64_t kMega = 1 << 20;
  const struct {
    uint64_t bytes;
    const wchar_t* text;
  } cases[] = {
      {0, L"0 bytes"},
      {1, L"1 byte"},
      {1023, L"1023 bytes"},
      {1024, L"1 KB"},
      {1034, L"1 KB"},  // less than a hundredth more
      {1035, L"2 KB"},
      {kMega - 1, L"1024 KB"},
      {kMega, L"1.00 MB"},
      {10584000, L"10.09 MB"},
      {kMega * 1024 - 1, L"1024.00 MB"},
      {kMega * 1536, L"1.50 GB"},
      {kMega * kMega * 7 / 2, L"3.50 TB"},
  };
  for (const auto& c : cases) {
    XStr text = L"=";
    AppendSizeText(text, c.bytes);
    EXPECT_EQ(text, XStr(L"=") + c.text);
  }
}

TEST(NumberFormat, GroupsDigits) {
  const struct {
    const char* grouping;
    uint64_t number;
    const wchar_t* text;
  } cases[] = {
      {"", 1234567, L"1234567"},
      {"\3", 123, L"123"},
      {"\3", 1234567, L"1.234.567"},
      {"\3\2", 123456789, L"12.34.56.789"},
      {"\3\x7f", 123456789, L"123456.789"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ((NumberFormat{L'.', L',', c.grouping}.Integer(c.number)), c.text);
  }
  EXPECT_EQ((NumberFormat{L'.', L',', ""}.Hundredths(1999, 1000)), L"2,00");
  EXPECT_EQ((NumberFormat{L'.', L',', ""}.Hundredths(1049, 1000)), L"1,05");
}

}  // namespace
}  // namespace wavecodec
