// The bridge between the ID3v2 library and the module's tag set. No ID3v2 exception passes it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/xfile.h"
#include "tags/set/tag_set.h"

namespace wavecodec {

namespace id3parser {
class t_tag;

// Bytes of the tag whose 10-byte header lies at `header`, its header and footer included; 0 when it
// is no header of a tag.
uint64_t TagSizeOf(const uint8_t* header);

// Parses the tag at a position of an open file; false, and an empty tag, when it is none.
bool ImportTag(t_tag& tag, XFile& file, int64_t position);
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

 private:
  // Makes the first `bytes` bytes of the stretch be in memory.
  bool Load(uint64_t bytes);

  XFile& File;
  const int64_t Position;
  const uint64_t Room;
  XMem Bytes;  // of the stretch, as far as loaded
};

}  // namespace wavecodec
