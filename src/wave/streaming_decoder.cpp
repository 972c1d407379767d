#include "wave/streaming_decoder.h"

#include "module/report/std_report.h"

namespace wavecodec {

bool clsStreamingwavedecoder::Initialize(XFileHTTPStream& stream, const STNStdReport& report,
                                         int64_t decode_from, int64_t decode_to, bool wants_tags) {
  Stream.Begin(stream);
  return clWaveDecoderCore::Initialize(report, decode_from, decode_to,
                                       wants_tags ? RIFFScan::AudioAndTags : RIFFScan::Audio);
}

void clsStreamingwavedecoder::FindAllChunks() {
  if (Riff.IsWhole()) return;
  if (Stream.IsSeekable() && Stream.JumpTo(Riff.RestPosition())) {
    Riff.ScanRest();
  } else {
    InfoLine(Report, "ReadIDTags")
        << L"Warning chunks behind 'data' cannot be read from the server.";
  }
}

}  // namespace wavecodec
