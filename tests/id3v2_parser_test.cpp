// Tags as bytes, and what the parser makes of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

#include "id3_builder.h"
#include "id3v2/tag.h"

namespace wavecodec::id3parser {
namespace {

using namespace std::string_literals;
using namespace test;

// Each frame as "ID=payload;".
std::string Show(const t_tag& tag) {
  std::string text;
  for (const t_frame& frame : tag.Frames()) {
    const auto* data = reinterpret_cast<const char*>(frame.data.get_ptr());
    text += (frame.id == 0 ? "0" : BE(frame.id, 4)) + "=";
    text += std::string(data, data + frame.data.get_size()) + ";";
  }
  return text;
}

struct Picky : parseCallback {
  bool wantFrame(uint32_t id) override { return id != 0 && id != frameID("PRIV"); }
};

// The frames and the revision; "!" at the end for a parse error.
std::string Parsed(const std::string& bytes, parseCallback&& want = {}) {
  t_tag tag;
  std::string error;
  try {
    tag.Parse_MemBlock(bytes.data(), bytes.size(), want);
  } catch (const parseError&) {
    error = "!";
  }
  return Show(tag) + std::to_string(tag.Revision()) + error;
}

TEST(ID3v2Parser, ReadsAllVersions) {
  const std::string a3 = V3("TIT2", "\0a"s);
  const std::string a4 = V4("TIT2", "\0a"s);
  const struct {
    const char* What;
    std::string Bytes, Expected;
  } cases[] = {
      {"no frames", Tag(3, 0, ""), "3"},
      {"2.2", Tag(2, 0, V2("TT2", "\0a"s) + V2("TAL", "") + V2("COM", "\0engx"s)),
       "TIT2=\0a;COMM=\0engx;2"s},
      {"2.2, a name of its own", Tag(2, 0, V2("TDA", "x") + V2("tt2", "y")), "0=x;0=y;2"},
      {"2.2, JPG", Tag(2, 0, V2("PIC", "\1JPG\3d\0pic"s)), "APIC=\1image/jpeg\0\3d\0pic;2"s},
      {"2.2, PNG", Tag(2, 0, V2("PIC", "\0PNG"s)), "APIC=\0image/png\0;2"s},
      {"2.2, jpg", Tag(2, 0, V2("PIC", "\0jpg\3"s)), "APIC=\0image/x-unknown\0\3;2"s},
      {"2.3", Tag(3, 0, a3 + V3("TALB", "") + V3("PRIV", "p")), "TIT2=\0a;PRIV=p;3"s},
      {"2.3, experimental and extended", Tag(3, 0x60, BE(6, 4) + "ABCDEF" + a3), "TIT2=\0a;3"s},
      {"2.3, names of 2.2", Tag(3, 0, V3("TT2\0"s, "a") + V3("TDA\0"s, "b")), "TIT2=a;0=b;3"},
      {"2.3, encrypted, grouped, compressed",
       Tag(3, 0, V3("TIT1", "a", 0x40) + V3("TIT2", "b", 0x20) + V3("TIT3", "size+", 0x80) + a3),
       "TIT2=\0a;3"s},
      {"2.3, status flags", Tag(3, 0, V3("TIT2", "a", 0xFF1F)), "TIT2=a;3"},
      {"2.4", Tag(4, 0x90, a4 + V4("TALB", "") + V4("TT2\0"s, "\xFF\0\xE0"s)),
       "TIT2=\0a;TIT2=\xFF\0\xE0;4"s},
      {"2.4, extended", Tag(4, 0x40, SyncSafe(6) + "xx" + a4), "TIT2=\0a;4"s},
      {"2.4, flags",
       Tag(4, 0,
           V4("TIT1", "a", 0x4000) + V4("TIT1", "a", 0x2000) + V4("TIT1", "a", 0x1000) +
               V4("TIT1", "a", 0x40) + V4("TIT1", "a", 4) + V4("TIT1", "a", 0x4008) + a4),
       "TIT2=\0a;4"s},
      {"2.4, data length and unsynchronisation",
       Tag(4, 0,
           V4("TIT1", "sizea", 1) + V4("TIT2", "\xFF\0\xE0\xFF\x12"s, 2) +
               V4("TIT3", "\xFF\xFF\xFF\xFF\xFF\0\0"s, 3) + V4("TALB", "size", 3)),
       "TIT1=a;TIT2=\xFF\xE0\xFF\x12;TIT3=\xFF\0;TALB=;4"s},
      {"2.2, unsynchronised", Tag(2, 0x80, V2("TT2", "\xFF\xE0@@").insert(7, "\0"s)),
       "TIT2=\xFF\xE0@@;2"},
      {"2.3, unsynchronised",
       Tag(3, 0xC0,
           BE(3, 4) + "x\xFF\0y"s + V3("TIT2", "\xFF\0\xFF"s).insert(11, "\0"s) + "\0"s + a3),
       "TIT2=\xFF\0\xFF;TIT2=\0a;3"s},
      {"padding", Tag(3, 0, a3 + "\0\0\0\0TIT2garbage"s), "TIT2=\0a;3"s},
      {"fault behind the padding", Tag(3, 0x80, a3 + "\0\0\0\0\xFF\xFF"s), "TIT2=\0a;3"s},
      {"ends inside a name", Tag(3, 0, a3 + "TAL"), "TIT2=\0a;3"s},
      {"cut at a frame", Tag(3, 0, a3 + a3).substr(0, 22), "TIT2=\0a;3"s},
      {"bytes behind the tag", Tag(4, 0, a4) + a4, "TIT2=\0a;4"s},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    EXPECT_EQ(Parsed(c.Bytes), c.Expected);
  }
}

TEST(ID3v2Parser, RefusesWhatIsDamaged) {
  const std::string a2 = V2("TT2", "a");
  const std::string a3 = V3("TIT2", "a");
  const std::string a4 = V4("TIT2", "a");
  const struct {
    const char* What;
    std::string Bytes;
    std::string Before;  // the frames before the fault
  } cases[] = {
      {"short header", Tag(3, 0, "").substr(0, 9), ""},
      {"magic", "id3" + Tag(3, 0, "").substr(3), ""},
      {"version 1", Tag(1, 0, ""), ""},
      {"version 5", Tag(5, 0, ""), ""},
      {"2.2 compressed", Tag(2, 0x40, a2), ""},
      {"2.3 flag", Tag(3, 0x10, a3), ""},
      {"2.4 flag", Tag(4, 8, a4), ""},
      {"tag size", "ID3\3\0\0\0\0\x80\0"s, ""},
      {"2.3 extended header, short size", Tag(3, 0x40, "abc"), ""},
      {"2.3 extended header, short", Tag(3, 0x40, BE(20, 4) + a3), ""},
      {"2.4 extended header, too small", Tag(4, 0x40, SyncSafe(5) + a4), ""},
      {"2.4 extended header, top bit", Tag(4, 0x40, "\0\0\0\x86xx"s + a4), ""},
      {"2.2 short frame header", Tag(2, 0, a2 + "TT3\0"s), "TIT2=a;"},
      {"2.2 short data", Tag(2, 0, a2 + "TT3\0\0\2x"s), "TIT2=a;"},
      {"2.2 short data of a frame not kept", Tag(2, 0, a2 + "XYZ\0\0\2x"s), "TIT2=a;"},
      {"2.2 picture encoding", Tag(2, 0, a2 + V2("PIC", "\2JPG\3"s)), "TIT2=a;"},
      {"2.2 picture too short", Tag(2, 0, a2 + V2("PIC", "\0JP"s)), "TIT2=a;"},
      {"2.3 short frame header", Tag(3, 0, a3 + "TIT3"), "TIT2=a;"},
      {"2.3 short data", Tag(3, 0, a3 + V3("TIT3", "abc")).substr(0, 33), "TIT2=a;"},
      {"2.3 size of 64 MiB", Tag(3, 0, a3 + "TIT3\4\0\0\0\0\0"s), "TIT2=a;"},
      {"2.3 compressed, too short", Tag(3, 0, a3 + V3("TIT3", "abc", 0x80)), "TIT2=a;"},
      {"2.4 short data", Tag(4, 0, a4 + V4("TIT3", "abc", 2)).substr(0, 33), "TIT2=a;"},
      {"2.4 size, top bit", Tag(4, 0, a4 + "TIT3\0\0\0\x80\0\0"s), "TIT2=a;"},
      {"2.4 size of 64 MiB", Tag(4, 0, a4 + "TIT3\x20\0\0\0\x40\0"s), "TIT2=a;"},
      {"2.4 data length, too short", Tag(4, 0, a4 + V4("TIT3", "abc", 1)), "TIT2=a;"},
      {"2.4 compressed", Tag(4, 0, a4 + V4("TIT3", "abc", 8)), "TIT2=a;"},
      {"2.4 false synchronisation", Tag(4, 0, a4 + V4("TIT3", "\xFF\xE0", 2)), "TIT2=a;"},
      {"2.4 lone 0xFF", Tag(4, 0, a4 + V4("TIT3", "a\xFF", 2)), "TIT2=a;"},
      {"false synchronisation in data", Tag(3, 0x80, a3 + V3("TIT3", "a\xFF\xFF")), "TIT2=a;"},
      {"lone 0xFF inside a name", Tag(3, 0x80, a3 + "TI\xFF"), "TIT2=a;"},
      {"lone 0xFF inside padding", Tag(2, 0x80, a2 + "\0\0\xFF"s), "TIT2=a;"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    EXPECT_EQ(Parsed(c.Bytes), c.Before + "0!");
  }
}

TEST(ID3v2Parser, AsksWhichFramesAreWanted) {
  EXPECT_EQ(Parsed(Tag(2, 0, V2("TDA", "x") + V2("TT2", "y")), Picky()), "TIT2=y;2");
  EXPECT_EQ(Parsed(Tag(3, 0, V3("PRIV", "x", 0x80) + V3("TIT2", "y")), Picky()), "TIT2=y;3");
  EXPECT_EQ(Parsed(Tag(4, 0, V4("PRIV", "x", 8) + V4("TIT2", "y")), Picky()), "TIT2=y;4");
}

TEST(ID3v2Parser, ANewRevisionKeepsPicturesAndComments) {
  const std::string bytes = Tag(4, 0,
                                V4("TIT2", "\3a"s) + V4("COMM", "\3fre\0b"s) + V4("USLT", "\3f") +
                                    V4("USLT", "\0deu\0c"s) + V4("APIC", "x") + V4("TIT2", "\3a"s));
  t_tag tag;
  parseCallback all;
  tag.Parse_MemBlock(bytes.data(), bytes.size(), all);
  tag.SetRevision(revision4);
  EXPECT_EQ(tag.Frames().size(), 6U);
  EXPECT_EQ(tag.RemoveFrameID(frameID("TIT2")), 2U);
  tag.SetRevision(revision3);
  EXPECT_EQ(Show(tag),
            "COMM=\1fre\xFF\xFE\0\0\xFF\xFE"
            "b\0\0\0;USLT=\0deu\0c;APIC=x;"s);
  tag.AddFrame(frameID("TIT2"));
  EXPECT_TRUE(Show(tag).ends_with("APIC=x;TIT2=;"));
}

// Gives its bytes in the pieces asked for, and the end where it ends.
class MemoryStream : public streamIn {
 public:
  explicit MemoryStream(const std::string& bytes) : Left(bytes) {}
  size_t read(void* buffer, size_t size) override {
    const size_t given = Left.copy(static_cast<char*>(buffer), size);
    Left.remove_prefix(given);
    return given;
  }

 private:
  std::string_view Left;
};

// A parse from a stream gives what one from memory does, and either a whole tag or an error.
void ExpectSound(const std::string& bytes) {
  const std::string expected = Parsed(bytes);
  MemoryStream stream(bytes);
  t_tag tag;
  parseCallback all;
  std::string error;
  try {
    tag.Parse(stream, all);
  } catch (const parseError&) {
    error = "!";
  }
  ASSERT_EQ(Show(tag) + std::to_string(tag.Revision()) + error, expected);
  ASSERT_EQ(tag.Revision() == revisionNone, !error.empty());
  std::string text;
  for (const t_frame& frame : tag.Frames()) {
    try {
      t_frameWalk walk;
      for (size_t i = frame.view().GetStringCount(); i-- > 0;) {
        ASSERT_TRUE(frame.view().EnumString(false, text, i, walk));
      }
      frame.view().GetAsWXXX(false, text);
      const t_picture picture = frame.view().getPicture();
      ASSERT_EQ(picture.data + picture.size, frame.view().data + frame.view().size);
    } catch (const parseError&) {
      continue;
    }
  }
}

TEST(ID3v2Parser, SurvivesDamage) {
  const std::string texts = "\1\xFF\xFE"s + "a\0\0\0\0\0\xFE\xFF\0b"s;
  const std::string seeds[] = {
      Tag(2, 0x80, V2("TT2", texts) + V2("PIC", "\1JPG\3d\0\0\0pic"s) + V2("COM", "\0engd\0t"s)),
      Tag(3, 0xC0,
          BE(6, 4) + "ABCDEF" + V3("TIT2", texts) + V3("APIC", "\1m\0\3d\0\0\0pic"s) +
              V3("WXXX", "\0d\0url"s) + V3("TIT3", "sizex", 0x80) + std::string(20, '\0')),
      Tag(4, 0x40,
          SyncSafe(6) + "xx" + V4("TXXX", "\3n\0v\0w"s) + V4("USLT", "\2xyz\0\0\0t\0\0"s) +
              V4("APIC", "size\0m\0\3d\0\xFF\0\xE0"s, 3) + std::string(20, '\0')),
      Tag(3, 0, V3("PRIV", std::string(300000, 'x')) + V3("TIT2", texts)),
  };
  for (const std::string& seed : seeds) {
    for (size_t size = 0; size < seed.size(); size += size < 1000 ? 1 : 9973) {
      ExpectSound(seed.substr(0, size));
    }
    ExpectSound(seed);
  }
  std::mt19937 random(20240229);  // NOLINT(cert-msc*): the same tags in every run
  for (size_t round = 0; round < 9000; ++round) {
    std::string bytes = seeds[round % 3];
    for (size_t changes = random() % 4 + 1; changes > 0; --changes) {
      constexpr uint8_t kTelling[] = {0, 1, 2, 3, 4, 0x7F, 0x80, 0xE0, 0xFE, 0xFF};
      bytes[random() % bytes.size()] = static_cast<char>(kTelling[random() % sizeof(kTelling)]);
    }
    ExpectSound(bytes);
  }
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
  ExpectSound(bytes);
}

}  // namespace
}  // namespace wavecodec::id3parser
