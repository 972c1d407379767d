// What the module tells of a file apart from its audio.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "decoder_session.h"
#include "picture.h"
#include "tag_block.h"
#include "text_table.h"
#include "wavecodec/codec_module.h"

namespace wavehost {

struct ChunkText {
  std::string id;
  std::string size;  // such as "16 bytes"
};

// Reads "'fmt ' 16 bytes,  'data' 10.09 MB" as far as it makes sense. Any character may be in an
// ID.
std::vector<ChunkText> ParseChunks(std::string_view text);

// Good until the session opens another file or ends.
struct FileDetails {
  // Of a record that was opened with ZuOpenTags and ZuOpenProperties. Throws Error when the module
  // filled in something wrong.
  explicit FileDetails(const STZuOpenDecoder& record);

  std::vector<TagEntry> properties;
  std::vector<TagEntry> entries;  // of the tag block
  std::vector<UserTag> tags;
  std::vector<Picture> pictures;
  std::vector<ChunkText> chunks;
};

// Opens a file for its details only. Throws Error when it has none because it is no audio file.
FileDetails OpenDetails(DecoderSession& session, const std::string& file);

nlohmann::ordered_json TagsJson(const std::vector<UserTag>& tags);
// The keys "properties", "tags", "pictures", and "chunks" where they are told: not of an address.
nlohmann::ordered_json DetailsJson(const FileDetails& details);
// The same in sections.
std::string DetailsText(const FileDetails& details, const TableLayout& layout);

}  // namespace wavehost
