#include "module/decoder.h"

#include <type_traits>

#include "module/report/std_report.h"
#include "riff/riff_recovery.h"
#include "tags/tag_writing.h"

namespace wavecodec {

// Nothing of an earlier source shows through, whatever state it was left in.
void clDecoder::StartFromNothing() {
  static_assert(std::is_nothrow_default_constructible_v<clWaveDecoder>);  // there is always one
  static_assert(std::is_nothrow_default_constructible_v<clsStreamingwavedecoder>);
  Source.Close();
  WaveDecoder.emplace();
  StreamingDecoder.emplace();
}

clWaveDecoderCore& clDecoder::Decoder() {
  if (Source.FromInterent()) return *StreamingDecoder;
  return *WaveDecoder;
}

bool clDecoder::InitializeDecoder(const STZuOpenDecoder& record) {
  if (Source.FromInterent()) {
    const bool wants_tags = (record.flags & (ZuOpenTags | ZuOpenProperties)) != 0;
    return StreamingDecoder->Initialize(Source, Report, DecodeFrom, DecodeTo, wants_tags);
  }
  return WaveDecoder->Initialize(Source.NonInternetFileHandle(), Report, DecodeFrom, DecodeTo);
}

bool clDecoder::Open(STZuOpenDecoder& record) {
  StartFromNothing();
  const TraceScope trace(Report, "Open");
  const auto asked_for = [&](uint32_t flags) { return (record.flags & flags) != 0; };
  if (asked_for(ZuOpenPackets)) {
    return trace.Fail(L"Error cannot decode external-packet data.");
  }
  const std::wstring_view name = record.fileName != nullptr ? record.fileName : L"";
  DebugLine(Report) << L"Opening file '" << name << L"' for read access: ";
  if (!Source.Open(record.fileName)) {
    return trace.Fail(L"Error opening file '", name, L"' check no other program has it open.");
  }
  DebugLine(Report) << L"Opened";
  if (!Source.FromInterent() &&
      !FinishInterruptedChange(Source, record.fileName, XFileAccess::Read, Report)) {
    return false;
  }
  DebugLine(Report) << L"Reading Audio Information";
  if (!InitializeDecoder(record)) return false;
  DebugLine(Report) << L"Read Audio Information";
  XStr tag_kinds;
  if (asked_for(ZuOpenTags | ZuOpenProperties)) {
    const XMem& block = Decoder().ReadIDTags(tag_kinds);
    if (asked_for(ZuOpenTags) && !block.IsEmpty()) {
      record.tagData = block.Data();
      record.tagSize = static_cast<uint32_t>(block.Size());
    }
  }
  if (asked_for(ZuOpenProperties)) {
    if (const XMem* block = Decoder().FillAudioProps(tag_kinds)) {
      record.propsData = block->Data();
      record.propsSize = static_cast<uint32_t>(block->Size());
    }
  }
  if (asked_for(ZuOpenInfo | ZuOpenDecode)) {
    DebugLine(Report) << L"Writing Audio Information";
    if (!Decoder().FillAudioInfo(record.audioInfo)) return false;
    DebugLine(Report) << L"Written Audio Information";
  }
  if (asked_for(ZuOpenDecode)) {
    DebugLine(Report) << L"Preparing to Decode";
    if (!Decoder().PrepareToDecodeAudio(record.audioInfo)) return false;
    DebugLine(Report) << L"Prepared Decoding";
  }
  return trace.Leave(true);
}

bool clDecoder::Close(STZuEncoderFluid* fluid) {
  const TraceScope trace(Report, "Close");
  WaveDecoder->Close(fluid);
  StreamingDecoder->Close(fluid);
  Source.Close();
  return trace.Leave(true);
}

bool clDecoder::DecodeBlock(STZuAudioBlock& block) {
  Source.BeginCall();
  return Decoder().DecodeBlock(block);
}

bool clDecoder::SetPosition(int64_t frames) {
  const TraceScope trace(Report, "SetPosition");
  // Without a source the decoder has no report yet to say so itself.
  if (!Source.IsOpen()) return trace.Fail(L"Error SetPosition returned false.");
  Source.BeginCall();
  return Decoder().SetPosition(frames) && trace.Leave(true);
}

bool clDecoder::DeleteATag(const wchar_t* file_name, const wchar_t* names) {
  constexpr size_t kLongestList = 2000000000;
  const TraceScope trace(Report, "DeleteATag");
  const bool delete_all = names == nullptr || *names == 0;
  XStrList list;
  if (!delete_all) list.SetFromPackedCharArray(names, kLongestList);
  return trace.Leave(DeleteTags(file_name, list, delete_all, Report));
}

}  // namespace wavecodec
