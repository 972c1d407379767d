// Pictures among the tags.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tag_block.h"

namespace wavehost {

// What a picture's bytes are.
struct PictureFormat {
  std::string_view mime;
  std::string_view extension;  // with its dot
};

struct Picture {
  size_t index = 0;         // as the module numbers it
  std::string kind;         // such as "Front Album Cover"
  std::string description;  // anything that a tag's author wrote; often empty
  PictureFormat format;
  std::span<const std::byte> bytes;  // as TagEntry::payload
};

std::vector<Picture> PicturesOf(const std::vector<TagEntry>& entries);

nlohmann::ordered_json PictureJson(const Picture& picture);

// Such as `image/jpeg, 123 KB, front album cover, "Booklet"`.
std::string PictureText(const Picture& picture);

}  // namespace wavehost
