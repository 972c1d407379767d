#include "file_details.h"

#include <fmt/format.h>

#include <algorithm>

#include "error.h"
#include "text.h"

namespace wavehost {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kChunksProperty = "Riff Chunks";
constexpr std::string_view kBetweenChunks = ",  ";

// Takes an ID of four characters in quotes and the blank behind it.
bool TakeChunkID(std::string_view& text, std::string& id) {
  constexpr int kCharacters = 4;
  constexpr std::string_view kEnd = "' ";
  std::string_view rest = text;
  if (!rest.starts_with('\'')) return false;
  rest.remove_prefix(1);
  const std::string_view start = rest;
  for (int i = 0; i < kCharacters && !rest.empty(); ++i) TakeCodePoint(rest);
  if (!rest.starts_with(kEnd)) return false;
  id = start.substr(0, start.size() - rest.size());
  text = rest.substr(kEnd.size());
  return true;
}

std::string Section(const char* title, const TextTable& table, const TableLayout& layout) {
  return table.IsEmpty() ? "" : fmt::format("\n  {}\n{}", title, table.Text(layout));
}

}  // namespace

std::vector<ChunkText> ParseChunks(std::string_view text) {
  std::vector<ChunkText> chunks;
  ChunkText chunk;
  while (TakeChunkID(text, chunk.id)) {
    const size_t end = std::min(text.find(fmt::format("{}'", kBetweenChunks)), text.size());
    chunk.size = text.substr(0, end);
    chunks.push_back(chunk);
    text.remove_prefix(std::min(end + kBetweenChunks.size(), text.size()));
  }
  return chunks;
}

FileDetails::FileDetails(const STZuOpenDecoder& record)
    : properties(ReadTagBlock(record.propsData, record.propsSize)),
      entries(ReadTagBlock(record.tagData, record.tagSize)),
      tags(UserTags(entries)),
      pictures(PicturesOf(entries)),
      chunks(ParseChunks(ValueOf(properties, kChunksProperty))) {}

FileDetails OpenDetails(DecoderSession& session, const std::string& file) {
  const STZuOpenDecoder record = session.Open(file, ZuOpenTags | ZuOpenProperties);
  if (record.tagData == nullptr) throw Error("the module finds no audio format in it");
  return FileDetails(record);
}

Json TagsJson(const std::vector<UserTag>& tags) {
  Json json = Json::array();
  for (const UserTag& tag : tags) {
    Json item = {{"name", tag.name}};
    if (tag.values.size() == 1) {
      item["value"] = tag.values.front();
    } else {
      item["values"] = tag.values;
    }
    json.push_back(std::move(item));
  }
  return json;
}

Json DetailsJson(const FileDetails& details) {
  Json json = {{"properties", Json::object()},
               {"tags", TagsJson(details.tags)},
               {"pictures", Json::array()}};
  for (const TagEntry& property : details.properties) {
    json["properties"][property.name] = property.value;
  }
  for (const Picture& picture : details.pictures) json["pictures"].push_back(PictureJson(picture));
  if (ValueOf(details.properties, kChunksProperty).empty()) return json;
  json["chunks"] = Json::array();
  for (const ChunkText& chunk : details.chunks) {
    json["chunks"].push_back({{"id", chunk.id}, {"size", chunk.size}});
  }
  return json;
}

std::string DetailsText(const FileDetails& details, const TableLayout& layout) {
  constexpr size_t kIndent = 4;
  TextTable properties(kIndent);
  for (const TagEntry& property : details.properties) {
    const bool elsewhere = property.name == kChunksProperty && !details.chunks.empty();
    if (!elsewhere) properties.Add(property.name, property.value);
  }
  TextTable tags(kIndent);
  for (const UserTag& tag : details.tags) tags.Add(tag.name, tag.values);
  TextTable pictures(kIndent);
  for (const Picture& picture : details.pictures) {
    pictures.Add(fmt::to_string(picture.index), PictureText(picture));
  }
  TextTable chunks(kIndent);
  for (const ChunkText& chunk : details.chunks) {
    chunks.Add(fmt::format("'{}'", chunk.id), chunk.size);
  }
  return Section("Properties", properties, layout) + Section("Tags", tags, layout) +
         Section("Pictures", pictures, layout) + Section("Chunks", chunks, layout);
}

}  // namespace wavehost
