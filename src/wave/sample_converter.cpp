#include "wave/sample_converter.h"

namespace wavecodec {
namespace {

constexpr int kIntegerBits = 32;  // of float that goes out as integers

}  // namespace

bool XAudioACMDecoder::NeedToConvert(const XAudioWFX& in, bool float_allowed) {
  const int tag = in.WFXFormatTag();
  return tag != WaveFormatPCM && !(tag == WaveFormatIEEEFloat && float_allowed);
}

bool XAudioACMDecoder::CreateNewConverter(const XAudioWFX& in, bool float_allowed) {
  OutFormat = in;
  UseBitsConv = false;
  if (!NeedToConvert(in, float_allowed)) return true;
  if (in.WFXFormatTag() != WaveFormatIEEEFloat) return false;
  OutFormat.ConvertExtensibleToWFX();
  OutFormat.SetFormatTag(WaveFormatPCM);
  OutFormat.RemoveAnyExtra();
  OutFormat.SetBitsPerSample(kIntegerBits, true);
  UseBitsConv = true;
  return true;
}

bool XAudioACMDecoder::ConvertData(XAudioBufferNew& in, bool in_place, bool /*last_block*/,
                                   bool float_allowed) {
  if (!NeedToConvert(in, float_allowed)) return OutBuffer.InitializeBuffer(in_place, in);
  if (UseBitsConv && BitsConv.ConvertData(in, kIntegerBits, in_place, {}, false)) {
    return OutBuffer.InitializeBuffer(true, BitsConv.Buffer());
  }
  OutBuffer.Free();  // what it referred to may be gone
  return false;
}

}  // namespace wavecodec
