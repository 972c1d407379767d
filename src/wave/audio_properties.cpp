#include "wave/audio_properties.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "support/number_format.h"
#include "support/text_scan.h"

namespace wavecodec {
namespace {

constexpr int kADPCM = 2;  // whole blocks, without an encoder delay

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
constexpr std::array<const wchar_t*, 18> kSpeakers = {L"Left",
                                                      L"Right",
                                                      L"Center",
                                                      L"Sub-woofer",
                                                      L"Back Left",
                                                      L"Back Right",
                                                      L"Left of Center",
                                                      L"Right of Center",
                                                      L"Back Center",
                                                      L"Side Left",
                                                      L"Side Right",
                                                      L"Top Center",
                                                      L"Top Front Left",
                                                      L"Top Front Center",
                                                      L"Top Front Right",
                                                      L"Top Back Left",
                                                      L"Top Back Center",
                                                      L"Top Back Right"};

// By channel count, where there is no mask.
constexpr std::array<const wchar_t*, 9> kLayouts = {
    L"",
    L"Center",
    L"Left, Right",
    L"Left, Right, Sub-woofer",
    L"Left, Right, Back Left, Back Right",
    L"Left, Right, Center, Back Left, Back Right",
    L"Left, Right, Center, Sub-woofer, Back Left, Back Right",
    L"Left, Right, Center, Sub-woofer, Back Left, Back Right, Back Center",
    L"Left, Right, Center, Sub-woofer, Back Left, Back Right, Side Left, Side Right"};

XStr SpeakersOf(uint32_t mask) {
  XStr text;
  for (size_t bit = 0; bit < kSpeakers.size(); ++bit) {
    if ((mask >> bit & 1) == 0) continue;
    if (!text.empty()) text += L",  ";
    text += kSpeakers[bit];
  }
  return text;
}

}  // namespace

const wchar_t* GetAudioQuality(const XAudioWFX& format) {
  const int tag = format.WFXFormatTag();
  if (IsPCMOrFloat(tag)) {
    const int bits = format.BitsPerSample();
    const uint32_t rate = format.SamplesPerSec();
    if (bits == 16 && rate == 44100) return L"CD  (Lossless)";
    if (bits == 16 && rate == 48000) return L"DAT  (Lossless)";
    if (bits >= 24 && rate >= 48000) return L"DVD  (Lossless)";
    return L"Perfect  (Lossless)";
  }
  const int rate =
      static_cast<int32_t>(format.AvgBytesPerSec() * 8) / std::max(1, format.Channels());
  const LossyLimits limits = LimitsOf(tag);
  if (rate >= limits.High) return L"High  (Lossy)";
  return rate < limits.Low ? L"Low  (Lossy)" : L"Medium  (Lossy)";
}

XStr GetACMFormat(const XAudioWFX& format) { return CodecName(format.WFXFormatTag()); }

XStr GetChannelString(const XAudioWFX& format) {
  if (format.IsExtensible()) {
    if (const uint32_t mask = format.pwfxex()->dwChannelMask; mask != 0) return SpeakersOf(mask);
  }
  const auto channels = static_cast<size_t>(format.Channels());
  return channels < kLayouts.size() ? kLayouts[channels] : L"";
}

const wchar_t* GetWaveHeader(const XAudioWFX& format, uint64_t fmt_size) {
  if (format.IsExtensible()) return L"Wave Format Extensible";
  if (fmt_size == 14) return L"Wave Format";
  if (fmt_size == 16) return L"Wave Format PCM";
  return fmt_size >= 18 ? L"Wave Format Extended" : L"Invalid";
}

const wchar_t* GetGapless(const XAudioWFX& format) {
  const int tag = format.WFXFormatTag();
  return IsPCMOrFloat(tag) || tag == kADPCM ? L"Yes" : L"No";
}

void AppendSizeText(XStr& text, uint64_t bytes) {
  constexpr uint64_t kKilo = 1024;
  struct Unit {
    uint64_t Bytes;
    const wchar_t* Name;
  };
  constexpr Unit kUnits[] = {{kKilo * kKilo * kKilo * kKilo, L" TB"},
                             {kKilo * kKilo * kKilo, L" GB"},
                             {kKilo * kKilo, L" MB"}};
  if (bytes < kKilo) {
    AppendDecimal(text, bytes);
    text += bytes == 1 ? L" byte" : L" bytes";
    return;
  }
  const NumberFormat& user = NumberFormat::User();
  for (const Unit& unit : kUnits) {
    if (bytes < unit.Bytes) continue;
    text += user.Hundredths(bytes, unit.Bytes) + unit.Name;
    return;
  }
  // Rounded up from a hundredth of a kilobyte on.
  text += user.Integer((bytes * 100 + 99 * kKilo) / (100 * kKilo)) + L" KB";
}

}  // namespace wavecodec
