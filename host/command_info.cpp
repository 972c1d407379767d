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
  bool has_length = false;  // the next two are known
  uint64_t length_ms = 0;
  uint64_t bytes = 0;
  std::string codec;    // of compressed data, such as "MPEG-1 Layer 3"; often empty
  bool plain = false;   // the decoded format is the stored one too: the rest can be told from it
  std::string problem;  // why it cannot be decoded; empty when it can
};

std::string CompressedCodec(std::string_view encoder_settings) {
  return encoder_settings.starts_with("MPEG") ? std::string(encoder_settings) : "";
}

// Opens the file with everything that the module can tell of it; returns why it cannot be decoded,
// or nothing.
std::string OpenAll(DecoderSession& session, const std::string& file, STZuOpenDecoder& record) {
  constexpr uint32_t kEverything = ZuOpenInfo | ZuOpenDecode | ZuOpenTags | ZuOpenProperties;
  if (session.TryOpen(file, kEverything, record)) return "";
  std::string problem = session.ErrorText();
  // A file that is understood but cannot be decoded has its description filled in.
  if (record.audioInfo.format.Format.nAvgBytesPerSec == 0) throw Error(problem);
  return problem;
}

Description Describe(const std::string& file, const STZuAudioInfo& audio,
                     const FileDetails& details, const std::string& problem) {
  Description description;
  description.problem = problem;
  description.format = audio.format;
  description.bit_rate = static_cast<uint32_t>(audio.bitRate);
  description.has_length = HasKnownLength(file, audio);
  description.length_ms = audio.lengthMs;
  description.bytes = audio.lengthBytes;
  description.codec = CompressedCodec(ValueOf(details.properties, "Encoder Settings"));
  description.plain = problem.empty() && description.codec.empty() && IsStoredAsDelivered(audio);
  return description;
}

std::string FormatName(const Description& description) {
  if (description.plain) return CodecName(description.format);
  return description.codec.empty() ? "compressed" : description.codec;
}

nlohmann::ordered_json Json(const std::string& file, const Description& description,
                            const FileDetails& details) {
  const WAVEFORMATEXTENSIBLE& format = description.format;
  nlohmann::ordered_json json = {
      {"file", file},
      {"format", FormatName(description)},
      {"channels", uint32_t{format.Format.nChannels}},
      {"sampleRate", uint32_t{format.Format.nSamplesPerSec}},
  };
  if (description.plain) {
    json["bits"] = uint32_t{format.Format.wBitsPerSample};
    if (IsExtensible(format)) {
      json["validBits"] = ValidBits(format);
      json["channelMask"] = uint32_t{format.dwChannelMask};
    }
    if (description.has_length) json["frames"] = WholeFrames(format, description.bytes);
  }
  if (description.has_length) {
    json["lengthMs"] = description.length_ms;
    json["bytes"] = description.bytes;
  }
  json["bitRate"] = description.bit_rate;
  json["decodable"] = description.problem.empty();
  if (!description.problem.empty()) {
    json["problem"] = description.problem;
  } else if (!description.plain) {
    json["decoded"] = {{"format", CodecName(format)},
                       {"bits", uint32_t{format.Format.wBitsPerSample}}};
  }
  json.update(DetailsJson(details));
  return json;
}

std::string BitsText(const WAVEFORMATEXTENSIBLE& format) {
  const uint32_t bits = format.Format.wBitsPerSample;
  const uint32_t valid = ValidBits(format);
  return valid == bits ? fmt::to_string(bits) : fmt::format("{} in {}", valid, bits);
}

std::string LengthText(const Description& description) {
  if (!description.has_length) return "unknown";
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
  const bool decodable = description.problem.empty();
  add("Format", FormatName(description) + (decodable ? "" : ", cannot be decoded"));
  if (!decodable) add("Problem", description.problem);
  add("Channels", fmt::to_string(uint32_t{format.nChannels}));
  add("Sample rate", fmt::format("{} Hz", uint32_t{format.nSamplesPerSec}));
  if (description.plain) {
    add("Bits", BitsText(description.format));
  } else if (decodable) {
    add("Decoded to",
        fmt::format("{}, {} bits", CodecName(description.format), BitsText(description.format)));
  }
  add("Length", LengthText(description));
  if (description.has_length) add("Bytes", fmt::to_string(description.bytes));
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
    const std::string problem = OpenAll(session, file, record);
    const FileDetails details(record);
    const Description description = Describe(file, record.audioInfo, details, problem);
    FileResult result{JsonLine(Json(file, description, details)),
                      fmt::format("{}{}", separator, Text(file, description, details))};
    separator = "\n";
    return result;
  });
}

}  // namespace wavehost
