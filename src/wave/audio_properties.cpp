#include "wave/audio_properties.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "support/number_format.h"
#include "support/xstr.h"

namespace wavecodec {
namespace {

// Bits per second and channel from which on a codec is "High", and below which it is "Low".
struct LossyLimits {
  int64_t High;
  int64_t Low;
};

LossyLimits LimitsOf(int tag) {
  constexpr int64_t kNever = INT64_MAX;
  switch (tag) {
    case WaveFormatMPEG:
      return {127500, 79500};
    case WaveFormatMPEGLayer3:
      return {95500, 63500};
    default:
      return {kNever, 127500};
  }
}

// By bit of the channel mask.
constexpr std::array<const char*, 18> kSpeakers = {
    "Left",          "Right",           "Center",          "Sub-woofer",       "Back Left",
    "Back Right",    "Left of Center",  "Right of Center", "Back Center",      "Side Left",
    "Side Right",    "Top Center",      "Top Front Left",  "Top Front Center", "Top Front Right",
    "Top Back Left", "Top Back Center", "Top Back Right"};

// By channel count, where there is no mask.
constexpr std::array<const char*, 9> kLayouts = {
    "",
    "Center",
    "Left, Right",
    "Left, Right, Sub-woofer",
    "Left, Right, Back Left, Back Right",
    "Left, Right, Center, Back Left, Back Right",
    "Left, Right, Center, Sub-woofer, Back Left, Back Right",
    "Left, Right, Center, Sub-woofer, Back Left, Back Right, Back Center",
    "Left, Right, Center, Sub-woofer, Back Left, Back Right, Side Left, Side Right"};

std::string SpeakersOf(uint32_t mask) {
  std::string text;
  for (size_t bit = 0; bit < kSpeakers.size(); ++bit) {
    if ((mask >> bit & 1) == 0) continue;
    if (!text.empty()) text += ",  ";
    text += kSpeakers[bit];
  }
  return text;
}

}  // namespace

const char* GetAudioQuality(const XAudioWFX& format) {
  const int tag = format.WFXFormatTag();
  if (IsPCMOrFloat(tag)) {
    const int bits = format.BitsPerSample();
    const uint32_t rate = format.SamplesPerSec();
    if (bits == 16 && rate == 44100) return "CD  (Lossless)";
    if (bits == 16 && rate == 48000) return "DAT  (Lossless)";
    if (bits >= 24 && rate >= 48000) return "DVD  (Lossless)";
    return "Perfect  (Lossless)";
  }
  const int rate =
      static_cast<int32_t>(format.AvgBytesPerSec() * 8) / std::max(1, format.Channels());
  const LossyLimits limits = LimitsOf(tag);
  if (rate >= limits.High) return "High  (Lossy)";
  return rate < limits.Low ? "Low  (Lossy)" : "Medium  (Lossy)";
}

std::string GetACMFormat(const XAudioWFX& format) {
  return ToUtf8(CodecName(format.WFXFormatTag()));
}

std::string GetChannelString(const XAudioWFX& format) {
  if (format.IsExtensible()) {
    if (const uint32_t mask = format.pwfxex()->dwChannelMask; mask != 0) return SpeakersOf(mask);
  }
  const auto channels = static_cast<size_t>(format.Channels());
  return channels < kLayouts.size() ? kLayouts[channels] : "";
}

const char* GetWaveHeader(const XAudioWFX& format, uint64_t fmt_size) {
  if (format.IsExtensible()) return "Wave Format Extensible";
  if (fmt_size == 14) return "Wave Format";
  if (fmt_size == 16) return "Wave Format PCM";
  return fmt_size >= 18 ? "Wave Format Extended" : "Invalid";
}

const char* GetGapless(const XAudioWFX& format) {
  const int tag = format.WFXFormatTag();
  const bool has_delay = !IsPCMOrFloat(tag) && tag != WaveFormatADPCM;  // its blocks are whole
  return has_delay ? "No" : "Yes";
}

void AppendSizeText(std::string& text, uint64_t bytes) {
  constexpr uint64_t kKilo = 1024;
  struct Unit {
    uint64_t Bytes;
    const char* Name;
  };
  constexpr Unit kUnits[] = {{kKilo * kKilo * kKilo * kKilo, " TB"},
                             {kKilo * kKilo * kKilo, " GB"},
                             {kKilo * kKilo, " MB"}};
  if (bytes < kKilo) {
    text += std::to_string(bytes);
    text += bytes == 1 ? " byte" : " bytes";
    return;
  }
  const NumberFormat& user = NumberFormat::User();
  for (const Unit& unit : kUnits) {
    if (bytes < unit.Bytes) continue;
    text += user.Hundredths(bytes, unit.Bytes) + unit.Name;
    return;
  }
  // Rounded up from a hundredth of a kilobyte on.
  text += user.Integer((bytes * 100 + 99 * kKilo) / (100 * kKilo)) + " KB";
}

}  // namespace wavecodec
