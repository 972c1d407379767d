// Tags as bytes, and what the parser makes of them.
#include <gtest/gtest.h>

#include <string>

#include "id3_frames.h"

namespace wavecodec::id3parser {
namespace {

using namespace std::string_literals;
using namespace test;

struct MemoryStream : streamIn {
  explicit MemoryStream(std::string bytes) : Left(std::move(bytes)) {}
  size_t read(void* buffer, size_t size) override {
    const size_t given = Left.copy(static_cast<char*>(buffer), size);
    Left.erase(0, given);
    return given;
  }
  std::string Left;
};

// The frames and the revision; "!" at the end for a parse error.
std::string Parsed(const std::string& bytes) {
  parseCallback want;
  t_tag tag;
  std::string error;
  try {
    tag.Parse_MemBlock(bytes.data(), bytes.size(), want);
  } catch (const parseError&) {
    error = "!";
  }
  return Show(tag) + "|" + std::to_string(tag.Revision()) + error;
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
      {"2.2", Tag2("TT2 ~a; TAL ; COM ~engx"), "TIT2 ~a; COMM ~engx|2"},
      {"2.2, pictures", Tag2("PIC \1JPG\3z~pic; PIC ~PNG"),
       "APIC \1image/jpeg~\3z~pic; APIC ~image/png~|2"},
      {"2.2, jpg", Tag2("PIC ~jpg\3"), "APIC ~image/x-unknown~\3|2"},
      {"2.3", Tag3("TIT2 ~a; TALB ; PRIV p"), "TIT2 ~a; PRIV p|3"},
      {"2.3, experimental and extended", Tag(3, 0x60, BE(6, 4) + "ABCDEF" + a3), "TIT2 ~a|3"},
      {"2.3, encrypted, grouped, compressed",
       Tag(3, 0, V3("TIT1", "a", 0x40) + V3("TIT2", "b", 0x20) + V3("TIT3", "size+", 0x80) + a3),
       "TIT2 ~a|3"},
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
       "TIT1 a; TIT2 \xFF\xE0\xFF\x12; TIT3 \xFF~|4"},
      {"2.2, unsynchronised", Tag(2, 0x80, V2("TT2", "\xFF\xE0@@").insert(7, "\0"s)),
       "TIT2 \xFF\xE0@@|2"},
      {"2.3, unsynchronised",
       Tag(3, 0xC0,
           BE(3, 4) + "x\xFF\0y"s + V3("TIT2", "\xFF\0\xFF"s).insert(11, "\0"s) + "\0"s + a3),
       "TIT2 \xFF~\xFF; TIT2 ~a|3"},
      {"padding", Tag(3, 0, a3 + "\0\0\0\0TIT2garbage"s), "TIT2 ~a|3"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Parsed(c.Bytes), c.Expected) << c.What;
  }
}

TEST(ID3v2Parser, RefusesWhatIsDamaged) {
  const std::string a2 = V2("TT2", "a"), a3 = V3("TIT2", "a"), a4 = V4("TIT2", "a");
  const std::pair<const char*, std::string> at_once[] = {
      {"version 5", Tag(5, 0, "")},
      {"2.3 flag", Tag(3, 0x10, a3)},
      {"2.4 flag", Tag(4, 8, a4)},
      {"tag size", "ID3\3\0\0\0\0\x80\0"s},
      {"2.3 extended header, short", Tag(3, 0x40, BE(20, 4) + a3)},
  };
  for (const auto& [what, bytes] : at_once) EXPECT_EQ(Parsed(bytes), "|0!") << what;
  const std::pair<const char*, std::string> behind_a_frame[] = {
      {"2.2 short frame header", Tag(2, 0, a2 + "TT3\0"s)},
      {"2.2 picture encoding", Tag(2, 0, a2 + V2("PIC", "\2JPG\3"s))},
      {"2.3 short data", Tag(3, 0, a3 + V3("TIT3", "abc")).substr(0, 33)},
      {"2.3 compressed, too short", Tag(3, 0, a3 + V3("TIT3", "abc", 0x80))},
      {"2.4 size of 64 MiB", Tag(4, 0, a4 + "TIT3\x20\0\0\0\x40\0"s)},
      {"2.4 data length, too short", Tag(4, 0, a4 + V4("TIT3", "abc", 1))},
      {"2.4 compressed", Tag(4, 0, a4 + V4("TIT3", "abc", 8))},
      {"2.4 false synchronisation", Tag(4, 0, a4 + V4("TIT3", "\xFF\xE0", 2))},
      {"false synchronisation in data", Tag(3, 0x80, a3 + V3("TIT3", "a\xFF\xFF"))},
      {"lone 0xFF inside a name", Tag(3, 0x80, a3 + "TI\xFF")},
  };
  for (const auto& [what, bytes] : behind_a_frame) EXPECT_EQ(Parsed(bytes), "TIT2 a|0!") << what;
}

TEST(ID3v2Parser, ANewRevisionKeepsPicturesAndComments) {
  parseCallback all;
  MemoryStream stream(Tag(4, 0, Frames(4, "TIT2 \3a; COMM \3fre~b; USLT \3f; APIC x")));
  t_tag tag;
  tag.Parse(stream, all);
  tag.SetRevision(revision3);
  EXPECT_EQ(Show(tag), "COMM \1fre\xFF\xFE~~\xFF\xFE\x62~~~; APIC x");
}

}  // namespace
}  // namespace wavecodec::id3parser
