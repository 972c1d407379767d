#include "picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "text.h"

namespace wavehost {
namespace {

constexpr std::string_view kPrefix = "_albumart_";

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

// By APIC picture type (ID3v2.3, 4.15), with the short words that people use.
struct Kind {
  std::string_view name;
  std::string_view word;
};

constexpr Kind kKinds[] = {
    {"Undefined", "other"},
    {"32x32 Icon", "icon"},
    {"Other Icon", "other-icon"},
    {"Front Album Cover", "front"},
    {"Back Album Cover", "back"},
    {"Leaflet Page", "leaflet"},
    {"Media", "media"},
    {"Lead Artist", "lead"},
    {"Artist", "artist"},
    {"Conductor", "conductor"},
    {"Band", "band"},
    {"Composer", "composer"},
    {"Writer", "writer"},
    {"Recording Location", "location"},
    {"During Recording", "recording"},
    {"During Performance", "performance"},
    {"Video Capture", "video"},
    {"Illustration", "illustration"},
    {"Artist Logo", "logo"},
    {"Publisher Logo", "publisher"},
};

PictureFormat FormatOf(std::span<const std::byte> bytes) {
  return KnownPictureFormat(bytes).value_or(PictureFormat{"application/octet-stream", ".bin"});
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

std::optional<PictureFormat> KnownPictureFormat(std::span<const std::byte> bytes) {
  constexpr size_t kNeeded = 16;
  const std::string_view start(reinterpret_cast<const char*>(bytes.data()),
                               std::min(bytes.size(), kNeeded));
  for (const Signature& signature : kSignatures) {
    if (start.size() < signature.offset + signature.bytes.size()) continue;
    if (start.substr(signature.offset).starts_with(signature.bytes)) return signature.format;
  }
  return std::nullopt;
}

std::optional<std::string_view> PictureKind(std::string_view word) {
  for (const Kind& kind : kKinds) {
    if (SameName(word, kind.name) || SameName(word, kind.word)) return kind.name;
  }
  return std::nullopt;
}

std::string PictureKindWords(size_t columns) {
  std::string text;
  size_t line = 0;
  for (const Kind& kind : kKinds) {
    if (!text.empty()) text += ',';
    const bool is_full = line + kind.word.size() > columns;
    if (!text.empty()) text += is_full ? '\n' : ' ';
    if (is_full) line = 0;
    text += kind.word;
    line += kind.word.size() + 2;
  }
  return text;
}

std::string PictureEntryName(size_t index, std::string_view kind) {
  return fmt::format("{}{}_{}", kPrefix, index, kind);
}

bool IsPictureName(std::string_view entry_name) {
  return entry_name.size() > kPrefix.size() &&
         SameName(entry_name.substr(0, kPrefix.size()), kPrefix);
}

bool IsPicture(const TagEntry& entry) {
  return !entry.payload.empty() && IsPictureName(entry.name);
}

std::vector<Picture> PicturesOf(const std::vector<TagEntry>& entries) {
  std::vector<Picture> pictures;
  for (const TagEntry& entry : entries) {
    if (!IsPicture(entry)) continue;
    Picture picture;
    picture.entry = entry.name;
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
