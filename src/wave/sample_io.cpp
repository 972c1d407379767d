#include "wave/sample_io.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace wavecodec {
namespace {

using SampleType = XAudioRdWr::SampleType;

constexpr double kFullScale = 2147483648.0;

struct Layout {
  int Width;
  int Shift;
};

constexpr Layout LayoutOf(SampleType type) {
  switch (type) {
    case SampleType::UInt8:
      return {1, 24};
    case SampleType::Int16:
    case SampleType::Int16Dithered:
      return {2, 16};
    case SampleType::Int24:
    case SampleType::Int24Dithered:
      return {3, 8};
    case SampleType::Int32:
    case SampleType::Float32:
      return {4, 0};
    case SampleType::Float64:
      break;
  }
  return {8, 0};
}

double Clamped(double sample) { return std::isnan(sample) ? 0 : std::clamp(sample, -1.0, 1.0); }

// Of a clamped sample; 1.0 is one step more than an integer can say.
int32_t ToInteger(double sample) {
  return sample == 1.0 ? std::numeric_limits<int32_t>::max()
                       : static_cast<int32_t>(sample * kFullScale);
}

template <typename Float>
double LoadFloat(const uint8_t* bytes) {
  Float value = 0;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

template <typename Float>
void StoreFloat(uint8_t* bytes, double sample) {
  const auto value = static_cast<Float>(sample);
  std::memcpy(bytes, &value, sizeof value);
}

// The low `width` bytes of a number, little-endian.
void Store(uint8_t* bytes, int32_t value, int width) {
  for (int i = 0; i < width; ++i) {
    bytes[i] = static_cast<uint8_t>(static_cast<uint32_t>(value) >> (8 * i));
  }
}

bool IsFloat(SampleType type) { return type == SampleType::Float32 || type == SampleType::Float64; }

}  // namespace

bool NOneChannelDither::IsWanted(std::wstring_view settings) {
  constexpr std::wstring_view kName = L"dither=";
  size_t at = 0;
  while ((at = settings.find(kName, at)) != settings.npos) {
    const bool begins_here = at == 0 || settings[at - 1] == L' ';
    at += kName.size();
    const std::wstring_view value = settings.substr(at, settings.find(L' ', at) - at);
    if (begins_here) return !value.empty() && value != L"0";
  }
  return false;
}

std::optional<SampleType> XAudioRdWr::TypeOf(const XAudioWFX& format, std::wstring_view settings) {
  const int tag = format.WFXFormatTag();
  const int bits = format.BitsPerSample();
  if (tag == WaveFormatIEEEFloat) {
    if (bits == 32) return SampleType::Float32;
    if (bits == 64) return SampleType::Float64;
    return std::nullopt;
  }
  if (tag != WaveFormatPCM) return std::nullopt;
  const bool dither = NOneChannelDither::IsWanted(settings);
  switch (bits) {
    case 8:
      return SampleType::UInt8;
    case 16:
      return dither ? SampleType::Int16Dithered : SampleType::Int16;
    case 24:
      return dither ? SampleType::Int24Dithered : SampleType::Int24;
    case 32:
      return SampleType::Int32;
    default:
      return std::nullopt;
  }
}

XAudioRdWr::XAudioRdWr(uint8_t* memory, int64_t samples, int channels, const XAudioWFX& format,
                       std::wstring_view settings)
    : Type(TypeOf(format, settings)) {
  if (Type) {
    Width = LayoutOf(*Type).Width;
    Shift = LayoutOf(*Type).Shift;
    if (Type == SampleType::Int16Dithered || Type == SampleType::Int24Dithered) {
      Dithers.assign(static_cast<size_t>(std::max(1, channels)),
                     NOneChannelDither(format.BitsPerSample()));
    }
  }
  SetBeginData(memory, samples);
}

XAudioRdWr::XAudioRdWr(const XAudioBufferNew& buffer, std::wstring_view settings)
    : XAudioRdWr(nullptr, 0, buffer.Channels(), buffer, settings) {
  SetBeginData(buffer);
}

void XAudioRdWr::SetBeginData(uint8_t* memory, int64_t samples) {
  Memory = memory;
  Count = memory != nullptr && Type ? samples : 0;
}

void XAudioRdWr::SetBeginData(const XAudioBufferNew& buffer) {
  SetBeginData(buffer.BufferStart(), Width > 0 ? int64_t{buffer.GetUsedByte()} / Width : 0);
}

uint8_t* XAudioRdWr::At(int64_t index) const {
  return index >= 0 && index < Count ? Memory + index * Width : nullptr;
}

int32_t XAudioRdWr::GetInt(int64_t index) const {
  const uint8_t* bytes = At(index);
  if (bytes == nullptr) return 0;
  if (IsFloat(*Type)) return ToInteger(GetDbl(index));
  uint32_t value = 0;
  for (int i = 0; i < Width; ++i) value |= uint32_t{bytes[i]} << (8 * i + Shift);
  constexpr uint32_t kSignBit = 0x80000000;
  return static_cast<int32_t>(Type == SampleType::UInt8 ? value ^ kSignBit : value);
}

void XAudioRdWr::PutInt(int64_t index, int32_t value) {
  uint8_t* bytes = At(index);
  if (bytes == nullptr) return;
  if (IsFloat(*Type)) {
    PutDbl(index, value / kFullScale);
  } else if (!Dithers.empty()) {
    const auto channel = static_cast<size_t>(index) % Dithers.size();
    Store(bytes, Dithers[channel].Dither(value), Width);
  } else {
    constexpr int32_t kMiddleOf8Bits = 128;
    Store(bytes, (value >> Shift) + (Type == SampleType::UInt8 ? kMiddleOf8Bits : 0), Width);
  }
}

double XAudioRdWr::GetDbl(int64_t index) const {
  const uint8_t* bytes = At(index);
  if (bytes == nullptr) return 0;
  if (Type == SampleType::Float32) return Clamped(LoadFloat<float>(bytes));
  if (Type == SampleType::Float64) return Clamped(LoadFloat<double>(bytes));
  return GetInt(index) / kFullScale;
}

void XAudioRdWr::PutDbl(int64_t index, double value) {
  uint8_t* bytes = At(index);
  if (bytes == nullptr) return;
  const double sample = Clamped(value);
  if (Type == SampleType::Float32) {
    StoreFloat<float>(bytes, sample);
  } else if (Type == SampleType::Float64) {
    StoreFloat<double>(bytes, sample);
  } else {
    PutInt(index, ToInteger(sample));
  }
}

void XAudioRdWr::PutIntRaw(int64_t index, int32_t value) {
  PutInt(index, static_cast<int32_t>(static_cast<uint32_t>(value) << Shift));
}

}  // namespace wavecodec
