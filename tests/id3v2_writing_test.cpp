// Tags as they are written: the bytes, and what a tag set becomes beside what is there.
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "id3_builder.h"
#include "id3v2/tag.h"
#include "id3v2/tag_bridge.h"
#include "id3v2/tag_writer.h"
#include "support/byte_order.h"
#include "support/xtemp_file.h"

namespace wavecodec {
namespace {

using namespace id3parser;
using namespace test;
using namespace std::string_literals;

std::string Bytes(const uint8_t* data, size_t size) { return {data, data + size}; }

t_tag TagOf(t_tagRevision revision,
            const std::vector<std::pair<const char*, std::string>>& frames) {
  t_tag tag;
  tag.Reset(revision);
  for (const auto& [id, payload] : frames) {
    const uint32_t number = ReadU32BE(reinterpret_cast<const uint8_t*>(id));
    tag.AddFrame(number)->data.append_fromptr(payload.data(), payload.size());
  }
  return tag;
}

std::string Written(const t_tag& tag, uint64_t available = 0, uint64_t padding = 0,
                    uint64_t alignment = 1) {
  streamOutBuffer out;
  tag.Write(out, available, padding, alignment);
  return Bytes(out.bytes().data(), out.bytes().size());
}

// "ID=payload;" for each frame.
std::vector<std::string> FrameList(const std::string& tag) {
  std::vector<std::string> frames;
  parseCallback all;
  parseTag(tag.data(), tag.size(), all, [&](const t_frameView& frame, t_tagRevision) {
    frames.push_back(BE(frame.id, 4) + "=" + Bytes(frame.data, frame.size) + ";");
  });
  return frames;
}

std::string Frames(const std::string& tag) {
  std::string text;
  for (const std::string& frame : FrameList(tag)) text += frame;
  return text;
}

TEST(ID3v2Writer, SizesAndPadding) {
  const struct {
    size_t Body;
    uint64_t Available, MostPadding, Alignment;
    size_t Size;
  } cases[] = {{100, 4096, 5000, 1, 4096},  {100, 4096, 3986, 1, 4096}, {100, 4096, 1000, 1, 1110},
               {100, 4096, 3985, 1, 2158},  {100, 110, 0, 1, 110},      {100, 109, 9000, 1, 2158},
               {100, 0, 0, 1, 110},         {101, 0, 0, 2, 112},        {101, 111, 0, 2, 112},
               {100, 4000, 5000, 512, 4096}};
  for (const auto& c : cases) {
    const t_tag tag = TagOf(revision3, {{"PRIV", std::string(c.Body - 10, 'x')}});
    const std::string bytes = Written(tag, c.Available, c.MostPadding, c.Alignment);
    EXPECT_EQ(bytes.size(), c.Size);
    EXPECT_EQ(bytes.substr(0, 10), "ID3\3\0\0"s + SyncSafe(c.Size - 10));
    EXPECT_EQ(bytes.find_first_not_of('\0', c.Body + 10), bytes.npos);
  }
}

TEST(ID3v2Writer, FramesOfBothVersions) {
  const struct {
    std::string Payload, Unsynchronised;  // "": it stays as it is
  } cases[] = {{"a", ""},
               {"\xFF\0"s, ""},
               {"\xFF\xDF", ""},
               {"\xFF\xE0", "\xFF\0\xE0"s},
               {"a\xFF", "a\xFF\0"s},
               {"\xFF\0\xFF\xFF\xFF\x01"s, "\xFF\0\0\xFF\0\xFF\0\xFF\x01"s}};
  for (const auto& c : cases) {
    const auto both = [&](t_tagRevision revision) {
      return Written(TagOf(revision, {{"PRIV", c.Payload}, {"TIT2", "x"}}));
    };
    EXPECT_EQ(both(revision3), Tag(3, 0, V3("PRIV", c.Payload) + V3("TIT2", "x")));
    const std::string frame = c.Unsynchronised.empty()
                                  ? V4("PRIV", c.Payload)
                                  : V4("PRIV", SyncSafe(c.Payload.size()) + c.Unsynchronised, 3);
    EXPECT_EQ(both(revision4), Tag(4, 0x80, frame + V4("TIT2", "x")));
    EXPECT_EQ(Frames(both(revision3)), Frames(both(revision4)));
  }
}

TEST(ID3v2Writer, RefusesWhatNoTagHolds) {
  streamOutBuffer out;
  EXPECT_THROW(write_sync_safe_integer(out, 0x10000000), writeError);
  write_sync_safe_integer(out, 0xFFFFFFF);
  EXPECT_EQ(Bytes(out.bytes().data(), 4), "\x7F\x7F\x7F\x7F");
  for (const auto revision : {revisionNone, revision2, t_tagRevision{5}}) {
    EXPECT_THROW(Written(TagOf(revision, {{"TIT2", "x"}})), writeError);
  }
  const t_tag tag = TagOf(revision3, {{"TIT2", "x"}});
  EXPECT_THROW(Written(tag, 0, 0, 0x20000000), writeError);
  EXPECT_THROW(Written(tag, 0x200000000, 0x200000000, 1), std::overflow_error);
  EXPECT_THROW(Written(tag, UINT64_MAX, UINT64_MAX, 512), std::overflow_error);
  // 64 MiB in one frame would make the tag unreadable.
  const std::string most(0x3FFFFFF, 'x');
  for (const auto revision : {revision3, revision4}) {
    EXPECT_THROW(Written(TagOf(revision, {{"PRIV", most + 'x'}})), writeError);
  }
  EXPECT_THROW(Written(TagOf(revision4, {{"PRIV", "\xFF\xFF" + most.substr(2)}})), writeError);
}

TEST(ID3v2Writer, PicturesStandLastFrontCoversFirst) {
  const auto picture = [](char type, const char* data) { return "\0m\0"s + type + "\0"s + data; };
  t_tag tag = TagOf(revision3, {{"APIC", picture(0, "a")},
                                {"TIT2", "x"},
                                {"APIC", picture(3, "b")},
                                {"APIC", picture(4, "c")},
                                {"TALB", "y"},
                                {"APIC", "\3none"},
                                {"APIC", picture(3, "d")}});
  tag.SanitizeAPICOrder();
  EXPECT_EQ(Frames(Written(tag)), "TIT2=x;TALB=y;APIC=" + picture(3, "b") +
                                      ";APIC=" + picture(3, "d") + ";APIC=" + picture(0, "a") +
                                      ";APIC=" + picture(4, "c") + ";APIC=\3none;");
}

// Entries of a tag set; "=" at the front of a value: it is a payload.
using Entries = std::vector<std::pair<std::string, std::string>>;

NTag SetOf(const Entries& entries) {
  NTag tags;
  for (const auto& [name, value] : entries) {
    if (!value.starts_with('=')) {
      tags.AddTag(name, value);
    } else {
      tags.AddTag(name, {reinterpret_cast<const uint8_t*>(value.data()) + 1, value.size() - 1});
    }
  }
  return tags;
}

// A tag in a file with bytes on both sides.
class TagFile {
 public:
  explicit TagFile(const std::string& tag = {}, std::initializer_list<const wchar_t*> options = {})
      : Bridge(File, 4, tag.size()) {
    const std::string bytes = "head" + tag + "tail";
    EXPECT_TRUE(File.Write(bytes.data(), bytes.size()));
    for (const wchar_t* option : options) Bridge.SetOption(option);
  }
  std::string Make(const NTag& tags) {
    XMem tag;
    EXPECT_TRUE(Bridge.MakeTag(tag, tags));
    return Bytes(tag.Data(), tag.Size());
  }
  NTag Read() {
    NTag tags;
    Bridge.Read(tags);
    return tags;
  }
  std::string All() { return Bytes(File.Bytes().Data(), File.Bytes().Size()); }

