// Tags as they are written: the bytes, and what a tag set becomes beside what is there.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "id3_frames.h"
#include "id3v2/tag_writer.h"

namespace wavecodec {
namespace {

using namespace id3parser;
using namespace test;
using namespace std::string_literals;

std::string Written(const t_tag& tag, uint64_t available = 0, uint64_t padding = 0,
                    uint64_t alignment = 1) {
  streamOutBuffer out;
  tag.Write(out, available, padding, alignment);
  return {out.bytes().begin(), out.bytes().end()};
}

TEST(ID3v2Writer, SizesAndPadding) {
  const struct {
    size_t Body;
    uint64_t Available, MostPadding, Alignment;
    size_t Size;
  } cases[] = {{100, 4096, 3986, 1, 4096}, {100, 4096, 3985, 1, 2158},
               {100, 110, 0, 1, 110},      {100, 109, 9000, 1, 2158},
               {101, 111, 0, 2, 112},      {100, 4000, 5000, 512, 4096}};
  for (const auto& c : cases) {
    const t_tag tag = TagOf(revision3, "PRIV " + std::string(c.Body - 10, 'x'));
    const std::string bytes = Written(tag, c.Available, c.MostPadding, c.Alignment);
    EXPECT_EQ(bytes.size(), c.Size);
    EXPECT_EQ(bytes.substr(0, 10), "ID3\3\0\0"s + SyncSafe(c.Size - 10));
    EXPECT_EQ(bytes.find_first_not_of('\0', c.Body + 10), bytes.npos);
  }
}

TEST(ID3v2Writer, FramesOfBothVersions) {
  const struct {
    std::string Payload, Unsynchronised;  // "": it stays as it is
  } cases[] = {{"\xFF~", ""},
               {"\xFF\xE0", "\xFF~\xE0"},
               {"a\xFF", "a\xFF~"},
               {"\xFF~\xFF\xFF\xFF\x01", "\xFF~~\xFF~\xFF~\xFF\x01"}};
  for (const auto& c : cases) {
    const std::string frames = "PRIV " + c.Payload + "; TIT2 x";
    EXPECT_EQ(Written(TagOf(revision3, frames)), Tag(3, 0, Frames(3, frames)));
    const std::string frame = V4("PRIV", SyncSafe(c.Payload.size()) + Zeroed(c.Unsynchronised), 3);
    EXPECT_EQ(Written(TagOf(revision4, frames)),
              Tag(4, 0x80, c.Unsynchronised.empty() ? Frames(4, frames) : frame + V4("TIT2", "x")));
    EXPECT_EQ(Show(Written(TagOf(revision4, frames))), frames);
  }
}

TEST(ID3v2Writer, RefusesWhatNoTagHolds) {
  for (const auto revision : {revisionNone, revision2, t_tagRevision{5}}) {
    EXPECT_THROW(Written(TagOf(revision, "TIT2 x")), writeError);
  }
  const t_tag tag = TagOf(revision3, "TIT2 x");
  EXPECT_THROW(Written(tag, 0, 0, 0x20000000), writeError);
  EXPECT_THROW(Written(tag, 0x200000000, 0x200000000, 1), std::overflow_error);
  // 64 MiB in one frame would make the tag unreadable.
  const std::string most(0x3FFFFFF, 'x');
  for (const auto revision : {revision3, revision4}) {
    EXPECT_THROW(Written(TagOf(revision, "PRIV x" + most)), writeError);
  }
  EXPECT_THROW(Written(TagOf(revision4, "PRIV \xFF\xFF" + most.substr(2))), writeError);
}

TEST(ID3v2Writer, PicturesStandLastFrontCoversFirst) {
  t_tag tag = TagOf(revision3,
                    "APIC ~m~~~a; TIT2 x; APIC ~m~\3~b; APIC ~m~\4~c; TALB y; APIC \3none; "
                    "APIC ~m~\3~d");
  tag.SanitizeAPICOrder();
  EXPECT_EQ(Show(tag),
            "TIT2 x; TALB y; APIC ~m~\3~b; APIC ~m~\3~d; APIC ~m~~~a; APIC ~m~\4~c; APIC \3none");
}

TEST(ID3v2Bridge, OptionsChooseVersionAndEncoding) {
  const std::string title = "title=\u20AC\u0416", year = "Year=c. 1999";
  const struct {
    Options Chosen;
    std::string Entry;
    char Version;
    std::string Frame;
  } cases[] = {
      {{}, title, 3, "TIT2 ~\x80?~"},
      {{L"ID3v2WriteV24", L"WriteFullDateInYearTag"}, title, 4, "TIT2 ~\x80?~"},
      {{L"ID3v2EncodeUni"}, title, 3, "TIT2 \1\xFF\xFE\xAC\x20\x16\x04~~"},
      {{L"ID3v2EncodeUTF8", L"ID3v2WriteV24"}, title, 4, "TIT2 \3\u20AC\u0416~"},
      {{}, year, 3, "TYER ~c. 1999~"},
      {{L"WriteStrictYearDate"}, year, 3, "TXXX ~Year~c. 1999~"},
      {{}, "\u0416=x", 3, "TXXX \1\xFF\xFE\x16\x04~~\xFF\xFEx~~~"},  // its name is not lost
  };
  for (const auto& c : cases) {
    const std::string tag = Made("", c.Entry, c.Chosen);
    EXPECT_EQ(tag[3], c.Version) << c.Frame;
    EXPECT_EQ(Show(tag), c.Frame);
  }
}

// What is written, and what it reads back as.
TEST(ID3v2Bridge, ATagSetBecomesFrames) {
  const struct {
    std::string Given, Frames, Read;
  } cases[] = {
      {"Title=; TagVersion=ID3v2.4; _crc=1; _own=x", "", ""},
      {"Title==x; _riff_1==x; _riff_2=x; _cdtoc=x", "", ""},
      {"ARTIST=a\rb; Artist=; artist=c", "TPE1 ~a~b~c~", "Artist=a\rb\rc"},
      {"Own=\ra\r\nb\r\rc\r; Comment=a\rb; LYRICS=a\r\nb\rc",
       "USLT ~eng~a\r\nb\rc~; TXXX ~Own~\ra\r\nb\r\rc\r~; COMM ~eng~a\rb~",
       "Lyrics=a\r\nb\rc; Own=\ra\r\nb\r\rc\r; Comment=a\rb"},
      {"_cdtoc==toc; _albumart_2_Back Album Cover==jpeg; _albumart_1_Undefined==short; "
       "_AlbumArt_10_front album cover<subdesc>\u00E4<subdesc>==\x89PNG....; _albumart_5_Media=; "
       "_albumart_3==no kind; _albumart_4_what==12345678",
       "MCDI toc; APIC ~image/jpeg~\3~12345678; APIC \1image/png~\3\xFF\xFE\xE4~<~s~u~b~d~e~s~c~"
       ">~~~\x89PNG....; APIC ~~~~short; APIC ~~\4~jpeg; APIC ~~~~no kind",
       "_albumart_1_Front Album Cover==12345678; _albumart_2_Front Album Cover<subdesc>\u00E4"
       "<subdesc>==\x89PNG....; _albumart_3_Undefined==short; _albumart_4_Back Album Cover==jpeg; "
       "_albumart_5_Undefined==no kind; _cdtoc==toc"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Given);
    const std::string tag = Made("", c.Given);
    EXPECT_EQ(tag.empty(), c.Frames.empty());
    if (tag.empty()) continue;
    EXPECT_EQ(Show(tag), c.Frames);
    EXPECT_EQ(ReadBack(tag), c.Read);
    EXPECT_EQ(Made(tag, c.Read), tag);
  }
}

TEST(ID3v2Bridge, WhatIsUnchangedStaysByteForByte) {
  // Much that a tag set does not tell, in the order in which it is written.
  const std::string texts = "TIT2 ~Title~hidden; TPE1 \1\xFE\xFF~a; POPM me~\x20~\1; ";
  const std::string own = "TXXX ~_own~x; TXXX ~ITUNNORM~y; ";
  const std::string hidden = "TXXX ~_riff_1~z; PRIV a~b; CHAP c\1\2";
  const std::string pictures =
      "; APIC ~-->~\x11~http; APIC ~image/png~\4"
      "d~";
  for (const unsigned version : {3U, 4U}) {
    const std::string frames = texts + "COMM ~deu~Hallo; COMM ~eng~Hi; " + own + hidden +
                               "; MCDI toc; APIC ~image/gif~\3~cover" + pictures;
    const std::string old = Tag(version, version == 4 ? 0x80 : 0, Frames(version, frames));
    const std::string fields = "Title=Title; Artist=a; Rating=3; ";
    const std::string others = "_own=x; ITUNNORM=y; ";
    const std::string cover = "_albumart_1_Front Album Cover==cover; ";
    const std::string more = "_albumart_2_Undefined==http; _albumart_3_Back Album Cover<subdesc>d=";
    const std::string read = fields + "Comment=Hallo\rHi; " + others + cover + more;
    EXPECT_EQ(ReadBack(old), read + "; _cdtoc==toc");
    EXPECT_EQ(Made(old, ReadBack(old)), old);
    // Also when several values come as several entries, and wrong options are given.
    EXPECT_EQ(Made(old, "_cdtoc==toc; COMMENT=Hallo; Comment=Hi; " + fields + others + cover + more,
                   {L"ID3v2EncodeUTF8", L"ID3v2WriteV24"}),
              old);
    // One comment of two changed, one picture gone, another one new.
    const std::string given = fields + "Comment=Hallo\rHo; " + others + more +
                              "; _albumart_4_Media==new; _cdtoc==new toc";
    EXPECT_EQ(Show(Made(old, given)), texts + "COMM ~deu~Hallo; COMM ~eng~Ho~; " + own + hidden +
                                          "; MCDI new toc" + pictures + "; APIC ~~\6~new");
    EXPECT_EQ(Show(Made(old, "")), hidden);
  }
  const std::string several = "TIT2 ~a~one; TIT2 ~b~two; POPM me~\x20~\1; POPM you~\xFF~\2";
  EXPECT_EQ(Show(Made(Tag(3, 0, Frames(3, several)), "Title=b; Rating=10")),
            "TIT2 ~b~two; POPM you~\xFF~\2");
  const std::string damaged = Tag(4, 0, V4("TIT2", "\0a"s) + V4("TPE1", "x", 8));
  EXPECT_EQ(Made(damaged, "Album=b"), Tag(3, 0, Frames(3, "TALB ~b~")));
}

// A host gets characters in 16-bit units; what it gives back of a text that has others is no edit.
TEST(ID3v2Bridge, CharactersThatTheBlockCuts) {
  const std::string smile = "\U0001F600", cut = "\uF600";
  const std::string title = "TIT2 \3" + smile, picture = "; APIC \3image/gif~\3" + smile + "~x";
  const std::string old = Tag(4, 0x80, Frames(4, title + "; TPE1 \3a~b" + smile + "~c" + picture));
  NTag tags = TagFile(old).Read();
  XMem block;
  ASSERT_TRUE(tags.ToRawMemory(block));
  tags.InitFromRawMemory(block.Data(), block.Size());
  EXPECT_EQ(tags.FindElement("Title")->Value, cut);
  EXPECT_EQ(TagFile(old).Make(tags), old);
  tags.SetTagValue(L"Artist", FromUtf8("b" + cut + "\rd" + cut));
  EXPECT_EQ(Show(TagFile(old, {L"ID3v2EncodeUTF8"}).Make(tags)),
            title + "; TPE1 \3b" + smile + "~d" + cut + "~" + picture);
}

TEST(ID3v2Bridge, WritesAndDeletesInPlace) {
  TagFile file;
  TagID3v2& bridge = file.Bridge;
  bridge.SetAlign(2);
  const NTag tags = SetOf("Title=ab; Comment iTunNORM=0; Artist=b");
  const std::string artist = "TPE1 ~b~", both = "TIT2 ~ab~; " + artist;
  const struct {
    std::function<bool()> Work;
    std::string Frames;
  } steps[] = {
      {[&] { return bridge.DeleteAllTags(); }, ""},
      {[&] { return bridge.Write(tags); }, both + "; COMM ~engiTunNORM~0~"},
      {[&] { return bridge.DeleteATag(L"itunnorm"); }, both},
      {[&] { return bridge.DeleteATag(L"TITLE"); }, artist},
      {[&] { return !bridge.DeleteATag(nullptr); }, artist},
      {[&] { return bridge.Write(tags); }, both + "; COMM ~engiTunNORM~0~"},
      {[&] { return bridge.DeleteAllTags(); }, ""},
  };
  for (const auto& step : steps) {
    EXPECT_TRUE(step.Work());
    std::string frames = Frames(3, step.Frames);
    frames.resize(frames.size() + frames.size() % 2);
    EXPECT_EQ(Bytes(file.File.Bytes()),
              "head" + (frames.empty() ? "" : Tag(3, 0, frames)) + "tail");
  }
  XTempFile empty;
  XMem tag;
  EXPECT_FALSE(TagID3v2(empty, 0, 20).MakeTag(tag, tags)) << "it cannot be read";
}

}  // namespace
}  // namespace wavecodec
