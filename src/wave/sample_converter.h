// What stands between the stored bytes and the host: decides once whether a format can be
// delivered, then hands blocks over, or converts float to integer for callers that take no float.
#pragma once

#include "wave/audio_buffer.h"
#include "wave/bits_converter.h"
#include "wave/wave_format.h"

namespace wavecodec {

class XAudioACMDecoder {
 public:
  // False when samples of this format go to the host as they are.
  static bool NeedToConvert(const XAudioWFX& in, bool float_allowed);

  // Prepares for blocks of a format. False when it cannot be delivered: all but PCM and float.
  bool CreateNewConverter(const XAudioWFX& in, bool float_allowed);
  // Converts a block into Buffer(); with `in_place` a block that goes as it is lies where it lay.
  // The last block is told for converters that hold samples back; none here does.
  bool ConvertData(XAudioBufferNew& in, bool in_place, bool last_block, bool float_allowed);

  [[nodiscard]] const XAudioWFX& GetWFXOut() const { return OutFormat; }
  [[nodiscard]] const XAudioBufferNew& Buffer() const { return OutBuffer; }

 private:
  XAudioWFX OutFormat;
  XAudioBufferNew OutBuffer;
  bool UseBitsConv = false;  // float comes in and integers go out
  XAudioBitsConv BitsConv;
};

}  // namespace wavecodec
