// Payloads of frames, and the text encodings in them.
#include "id3v2/frame.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "id3v2/errors.h"
#include "id3v2/text_codec.h"

namespace wavecodec::id3parser {
namespace {

using namespace std::string_literals;

const std::string kLE = "\xFF\xFE";
const std::string kBE = "\xFE\xFF";

const uint8_t* Bytes(std::string_view text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}
t_frameView View(const char (&name)[5], std::string_view payload) {
  return {frameID(name), Bytes(payload), payload.size()};
}
std::string Payload(const t_frame& frame) {
  const auto* data = reinterpret_cast<const char*>(frame.data.get_ptr());
  return {data, data + frame.data.get_size()};
}
t_frame Frame(const char (&name)[5], const std::string& payload) {
  t_frame frame{frameID(name), {}};
  frame.data.append_fromptr(payload.data(), payload.size());
  return frame;
}
tagCreateContext Context(uint8_t encoding) {
  tagCreateArgs args;
  args.encoding = encoding;
  return tagCreateContext(args);
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

std::string Imported(uint8_t encoding, const std::string& bytes, bool strict) {
  std::string out;
  importString(out, encoding, Bytes(bytes), bytes.size(), strict);
  return out;
}

TEST(ID3v2Text, Reads) {
  const struct {
    const char* What;
    uint8_t Encoding;
    std::string Bytes, Expected, Strict;
  } cases[] = {
      {"ASCII", 0, "0123456789abcdefg\0h"s, "0123456789abcdefg", "0123456789abcdefg"},
      {"Windows-1252", 0, "\x80\x81\x9F\xA0\xE4 longer", "€?Ÿ\u00A0ä longer", "!"},
      {"little-endian", 1, kLE + "a\0\xAC\x20\0\0b\0"s, "a€", "a€"},
      {"big-endian", 1, kBE + "\0a\x20\xAC\0\0\0b"s, "a€", "a€"},
      {"no mark", 1, "a\0\xE4\0"s, "aä", "!"},
      {"nothing", 1, "", "", "!"},
      {"odd size", 1, kLE + "a\0b"s, "a", "a"},
      {"big-endian without mark", 2, "\xD8\x3D\xDE\x00\0b\0"s, "😀b", "😀b"},
      {"lone surrogates", 2, "\xDE\0\xD8\x3D"s, "\xED\xB8\x80\xED\xA0\xBD",
       "\xED\xB8\x80\xED\xA0\xBD"},
      {"UTF-8", 3, "aä€😀\0b"s, "aä€😀", "aä€😀"},
      {"surrogate in UTF-8", 3, "\xED\xA0\xBD", "\xED\xA0\xBD", "\xED\xA0\xBD"},
      {"Latin-1 in UTF-8", 3, "gr\xFC\xDF", "grüß", "!"},
      {"overlong", 3, "\xC0\xAF", "À¯", "!"},
      {"overlong, three bytes", 3, "\xE0\x9F\xBF", "àŸ¿", "!"},
      {"past U+10FFFF", 3, "\xF4\x90\x80\x80", "ô?€€", "!"},
      {"cut short", 3, "\xE2\x82", "â‚", "!"},
      {"no such encoding", 4, "a", "!", "!"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    EXPECT_EQ(Try([&] { return Imported(c.Encoding, c.Bytes, false); }), c.Expected);
    EXPECT_EQ(Try([&] { return Imported(c.Encoding, c.Bytes, true); }), c.Strict);
  }
  std::string url;
  importURL(url, Bytes("http://\x80\xE4"), 9);
  EXPECT_EQ(url, "http://?ä");
}

TEST(ID3v2Text, Writes) {
  const struct {
    std::string UTF8, ISO, URL, UTF16;
  } cases[] = {
      {"", "", "", ""},
      {"nine char\0b"s, "nine char", "nine char", "n\0i\0n\0e\0 \0c\0h\0a\0r\0"s},
      {"ä€Ÿ\u0081", "\xE4\x80\x9F?", "\xE4???", "\xE4\0\xAC\x20\x78\x01\x81\0"s},
      {"😀\u4E00", "??", "??", "\x3D\xD8\x00\xDE\0\x4E"s},
      {"\xED\xA0\xBD", "?", "?", "\x3D\xD8"},
      {"a\xE4z", "a", "a", "a\0"s},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.UTF8);
    EXPECT_EQ(exportISO(c.UTF8), c.ISO);
    EXPECT_EQ(exportURL(c.UTF8), c.URL);
    EXPECT_EQ(exportUTF16(c.UTF8), c.UTF16);
  }
  for (uint32_t c = 1; c <= 0xFFFF; ++c) {
    const std::string unit{static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
    std::string utf8;
    importUTF16(utf8, Bytes(unit), 1, false);
    ASSERT_TRUE(isValidUTF8(utf8) && exportUTF16(utf8) == unit) << c;
    if (c > 0xFF) continue;
    const std::string byte(1, unit[0]);
    const std::string back = exportISO(Imported(0, byte, false));
    ASSERT_TRUE(back == byte || (back == "?" && c > 0x80 && c < 0x9E)) << c;
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
  const struct {
    const char* What;
    const char (&ID)[5];
    std::string Payload, Expected;
  } cases[] = {
      {"no payload", "TIT2", "", "!"},
      {"no such encoding", "TIT2", "\4a", "!"},
      {"no language", "COMM", "\0en"s, "!"},
      {"nothing", "TIT2", "\0"s, ""},
      {"not terminated", "TIT2", "\0a"s, "a|"},
      {"terminated", "TIT2", "\0a\0"s, "a|"},
      {"padded with zeros", "TIT2", "\3a\0\0\0\0"s, "a|"},
      {"several", "TPE1", "\3a\0b\0\0c"s, "a|b|c|"},
      {"comment", "COMM", "\0engd\0text\0"s, "d|text|"},
      {"no description", "COMM", "\0eng\0text"s, "|text|"},
      {"no text", "COMM", "\0engd\0"s, "d|"},
      {"neither", "USLT", "\0eng\0\0"s, "|"},
      {"not even terminators", "USLT", "\0eng"s, ""},
      {"no name", "TXXX", "\3\0value\0"s, "|value|"},
      {"UTF-16, terminated twice", "TIT2", "\1\xFF\xFEt\0\0\0\0\0"s, "t|"},
      {"UTF-16, no description", "COMM", "\1eng\xFF\xFE\0\0\xFF\xFEt\0"s, "|t|"},
      {"UTF-16, no mark either", "COMM", "\1eng\0\0\xFF\xFEt\0\0\0"s, "|t|"},
      {"UTF-16, nothing but marks", "TXXX", "\1\xFE\xFF\0\0\xFE\xFF\0\0"s, "||"},
      {"UTF-16, marked once", "TPE1", "\1\xFE\xFF\0a\0\0\0b\0\0\xFF\xFEt\0\0\0u\0"s, "a|b|t|u|"},
      {"UTF-16, odd size", "TIT2", "\1\xFF\xFEt\0\0"s, "t|"},
      {"big-endian", "COMM", "\2eng\0\0\1\0\0\0\0\1"s, "|Ā|\1|"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    EXPECT_EQ(Try([&] { return Strings(View(c.ID, c.Payload)); }), c.Expected);
  }
}

TEST(ID3v2Frame, WalksManyStringsOnce) {
  std::string payload = "\3";
  for (int i = 0; i < 200000; ++i) payload += "ab\0"s;
  const t_frameView frame = View("TPE1", payload);
  std::string text;
  t_frameWalk walk;
  size_t count = 0;
  while (frame.EnumString(false, text, count, walk)) {
    EXPECT_TRUE(frame.EnumString(false, text, count++, walk));
  }
  EXPECT_EQ(count, 200000U);
}

TEST(ID3v2Frame, WritesText) {
  t_frame comment = Frame("COMM", "old");
  comment.SetAsString("d€", Context(encodingUTF16));
  comment.AddString("t");
  EXPECT_EQ(Payload(comment), "\1eng"s + kLE + "d\0\xAC\x20\0\0"s + kLE + "t\0\0\0"s);
  t_frame text = Frame("TIT2", "");
  text.SetAsString("a€\0b"s, Context(encodingISO));
  text.AddString("ä");
  EXPECT_EQ(Payload(text), "\0a\x80\0\xE4\0"s);
  text.SetAsString("ä\0b"s, Context(encodingUTF8));
  text.AddString("c\0d"s);
  EXPECT_EQ(Payload(text), "\3ä\0c\0"s);
  for (const uint8_t encoding : {uint8_t{2}, uint8_t{4}, uint8_t{255}}) {
    EXPECT_THROW(text.SetAsString("a", Context(encoding)), writeError);
    EXPECT_THROW(Frame("TIT2", {static_cast<char>(encoding)}).AddString("a"), parseError);
  }
  EXPECT_EQ(Payload(text), "\3ä\0c\0"s);
  text.SetAsNumeric("12€");
  EXPECT_EQ(Payload(text),
            "\0"
            "12\x80\0"s);
  text.SetAsURL("http://€ä");
  EXPECT_EQ(Payload(text), "http://?\xE4");
}

TEST(ID3v2Frame, ReadsURLs) {
  const auto user_url = [](const std::string& payload) {
    std::string out;
    View("WXXX", payload).GetAsWXXX(false, out);
    return out;
  };
  EXPECT_EQ(user_url("\0\0url\0x"s), "url");
  EXPECT_EQ(user_url("\3d\0\xE4"s), "ä");
  EXPECT_EQ(user_url("\1\xFF\xFE\0\1\0\0url"s), "url");
  for (const std::string& bad : {""s, "\4d\0url"s, "\0url"s, "\1d\0\0url"s, "\0"s}) {
    EXPECT_THROW(user_url(bad), parseError);
  }
  std::string url = "old";
  View("WCOM", "url\xE4\0x"s).GetAsURL(url);
  EXPECT_EQ(url, "urlä");
  t_frame frame = Frame("WXXX", "");
  frame.SetAsURLEx("d", "http://ä", Context(encodingUTF16));
  EXPECT_EQ(Payload(frame), "\1"s + kLE + "d\0\0\0http://\xE4"s);
  EXPECT_EQ(user_url(Payload(frame)), "http://ä");
}

TEST(ID3v2Frame, TakesPicturesApart) {
  const auto show = [](const std::string& payload) {
    return Try([&] {
      const t_picture picture = View("APIC", payload).getPicture();
      return picture.mime + "|" + std::to_string(picture.type) + "|" + picture.description + "|" +
             std::string(picture.data, picture.data + picture.size);
    });
  };
  EXPECT_EQ(show("\0image/png\0\3\x80\0pic"s), "image/png|3|€|pic");
  EXPECT_EQ(show("\1\0\x14\xFF\xFE\0\1\0\0\0pic"s), "|20|Ā|"s + "\0pic"s);
  EXPECT_EQ(show("\3m\0\x15\0"s), "m|0||");
  for (const std::string& bad : {""s, "\0"s, "\0m"s, "\0m\0"s, "\0m\0\3"s, "\0m\0\3d"s,
                                 "\1m\0\3d\0\0"s, "\2m\0\3\0"s, "\4m\0\3\0pic"s}) {
    EXPECT_EQ(show(bad), "!");
  }
  t_frame frame;
  frame.setPicture(4, "image/gif", "back", "\0pic", 4);
  EXPECT_EQ(Payload(frame), "\0image/gif\0\4back\0\0pic"s);
  EXPECT_TRUE(frame.view().isPicture());
  frame.setPicture(3, "m", "Ж€", "pic", 3);
  EXPECT_EQ(show(Payload(frame)), "m|3|Ж€|pic");
}

TEST(ID3v2Frame, IsMadeFitForARevision) {
  const struct {
    t_frame Frame;
    t_tagRevision Revision;
    std::string Expected;
  } cases[] = {
      {Frame("COMM", "\3fre\0t"s), revision3, "\1fre"s + kLE + "\0\0"s + kLE + "t\0\0\0"s},
      {Frame("COMM", "\3fre\0t"s), revision4, "\3fre\0t"s},
      {Frame("USLT", "\2fre\0d\0\0\0t"s), revision2,
       "\1fre"s + kLE + "d\0\0\0"s + kLE + "t\0\0\0"s},
      {Frame("USLT", "\3fre"), revision3, "\1fre"s + kLE + "\0\0"s},
      {Frame("COMM", "\0fre\0t"s), revision3, "\0fre\0t"s},
      {Frame("TIT2", "\3\xE4"), revision3, "\1"s + kLE + "\xE4\0\0\0"s},
      {Frame("COMM", "\3fr"), revision3, "!"},
      {Frame("COMM", "\3fr"), revision4, "!"},
      {Frame("COMM", "\4fre"), revision3, "!"},
  };
  for (const auto& c : cases) {
    t_frame frame = c.Frame;
    EXPECT_EQ(Try([&] { return frame.SanitizeForRevision(c.Revision), Payload(frame); }),
              c.Expected);
  }
}

}  // namespace
}  // namespace wavecodec::id3parser
