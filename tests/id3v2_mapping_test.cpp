#include <gtest/gtest.h>

#include <initializer_list>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "id3v2/meta_map.h"
#include "support/names.h"

namespace wavecodec::id3parser {
namespace {

using namespace std::string_literals;

using t_fields = std::vector<std::pair<std::string, std::string>>;

// "name=value" for each value, values of one field by "|".
std::string Text(const metaMap& map) {
  std::string text;
  for (const auto& field : map.fields()) {
    text += (text.empty() ? "" : "; ") + field.name + "=" + field.values.joined('|');
  }
  return text;
}

metaMap MapOf(const t_fields& fields) {
  metaMap map;
  for (const auto& [name, value] : fields) map.add(name, value);
  return map;
}

t_tag TagOf(t_tagRevision revision, const t_fields& frames) {
  t_tag tag;
  tag.Reset(revision);
  for (const auto& [id, payload] : frames) {
    uint32_t number = 0;
    for (const char c : id) number = number << 8 | static_cast<uint8_t>(c);
    tag.AddFrame(number)->data.append_fromptr(payload.data(), payload.size());
  }
  return tag;
}

std::string Read(const t_tag& tag) {
  metaMap map;
  tag_to_metaMap(tag, map);
  return Text(map);
}

std::string Name(uint32_t id) {
  std::string name;
  for (int shift = 24; shift >= 0; shift -= 8) name += static_cast<char>(id >> shift);
  return name;
}

// "ID payload" of each frame, with "~" for a zero.
std::string Frames(const t_tag& tag) {
  std::string text;
  for (const t_frame& frame : tag.Frames()) {
    std::string payload(reinterpret_cast<const char*>(frame.data.get_ptr()), frame.data.get_size());
    for (char& c : payload) c = c == 0 ? '~' : c;
    text += (text.empty() ? "" : "; ") + Name(frame.id) + " " + payload;
  }
  return text;
}

t_tag Written(t_tagRevision revision, const metaMap& map, const tagCreateArgs& args = {}) {
  t_tag tag;
  tag.Reset(revision);
  metaMap_to_tag(tag, map, args);
  return tag;
}

std::string WrittenFrames(t_tagRevision revision, const t_fields& fields,
                          const tagCreateArgs& args = {}) {
  return Frames(Written(revision, MapOf(fields), args));
}

constexpr t_tagRevision kRevisions[] = {revision3, revision4};
constexpr tagCreateArgs kLenient{.lenientYearDate = 1};

TEST(Id3Mapping, EveryFieldHasItsFrame) {
  // Each with its frame: = the first value, * all values, # all in revision 4, @ a URL.
  constexpr const char* kFields =
      "Style*TIT1|Title=TIT2|Subtitle=TIT3|Set subtitle=TSST|Album=TALB|ISRC=TSRC|"
      "Encoded by=TENC|Copyright=TCOP|Label=TPUB|File owner/licensee=TOWN|"
      "Internet radio station name=TRSN|Internet radio station owner=TRSO|"
      "Encoder Settings=TSSE|Tempo=TBPM|Source=TMED|Initial key=TKEY|Title Sort*TSOT|"
      "Artist Sort*TSOP|Album Sort*TSOA|Album Artist Sort*TSO2|ComposerSort*TSOC|Length=TLEN|"
      "Language(s)=TLAN|Commercial information@WCOM|Copyright/Legal infromation@WCOP|"
      "Official audio file webpage@WOAF|Official artist/performer webpage@WOAR|"
      "Official audio source webpage@WOAS|Official internet radio station homepage@WORS|"
      "Payment@WPAY|Official publisher webpage@WPUB|Compilation=TCMP|Involved People#TIPL|"
      "Musician Credits#TMCL|Track=TRCK|Disc=TPOS|Original artist(s)/performer(s)*TOPE|"
      "Original album/movie/show title*TOAL|Artist*TPE1|Album Artist*TPE2|Conductor*TPE3|"
      "Interpreted, remixed, or otherwise modified by*TPE4|Composer*TCOM|"
      "Lyricist/Text writer*TEXT|";
  for (const auto revision : kRevisions) {
    metaMap all;
    std::string frames;
    std::istringstream rows(kFields);
    for (std::string row; std::getline(rows, row, '|');) {
      const std::string field = row.substr(0, row.size() - 5);
      const std::string id = row.substr(row.size() - 4);
      const char how = row[row.size() - 5];
      const bool in_frame = how != '#' || revision == revision4;
      std::string own = id;
      if (how == '@') {
        own.append(" one; ").append(id).append(" two");
      } else if (how == '=') {
        own.append(" ~one~; TXXX ~").append(field).append("~two~");
      } else if (in_frame) {
        own += " ~one~two~";
      } else {
        own = "TXXX ~" + field + "~one~two~";
      }
      EXPECT_EQ(WrittenFrames(revision, {{field, "one"}, {field, "two"}}), own);
      const std::string payload = how == '@' ? "one\0ignored"s : "\0one\0two\0"s;
      const bool first_only = how != '*';
      EXPECT_EQ(Read(TagOf(revision, {{id, payload}})), field + (first_only ? "=one" : "=one|two"));
      if (!in_frame) continue;
      all.add(field, "x");
      frames += (frames.empty() ? "" : "; ") + id + (how == '@' ? " x" : " ~x~");
    }
    EXPECT_EQ(Frames(Written(revision, all)), frames) << "the order of the frames";
  }
}

TEST(Id3Mapping, FieldsThatAreFramesOfTheirOwnKind) {
  const struct {
    t_fields Fields;
    std::string Frames;
  } cases[] = {
      {{{"Mood", "a"}, {"mood", "b"}}, "TXXX ~Mood~a~b~"},
      {{{"Comment", "a"}, {"Comment", "b"}}, "COMM ~eng~a~; COMM ~eng~b~"},
      {{{"COMMENT ITUNNORM", "0"}}, "COMM ~engiTunNORM~0~"},
      {{{"Comment Foo", "a b"}}, "COMM ~engFoo~a b~"},
      {{{"Commentary", "x"}}, "TXXX ~Commentary~x~"},
      {{{"Lyrics", "la\nla"}}, "USLT ~eng~la\nla~"},
      {{{"User defined URL link", "my page http://a"}}, "WXXX ~my page~http://a"},
      {{{"User defined URL link", "http://a"}}, "WXXX ~~http://a"},
      {{{"REPLAYGAIN_TRACK_GAIN", "-1 dB"}}, "TXXX ~replaygain_track_gain~-1 dB~"},
      {{{"Track", "3/12"}, {"Disc", "A1"}}, "TRCK ~3/12~; TPOS ~A1~"},
      {{{"a/b", "x"}, {"", "y"}, {"TagVersion", "ID3v2.3"}, {"None", ""}},
       "TXXX ~a/b~x~; TXXX ~~y~"},
  };
  for (const auto revision : kRevisions) {
    for (const auto& c : cases) {
      const t_tag tag = Written(revision, MapOf(c.Fields));
      EXPECT_EQ(Frames(tag), c.Frames);
      metaMap read;
      tag_to_metaMap(tag, read);
      EXPECT_EQ(Frames(Written(revision, read)), c.Frames) << Text(read);
    }
  }
  EXPECT_EQ(Read(TagOf(revision3, {{"COMM", "\0engFoo\0bar\0"s}, {"COMM", "\0deu\0a\0"s}})),
            "Comment Foo=bar; Comment=a");
  EXPECT_EQ(Read(TagOf(revision3, {{"TXXX", "\0TITLE\0a"s}, {"TIT2", "\0b"s}, {"TIT2", "\0c"s}})),
            "Title=a|b|c");
  EXPECT_EQ(Read(TagOf(revision4, {{"TCMP", "\0000"s}, {"TXXX", "\0ReplayGain_Album_Peak\0001"s}})),
            "replaygain_album_peak=1");
  EXPECT_TRUE(MapOf({{"Replaygain_Album_Peak", "1"}}).haveReplayGain());
  // What is not well formed says nothing, and keeps nothing else from being read.
  EXPECT_EQ(Read(TagOf(revision3, {{"TIT2", "\7x"},
                                   {"COMM", "\0en"s},
                                   {"WXXX", "\0no end"s},
                                   {"WXXX", "\1x"},
                                   {"POPM", "no rating"},
                                   {"POPM", "no rating\0"s},
                                   {"TXXX", "\0alone"s},
                                   {"TALB", ""},
                                   {"TPE1", "\3A"}})),
            "Artist=A");
}

TEST(Id3Mapping, StrictReadingWantsOneString) {
  const auto read = [](const char* id, const std::string& payload, t_tagRevision revision) {
    metaMap map;
    frame_to_infos(TagOf(revision, {{id, payload}}).Frames().front().view(), revision, map, true);
    return Text(map);
  };
  EXPECT_THROW(read("TPE1", "\0a\0b\0"s, revision3), parseError);
  EXPECT_EQ(read("TPE1", "\0a\0b\0"s, revision4), "Artist=a|b");
  EXPECT_THROW(read("TXXX", "\0n\0a\0b\0"s, revision3), parseError);
  EXPECT_EQ(read("TXXX", "\0n\0a\0"s, revision3), "n=a");
  EXPECT_EQ(read("TYER", "\0001999"s, revision3), "Year=1999");
  EXPECT_THROW(read("TYER", "\000199\xB9"s, revision4), parseError);
}

TEST(Id3Mapping, OldDateFramesMakeOneDate) {
  const struct {
    t_fields Frames;
    std::string Fields;
  } cases[] = {
      {{{"TIME", "\0001342"s}, {"TDAT", "\0000506"s}, {"TYER", "\0002004"s}},
       "Year=2004-06-05T13:42"},
      {{{"TYER", "\0002004"s}, {"TDAT", "\0002902"s}}, "Year=2004-02-29"},
      {{{"TYER", "\0002003"s}, {"TDAT", "\0002902"s}}, "Year=2003"},
      {{{"TYER", "\0002004"s}, {"TDAT", "\0000513"s}, {"TIME", "\0001342"s}}, "Year=2004"},
      {{{"TYER", "\0002004"s}, {"TDAT", "\0000506"s}, {"TIME", "\0002460"s}}, "Year=2004-06-05"},
      {{{"TYER", "\0002004"s}, {"TDAT", "\0000506"s}, {"TIME", "\0002400"s}}, "Year=2004-06-05"},
      {{{"TYER", "\0002001"s}, {"TYER", "\0002002"s}, {"TYER", "\0002003"s}},
       "Year=2001|2002|2003"},
      {{{"TYER", "\0002001"s}, {"TDRC", "\0002005"s}, {"TYER", "\0002002"s}, {"TDAT", "\0000506"s}},
       "Year=2001-06-05|2005|2002"},
      {{{"TORY", "\0001960"s}, {"TORY", "\0001961"s}}, "Original release year=1960|1961"},
      {{{"TYER", "\0c. 1999"s}, {"TDAT", "\0000506"s}}, "Year=c. 1999"},
      {{{"TDAT", "\0000506"s}}, ""},
      {{{"TDRC", "\0002004-06"s}, {"TYER", "\0002004"s}}, "Year=2004-06"},
      {{{"TDRC", "\0002004"s}, {"TYER", "\0002004"s}, {"TDAT", "\0000506"s}}, "Year=2004-06-05"},
      {{{"TORY", "\0001960"s}, {"TDOR", "\0001960-01"s}}, "Original release year=1960-01"},
  };
  for (const auto revision : kRevisions) {
    for (const auto& c : cases) EXPECT_EQ(Read(TagOf(revision, c.Frames)), c.Fields);
  }
}

TEST(Id3Mapping, DatesAreWrittenSoThatTheyComeBack) {
  const struct {
    const char* Year;
    std::string Old, Strict;  // frames of revision 3, and of revision 4 when strict
    std::string OldLenient;   // "" where it makes no difference
  } cases[] = {
      {"2004", "TYER ~2004~", "TDRC ~2004~", ""},
      {"2004-06", "TYER ~2004~; TXXX ~Year~2004-06~", "TDRC ~2004-06~", ""},
      {"2004-06-05", "TYER ~2004~; TDAT ~0506~", "TDRC ~2004-06-05~", ""},
      {"2004-06-05T13:42", "TYER ~2004~; TDAT ~0506~; TIME ~1342~", "TDRC ~2004-06-05T13:42~", ""},
      {"2004-06-05T13:42:01",
       "TYER ~2004~; TDAT ~0506~; TIME ~1342~; TXXX ~Year~2004-06-05T13:42:01~",
       "TDRC ~2004-06-05T13:42:01~", ""},
      {"2004-06-31", "TYER ~2004~; TXXX ~Year~2004-06-31~", "TDRC ~2004-06-31~", ""},
      {"1999/2003-01", "TYER ~1999~; TXXX ~Year~1999/2003-01~", "TDRC ~1999/2003-01~", ""},
      {"c. 1999", "TXXX ~Year~c. 1999~", "TXXX ~Year~c. 1999~", "TYER ~c. 1999~"},
  };
  for (const auto& c : cases) {
    const t_fields fields = {{"Year", c.Year}};
    EXPECT_EQ(WrittenFrames(revision3, fields), c.Old);
    EXPECT_EQ(WrittenFrames(revision3, fields, kLenient),
              c.OldLenient.empty() ? c.Old : c.OldLenient);
    EXPECT_EQ(WrittenFrames(revision4, fields), c.Strict);
    EXPECT_EQ(WrittenFrames(revision4, fields, kLenient), "TDRC ~"s + c.Year + "~");
    for (const auto revision : kRevisions) {
      for (const tagCreateArgs& args : {tagCreateArgs(), kLenient}) {
        for (const t_fields& more : {t_fields(), t_fields{{"Year", "2010"}}}) {
          metaMap map = MapOf({{"Original release year", c.Year}, {"Year", c.Year}});
          for (const auto& [name, value] : more) map.add(name, value);
          metaMap read;
          tag_to_metaMap(Written(revision, map, args), read);
          for (const auto& field : map.fields()) {
            ASSERT_TRUE(read.haveField(field.name)) << c.Year;
            EXPECT_EQ(read.find(field.name)->joined('|'), field.values.joined('|'));
          }
        }
      }
    }
  }
  const t_fields others = {
      {"Recording dates", "5th"}, {"Release date", "2004"}, {"Original release year", "1960-01"}};
  EXPECT_EQ(WrittenFrames(revision3, others),
            "TORY ~1960~; TRDA ~5th~; TDRL ~2004~; TXXX ~Original release year~1960-01~");
  EXPECT_EQ(WrittenFrames(revision4, others),
            "TDOR ~1960-01~; TDRL ~2004~; TXXX ~Recording dates~5th~");
}

TEST(Id3Mapping, Genres) {
  const struct {
    std::string Payload, In3, In4;
  } read[] = {
      {"17", "Rock", "Rock"},
      {"(17)(6)", "Rock", "Rock"},
      {"(4)Eurodisco", "Disco", "Disco"},
      {"(125)", "Dance Hall", "Dance Hall"},
      {"(126)x", "", ""},
      {"126", "126", "126"},
      {"99999999999999999999999", "99999999999999999999999", "99999999999999999999999"},
      {"(RX)", "Remix", "Remix"},
      {"(CR)x", "Cover", "Cover"},
      {"((foo)", "(foo)", "(foo)"},
      {"(foo)", "(foo)", "(foo)"},
      {"  Rock  ; 17;;Pop ", "Rock|Rock|Pop ", "  Rock  ; 17;;Pop "},
      {"a\0(67)\0"s, "a|Psychadelic", "a|Psychadelic"},
  };
  for (const auto& c : read) {
    const auto expected = [](const std::string& s) { return s.empty() ? s : "Genre=" + s; };
    EXPECT_EQ(Read(TagOf(revision3, {{"TCON", "\0"s + c.Payload}})), expected(c.In3));
    EXPECT_EQ(Read(TagOf(revision4, {{"TCON", "\0"s + c.Payload}})), expected(c.In4));
  }
  const struct {
    std::vector<std::string> Genres;
    std::string In3, In4;
  } written[] = {
      {{"Rock", "Own"}, "TCON ~Rock;Own~", "TCON ~Rock~Own~"},
      {{"(RX)", "(1)", "(x"}, "TCON ~((RX);((1);((x~", "TCON ~((RX)~((1)~((x~"},
      {{"126"}, "TCON ~126~", "TCON ~126~"},
      {{"Pop", "17", "Own"}, "TCON ~Pop~; TXXX ~Genre~17~Own~", "TCON ~Pop~; TXXX ~Genre~17~Own~"},
      {{"a;b"}, "TXXX ~Genre~a;b~", "TCON ~a;b~"},
      {{" a "}, "TXXX ~Genre~ a ~", "TCON ~ a ~"},
  };
  for (const auto& c : written) {
    metaMap map;
    for (const auto& genre : c.Genres) map.add("Genre", genre);
    EXPECT_EQ(Frames(Written(revision3, map)), c.In3);
    EXPECT_EQ(Frames(Written(revision4, map)), c.In4);
    for (const auto revision : kRevisions) EXPECT_EQ(Read(Written(revision, map)), Text(map));
  }
}

TEST(Id3Mapping, Ratings) {
  const std::string owner = "POPM Windows Media Player 9 Series~";
  EXPECT_EQ(WrittenFrames(revision3, {{"Rating", "3"}}), owner + "\x20~~~~");
  EXPECT_EQ(WrittenFrames(revision3, {{"Rating", "10"}}), owner + "\xFF~~~~");
  EXPECT_EQ(WrittenFrames(revision3, {{"Rating", "3"}}, {.suppressRating = 1}), "TXXX ~Rating~3~");
  for (const std::string value : {"0", "11", "7.5", "good", "99999999999999999999"}) {
    EXPECT_EQ(WrittenFrames(revision4, {{"Rating", value}}), "TXXX ~Rating~" + value + "~");
  }
  EXPECT_EQ(WrittenFrames(revision4, {{"Rating", "1"}, {"Rating", "2"}}), "TXXX ~Rating~1~2~");
  const std::pair<int, const char*> bytes[] = {{0, "0"},    {1, "2"},   {2, "3"},   {32, "3"},
                                               {33, "4"},   {196, "8"}, {197, "9"}, {228, "9"},
                                               {229, "10"}, {255, "10"}};
  for (const auto& [byte, rating] : bytes) {
    EXPECT_EQ(Read(TagOf(revision3, {{"POPM", "x\0"s + static_cast<char>(byte)}})),
              "Rating="s + rating);
  }
}

TEST(Id3Mapping, GaplessText) {
  const auto parse = [](const std::string& text) {
    uint64_t delay = 0;
    uint64_t length = 0;
    const t_tag tag = TagOf(revision3, {{"COMM", "\0engiTunSMPB\0"s + text}});
    const bool ok = extractAppleGapless(tag.Frames().front().view(), delay, length);
    return ok ? std::to_string(delay) + " " + std::to_string(length) : "none";
  };
  EXPECT_EQ(parse(" 00000000 00000840  000001c4 0000000000ABC123 0 0"), "2112 11256099");
  EXPECT_EQ(parse("0 8x 0 1"), "128 1");
  EXPECT_EQ(parse("0 840 1C4 0"), "none");
  EXPECT_EQ(parse("0 840 1C4"), "none");
  EXPECT_EQ(parse("0 1 0 FFFFFFFFFFFFFFFF"), "none");
}

// Old frames, a change to the fields read from them, the frames after writing.
TEST(Id3Mapping, SalvagesWhatNoFieldCovers) {
  const std::string popm = "me\0\x20\0\0\1\0"s;
  const t_fields old = {{"PRIV", "a\0b"s},        {"TIT2", "\0Title\0more\0"s},
                        {"CHAP", "c\1\2"},        {"APIC", "\0image/png\0\3\0x"s},
                        {"POPM", popm},           {"COMM", "\0deu\0Hallo\0"s},
                        {"COMM", "\0eng\0Hi\0"s}, {"TIPL", "\0mix\0Bob\0"s},
                        {"\0\0\0\0"s, "2.2"},     {"TMOO", "\0calm"s},
                        {"TDAT", "\0000506"s}};
  const std::string rest = "TDAT ~0506; PRIV a~b; CHAP c\1\2; TMOO ~calm";
  const struct {
    const char* What;
    const char *Field, *Value;  // null: the field goes
    std::string Frames;
  } cases[] = {
      {"unchanged", "Title", "Title",
       "TIT2 ~Title~more~; TIPL ~mix~Bob~; POPM me~\x20~~\1~; COMM ~deu~Hallo~; COMM ~eng~Hi~; " +
           rest},
      {"changed", "Rating", "5",
       "TIT2 ~Title~more~; TIPL ~mix~Bob~; POPM Windows Media Player 9 Series~\x60~~~~; "
       "COMM ~deu~Hallo~; COMM ~eng~Hi~; " +
           rest},
      {"gone", "Comment", nullptr, "TIT2 ~Title~more~; TIPL ~mix~Bob~; POPM me~\x20~~\1~; " + rest},
      {"a year takes the place of the day", "Year", "2004",
       "TIT2 ~Title~more~; TDRC ~2004~; TIPL ~mix~Bob~; POPM me~\x20~~\1~; COMM ~deu~Hallo~; "
       "COMM ~eng~Hi~; " +
           rest.substr(rest.find("PRIV"))},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    t_tag tag = TagOf(revision4, old);
    metaMap map;
    tag_to_metaMap(tag, map);
    if (c.Value != nullptr)
      map.set(c.Field, c.Value);
    else
      map.remove(c.Field);
    metaMap_to_tag(tag, map);
    EXPECT_EQ(Frames(tag), c.Frames);
  }
  t_tag tag = TagOf(revision3, {{"TDAT", "\0000506"s}});
  metaMap_to_tag(tag, MapOf({{"Year", "2004"}}));
  EXPECT_EQ(Frames(tag), "TYER ~2004~");
  tag = TagOf(revision2, {{"COMM", "\0deu\0a\0"s}, {"TIT2", "\0x"s}});
  metaMap_to_tag(tag, MapOf({{"Comment", "a"}}));
  EXPECT_EQ(tag.Revision(), revision3);
  EXPECT_EQ(Frames(tag), "COMM ~deu~a~");
}

// Frames that show nothing, or not all that they hold, and frames whose text new ones would not
// give back: an edit elsewhere leaves them alone.
TEST(Id3Mapping, AnEditDoesNothingToOtherFields) {
  const struct {
    t_tagRevision Revision;
    t_fields Old;
    const char *Field, *Value;  // the edit; Value null: all fields go
    std::string Frames;
  } cases[] = {
      {revision3, {{"TCON", "\0(147)"s}}, "Artist", "a", "TPE1 ~a~; TCON ~(147)"},
      {revision3, {{"TCON", "\0(147)"s}}, "Genre", "Rock", "TCON ~Rock~"},
      {revision3, {{"TCON", "\0(4)Eurodisco"s}}, "Artist", "a", "TCON ~(4)Eurodisco; TPE1 ~a~"},
      {revision3, {{"TCMP", "\0000"s}}, "Artist", "a", "TPE1 ~a~; TCMP ~0"},
      {revision3, {{"TIT2", "\4x"}}, "Artist", "a", "TPE1 ~a~; TIT2 \4x"},
      {revision3, {{"TXXX", "\0Mood\0"s}}, "Artist", "a", "TPE1 ~a~; TXXX ~Mood~"},
      {revision3, {{"TXXX", "\0Mood\0"s}}, "mood", "a", "TXXX ~mood~a~"},
      {revision3, {{"COMM", "\0deux\0"s}}, "Comment", "a", "COMM ~eng~a~; COMM ~deux~"},
      {revision3, {{"COMM", "\0deux\0"s}}, "Comment x", "a", "COMM ~engx~a~"},
      {revision3, {{"WXXX", "\0no end"s}}, "User defined URL link", "a", "WXXX ~~a; WXXX ~no end"},
      {revision3,
       {{"APIC", "\0none"s}, {"APIC", "\0m\0\3\0x"s}},
       "Artist",
       "a",
       "TPE1 ~a~; APIC ~none"},
      {revision3,
       {{"COMM", "\3deu\0\xC3\xA4"s}},
       "Artist",
       "a",
       "TPE1 ~a~; COMM \1deu\xFF\xFE~~\xFF\xFE\xE4~~~"},
      {revision4,
       {{"TPE1", "\3\xD0\x96"s}, {"COMM", "\3eng\0\xD0\x96"s}},
       "Title",
       "a",
       "TIT2 ~a~; TPE1 \3\xD0\x96; COMM \3eng~\xD0\x96"},
      {revision4,
       {{"COMM", "\3eng\0\xD0\x96"s}, {"COMM", "\3eng\0b"s}},
       "Comment",
       "\xD0\x96",
       "COMM \3eng~\xD0\x96"},
      {revision4,
       {{"TXXX", "\0TITLE\0a"s}, {"TIT2", "\0b\0c"s}},
       "Year",
       "2004",
       "TXXX ~TITLE~a; TIT2 ~b~c; TDRC ~2004~"},
      {revision4,
       {{"TYER", "\0002004"s}, {"TDRC", "\0002004-06"s}},
       "Title",
       "a",
       "TIT2 ~a~; TYER ~2004; TDRC ~2004-06"},
      {revision4, {{"TYER", "\0002004"s}}, "Title", "a", "TIT2 ~a~; TDRC ~2004~"},
      {revision4,
       {{"TIT2", "\0b"s}, {"TXXX", "\0TITLE\0c"s}},
       "Year",
       "2004",
       "TIT2 ~b; TDRC ~2004~; TXXX ~TITLE~c"},
      {revision3, {{"TIPL", "\0mix\0Bob"s}}, "Title", "a", "TIT2 ~a~; TIPL ~mix~Bob"},
      {revision3, {{"TIT2", "\0x"s}, {"TIT2", "\4x"}}, "Title", nullptr, ""},
      {revision3,
       {{"TXXX", "\0TagVersion\0x"s}, {"TXXX", "\0_riff_1\0x"s}},
       "_riff_1",
       nullptr,
       "TXXX ~TagVersion~x; TXXX ~_riff_1~x"},
  };
  for (const auto& c : cases) {
    t_tag tag = TagOf(c.Revision, c.Old);
    metaMap map;
    tag_to_metaMap(tag, map);
    c.Value != nullptr ? map.set(c.Field, c.Value) : map.clear();
    metaMap_to_tag(tag, map);
    EXPECT_EQ(Frames(tag), c.Frames);
  }
  t_tag tag = TagOf(revision3, {{"COMM", "\0deu\0a"s}, {"COMM", "\0fra\0b"s}});
  metaMap_to_tag(tag, MapOf({{"Comment", "a\rb"}}));
  EXPECT_EQ(Frames(tag), "COMM ~deu~a; COMM ~fra~b");
  tag = TagOf(revision3, {{"COMM", "\3deu\0a"s}, {"COMM", "\0fra\0a"s}});
  metaMap_to_tag(tag, MapOf({{"Comment", "a"}, {"Comment", "a"}, {"Comment", "b"}}));
  EXPECT_EQ(Frames(tag),
            "COMM \1deu\xFF\xFE~~\xFF\xFE"
            "a~~~; COMM ~fra~a; COMM ~eng~b~");
}

TEST(Id3Mapping, LowersTheEncodingToWhatTheRevisionKnows) {
  const auto first = [](t_tagRevision revision, uint8_t encoding) {
    return WrittenFrames(revision, {{"Title", "x"}}, {.encoding = encoding})[5];
  };
  for (const uint8_t encoding : {encodingUTF16, encodingUTF16BE, encodingUTF8})
    EXPECT_EQ(first(revision3, encoding), '\1');
  EXPECT_EQ(first(revision4, 2), '\1');
  EXPECT_EQ(first(revision4, 3), '\3');
  EXPECT_THROW(first(revision4, 4), writeError);
}

TEST(Id3Mapping, RandomFieldsComeBack) {
  std::mt19937 random(11);
  const auto pick = [&](size_t n) { return random() % n; };
  const std::vector<std::string> names = {
      "Artist", "Style",     "Composer", "Genre", "Comment", "Comment a b",           "Lyrics",
      "Year",   "Own/field", "Title",    "Track", "Rating",  "User defined URL link", "Payment"};
  const std::vector<std::string> letters = {"a", "B", "/", ";", "7", "(", ")", "\xC3\xA4"};
  for (int round = 0; round < 1000; ++round) {
    metaMap map;
    for (size_t i = pick(8); i > 0; --i) {
      const std::string& name = names[pick(names.size())];
      std::string value;
      for (size_t n = pick(6) + 1; n > 0; --n) value += letters[pick(letters.size())];
      map.add(name, value);
    }
    for (const auto revision : kRevisions) {
      for (const uint8_t encoding : {encodingISO, encodingUTF16, encodingUTF8}) {
        const tagCreateArgs args{.encoding = encoding, .lenientYearDate = uint8_t(round % 2)};
        t_tag tag = Written(revision, map, args);
        for (int again = 0; again < 2; ++again) {
          metaMap read;
          tag_to_metaMap(tag, read);
          ASSERT_EQ(read.fields().size(), map.fields().size()) << Text(map) << "\n" << Text(read);
          for (const auto& field : map.fields()) {
            ASSERT_TRUE(read.haveField(field.name)) << Text(map);
            ASSERT_EQ(read.find(field.name)->joined('|'), field.values.joined('|'));
          }
          metaMap_to_tag(tag, read, args);
        }
      }
    }
  }
}

TEST(Id3MetaMap, KeepsOrderAndFindsNames) {
  metaMap map;
  for (int i = 0; i < 1000; ++i) map.add("Field " + std::to_string(i), std::to_string(i));
  for (const int gone : {500, 0, 999}) EXPECT_TRUE(map.remove("FIELD " + std::to_string(gone)));
  EXPECT_FALSE(map.remove("field 0"));
  map.add("fIELD 7", "x\0y"s);
  map.set("Field 8", "");
  EXPECT_EQ(map.fields().size(), 997U);
  EXPECT_EQ(map.find("field 7")->joined('|'), "7|x");
  EXPECT_EQ(map.find("field 8")->count(), 1U);
  for (int i = 1; i < 999; ++i) {
    EXPECT_EQ(map.haveField("field " + std::to_string(i)), i != 500);
  }
  EXPECT_EQ(map.fields()[499].name, "Field 501");
  std::set<uint32_t> hashes;
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
