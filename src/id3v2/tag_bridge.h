// The bridge between the ID3v2 library and the module's tag set. No ID3v2 exception passes it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/xfile.h"
#include "support/xmem.h"
#include "tags/set/tag_set.h"

namespace wavecodec {

namespace id3parser {
class t_tag;
struct t_picture;

// Bytes of the tag whose 10-byte header lies at `header`, its header and footer included; 0 when it
// is no header of a tag.
uint64_t TagSizeOf(const uint8_t* header);

// Parses the tag at a position of an open file; false, and an empty tag, when it is none.
bool ImportTag(t_tag& tag, XFile& file, int64_t position);

// What stands between the values of one field in the tag set.
inline constexpr char kBetweenValues = '\r';
// The kind of a picture that has no kind.
inline constexpr std::string_view kUndefinedKind = "Undefined";
inline constexpr std::string_view kSubDescription = "<subdesc>";

// The name of a picture in the tag set from behind its number on.
std::string PictureLabel(const t_picture& picture);
}  // namespace id3parser

// The ID3v2 tag that lies in a stretch of a file, such as the data of an `id3 ` chunk.
class TagID3v2 {
 public:
  // The tag begins at `position`; its stretch has `room` bytes.
  TagID3v2(XFile& file, int64_t position, uint64_t room);

  [[nodiscard]] static const wchar_t* GetTagName() { return L"ID3v2"; }
  // Bytes of the tag by its own header, which may be more than there is room for; 0 without a tag.
  [[nodiscard]] uint64_t GetID3v2TagSize();
  [[nodiscard]] bool HasTag() { return GetID3v2TagSize() != 0; }
  // Replaces `tags` by what the tag holds: its fields, each name once, values of one field joined
  // by a carriage return; the entry "TagVersion"; its pictures, numbered from 1; a CD identifier as
  // "_cdtoc". False, and an empty set, when there is no whole tag.
  bool Read(NTag& tags);

  // How tags are written, by a key: "ID3v2EncodeUni", "ID3v2EncodeUTF8" (else Windows-1252);
  // "ID3v2WriteV24" (else, as with "ID3v2WriteV22" and "ID3v2WriteV221", a new tag is 2.3);
  // "WriteStrictYearDate". Others do nothing, such as "WriteFullDateInYearTag": full dates are
  // always written. Text and frames that are in the tag already stay as they are.
  void SetOption(const wchar_t* key);
  // What the size of a written tag is a multiple of.
  void SetAlign(uint32_t alignment) { Align = alignment != 0 ? alignment : 1; }

  // Makes the tag that has the place of the present one when `tags` are all its fields and pictures
  // from now on. It keeps the revision (2.2 becomes 2.3), the frames of unchanged fields and
  // pictures, and those that stand for no field. Empty when nothing is left. False, and `out`
  // empty, when the present tag cannot be read, the new one is too large, or there is no memory.
  [[nodiscard]] bool MakeTag(XMem& out, const NTag& tags);
  // Puts that tag into the file, what lies behind it moves. False when it fails.
  [[nodiscard]] bool Write(const NTag& tags);
  // Take a tag, or a field or picture of it, out of the file; true when there is none, too.
  [[nodiscard]] bool DeleteAllTags();
  [[nodiscard]] bool DeleteATag(const wchar_t* name);

 private:
  // Makes the first `bytes` bytes of the stretch be in memory.
  bool Load(uint64_t bytes);
  // Bytes of the file that a new tag replaces. False when the file cannot be read.
  bool Measure(uint64_t& size);
  // The present tag; an empty new one when there is none that can be parsed. False when the file
  // cannot be read.
  bool LoadTag(id3parser::t_tag& tag);
  bool Replace(uint64_t held, const XMem& tag);

  XFile& File;
  const int64_t Position;
  uint64_t Room;
  XMem Bytes;  // of the stretch, as far as loaded
  uint8_t Encoding = 0;
  uint32_t NewRevision = 3;
  bool StrictYearDate = false;
  uint32_t Align = 1;
};

}  // namespace wavecodec
