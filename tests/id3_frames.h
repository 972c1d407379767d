// The module's ID3v2 tags as text: frames as "TIT2 ~a; PRIV x" with "~" for a zero, fields as
// "name=value; name==payload".
#pragma once

#include <string>
#include <vector>

#include "id3v2/tag.h"
#include "id3v2/tag_bridge.h"
#include "support/xtemp_file.h"
#include "tag_text.h"

namespace wavecodec::test {

inline void Show(std::string& text, const id3parser::t_frameView& frame) {
  text += (text.empty() ? "" : "; ") + Tildes(BE(frame.id, 4)) + " ";
  text += Tildes({frame.data, frame.data + frame.size});
}
inline std::string Show(const id3parser::t_tag& tag) {
  std::string text;
  for (const id3parser::t_frame& frame : tag.Frames()) Show(text, frame.view());
  return text;
}
// Of a tag as bytes.
inline std::string Show(const std::string& tag) {
  std::string text;
  id3parser::parseCallback all;
  parseTag(tag.data(), tag.size(), all,
           [&](const auto& frame, id3parser::t_tagRevision) { Show(text, frame); });
  return text;
}
inline id3parser::t_tag TagOf(id3parser::t_tagRevision revision, const std::string& frames) {
  id3parser::t_tag tag;
  tag.Reset(revision);
  for (const std::string& item : Items(frames)) {
    uint32_t id = 0;
    for (const char c : Zeroed(item.substr(0, 4))) id = id << 8 | static_cast<uint8_t>(c);
    const std::string payload = Zeroed(item.substr(5));
    tag.AddFrame(id)->data.append_fromptr(payload.data(), payload.size());
  }
  return tag;
}

using Options = std::vector<const wchar_t*>;

// A tag in a file with bytes on both sides.
class TagFile {
 public:
  explicit TagFile(const std::string& tag = {}, const Options& options = {})
      : Bridge(File, 4, tag.size()) {
    const std::string bytes = "head" + tag + "tail";
    EXPECT_TRUE(File.Write(bytes.data(), bytes.size()));
    for (const wchar_t* option : options) Bridge.SetOption(option);
  }
  std::string Make(const NTag& tags) {
    XMem tag;
    EXPECT_TRUE(Bridge.MakeTag(tag, tags));
    return Bytes(tag);
  }
  NTag Read() {
    NTag tags;
    Bridge.Read(tags);
    return tags;
  }

  XTempFile File;
  TagID3v2 Bridge;
};

inline std::string Made(const std::string& old, const std::string& tags,
                        const Options& options = {}) {
  return TagFile(old, options).Make(SetOf(tags));
}

// What a tag reads as, but for its version.
inline std::string ReadBack(const std::string& tag) {
  NTag tags = TagFile(tag).Read();
  tags.RemoveTag("TagVersion");
  return Text(tags);
}

}  // namespace wavecodec::test
