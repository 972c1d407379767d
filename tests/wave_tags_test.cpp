// The chunks that hold tags, as memory and within files.
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "id3v2/tag_bridge.h"
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

TEST(ListChunk, EveryIDInBothDirections) {
  const struct {
    unsigned Album, Track;  // options
    std::string Rows;
  } groups[] = {
      {0, 0,
       "DISP=Sound Scheme Title; IARL=Archival Location; IART=Artist; ICMS=Commissioned; "
       "ICMT=Comment; ICOP=Copyright; ICRD=Year; ICRP=Cropped; IDIM=Dimensions; IDPI=DPI; "
       "IENG=Engineer; IGNR=Genre; IKEY=Keywords; ILGT=Lightness; IMED=Medium; INAM=Title; "
       "IPLT=Palette Setting; IPRD=Album; ISBJ=Subject; ISFT=Encoded By; ISHP=Sharpness; "
       "ISRC=ISRC; ISRF=Source; ITCH=Technician; ITRK=Track; TLEN=Length; TURL=URL; TVER=Version; "
       "LOCA=Location; TORG=Label"},
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
}

TEST(ListChunk, DamageAndOddSizes) {
  const std::string artist = Chunk("IART", "Queen");  // odd: a pad byte follows
  const std::string corrupted = "Error LIST sub chunk is corrupted  [InitFrom]\r\n";
  const struct {
    std::string body;
    bool ok;
    std::string tags, information = "";
  } cases[] = {
      {"INF", false, ""},
      {"adtl" + artist, false, ""},
      {"info" + artist, true, "Artist=Queen"},
      {"INFO" + artist.substr(0, 13), true, "Artist=Queen"},
      {"INFO" + artist + "x", true, "Artist=Queen"},
      {"INFO" + artist + "1234567", false, "Artist=Queen"},
      {"INFO" + artist + "INAM" + LE(2, 4) + "x", true, "Artist=Queen", corrupted},
      {"INFO" + artist + "INAM" + LE(0xFFFFFFFF, 4) + "xyz", false, "Artist=Queen", corrupted},
      {"INFO" + Chunk("ABCD", "x") + Chunk("inam", "x") + artist + artist, true,
       "Artist=Queen; Artist=Queen",
       "Unknown LIST sub chunk 'ABCD' Dropping it.  [InitFrom]\r\n"
       "Unknown LIST sub chunk 'inam' Dropping it.  [InitFrom]\r\n"},
      {"INFO" + artist + Chunk("INAM", "") + Chunk("INAM", "x"), true, "Artist=Queen"},
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

TEST(ListChunk, Writing) {
  EXPECT_EQ(ToList(SetOf("Unmapped=x; Title=; _cdtoc==123")), "");
  EXPECT_EQ(ToList(SetOf("Title=; Title=abc; TITLE=\u4E00\u20AC\u0081\u00FF")),
            "INFO" + Chunk("INAM", "abc\0"s) + Chunk("INAM", "_\x80_\xff\0\0"s));
}

TOC MakeToc(unsigned first, unsigned last, std::initializer_list<std::array<unsigned, 3>> entries) {
  TOC toc{};
  toc.Length[1] = static_cast<uint8_t>(2 + 8 * entries.size());
  toc.FirstTrack = static_cast<uint8_t>(first);
  toc.LastTrack = static_cast<uint8_t>(last);
  size_t i = 0;
  for (const auto& [number, control, lba] : entries) {
    toc.Tracks[i].Number = static_cast<uint8_t>(number);
    toc.Tracks[i].Control = static_cast<uint8_t>(control);
    clTOCReader::LBAAddressFromDWORD(lba, toc.Tracks[i++].Address);
  }
  return toc;
}
const TOC kAudioDisc = MakeToc(1, 3, {{1, 0, 0}, {2, 0, 15000}, {3, 0, 30000}, {170, 0, 45000}});
constexpr char kAudioText[] = "3+96+3B2E+75C6+B05E";

TEST(TableOfContents, RecordToText) {
  const TOC extra = MakeToc(1, 3, {{1, 0, 0}, {2, 0, 15000}, {3, 4, 40000}, {170, 0, 50000}});
  const TOC data_first = MakeToc(1, 2, {{1, 4, 0}, {2, 0, 15000}, {170, 0, 30000}});
  const struct {
    TOC toc;
    bool data;
    const char* text;
    bool extra;
    int audio_tracks;
  } cases[] = {
      {kAudioDisc, false, kAudioText, false, 3},    {{}, false, "1+96+96", false, 0},
      {extra, false, "2+96+3BC4", true, 2},         {extra, true, "2+96+3BC4+9CD6+C3E6", true, 2},
      {data_first, false, "1+3B2E+75C6", false, 1}, {data_first, true, "1+3B2E+75C6+X96", false, 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(clTOCReader::CDExtraLBAToMicrosoftStrTOC(c.toc, c.data), c.text);
    EXPECT_EQ(clTOCReader(c.toc).IsCDExtra(), c.extra) << c.text;
    EXPECT_EQ(clTOCReader(c.toc).AudioTrackCount(), c.audio_tracks) << c.text;
  }
  EXPECT_EQ(clTOCReader(MakeToc(1, 120, {})).LastTrack(), 99);
  EXPECT_EQ(clTOCReader(MakeToc(7, 5, {})).FirstTrack(), 5);
}

TEST(TableOfContents, TextToRecord) {
  std::string long_text = "200";
  for (int i = 0; i < 200; ++i) long_text += "+96";
  const std::pair<const char*, TOC> cases[] = {
      {kAudioText, kAudioDisc},
      {"2+96+3A98+X1F4", MakeToc(1, 2, {{1, 4, 350}, {2, 0, 0}, {170, 0, 14850}})},
      {"1+96+3bc4+75c6", MakeToc(1, 2, {{1, 0, 0}, {2, 4, 15000}, {170, 0, 30000}})},
      {"", MakeToc(0, 0, {})},
      {"1+96+", MakeToc(1, 0, {{170, 0, 0}})},
      {"X96", MakeToc(0, 0, {})},
      {"5", MakeToc(0, 0, {})},
  };
  TOC toc;
  for (const auto& [text, expected] : cases) {
    clTOCReader::MicrosoftStrTOCToCDExtraLBA(text, toc);
    EXPECT_EQ(std::memcmp(&toc, &expected, sizeof toc), 0) << text;
  }
  clTOCReader::MicrosoftStrTOCToCDExtraLBA(long_text, toc);
  EXPECT_EQ(toc.LastTrack, 100);

  // Within a chunk: 12 bytes and 8 for each track.
  const std::string body = "INFO" + Chunk("ITOC", "1+96+3B2E\0"s);
  const std::string tag = "_cdtoc==~\x12\1\1~~\1~~~~~~~\xAA~~~\x3A\x98";
  EXPECT_EQ(FromList(body), tag);
  EXPECT_EQ(ToList(SetOf(tag)), body);
}

TEST(TableOfContents, Addresses) {
  EXPECT_EQ(clTOCReader::MSFtoLBA(1, 2, 3, false), 4653U);
  EXPECT_EQ(clTOCReader::MSFtoLBA(0, 1, 0, true), 0U);
  uint8_t address[4];
  clTOCReader::MSFAddressFromLBADWORD(4503, address, true);
  EXPECT_EQ(std::memcmp(address, "\0\1\2\3", 4), 0);
  EXPECT_EQ(clTOCReader::LBATomSecTime(4653), 62040U);
  EXPECT_EQ(clTOCReader::MSFTomSecTime(1, 2, 3), 62040U);
}

TEST(BextChunk, Reading) {
  const std::string body = " text" + Zeros(251) + std::string(32, 'o') + "r\n" + Zeros(30) +
                           "2026-11-2112:00:00" + LE(0xFFFFFFFFFFFFFFFE, 8) + LE(2, 2) + Zeros(254);
  const std::pair<std::string, std::string> cases[] = {
      {Zeros(601), ""},
      {Zeros(602), "TimeReference=0"},
      {body + "A=PCM\r\n" + Zeros(9),
       "Description=text; Originator=" + std::string(32, 'o') +
           "; OrigReference=r; OrigDate=2026-11-21; OrigTime=12:00:00; "
           "TimeReference=18446744073709551614; CodingHistory=A=PCM"},
  };
  for (const auto& [bytes, expected] : cases) {
    NTag tags;
    EXPECT_EQ(clRIFFBEXTChunk::InitFrom(Data(bytes), bytes.size(), tags, kSilent),
              !expected.empty());
    EXPECT_EQ(Text(tags), expected);
  }
  EXPECT_EQ(clRIFFBEXTChunk::Version(Data(body), body.size()), 2);
  EXPECT_EQ(clRIFFBEXTChunk::Version(Data(body), 347), 0);
}

TEST(BextChunk, Writing) {
  const std::string fields = "Title=x; description=" + std::string(300, 'd') +
                             "; Originator=\u4E00\u20AC; OrigDate=replaced; OrigDate=2026; "
                             "TimeReference=4294967297";
  const std::string fixed = std::string(256, 'd') + "_\x80" + Zeros(62) + "2026" + Zeros(14) +
                            LE(1, 4) + LE(1, 4) + Zeros(256);
  const std::string history = "; CodingHistory=0123456789";
  const std::pair<std::string, std::string> cases[] = {
      {"Title=x", ""},
      {fields, fixed},
      {fields + history, fixed + "0123456789" + Zeros(4)},
      {fields + history + "; CodingHistory=abc", fixed + "abc" + Zeros(15)},
  };
  for (const auto& [tags, expected] : cases) {
    XMem body;
    EXPECT_EQ(clRIFFBEXTChunk::TagsToBEXT(body, SetOf(tags), kSilent), !expected.empty());
    EXPECT_EQ(Bytes(body), expected) << tags;
  }
  NTag tags = SetOf(fields + history);
  clRIFFBEXTChunk::RemoveTagsFromList(tags, kSilent);
  EXPECT_EQ(Text(tags), "Title=x");
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
      {kFmt + kData, kMarkers, ""},
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
      {kFmt + artist, "", nullptr},
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

TEST(WaveTags, TheAlbumsChunkIsTheUsersChoice) {
  const std::string chunks = kFmt + kData + List(Chunk("IPRD", "P") + Chunk("ISRC", "I"));
  {
    const StoredOptions options("A1");
    EXPECT_EQ(Described(chunks).Tags, "Product=P; Album=I; " + kMarkers);
  }
  setenv("XCLASS_XREGISTRY_LOCATION", "/nonexistent/settings", 1);
  EXPECT_EQ(Described(chunks).Tags, "Album=P; ISRC=I; " + kMarkers);
  unsetenv("XCLASS_XREGISTRY_LOCATION");
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

TEST(WaveTags, TheSizeOfAnId3TagIsThatOfItsHeader) {
  const std::pair<std::string, uint64_t> cases[] = {
      {"ID3\4~\x10~~\2~", 276}, {"ID3\3~~\x7f\x7f\x7f\x7f", 0x10000009},
      {"ID3\3~\x08~~\2~", 0},   {"ID3\3~~~~\x80~", 0},
      {"id3\3~~~~\2~", 0},
  };
  for (const auto& [header, size] : cases) {
    EXPECT_EQ(id3parser::TagSizeOf(Data(Zeroed(header))), size) << header;
  }
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
