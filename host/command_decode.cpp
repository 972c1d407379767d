// Decodes files into files, a pipe, or nothing.
#include <fmt/format.h>

#include <cstring>
#include <memory>
#include <optional>

#include "audio_format.h"
#include "commands.h"
#include "console.h"
#include "decoder_session.h"
#include "error.h"
#include "output_file.h"
#include "output_plan.h"
#include "process.h"
#include "progress_bar.h"
#include "text.h"
#include "wave_writer.h"

namespace wavehost {
namespace {

struct Decoded {
  WAVEFORMATEXTENSIBLE format = {};
  uint64_t bytes = 0;
};

void LimitRange(DecoderSession& session, const std::string& file, const DecodeOptions& options) {
  if (!options.from && !options.to) return;
  uint32_t rate = 0;
  if ((options.from && options.from->IsTime()) || (options.to && options.to->IsTime())) {
    rate = session.Open(file, ZuOpenInfo).audioInfo.format.Format.nSamplesPerSec;
  }
  const int64_t from = options.from ? options.from->Frame(rate) : 0;
  const int64_t to = options.to ? options.to->Frame(rate) : -1;
  if (options.to && to < from) throw Error("the range ends before it begins");
  session.SetRange(from, to);
}

// Decodes what is open to its end. `writer` null: nowhere.
Decoded DecodeAll(DecoderSession& session, const STZuAudioInfo& info, SampleWriter* writer,
                  ProgressBar& progress) {
  Decoded decoded{info.format};
  std::optional<uint64_t> expected;
  if (IsStoredAsDelivered(info)) {
    expected = WholeFrames(info.format, info.lengthBytes) * info.format.Format.nBlockAlign;
  }
  bool begun = false;
  const auto begin = [&] {
    if (writer != nullptr && !begun) writer->Begin(decoded.format, expected);
    begun = true;
  };
  for (bool last = false; !last;) {
    ThrowIfInterrupted();
    const STZuAudioBlock block = session.DecodeBlock();
    last = block.lastBlock != 0;
    if (block.byteCount == 0) continue;
    if (!begun) decoded.format = block.format;
    if (std::memcmp(&decoded.format, &block.format, sizeof(block.format)) != 0) {
      throw Error("the format changes in the middle of the audio");
    }
    begin();
    if (writer != nullptr) {
      writer->Write({static_cast<const std::byte*>(block.data), block.byteCount});
    }
    decoded.bytes += block.byteCount;
    progress.Update(block.positionMs + block.blockMs);
  }
  begin();
  if (writer != nullptr) writer->Finish();
  return decoded;
}

Decoded DecodeInto(const OutputTarget& target, bool force, DecoderSession& session,
                   const STZuAudioInfo& info, ProgressBar& progress) {
  OutputFile output = target.file == kStandardOutputName ? OutputFile::StandardOutput()
                                                         : OutputFile(target.file, force);
  const auto writer = target.as_wave ? std::make_unique<WaveWriter>(output)
                                     : std::make_unique<SampleWriter>(output);
  const Decoded decoded = DecodeAll(session, info, writer.get(), progress);
  output.Commit();
  return decoded;
}

FileResult Summary(const std::string& file, const std::optional<OutputTarget>& target,
                   const Decoded& decoded) {
  const uint64_t frames = WholeFrames(decoded.format, decoded.bytes);
  const uint64_t length = Milliseconds(decoded.format, decoded.bytes);
  nlohmann::ordered_json json = {{"file", file}};
  std::string text = Displayable(file);
  if (target) {
    json["output"] = target->file.native();
    text += fmt::format(" -> {}", Displayable(target->file.native()));
  }
  json.update({{"format", CodecName(decoded.format)},
               {"channels", uint32_t{decoded.format.Format.nChannels}},
               {"sampleRate", uint32_t{decoded.format.Format.nSamplesPerSec}},
               {"bits", uint32_t{decoded.format.Format.wBitsPerSample}},
               {"frames", frames},
               {"lengthMs", length},
               {"bytes", decoded.bytes}});
  text += fmt::format(": {} frames, {} bytes, {}\n", frames, decoded.bytes, TimeText(length));
  return {JsonLine(json), text};
}

}  // namespace

int RunDecode(const CodecModule& module, const CommandLine& line) {
  const GlobalOptions& global = line.global;
  const DecodeOptions& options = line.decode;
  std::optional<OutputPlan> plan;
  if (!options.output.empty()) plan.emplace(line.files, options);

  FileOutput kind =
      options.output == kStandardOutputName ? FileOutput::TextOnStandardError : FileOutput::Text;
  if (global.json) kind = FileOutput::Json;
  return ForEachFile(line.files, kind, [&](const std::string& file) {
    std::optional<OutputTarget> target;
    if (plan) target = plan->TargetOf(file);
    DecoderSession session(module, global.report);
    LimitRange(session, file, options);
    const STZuAudioInfo info = session.Open(file, ZuOpenDecode).audioInfo;
    ProgressBar progress(file, info.lengthMs, !global.quiet && !global.report);
    const Decoded decoded = target ? DecodeInto(*target, options.force, session, info, progress)
                                   : DecodeAll(session, info, nullptr, progress);
    FileResult result = Summary(file, target, decoded);
    if (global.quiet) result.text.clear();
    return result;
  });
}

}  // namespace wavehost
