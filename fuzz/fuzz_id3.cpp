// An ID3v2 tag: parsed into frames and fields, written over itself, and parsed again.
#include <algorithm>

#include "fuzz_target.h"
#include "id3_builder.h"
#include "id3v2/tag.h"
#include "id3v2/tag_bridge.h"

namespace wavecodec::fuzz {

using namespace test;  // NOLINT(google-build-using-namespace)
using namespace id3parser;
using namespace std::string_literals;

std::vector<Seed> Seeds() {
  const std::string text =
      "\1\xFF\xFE"
      "A\0\x3D\xD8\0\xDE\0\0\xFF\xFE"
      "B\0\0\0"s;
  const std::string picture =
      "\0image/jpeg\0\3cover\0\xFF\xD8\xFF\xE0"
      "data\xFF"s;
  const std::string comment =
      "\3eng"
      "iTunNORM\0 00000001 00000002\0"s;
  const std::string rating = "owner@example.org\0\xC4\0\0\0\7"s;
  const std::string frames3 =
      Text3("TIT2", "Title") + V3("TPE1", text) + V3("COMM", comment) + Text3("TYER", "2026") +
      Text3("TDAT", "2111") + Text3("TIME", "1200") + Text3("TCON", "(17)Rock;(4)") +
      Text3("TRCK", "3/12") + V3("POPM", rating) + V3("APIC", picture) +
      V3("WXXX", "\0site\0http://example.org/"s) + V3("TXXX", "\0REPLAYGAIN_TRACK_GAIN\0-3.2 dB"s) +
      V3("PRIV", "own\0\1\2"s) + V3("MCDI", std::string(20, '\4')) +
      V3("USLT", "\0engd\0la la\r\nla"s);
  const std::string date =
      "\0"
      "2026-11-21T12:00:00"s;
  const std::string frames4 = V4("TIT2", "\3Title\0Second"s) + V4("TDRC", date) +
                              V4("TIPL", "\3mix\0me\0"s) + V4("TXXX", "\2\0d\0\0\0v"s) +
                              V4("COMM", comment, 3) +
                              V4("APIC", BE(20, 4) + "\0image/png\0\4\0\xFF\0\xE0"s, 3) +
                              V4("CHAP", "ch\0" + std::string(16, '\0') + V4("TIT2", "\0Chapter"s));
  const std::string frames2 = V2("TT2", "\0Title"s) + V2("PIC", "\0PNG\3\0data"s) +
                              V2("COM", "\0engd\0text"s) + V2("TDA", date.substr(0, 5));
  std::string sync3 = frames3;
  for (size_t at = 0; (at = sync3.find('\xFF', at)) != std::string::npos; at += 2) {
    sync3.insert(at + 1, 1, '\0');
  }
  const std::string padding(64, '\0');
  std::vector<Seed> seeds = {
      {"3", Tag(3, 0, frames3)},
      {"3 padded", Tag(3, 0, frames3 + padding)},
      {"3 unsynchronised", Tag(3, 0x80, sync3)},
      {"3 extended", Tag(3, 0x40, BE(6, 4) + padding.substr(0, 6) + frames3)},
      {"3 experimental", Tag(3, 0x20, frames3) + "behind"},
      {"4", Tag(4, 0, frames4)},
      {"4 unsynchronised", Tag(4, 0x80, frames4 + padding)},
      {"4 extended", Tag(4, 0x40, SyncSafe(6) + BE(0x0100, 2) + frames4)},
      {"4 footer", Tag(4, 0x10, frames4) + "3DI" + padding.substr(0, 7)},
      {"2", Tag(2, 0, frames2)},
      {"2 unsynchronised", Tag(2, 0x80, frames2 + padding)},
      {"3 with a frame of 2", Tag(3, 0, V3("TT2\0"s, "\0Title"s) + frames3)},
      {"4 with frames of 3", Tag(4, 0, frames3)},
      {"a data length and no data: written as an empty frame",
       Tag(4, 0, V4("PRIV", SyncSafe(0), 1) + frames4)},
      {"3 with frames of 4", Tag(3, 0, frames4)},
  };
  for (Seed& seed : seeds) seed.Bytes.insert(0, 1, static_cast<char>(seed.Bytes.size() % 8));
  return seeds;
}

namespace {

// Bytes that pose as a file.
class MemoryFile : public XFile {
 public:
  explicit MemoryFile(std::string_view bytes) : Bytes(bytes) {
    SetOpened(static_cast<int64_t>(bytes.size()));
  }

 protected:
  size_t ReadAt(void* buffer, size_t /*needed*/, size_t room, int64_t position) const override {
    return Bytes.copy(static_cast<char*>(buffer), room,
                      std::min(static_cast<size_t>(position), Bytes.size()));
  }

 private:
  std::string_view Bytes;
};

// Reads the tag and writes it over itself; empty when there is none.
std::string Rewritten(std::string_view bytes, uint8_t options) {
  MemoryFile file(bytes);
  NTag tags;
  TagID3v2 bridge(file, 0, bytes.size());
  if ((options & 1) != 0) bridge.SetOption(L"ID3v2EncodeUni");
  if ((options & 2) != 0) bridge.SetOption(L"ID3v2EncodeUTF8");
  if ((options & 4) != 0) bridge.SetOption(L"WriteStrictYearDate");
  bridge.SetAlign(1U + (options >> 3 & 1));
  const bool whole = bridge.Read(tags);
  // A whole tag, told by its version, or nothing.
  Check(tags.FindElement("TagVersion").has_value() == whole && (tags.Count() != 0) == whole);
  t_tag tag;
  const bool imported = ImportTag(tag, file, 0);
  Check((imported || !whole) && (tag.Revision() != revisionNone) == imported);
  XMem made;
  if (!whole) return {};
  Check(bridge.MakeTag(made, tags));
  return std::string(Text(made.Data(), made.Size()));
}

}  // namespace
}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wavecodec::fuzz;
  std::string_view input = Text(data, size);
  const uint8_t options = TakeByte(input);
  const std::string written = Rewritten(input, options);
  // From then on nothing changes any more.
  if (!written.empty()) Check(Rewritten(written, options) == written);
  return 0;
}
