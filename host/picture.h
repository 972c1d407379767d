// Pictures among the tags.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
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

// None when they are no picture that is known here.
std::optional<PictureFormat> KnownPictureFormat(std::span<const std::byte> bytes);

// The kind that a user's word stands for ("front", "Front Album Cover"); none when it is unknown.
std::optional<std::string_view> PictureKind(std::string_view word);
// The short words of all kinds, in lines of about so many columns.
std::string PictureKindWords(size_t columns);

// The name of the entry of a picture; `index` counts from 1.
std::string PictureEntryName(size_t index, std::string_view kind);

struct Picture {
  std::string entry;        // the name of its entry
  size_t index = 0;         // as the module numbers it
  std::string kind;         // such as "Front Album Cover"
  std::string description;  // anything that a tag's author wrote; often empty
  PictureFormat format;
  std::span<const std::byte> bytes;  // as TagEntry::payload
};

[[nodiscard]] bool IsPictureName(std::string_view entry_name);
// What stands between kind and description in the name of an entry.
inline constexpr std::string_view kDescriptionMark = "<subdesc>";
[[nodiscard]] bool IsPicture(const TagEntry& entry);

std::vector<Picture> PicturesOf(const std::vector<TagEntry>& entries);

nlohmann::ordered_json PictureJson(const Picture& picture);

// Such as `image/jpeg, 123 KB, front album cover, "Booklet"`.
std::string PictureText(const Picture& picture);

}  // namespace wavehost
