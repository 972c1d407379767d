#include <gtest/gtest.h>

#include <string>
#include <utility>

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
  const std::pair<Form, std::string> cases[] = {
      {{1, 2, 44100, 16}, "CD  (Lossless), PCM, Yes"},
      {{1, 1, 48000, 16}, "DAT  (Lossless), PCM, Yes"},
      {{1, 2, 48000, 24}, "DVD  (Lossless), PCM, Yes"},
      {{3, 2, 96000, 32}, "DVD  (Lossless), IEEE Float, Yes"},
      {{1, 2, 44100, 24}, "Perfect  (Lossless), PCM, Yes"},
      {{1, 2, 96000, 16}, "Perfect  (Lossless), PCM, Yes"},
      {{1, 2, 44100, 8}, "Perfect  (Lossless), PCM, Yes"},
      {{3, 2, 44100, 32}, "Perfect  (Lossless), IEEE Float, Yes"},
      {{85, 2, 44100, 0, 24000}, "High  (Lossy), MPEG-1 Layer 3, No"},
      {{85, 2, 44100, 0, 23874}, "Medium  (Lossy), MPEG-1 Layer 3, No"},
      {{85, 2, 44100, 0, 16000}, "Medium  (Lossy), MPEG-1 Layer 3, No"},
      {{85, 2, 44100, 0, 14000}, "Low  (Lossy), MPEG-1 Layer 3, No"},
      {{80, 1, 44100, 0, 15938}, "High  (Lossy), MPEG-1 Layer 1 or 2, No"},
      {{80, 1, 44100, 0, 15937}, "Medium  (Lossy), MPEG-1 Layer 1 or 2, No"},
      {{80, 1, 44100, 0, 9937}, "Low  (Lossy), MPEG-1 Layer 1 or 2, No"},
      {{80, 1, 44100, 0, 0x20000000}, "Low  (Lossy), MPEG-1 Layer 1 or 2, No"},  // 0 in 32 bits
      {{2, 1, 44100, 4, 100000}, "Medium  (Lossy), Unknown ACM ID: 2, Yes"},
      {{2, 1, 44100, 4, 15937}, "Low  (Lossy), Unknown ACM ID: 2, Yes"},
      {{0x11, 1, 44100, 4, 100000}, "Medium  (Lossy), Unknown ACM ID: 17, No"},
  };
  for (const auto& [form, expected] : cases) {
    const XAudioWFX format = Plain(form);
    EXPECT_EQ(GetAudioQuality(format) + (", " + GetACMFormat(format)) + ", " + GetGapless(format),
              expected)
        << form.tag << " " << form.bytes_per_second;
  }
}

TEST(AudioProperties, Channels) {
  EXPECT_EQ(GetChannelString(Extensible(0x3F, 6)),
            "Left,  Right,  Center,  Sub-woofer,  Back Left,  Back Right");
  EXPECT_EQ(
      GetChannelString(Extensible(0xFFFFFFC0, 6)),
      "Left of Center,  Right of Center,  Back Center,  Side Left,  Side Right,  Top Center,  "
      "Top Front Left,  Top Front Center,  Top Front Right,  Top Back Left,  "
      "Top Back Center,  Top Back Right");
  EXPECT_EQ(GetChannelString(Extensible(0, 2)), "Left, Right");
  const char* by_count[] = {
      "Center",
      "Left, Right",
      "Left, Right, Sub-woofer",
      "Left, Right, Back Left, Back Right",
      "Left, Right, Center, Back Left, Back Right",
      "Left, Right, Center, Sub-woofer, Back Left, Back Right",
      "Left, Right, Center, Sub-woofer, Back Left, Back Right, Back Center",
      "Left, Right, Center, Sub-woofer, Back Left, Back Right, Side Left, Side Right",
      ""};
  for (unsigned i = 0; i < std::size(by_count); ++i) {
    EXPECT_EQ(GetChannelString(Plain({1, i + 1, 8000, 8})), by_count[i]);
  }
}

TEST(AudioProperties, HeaderForms) {
  const std::pair<uint64_t, const char*> cases[] = {
      {14, "Wave Format"},           {16, "Wave Format PCM"}, {18, "Wave Format Extended"},
      {999, "Wave Format Extended"}, {0, "Invalid"},          {17, "Invalid"}};
  for (const auto& [size, header] : cases) {
    EXPECT_STREQ(GetWaveHeader(Plain({1, 1, 8000, 8}), size), header);
  }
  EXPECT_STREQ(GetWaveHeader(Extensible(3, 2), 40), "Wave Format Extensible");
}

TEST(AudioProperties, Sizes) {
  constexpr uint64_t kMega = 1 << 20;
  // 1 KB is also what has less than a hundredth more.
  const std::pair<uint64_t, const char*> cases[] = {{0, "0 bytes"},
                                                    {1, "1 byte"},
                                                    {1023, "1023 bytes"},
                                                    {1024, "1 KB"},
                                                    {1034, "1 KB"},
                                                    {1035, "2 KB"},
                                                    {kMega - 1, "1024 KB"},
                                                    {kMega, "1.00 MB"},
                                                    {10584000, "10.09 MB"},
                                                    {kMega * 1024 - 1, "1024.00 MB"},
                                                    {kMega * 1536, "1.50 GB"},
                                                    {kMega * kMega * 7 / 2, "3.50 TB"}};
  for (const auto& [bytes, expected] : cases) {
    std::string text = "=";
    AppendSizeText(text, bytes);
    EXPECT_EQ(text, std::string("=") + expected);
  }
}

TEST(NumberFormat, GroupsDigits) {
  const struct {
    const char* grouping;
    uint64_t number;
    const char* text;
  } cases[] = {{"", 1234567, "1234567"},
               {"\3", 123, "123"},
               {"\3", 1234567, "1.234.567"},
               {"\3\2", 123456789, "12.34.56.789"},
               {"\3\x7f", 123456789, "123456.789"}};
  for (const auto& c : cases) {
    EXPECT_EQ((NumberFormat{".", ",", c.grouping}.Integer(c.number)), c.text);
  }
  EXPECT_EQ((NumberFormat{".", ",", ""}.Hundredths(1999, 1000)), "2,00");
  EXPECT_EQ((NumberFormat{".", ",", ""}.Hundredths(1049, 1000)), "1,05");
}

}  // namespace
}  // namespace wavecodec
