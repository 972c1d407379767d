// Tags as bytes, and what the parser makes of them.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "id3_frames.h"

namespace wavecodec::id3parser {
namespace {

using namespace std::string_literals;
using namespace test;

struct Picky : parseCallback {
  bool wantFrame(uint32_t id) override { return id != 0 && id != frameID("PRIV"); }
};

class MemoryStream : public streamIn {
 public:
  explicit MemoryStream(std::string_view bytes) : Left(bytes) {}
  size_t read(void* buffer, size_t size) override {
    const size_t given = Left.copy(static_cast<char*>(buffer), size);
    Left.remove_prefix(given);
    return given;
  }

 private:
  std::string_view Left;
};

// The frames and the revision, of a block as of a stream; "!" at the end for a parse error.
std::string Parsed(const std::string& bytes, parseCallback&& want = {}) {
  MemoryStream stream(bytes);
  std::string results[2];
  for (std::string& result : results) {
    t_tag tag;
    std::string error;
    try {
      &result == results ? tag.Parse_MemBlock(bytes.data(), bytes.size(), want)
                         : tag.Parse(stream, want);
    } catch (const parseError&) {
      error = "!";
    }
    result = Show(tag) + "|" + std::to_string(tag.Revision()) + error;
  }
  EXPECT_EQ(results[0], results[1]);
  return results[0];
}

std::string Tag2(const std::string& frames) { return Tag(2, 0, Frames(2, frames)); }
std::string Tag3(const std::string& frames) { return Tag(3, 0, Frames(3, frames)); }

TEST(ID3v2Parser, ReadsAllVersions) {
  const std::string a3 = Frames(3, "TIT2 ~a"), a4 = Frames(4, "TIT2 ~a");
  const struct {
    const char* What;
    std::string Bytes;
    const char* Expected;
  } cases[] = {
      {"no frames", Tag3(""), "|3"},
      {"2.2", Tag2("TT2 ~a; TAL ; COM ~engx"), "TIT2 ~a; COMM ~engx|2"},
      {"2.2, names of its own", Tag2("TDA x; tt2 y"), "~~~~ x; ~~~~ y|2"},
      {"2.2, JPG", Tag2("PIC \1JPG\3z~pic"), "APIC \1image/jpeg~\3z~pic|2"},
      {"2.2, PNG", Tag2("PIC ~PNG"), "APIC ~image/png~|2"},
      {"2.2, jpg", Tag2("PIC ~jpg\3"), "APIC ~image/x-unknown~\3|2"},
      {"2.2, wanted frames", Tag2("TDA x; TT2 y"), "TIT2 y|2"},
      {"2.3", Tag3("TIT2 ~a; TALB ; PRIV p"), "TIT2 ~a; PRIV p|3"},
      {"2.3, experimental and extended", Tag(3, 0x60, BE(6, 4) + "ABCDEF" + a3), "TIT2 ~a|3"},
      {"2.3, names of 2.2", Tag3("TT2~ a; TDA~ b"), "TIT2 a; ~~~~ b|3"},
      {"2.3, encrypted, grouped, compressed",
       Tag(3, 0, V3("TIT1", "a", 0x40) + V3("TIT2", "b", 0x20) + V3("TIT3", "size+", 0x80) + a3),
       "TIT2 ~a|3"},
      {"2.3, status flags", Tag(3, 0, V3("TIT2", "a", 0xFF1F)), "TIT2 a|3"},
      {"2.3, wanted frames", Tag(3, 0, V3("PRIV", "x", 0x80) + a3), "TIT2 ~a|3"},
      {"2.4", Tag(4, 0x90, a4 + Frames(4, "TALB ; TT2~ \xFF~\xE0")), "TIT2 ~a; TIT2 \xFF~\xE0|4"},
      {"2.4, extended", Tag(4, 0x40, SyncSafe(6) + "xx" + a4), "TIT2 ~a|4"},
      {"2.4, flags",
       Tag(4, 0,
           V4("TIT1", "a", 0x4000) + V4("TIT1", "a", 0x2000) + V4("TIT1", "a", 0x1000) +
               V4("TIT1", "a", 0x40) + V4("TIT1", "a", 4) + V4("TIT1", "a", 0x4008) + a4),
       "TIT2 ~a|4"},
      {"2.4, data length and unsynchronisation",
       Tag(4, 0,
           V4("TIT1", "sizea", 1) + V4("TIT2", "\xFF\0\xE0\xFF\x12"s, 2) +
               V4("TIT3", "\xFF\xFF\xFF\xFF\xFF\0\0"s, 3) + V4("TALB", "size", 3)),
       "TIT1 a; TIT2 \xFF\xE0\xFF\x12; TIT3 \xFF~; TALB |4"},
      {"2.4, wanted frames", Tag(4, 0, V4("PRIV", "x", 8) + a4), "TIT2 ~a|4"},
      {"2.2, unsynchronised", Tag(2, 0x80, V2("TT2", "\xFF\xE0@@").insert(7, "\0"s)),
       "TIT2 \xFF\xE0@@|2"},
      {"2.3, unsynchronised",
       Tag(3, 0xC0,
           BE(3, 4) + "x\xFF\0y"s + V3("TIT2", "\xFF\0\xFF"s).insert(11, "\0"s) + "\0"s + a3),
       "TIT2 \xFF~\xFF; TIT2 ~a|3"},
      {"padding", Tag(3, 0, a3 + "\0\0\0\0TIT2garbage"s), "TIT2 ~a|3"},
      {"fault behind the padding", Tag(3, 0x80, a3 + "\0\0\0\0\xFF\xFF"s), "TIT2 ~a|3"},
      {"ends inside a name", Tag(3, 0, a3 + "TAL"), "TIT2 ~a|3"},
      {"cut at a frame", Tag(3, 0, a3 + a3).substr(0, 22), "TIT2 ~a|3"},
      {"bytes behind the tag", Tag(4, 0, a4) + a4, "TIT2 ~a|4"},
  };
  for (const auto& c : cases) {
    const bool picky = std::string(c.What).ends_with("wanted frames");
    EXPECT_EQ(picky ? Parsed(c.Bytes, Picky()) : Parsed(c.Bytes), c.Expected) << c.What;
  }
}

TEST(ID3v2Parser, RefusesWhatIsDamaged) {
  const std::string a2 = V2("TT2", "a"), a3 = V3("TIT2", "a"), a4 = V4("TIT2", "a");
  const std::pair<const char*, std::string> at_once[] = {
      {"short header", Tag3("").substr(0, 9)},
      {"magic", "id3" + Tag3("").substr(3)},
      {"version 1", Tag(1, 0, "")},
      {"version 5", Tag(5, 0, "")},
      {"2.2 compressed", Tag(2, 0x40, a2)},
      {"2.3 flag", Tag(3, 0x10, a3)},
      {"2.4 flag", Tag(4, 8, a4)},
      {"tag size", "ID3\3\0\0\0\0\x80\0"s},
      {"2.3 extended header, short size", Tag(3, 0x40, "abc")},
      {"2.3 extended header, short", Tag(3, 0x40, BE(20, 4) + a3)},
      {"2.4 extended header, too small", Tag(4, 0x40, SyncSafe(5) + a4)},
      {"2.4 extended header, top bit", Tag(4, 0x40, "\0\0\0\x86xx"s + a4)},
  };
  for (const auto& [what, bytes] : at_once) EXPECT_EQ(Parsed(bytes), "|0!") << what;
  const std::pair<const char*, std::string> behind_a_frame[] = {
      {"2.2 short frame header", Tag(2, 0, a2 + "TT3\0"s)},
      {"2.2 short data", Tag(2, 0, a2 + "TT3\0\0\2x"s)},
      {"2.2 short data of a frame not kept", Tag(2, 0, a2 + "XYZ\0\0\2x"s)},
      {"2.2 picture encoding", Tag(2, 0, a2 + V2("PIC", "\2JPG\3"s))},
      {"2.2 picture too short", Tag(2, 0, a2 + V2("PIC", "\0JP"s))},
      {"2.3 short frame header", Tag(3, 0, a3 + "TIT3")},
      {"2.3 short data", Tag(3, 0, a3 + V3("TIT3", "abc")).substr(0, 33)},
      {"2.3 size of 64 MiB", Tag(3, 0, a3 + "TIT3\4\0\0\0\0\0"s)},
      {"2.3 compressed, too short", Tag(3, 0, a3 + V3("TIT3", "abc", 0x80))},
      {"2.4 short data", Tag(4, 0, a4 + V4("TIT3", "abc", 2)).substr(0, 33)},
      {"2.4 size, top bit", Tag(4, 0, a4 + "TIT3\0\0\0\x80\0\0"s)},
      {"2.4 size of 64 MiB", Tag(4, 0, a4 + "TIT3\x20\0\0\0\x40\0"s)},
      {"2.4 data length, too short", Tag(4, 0, a4 + V4("TIT3", "abc", 1))},
      {"2.4 compressed", Tag(4, 0, a4 + V4("TIT3", "abc", 8))},
      {"2.4 false synchronisation", Tag(4, 0, a4 + V4("TIT3", "\xFF\xE0", 2))},
      {"2.4 lone 0xFF", Tag(4, 0, a4 + V4("TIT3", "a\xFF", 2))},
      {"false synchronisation in data", Tag(3, 0x80, a3 + V3("TIT3", "a\xFF\xFF"))},
      {"lone 0xFF inside a name", Tag(3, 0x80, a3 + "TI\xFF")},
      {"lone 0xFF inside padding", Tag(2, 0x80, a2 + "\0\0\xFF"s)},
  };
  for (const auto& [what, bytes] : behind_a_frame) EXPECT_EQ(Parsed(bytes), "TIT2 a|0!") << what;
}

TEST(ID3v2Parser, ANewRevisionKeepsPicturesAndComments) {
  t_tag tag = TagOf(revision4, "TIT2 \3a; COMM \3fre~b; USLT \3f; USLT ~deu~c; APIC x; TIT2 \3a");
  tag.SetRevision(revision4);
  EXPECT_EQ(tag.Frames().size(), 6U);
  EXPECT_EQ(tag.RemoveFrameID(frameID("TIT2")), 2U);
  tag.SetRevision(revision3);
  EXPECT_EQ(Show(tag), "COMM \1fre\xFF\xFE~~\xFF\xFE\x62~~~; USLT ~deu~c; APIC x");
}

// A tag may say that it has 256 MiB: only what is there is read, and frames cost no more than that.
TEST(ID3v2Parser, HandsFramesOnWhereTheyLie) {
  std::string bytes = "ID3\3\0\0\x7F\x7F\x7F\x7F"s;
  for (int i = 0; i < 1000; ++i) bytes += V3("TIT2", "\0a"s);
  size_t inside = 0;
  parseCallback all;
  parseTag(bytes.data(), bytes.size(), all, [&](const t_frameView& frame, t_tagRevision revision) {
    const auto* data = reinterpret_cast<const char*>(frame.data);
    inside += size_t{revision == revision3 && data == &bytes[20 + 12 * inside]};
  });
  EXPECT_EQ(inside, 1000U);
}

}  // namespace
}  // namespace wavecodec::id3parser
