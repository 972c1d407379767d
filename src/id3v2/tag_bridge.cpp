#include "id3v2/tag_bridge.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "id3v2/meta_map.h"
#include "id3v2/tag.h"
#include "support/names.h"

namespace wavecodec {
namespace id3parser {
namespace {

// A tag in a file, from the file's position on.
class myStreamIn final : public streamIn {
 public:
  explicit myStreamIn(XFile& file) : file_(file) {}
  size_t read(void* buffer, size_t size) override { return file_.ReadSmall(buffer, size); }

 private:
  XFile& file_;
};

}  // namespace

uint64_t TagSizeOf(const uint8_t* header) {
  constexpr uint8_t kUnknownFlags = 0x0F;
  constexpr uint8_t kFooter = 0x10;
  const uint8_t flags = header[5];
  const uint8_t* size = header + 6;
  if (header[0] != 'I' || header[1] != 'D' || header[2] != '3' || (flags & kUnknownFlags) != 0 ||
      std::any_of(size, size + 4, [](uint8_t byte) { return byte >= 0x80; })) {
    return 0;
  }
  uint64_t bytes = 0;
  for (int i = 0; i < 4; ++i) bytes = bytes << 7 | size[i];
  return kTagHeaderSize + bytes + ((flags & kFooter) != 0 ? kTagHeaderSize : 0);
}

bool ImportTag(t_tag& tag, XFile& file, int64_t position) {
  try {
    parseCallback keep_all;
    myStreamIn in(file);
    if (file.IsOpen() && file.SetPosition(position)) {
      tag.Parse(in, keep_all);
      return true;
    }
  } catch (const std::runtime_error&) {
  }
  tag.Reset(revisionNone);
  return false;
}

std::string PictureLabel(const t_picture& picture) {
  const XStr kind = AlbumArtAPICPicTypeToElementDescription(picture.type);
  std::string label = kind.empty() ? '_' + std::string(kUndefinedKind) : ToUtf8(kind);
  if (!picture.description.empty()) label.append(kSubDescription).append(picture.description);
  return label;
}

}  // namespace id3parser

namespace {

using namespace id3parser;

// The pictures of a tag, and its CD identifier, as entries of the tag set.
class BinaryFrames {
 public:
  void Frame(const t_frameView& frame) {
    // One that is no picture after all is left out, and the others are numbered on.
    if (t_picture picture; frame.isPicture() && frame.readPicture(picture)) AddPicture(picture);
    if (frame.id == frameID("MCDI")) {
      CDIdentifiers.AddTag(tag_name::kCDToc, {frame.data, frame.size});
    }
  }
  void MoveTo(NTag& tags) {
    for (NTag* entries : {&Pictures, &CDIdentifiers}) tags.MergeFrom(std::move(*entries), false);
  }

 private:
  void AddPicture(const t_picture& picture) {
    std::string name{tag_name::kAlbumArt};
    name += std::to_string(Pictures.Count() + 1) + PictureLabel(picture);
    Pictures.AddTag(name, {picture.data, picture.size});
  }

  NTag Pictures;
  NTag CDIdentifiers;
};

void AddFields(const metaMap& map, NTag& tags) {
  for (const metaMap::field& field : map.fields()) {
    // A user text frame of such a name would pose as a picture, a disc, a chunk or the version.
    if (isReservedName(field.name)) continue;
    const metaMap::valueList& values = field.values;
    if (values.count() == 1) {
      tags.AddTag(field.name, values.first());
    } else {
      tags.AddTag(field.name, values.joined(kBetweenValues));
    }
  }
}

}  // namespace

TagID3v2::TagID3v2(XFile& file, int64_t position, uint64_t room)
    : File(file), Position(position), Room(room) {}

bool TagID3v2::Load(uint64_t bytes) {
  if (bytes <= Bytes.Size()) return true;
  const auto size = static_cast<size_t>(bytes);
  const bool has_room = bytes <= Room && Bytes.SetSize(size);
  if (has_room && File.SetPosition(Position) && File.ReadSmall(Bytes.Data(), size) == size) {
    return true;
  }
  if (bytes <= Room && !has_room) File.SetReadFailed();
  Bytes.Free();
  return false;
}

uint64_t TagID3v2::GetID3v2TagSize() {
  // A stretch of ordinary size is loaded whole, with one read. What is claimed beyond that is only
  // believed when the tag's header says the same.
  constexpr uint64_t kOrdinary = uint64_t{1} << 20;
  if (Room < kTagHeaderSize || !Load(Room <= kOrdinary ? Room : kTagHeaderSize)) return 0;
  return TagSizeOf(Bytes.Data());
}

bool TagID3v2::Read(NTag& tags) {
  tags.Destroy();
  const uint64_t size = GetID3v2TagSize();
  if (size == 0 || !Load(size)) return false;
  try {
    metaMap map;
    metaReader reader(map);
    BinaryFrames binary;
    parseCallback keep_all;
    const t_tagRevision revision =
        parseTag(Bytes.Data(), static_cast<size_t>(size), keep_all,
                 [&](const t_frameView& frame, t_tagRevision frame_revision) {
                   reader.frame(frame, frame_revision);
                   binary.Frame(frame);
                 });
    reader.finish();
    Bytes.Free();  // nothing points there any more
    AddFields(map, tags);
    tags.AddTag(kVersionField, "ID3v2." + std::to_string(revision));
    binary.MoveTo(tags);
    return true;
  } catch (const std::runtime_error&) {  // not a whole tag
    tags.Destroy();
    return false;
  }
}

}  // namespace wavecodec
