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
      {{1, 2, 48000, 24}, "DVD  (Lossless), PCM, Yes"},
      {{85, 2, 44100, 0, 24000}, "High  (Lossy), MPEG-1 Layer 3, No"},
      {{85, 2, 44100, 0, 23874}, "Medium  (Lossy), MPEG-1 Layer 3, No"},
      {{85, 2, 44100, 0, 14000}, "Low  (Lossy), MPEG-1 Layer 3, No"},
      {{80, 1, 44100, 0, 15937}, "Medium  (Lossy), MPEG-1 Layer 1 or 2, No"},
      {{80, 1, 44100, 0, 0x20000000}, "Low  (Lossy), MPEG-1 Layer 1 or 2, No"},  // 0 in 32 bits
      {{2, 1, 44100, 4, 100000}, "Medium  (Lossy), Unknown ACM ID: 2, Yes"},
  };
  for (const auto& [form, expected] : cases) {
    const XAudioWFX format = Plain(form);
    EXPECT_EQ(GetAudioQuality(format) + (", " + GetACMFormat(format)) + ", " + GetGapless(format),
              expected)
        << form.tag << " " << form.bytes_per_second;
  }
}

TEST(AudioProperties, Channels) {
  const std::pair<XAudioWFX, const char*> cases[] = {
      {Extensible(0x3F, 6), "Left,  Right,  Center,  Sub-woofer,  Back Left,  Back Right"},
      {Extensible(0x80020800, 6), "Top Center,  Top Back Right"},
      {Extensible(0, 2), "Left, Right"},
      {Plain({1, 1, 8000, 8}), "Center"},
      {Plain({1, 6, 8000, 8}), "Left, Right, Center, Sub-woofer, Back Left, Back Right"},
      {Plain({1, 9, 8000, 8}), ""}};
  for (const auto& [format, text] : cases) EXPECT_EQ(GetChannelString(format), text);
}

TEST(AudioProperties, HeaderForms) {
  const XAudioWFX pcm = Plain({1, 1, 8000, 8});
  EXPECT_STREQ(GetWaveHeader(pcm, 14), "Wave Format");
  EXPECT_STREQ(GetWaveHeader(pcm, 999), "Wave Format Extended");
  EXPECT_STREQ(GetWaveHeader(pcm, 17), "Invalid");
  EXPECT_STREQ(GetWaveHeader(Extensible(3, 2), 40), "Wave Format Extensible");
}

TEST(AudioProperties, Sizes) {
  constexpr uint64_t kMega = 1 << 20;
  // 1 KB is also what has less than a hundredth more.
  const std::pair<uint64_t, const char*> cases[] = {{1, "1 byte"},
                                                    {1023, "1023 bytes"},
                                                    {1034, "1 KB"},
                                                    {1035, "2 KB"},
                                                    {kMega, "1.00 MB"},
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
  const auto text = [](const char* grouping, uint64_t number) {
    return NumberFormat{".", ",", grouping}.Integer(number);
  };
  EXPECT_EQ(text("", 1234567), "1234567");
  EXPECT_EQ(text("\3", 1234567), "1.234.567");
  EXPECT_EQ(text("\3\2", 123456789), "12.34.56.789");
  EXPECT_EQ(text("\3\x7f", 123456789), "123456.789");
  EXPECT_EQ((NumberFormat{".", ",", ""}.Hundredths(1999, 1000)), "2,00");
}

}  // namespace
}  // namespace wavecodec
