#include "wave/wave_format.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "support/saturating.h"

namespace wavecodec {
namespace {

constexpr uint32_t kHeaderSize = sizeof(tWAVEFORMATEX);

// The sub-formats that are known, in the order in which they are looked for.
constexpr uint16_t kKnownSubFormats[] = {WaveFormatPCM,   WaveFormatIEEEFloat, WaveFormatALaw,
                                         WaveFormatMuLaw, WaveFormatADPCM,     WaveFormatMPEG};

}  // namespace

XStr CodecName(int tag) {
  switch (tag) {
    case WaveFormatPCM:
      return L"PCM";
    case WaveFormatIEEEFloat:
      return L"IEEE Float";
    case WaveFormatMPEG:
      return L"MPEG-1 Layer 1 or 2";
    case WaveFormatMPEGLayer3:
      return L"MPEG-1 Layer 3";
    default:
      return L"Unknown ACM ID: " + std::to_wstring(tag);
  }
}

XAudioWFX::XAudioWFX() noexcept { Assign(nullptr, 0); }
XAudioWFX::XAudioWFX(int channels, int samples_per_sec, int bits_per_sample) {
  Assign(channels, samples_per_sec, bits_per_sample);
}
XAudioWFX::XAudioWFX(const tWAVEFORMATEX* format) { Assign(format); }
XAudioWFX::XAudioWFX(void* data, uint32_t size) { Assign(data, size); }
XAudioWFX::XAudioWFX(const XAudioWFX& other) { Assign(other); }

XAudioWFX& XAudioWFX::operator=(const XAudioWFX& other) {
  if (this != &other) Assign(other);
  return *this;
}

void XAudioWFX::Assign(int channels, int samples_per_sec, int bits_per_sample) {
  tWAVEFORMATEX format{};
  format.wFormatTag = WaveFormatPCM;
  format.nChannels = static_cast<uint16_t>(channels);
  format.nSamplesPerSec = static_cast<uint32_t>(samples_per_sec);
  format.wBitsPerSample = static_cast<uint16_t>(bits_per_sample);
  Assign(&format);
}

void XAudioWFX::Assign(const tWAVEFORMATEX* format) {
  if (format == Current) return;
  const size_t size = kHeaderSize + size_t{format->cbSize};
  if (format->cbSize == 0) {
    Plain = *format;
    Current = &Plain;
  } else {
    Current = &Plain;  // stays so when there is no memory
    if (!Extended.SetSize(size)) throw std::bad_alloc();
    std::memcpy(Extended.Data(), format, size);
    Current = reinterpret_cast<tWAVEFORMATEX*>(Extended.Data());
  }
  if (IsPCMOrFloat(WFXFormatTag())) CalcAvgNBlkAlign();
  if (Current->nAvgBytesPerSec == 0) Current->nAvgBytesPerSec = 1;
  if (Current->nBlockAlign == 0) Current->nBlockAlign = 1;
}

void XAudioWFX::Assign(void* data, uint32_t size) {
  if (data != nullptr && size >= kHeaderSize) {
    auto* format = static_cast<tWAVEFORMATEX*>(data);
    if (kHeaderSize + format->cbSize > size) format->cbSize = 0;
    Assign(format);
    return;
  }
  tWAVEFORMATEX format{};
  if (data != nullptr && size >= sizeof(WAVEFORMAT)) {
    std::memcpy(&format, data, sizeof(WAVEFORMAT));
    constexpr uint32_t kWithBits = sizeof(WAVEFORMAT) + sizeof format.wBitsPerSample;
    if (size == kWithBits) {
      std::memcpy(&format, data, kWithBits);
    } else if (size == sizeof(WAVEFORMAT)) {
      format.wBitsPerSample = static_cast<uint16_t>(
          format.nChannels != 0 ? format.nBlockAlign * 8 / format.nChannels : 16);
    }
  }
  Assign(&format);
}

void XAudioWFX::CopyTo(WAVEFORMATEXTENSIBLE& record) const {
  const bool extensible = IsExtensible();
  std::memcpy(&record, Current, extensible ? sizeof record : kHeaderSize);
  record.Format.cbSize = extensible ? kExtensibleExtra : 0;
}

int XAudioWFX::WFXFormatTag() const {
  if (!IsExtensible()) return FormatTag();
  for (const uint16_t tag : kKnownSubFormats) {
    if (IsExtensibleGUID(SubFormatOf(tag))) return tag;
  }
  return FormatTag();
}

const uint8_t* XAudioWFX::GetExtraData() const {
  return Current->cbSize == 0 ? nullptr : reinterpret_cast<const uint8_t*>(Current) + kHeaderSize;
}

bool XAudioWFX::IsExtensible() const {
  return Current->wFormatTag == WaveFormatExtensibleTag && Current->cbSize >= kExtensibleExtra;
}

bool XAudioWFX::IsExtensibleGUID(const WaveFormatGUID& guid) const {
  return IsExtensible() && std::memcmp(&pwfxex()->SubFormat, &guid, sizeof guid) == 0;
}

void XAudioWFX::SetWFXFormatTag(int tag) {
  if (!IsExtensible()) {
    SetFormatTag(tag);
    return;
  }
  const bool settable = tag != WaveFormatMPEG && std::ranges::count(kKnownSubFormats, tag) != 0;
  if (settable) Extensible().SubFormat = SubFormatOf(static_cast<uint16_t>(tag));
}

void XAudioWFX::SetChannels(int channels, bool recalculate) {
  if (IsExtensible() && channels != Channels()) Extensible().dwChannelMask = 0;
  Current->nChannels = static_cast<uint16_t>(channels);
  if (recalculate) CalcAvgNBlkAlign();
}

void XAudioWFX::SetSamplesPerSec(int samples_per_sec, bool recalculate) {
  Current->nSamplesPerSec = static_cast<uint32_t>(samples_per_sec);
  if (recalculate) CalcAvgNBlkAlign();
}

void XAudioWFX::SetBitsPerSample(int bits, bool recalculate) {
  if (IsExtensible() && IsPCMOrFloat(WFXFormatTag()) && bits != BitsPerSample()) {
    Extensible().wValidBitsPerSample = static_cast<uint16_t>(bits);
  }
  Current->wBitsPerSample = static_cast<uint16_t>(bits);
  if (recalculate) CalcAvgNBlkAlign();
}

bool XAudioWFX::ConvertExtensibleToWFX() {
  const int tag = WFXFormatTag();
  if (!IsExtensible() || tag == WaveFormatExtensibleTag) return false;
  const auto extra = static_cast<uint16_t>(Current->cbSize - kExtensibleExtra);
  XMem plain;
  if (!plain.SetSize(kHeaderSize + size_t{extra})) return false;
  auto* format = reinterpret_cast<tWAVEFORMATEX*>(plain.Data());
  *format = *Current;
  format->cbSize = extra;
  format->wFormatTag = static_cast<uint16_t>(tag);
  std::memcpy(plain.Data() + kHeaderSize, pwfxex() + 1, extra);
  Assign(format);
  return true;
}

bool XAudioWFX::ConvertWFXToExtensible() {
  if (IsExtensible()) return true;
  if (!IsPCMOrFloat(FormatTag())) return false;
  constexpr uint32_t kAllSpeakers = 0x80000000;
  WAVEFORMATEXTENSIBLE format{};
  format.Format = *Current;
  format.Format.wFormatTag = WaveFormatExtensibleTag;
  format.Format.cbSize = kExtensibleExtra;
  format.dwChannelMask = kAllSpeakers;
  format.wValidBitsPerSample = Current->wBitsPerSample;
  format.SubFormat = SubFormatOf(Current->wFormatTag);
  Assign(&format.Format);
  return true;
}

void XAudioWFX::CalcAvgNBlkAlign() {
  const uint32_t bits = uint32_t{Current->nChannels} * Current->wBitsPerSample;
  Current->nBlockAlign = static_cast<uint16_t>(static_cast<int32_t>(bits) / 8);
  Current->nAvgBytesPerSec = Current->nSamplesPerSec * Current->nBlockAlign;
}

int64_t XAudioWFX::CalcmsTime(int64_t bytes) const {
  if (Current->nAvgBytesPerSec == 0) Current->nAvgBytesPerSec = 1;
  return SaturatingMulDiv(bytes, 1000, Current->nAvgBytesPerSec);
}

int64_t XAudioWFX::CalcBufferSize(int64_t ms) const {
  return BlockAlignBuffer(SaturatingMulDiv(ms, Current->nAvgBytesPerSec, 1000));
}

int64_t XAudioWFX::BlockAlignBuffer(int64_t bytes) const {
  if (Current->nBlockAlign == 0) Current->nBlockAlign = 1;
  return bytes - bytes % Current->nBlockAlign;
}

int XAudioWFX::ChannelAlignSamples(int samples) const {
  if (Current->nChannels == 0) Current->nChannels = 1;
  return samples - samples % Current->nChannels;
}

int64_t XAudioWFX::SamplesToBytes_RAW(int64_t samples) const {
  return SaturatingMul(samples, std::max(1, BytesPerSample()));
}

int64_t XAudioWFX::BytesToSamples_RAW(int64_t bytes) const {
  return bytes / std::max(1, BytesPerSample());
}

int64_t XAudioWFX::SamplesToBytes_DivChan(int64_t frames) const {
  return SamplesToBytes_RAW(SaturatingMul(frames, Channels()));
}

int64_t XAudioWFX::BytesToSamples_DivChan(int64_t bytes) const {
  return BytesToSamples_RAW(bytes) / std::max(1, Channels());
}

XStr XAudioWFX::WFXToString() const {
  const auto field = [](const wchar_t* name, uint32_t value) {
    return name + std::to_wstring(value);
  };
  XStr text = field(L"Format Tag: ", Current->wFormatTag);
  text += field(L"  Channels: ", Current->nChannels);
  text += field(L"  Bits per Sample: ", Current->wBitsPerSample);
  text += field(L"  Samples Per Second: ", Current->nSamplesPerSec);
  text += field(L"  Bytes Per Second: ", Current->nAvgBytesPerSec);
  text += field(L"  Block Align: ", Current->nBlockAlign);
  text += field(L"  CB Size: ", Current->cbSize);
  if (IsExtensible()) {
    text += field(L"  Extensible Sub-Format: ", static_cast<uint32_t>(WFXFormatTag()));
  }
  return text;
}

}  // namespace wavecodec
