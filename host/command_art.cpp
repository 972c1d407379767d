// Puts the pictures of files into files of their own.
#include <fmt/format.h>

#include <filesystem>
#include <string_view>
#include <unordered_map>

#include "commands.h"
#include "console.h"
#include "decoder_session.h"
#include "file_details.h"
#include "output_file.h"
#include "output_plan.h"
#include "source_name.h"
#include "text.h"

namespace wavehost {
namespace {

namespace fs = std::filesystem;

// A kind as part of a file name: letters and digits, all else becomes dashes.
std::string Slug(std::string_view kind) {
  constexpr size_t kMost = 40;
  std::string slug;
  for (const char c : LowerASCII(kind)) {
    const bool is_plain = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
    if (is_plain && slug.size() < kMost) {
      slug += c;
    } else if (!slug.empty() && slug.back() != '-') {
      slug += '-';
    }
  }
  if (slug.ends_with('-')) slug.pop_back();
  return slug.empty() || slug == "undefined" ? "picture" : slug;
}

// Names the picture files of one input.
class PictureNames {
 public:
  explicit PictureNames(const std::string& input) : stem_(OutputStem(input)) {}
  // Such as "concert.front-album-cover-2.jpg": from the second picture of a kind on with a number.
  [[nodiscard]] fs::path NameOf(const Picture& picture) {
    const std::string slug = Slug(picture.kind);
    const size_t number = ++counts_[slug];
    fs::path name = stem_;
    name += fmt::format(".{}{}{}", slug, number == 1 ? "" : fmt::format("-{}", number),
                        picture.format.extension);
    return name;
  }

 private:
  fs::path stem_;
  std::unordered_map<std::string, size_t> counts_;
};

void WritePicture(const fs::path& target, bool force, const Picture& picture) {
  OutputFile output(target, force);
  output.Write(picture.bytes);
  output.Commit();
}

FileResult Extract(const std::string& file, const FileDetails& details, const ArtOptions& options,
                   OutputClaims& claims) {
  nlohmann::ordered_json json = {{"file", file}, {"pictures", nlohmann::ordered_json::array()}};
  std::string text;
  PictureNames names(file);
  if (!details.pictures.empty() && !options.folder.empty()) MakeOutputFolder(options.folder);
  for (const Picture& picture : details.pictures) {
    const fs::path target = options.folder / names.NameOf(picture);
    claims.Claim(target);
    WritePicture(target, options.force, picture);
    nlohmann::ordered_json item = {{"output", target.native()}};
    item.update(PictureJson(picture));
    json["pictures"].push_back(std::move(item));
    text += Displayable(fmt::format("{} -> {}: {}", file, target.native(), PictureText(picture)));
    text += '\n';
  }
  return {JsonLine(json), text};
}

}  // namespace

int RunArt(const CodecModule& module, const CommandLine& line) {
  const GlobalOptions& global = line.global;
  OutputClaims claims(line.files);
  const FileOutput kind = global.json ? FileOutput::Json : FileOutput::Text;
  return ForEachFile(line.files, kind, [&](const std::string& file) {
    DecoderSession session(module, global.report);
    const FileDetails details = OpenDetails(session, file);
    FileResult result = Extract(file, details, line.art, claims);
    if (global.quiet) result.text.clear();
    if (details.pictures.empty() && !global.quiet) {
      PrintNote(fmt::format("wavehost: no pictures in {}\n", Displayable(file)));
    }
    return result;
  });
}

}  // namespace wavehost
