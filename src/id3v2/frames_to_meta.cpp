// Reading: each frame adds its values to its field.

#include <algorithm>
#include <cstring>
#include <vector>

#include "id3v2/field_table.h"
#include "id3v2/genres.h"
#include "id3v2/meta_map.h"
#include "id3v2/rating.h"
#include "support/names.h"
#include "support/text_scan.h"
#include "tags/set/tag_set.h"

namespace wavecodec::id3parser {
namespace {

constexpr size_t kLanguageSize = 3;

bool hasLanguage(fieldRead read) { return read == fieldRead::comment || read == fieldRead::lyrics; }

// Whether the payload begins as one with text encoding does.
bool beginsAsText(const t_frameView& frame, fieldRead read) {
  const size_t head = hasLanguage(read) ? 1 + kLanguageSize : 1;
  return frame.size >= head && frame.data[0] <= encodingUTF8;
}

bool hasDescriptionEnd(const t_frameView& frame) {
  const uint8_t* text = frame.data + 1;
  const size_t size = frame.size - 1;
  if (frame.data[0] == encodingISO || frame.data[0] == encodingUTF8) {
    return size != 0 && std::memchr(text, 0, size) != nullptr;
  }
  for (size_t i = 0; size - i >= 2; i += 2) {
    if (text[i] == 0 && text[i + 1] == 0) return true;
  }
  return false;
}

void cutAtZero(std::string& text) { text.resize(std::strlen(text.c_str())); }

constexpr std::string_view kCompilation = "Compilation";

void fix_itunescompilation(metaMap& map) {
  const size_t position = map.positionOf(kCompilation);
  if (position < map.fields().size() && isUnsetFlag(map.fields()[position])) {
    map.remove(kCompilation);
  }
}

}  // namespace

bool isReservedName(std::string_view name) {
  return SameName(name, kVersionField) || SameName(name, tag_name::kCDToc) ||
         StartsWithName(name, tag_name::kRiff) || StartsWithName(name, tag_name::kAlbumArt);
}

bool isUnsetFlag(const metaMap::field& field) {
  bool set = false;
  field.values.forEach([&](std::string_view value) { set = set || value != "0"; });
  return !set && SameName(field.name, kCompilation);
}

bool metaReader::frame(const t_frameView& frame, t_tagRevision revision) {
  try {
    return file(frame, revision, false);
  } catch (const parseError&) {
    return false;
  }
}

void metaReader::finish() {
  fileDates();
  fix_itunescompilation(map_);
}

bool metaReader::file(const t_frameView& frame, t_tagRevision revision, bool strict) {
  const fieldRow* row = findFieldRow(frame.id);
  if (row == nullptr) return true;
  name_ = row->name;
  if (row->read == fieldRead::rating) return fileRating(frame);
  if (row->read == fieldRead::url) {
    frame.GetAsURL(text_);
    cutAtZero(text_);
    add();
    return true;
  }
  if (!beginsAsText(frame, row->read)) return false;
  if (row->read == fieldRead::userURL) return fileUserURL(frame, strict);
  if (strict && revision < revision4 && frame.isTextFrame() &&
      frame.GetStringCount() != (frame.isUserTextFrame() ? 2U : 1U)) {
    return false;
  }
  fileText(*row, frame, revision, strict);
  return true;
}

void metaReader::fileText(const fieldRow& row, const t_frameView& frame, t_tagRevision revision,
                          bool strict) {
  // A second one has no year to go with.
  const auto part = [&](std::string& first) {
    if (first.empty()) frame.GetAsString(strict, first, 0);
  };
  switch (row.read) {
    case fieldRead::dayMonth:
      return part(date_.date.dayMonth);
    case fieldRead::time:
      return part(date_.date.time);
    case fieldRead::year:
    case fieldRead::originalYear:
      frame.GetAsString(strict, text_, 0);
      return fileYear(row.read == fieldRead::year ? date_ : originalYear_);
    case fieldRead::list:
      return fileList(frame, strict, 0);
    case fieldRead::userText:
      frame.GetAsString(strict, name_, 0);
      spellFieldName(name_);
      return fileList(frame, strict, 1);
    case fieldRead::comment:
      return fileComment(frame, strict);
    case fieldRead::lyrics:
      frame.GetAsString(strict, text_, 1);
      return add();
    case fieldRead::genres: {
      std::vector<std::string> genres;
      t_frameWalk walk;
      for (size_t i = 0; frame.EnumString(strict, text_, i, walk); ++i) {
        unmangle_genres(text_, revision, genres);
      }
      for (const std::string& genre : genres) map_.add(name_, genre);
      return;
    }
    default:
      frame.GetAsString(strict, text_, 0);
      return add();
  }
}

void metaReader::fileList(const t_frameView& frame, bool strict, size_t first_string) {
  t_frameWalk walk;
  for (size_t i = first_string; frame.EnumString(strict, text_, i, walk); ++i) add();
}

void metaReader::fileComment(const t_frameView& frame, bool strict) {
  t_frameWalk walk;
  frame.EnumString(strict, text_, 0, walk);
  if (!text_.empty()) {
    name_.append(" ").append(text_);
    spellFieldName(name_);
  }
  frame.EnumString(strict, text_, 1, walk);
  add();
}

bool metaReader::fileUserURL(const t_frameView& frame, bool strict) {
  if (!hasDescriptionEnd(frame)) return false;
  std::string description;
  frame.GetAsString(strict, description, 0);
  frame.GetAsWXXX(strict, text_);
  cutAtZero(text_);
  if (!description.empty()) text_ = description + ' ' + text_;
  add();
  return true;
}

bool metaReader::fileRating(const t_frameView& frame) {
  const void* end = frame.size != 0 ? std::memchr(frame.data, 0, frame.size) : nullptr;
  if (end == nullptr) return false;
  const uint8_t* rating = static_cast<const uint8_t*>(end) + 1;
  if (rating == frame.data + frame.size) return false;
  map_.add(name_, std::to_string(POPMToRating(*rating)));
  return true;
}

// The first one waits for what other frames say of it; more of them are values of their own.
void metaReader::fileYear(t_datePlace& place) {
  if (!place.date.year.empty()) return add();
  place.date.year = text_;
  const metaMap::valueList* values = map_.find(name_);
  place.index = values == nullptr ? 0 : values->count();
}

void metaReader::fileDates() {
  addDate("Year", date_);
  addDate("Original release year", originalYear_);
  date_ = originalYear_ = {};
}

// Where the same date is there already, the one that says more stays: tags of one revision with the
// date frames of the other occur, and what the old frames cannot say is written beside them.
void metaReader::addDate(std::string_view name, const t_datePlace& place) {
  const std::string date = place.date.text();
  if (date.empty()) return;
  const metaMap::valueList* values = map_.find(name);
  if (values != nullptr) {
    bool there = false;
    values->forEach([&](std::string_view value) { there = there || value.starts_with(date); });
    if (there) return;
    if (values->count() == 1 && date.starts_with(values->first())) return map_.set(name, date);
  }
  map_.insert(name, place.index, date);
}

void frame_to_infos(const t_frameView& frame, t_tagRevision revision, metaMap& map, bool strict) {
  metaReader reader(map);
  if (!reader.file(frame, revision, strict)) throw parseError();
  reader.fileDates();
}

void tag_to_metaMap(const t_tag& tag, metaMap& map) {
  metaReader reader(map);
  for (const t_frame& frame : tag.Frames()) reader.frame(frame.view(), tag.Revision());
  reader.finish();
}

bool parse_apple_gapless(std::string_view text, uint64_t& delay, uint64_t& length) {
  // What is no digit counts as 0.
  const auto digit = [](char c) { return static_cast<uint64_t>(std::max(0, HexDigit(c))); };
  uint64_t fields[4] = {};
  for (uint64_t& field : fields) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    for (; !text.empty() && text.front() != ' '; text.remove_prefix(1)) {
      field = field << 4 | digit(text.front());
    }
  }
  if (fields[3] == 0 || fields[1] + fields[3] < fields[1]) return false;
  delay = fields[1];
  length = fields[3];
  return true;
}

bool extractAppleGapless(const t_frameView& frame, uint64_t& delay, uint64_t& length) {
  if (frame.id != frameID("COMM") || !beginsAsText(frame, fieldRead::comment)) return false;
  std::string text;
  t_frameWalk walk;
  return frame.EnumString(false, text, 0, walk) && text == "iTunSMPB" &&
         frame.EnumString(false, text, 1, walk) && parse_apple_gapless(text, delay, length);
}

}  // namespace wavecodec::id3parser
