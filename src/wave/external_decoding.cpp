// MPEG data: handed to a second codec module block by block.
#include <algorithm>
#include <utility>

#include "module/report/std_report.h"
#include "support/module_folder.h"
#include "wave/wave_decoder.h"

namespace wavecodec {
namespace {

constexpr wchar_t kSubDecoderFile[] = L"mp3.dll";  // on every platform
constexpr wchar_t kSubDecoderExtension[] = L".mp3";

}  // namespace

bool clWaveDecoderCore::LoadExternalDecoder(const TraceScope& trace) {
  DebugLine(Report) << L"Loading mp3 Sub-Decoder";
  const XStr path = ModuleFolder() + kSubDecoderFile;
  UseExternalDecoder = SubDecoder.LoadDecoder(path.c_str(), kSubDecoderExtension);
  return UseExternalDecoder || trace.Fail(L"Error loading external Decoder '", path, L"'");
}

bool clWaveDecoderCore::InitializeExternalDecoder() {
  const TraceScope trace(Report, "InitializeExternalDecoder");
  DebugLine(Report) << L"Creating External Decoder";
  if (!SubDecoder.Create(Report)) return trace.Fail(L"Error creating external Decoder.");
  DebugLine(Report) << L"Opening External Decoder";
  STZuOpenDecoder record{};
  record.flags = ZuOpenPackets;
  if (SubDecoder.Open(record) == 0) return trace.Fail(L"Error opening external Decoder.");
  DebugLine(Report) << L"Decoding until first data with External Decoder";
  return ExternalDecodeData() && trace.Leave(true);
}

// Feeds the sub-decoder until it gives something, which becomes the pending block, or until nothing
// is left to feed.
bool clWaveDecoderCore::ExternalDecodeData() {
  while (BytesLeft != 0) {
    if (!ReadDataBlock()) return false;
    STZuAudioBlock block{};
    block.data = InputBuffer.BufferStart();
    block.byteCount = InputBuffer.GetUsedByte();
    block.lastBlock = BytesLeft == 0 ? 1 : 0;
    if (SubDecoder.DecodeBlock(block) == 0) {
      ErrorLine(Report, "ExternalDecodeData") << L"Error decoding audio with external Decoder.";
      return false;
    }
    if (block.data == nullptr || block.byteCount == 0) continue;
    PendingData = block.data;
    PendingBytes = block.byteCount;
    // With its size: the other module may promise more extra bytes than the record has.
    OutWFX = XAudioWFX(&block.format, sizeof block.format);
    return true;
  }
  return true;
}

bool clWaveDecoderCore::DecodeExternally(STZuAudioBlock& block) {
  if (PendingBytes != 0) {
    const auto pending = static_cast<uint64_t>(OutWFX.CalcmsTime(PendingBytes));
    block.positionMs -= std::min(block.positionMs, pending);
  } else if (!ExternalDecodeData()) {
    return false;
  }
  block.data = std::exchange(PendingData, nullptr);
  block.byteCount = std::exchange(PendingBytes, 0);
  return true;
}

}  // namespace wavecodec
