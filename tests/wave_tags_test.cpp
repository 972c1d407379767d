// The chunks that hold tags, as memory and within files.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>

#include "id3_builder.h"
#include "id3v2/tag_bridge.h"
#include "support.h"
#include "tags/bext_chunk.h"
#include "tags/list_chunk.h"
#include "tags/toc_reader.h"

namespace wavecodec {
namespace {

using namespace test;

const STNStdReport kSilent{};

std::string Bytes(const XMem& mem) {
  return {reinterpret_cast<const char*>(mem.Data()), mem.Size()};
}
const uint8_t* Data(const std::string& bytes) {
  return reinterpret_cast<const uint8_t*>(bytes.data());
}
std::string Zeros(size_t count) { return std::string(count, '\0'); }

// "name=value" of every entry; the payload in hexadecimal where there is one.
std::string Text(const NTag& tags) {
  std::string text;
  for (size_t i = 0; i < tags.Count(); ++i) {
    const NTag::Entry tag = tags.At(i);
    text += std::string(tag.Name) + "=" + std::string(tag.Value);
    for (const uint8_t byte : tag.Data) {
      char hex[4];
      snprintf(hex, sizeof hex, "%02X", byte);
      text += hex;
    }
    text += ";";
  }
  return text;
}

struct InfoRow {
  const char* id;
  const char* name;
  unsigned album;  // option under which the row is used, in both directions
  unsigned track;
};

constexpr InfoRow kInfoRows[] = {
    {"DISP", "Sound Scheme Title", 0, 0},
    {"IARL", "Archival Location", 0, 0},
    {"IART", "Artist", 0, 0},
    {"ICMS", "Commissioned", 0, 0},
    {"ICMT", "Comment", 0, 0},
    {"ICOP", "Copyright", 0, 0},
    {"ICRD", "Year", 0, 0},
    {"ICRP", "Cropped", 0, 0},
    {"IDIM", "Dimensions", 0, 0},
    {"IDPI", "DPI", 0, 0},
    {"IENG", "Engineer", 0, 0},
    {"IGNR", "Genre", 0, 0},
    {"IKEY", "Keywords", 0, 0},
    {"ILGT", "Lightness", 0, 0},
    {"IMED", "Medium", 0, 0},
    {"INAM", "Title", 0, 0},
    {"IPLT", "Palette Setting", 0, 0},
    {"IPRD", "Album", 0, 0},
    {"ISBJ", "Subject", 0, 0},
    {"ISFT", "Encoded By", 0, 0},
    {"ISHP", "Sharpness", 0, 0},
    {"ISRC", "Album", 1, 0},
    {"ISRC", "ISRC", 0, 0},
    {"ISRF", "Source", 0, 0},
    {"ITCH", "Technician", 0, 0},
    {"ITRK", "Track", 0, 0},
    {"TRCK", "Track", 0, 1},
    {"itrk", "Track", 0, 2},
    {"TLEN", "Length", 0, 0},
    {"TURL", "URL", 0, 0},
    {"TVER", "Version", 0, 0},
    {"LOCA", "Location", 0, 0},
    {"TORG", "Label", 0, 0},
};

std::string ToList(const NTag& tags, unsigned album = 0, unsigned track = 0) {
  XMem body;
  EXPECT_TRUE(clRIFFLISTChunk::TagsToLIST(body, tags, kSilent, album, track));
  return Bytes(body);
}

TEST(ListChunk, EveryIDInBothDirections) {
  for (const InfoRow& row : kInfoRows) {
    const std::string body = "INFO" + Chunk(row.id, std::string("ab\0\0", 4));
    NTag tags;
    EXPECT_TRUE(clRIFFLISTChunk::InitFrom(Data(body), body.size(), tags, kSilent, row.album));
    EXPECT_EQ(Text(tags), std::string(row.name) + "=ab;") << row.id;
    EXPECT_EQ(ToList(tags, row.album, row.track), body) << row.id;
  }
  const std::string product = "INFO" + Chunk("IPRD", "P");
  NTag tags;
  EXPECT_TRUE(clRIFFLISTChunk::InitFrom(Data(product), product.size(), tags, kSilent, 1));
  EXPECT_EQ(Text(tags), "Product=P;");
  EXPECT_EQ(ToList(tags, 1), "");
  tags.AddTag(L"isrc", L"I");
  tags.AddTag(L"ALBUM", L"A");
  EXPECT_EQ(ToList(tags, 1),
            "INFO" + Chunk("ISRC", std::string("I\0", 2)) + Chunk("ISRC", std::string("A\0", 2)));
}

TEST(ListChunk, DamageAndOddSizes) {
  const std::string artist = Chunk("IART", "Queen");  // odd: a pad byte follows
  const struct {
    std::string body;
    bool ok;
    const char* tags;
    const char* information;
  } cases[] = {
      {"INF", false, "", ""},
      {"adtl" + artist, false, "", ""},
      {"info" + artist, true, "Artist=Queen;", ""},
      {"INFO" + artist.substr(0, 13), true, "Artist=Queen;", ""},
      {"INFO" + artist + "x", true, "Artist=Queen;", ""},
      {"INFO" + artist + "1234567", false, "Artist=Queen;", ""},
      {"INFO" + artist + "INAM" + LE(2, 4) + "x", true, "Artist=Queen;",
       "Error LIST sub chunk is corrupted  [InitFrom]\r\n"},
      {"INFO" + artist + "INAM" + LE(0xFFFFFFFF, 4) + "xyz", false, "Artist=Queen;",
       "Error LIST sub chunk is corrupted  [InitFrom]\r\n"},
      {"INFO" + artist + Chunk("ABCD", "x") + Chunk("inam", "x") + artist, true,
       "Artist=Queen;Artist=Queen;",
       "Unknown LIST sub chunk 'ABCD' Dropping it.  [InitFrom]\r\n"
       "Unknown LIST sub chunk 'inam' Dropping it.  [InitFrom]\r\n"},
      {"INFO" + artist + Chunk("INAM", "") + Chunk("INAM", "x"), true, "Artist=Queen;", ""},
      {"INFO" + Chunk("ICMT", std::string("a\0b", 3)), true, "Comment=a;", ""},
      {"INFO" + Chunk("ICMT", "\x80\x81\x9f\xe4"), true, "Comment=\u20AC_\u0178\u00E4;", ""},
  };
  for (const auto& c : cases) {
    CapturedReport report;
    NTag tags;
    tags.AddTag(L"old", L"old");
    EXPECT_EQ(clRIFFLISTChunk::InitFrom(Data(c.body), c.body.size(), tags, report.Record, 0), c.ok)
        << c.body;
    EXPECT_EQ(Text(tags), c.tags) << c.body;
    EXPECT_EQ(report.Information(), c.information) << c.body;
  }
}

TEST(ListChunk, Writing) {
  NTag tags;
  tags.AddTag(L"Unmapped", L"x");
  tags.AddTag(L"Title", L"");
  EXPECT_EQ(ToList(tags), "");
  tags.AddTag(L"Title", L"abc");
  tags.AddTag(L"TITLE", L"\u4E00\u20AC\u0081\u00FF");
  EXPECT_EQ(ToList(tags), "INFOINAM" + LE(4, 4) + std::string("abc\0", 4) + "INAM" + LE(6, 4) +
                              std::string("_\x80_\xff\0\0", 6));
}

TOC MakeToc(unsigned first, unsigned last, std::initializer_list<std::array<unsigned, 3>> entries) {
  TOC toc{};
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

TEST(TableOfContents, RecordToText) {
  const TOC audio = MakeToc(1, 3, {{1, 0, 0}, {2, 0, 15000}, {3, 0, 30000}, {170, 0, 45000}});
  const TOC cd_extra = MakeToc(1, 3, {{1, 0, 0}, {2, 0, 15000}, {3, 4, 40000}, {170, 0, 50000}});
  const TOC data_first = MakeToc(1, 2, {{1, 4, 0}, {2, 0, 15000}, {170, 0, 30000}});
  const struct {
    TOC toc;
    bool data;
    const char* text;
    bool extra;
    int audio_tracks;
  } cases[] = {
      {audio, false, "3+96+3B2E+75C6+B05E", false, 3},
      {{}, false, "1+96+96", false, 0},
      {cd_extra, false, "2+96+3BC4", true, 2},
      {cd_extra, true, "2+96+3BC4+9CD6+C3E6", true, 2},
      {data_first, false, "1+3B2E+75C6", false, 1},
      {data_first, true, "1+3B2E+75C6+X96", false, 1},
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
  const struct {
    const char* text;
    TOC toc;
    unsigned length;
  } cases[] = {
      {"3+96+3B2E+75C6+B05E",
       MakeToc(1, 3, {{1, 0, 0}, {2, 0, 15000}, {3, 0, 30000}, {170, 0, 45000}}), 34},
      {"2+96+3A98+X1F4", MakeToc(1, 2, {{1, 4, 350}, {2, 0, 0}, {170, 0, 14850}}), 26},
      {"1+96+3bc4+75c6", MakeToc(1, 2, {{1, 0, 0}, {2, 4, 15000}, {170, 0, 30000}}), 26},
      {"", {}, 2},
      {"1+96+", MakeToc(1, 0, {{170, 0, 0}}), 10},
      {"X96", {}, 2},
      {"5", {}, 2},
  };
  for (const auto& c : cases) {
    TOC expected = c.toc;
    expected.Length[1] = static_cast<uint8_t>(c.length);
    TOC toc;
    clTOCReader::MicrosoftStrTOCToCDExtraLBA(c.text, toc);
    EXPECT_EQ(std::memcmp(&toc, &expected, sizeof toc), 0) << c.text;
  }
  std::string long_text = "200";
  for (int i = 0; i < 200; ++i) long_text += "+96";
  TOC toc;
  clTOCReader::MicrosoftStrTOCToCDExtraLBA(long_text, toc);
  EXPECT_EQ(toc.LastTrack, 100);

  // Within a chunk: 12 bytes and 8 for each track.
  const std::string body = "INFO" + Chunk("ITOC", std::string("1+96+3B2E\0", 10));
  NTag tags;
  EXPECT_TRUE(clRIFFLISTChunk::InitFrom(Data(body), body.size(), tags, kSilent, 0));
  EXPECT_EQ(Text(tags), "_cdtoc=0012010100000100000000000000AA0000003A98;");
  EXPECT_EQ(ToList(tags), body);
  NTag short_toc;
  short_toc.AddTag(tag_name::kCDToc, std::array<uint8_t, 3>{});
  EXPECT_EQ(ToList(short_toc), "");
}

TEST(TableOfContents, Addresses) {
  EXPECT_EQ(clTOCReader::MSFtoLBA(1, 2, 3, false), 4653U);
  EXPECT_EQ(clTOCReader::MSFtoLBA(0, 1, 0, true), 0U);
  uint32_t m = 0;
  uint32_t s = 0;
  uint32_t f = 0;
  clTOCReader::LBAtoMSF(4503, m, s, f, true);
  EXPECT_EQ(m * 10000 + s * 100 + f, 10203U);
  uint8_t address[4];
  clTOCReader::MSFAddressFromLBADWORD(4503, address, true);
  EXPECT_EQ(std::memcmp(address, "\0\1\2\3", 4), 0);
  EXPECT_EQ(clTOCReader::LBATomSecTime(4653), 62040U);
  EXPECT_EQ(clTOCReader::MSFTomSecTime(1, 2, 3), 62040U);
}

std::string Bext(const NTag& tags) {
  XMem body;
  const bool found = clRIFFBEXTChunk::TagsToBEXT(body, tags, kSilent);
  EXPECT_EQ(found, !body.IsEmpty());
  return Bytes(body);
}

std::string FromBext(const std::string& body) {
  NTag tags;
  EXPECT_EQ(clRIFFBEXTChunk::InitFrom(Data(body), body.size(), tags, kSilent), body.size() >= 602);
  return Text(tags);
}

TEST(BextChunk, Reading) {
  EXPECT_EQ(FromBext(Zeros(601)), "");
  EXPECT_EQ(FromBext(Zeros(602)), "TimeReference=0;");
  std::string body = " text" + Zeros(251) + std::string(32, 'o') + "r\n" + Zeros(30) +
                     "2026-11-21" + "12:00:00" + LE(0xFFFFFFFFFFFFFFFE, 8) + LE(2, 2) + Zeros(254);
  EXPECT_EQ(FromBext(body + "A=PCM\r\n" + Zeros(9)),
            "Description=text;Originator=" + std::string(32, 'o') +
                ";OrigReference=r;OrigDate=2026-11-21;OrigTime=12:00:00;"
                "TimeReference=18446744073709551614;CodingHistory=A=PCM;");
  EXPECT_EQ(clRIFFBEXTChunk::Version(Data(body), body.size()), 2);
  EXPECT_EQ(clRIFFBEXTChunk::Version(Data(body), 347), 0);
}

TEST(BextChunk, Writing) {
  NTag tags;
  tags.AddTag(L"Title", L"x");
  EXPECT_EQ(Bext(tags), "");
  tags.AddTag(L"description", XStr(300, L'd'));
  tags.AddTag(L"Originator", L"\u4E00\u20AC");
  tags.AddTag(L"OrigDate", L"replaced");
  tags.AddTag(L"OrigDate", L"2026");
  tags.AddTag(L"TimeReference", L"4294967297");
  EXPECT_EQ(Bext(tags), std::string(256, 'd') + "_\x80" + Zeros(62) + "2026" + Zeros(14) +
                            LE(1, 4) + LE(1, 4) + Zeros(256));
  tags.AddTag(L"CodingHistory", L"0123456789");
  EXPECT_EQ(Bext(tags).substr(602), "0123456789" + Zeros(4));
  tags.AddTag(L"CodingHistory", L"abc");
  EXPECT_EQ(Bext(tags).substr(602), "abc" + Zeros(15));
  clRIFFBEXTChunk::RemoveTagsFromList(tags, kSilent);
  EXPECT_EQ(Text(tags), "Title=x;");
}

// Tags and properties that the module gives for a file, as text; the kinds are in the properties.
struct Described {
  explicit Described(const std::string& file, uint32_t flags = ZuOpenTags | ZuOpenProperties) {
    const TempFile temporary(file);
    Instance instance(Report.Record);
    Opened = instance.Open(temporary.Name(), flags);
    const STZuOpenDecoder& record = instance.Record;
    NTag tags;
    tags.InitFromRawMemory(record.tagData, record.tagSize);
    Tags = Text(tags);
    tags.InitFromRawMemory(record.propsData, record.propsSize);
    for (size_t i = 0; i < tags.Count(); ++i) {
      Properties[std::string(tags.At(i).Name)] = tags.At(i).Value;
    }
  }

  CapturedReport Report;
  bool Opened = false;
  std::string Tags;
  std::map<std::string, std::string> Properties;
};

const std::string kFmt = Fmt(1, 2, 44100, 16);
const std::string kData = Chunk("data", Noise(400));
constexpr char kMarkers[] = "_riff_1=666D7420;_riff_2=64617461;";

std::string List(const std::string& items) { return Chunk("LIST", "INFO" + items); }

TEST(WaveTags, SourcesAndTheirPrecedence) {
  const std::string artist = List(Chunk("IART", "A"));
  const std::string title = Text3("TIT2", "from ID3");
  const std::string bext = "d" + Zeros(345) + LE(1, 2) + Zeros(254);
  const std::string adtl = Chunk("LIST", "adtl");
  const struct {
    std::string chunks;
    std::string tags;
    const char* kinds;
  } cases[] = {
      {kFmt + kData, kMarkers, ""},
      {kFmt + kData + artist, std::string("Artist=A;") + kMarkers, "LIST"},
      {kFmt + kData + List(Chunk("INAM", "from LIST") + Chunk("ICMT", "c") + Chunk("ICMT", "d")) +
           Chunk("id3 ", Tag(3, 0, title)) + Chunk("bext", bext),
       std::string("Title=from ID3;TagVersion=ID3v2.3;Comment=c;Description=d;TimeReference=0;") +
           kMarkers,
       "LIST & ID3 & BEXT v1"},
      {kFmt + Chunk("ID3 ", Tag(3, 0, title).substr(0, 10 + title.size() - 1)) + kData, kMarkers,
       "ID3"},
      {kFmt + Chunk("id3 ", "") + Chunk("bext", "short") + kData, kMarkers, "BEXT v0"},
      {kFmt + kData + adtl + artist,
       std::string("Artist=A;") + kMarkers + "_riff_3=4C4953546164746C;", "LIST"},
      {kFmt + kData + artist + List(Chunk("IART", "B") + Chunk("IGNR", "G")),
       std::string("Artist=A;Genre=G;") + kMarkers +
           "_riff_3=4C495354494E464F49415254010000004100;",
       "LIST"},
      {Chunk("JUNK", "j") + kFmt + Chunk("fact", "1234") + Chunk("abc\1", "xyz") + kData +
           Chunk("pad ", "p"),
       "_riff_1=666D7420;_riff_2=6162630178797A;_riff_3=64617461;", ""},
  };
  for (const auto& c : cases) {
    Described file(Riff(c.chunks));
    EXPECT_TRUE(file.Opened);
    EXPECT_EQ(file.Tags, c.tags) << file.Report.Debug();
    EXPECT_EQ(file.Properties["ID Tag"], c.kinds);
  }
}

TEST(WaveTags, TheAlbumsChunkIsTheUsersChoice) {
  const TempFile settings(
      R"({"HKCU":{"software":{"Mardel":{"Tonvark":{"Tagging":{"WaveLISTAlbum":1}}}}}})");
  setenv("XCLASS_XREGISTRY_LOCATION", settings.Path.c_str(), 1);
  const std::string file = Riff(kFmt + kData + List(Chunk("IPRD", "P") + Chunk("ISRC", "I")));
  EXPECT_EQ(Described(file).Tags, std::string("Product=P;Album=I;") + kMarkers);
  setenv("XCLASS_XREGISTRY_LOCATION", "/nonexistent/settings", 1);
  EXPECT_EQ(Described(file).Tags, std::string("Album=P;ISRC=I;") + kMarkers);
  unsetenv("XCLASS_XREGISTRY_LOCATION");
}

TEST(WaveTags, PicturesAndTheDiscOfAnId3Tag) {
  const auto picture = [](int type, const std::string& description, const std::string& data) {
    return V3("APIC", std::string("\0image/png\0", 11) + static_cast<char>(type) + description +
                          '\0' + data);
  };
  Described file(Riff(
      kFmt + kData +
      Chunk("id3 ", Tag(3, 0,
                        V3("MCDI", "toc") + picture(3, "", "AA") + V3("APIC", "?") +
                            picture(4, "x/y", "B") + picture(0, "", "C") + Text3("TPE1", "A")) +
                        Zeros(10))));
  EXPECT_EQ(file.Tags, std::string("Artist=A;TagVersion=ID3v2.3;_albumart_1_Front Album Cover=4141;"
                                   "_albumart_2_Back Album Cover<subdesc>x/y=42;"
                                   "_albumart_3_Undefined=43;_cdtoc=746F63;") +
                           kMarkers);
  EXPECT_EQ(file.Properties["Contains"], "Album Art, CD TOC, ID Tag [ID3]");
}

TEST(WaveTags, TheReportListsThem) {
  Described file(Riff(kFmt + kData + List(Chunk("IART", "A")) +
                      Chunk("cue ", "\x01\x1f ~\x7f" + std::string(60, 'P'))),
                 ZuOpenTags);
  // Without the indentation, which depends on what failed before in this process.
  std::string debug;
  for (const char c : file.Report.Debug()) {
    if (c != ' ' || !debug.ends_with('\n')) debug += c;
  }
  EXPECT_NE(debug.find("[InitFrom]\r\n4 ID Tags:\r\nArtist: A\r\n_riff_1: DATA Length: 4   fmt \r\n"
                       "_riff_2: DATA Length: 4   data\r\n_riff_3: DATA Length: 69   cue .. ~.P"),
            std::string::npos)
      << debug;
  EXPECT_TRUE(file.Properties.empty());
}

// What a file says of itself can neither forge lines of the report nor move its indentation.
TEST(WaveTags, TheReportIsNotTheFiles) {
  const auto user = [](const std::string& name, const std::string& value) {
    return V3("TXXX", '\0' + name + '\0' + value);
  };
  const std::string frames = user("->->", "x") + user("<-<-", "\r\n*** Error: fake");
  Described file(Riff(kFmt + kData + Chunk("id3 ", Tag(3, 0, frames))), ZuOpenTags);
  const std::string debug = file.Report.Debug();
  EXPECT_NE(debug.find(" .>->: x\r\n"), std::string::npos) << debug;
  EXPECT_NE(debug.find(" .-<-: ..*** Error: fake\r\n"), std::string::npos) << debug;
  const size_t entered = debug.find("->->  [Open]");
  const size_t left = debug.find("<-<-  [Open]");
  EXPECT_EQ(left - debug.rfind('\n', left) - 1, entered) << debug;
}

TEST(WaveTags, UserTextDoesNotPoseAsWhatIsReserved) {
  std::string frames;
  for (const char* name :
       {"_albumart_1_Media", "_CDTOC", "_riff_1", "TagVersion", "_crc", "_mine"}) {
    frames += V3("TXXX", '\0' + std::string(name) + '\0' + "v");
  }
  Described file(Riff(kFmt + kData + Chunk("id3 ", Tag(3, 0, frames))));
  EXPECT_EQ(file.Tags, std::string("_crc=v;_mine=v;TagVersion=ID3v2.3;") + kMarkers);
  EXPECT_EQ(file.Properties["Contains"], "CRC, ID Tag [ID3]");
}

TEST(WaveTags, TheSizeOfAnId3TagIsThatOfItsHeader) {
  const struct {
    std::string header;
    uint64_t size;
  } cases[] = {
      {std::string("ID3\4\0\x10\0\0\2\0", 10), 276},
      {std::string("ID3\3\0\0\x7f\x7f\x7f\x7f", 10), 0x10000009},
      {std::string("ID3\3\0\x08\0\0\2\0", 10), 0},
      {std::string("ID3\3\0\0\0\0\x80\0", 10), 0},
      {std::string("id3\3\0\0\0\0\2\0", 10), 0},
  };
  for (const auto& c : cases) EXPECT_EQ(id3parser::TagSizeOf(Data(c.header)), c.size);
}

TEST(WaveTags, WithoutAFormatThereIsNothing) {
  for (const std::string& chunks : {kData, kFmt}) {
    const Described file(Riff(chunks + List(Chunk("IART", "A"))));
    EXPECT_TRUE(file.Opened);
    EXPECT_EQ(file.Tags, "");
    EXPECT_TRUE(file.Properties.empty());
  }
}

TEST(Properties, OfAnOrdinaryFile) {
  Described file(Riff(kFmt + Chunk("data", Zeros(10584000)) + Chunk("abcd", Zeros(1024)) +
                      Chunk("x\ny,", "1")));
  EXPECT_EQ(file.Properties,
            (std::map<std::string, std::string>{
                {"Audio Quality", "CD  (Lossless)"},
                {"Encoder Settings", "PCM"},
                {"Wave Header", "Wave Format PCM"},
                {"Channel Mapping", "Left, Right"},
                {"Sample Count", "2646000"},
                {"Riff Chunks", "'fmt ' 16 bytes,  'data' 10.09 MB,  'abcd' 1 KB,  'x.y,' 1 byte"},
                {"Gapless", "Yes"}}));
  EXPECT_NE(
      file.Report.Debug().find("[FillAudioProps]\r\n\tAudio Quality: CD  (Lossless)\r\n\tEncoder"),
      std::string::npos);
}

}  // namespace
}  // namespace wavecodec
