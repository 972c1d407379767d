// The decoder of a Wave file on an HTTP server.
#pragma once

#include <cstdint>

#include "support/xfile_http_stream.h"
#include "support/xforward_stream.h"
#include "wave/wave_decoder.h"

namespace wavecodec {

// Decodes what passes by: one connection for a source that is decoded from its start, and no byte
// received twice. Chunks behind `data` are fetched only for tags and properties, with one connection
// there and one back, when the server can position. Everything else is clWaveDecoderCore's.
class clsStreamingwavedecoder final : public clWaveDecoderCore {
 public:
  clsStreamingwavedecoder() noexcept : clWaveDecoderCore(Stream) {}

  // Scans an open stream up to its audio; it stays the caller's. `wants_tags`: ReadIDTags will be
  // called, and the chunks before the audio are kept for it.
  bool Initialize(XFileHTTPStream& stream, const STNStdReport& report, int64_t decode_from,
                  int64_t decode_to, bool wants_tags);

 private:
  void FindAllChunks() override;
  bool MoveSource(int64_t position) override { return Stream.MoveTo(position); }
  [[nodiscard]] bool ListsChunks() const override { return false; }

  XForwardStream Stream;
};

}  // namespace wavecodec
