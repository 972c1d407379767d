// The broadcast extension chunk `bext` (EBU Tech 3285): its six text fields and the time reference.
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/xmem.h"
#include "tags/set/tag_set.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// All work on memory: the body of the chunk. The version is told apart; UMID, loudness and reserved
// bytes are not looked at.
class clRIFFBEXTChunk {
 public:
  // Replaces `tags` by the fields of the body. False when it is shorter than its fixed part.
  static bool InitFrom(const uint8_t* body, size_t size, NTag& tags, const STNStdReport& report);
  // Makes a body of the tags; false, and an empty one, when none of them belongs here. Longer
  // values than a field holds are cut.
  static bool TagsToBEXT(XMem& out, const NTag& tags, const STNStdReport& report);
  // Takes over from the body that one of TagsToBEXT replaces what that does not say, the version,
  // UMID, loudness and reserved bytes, and the bytes of every field that says the same.
  static bool KeepOldBytes(XMem& body, const XMem& replaced);
  // Removes the tags that belong here.
  static void RemoveTagsFromList(NTag& tags, const STNStdReport& report);
  // The version field; 0 when the body is too short to have one.
  static uint16_t Version(const uint8_t* body, size_t size);

  // Adds the text of a field of `max_length` bytes, trimmed, unless it is empty.
  static void AddElement(std::string_view name, const uint8_t* bytes, size_t max_length,
                         NTag& tags);
  // Puts a text into a field that was cleared before; a text that fills it has no terminator.
  static void StoreBEXT(uint8_t* field, size_t max_length, std::string_view text);
};

}  // namespace wavecodec