  XTempFile File;
  TagID3v2 Bridge;
};

std::string Made(const std::string& old, const Entries& entries,
                 std::initializer_list<const wchar_t*> options = {}) {
  return TagFile(old, options).Make(SetOf(entries));
}

// What a tag reads as, but for its version.
Entries ReadBack(const std::string& tag) {
  const NTag tags = TagFile(tag).Read();
  Entries entries;
  for (size_t i = 0; i < tags.Count(); ++i) {
    const NTag::Entry entry = tags.At(i);
    if (entry.Name == "TagVersion") continue;
    const std::string payload = Bytes(entry.Data.data(), entry.Data.size());
    entries.emplace_back(entry.Name, payload.empty() ? std::string(entry.Value) : "=" + payload);
  }
  return entries;
}

TEST(ID3v2Bridge, OptionsChooseVersionAndEncoding) {
  const struct {
    std::initializer_list<const wchar_t*> Options;
    unsigned Version;
    std::string Payload;
  } cases[] = {
      {{}, 3, "\0\x80?\0"s},
      {{L"ID3v2WriteV22"}, 3, "\0\x80?\0"s},
      {{L"ID3v2WriteV24", L"ID3v2WriteV221", L"id3v2writev24", L"x", nullptr}, 3, "\0\x80?\0"s},
      {{L"ID3v2WriteV24", L"WriteFullDateInYearTag"}, 4, "\0\x80?\0"s},
      {{L"ID3v2EncodeUni"}, 3, "\1\xFF\xFE\xAC\x20\x16\x04\0\0"s},
      {{L"ID3v2EncodeUTF8"}, 3, "\1\xFF\xFE\xAC\x20\x16\x04\0\0"s},
      {{L"ID3v2EncodeUTF8", L"ID3v2WriteV24"}, 4, "\3\xE2\x82\xAC\xD0\x96\0"s},
  };
  for (const auto& c : cases) {
    const std::string tag = Made("", {{"title", "\xE2\x82\xAC\xD0\x96"}}, c.Options);
    EXPECT_EQ(static_cast<unsigned>(tag[3]), c.Version);
    EXPECT_EQ(Frames(tag), "TIT2=" + c.Payload + ";");
  }
  EXPECT_EQ(Frames(Made("", {{"Year", "c. 1999"}})), "TYER=\0c. 1999\0;"s);
  EXPECT_EQ(Frames(Made("", {{"Year", "c. 1999"}}, {L"WriteStrictYearDate"})),
            "TXXX=\0Year\0c. 1999\0;"s);
}

// What is written, and what it reads back as.
TEST(ID3v2Bridge, ATagSetBecomesFrames) {
  const std::string png = "=\x89PNG....";
  const struct {
    const char* What;
    Entries Given;
    std::string Frames;
    Entries Read;
  } cases[] = {
      {"nothing", {{"Title", ""}, {"TagVersion", "ID3v2.4"}, {"_crc", "1"}, {"_own", "x"}}, "", {}},
      {"payloads", {{"Title", "=x"}, {"_riff_1", "=x"}, {"_riff_2", "x"}, {"_cdtoc", "x"}}, "", {}},
      {"several values",
       {{"ARTIST", "a\rb"}, {"Artist", ""}, {"artist", "c"}, {"Mood", "d\re"}},
       "TPE1=\0a\0b\0c\0;TXXX=\0Mood\0d\0e\0;"s,
       {{"Artist", "a\rb\rc"}, {"Mood", "d\re"}}},
      {"ends of lines",
       {{"Own", "\ra\r\nb\r\rc\r"}, {"Comment", "a\rb"}, {"LYRICS", "a\r\nb\rc"}},
       "USLT=\0eng\0a\r\nb\rc\0;TXXX=\0Own\0\ra\r\nb\r\rc\r\0;COMM=\0eng\0a\rb\0;"s,
       {{"Lyrics", "a\r\nb\rc"}, {"Own", "\ra\r\nb\r\rc\r"}, {"Comment", "a\rb"}}},
      {"names of other tags",
       {{"Content Group Description", "a"}, {"iTunNorm", "b"}, {"Comment x", "c\rd"}},
       "TIT1=\0a\0;COMM=\0engiTunNORM\0b\0;COMM=\0engx\0c\0;COMM=\0engx\0d\0;"s,
       {{"Style", "a"}, {"Comment iTunNORM", "b"}, {"Comment x", "c\rd"}}},
      {"pictures and a disc",
       {{"_cdtoc", "=toc"},
        {"_albumart_2_Back Album Cover", "=jpeg"},
        {"_AlbumArt_10_front album cover<subdesc>\xC3\xA4<subdesc>", png},
        {"_albumart_1_Undefined", "=short"},
        {"_albumart_3", "=no kind"},
        {"_albumart_4_what", "=12345678"},
        {"_albumart_5_Media", ""}},
       "MCDI=toc;APIC=\0image/jpeg\0\3\0\x31\x32\x33\x34\x35\x36\x37\x38;APIC=\1image/png\0\3"
       "\xFF\xFE\xE4\0<\0s\0u\0b\0d\0e\0s\0c\0>\0\0\0\x89PNG....;APIC=\0\0\0\0short;"
       "APIC=\0\0\4\0jpeg;APIC=\0\0\0\0no kind;"s,
       {{"_albumart_1_Front Album Cover", "=12345678"},
        {"_albumart_2_Front Album Cover<subdesc>\xC3\xA4<subdesc>", png},
        {"_albumart_3_Undefined", "=short"},
        {"_albumart_4_Back Album Cover", "=jpeg"},
        {"_albumart_5_Undefined", "=no kind"},
        {"_cdtoc", "=toc"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    const std::string tag = Made("", c.Given);
    EXPECT_EQ(tag.empty(), c.Frames.empty());
    if (tag.empty()) continue;
    EXPECT_EQ(Frames(tag), c.Frames);
    EXPECT_EQ(ReadBack(tag), c.Read);
    EXPECT_EQ(Made(tag, c.Read), tag);
  }
}

// A tag with much that a tag set does not tell, in the order in which it is written.
std::string RichTag(unsigned version) {
  const auto frame = [&](const char* id, const std::string& data) {
    return version == 4 ? V4(id, data) : V3(id, data);
  };
  return Tag(version, version == 4 ? 0x80 : 0,
             frame("TIT2", "\0Title\0hidden"s) + frame("TPE1", "\1\xFE\xFF\0a"s) +
                 frame("POPM", "me\0\x20\0\1"s) + frame("COMM", "\0deu\0Hallo"s) +
                 frame("COMM", "\0eng\0Hi"s) + frame("TXXX", "\0_own\0x"s) +
                 frame("TXXX", "\0ITUNNORM\0y"s) + frame("TXXX", "\0_riff_1\0z"s) +
                 frame("PRIV", "a\0b"s) + frame("CHAP", "c\1\2") + frame("MCDI", "toc") +
                 frame("APIC", "\0image/gif\0\3\0cover"s) + frame("APIC", "\0-->\0\x11\0http"s) +
                 frame("APIC", "\0image/png\0\4d\0"s));
}

TEST(ID3v2Bridge, WhatIsUnchangedStaysByteForByte) {
  for (const unsigned version : {3U, 4U}) {
    const std::string old = RichTag(version);
    const Entries read = ReadBack(old);
    EXPECT_EQ(Made(old, read), old);
    // Also when several values come as several entries, and wrong options are given.
    Entries given = read;
    const auto comment = std::find_if(given.begin(), given.end(),
                                      [](const auto& entry) { return entry.first == "Comment"; });
    EXPECT_EQ(comment->second, "Hallo\rHi");
    comment->second = "Hallo";
    given.insert(comment + 1, {"COMMENT", "Hi"});
    EXPECT_EQ(Made(old, given, {L"ID3v2EncodeUTF8", L"ID3v2WriteV24"}), old);
    // One comment of two changed, one picture gone, another one new.
    given = read;
    std::erase_if(given, [](const auto& entry) { return entry.second == "=cover"; });
    given.emplace_back("_albumart_4_Media", "=new");
    for (auto& [name, value] : given) {
      if (name == "Comment") value = "Hallo\rHo";
      if (name == "_cdtoc") value = "=new toc";
    }
    const std::string frames = Frames(old);
    EXPECT_EQ(Frames(Made(old, given)),
              frames.substr(0, frames.find("COMM=")) +
                  "COMM=\0deu\0Hallo;COMM=\0eng\0Ho\0;TXXX=\0_own\0x;TXXX=\0ITUNNORM\0y;"
                  "TXXX=\0_riff_1\0z;PRIV=a\0b;CHAP=c\1\2;MCDI=new toc;APIC=\0-->\0\x11\0http;"
                  "APIC=\0image/png\0\4d\0;APIC=\0\0\6\0new;"s);
    EXPECT_EQ(Frames(Made(old, {})), "TXXX=\0_riff_1\0z;PRIV=a\0b;CHAP=c\1\2;"s);
  }
  const std::string v22 = Tag(2, 0, V2("TT2", "\0a"s) + V2("PIC", "\0PNG\3\0x"s) + V2("XYZ", "y"));
  EXPECT_EQ(Made(v22, ReadBack(v22), {L"ID3v2WriteV24"}),
            Tag(3, 0, V3("TIT2", "\0a"s) + V3("APIC", "\0image/png\0\3\0x"s)));
  const std::string damaged = Tag(4, 0, V4("TIT2", "\0a"s) + V4("TPE1", "x", 8));
  EXPECT_EQ(Made(damaged, {{"Album", "b"}}), Tag(3, 0, V3("TALB", "\0b\0"s)));
}

// A host gets characters in 16-bit units; what it gives back of a text that has others is no edit.
TEST(ID3v2Bridge, CharactersThatTheBlockCuts) {
  const std::string smile = "\xF0\x9F\x98\x80", cut = "\xEF\x98\x80";
  const std::string picture = "\3image/gif\0\3"s + smile + "\0x"s;
  const std::string old =
      Tag(4, 0x80,
          V4("TIT2", "\3" + smile) + V4("TPE1", "\3a\0b"s + smile + "\0c"s) + V4("APIC", picture));
  NTag tags = TagFile(old).Read();
  XMem block;
  ASSERT_TRUE(tags.ToRawMemory(block));
  tags.InitFromRawMemory(block.Data(), block.Size());
  EXPECT_EQ(tags.FindElement("Title")->Value, cut);
  EXPECT_EQ(TagFile(old).Make(tags), old);
  tags.SetTagValue(L"Artist", FromUtf8("b" + cut + "\rd" + cut));
  EXPECT_EQ(Frames(TagFile(old, {L"ID3v2EncodeUTF8"}).Make(tags)),
            "TIT2=\3" + smile + ";TPE1=\3b" + smile + "\0d"s + cut + "\0;APIC="s + picture + ";");
}

TEST(ID3v2Bridge, WritesAndDeletesInPlace) {
  TagFile file;
  file.Bridge.SetAlign(2);
  EXPECT_TRUE(file.Bridge.DeleteAllTags());
  EXPECT_TRUE(file.Bridge.DeleteATag(L"Title"));
  EXPECT_TRUE(file.Bridge.Write({}));
  EXPECT_EQ(file.All(), "headtail");
  const Entries entries = {{"Title", "ab"}, {"Comment iTunNORM", "0"}, {"Artist", "b"}};
  const auto whole = [](const std::string& frames) {
    return "head" + Tag(3, 0, frames + std::string(frames.size() % 2, '\0')) + "tail";
  };
  const std::string title = V3("TIT2", "\0ab\0"s), artist = V3("TPE1", "\0b\0"s);
  EXPECT_TRUE(file.Bridge.Write(SetOf(entries)));
  EXPECT_EQ(file.All(), whole(title + artist + V3("COMM", "\0engiTunNORM\0000\0"s)));
  EXPECT_TRUE(file.Bridge.DeleteATag(L"itunnorm"));
  EXPECT_EQ(file.All(), whole(title + artist));
  EXPECT_TRUE(file.Bridge.DeleteATag(L"TITLE"));
  EXPECT_EQ(file.All(), whole(artist));
  EXPECT_TRUE(file.Bridge.DeleteATag(L"Album"));
  EXPECT_FALSE(file.Bridge.DeleteATag(nullptr));
  EXPECT_EQ(file.All(), whole(artist));
  EXPECT_TRUE(file.Bridge.Write(SetOf(entries)));
  EXPECT_TRUE(file.Bridge.DeleteAllTags());
  EXPECT_EQ(file.All(), "headtail");

  TagFile odd(Tag(3, 0, title + "x"));
  odd.Bridge.SetAlign(2);
  EXPECT_TRUE(odd.Bridge.DeleteAllTags());
  EXPECT_EQ(odd.All(), "headail");
  TagFile damaged(Tag(4, 0, V4("TIT2", "x", 8)));
  EXPECT_FALSE(damaged.Bridge.DeleteATag(L"Title"));
  XTempFile empty;
  XMem tag;
  EXPECT_FALSE(TagID3v2(empty, 0, 20).MakeTag(tag, SetOf(entries))) << "it cannot be read";
}

// In an order of its own, pictures without their numbers.
Entries Sorted(Entries list) {
  for (auto& [name, value] : list) {
    if (name.starts_with("_albumart_")) name.erase(10, 1);
  }
  std::sort(list.begin(), list.end());
  return list;
}

// Random choices that are the same in every run.
class Chooser {
 public:
  size_t Number(size_t below) { return Random() % below; }
  // One of several texts, separated by "|"; "~" is a zero.
  std::string Of(const std::string& texts) {
    const auto count = static_cast<size_t>(std::count(texts.begin(), texts.end(), '|')) + 1;
    size_t start = 0;
    for (size_t i = Number(count); i > 0; --i) start = texts.find('|', start) + 1;
    std::string text = texts.substr(start, texts.find('|', start) - start);
    std::replace(text.begin(), text.end(), '~', '\0');
    return text;
  }

  std::mt19937 Random{5};  // NOLINT(cert-msc*)
};

Entries RandomEntries(Chooser& choose) {
  Entries entries;
  for (size_t i = choose.Number(8); i > 0; --i) {
    const std::string name = choose.Of(
        "Artist|Style|Genre|Comment|Comment x|Lyrics|Year|Original release year|Title|Track|Rating|"
        "Own|Payment|TIT2|User defined URL link||Disc|Recording dates");
    if (SetOf(entries).FindElement(name)) continue;
    std::string value = choose.Of("a|5");
    for (size_t n = choose.Number(6); n > 0; --n) {
      value += choose.Of("a|B|/|;|7|1999|\r|\n| |\xC3\xA4");
    }
    if (name.ends_with("link")) std::erase(value, ' ');  // it sets the description apart
    entries.emplace_back(name, value);
  }
  for (size_t i = choose.Number(4); i > 0; --i) {
    entries.emplace_back("_albumart_" + std::to_string(i) +
                             choose.Of("_Undefined|_Front Album Cover|_Media|_Artist Logo") +
                             choose.Of("|<subdesc>d|<subdesc>\xD0\x96"),
                         "=" + choose.Of("a|\xFF\xE0 a photo|\x89PNG a picture"));
  }
  if (choose.Number(2) == 0) entries.emplace_back("_cdtoc", "=toc");
  return entries;
}

// Whatever the fields are, and were, they come back; writing what was read changes nothing.
TEST(ID3v2Bridge, RandomTagsComeBack) {
  Chooser choose;
  std::map<std::pair<std::wstring, std::wstring>, std::string> tags;
  for (int round = 0; round < 400; ++round) {
    const Entries entries = RandomEntries(choose);
    for (const wchar_t* version : {L"ID3v2WriteV22", L"ID3v2WriteV24"}) {
      for (const wchar_t* encoding : {L"", L"ID3v2EncodeUni", L"ID3v2EncodeUTF8"}) {
        std::string& tag = tags[{version, encoding}];
        tag = Made(tag, entries, {version, encoding});
        Entries read = ReadBack(tag);
        ASSERT_EQ(Sorted(read), Sorted(entries));
        std::shuffle(read.begin(), read.end(), choose.Random);
        ASSERT_EQ(Made(tag, read), tag);
      }
    }
  }
}

// Whatever frames there are: writing what was read keeps every one of them, an edit of one field
// all others.
TEST(ID3v2Bridge, RandomFramesStay) {
  Chooser choose;
  const std::string any =
      "TIT2~a|TIT2~a~b~|TIT2\1\xFF\xFE\xE4~~~|TIT2\4x|TIT2~|TPE1~a~b|TPE1~a\rb\n\r|"
      "TPE1\1\xFE\xFF~c|TPE1~|TCON~(17)|TCON~(147)|TCON~(4)own;Rock|TCON~17~Pop|TCMP~0|TCMP~1|"
      "TXXX~TITLE~c|TXXX~Own~a~b|TXXX~own~c|TXXX~~x|TXXX~_own~x|TXXX~TagVersion~x|"
      "TXXX~_albumart_1_Media~x|TXXX~Year~2004|TXXX~itunnorm~x|COMM~deu~a|COMM~eng~b\r\nc\rd|"
      "COMM~engiTunNORM~0|COMM~engx~y|COMM~|USLT~deu~a|USLT~eng~b|WXXX~d~http|WXXX~~http|"
      "WXXX~none|WPAYhttp|WPAYother|POPMme~\x20|POPMyou~\xFF|POPMx|APIC~m~\3~a|APIC~m~\x11"
      "d~a|APIC~m~\4~|APIC\3none|MCDItoc|MCDIother|PRIVa~\xFF\xE0|PRIVb|";
  for (int round = 0; round < 1000; ++round) {
    const bool old_version = round % 2 == 0;  // dates are moved into the frames of the version
    const std::string pool =
        any + (old_version ? "TYER~2004|TYER~c. 1999|TDAT~0506|TDAT~99" : "TDRC~2004-06|TDRC~2001");
    std::string body;
    for (size_t i = choose.Number(12); i > 0; --i) {
      const std::string frame = choose.Of(pool);
      body += (old_version ? V3(frame.substr(0, 4), frame.substr(4))
                           : V4(frame.substr(0, 4), frame.substr(4)));
    }
    const std::string old = Tag(old_version ? 3 : 4, 0, body);
    const Entries read = ReadBack(old);
    const std::string made = Made(old, read);
    ASSERT_EQ(made.empty(), body.empty());
    if (made.empty()) continue;
    SCOPED_TRACE(::testing::PrintToString(old));
    ASSERT_EQ(Sorted(ReadBack(made)), Sorted(read));
    auto frames = FrameList(made), old_frames = FrameList(old);
    std::sort(frames.begin(), frames.end());
    std::sort(old_frames.begin(), old_frames.end());
    ASSERT_EQ(frames, old_frames);
    ASSERT_EQ(Made(made, read), made);
    Entries edited = read;
    if (!edited.empty()) {
      edited.erase(edited.begin() + static_cast<ptrdiff_t>(choose.Number(edited.size())));
    }
    edited.emplace_back("New", "value");
    ASSERT_EQ(Sorted(ReadBack(Made(old, edited))), Sorted(edited));
  }
}

}  // namespace
}  // namespace wavecodec
