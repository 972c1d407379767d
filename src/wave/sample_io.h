// Single samples of a buffer, whatever their stored width.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "wave/audio_buffer.h"
#include "wave/wave_format.h"

namespace wavecodec {

// Reduces the samples of one channel to fewer bits. Plain truncation: no noise is added.
class NOneChannelDither {
 public:
  // True when a settings string ("name=value" pairs separated by blanks, such as "dither=1") asks
  // for it.
  static bool IsWanted(std::wstring_view settings);

  explicit NOneChannelDither(int target_bits) : TargetBits(target_bits) {}
  // The upper 16 or 24 bits of a left-justified sample.
  [[nodiscard]] int32_t Dither(int32_t value) const { return value >> (TargetBits == 16 ? 16 : 8); }

 private:
  int TargetBits;
};

// Reads and writes samples by index (frame * channels + channel) as left-justified 32-bit integers
// or as doubles from -1 to 1. Reducing the width truncates; a double outside the range is clamped,
// NaN is 0. An index outside the memory reads 0 and writes nothing.
class XAudioRdWr {
 public:
  // How samples are stored; the `Dithered` ones are written through the dither of their channel.
  enum class SampleType {
    Int16,
    Int24,
    UInt8,
    Int32,
    Float32,
    Float64,
    Int16Dithered,
    Int24Dithered
  };

  // The way samples of a format are stored; none for a format that is not one of these.
  static std::optional<SampleType> TypeOf(const XAudioWFX& format, std::wstring_view settings = {});

  // Over `samples` samples (of all channels together) at `memory`, which must outlive the object.
  XAudioRdWr(uint8_t* memory, int64_t samples, int channels, const XAudioWFX& format,
             std::wstring_view settings = {});
  // Over the used samples of a buffer.
  explicit XAudioRdWr(const XAudioBufferNew& buffer, std::wstring_view settings = {});

  // Moves to other memory of the same format.
  void SetBeginData(uint8_t* memory, int64_t samples);
  void SetBeginData(const XAudioBufferNew& buffer);

  [[nodiscard]] int32_t GetInt(int64_t index) const;
  void PutInt(int64_t index, int32_t value);
  [[nodiscard]] double GetDbl(int64_t index) const;
  void PutDbl(int64_t index, double value);
  // The same with integers as wide as they are stored (-32768 to 32767 for 16 bits), not
  // left-justified.
  [[nodiscard]] int32_t GetIntRaw(int64_t index) const { return GetInt(index) >> Shift; }
  void PutIntRaw(int64_t index, int32_t value);

 private:
  [[nodiscard]] uint8_t* At(int64_t index) const;

  uint8_t* Memory = nullptr;
  int64_t Count = 0;
  std::optional<SampleType> Type;
  int Width = 0;                           // bytes of a stored sample
  int Shift = 0;                           // from the stored integer to the left-justified one
  std::vector<NOneChannelDither> Dithers;  // one a channel
};

}  // namespace wavecodec
