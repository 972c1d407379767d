// A decoder instance: what `Create` makes and every entry point works on.
#pragma once

#include <cstdint>
#include <optional>

#include "support/xfile_http_stream.h"
#include "wave/streaming_decoder.h"
#include "wave/wave_decoder.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// Each method is the entry point of its name; see the public header. False is failure, already
// reported.
class clDecoder {
 public:
  explicit clDecoder(const STNStdReport& report) noexcept : Report(report) {}
  clDecoder(const clDecoder&) = delete;
  clDecoder& operator=(const clDecoder&) = delete;

  bool Open(STZuOpenDecoder& record);
  bool Close(STZuEncoderFluid* fluid);
  bool DecodeBlock(STZuAudioBlock& block);
  bool SetPosition(int64_t frames);
  bool DeleteATag(const wchar_t* file_name, const wchar_t* names);
  bool Get(const wchar_t* key, STZuCodecGetSet& record);
  bool Set(const wchar_t* key, STZuCodecGetSet& record);

  [[nodiscard]] const STNStdReport& GetReport() const { return Report; }

 private:
  void StartFromNothing();
  bool InitializeDecoder(const STZuOpenDecoder& record);
  // The decoder of the source that is open.
  clWaveDecoderCore& Decoder();

  XFileHTTPStream Source;
  const STNStdReport Report;
  std::optional<clWaveDecoder> WaveDecoder{std::in_place};  // new ones for each source
  std::optional<clsStreamingwavedecoder> StreamingDecoder{std::in_place};
  int64_t DecodeFrom = 0;  // sample frames; for the next Open
  int64_t DecodeTo = -1;   // exclusive; -1 is the end of the data
};

}  // namespace wavecodec
