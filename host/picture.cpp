#include "picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "text.h"

namespace wavehost {
namespace {

constexpr std::string_view kPrefix = "_albumart_";
constexpr std::string_view kDescriptionMark = "<subdesc>";

struct Signature {
  size_t offset;
  std::string_view bytes;
  PictureFormat format;
};

constexpr Signature kSignatures[] = {
    {0, "\xFF\xD8\xFF", {"image/jpeg", ".jpg"}},
    {0, "\x89PNG\r\n\x1A\n", {"image/png", ".png"}},
    {0, "GIF87a", {"image/gif", ".gif"}},
    {0, "GIF89a", {"image/gif", ".gif"}},
    {8, "WEBP", {"image/webp", ".webp"}},
    {0, "BM", {"image/bmp", ".bmp"}},
    {0, {"II\x2A\x00", 4}, {"image/tiff", ".tiff"}},
    {0, {"MM\x00\x2A", 4}, {"image/tiff", ".tiff"}},
};

PictureFormat FormatOf(std::span<const std::byte> bytes) {
  constexpr size_t kNeeded = 16;
  const std::string_view start(reinterpret_cast<const char*>(bytes.data()),
                               std::min(bytes.size(), kNeeded));
  for (const Signature& signature : kSignatures) {
    if (start.size() < signature.offset + signature.bytes.size()) continue;
    if (start.substr(signature.offset).starts_with(signature.bytes)) return signature.format;
  }
  return {"application/octet-stream", ".bin"};
}

bool IsPicture(const TagEntry& entry) {
  const std::string_view name = entry.name;
  return !entry.payload.empty() && name.size() > kPrefix.size() &&
         SameName(name.substr(0, kPrefix.size()), kPrefix);
}

// Takes apart _albumart_NUMBER_KIND<subdesc>DESCRIPTION; a missing part stays as it is.
void TakeName(std::string_view text, Picture& picture) {
  text.remove_prefix(kPrefix.size());
  const size_t mark = text.find('_', 1);
  std::from_chars(text.data(), text.data() + std::min(mark, text.size()), picture.index);
  if (mark == std::string_view::npos) return;
  text.remove_prefix(mark + 1);
  const size_t description = text.find(kDescriptionMark);
  picture.kind = text.substr(0, description);
  if (description != std::string_view::npos) {
    picture.description = text.substr(description + kDescriptionMark.size());
  }
}

}  // namespace

std::vector<Picture> PicturesOf(const std::vector<TagEntry>& entries) {
  std::vector<Picture> pictures;
  for (const TagEntry& entry : entries) {
    if (!IsPicture(entry)) continue;
    Picture picture;
    picture.index = pictures.size() + 1;
    picture.format = FormatOf(entry.payload);
    picture.bytes = entry.payload;
    TakeName(entry.name, picture);
    pictures.push_back(std::move(picture));
  }
  return pictures;
}

nlohmann::ordered_json PictureJson(const Picture& picture) {
  return {{"index", picture.index},
          {"kind", picture.kind},
          {"description", picture.description},
          {"mime", picture.format.mime},
          {"bytes", picture.bytes.size()}};
}

std::string PictureText(const Picture& picture) {
  std::string text = fmt::format("{}, {}", picture.format.mime, SizeText(picture.bytes.size()));
  if (!picture.kind.empty() && !SameName(picture.kind, "Undefined"))
    text += fmt::format(", {}", LowerASCII(picture.kind));
  if (!picture.description.empty())
    text += fmt::format(", \"{}\"", Displayable(picture.description));
  return text;
}

}  // namespace wavehost
