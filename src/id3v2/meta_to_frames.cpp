// Writing: the frames of a tag are made anew from the fields.

#include <algorithm>
#include <charconv>
#include <span>
#include <utility>
#include <vector>

#include "id3v2/field_table.h"
#include "id3v2/genres.h"
#include "id3v2/meta_map.h"
#include "id3v2/rating.h"
#include "id3v2/salvage.h"
#include "support/names.h"
#include "support/windows1252.h"

namespace wavecodec::id3parser {
namespace {

constexpr std::string_view kRatingOwner = "Windows Media Player 9 Series";
constexpr size_t kPlayCounterSize = 4;

using t_values = std::span<const std::string_view>;

// Makes the frames. What a frame cannot say stays in its field, and goes into a user text frame of
// the field's name, from which it is read back.
class frameMaker {
 public:
  frameMaker(t_tag& tag, const metaMap& map, const tagCreateContext& context, t_salvage& salvage)
      : tag_(tag), map_(map), context_(context), salvage_(salvage) {}

  void make() {
    for (const fieldRow& row : fieldRows()) {
      if (row.isWrittenLast() || row.write == fieldWrite::none) continue;
      if (row.only != revisionNone && row.only != context_.revision) continue;
      const metaMap::valueList* list = map_.find(row.name);
      if (list == nullptr) continue;
      if (keep(&row, row.name, *list, false)) continue;
      const t_values values = valuesOf(*list);
      if (!values.empty()) spent_.emplace_back(list, makeRow(row, values));
    }
    for (const metaMap::field& field : map_.fields()) makeLeft(field);
    salvage_.appendUncovered(tag_, map_);
  }

 private:
  // An empty value is as good as none.
  t_values valuesOf(const metaMap::valueList& list) {
    values_.clear();
    list.forEach([this](std::string_view value) {
      if (!value.empty()) values_.push_back(value);
    });
    return values_;
  }
  bool keep(const fieldRow* row, std::string_view name, const metaMap::valueList& values,
            bool last) {
    const bool rating = row != nullptr && row->write == fieldWrite::rating;
    if (rating && context_.suppressRating != 0) return false;
    return salvage_.keepUnchanged(tag_, name, values, last);
  }
  t_frame& newFrame(uint32_t id) { return *tag_.AddFrame(id); }
  void text(uint32_t id, std::string_view value) { newFrame(id).SetAsString(value, context_); }
  void numeric(uint32_t id, std::string_view value) {
    if (!value.empty()) newFrame(id).SetAsNumeric(value);
  }
  void strings(uint32_t id, std::string_view first, t_values more) {
    strings(id, first, more, context_);
  }
  void strings(uint32_t id, std::string_view first, t_values more,
               const tagCreateContext& context) {
    t_frame& frame = newFrame(id);
    frame.SetAsString(first, context);
    for (const std::string_view value : more) frame.AddString(value);
  }
  // A description is a field's name, or part of it: it is never written with a loss.
  void described(uint32_t id, std::string_view description, t_values values) {
    tagCreateContext context = context_;
    const std::string bytes = To1252(description);
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    if (context.encoding == encodingISO && From1252(data, bytes.size()) != description) {
      context.encoding = encodingUTF16;
    }
    strings(id, description, values, context);
  }

  // Each returns how many of the values, from the first on, need no user text frame.
  size_t makeRow(const fieldRow& row, t_values values);
  size_t makeNumber(uint32_t id, std::string_view value);
  size_t makeGenres(uint32_t id, t_values values);
  size_t makeOldDate(const fieldRow& row, t_values values);
  size_t makeDate(uint32_t id, std::string_view value);
  size_t makeRating(const fieldRow& row, t_values values);

  void makeLeft(const metaMap::field& field);
  void makeDescribed(uint32_t id, std::string_view name, std::string_view description,
                     std::string_view value);
  void makeURL(const fieldRow& row, std::string_view value);
  void makeUserURL(const fieldRow& row, std::string_view value);

