// A wave format that repairs itself: derived fields agree, and no divisor is 0.
#pragma once

#include <cstdint>

#include "support/xmem.h"
#include "support/xstr.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// The sub-format of an extensible format that stands for a plain format tag.
constexpr WaveFormatGUID SubFormatOf(uint16_t tag) {
  return {{static_cast<uint8_t>(tag), static_cast<uint8_t>(tag >> 8), 0, 0, 0, 0, 0x10, 0, 0x80, 0,
           0, 0xAA, 0, 0x38, 0x9B, 0x71}};
}

// True for the effective tags whose samples are stored as they are delivered.
constexpr bool IsPCMOrFloat(int tag) { return tag == WaveFormatPCM || tag == WaveFormatIEEEFloat; }

// Name of the codec behind an effective format tag, for people.
XStr CodecName(int tag);

// One format description: a WAVEFORMATEX with any extra bytes behind it, or a WAVEFORMATEXTENSIBLE.
// Every construction and assignment normalises: PCM and float get block alignment and byte rate
// computed, and what would be a divisor of 0 becomes 1.
class XAudioWFX {
 public:
  XAudioWFX() noexcept;
  XAudioWFX(int channels, int samples_per_sec, int bits_per_sample);
  explicit XAudioWFX(const tWAVEFORMATEX* format);
  explicit XAudioWFX(const WAVEFORMATEXTENSIBLE* format) : XAudioWFX(&format->Format) {}
  explicit XAudioWFX(WAVEFORMAT* format) : XAudioWFX(format, sizeof *format) {}
  XAudioWFX(void* data, uint32_t size);
  XAudioWFX(const XAudioWFX& other);
  XAudioWFX& operator=(const XAudioWFX& other);
  ~XAudioWFX() = default;

  // PCM with these three values.
  void Assign(int channels, int samples_per_sec, int bits_per_sample);
  // A description with the `cbSize` extra bytes that follow it.
  void Assign(const tWAVEFORMATEX* format);
  void Assign(const XAudioWFX& other) { Assign(other.Current); }
  // The body of a `fmt ` chunk, 14 bytes at least. An extension that the body does not hold is
  // dropped, in the given bytes too.
  void Assign(void* data, uint32_t size);

  // Writes the description into a host's record: 40 bytes with `cbSize` 22 when it is extensible,
  // else 18 bytes with `cbSize` 0; the rest of the record is left as it is.
  void CopyTo(WAVEFORMATEXTENSIBLE& record) const;

  // The tag as stored (0xFFFE for an extensible description), and the tag that it means.
  [[nodiscard]] int FormatTag() const { return Current->wFormatTag; }
  [[nodiscard]] int WFXFormatTag() const;
  [[nodiscard]] int Channels() const { return Current->nChannels; }
  [[nodiscard]] uint32_t SamplesPerSec() const { return Current->nSamplesPerSec; }
  [[nodiscard]] uint32_t AvgBytesPerSec() const { return Current->nAvgBytesPerSec; }
  [[nodiscard]] int BlockAlign() const { return Current->nBlockAlign; }
  [[nodiscard]] int BitsPerSample() const { return Current->wBitsPerSample; }
  [[nodiscard]] int BytesPerSample() const { return Current->wBitsPerSample / 8; }
  [[nodiscard]] const tWAVEFORMATEX* pwfx() const { return Current; }
  // The same description seen as extensible; only the fields that IsExtensible vouches for may be
  // read.
  [[nodiscard]] const WAVEFORMATEXTENSIBLE* pwfxex() const {
    return reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(Current);
  }
  // The bytes behind the 18-byte header; null when there are none.
  [[nodiscard]] const uint8_t* GetExtraData() const;
  [[nodiscard]] bool IsExtensible() const;
  [[nodiscard]] bool IsExtensibleGUID(const WaveFormatGUID& guid) const;

  void SetFormatTag(int tag) { Current->wFormatTag = static_cast<uint16_t>(tag); }
  // Sets what the description means. An extensible one takes the tags 1, 2, 3, 6 and 7 and ignores
  // others.
  void SetWFXFormatTag(int tag);
  void SetChannels(int channels, bool recalculate);
  void SetSamplesPerSec(int samples_per_sec, bool recalculate);
  void SetBitsPerSample(int bits, bool recalculate);
  void SetAvgBytesPerSec(int bytes) { Current->nAvgBytesPerSec = static_cast<uint32_t>(bytes); }
  void SetBlockAlign(int bytes) { Current->nBlockAlign = static_cast<uint16_t>(bytes); }
  // Drops extra bytes: `cbSize` becomes 22 when extensible, else 0.
  void RemoveAnyExtra() { Current->cbSize = IsExtensible() ? kExtensibleExtra : 0; }
  // Both answer false, with the description as it was, when there is no such form of it.
  bool ConvertExtensibleToWFX();
  bool ConvertWFXToExtensible();
  // Block alignment from channels and bits (truncated), byte rate from block alignment and sample
  // rate.
  void CalcAvgNBlkAlign();

  // Milliseconds of a count of bytes, and whole frames of bytes for a count of milliseconds.
  [[nodiscard]] int64_t CalcmsTime(int64_t bytes) const;
  [[nodiscard]] int64_t CalcBufferSize(int64_t ms) const;
  // Rounded toward zero to whole frames; samples rounded to whole frames of channels.
  [[nodiscard]] int64_t BlockAlignBuffer(int64_t bytes) const;
  [[nodiscard]] int ChannelAlignSamples(int samples) const;
  // Single samples and bytes, by BytesPerSample.
  [[nodiscard]] int64_t SamplesToBytes_RAW(int64_t samples) const;
  [[nodiscard]] int64_t BytesToSamples_RAW(int64_t bytes) const;
  // Sample frames and bytes, by BytesPerSample and channels.
  [[nodiscard]] int64_t SamplesToBytes_DivChan(int64_t frames) const;
  [[nodiscard]] int64_t BytesToSamples_DivChan(int64_t bytes) const;

  // The description in one line, for the report.
  [[nodiscard]] XStr WFXToString() const;

 private:
  static constexpr uint16_t kExtensibleExtra = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(tWAVEFORMATEX);

  WAVEFORMATEXTENSIBLE& Extensible() { return *reinterpret_cast<WAVEFORMATEXTENSIBLE*>(Current); }

  XMem Extended;                  // the description, when it has extra bytes
  mutable tWAVEFORMATEX Plain{};  // the description, when it has none; queries repair it
  tWAVEFORMATEX* Current = &Plain;
};

}  // namespace wavecodec
