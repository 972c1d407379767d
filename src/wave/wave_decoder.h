// Decoding a Wave source: finding its format, delivering its blocks, seeking.
#pragma once

#include <cstdint>
#include <string>

#include "riff/riff_handler.h"
#include "support/xfile.h"
#include "support/xmem.h"
#include "support/xstr.h"
#include "tags/set/tag_set.h"
#include "wave/audio_buffer.h"
#include "wave/sample_converter.h"
#include "wave/sub_decoder.h"
#include "wave/wave_format.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

class TraceScope;

// Everything about decoding that does not depend on where the bytes come from. An object serves one
// source: the next one gets a new object. Every operation that fails has written its error line.
//
// Life: Initialize (scan) -> PullOutFMTnDATA (format known) -> ReadIDTags -> FillAudioProps ->
// PrepareToDecodeAudio -> DecodeBlock and SetPosition -> Close.
class clWaveDecoderCore {
 public:
  clWaveDecoderCore(const clWaveDecoderCore&) = delete;
  clWaveDecoderCore& operator=(const clWaveDecoderCore&) = delete;

  // Finds the `fmt `, `data` and `fact` chunks and takes in the format; once, later calls cost
  // nothing.
  bool PullOutFMTnDATA();
  // Makes the tag block (see NTag) of all tags and carried chunks, and appends the kinds of tags
  // found to `kinds`. The block is the decoder's, good until the next call; empty when the source's
  // format cannot be found.
  const XMem& ReadIDTags(XStr& kinds);
  // Makes the block of named properties, in the same form. `tag_kinds` is what ReadIDTags found.
  // Null on failure.
  const XMem* FillAudioProps(const XStr& tag_kinds);
  // Tells format, bit rate and length of the decode range. The format is provisional: what a host
  // can expect before a converter was asked.
  bool FillAudioInfo(STZuAudioInfo& info);
  // Makes ready for DecodeBlock at the start of the range; puts the decoded format into `info`.
  bool PrepareToDecodeAudio(STZuAudioInfo& info);
  // Delivers the next block: at most 64 KiB of whole frames, by pointer, with one read of the
  // source. MPEG data come as the sub-decoder gives them: the samples of 64 KiB.
  bool DecodeBlock(STZuAudioBlock& block);
  // Moves to a sample frame of the decode range. On failure nothing has moved.
  bool SetPosition(int64_t frames);
  void Close(STZuEncoderFluid* fluid);

  // The decode range as positions in the source, always within the `data` chunk.
  [[nodiscard]] int64_t CalcDecodeFrom() const;
  [[nodiscard]] int64_t CalcDecodeTo() const;
  // Stored bytes, and milliseconds, of the decode range.
  [[nodiscard]] int64_t CalcStreamLengthBytes() const;
  [[nodiscard]] int64_t CalcStreamLengthmS() const;

 protected:
  // `source` lies in the derived object and is opened by it.
  explicit clWaveDecoderCore(XFile& source) noexcept : Source(source) {}
  virtual ~clWaveDecoderCore() = default;

  // Stores report and range (sample frames; to -1 is the end) and scans the open source.
  bool Initialize(const STNStdReport& report, int64_t decode_from, int64_t decode_to,
                  RIFFScan extent);

  // Makes the chunk table whole before tags are read, as far as the source allows.
  virtual void FindAllChunks() {}
  // Makes `position` the place where audio is read next. On failure nothing has moved.
  virtual bool MoveSource(int64_t position) { return Source.SetPosition(position); }
  // True when the properties list the chunks, which a whole table takes.
  [[nodiscard]] virtual bool ListsChunks() const { return true; }

  STNStdReport Report{};
  clRIFFHandler Riff;

 private:
  bool ReadFormat(const STRIFFChunk& fmt, const TraceScope& trace);
  void ReadFact(const TraceScope& trace);
  bool ReadDataBlock();
  bool EndAfter(uint32_t bytes);
  bool LoadExternalDecoder(const TraceScope& trace);
  bool CreateConverter(const TraceScope& trace);
  bool InitializeExternalDecoder();
  bool ExternalDecodeData();
  bool DecodeExternally(STZuAudioBlock& block);
  bool Convert(STZuAudioBlock& block);
  bool MoveTo(int64_t position);
  [[nodiscard]] int64_t PositionOfFrame(int64_t frames) const;
  [[nodiscard]] std::string SampleCountText() const;
  template <typename Take>
  void TellRiffChunks(Take take) const;
  [[nodiscard]] std::string ContainsText(const std::string& kinds) const;
  void ReportProperties() const;

  XFile& Source;
  XMem FmtBytes;  // the `fmt ` chunk's body; not empty once the format is known
  XAudioWFX FileWFX;
  XAudioWFX OutWFX;
  uint64_t FactSamples = 0;  // 0: not told
  NTag Tags;
  XMem TagBlock;
  XMem Properties;
  XAudioACMDecoder Converter;
  XAudioBufferNew InputBuffer;
  clZuDecoder SubDecoder;
  bool UseExternalDecoder = false;    // the stored data go to the sub-decoder
  const void* PendingData = nullptr;  // decoded by it and not handed out yet; its memory
  uint32_t PendingBytes = 0;
  int64_t DecodeFrom = 0;
  int64_t DecodeTo = kToTheEnd;
  int64_t DataStart = 0;
  int64_t DataEnd = 0;
  int64_t ReadPosition = 0;  // of the next byte to read
  int64_t BytesLeft = 0;     // stored bytes from there to the end of the range

  static constexpr int64_t kToTheEnd = -1;
};

// The decoder of a file on a local disk.
class clWaveDecoder final : public clWaveDecoderCore {
 public:
  clWaveDecoder() noexcept : clWaveDecoderCore(File) {}

  // Scans an open file, which stays the caller's.
  bool Initialize(const XFile& file, const STNStdReport& report, int64_t decode_from,
                  int64_t decode_to);

 private:
  XFile File;
};

}  // namespace wavecodec
