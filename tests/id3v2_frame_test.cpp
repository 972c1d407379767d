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
std::string Payload(const t_frame& frame) {
  return Tildes({frame.view().data, frame.view().data + frame.view().size});
}
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
      {"ASCII", 0, "0123456789abcdefg~h", "0123456789abcdefg"},
      {"Windows-1252", 0, "\x80\x81\x9F\xA0\xE4 longer", "€?Ÿ\u00A0ä longer", "!"},
      {"little-endian", 1, kLE + "a~\xAC\x20~~b~", "a€"},
      {"big-endian", 1, kBE + "~a\x20\xAC~~~b", "a€"},
      {"no mark", 1, "a~\xE4~", "aä", "!"},
      {"nothing", 1, "", "", "!"},
      {"odd size", 1, kLE + "a~b", "a"},
      {"big-endian without mark", 2, "\xD8\x3D\xDE~~b~", "😀b"},
      {"lone surrogates", 2, "\xDE~\xD8\x3D~a", "\xED\xB8\x80\xED\xA0\xBD\x61"},
      {"lone surrogate before U+E000", 2, "\xD8\x3D\xE0~", "\xED\xA0\xBD\uE000"},
      {"UTF-8", 3, "aä€😀~b", "aä€😀"},
      {"surrogate in UTF-8", 3, "\xED\xA0\xBD", "\xED\xA0\xBD"},
      {"Latin-1 in UTF-8", 3, "gr\xFC\xDF", "grüß", "!"},
      {"overlong", 3, "\xC0\xAF", "À¯", "!"},
      {"overlong, three bytes", 3, "\xE0\x9F\xBF", "àŸ¿", "!"},
      {"past U+10FFFF", 3, "\xF4\x90\x80\x80", "ô?€€", "!"},
      {"cut short", 3, "\xE2\x82", "â‚", "!"},
      {"no such encoding", 4, "a", "!"},
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
  const struct {
    std::string UTF8, ISO, URL, UTF16;
  } cases[] = {
      {"", "", "", ""},
      {"nine char~b", "nine char", "nine char", "n~i~n~e~ ~c~h~a~r~"},
      {"ä€Ÿ\u0081", "\xE4\x80\x9F?", "\xE4???", "\xE4~\xAC\x20\x78\x01\x81~"},
      {"😀\u4E00", "??", "??", "\x3D\xD8~\xDE~\x4E"},
      {"\xED\xA0\xBD", "?", "?", "\x3D\xD8"},
      {"a\xE4z", "a", "a", "a~"},
  };
  for (const auto& c : cases) {
    const std::string text = Zeroed(c.UTF8);
    EXPECT_EQ(exportISO(text), c.ISO);
    EXPECT_EQ(exportURL(text), c.URL);
    EXPECT_EQ(Tildes(exportUTF16(text)), c.UTF16);
  }
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

// The strings of a payload, each followed by "|".
std::string Strings(const t_frameView& frame) {
  std::string all;
  std::string text;
  t_frameWalk walk;
  size_t count = 0;
  for (; frame.EnumString(false, text, count, walk); ++count) all += text + "|";
  EXPECT_EQ(frame.GetStringCount(), count);
  EXPECT_EQ(frame.EnumString(false, text, 0, walk), count > 0);  // back to the start
  EXPECT_TRUE(all.starts_with(text));
  return all;
}

TEST(ID3v2Frame, TellsItsStringsApart) {
  const std::pair<const char*, const char*> cases[] = {
      // what all of these frames say
      {"!", "TIT2 ; TIT2 \4a; COMM ~en"},
      {"", "TIT2 ~; USLT ~eng"},
      {"|", "USLT ~eng~~"},
      {"||", "TXXX \1\xFE\xFF~~\xFE\xFF~~"},
      {"a|", "TIT2 ~a; TIT2 ~a~; TIT2 \3a~~~~; TIT2 \1\xFF\xFE\x61~~~~~; TIT2 \1\xFF\xFE\x61~~"},
      {"a|b|c|", "TPE1 \3a~b~~c"},
      {"a|b|t|u|", "TPE1 \1\xFE\xFF~a~~~b~~\xFF\xFEt~~~u~"},
      {"d|", "COMM ~engd~"},
      {"d|text|", "COMM ~engd~text~"},
      {"|t|", "COMM ~eng~t; TXXX \3~t~; COMM \1eng\xFF\xFE~~\xFF\xFEt~; COMM \1eng~~\xFF\xFEt~~~"},
      {"ǿ|", "TIT2 \1\xFF\1"},
      {"|Ā|\1|", "COMM \2eng~~\1~~~~\1"}};
  for (const auto& [expected, frames] : cases) {
    for (const std::string& frame : Items(frames)) {
      EXPECT_EQ(Try([&] { return Strings(Frame(frame).view()); }), expected) << frame;
    }
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
  EXPECT_EQ(show(Frame("APIC \3m~\x15~")), "m|0||");
  for (const char* bad :
       {"", "~", "~m", "~m~", "~m~\3", "~m~\3z", "\1m~\3z~~", "\2m~\3~", "\4m~\3~pic"}) {
    EXPECT_EQ(show(Frame("APIC "s + bad)), "!") << bad;
  }
  t_frame frame;
  frame.setPicture(4, "image/gif", "back", "\0pic", 4);
  EXPECT_EQ(Payload(frame), "~image/gif~\4back~~pic");
  EXPECT_TRUE(frame.view().isPicture());
  frame.setPicture(3, "m", "Ж€", "pic", 3);
  EXPECT_EQ(show(frame), "m|3|Ж€|pic");
}

TEST(ID3v2Frame, IsMadeFitForARevision) {
  const std::pair<const char*, std::string> cases[] = {
      {"COMM \3fre~t", "\1fre" + kLE + "~~" + kLE + "t~~~"},
      {"USLT \2fre~d~~~t", "\1fre" + kLE + "d~~~" + kLE + "t~~~"},
      {"USLT \3fre", "\1fre" + kLE + "~~"},
      {"COMM ~fre~t", "~fre~t"},
      {"TIT2 \3\xE4", "\1" + kLE + "\xE4~~~"},
      {"COMM \3fr", "!"},
      {"COMM \4fre", "!"}};
  for (const auto& [payload, expected] : cases) {
    t_frame frame = Frame(payload);
    EXPECT_EQ(Try([&] { return frame.SanitizeForRevision(revision3), Payload(frame); }), expected);
  }
  t_frame frame = Frame("COMM \3fre~t");
  frame.SanitizeForRevision(revision4);
  EXPECT_EQ(Payload(frame), "\3fre~t");
}

TEST(ID3v2Frame, RefusesOtherPayloads) {
  std::string url;
  for (const char* bad : {"WXXX ", "WXXX \4d~url", "WXXX ~url"}) {
    EXPECT_THROW(Frame(bad).view().GetAsWXXX(false, url), parseError) << bad;
  }
  EXPECT_THROW((void)Frame("TIT2 \4a").view().GetStringCount(), parseError);
  EXPECT_THROW(Frame("TIT2 ").AddString("a"), parseError);
  EXPECT_THROW(Frame("TIT2 \2").AddString("a"), parseError);
}

}  // namespace
}  // namespace wavecodec::id3parser
