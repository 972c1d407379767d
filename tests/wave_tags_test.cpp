// The chunks that hold tags, as memory and within files.
#include <gtest/gtest.h>

#include <cstring>

#include "tag_text.h"
#include "tag_writing.h"
#include "tags/bext_chunk.h"
#include "tags/list_chunk.h"
#include "tags/toc_reader.h"

namespace wavecodec {
namespace {

using namespace test;
using namespace std::string_literals;

const STNStdReport kSilent{};

const uint8_t* Data(const std::string& bytes) {
  return reinterpret_cast<const uint8_t*>(bytes.data());
}
std::string Zeros(size_t count) { return std::string(count, '\0'); }

std::string ToList(const NTag& tags, unsigned album = 0, unsigned track = 0) {
  XMem body;
  EXPECT_TRUE(clRIFFLISTChunk::TagsToLIST(body, tags, kSilent, album, track));
  return Bytes(body);
}
std::string FromList(const std::string& body, unsigned album = 0) {
  NTag tags;
  EXPECT_TRUE(clRIFFLISTChunk::InitFrom(Data(body), body.size(), tags, kSilent, album));
  return Text(tags);
}

TEST(ListChunk, IDsInBothDirections) {
  const struct {
    unsigned Album, Track;  // options
    std::string Rows;
  } groups[] = {
      {0, 0,
       "DISP=Sound Scheme Title; IART=Artist; ICMT=Comment; ICRD=Year; IGNR=Genre; INAM=Title; "
       "IPRD=Album; ISFT=Encoded By; ISRC=ISRC; ITRK=Track; TLEN=Length; LOCA=Location"},
      {1, 0, "ISRC=Album"},
      {0, 1, "TRCK=Track"},
      {0, 2, "itrk=Track"}};
  for (const auto& group : groups) {
    for (const std::string& row : Items(group.Rows)) {
      const std::string body = "INFO" + Chunk(row.substr(0, 4), "ab\0\0"s);
      const std::string tag = row.substr(5) + "=ab";
      EXPECT_EQ(FromList(body, group.Album), tag);
      EXPECT_EQ(ToList(SetOf(tag), group.Album, group.Track), body) << row;
    }
  }
  EXPECT_EQ(FromList("INFO" + Chunk("IPRD", "P"), 1), "Product=P");
  EXPECT_EQ(ToList(SetOf("Product=P; isrc=I; ALBUM=A"), 1),
            "INFO" + Chunk("ISRC", "I\0"s) + Chunk("ISRC", "A\0"s));
  EXPECT_EQ(ToList(SetOf("Unmapped=x; Title=; _cdtoc==123")), "");
  EXPECT_EQ(ToList(SetOf("Title=; Title=abc; TITLE=\u4E00\u20AC\u0081\u00FF")),
            "INFO" + Chunk("INAM", "abc\0"s) + Chunk("INAM", "_\x80_\xff\0\0"s));
}

TEST(ListChunk, DamageAndOddSizes) {
  const std::string artist = Chunk("IART", "Queen");  // odd: a pad byte follows
  const std::string corrupted = "Error LIST sub chunk is corrupted  [InitFrom]\r\n";
  const struct {
    std::string body;
    bool ok;
    std::string tags, information = "";
  } cases[] = {
      {"adtl" + artist, false, ""},
      {"info" + artist, true, "Artist=Queen"},
      {"INFO" + artist.substr(0, 13), true, "Artist=Queen"},
      {"INFO" + artist + "1234567", false, "Artist=Queen"},
      {"INFO" + artist + "INAM" + LE(2, 4) + "x", true, "Artist=Queen", corrupted},
      {"INFO" + artist + "INAM" + LE(0xFFFFFFFF, 4) + "xyz", false, "Artist=Queen", corrupted},
      {"INFO" + Chunk("ABCD", "x") + Chunk("inam", "x") + artist + artist, true,
       "Artist=Queen; Artist=Queen",
       "Unknown LIST sub chunk 'ABCD' Dropping it.  [InitFrom]\r\n"
       "Unknown LIST sub chunk 'inam' Dropping it.  [InitFrom]\r\n"},
      {"INFO" + Chunk("ICMT", "a\0b"s), true, "Comment=a"},
      {"INFO" + Chunk("ICMT", "\x80\x81\x9f\xe4"), true, "Comment=\u20AC_\u0178\u00E4"},
  };
  for (const auto& c : cases) {
    CapturedReport report;
    NTag tags = SetOf("old=old");
    EXPECT_EQ(clRIFFLISTChunk::InitFrom(Data(c.body), c.body.size(), tags, report.Record, 0), c.ok)
        << c.body;
    EXPECT_EQ(Text(tags), c.tags) << c.body;
    EXPECT_EQ(report.Information(), c.information) << c.body;
  }
}

// A record has 4 bytes, and 8 for each track and the lead-out.
TEST(TableOfContents, TextToRecordAndBack) {
  const std::string cases[][3] = {
      {"3+96+3B2E+75C6+B05E", "~\x22\1\3~~\1~~~~~~~\2~~~\x3A\x98~~\3~~~\x75\x30~~\xAA~~~\xAF\xC8",
       "="},
      {"1+96+3bc4+75c6", "~\x1A\1\2~~\1~~~~~~\4\2~~~\x3A\x98~~\xAA~~~\x75\x30", "1+12C"},
      {"2+96+3A98+X1F4", "~\x1A\1\2~\4\1~~~\1\x5E~~\2~~~~~~~\xAA~~~\x3A\x02", "1+96+3A98"},
      {"1+96+3B2E", "~\x12\1\1~~\1~~~~~~~\xAA~~~\x3A\x98", "="},
  };
  for (const auto& [text, record, back] : cases) {
    EXPECT_EQ(FromList("INFO" + Chunk("ITOC", text)), "_cdtoc==" + record);
    const std::string body = ToList(SetOf("_cdtoc==" + record));
    EXPECT_EQ(body.substr(12, body.find('\0', 12) - 12), back == "=" ? text : back);
  }
}

TEST(TableOfContents, Addresses) {
  EXPECT_EQ(clTOCReader::MSFtoLBA(0, 1, 0, true), 0U);
  uint8_t address[4];
  clTOCReader::MSFAddressFromLBADWORD(4503, address, true);
  EXPECT_EQ(std::memcmp(address, "\0\1\2\3", 4), 0);
  EXPECT_EQ(clTOCReader::LBATomSecTime(4653), 62040U);
  EXPECT_EQ(clTOCReader::MSFTomSecTime(1, 2, 3), 62040U);
}

TEST(BextChunk, Reading) {
  const std::string body = " text" + Zeros(251) + std::string(32, 'o') + "r\n" + Zeros(30) +
                           "2026-11-2112:00:00" + LE(0xFFFFFFFFFFFFFFFE, 8) + LE(2, 2) +
                           Zeros(254) + "A=PCM\r\n" + Zeros(9);
  NTag tags;
  EXPECT_TRUE(clRIFFBEXTChunk::InitFrom(Data(body), body.size(), tags, kSilent));
  EXPECT_EQ(Text(tags), "Description=text; Originator=" + std::string(32, 'o') +
                            "; OrigReference=r; OrigDate=2026-11-21; OrigTime=12:00:00; "
                            "TimeReference=18446744073709551614; CodingHistory=A=PCM");
}

TEST(BextChunk, Writing) {
  const std::string fields = "Title=x; description=" + std::string(300, 'd') +
                             "; Originator=\u4E00\u20AC; OrigDate=replaced; OrigDate=2026; "
                             "TimeReference=4294967297";
  const std::string fixed = std::string(256, 'd') + "_\x80" + Zeros(62) + "2026" + Zeros(14) +
                            LE(1, 4) + LE(1, 4) + Zeros(256);
  XMem body;
  EXPECT_TRUE(clRIFFBEXTChunk::TagsToBEXT(body, SetOf(fields + "; CodingHistory=0123456789"), {}));
  EXPECT_EQ(Bytes(body), fixed + "0123456789" + Zeros(4));
}

// What the module tells of a file; the kinds of tags are among the properties.
struct Described {
  explicit Described(const std::string& chunks, uint32_t flags = ZuOpenTags | ZuOpenProperties) {
    const TempFile file(Riff(chunks));
    Instance instance(Report.Record);
    EXPECT_TRUE(instance.Open(file.Name(), flags));
    const STZuOpenDecoder& record = instance.Record;
    Tags = Text(SetIn(record.tagData, record.tagSize));
    Properties = SetIn(record.propsData, record.propsSize);
  }
  [[nodiscard]] std::string Property(const char* name) const {
    return std::string(Properties.FindElement(name).value_or(NTag::Entry()).Value);
  }