  t_tag& tag_;
  const metaMap& map_;
  const tagCreateContext& context_;
  t_salvage& salvage_;
  std::vector<std::pair<const metaMap::valueList*, size_t>> spent_;
  std::vector<std::string_view> values_;  // of the field at hand
};

size_t frameMaker::makeRow(const fieldRow& row, t_values values) {
  const bool whole = row.write != fieldWrite::list || values.size() == 1;
  if (row.read == fieldRead::single && whole &&
      salvage_.restoreValue(tag_, row.id, row.name, values[0])) {
    return 1;
  }
  switch (row.write) {
    case fieldWrite::list:
      strings(row.id, values[0], values.subspan(1));
      return values.size();
    case fieldWrite::number:
      return makeNumber(row.id, values[0]);
    case fieldWrite::url:
      for (const std::string_view value : values) makeURL(row, value);
      return values.size();
    case fieldWrite::genres:
      return makeGenres(row.id, values);
    case fieldWrite::oldDate:
    case fieldWrite::oldYear:
      return makeOldDate(row, values);
    case fieldWrite::date:
      return makeDate(row.id, values[0]);
    case fieldWrite::lyrics:
      for (const std::string_view value : values) makeDescribed(row.id, row.name, "", value);
      return values.size();
    case fieldWrite::rating:
      return makeRating(row, values);
    default:
      text(row.id, values[0]);
      return 1;
  }
}

size_t frameMaker::makeNumber(uint32_t id, std::string_view value) {
  if (value.find_first_not_of("0123456789/") == std::string_view::npos) {
    numeric(id, value);
  } else {
    text(id, value);
  }
  return 1;
}

// From the first genre on that the frame would not give back, all go into the user text, so that
// their order stays.
size_t frameMaker::makeGenres(uint32_t id, t_values values) {
  std::string joined;
  t_frame* frame = nullptr;
  size_t spent = 0;
  for (; spent < values.size(); ++spent) {
    const std::string genre = mangle_genre(values[spent], context_.revision);
    if (genre.empty()) break;
    if (context_.isOldRevision()) {
      joined.append(spent != 0 ? ";" : "").append(genre);
    } else if (frame == nullptr) {
      frame = &newFrame(id);
      frame->SetAsString(genre, context_);
    } else {
      frame->AddString(genre);
    }
  }
  if (!joined.empty()) text(id, joined);
  return spent;
}

// A date that the frames of ID3v2.3 cannot say in full is there as user text too; reading takes the
// fuller one. Text that is no date is the whole frame when that is wanted.
size_t frameMaker::makeOldDate(const fieldRow& row, t_values values) {
  t_oldDate parts = splitDate(values[0]);
  if (row.write == fieldWrite::oldYear) parts = {.year = parts.year, .dayMonth = {}, .time = {}};
  if (!parts.year.empty()) {
    numeric(row.id, parts.year);
    numeric(frameID("TDAT"), parts.dayMonth);
    numeric(frameID("TIME"), parts.time);
  } else if (context_.lenientYearDate != 0) {
    text(row.id, values[0]);
    parts.year = values[0];
  }
  return values.size() == 1 && parts.text() == values[0] ? 1 : 0;
}

size_t frameMaker::makeDate(uint32_t id, std::string_view value) {
  if (is_valid_date_or_range(value)) {
    numeric(id, value);
  } else if (context_.lenientYearDate != 0) {
    text(id, value);
  } else {
    return 0;
  }
  return 1;
}

size_t frameMaker::makeRating(const fieldRow& row, t_values values) {
  if (context_.suppressRating != 0) return 0;
  size_t kept = 0;
  while (kept < values.size() && salvage_.restoreValue(tag_, row.id, row.name, values[kept])) {
    ++kept;
  }
  if (kept != 0 || values.size() != 1) return kept;
  const char* end = values[0].data() + values[0].size();
  size_t rating = 0;
  const auto [stop, error] = std::from_chars(values[0].data(), end, rating);
  if (error != std::errc() || stop != end || rating < 1 || rating > 10) return 0;
  t_byteVector& data = newFrame(row.id).data;
  data.append_fromptr(kRatingOwner.data(), kRatingOwner.size());
  const uint8_t tail[1 + 1 + kPlayCounterSize] = {0, ratingToPOPM(rating)};
  data.append_fromptr(tail, sizeof tail);
  return 1;
}

void frameMaker::makeLeft(const metaMap::field& field) {
  if (SameName(field.name, kVersionField)) return;
  const fieldRow* row = findFieldRow(std::string_view{field.name});
  if (keep(row, field.name, field.values, true)) return;
  t_values values = valuesOf(field.values);
  if (row != nullptr) {
    const auto spent = std::find_if(spent_.begin(), spent_.end(),
                                    [&](const auto& s) { return s.first == &field.values; });
    if (spent != spent_.end()) values = values.subspan(spent->second);
  }
  if (values.empty()) return;
  std::string name = field.name;
  spellFieldName(name);
  if (const char* description = commentDescription(name)) {
    for (const std::string_view value : values) {
      makeDescribed(frameID("COMM"), name, description, value);
    }
  } else if (row != nullptr && row->write == fieldWrite::userURL) {
    for (const std::string_view value : values) makeUserURL(*row, value);
  } else {
    described(frameID("TXXX"), name, values);
  }
}

void frameMaker::makeDescribed(uint32_t id, std::string_view name, std::string_view description,
                               std::string_view value) {
  if (!salvage_.restoreValue(tag_, id, name, value)) described(id, description, {&value, 1});
}

void frameMaker::makeURL(const fieldRow& row, std::string_view value) {
  if (!salvage_.restoreValue(tag_, row.id, row.name, value)) newFrame(row.id).SetAsURL(value);
}

void frameMaker::makeUserURL(const fieldRow& row, std::string_view value) {
  if (salvage_.restoreValue(tag_, row.id, row.name, value)) return;
  const size_t space = value.rfind(' ');
  const size_t url = space == std::string_view::npos ? 0 : space + 1;
  const std::string_view description = value.substr(0, url == 0 ? 0 : space);
  newFrame(row.id).SetAsURLEx(description, value.substr(url), context_);
}

}  // namespace

void metaMap_to_tag(t_tag& tag, const metaMap& map, const tagCreateArgs& args) {
  const t_tagRevision old_revision = tag.Revision();
  t_tag::t_frames old_frames;
  old_frames.swap(tag.Frames());
  if (old_revision != revision3 && old_revision != revision4) tag.SetRevision(revision3);
  tagCreateContext context(args);
  context.revision = tag.Revision();
  if (context.encoding == encodingUTF16BE ||
      (context.isOldRevision() && context.encoding > encodingUTF16)) {
    context.encoding = encodingUTF16;
  }
  t_salvage salvage = salvage_existing_fields(std::move(old_frames), old_revision, tag.Revision());
  frameMaker(tag, map, context, salvage).make();
}

}  // namespace wavecodec::id3parser
