#include "audio_format.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "source_name.h"

namespace wavehost {
namespace {

// A sub-format GUID stands for a tag when it is the tag followed by these bytes.
constexpr uint8_t kTagGuidTail[] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                    0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

}  // namespace

bool IsExtensible(const WAVEFORMATEXTENSIBLE& format) {
  return format.Format.wFormatTag == WaveFormatExtensibleTag && format.Format.cbSize >= 22;
}

uint16_t EffectiveTag(const WAVEFORMATEXTENSIBLE& format) {
  const uint8_t* const guid = format.SubFormat.Bytes;
  if (!IsExtensible(format) || std::memcmp(guid + 2, kTagGuidTail, sizeof(kTagGuidTail)) != 0) {
    return format.Format.wFormatTag;
  }
  return static_cast<uint16_t>(guid[0] | guid[1] << 8);
}

uint16_t ValidBits(const WAVEFORMATEXTENSIBLE& format) {
  const uint16_t bits = format.Format.wBitsPerSample;
  const uint16_t valid = IsExtensible(format) ? format.wValidBitsPerSample : bits;
  return valid == 0 ? bits : std::min(valid, bits);
}

std::string CodecName(const WAVEFORMATEXTENSIBLE& format) {
  constexpr std::pair<uint16_t, const char*> kNames[] = {
      {WaveFormatPCM, "PCM"},
      {WaveFormatADPCM, "ADPCM"},
      {WaveFormatALaw, "A-law"},
      {WaveFormatIEEEFloat, "IEEE float"},
      {WaveFormatMuLaw, "mu-law"},
      {WaveFormatMPEG, "MPEG"},
      {WaveFormatMPEGLayer3, "MPEG layer 3"},
  };
  const uint16_t tag = EffectiveTag(format);
  for (const auto& [known, name] : kNames) {
    if (known == tag) return fmt::format("{}{}", name, IsExtensible(format) ? " (extensible)" : "");
  }
  return fmt::format("unknown format 0x{:04X}", tag);
}

bool IsStoredAsDelivered(const STZuAudioInfo& info) {
  return static_cast<uint32_t>(info.bitRate) == info.format.Format.nAvgBytesPerSec * 8;
}

bool HasKnownLength(const std::string& source, const STZuAudioInfo& info) {
  constexpr uint64_t kUnknown = 0xFFFFFFFF;  // less what is no whole block
  constexpr uint64_t kLargestBlock = 0xFFFF;
  constexpr uint64_t kMoreThanAnything = uint64_t{1} << 60;  // all there will be, in RF64
  const bool is_mark = info.lengthBytes <= kUnknown && info.lengthBytes > kUnknown - kLargestBlock;
  return (!is_mark && info.lengthBytes < kMoreThanAnything) || !IsAddress(source);
}

uint64_t WholeFrames(const WAVEFORMATEXTENSIBLE& format, uint64_t bytes) {
  return bytes / std::max<uint64_t>(format.Format.nBlockAlign, 1);
}

uint64_t Milliseconds(const WAVEFORMATEXTENSIBLE& format, uint64_t bytes) {
  const uint64_t frames = WholeFrames(format, bytes);
  const uint64_t rate = std::max<uint64_t>(format.Format.nSamplesPerSec, 1);
  return frames / rate * 1000 + frames % rate * 1000 / rate;
}

std::string TimeText(uint64_t milliseconds) {
  const uint64_t seconds = milliseconds / 1000;
  return fmt::format("{}:{:02}:{:02}.{:03}", seconds / 3600, seconds / 60 % 60, seconds % 60,
                     milliseconds % 1000);
}

}  // namespace wavehost
