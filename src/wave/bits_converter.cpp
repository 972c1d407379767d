#include "wave/bits_converter.h"

#include "wave/sample_io.h"

namespace wavecodec {

bool XAudioBitsConv::Init(const XAudioWFX& in, int bits) {
  if (bits == in.BitsPerSample()) return true;
  if (!XAudioRdWr::TypeOf(in)) return false;
  const bool from_float = in.WFXFormatTag() == WaveFormatIEEEFloat;
  return bits == 8 || bits == 16 || bits == 24 || bits == 32 || (bits == 64 && from_float);
}

bool XAudioBitsConv::ConvertData(XAudioBufferNew& in, const XAudioWFX& target, bool in_place,
                                 std::wstring_view settings) {
  return ConvertData(in, target.BitsPerSample(), in_place, settings,
                     target.WFXFormatTag() == WaveFormatIEEEFloat);
}

bool XAudioBitsConv::ConvertData(XAudioBufferNew& in, int bits, bool in_place,
                                 std::wstring_view settings, bool to_float) {
  const int tag = to_float ? WaveFormatIEEEFloat : WaveFormatPCM;
  if (in.BitsPerSample() == bits && in.WFXFormatTag() == tag) {
    return Out.InitializeBuffer(in_place, in);
  }
  XAudioWFX format;
  format.Assign(in);
  format.SetWFXFormatTag(tag);
  format.SetBitsPerSample(bits, true);
  if (!Init(in, bits) || !XAudioRdWr::TypeOf(in) || !XAudioRdWr::TypeOf(format)) return false;

  const int64_t frames = in.GetUsedSample();
  if (in_place && bits <= in.BitsPerSample()) {
    // Each sample is written at or before the place that it was read from.
    if (!Out.InitializeBuffer(in.BufferStart(), in.GetUsedByte(), format, false, true))
      return false;
  } else if (!Out.SetBufferSize(frames, format, false, false)) {
    return false;
  }
  Out.SetUsedByte(static_cast<uint32_t>(Out.SamplesToBytes_DivChan(frames)));
  const XAudioRdWr reader(in);
  XAudioRdWr writer(Out, settings);
  const int64_t samples = frames * in.Channels();
  for (int64_t i = 0; i < samples; ++i) writer.PutInt(i, reader.GetInt(i));
  return true;
}

}  // namespace wavecodec
