#include "id3v2/field_table.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "support/names.h"

namespace wavecodec::id3parser {
namespace {

using Read = fieldRead;
using Write = fieldWrite;

constexpr std::array kRows = {
    fieldRow{"Style", frameID("TIT1"), Read::list, Write::list},
    fieldRow{"Title", frameID("TIT2"), Read::single, Write::single},
    fieldRow{"Subtitle", frameID("TIT3"), Read::single, Write::single},
    fieldRow{"Set subtitle", frameID("TSST"), Read::single, Write::single},
    fieldRow{"Album", frameID("TALB"), Read::single, Write::single},
    fieldRow{"ISRC", frameID("TSRC"), Read::single, Write::single},
    fieldRow{"Encoded by", frameID("TENC"), Read::single, Write::single},
    fieldRow{"Copyright", frameID("TCOP"), Read::single, Write::single},
    fieldRow{"Label", frameID("TPUB"), Read::single, Write::single},
    fieldRow{"File owner/licensee", frameID("TOWN"), Read::single, Write::single},
    fieldRow{"Internet radio station name", frameID("TRSN"), Read::single, Write::single},
    fieldRow{"Internet radio station owner", frameID("TRSO"), Read::single, Write::single},
    fieldRow{"Encoder Settings", frameID("TSSE"), Read::single, Write::single},
    fieldRow{"Tempo", frameID("TBPM"), Read::single, Write::single},
    fieldRow{"Source", frameID("TMED"), Read::single, Write::single},
    fieldRow{"Initial key", frameID("TKEY"), Read::single, Write::single},
    fieldRow{"Title Sort", frameID("TSOT"), Read::list, Write::list},
    fieldRow{"Artist Sort", frameID("TSOP"), Read::list, Write::list},
    fieldRow{"Album Sort", frameID("TSOA"), Read::list, Write::list},
    fieldRow{"Album Artist Sort", frameID("TSO2"), Read::list, Write::list},
    fieldRow{"ComposerSort", frameID("TSOC"), Read::list, Write::list},
    fieldRow{"Length", frameID("TLEN"), Read::single, Write::single},
    fieldRow{"Language(s)", frameID("TLAN"), Read::single, Write::single},
    fieldRow{"Lyrics", frameID("USLT"), Read::lyrics, Write::lyrics},
    fieldRow{"Genre", frameID("TCON"), Read::genres, Write::genres},
    fieldRow{"Commercial information", frameID("WCOM"), Read::url, Write::url},
    fieldRow{"Copyright/Legal infromation", frameID("WCOP"), Read::url, Write::url},
    fieldRow{"Official audio file webpage", frameID("WOAF"), Read::url, Write::url},
    fieldRow{"Official artist/performer webpage", frameID("WOAR"), Read::url, Write::url},
    fieldRow{"Official audio source webpage", frameID("WOAS"), Read::url, Write::url},
    fieldRow{"Official internet radio station homepage", frameID("WORS"), Read::url, Write::url},
    fieldRow{"Payment", frameID("WPAY"), Read::url, Write::url},
    fieldRow{"Official publisher webpage", frameID("WPUB"), Read::url, Write::url},
    fieldRow{"Compilation", frameID("TCMP"), Read::single, Write::single},
    fieldRow{"Year", frameID("TYER"), Read::year, Write::oldDate, revision3},
    fieldRow{"Year", frameID("TDAT"), Read::dayMonth, Write::none},
    fieldRow{"Year", frameID("TIME"), Read::time, Write::none},
    fieldRow{"Original release year", frameID("TORY"), Read::originalYear, Write::oldYear,
             revision3},
    fieldRow{"Recording dates", frameID("TRDA"), Read::single, Write::single, revision3},
    fieldRow{"Year", frameID("TDRC"), Read::single, Write::date, revision4},
    fieldRow{"Original release year", frameID("TDOR"), Read::single, Write::date, revision4},
    fieldRow{"Involved People", frameID("TIPL"), Read::single, Write::list, revision4},
    fieldRow{"Musician Credits", frameID("TMCL"), Read::single, Write::list, revision4},
    fieldRow{"Release date", frameID("TDRL"), Read::single, Write::date},
    fieldRow{"Track", frameID("TRCK"), Read::single, Write::number},
    fieldRow{"Disc", frameID("TPOS"), Read::single, Write::number},
    fieldRow{"Original artist(s)/performer(s)", frameID("TOPE"), Read::list, Write::list},
    fieldRow{"Original album/movie/show title", frameID("TOAL"), Read::list, Write::list},
    fieldRow{"Artist", frameID("TPE1"), Read::list, Write::list},
    fieldRow{"Album Artist", frameID("TPE2"), Read::list, Write::list},
    fieldRow{"Conductor", frameID("TPE3"), Read::list, Write::list},
    fieldRow{"Interpreted, remixed, or otherwise modified by", frameID("TPE4"), Read::list,
             Write::list},
    fieldRow{"Composer", frameID("TCOM"), Read::list, Write::list},
    fieldRow{"Lyricist/Text writer", frameID("TEXT"), Read::list, Write::list},
    fieldRow{"Rating", frameID("POPM"), Read::rating, Write::rating},
    fieldRow{kCommentField, frameID("COMM"), Read::comment, Write::comment},
    fieldRow{"User defined URL link", frameID("WXXX"), Read::userURL, Write::userURL},
    fieldRow{"", frameID("TXXX"), Read::userText, Write::userText},
};

// Descriptions that are looked for letter by letter.
constexpr std::array<std::string_view, 3> kPlayerComments = {"iTunNORM", "iTunSMPB", "iTunPGAP"};
constexpr std::string_view kReplayGain = "replaygain_";

// Rows by a hash of theirs, one more than their position; 0 is a free place.
constexpr size_t kPlaces = 256;
using placeTable = std::array<uint8_t, kPlaces>;

constexpr size_t placeOf(uint32_t id) { return (id * 0x9E3779B1U) >> 24; }
constexpr size_t placeOf(std::string_view name) {
  if (name.empty()) return 0;
  const auto character = [&](size_t i) -> size_t {
    return static_cast<uint8_t>(ToLowerASCII(name[i]));
  };
  return (name.size() * 37 + character(0) * 11 + character(name.size() - 1) * 5) % kPlaces;
}
constexpr bool isOf(const fieldRow& row, uint32_t id) { return row.id == id; }
constexpr bool isOf(const fieldRow& row, std::string_view name) { return SameName(row.name, name); }

template <typename Key>
constexpr const fieldRow* find(const placeTable& table, Key key) {
  for (size_t place = placeOf(key); table[place] != 0; place = (place + 1) % kPlaces) {
    const fieldRow& row = kRows[table[place] - 1];
    if (isOf(row, key)) return &row;
  }
  return nullptr;
}

template <typename Key>
constexpr placeTable makeTable(Key fieldRow::*key) {
  placeTable table{};
  for (size_t i = 0; i < kRows.size(); ++i) {
    if (find(table, kRows[i].*key) != nullptr) continue;  // the first one of a name
    size_t place = placeOf(kRows[i].*key);
    while (table[place] != 0) place = (place + 1) % kPlaces;
    table[place] = static_cast<uint8_t>(i + 1);
  }
  return table;
}

constexpr placeTable kByID = makeTable(&fieldRow::id);
constexpr placeTable kByName = makeTable(&fieldRow::name);

}  // namespace

std::span<const fieldRow> fieldRows() { return kRows; }

const fieldRow* findFieldRow(uint32_t id) { return find(kByID, id); }

const fieldRow* findFieldRow(std::string_view name) { return find(kByName, name); }

bool isReplayGainName(std::string_view name) { return StartsWithName(name, kReplayGain); }

const char* commentDescription(const std::string& name) {
  if (!StartsWithName(name, kCommentField)) return nullptr;
  const char* rest = name.c_str() + kCommentField.size();
  if (*rest == '\0') return rest;
  return rest[0] == ' ' && rest[1] != '\0' ? rest + 1 : nullptr;
}

void spellFieldName(std::string& name) {
  if (const fieldRow* row = findFieldRow(std::string_view{name})) {
    name = row->name;
  } else if (isReplayGainName(name)) {
    std::transform(name.begin(), name.end(), name.begin(), ToLowerASCII);
  } else if (const char* description = commentDescription(name)) {
    name.replace(0, kCommentField.size(), kCommentField);
    for (const std::string_view customary : kPlayerComments) {
      if (SameName(customary, description))
        name.replace(kCommentField.size() + 1, name.npos, customary);
    }
  }
}

}  // namespace wavecodec::id3parser
