// Lists the tags of files.
#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "commands.h"
#include "console.h"
#include "decoder_session.h"
#include "file_details.h"
#include "text.h"
#include "text_table.h"

namespace wavehost {
namespace {

using Json = nlohmann::ordered_json;

// The first bytes of a payload, as hexadecimal digits with `separator` between bytes.
std::string HexOf(std::span<const std::byte> payload, size_t most, std::string_view separator) {
  std::string hex;
  for (const std::byte byte : payload.first(std::min(payload.size(), most))) {
    if (!hex.empty()) hex += separator;
    hex += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
  }
  return hex;
}

Json ReservedJson(const std::vector<TagEntry>& entries) {
  constexpr size_t kMostBytes = 32;
  Json json = Json::array();
  for (const TagEntry& entry : entries) {
    if (!IsReserved(entry)) continue;
    json.push_back({{"name", entry.name},
                    {"value", entry.value},
                    {"bytes", entry.payload.size()},
                    {"hex", HexOf(entry.payload, kMostBytes, "")}});
  }
  return json;
}

std::string ReservedText(const TagEntry& entry) {
  constexpr size_t kMostBytes = 16;
  if (entry.payload.empty()) return entry.value;
  std::string text =
      fmt::format("{}  {}", SizeText(entry.payload.size()), HexOf(entry.payload, kMostBytes, " "));
  if (entry.payload.size() > kMostBytes) text += " …";
  if (!entry.value.empty()) text += fmt::format("  {}", entry.value);
  return text;
}

std::string Text(const std::string& file, const FileDetails& details, bool raw) {
  constexpr size_t kIndent = 2;
  TextTable table(kIndent);
  for (const UserTag& tag : details.tags) table.Add(tag.name + ":", tag.values);
  if (raw) {
    for (const TagEntry& entry : details.entries) {
      if (IsReserved(entry)) table.Add(entry.name + ":", ReservedText(entry));
    }
  }
  const std::string rows = table.IsEmpty() ? "  (no tags)\n" : table.Text(OutputLayout());
  return fmt::format("{}\n{}", Displayable(file), rows);
}

}  // namespace

int RunTags(const CodecModule& module, const CommandLine& line) {
  const FileOutput output = line.global.json ? FileOutput::Json : FileOutput::Text;
  std::string_view separator;
  return ForEachFile(line.files, output, [&](const std::string& file) {
    DecoderSession session(module, line.global.report);
    const FileDetails details = OpenDetails(session, file);
    Json json = {{"file", file},
                 {"kinds", ValueOf(details.properties, "ID Tag")},
                 {"tags", TagsJson(details.tags)}};
    if (line.tags.raw) json["reserved"] = ReservedJson(details.entries);
    FileResult result{JsonLine(json),
                      fmt::format("{}{}", separator, Text(file, details, line.tags.raw))};
    separator = "\n";
    return result;
  });
}

}  // namespace wavehost
