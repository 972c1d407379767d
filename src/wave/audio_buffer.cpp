#include "wave/audio_buffer.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "support/saturating.h"

namespace wavecodec {
namespace {

// Copies bytes that may overlap; a count of 0 may come with null pointers.
void Move(uint8_t* to, const void* from, int64_t bytes) {
  if (bytes > 0) std::memmove(to, from, static_cast<size_t>(bytes));
}

}  // namespace

bool XAudioBufferNew::SetBufferByteSizeNew(uint32_t bytes, bool silence, bool keep) {
  if (keep && InPlace && !InPlaceToOutofPlace()) return false;
  if (!Storage.SetSize(bytes, keep)) {
    if (!keep) Free();
    return false;
  }
  Data = Storage.Data();
  Capacity = bytes;
  FillCount = keep ? std::min(FillCount, bytes) : 0;
  StartOffset = 0;
  InPlace = false;
  if (silence) SilenceFrom(FillCount);
  return true;
}

bool XAudioBufferNew::SetBufferSize(int64_t samples, bool silence, bool keep) {
  const int64_t bytes = SamplesToBytes_DivChan(samples);
  if (bytes < 0 || bytes > std::numeric_limits<uint32_t>::max()) return false;
  return SetBufferByteSizeNew(static_cast<uint32_t>(bytes), silence, keep);
}

bool XAudioBufferNew::SetBufferSize(int64_t samples, const XAudioWFX& format, bool silence,
                                    bool keep) {
  Assign(format);
  return SetBufferSize(samples, silence, keep);
}

bool XAudioBufferNew::InitializeBuffer(void* memory, uint32_t bytes, const XAudioWFX& format,
                                       bool silence, bool in_place) {
  Assign(format);
  const uint32_t start = StartOffset;
  if (memory != nullptr && in_place) {
    Data = static_cast<uint8_t*>(memory);
    Capacity = bytes;
    InPlace = true;
  } else {
    if (!SetBufferByteSizeNew(bytes, silence && memory == nullptr, false)) return false;
    if (memory != nullptr) Move(Data, memory, bytes);
  }
  FillCount = bytes;
  SetStartOffset(start);
  return true;
}

bool XAudioBufferNew::InitializeBuffer(bool in_place, XAudioBufferNew& other) {
  const bool done = InitializeBuffer(other.Data, other.FillCount, other, false, in_place);
  SetStartOffset(other.StartOffset);
  return done;
}

bool XAudioBufferNew::InPlaceToOutofPlace() {
  if (!InPlace) return true;
  const uint8_t* samples = Data;
  if (!Storage.SetSize(Capacity)) return false;
  Data = Storage.Data();
  Move(Data, samples, Capacity);
  InPlace = false;
  return true;
}

void XAudioBufferNew::Free() {
  Storage.Free();
  Data = nullptr;
  Capacity = FillCount = StartOffset = 0;
  InPlace = false;
}

void XAudioBufferNew::SilenceFrom(uint32_t offset) {
  constexpr int kZeroOf8Bits = 128;
  if (offset < Capacity) {
    std::memset(Data + offset, BitsPerSample() == 8 ? kZeroOf8Bits : 0, Capacity - offset);
  }
}

void XAudioBufferNew::SetUsedByte(uint32_t bytes) {
  FillCount = std::min(bytes, Capacity);
  SetStartOffset(StartOffset);
}

void XAudioBufferNew::SetStartOffset(uint32_t bytes) { StartOffset = std::min(bytes, FillCount); }

bool XAudioBufferNew::CopyToBuffer(const void* source, int64_t samples, int64_t source_at,
                                   int64_t at) {
  if (source == nullptr || samples < 0 || source_at < 0 || at < 0 || at > TotalSamples()) {
    return false;
  }
  const int64_t end = SamplesToBytes_DivChan(SaturatingAdd(at, samples));
  if (end > std::numeric_limits<uint32_t>::max()) return false;
  if (InPlace && end > Capacity && !InPlaceToOutofPlace()) return false;
  if (!InPlace && !SetBufferByteSizeNew(static_cast<uint32_t>(end), false, true)) return false;
  const int64_t start = SamplesToBytes_DivChan(at);
  Move(Data + start, static_cast<const uint8_t*>(source) + SamplesToBytes_DivChan(source_at),
       end - start);
  FillCount = std::max(FillCount, static_cast<uint32_t>(end));
  return true;
}

bool XAudioBufferNew::CopyFromBuffer(void* target, int64_t samples, int64_t target_at,
                                     int64_t at) const {
  if (target == nullptr || samples < 0 || target_at < 0 || at < 0 || at > TotalSamples() ||
      samples > TotalSamples() - at) {
    return false;
  }
  Move(static_cast<uint8_t*>(target) + SamplesToBytes_DivChan(target_at),
       Data + SamplesToBytes_DivChan(at), SamplesToBytes_DivChan(samples));
  return true;
}

bool XAudioBufferNew::AppendAudio(const void* source, int64_t samples) {
  return !InPlace && CopyToBuffer(source, samples, 0, GetUsedSample());
}

}  // namespace wavecodec
