// Describes files.
#include <fmt/format.h>

#include <string_view>

#include "audio_format.h"
#include "commands.h"
#include "console.h"
#include "decoder_session.h"
#include "error.h"
#include "file_details.h"
#include "text.h"
#include "text_table.h"

namespace wavehost {
namespace {

struct Description {
  WAVEFORMATEXTENSIBLE format = {};
  uint32_t bit_rate = 0;
  uint64_t length_ms = 0;
  uint64_t bytes = 0;
  bool plain = false;   // the decoded format is the stored one too: the rest can be told from it
  std::string problem;  // why it cannot be decoded; empty when it can
};

// Opens the file with everything that the module can tell of it.
Description Describe(DecoderSession& session, const std::string& file, STZuOpenDecoder& record) {
  constexpr uint32_t kEverything = ZuOpenInfo | ZuOpenDecode | ZuOpenTags | ZuOpenProperties;
  Description description;
  if (!session.TryOpen(file, kEverything, record)) {
    description.problem = session.ErrorText();
    // A file that is understood but cannot be decoded has its description filled in.
    if (record.audioInfo.format.Format.nAvgBytesPerSec == 0) throw Error(description.problem);
  }
  const STZuAudioInfo& audio = record.audioInfo;
  description.format = audio.format;
  description.bit_rate = static_cast<uint32_t>(audio.bitRate);
  description.length_ms = audio.lengthMs;
  description.bytes = audio.lengthBytes;
  description.plain = description.problem.empty() && IsStoredAsDelivered(audio);
  return description;
}

nlohmann::ordered_json Json(const std::string& file, const Description& description,
                            const FileDetails& details) {
  const WAVEFORMATEXTENSIBLE& format = description.format;
  nlohmann::ordered_json json = {
      {"file", file},
      {"format", description.plain ? CodecName(format) : "compressed"},
      {"channels", uint32_t{format.Format.nChannels}},
      {"sampleRate", uint32_t{format.Format.nSamplesPerSec}},
  };
  if (description.problem.empty()) json["bits"] = uint32_t{format.Format.wBitsPerSample};
  if (description.plain) {
    if (IsExtensible(format)) {
      json["validBits"] = ValidBits(format);
      json["channelMask"] = uint32_t{format.dwChannelMask};
    }
    json["frames"] = WholeFrames(format, description.bytes);
  }
  json["lengthMs"] = description.length_ms;
  json["bytes"] = description.bytes;
  json["bitRate"] = description.bit_rate;
  json["decodable"] = description.problem.empty();
  if (!description.problem.empty()) json["problem"] = description.problem;
  json.update(DetailsJson(details));
  return json;
}

std::string FormatText(const Description& description) {
  if (!description.problem.empty()) return "compressed, cannot be decoded";
  const std::string name = CodecName(description.format);
  return description.plain ? name : fmt::format("compressed, decoded to {}", name);
}

std::string BitsText(const WAVEFORMATEXTENSIBLE& format) {
  const uint32_t bits = format.Format.wBitsPerSample;
  const uint32_t valid = ValidBits(format);
  return valid == bits ? fmt::to_string(bits) : fmt::format("{} in {}", valid, bits);
}

std::string LengthText(const Description& description) {
  std::string time = TimeText(description.length_ms);
  if (!description.plain) return time;
  const uint64_t frames = WholeFrames(description.format, description.bytes);
  return fmt::format("{} ({} sample frames)", time, frames);
}

std::string Text(const std::string& file, const Description& description,
                 const FileDetails& details) {
  constexpr size_t kIndent = 2;
  constexpr size_t kMostLinesOnTerminal = 8;
  const tWAVEFORMATEX& format = description.format.Format;
  TextTable audio(kIndent);
  const auto add = [&](const char* label, const std::string& value) { audio.Add(label, value); };
  add("Format", FormatText(description));
  if (!description.problem.empty()) add("Problem", description.problem);
  add("Channels", fmt::to_string(uint32_t{format.nChannels}));
  add("Sample rate", fmt::format("{} Hz", uint32_t{format.nSamplesPerSec}));
  if (description.problem.empty()) add("Bits", BitsText(description.format));
  add("Length", LengthText(description));
  add("Bytes", fmt::to_string(description.bytes));
  add("Bit rate", fmt::format("{:.10g} kbit/s", description.bit_rate / 1000.0));
  TableLayout layout = OutputLayout();
  if (layout.columns != 0) layout.most_lines = kMostLinesOnTerminal;
  return Displayable(file) + "\n" + audio.Text(layout) + DetailsText(details, layout);
}

}  // namespace

int RunInfo(const CodecModule& module, const CommandLine& line) {
  const FileOutput output = line.global.json ? FileOutput::Json : FileOutput::Text;
  std::string_view separator;
  return ForEachFile(line.files, output, [&](const std::string& file) {
    DecoderSession session(module, line.global.report);
    STZuOpenDecoder record;
    const Description description = Describe(session, file, record);
    const FileDetails details(record);
    FileResult result{JsonLine(Json(file, description, details)),
                      fmt::format("{}{}", separator, Text(file, description, details))};
    separator = "\n";
    return result;
  });
}

}  // namespace wavehost
