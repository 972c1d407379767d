// A block of samples with its format.
#pragma once

#include <cstdint>

#include "support/xmem.h"
#include "wave/wave_format.h"

namespace wavecodec {

// The samples lie in memory of the buffer's own, or in place in memory that somebody else keeps
// alive. Sizes are bytes (`...Byte...`) or sample frames (`...Sample...`). Operations that need
// memory answer false when there is none; the buffer is then as it was if its samples were to be
// kept, and empty if not.
class XAudioBufferNew : public XAudioWFX {
 public:
  XAudioBufferNew() = default;
  XAudioBufferNew(const XAudioBufferNew&) = delete;
  XAudioBufferNew& operator=(const XAudioBufferNew&) = delete;

  // Own memory of `bytes` bytes. `keep` keeps the samples that fit; otherwise nothing is in use.
  // `silence` fills it. Allocates only past the largest size so far.
  bool SetBufferByteSizeNew(uint32_t bytes, bool silence, bool keep);
  bool SetBufferSize(int64_t samples, bool silence, bool keep);
  bool SetBufferSize(int64_t samples, const XAudioWFX& format, bool silence, bool keep);
  // Takes a format and, when there is `memory`, its `bytes` bytes: by pointer when `in_place`, else
  // as a copy. Without memory, `bytes` bytes of its own.
  bool InitializeBuffer(void* memory, uint32_t bytes, const XAudioWFX& format, bool silence,
                        bool in_place);
  // The same samples and format as another buffer.
  bool InitializeBuffer(bool in_place, XAudioBufferNew& other);
  // Copies what is in place into memory of the buffer's own.
  bool InPlaceToOutofPlace();
  void Free();

  // Fills all the capacity: 128 for 8-bit samples, else 0.
  void SilenceBuffer() { SilenceFrom(0); }
  void SetUsedByte(uint32_t bytes);
  // The first valid byte is this far into the memory; lowered to the used bytes.
  void SetStartOffset(uint32_t bytes);

  // Copies frames of another buffer to frame `at` of this one, which then ends behind them, even
  // when it was longer; one in place stays as long as it is where they fit.
  bool CopyToBuffer(const void* source, int64_t samples, int64_t source_at, int64_t at);
  // Copies frames out to frame `target_at` of `target`, when there are as many.
  bool CopyFromBuffer(void* target, int64_t samples, int64_t target_at, int64_t at) const;
  // Copies frames behind the used ones; not for a buffer that is in place.
  bool AppendAudio(const void* source, int64_t samples);

  [[nodiscard]] uint32_t GetUsedByte() const { return FillCount; }
  [[nodiscard]] uint32_t GetCapacity() const { return Capacity; }
  [[nodiscard]] bool IsInPlace() const { return InPlace; }
  [[nodiscard]] uint8_t* BufferStart() const { return Data; }
  [[nodiscard]] uint8_t* operator()() const { return Data + StartOffset; }
  [[nodiscard]] int64_t TotalSamples() const { return BytesToSamples_DivChan(Capacity); }
  [[nodiscard]] int64_t GetUsedSample() const { return BytesToSamples_DivChan(FillCount); }

 private:
  void SilenceFrom(uint32_t offset);

  XMem Storage;              // own memory
  uint8_t* Data = nullptr;   // in Storage, or in somebody else's memory
  uint32_t Capacity = 0;     // bytes at Data
  uint32_t FillCount = 0;    // valid bytes, at most Capacity
  uint32_t StartOffset = 0;  // of the first valid byte, at most FillCount
  bool InPlace = false;      // Data is somebody else's
};

}  // namespace wavecodec