  CapturedReport Report;
  std::string Tags;
  NTag Properties;
};

const std::string kFmt = Fmt(1, 2, 44100, 16);
const std::string kData = Chunk("data", Noise(400));
const std::string kMarkers = "_riff_1==fmt ; _riff_2==data";

std::string List(const std::string& items) { return Chunk("LIST", "INFO" + items); }
std::string Id3(const std::string& frames) {
  return Chunk("id3 ", Tag(3, 0, Frames(3, frames)) + Zeros(10));
}

TEST(WaveTags, SourcesAndTheirPrecedence) {
  const std::string artist = List(Chunk("IART", "A"));
  const std::string bext = Chunk("bext", "d" + Zeros(345) + LE(1, 2) + Zeros(254));
  const std::string cut = Tag(3, 0, Frames(3, "TIT2 ~x")).substr(0, 21);
  const struct {
    std::string chunks, tags;
    const char* kinds;
  } cases[] = {
      {kFmt + kData + artist, "Artist=A; " + kMarkers, "LIST"},
      {kFmt + kData + List(Chunk("INAM", "x") + Chunk("ICMT", "c") + Chunk("ICMT", "d")) +
           Id3("TIT2 ~from ID3") + bext,
       "Title=from ID3; TagVersion=ID3v2.3; Comment=c; Description=d; TimeReference=0; " + kMarkers,
       "LIST & ID3 & BEXT v1"},
      {kFmt + Chunk("ID3 ", cut) + kData, kMarkers, "ID3"},
      {kFmt + Chunk("id3 ", "") + Chunk("bext", "short") + kData, kMarkers, "BEXT v0"},
      {kFmt + kData + Chunk("LIST", "adtl") + artist,
       "Artist=A; " + kMarkers + "; _riff_3==LISTadtl", "LIST"},
      {kFmt + kData + artist + List(Chunk("IART", "B") + Chunk("IGNR", "G")),
       "Artist=A; Genre=G; " + kMarkers + "; _riff_3==LISTINFOIART\1~~~A~", "LIST"},
      {Chunk("JUNK", "j") + kFmt + Chunk("fact", "1234") + Chunk("abc\1", "xyz") + kData +
           Chunk("pad ", "p"),
       "_riff_1==fmt ; _riff_2==abc\1xyz; _riff_3==data", ""},
      {kData + artist, "", nullptr},
  };
  for (const auto& c : cases) {
    Described file(c.chunks);
    EXPECT_EQ(file.Tags, c.tags) << file.Report.Debug();
    EXPECT_EQ(file.Properties.Count() != 0, c.kinds != nullptr);
    if (c.kinds != nullptr) {
      EXPECT_EQ(file.Property("ID Tag"), c.kinds);
    }
  }
}

// User text does not pose as what is reserved.
TEST(WaveTags, FramesOfAnId3Tag) {
  const struct {
    std::string frames, tags;
    const char* contents;
  } cases[] = {
      {"MCDI toc; APIC ~image/png~\3~AA; APIC ?; APIC ~m~\4x/y~B; APIC ~m~~~C; TPE1 ~A",
       "Artist=A; TagVersion=ID3v2.3; _albumart_1_Front Album Cover==AA; "
       "_albumart_2_Back Album Cover<subdesc>x/y==B; _albumart_3_Undefined==C; _cdtoc==toc; ",
       "Album Art, CD TOC, ID Tag [ID3]"},
      {"TXXX ~_albumart_1_Media~v; TXXX ~_CDTOC~v; TXXX ~_riff_1~v; TXXX ~TagVersion~v; "
       "TXXX ~_crc~v; TXXX ~_mine~v",
       "_crc=v; _mine=v; TagVersion=ID3v2.3; ", "CRC, ID Tag [ID3]"},
  };
  for (const auto& c : cases) {
    Described file(kFmt + kData + Id3(c.frames));
    EXPECT_EQ(file.Tags, c.tags + kMarkers);
    EXPECT_EQ(file.Property("Contains"), c.contents);
  }
}

// What a file says of itself can neither forge lines of the report nor move its indentation.
TEST(WaveTags, TheReportListsThem) {
  Described file(kFmt + kData + Id3("TXXX ~->->~x; TXXX ~<-<-~\r\n*** Error: fake") +
                     List(Chunk("IART", "A")) +
                     Chunk("cue ", "\x01\x1f ~\x7f" + std::string(60, 'P')),
                 ZuOpenTags);
  const std::string debug = file.Report.Debug();
  const size_t entered = debug.find("->->  [Open]"), left = debug.find("<-<-  [Open]");
  EXPECT_EQ(left - debug.rfind('\n', left) - 1, entered) << debug;
  std::string lines;  // without the indentation, which depends on what failed before
  for (const char c : debug) {
    if (c != ' ' || !lines.ends_with('\n')) lines += c;
  }
  EXPECT_NE(lines.find("\r\n7 ID Tags:\r\n.>->: x\r\n.-<-: ..*** Error: fake\r\n"
                       "TagVersion: ID3v2.3\r\nArtist: A\r\n_riff_1: DATA Length: 4   fmt \r\n"
                       "_riff_2: DATA Length: 4   data\r\n_riff_3: DATA Length: 69   cue .. ~.P"),
            std::string::npos)
      << debug;
  EXPECT_EQ(file.Properties.Count(), 0U);
}

TEST(Properties, OfAnOrdinaryFile) {
  Described file(kFmt + Chunk("data", Zeros(10584000)) + Chunk("abcd", Zeros(1024)) +
                 Chunk("x\ny,", "1"));
  EXPECT_EQ(Text(file.Properties),
            "Audio Quality=CD  (Lossless); Encoder Settings=PCM; Wave Header=Wave Format PCM; "
            "Channel Mapping=Left, Right; Sample Count=2646000; "
            "Riff Chunks='fmt ' 16 bytes,  'data' 10.09 MB,  'abcd' 1 KB,  'x.y,' 1 byte; "
            "Gapless=Yes");
  EXPECT_NE(
      file.Report.Debug().find("[FillAudioProps]\r\n\tAudio Quality: CD  (Lossless)\r\n\tEncoder"),
      std::string::npos);
}

}  // namespace
}  // namespace wavecodec
