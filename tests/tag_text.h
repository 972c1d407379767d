// Sets of tags as text, "name=value; name==payload" with "~" for a zero in a payload.
#pragma once

#include <string>

#include "id3_builder.h"
#include "tags/set/tag_set.h"

namespace wavecodec::test {

inline std::string Bytes(const XMem& mem) { return {mem.Data(), mem.Data() + mem.Size()}; }
inline std::string Text(const NTag& tags) {
  std::string text;
  for (size_t i = 0; i < tags.Count(); ++i) {
    const NTag::Entry tag = tags.At(i);
    text.append(i == 0 ? "" : "; ").append(tag.Name).append("=").append(tag.Value);
    if (!tag.Data.empty()) text += "=" + Tildes({tag.Data.begin(), tag.Data.end()});
  }
  return text;
}
inline NTag SetOf(const std::string& list) {
  NTag tags;
  for (const std::string& item : Items(list)) {
    const size_t split = item.find('=');
    const std::string name = item.substr(0, split), value = item.substr(split + 1);
    if (value.starts_with('=')) {
      const std::string payload = Zeroed(value.substr(1));
      tags.AddTag(name, {reinterpret_cast<const uint8_t*>(payload.data()), payload.size()});
    } else {
      tags.AddTag(name, value);
    }
  }
  return tags;
}
// Of a tag block.
inline NTag SetIn(const void* block, size_t size) {
  NTag tags;
  tags.InitFromRawMemory(block, size);
  return tags;
}

}  // namespace wavecodec::test
