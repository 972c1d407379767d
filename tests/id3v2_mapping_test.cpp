// Fields, and the frames that they are read from and written into.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "id3_frames.h"
#include "id3v2/meta_map.h"
#include "support/names.h"

namespace wavecodec::id3parser {
namespace {

using namespace test;
using namespace std::string_literals;

// Fields as text, "name=value; name=a|b", and back.
std::string Text(const metaMap& map) {
  std::string text;
  for (const auto& field : map.fields()) {
    text += (text.empty() ? "" : "; ") + field.name + "=" + field.values.joined('|');
  }
  return text;
}
metaMap MapOf(const std::string& text) {
  metaMap map;
  for (const std::string& item : Items(text)) {
    const size_t split = item.find('=');
    std::istringstream values(item.substr(split + 1) + "|");
    for (std::string value; std::getline(values, value, '|');) {
      map.add(item.substr(0, split), value);
    }
  }
  return map;
}

metaMap MapFrom(const t_tag& tag) {
  metaMap map;
  tag_to_metaMap(tag, map);
  return map;
}
std::string Read(t_tagRevision revision, const std::string& frames) {
  return Text(MapFrom(TagOf(revision, frames)));
}
t_tag Written(t_tagRevision revision, const metaMap& map, const tagCreateArgs& args = {}) {
  t_tag tag;
  tag.Reset(revision);
  metaMap_to_tag(tag, map, args);
  return tag;
}

constexpr t_tagRevision kRevisions[] = {revision3, revision4};
constexpr tagCreateArgs kLenient{.lenientYearDate = 1};

// Whatever is written comes back, beside other dates, too.
TEST(Id3Mapping, Writes) {
  const std::string rating = "POPM Windows Media Player 9 Series~", time = "2004-06-05T13:42";
  const struct {
    std::string Fields, In3;
    std::string In4 = "";  // "": the same
    tagCreateArgs Args = {};
  } cases[] = {
      // One value or several: the rest is text of the user's, but where the frame is a list.
      {"Title=a|b; Artist=a|b; Payment=a|b; Involved People=a; Track=3/12",
       "TIT2 ~a~; WPAY a; WPAY b; TRCK ~3/12~; TPE1 ~a~b~; TXXX ~Title~b~; "
       "TXXX ~Involved People~a~",
       "TIT2 ~a~; WPAY a; WPAY b; TIPL ~a~; TRCK ~3/12~; TPE1 ~a~b~; TXXX ~Title~b~"},
      {"Album=x; Composer=x; Album Artist=x; Encoded by=x; Artist Sort=x; Disc=A1",
       "TALB ~x~; TENC ~x~; TSOP ~x~; TPOS ~A1~; TPE2 ~x~; TCOM ~x~"},
      {"Mood=a; mood=b; a/b=x; =y", "TXXX ~Mood~a~b~; TXXX ~a/b~x~; TXXX ~~y~"},
      {"Comment=a|b; COMMENT ITUNNORM=0; Comment Foo=a b; Commentary=x",
       "COMM ~eng~a~; COMM ~eng~b~; COMM ~engiTunNORM~0~; COMM ~engFoo~a b~; TXXX ~Commentary~x~"},
      {"User defined URL link=my page http://a|http://a",
       "WXXX ~my page~http://a; WXXX ~~http://a"},
      {"TagVersion=ID3v2.3; None=", ""},
      {"Title=x", "TIT2 \1\xFF\xFEx~~~", "", {.encoding = encodingUTF16}},
      {"Title=x", "TIT2 \1\xFF\xFEx~~~", "TIT2 \3x~", {.encoding = encodingUTF8}},
      {"Rating=3", rating + "\x20~~~~"},
      {"Rating=3", "TXXX ~Rating~3~", "", {.suppressRating = 1}},
      {"Rating=11", "TXXX ~Rating~11~"},
      {"Genre=(RX)|(1)|(x", "TCON ~((RX);((1);((x~", "TCON ~((RX)~((1)~((x~"},
      {"Genre=126|Pop|17|Own", "TCON ~126;Pop~; TXXX ~Genre~17~Own~",
       "TCON ~126~Pop~; TXXX ~Genre~17~Own~"},
      {"Year=2004-06-05", "TYER ~2004~; TDAT ~0506~", "TDRC ~2004-06-05~"},
      {"Year=" + time + ":01", "TYER ~2004~; TDAT ~0506~; TIME ~1342~; TXXX ~Year~" + time + ":01~",
       "TDRC ~" + time + ":01~"},
      {"Year=1999/2003-01", "TYER ~1999~; TXXX ~Year~1999/2003-01~", "TDRC ~1999/2003-01~"},
      {"Year=c. 1999", "TXXX ~Year~c. 1999~"},
      {"Year=c. 1999", "TYER ~c. 1999~", "TDRC ~c. 1999~", kLenient},
      {"Recording dates=5th; Release date=2004; Original release year=1960-01",
       "TORY ~1960~; TRDA ~5th~; TDRL ~2004~; TXXX ~Original release year~1960-01~",
       "TDOR ~1960-01~; TDRL ~2004~; TXXX ~Recording dates~5th~"},
  };
  for (const auto& c : cases) {
    for (const auto revision : kRevisions) {
      const t_tag tag = Written(revision, MapOf(c.Fields), c.Args);
      EXPECT_EQ(Show(tag), revision == revision3 || c.In4.empty() ? c.In3 : c.In4);
      EXPECT_EQ(Show(Written(revision, MapFrom(tag), c.Args)), Show(tag)) << c.Fields;
      for (const std::string more : {"", "; Year=2010", "; Original release year=c. 2004"}) {
        const metaMap map = MapOf(c.Fields + more), read = MapFrom(Written(revision, map, c.Args));
        for (const auto& field : map.fields()) {
          if (field.name == "TagVersion" || field.name == "None") continue;
          ASSERT_TRUE(read.haveField(field.name)) << c.Fields;
          EXPECT_EQ(read.find(field.name)->joined('|'), field.values.joined('|'));
        }
      }
    }
  }
  EXPECT_THROW(Written(revision4, MapOf("Title=x"), {.encoding = 4}), writeError);
}

TEST(Id3Mapping, Reads) {
  const struct {
    std::string Frames, In3;
    std::string In4 = "=";  // the same
  } cases[] = {
      {"TIT2 ~a~b~; TPE1 \1\xFE\xFF~a~~~b~~\xFF\xFEt~~~u~; TIPL \3a~~b; TCOM \3c~~d; WPAY a~b",
       "Title=a; Artist=a|b|t|u; Involved People=a; Composer=c|d; Payment=a"},
      {"COMM ~engFoo~bar~; COMM ~deu~a~", "Comment Foo=bar; Comment=a"},
      {"TCMP ~0; TXXX ~ReplayGain_Album_Peak~1", "replaygain_album_peak=1"},
      {"WXXX \3d~\xE4\x80; WXXX \1\xFF\xFE~\1~~url; WXXX ~~url~x; WCOM url\xE4~x",
       "User defined URL link=d ä?|Ā url|url; Commercial information=urlä"},
      // What is not well formed says nothing, and keeps nothing else from being read.
      {"TIT2 \7x; COMM ~en; WXXX ~no end; WXXX \1x; POPM no rating; POPM no rating~; TXXX ~alone; "
       "TALB ; TPE1 \3A",
       "Artist=A"},
      {"POPM x~\xC4; POPM x~\xC5; POPM x~\xE4; POPM x~\xE5; POPM x~\xFF", "Rating=8|9|9|10|10"},
      {"TCON ~17; TCON ~(17)(6); TCON ~(125); TCON ~(126)x; TCON ~126; TCON ~a~(67)~",
       "Genre=Rock|Rock|Dance Hall|126|a|Psychadelic"},
      {"TCON ~(RX); TCON ~(CR)x; TCON ~((foo); TCON ~(foo); TCON ~99999999999999999999999",
       "Genre=Remix|Cover|(foo)|(foo)|99999999999999999999999"},
      // Old frames of a date make one.
      {"TIME ~1342; TDAT ~0506; TYER ~2004", "Year=2004-06-05T13:42"},
      {"TYER ~2003; TDAT ~2902", "Year=2003"},
      {"TYER ~2004; TDAT ~0506; TIME ~2360", "Year=2004-06-05"},
      {"TYER ~2001; TDRC ~2005; TYER ~2002; TDAT ~0506", "Year=2001-06-05|2005|2002"},
      {"TDRC ~2004; TYER ~2004; TDAT ~0506", "Year=2004-06-05"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Read(revision3, c.Frames), c.In3) << c.Frames;
    EXPECT_EQ(Read(revision4, c.Frames), c.In4 == "=" ? c.In3 : c.In4) << c.Frames;
  }
  EXPECT_TRUE(MapOf("Replaygain_Album_Peak=1").haveReplayGain());
}

TEST(Id3Mapping, StrictReadingWantsOneString) {
  metaMap map;
  const auto read = [&](t_tagRevision revision, const char* frame) {
    frame_to_infos(TagOf(revision, frame).Frames().front().view(), revision, map, true);
  };
  EXPECT_THROW(read(revision3, "TPE1 ~a~b~"), parseError);
  EXPECT_THROW(read(revision3, "TXXX ~n~a~b~"), parseError);
  read(revision4, "TPE1 ~a~b~");
  EXPECT_EQ(Text(map), "Artist=a|b");
}

TEST(Id3Mapping, GaplessText) {
  uint64_t delay = 0, length = 0;
  const auto extract = [&](const std::string& text) {
    const t_tag tag = TagOf(revision3, "COMM ~engiTunSMPB~" + text);
    return extractAppleGapless(tag.Frames().front().view(), delay, length);
  };
  EXPECT_TRUE(extract(" 00000000 00000840  000001c4 0000000000aBC123 0 0"));
  EXPECT_EQ(delay, 2112U);
  EXPECT_EQ(length, 11256099U);
  EXPECT_FALSE(extract("0 840 1C4"));
}

// An edit leaves other fields alone, and frames that show nothing, or not all that they hold, or
// whose text new ones would not give back.
TEST(Id3Mapping, AnEditDoesNothingToOtherFields) {
  const std::string rest = "PRIV a~b; CHAP c\1\2; TMOO ~calm";
  const std::string title = "TIT2 ~Title~more~; ", people = "TIPL ~mix~Bob~; ",
                    stars = "POPM me~\x20~~\1~; ", hello = "COMM ~deu~Hallo~; COMM ~eng~Hi~; ";
  const std::string much = "PRIV a~b; " + title + "CHAP c\1\2; APIC ~image/png~\3~x; " + stars +
                           hello + people + "~~~~ 2.2; TMOO ~calm; TDAT ~0506";
  const struct {
    t_tagRevision Revision;
    std::string Old;
    std::string
        Edit;  // "name=value" sets a field, "-name" removes it; "-" all, "-name=" all others
    std::string Expected;
  } cases[] = {
      {revision4, much, "Title=Title", title + people + stars + hello + "TDAT ~0506; " + rest},
      {revision4, much, "Rating=5",
       title + people + "POPM Windows Media Player 9 Series~\x60~~~~; " + hello + "TDAT ~0506; " +
           rest},
      {revision4, much, "-Comment", title + people + stars + "TDAT ~0506; " + rest},
      {revision4, much, "Year=2004", title + "TDRC ~2004~; " + people + stars + hello + rest},
      {revision2, "COMM ~deu~a~; TIT2 ~x", "-Comment=a", "COMM ~deu~a~"},
      {revision3, "TCON ~(147); TCMP ~0; TIT2 \4x; TXXX ~Mood~; APIC ~none; APIC ~m~\3~x",
       "Artist=a", "TPE1 ~a~; TCON ~(147); TCMP ~0; TIT2 \4x; TXXX ~Mood~; APIC ~none"},
      {revision3, "COMM ~deux~", "Comment=a", "COMM ~eng~a~; COMM ~deux~"},
      {revision4, "TPE1 \3\xD0\x96; COMM \3eng~\xD0\x96", "Title=a",
       "TIT2 ~a~; TPE1 \3\xD0\x96; COMM \3eng~\xD0\x96"},
      {revision4, "TYER ~2004; TDRC ~2004-06", "Title=a", "TIT2 ~a~; TYER ~2004; TDRC ~2004-06"},
      {revision3, "TXXX ~TagVersion~x; TXXX ~_riff_1~x", "-",
       "TXXX ~TagVersion~x; TXXX ~_riff_1~x"},
      {revision3, "COMM \3deu~a; COMM ~fra~a", "-Comment=a|a|b",
       "COMM \1deu\xFF\xFE~~\xFF\xFE\x61~~~; COMM ~fra~a; COMM ~eng~b~"},
  };
  for (const auto& c : cases) {
    t_tag tag = TagOf(c.Revision, c.Old);
    metaMap map = MapFrom(tag);
    const size_t split = c.Edit.find('=');
    if (!c.Edit.starts_with('-')) {
      map.set(c.Edit.substr(0, split), c.Edit.substr(split + 1));
    } else if (c.Edit == "-" || split != std::string::npos) {
      map = MapOf(c.Edit.substr(1));
    } else {
      map.remove(c.Edit.substr(1));
    }
    metaMap_to_tag(tag, map);
    EXPECT_EQ(Show(tag), c.Expected) << c.Old << "\n" << c.Edit;
    EXPECT_EQ(tag.Revision(), std::max(c.Revision, revision3));
  }
}

TEST(Id3MetaMap, KeepsOrderAndFindsNames) {
  metaMap map;
  for (int i = 0; i < 1000; ++i) map.add("Field " + std::to_string(i), std::to_string(i));
  for (const int gone : {500, 0, 999}) EXPECT_TRUE(map.remove("FIELD " + std::to_string(gone)));
  EXPECT_FALSE(map.remove("field 0"));
  map.add("fIELD 7", "x\0y"s);
  EXPECT_EQ(map.fields().size(), 997U);
  EXPECT_EQ(map.find("field 7")->joined('|'), "7|x");
  for (int i = 1; i < 999; ++i) EXPECT_EQ(map.haveField("field " + std::to_string(i)), i != 500);
  std::set<uint32_t> hashes;  // many names that an attacker chose
  for (unsigned bits = 0; bits < 4096; ++bits) {
    std::string name(12, '@');
    for (size_t i = 0; i < name.size(); ++i) name[i] = (bits >> i & 1) != 0 ? '`' : '@';
    hashes.insert(HashName(name));
  }
  EXPECT_GT(hashes.size(), 4000U);
  EXPECT_EQ(HashName("Field [Z] {a}"), HashName("fIELD [z] {A}"));
}

}  // namespace
}  // namespace wavecodec::id3parser
