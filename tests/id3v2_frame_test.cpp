// Payloads of frames, and the text encodings in them.
#include "id3v2/frame.h"

#include <gtest/gtest.h>

#include <string>

#include "id3_frames.h"
#include "id3v2/errors.h"
#include "id3v2/text_codec.h"

namespace wavecodec::id3parser {
namespace {

using namespace test;
using namespace std::string_literals;

const std::string kLE = "\xFF\xFE";
const std::string kBE = "\xFE\xFF";

const uint8_t* Data(const std::string& text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}
// From "TIT2 ~a", and what it holds.
t_frame Frame(const std::string& frame) { return TagOf(revision3, frame).Frames().front(); }
// What `work` returns, or "!" for a parse error.
template <typename Work>
std::string Try(Work work) {
  try {
    return work();
  } catch (const parseError&) {
    return "!";
  }
}

TEST(ID3v2Text, Reads) {
  const struct {
    const char* What;
    uint8_t Encoding;
    std::string Bytes, Expected, Strict = "";  // Strict "": the same
  } cases[] = {
      {"Windows-1252", 0, "\x80\x81\x9F\xA0\xE4 longer", "€?Ÿ\u00A0ä longer", "!"},
      {"little-endian", 1, kLE + "a~\xAC\x20~~b~", "a€"},
      {"big-endian", 1, kBE + "~a\x20\xAC~~~b", "a€"},
      {"big-endian without mark", 2, "\xD8\x3D\xDE~~b~", "😀b"},
      {"lone surrogate before U+E000", 2, "\xD8\x3D\xE0~", "\xED\xA0\xBD\uE000"},
      {"UTF-8", 3, "aä€😀~b", "aä€😀"},
      {"Latin-1 in UTF-8", 3, "gr\xFC\xDF", "grüß", "!"},
      {"overlong", 3, "\xC0\xAF", "À¯", "!"},
      {"no such encoding", 4, "a", "!"},
      {"past U+10FFFF", 3, "\xF4\x90\x80\x80", "ô?€€", "!"},
  };
  for (const auto& c : cases) {
    for (const bool strict : {false, true}) {
      const auto read = [&] {
        const std::string bytes = Zeroed(c.Bytes);
        std::string out;
        importString(out, c.Encoding, Data(bytes), bytes.size(), strict);
        return out;
      };
      EXPECT_EQ(Try(read), strict && !c.Strict.empty() ? c.Strict : c.Expected) << c.What;
    }
  }
}

TEST(ID3v2Text, Writes) {
  const std::string text = Zeroed("ä€Ÿ\u0081😀~b");
  EXPECT_EQ(exportISO(text), "\xE4\x80\x9F??");
  EXPECT_EQ(exportURL(text), "\xE4????");
  EXPECT_EQ(Tildes(exportUTF16(text)), "\xE4~\xAC\x20\x78\x01\x81~\x3D\xD8~\xDE");
  for (uint32_t c = 1; c <= 0xFFFF; ++c) {
    const std::string unit{static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
    std::string utf8;
    importUTF16(utf8, Data(unit), 1, false);
    ASSERT_TRUE(isValidUTF8(utf8) && exportUTF16(utf8) == unit) << c;
    if (c > 0xFF) continue;
    utf8.clear();
    importISO(utf8, Data(unit), 1);
    const std::string back = exportISO(utf8);
    ASSERT_TRUE(back == unit.substr(0, 1) || (back == "?" && c > 0x80 && c < 0x9E)) << c;
  }
}

TEST(ID3v2Frame, TakesPicturesApart) {
  const auto show = [](const t_frame& frame) {
    return Try([&] {
      const t_picture picture = frame.view().getPicture();
      return picture.mime + "|" + std::to_string(picture.type) + "|" + picture.description + "|" +
             Tildes({picture.data, picture.data + picture.size});
    });
  };
  EXPECT_EQ(show(Frame("APIC ~image/png~\3\x80~pic")), "image/png|3|€|pic");
  EXPECT_EQ(show(Frame("APIC \1~\x14\xFF\xFE~\1~~~pic")), "|20|Ā|~pic");
  for (const char* bad : {"", "~m", "~m~\3", "~m~\3z", "\1m~\3z~~", "\4m~\3~pic"}) {
    EXPECT_EQ(show(Frame("APIC "s + bad)), "!") << bad;
  }
  t_frame frame;
  frame.setPicture(4, "image/gif", "back", "\0pic", 4);
  EXPECT_EQ(show(frame), "image/gif|4|back|~pic");
  frame.setPicture(3, "m", "Ж€", "pic", 3);
  EXPECT_EQ(show(frame), "m|3|Ж€|pic");
}

}  // namespace
}  // namespace wavecodec::id3parser
