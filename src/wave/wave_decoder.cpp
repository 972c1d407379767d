#include "wave/wave_decoder.h"

#include <algorithm>
#include <array>

#include "module/report/std_report.h"
#include "riff/chunk_id.h"
#include "support/byte_order.h"
#include "support/saturating.h"

namespace wavecodec {
namespace {

constexpr int64_t kBlockSize = 65536;  // stored bytes of a block at most
constexpr uint64_t kSmallestFmt = 14;  // a WAVEFORMAT
constexpr uint64_t kLargestFmt = 128000;

int32_t BitRate(const XAudioWFX& format) {
  return static_cast<int32_t>(format.AvgBytesPerSec() * 8);
}

}  // namespace

bool clWaveDecoderCore::Initialize(const STNStdReport& report, int64_t decode_from,
                                   int64_t decode_to, RIFFScan extent) {
  Report = report;
  {
    const TraceScope trace(Report, "Initialize");
    DecodeFrom = decode_from;
    DecodeTo = decode_to;
    trace.Leave();
  }
  return Riff.Initialize(Source, Report, extent);
}

bool clWaveDecoder::Initialize(const XFile& file, const STNStdReport& report, int64_t decode_from,
                               int64_t decode_to) {
  File.Share(file);
  return clWaveDecoderCore::Initialize(report, decode_from, decode_to, RIFFScan::Everything);
}

bool clWaveDecoderCore::PullOutFMTnDATA() {
  if (!FmtBytes.IsEmpty()) return true;
  const TraceScope trace(Report, "PullOutFMTnDATA");
  DebugLine(Report) << L"Finding 'fmt ' chunk.";
  const auto fmt = Riff.FindChunkForRead(chunk_id::kFmt, false);
  if (!fmt) return trace.Fail(L"Error cannot find 'fmt ' chunk.");
  DebugLine(Report) << L"Finding 'data' chunk.";
  const auto data = Riff.FindChunkForRead(chunk_id::kData, false);
  if (!data) return trace.Fail(L"Error cannot find 'data' chunk.");
  DataStart = data->FileDataPosition;
  DataEnd = SaturatingAdd(DataStart, static_cast<int64_t>(data->ChunkSize));
  if (!ReadFormat(*fmt, trace)) return false;
  ReadFact(trace);
  return trace.Leave(true);
}

bool clWaveDecoderCore::ReadFormat(const STRIFFChunk& fmt, const TraceScope& trace) {
  DebugLine(Report) << L"Assigning 'fmt ' chunk to WFX";
  if (fmt.ChunkSize < kSmallestFmt || fmt.ChunkSize > kLargestFmt) {
    return trace.Fail(L"Error 'fmt ' chunk is a bad size.");
  }
  if (!Source.SetPosition(fmt.FileDataPosition)) {
    return trace.Fail(L"Error cannot Set File Position.");
  }
  const auto size = static_cast<uint32_t>(fmt.ChunkSize);
  if (!FmtBytes.SetSize(size) || Source.ReadSmall(FmtBytes.Data(), size) != size) {
    FmtBytes.Free();
    return trace.Fail(L"Error cannot read 'fmt ' chunk from file.");
  }
  FileWFX.Assign(FmtBytes.Data(), size);
  OutWFX = FileWFX;
  if (!IsPCMOrFloat(OutWFX.WFXFormatTag())) {
    OutWFX.SetWFXFormatTag(WaveFormatPCM);
    if (OutWFX.BitsPerSample() < 8) OutWFX.SetBitsPerSample(16, true);
    OutWFX.CalcAvgNBlkAlign();
  }
  OutWFX.RemoveAnyExtra();
  return true;
}

// A `fact` chunk that cannot be read is reported, and the source decodes without it.
void clWaveDecoderCore::ReadFact(const TraceScope& trace) {
  std::array<uint8_t, 4> bytes{};
  const auto fact = Riff.FindChunkForRead(chunk_id::kFact, false);
  if (!fact || fact->ChunkSize < bytes.size()) return;
  if (!Source.SetPosition(fact->FileDataPosition)) {
    trace.Error() << L"Error cannot Set File Position";
  } else if (Source.ReadSmall(bytes.data(), bytes.size()) != bytes.size()) {
    trace.Error() << L"Error cannot read 'fact' chunk from file.";
  } else {
    FactSamples = ReadU32LE(bytes.data());
    DebugLine(Report) << L"Read 'fact' chunk: " << FactSamples << L" samples";
  }
}

int64_t clWaveDecoderCore::PositionOfFrame(int64_t frames) const {
  const int64_t position = SaturatingAdd(DataStart, SaturatingMul(frames, FileWFX.BlockAlign()));
  return std::clamp(position, DataStart, DataEnd);
}

int64_t clWaveDecoderCore::CalcDecodeFrom() const { return PositionOfFrame(DecodeFrom); }

int64_t clWaveDecoderCore::CalcDecodeTo() const {
  if (DecodeTo != kToTheEnd) return PositionOfFrame(DecodeTo);
  return DataStart + FileWFX.BlockAlignBuffer(DataEnd - DataStart);
}

int64_t clWaveDecoderCore::CalcStreamLengthBytes() const {
  return std::max<int64_t>(0, CalcDecodeTo() - CalcDecodeFrom());
}

int64_t clWaveDecoderCore::CalcStreamLengthmS() const {
  const bool whole = DecodeFrom == 0 && DecodeTo == kToTheEnd;
  if (FactSamples != 0 && whole && !IsPCMOrFloat(FileWFX.WFXFormatTag())) {
    const int64_t rate = std::max<int64_t>(1, FileWFX.SamplesPerSec());
    return static_cast<int64_t>(FactSamples) * 1000 / rate;
  }
  return FileWFX.CalcmsTime(CalcStreamLengthBytes());
}

bool clWaveDecoderCore::FillAudioInfo(STZuAudioInfo& info) {
  const TraceScope trace(Report, "FillAudioInfo");
  if (!PullOutFMTnDATA()) return false;
  OutWFX.CopyTo(info.format);
  info.lengthBytes = static_cast<uint64_t>(CalcStreamLengthBytes());
  info.bitRate = BitRate(FileWFX);
  info.lengthMs = static_cast<uint64_t>(CalcStreamLengthmS());
  // The spelling is part of the report's format.
  DebugLine(Report) << L"Audio Length: " << info.lengthMs << L" mili-seconds  " << info.lengthBytes
                    << L" bytes  " << info.bitRate / 1000 << L" kbps";
  return trace.Leave(true);
}

bool clWaveDecoderCore::PrepareToDecodeAudio(STZuAudioInfo& info) {
  const TraceScope trace(Report, "PrepareToDecodeAudio");
  if (!PullOutFMTnDATA()) return false;
  InputBuffer.Assign(FileWFX);
  const int tag = FileWFX.FormatTag();
  const bool is_mpeg = tag == WaveFormatMPEG || tag == WaveFormatMPEGLayer3;
  if (!(is_mpeg ? LoadExternalDecoder(trace) : CreateConverter(trace))) return false;
  DebugLine(Report) << L"Setting Position in File";
  if (!MoveTo(CalcDecodeFrom())) return trace.Fail(L"Error SetPosition returned false.");
  if (UseExternalDecoder && !InitializeExternalDecoder()) {
    BytesLeft = 0;  // nothing is left to decode of what failed to open
    return false;
  }
  OutWFX.CopyTo(info.format);
  return trace.Leave(true);
}

bool clWaveDecoderCore::CreateConverter(const TraceScope& trace) {
  DebugLine(Report) << L"Calling ACMDecoder.CreateNewConverter";
  if (!Converter.CreateNewConverter(FileWFX, true)) {
    return trace.Fail(L"Error Cannot Create Wave Decoder (", CodecName(FileWFX.WFXFormatTag()),
                      L")?");
  }
  DebugLine(Report) << L"Compressed WFX (on file): " << [&] { return FileWFX.WFXToString(); };
  OutWFX = Converter.GetWFXOut();
  DebugLine(Report) << L"Uncompressed WFX (sent to zu): " << [&] { return OutWFX.WFXToString(); };
  return true;
}

bool clWaveDecoderCore::ReadDataBlock() {
  constexpr const char* kName = "ReadDataBlock";
  if (BytesLeft < FileWFX.BlockAlign()) BytesLeft = 0;  // a partial frame is never delivered
  const auto bytes =
      static_cast<uint32_t>(FileWFX.BlockAlignBuffer(std::min(kBlockSize, BytesLeft)));
  if (bytes == 0) {
    InputBuffer.SetUsedByte(0);
    return true;
  }
  if (!InputBuffer.SetBufferByteSizeNew(bytes, false, false)) {
    ErrorLine(Report, kName) << L"Error allocating decoding buffer.";
    return false;
  }
  const size_t got = Source.Read(InputBuffer.BufferStart(), bytes);
  if (got != bytes) {
    // Where nobody knows how long the source is, its end is no fault.
    if (Source.Size() == XFile::kUnknownSize) return EndAfter(static_cast<uint32_t>(got));
    ErrorLine(Report, kName) << L"Error reading data from file.";
    // A later call must not take the bytes behind a failed read for the next ones.
    static_cast<void>(Source.SetPosition(ReadPosition));
    return false;
  }
  InputBuffer.SetUsedByte(bytes);
  BytesLeft -= bytes;
  ReadPosition += bytes;
  return true;
}

// The source has ended earlier than its header tells, `bytes` bytes into the input buffer.
bool clWaveDecoderCore::EndAfter(uint32_t bytes) {
  const auto whole = static_cast<uint32_t>(FileWFX.BlockAlignBuffer(bytes));
  InputBuffer.SetUsedByte(whole);
  BytesLeft = 0;
  ReadPosition += whole;
  return true;
}

bool clWaveDecoderCore::DecodeBlock(STZuAudioBlock& block) {
  block.positionMs =
      static_cast<uint64_t>(FileWFX.CalcmsTime(SaturatingSub(ReadPosition, CalcDecodeFrom())));
  if (BytesLeft == 0 && PendingBytes == 0) {
    block.lastBlock = 1;
    return true;
  }
  if (!(UseExternalDecoder ? DecodeExternally(block) : Convert(block))) return false;
  OutWFX.CopyTo(block.format);
  block.bitRate = BitRate(FileWFX);
  block.blockMs = static_cast<uint64_t>(OutWFX.CalcmsTime(block.byteCount));
  block.lastBlock = BytesLeft == 0 ? 1 : 0;
  return true;
}

bool clWaveDecoderCore::Convert(STZuAudioBlock& block) {
  if (!ReadDataBlock()) return false;
  if (!Converter.ConvertData(InputBuffer, true, BytesLeft == 0, true)) {
    ErrorLine(Report, "DecodeBlock") << L"Error cannot decode data, audio file corrupt?";
    return false;
  }
  block.data = Converter.Buffer().BufferStart();
  block.byteCount = Converter.Buffer().GetUsedByte();
  return true;
}

// The next read starts at `position`; on failure nothing has moved.
bool clWaveDecoderCore::MoveTo(int64_t position) {
  if (!MoveSource(position)) return false;
  ReadPosition = position;
  BytesLeft = std::max<int64_t>(0, SaturatingSub(CalcDecodeTo(), position));
  return true;
}

bool clWaveDecoderCore::SetPosition(int64_t frames) {
  const int64_t offset = SaturatingMul(frames, FileWFX.BlockAlign());
  if (MoveTo(std::min(CalcDecodeTo(), SaturatingAdd(CalcDecodeFrom(), offset)))) return true;
  ErrorLine(Report, "SetPosition") << L"Error SetPosition returned false.";
  return false;
}

void clWaveDecoderCore::Close(STZuEncoderFluid* fluid) {
  const TraceScope trace(Report, "Close");
  Riff.Destroy();
  Source.Close();
  if (UseExternalDecoder) static_cast<void>(SubDecoder.Close(fluid));
  PendingData = nullptr;
  PendingBytes = 0;
  trace.Leave();
}

}  // namespace wavecodec
