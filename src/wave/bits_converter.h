// Changes the width of samples, and integers into float or back.
#pragma once

#include <string_view>

#include "wave/audio_buffer.h"
#include "wave/wave_format.h"

namespace wavecodec {

class XAudioBitsConv {
 public:
  // True when samples of a format can be made `bits` wide: 8, 16, 24 or 32, and 64 from float.
  static bool Init(const XAudioWFX& in, int bits);

  // Converts into Buffer(): to integers, or with `to_float` to float. `in_place` reuses the input's
  // memory where the samples do not get wider (the input then holds no samples any more).
  // `settings` may ask for dither, see NOneChannelDither. False when there is no such conversion,
  // or no memory.
  bool ConvertData(XAudioBufferNew& in, int bits, bool in_place, std::wstring_view settings,
                   bool to_float);
  // The same, to the width and kind of samples of `target`.
  bool ConvertData(XAudioBufferNew& in, const XAudioWFX& target, bool in_place,
                   std::wstring_view settings);

  [[nodiscard]] XAudioBufferNew& Buffer() { return Out; }

 private:
  XAudioBufferNew Out;
};

}  // namespace wavecodec
