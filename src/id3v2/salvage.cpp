#include "id3v2/salvage.h"

#include <algorithm>
#include <iterator>

#include "id3v2/dates.h"
#include "id3v2/field_table.h"
#include "support/names.h"

namespace wavecodec::id3parser {
namespace {

// Whether a tag may hold several such frames that are told apart by more than the field's name.
bool isOneOfMany(fieldRead read) {
  return read == fieldRead::lyrics || read == fieldRead::userURL || read == fieldRead::rating;
}

// Only dates are moved into the frames of this revision, for nothing is lost by that; others that
// it does not know may hold more than is shown.
bool fitsRevision(const fieldRow& row, t_tagRevision revision) {
  switch (row.write) {
    case fieldWrite::none:  // parts of a date; the year decides
      return false;
    case fieldWrite::date:
    case fieldWrite::oldDate:
    case fieldWrite::oldYear:
      return row.only == revisionNone || row.only == revision;
    default:
      return true;
  }
}

bool areDates(const metaMap::valueList& values) {
  bool dates = true;
  values.forEach([&](std::string_view value) { dates = dates && is_valid_date_or_range(value); });
  return dates;
}

void makeFit(t_frame& frame, t_tagRevision revision) {
  const t_frameView view = frame.view();
  const bool text =
      view.isTextFrame() || frame.id == frameID("COMM") || frame.id == frameID("USLT");
  if (revision >= revision4 || !text || view.size == 0) return;
  if (view.data[0] == encodingUTF16BE || view.data[0] == encodingUTF8) {
    frame.SanitizeForRevision(revision);
  }
}

}  // namespace

size_t t_salvage::countOf(std::string_view name) const {
  const metaMap::valueList* values = old_.find(name);
  return values == nullptr ? 0 : values->count();
}

// Takes the first frame.
void t_salvage::classify(metaReader& reader, t_tag::t_frames& from, t_tagRevision revision) {
  const auto uncovered = [&] { uncovered_.splice(uncovered_.end(), from, from.begin()); };
  const t_frameView view = from.front().view();
  const fieldRow* row = findFieldRow(view.id);
  if (row == nullptr) {
    t_picture picture;
    const bool dropped = view.id == 0 || (view.isPicture() && view.readPicture(picture));
    return dropped ? from.pop_front() : uncovered();
  }
  const bool many = isOneOfMany(row->read);
  const size_t before = many ? countOf(row->name) : 0;
  const bool readable = reader.frame(view, oldRevision_);
  if (many && countOf(row->name) == before) return uncovered();
  const bool described = row->read == fieldRead::userText || row->read == fieldRead::comment;
  if (described && !readable) return uncovered();  // of no known field
  const size_t position = old_.place(reader.fieldName());
  if (position >= groups_.size()) groups_.resize(position + 1);
  t_group& group = groups_[position];
  group.fits = group.fits || fitsRevision(*row, revision);
  group.frames.splice(group.frames.end(), from, from.begin());
}

t_salvage salvage_existing_fields(t_tag::t_frames frames, t_tagRevision old_revision,
                                  t_tagRevision revision) {
  t_salvage salvage;
  salvage.oldRevision_ = old_revision;
  metaReader reader(salvage.old_);
  salvage.groups_.reserve(frames.size());  // moving a list touches its first and last frame
  while (!frames.empty()) salvage.classify(reader, frames, revision);
  reader.fileDates();
  return salvage;
}

bool t_salvage::keepUnchanged(t_tag& tag, std::string_view name, const metaMap::valueList& values,
                              bool last) {
  const bool in_order = next_ < groups_.size() && SameName(old_.fields()[next_].name, name);
  const size_t position = in_order ? next_ : old_.positionOf(name);
  if (position == groups_.size()) return false;
  next_ = position + 1;
  t_group& group = groups_[position];
  if (!group.fits && areDates(values)) return false;
  if (!old_.fields()[position].values.sameAs(values)) return false;
  auto end = group.frames.end();
  while (!last && end != group.frames.begin() && std::prev(end)->view().isUserTextFrame()) --end;
  std::for_each(group.frames.begin(), end, [&](t_frame& f) { makeFit(f, tag.Revision()); });
  tag.Frames().splice(tag.Frames().end(), group.frames, group.frames.begin(), end);
  return true;
}

void t_salvage::indexSingles(size_t position, uint32_t id) {
  indexed_ = position;
  shown_.clear();
  singles_.clear();
  metaReader reader(shown_);
  t_tag::t_frames& frames = groups_[position].frames;
  for (auto frame = frames.begin(); frame != frames.end(); ++frame) {
    const auto count = [&] {
      return shown_.fields().empty() ? 0 : shown_.fields().front().values.count();
    };
    const size_t before = count();
    if (frame->id != id || !reader.frame(frame->view(), oldRevision_)) continue;
    if (count() != before) singles_.push_back({{}, frame});
  }
  if (singles_.empty()) return;
  auto single = singles_.begin();
  shown_.fields().front().values.forEach([&](std::string_view value) { single++->value = value; });
  std::stable_sort(singles_.begin(), singles_.end(),
                   [](const t_single& a, const t_single& b) { return a.value < b.value; });
}

bool t_salvage::restoreValue(t_tag& tag, uint32_t id, std::string_view name,
                             std::string_view value) {
  const size_t position = old_.positionOf(name);
  if (position == groups_.size()) return false;
  if (indexed_ != position) indexSingles(position, id);
  const auto first = std::lower_bound(
      singles_.begin(), singles_.end(), value,
      [](const t_single& single, std::string_view wanted) { return single.value < wanted; });
  if (first == singles_.end() || first->value != value) return false;
  const auto left = static_cast<size_t>(singles_.end() - first);
  if (first->taken == left || first[static_cast<ptrdiff_t>(first->taken)].value != value) {
    return false;
  }
  const t_single& single = first[static_cast<ptrdiff_t>(first->taken++)];
  makeFit(*single.frame, tag.Revision());
  tag.Frames().splice(tag.Frames().end(), groups_[position].frames, single.frame);
  return true;
}

void t_salvage::appendUncovered(t_tag& tag, const metaMap& map) {
  for (size_t i = 0; i < groups_.size(); ++i) {
    if (groups_[i].frames.empty()) continue;
    const metaMap::field& field = old_.fields()[i];
    const bool hidden = field.values.empty() || isReservedName(field.name) || isUnsetFlag(field);
    if (SameName(field.name, kVersionField) || (hidden && !map.haveField(field.name))) {
      tag.Frames().splice(tag.Frames().end(), groups_[i].frames);
    }
  }
  tag.Frames().splice(tag.Frames().end(), uncovered_);
}

}  // namespace wavecodec::id3parser
