// Decodes files into files, a pipe, or nothing.
#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <span>

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

// Cuts a range of sample frames, or everything, out of decoded audio.
class Excerpt {
 public:
  Excerpt() = default;
  Excerpt(uint64_t from, uint64_t to) : from_(from), to_(to) {}
  [[nodiscard]] bool IsComplete() const { return position_ >= to_; }
  // What is wanted of the next samples.
  std::span<const std::byte> Of(std::span<const std::byte> samples, size_t frame_size) {
    const uint64_t begin = position_;
    position_ += samples.size() / frame_size;
    const auto offset_of = [&](uint64_t frame) {
      return static_cast<size_t>(std::clamp(frame, begin, position_) - begin) * frame_size;
    };
    if (position_ <= to_ && begin >= from_) return samples;
    return samples.subspan(offset_of(from_), offset_of(to_) - offset_of(from_));
  }

 private:
  uint64_t from_ = 0;
  uint64_t to_ = UINT64_MAX;
  uint64_t position_ = 0;
};

// What is open.
struct Audio {
  STZuAudioInfo info = {};
  std::optional<uint64_t> bytes;  // of the decoded audio, where that is known before
  Excerpt excerpt;
};

// Has the module decode the range only, as far as its ranges are sample frames: of compressed audio
// they are stored blocks. Then everything is to be decoded and the excerpt cut out of it.
Excerpt LimitRange(DecoderSession& session, const STZuAudioInfo& info,
                   const DecodeOptions& options) {
  const uint32_t rate = info.format.Format.nSamplesPerSec;
  const int64_t from = options.from ? options.from->Frame(rate) : 0;
  const int64_t to = options.to ? options.to->Frame(rate) : -1;
  if (options.to && to < from) throw Error("the range ends before it begins");
  if (!IsStoredAsDelivered(info)) {
    return {static_cast<uint64_t>(from), options.to ? static_cast<uint64_t>(to) : UINT64_MAX};
  }
  session.SetRange(from, to);
  return {};
}

Audio OpenAudio(DecoderSession& session, const std::string& file, const DecodeOptions& options) {
  Audio audio;
  audio.info = session.Open(file, ZuOpenDecode).audioInfo;
  const bool has_length = HasKnownLength(file, audio.info);
  if (options.from || options.to) {
    audio.excerpt = LimitRange(session, audio.info, options);
    // A range of the module holds from the next opening on.
    if (IsStoredAsDelivered(audio.info)) {
      audio.info = session.Open(file, ZuOpenDecode).audioInfo;
    }
  }
  if (!has_length) {
    audio.info.lengthMs = 0;
  } else if (IsStoredAsDelivered(audio.info)) {
    const WAVEFORMATEXTENSIBLE& format = audio.info.format;
    audio.bytes = WholeFrames(format, audio.info.lengthBytes) * format.Format.nBlockAlign;
  }
  return audio;
}

// Decodes what is open to its end. `writer` null: nowhere.
Decoded DecodeAll(DecoderSession& session, const Audio& audio, SampleWriter* writer,
                  ProgressBar& progress) {
  Decoded decoded{audio.info.format};
  Excerpt excerpt = audio.excerpt;
  bool begun = false;
  const auto begin = [&] {
    if (writer != nullptr && !begun) writer->Begin(decoded.format, audio.bytes);
    begun = true;
  };
  for (bool last = excerpt.IsComplete(); !last;) {
    ThrowIfInterrupted();
    const STZuAudioBlock block = session.DecodeBlock();
    last = block.lastBlock != 0;
    if (block.byteCount == 0) continue;
    if (!begun) decoded.format = block.format;
    if (std::memcmp(&decoded.format, &block.format, sizeof(block.format)) != 0) {
      throw Error("the format changes in the middle of the audio");
    }
    begin();
    const auto samples = excerpt.Of({static_cast<const std::byte*>(block.data), block.byteCount},
                                    std::max<size_t>(block.format.Format.nBlockAlign, 1));
    if (writer != nullptr) writer->Write(samples);
    decoded.bytes += samples.size();
    last = last || excerpt.IsComplete();
    progress.Update(block.positionMs + block.blockMs);
  }
  begin();
  if (writer != nullptr) writer->Finish();
  return decoded;
}

Decoded DecodeInto(const OutputTarget& target, bool force, DecoderSession& session,
                   const Audio& audio, ProgressBar& progress) {
  OutputFile output = target.file == kStandardOutputName ? OutputFile::StandardOutput()
                                                         : OutputFile(target.file, force);
  const auto writer = target.as_wave ? std::make_unique<WaveWriter>(output)
                                     : std::make_unique<SampleWriter>(output);
  const Decoded decoded = DecodeAll(session, audio, writer.get(), progress);
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
    const Audio audio = OpenAudio(session, file, options);
    ProgressBar progress(file, audio.info.lengthMs, !global.quiet && !global.report);
    const Decoded decoded = target ? DecodeInto(*target, options.force, session, audio, progress)
                                   : DecodeAll(session, audio, nullptr, progress);
    FileResult result = Summary(file, target, decoded);
    if (global.quiet) result.text.clear();
    return result;
  });
}

}  // namespace wavehost
