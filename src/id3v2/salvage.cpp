#include "id3v2/salvage.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "support/names.h"
#include "id3v2/field_table.h"
#include "id3v2/meta_map.h"

namespace wavecodec::id3parser {
namespace {

std::string keyOf(uint32_t id, std::string_view name, std::string_view value) {
  std::string key = std::to_string(id);
  std::transform(name.begin(), name.end(), std::back_inserter(key), ToLowerASCII);
  return key.append(1, '\0').append(value);
}

constexpr size_t kTextHead = 4;  // of a comment: encoding and language

// Whether a frame holds something that its field does not show.
bool saysMore(const t_frameView& frame, fieldRead read) {
  std::string description;
  switch (read) {
    case fieldRead::rating:
      return true;
    case fieldRead::single:
      return frame.GetStringCount() > 1;
    case fieldRead::lyrics:
    case fieldRead::comment:
      if (frame.size < kTextHead) return false;
      if (std::memcmp(frame.data + 1, "eng", kTextHead - 1) != 0) return true;
      return read == fieldRead::lyrics && frame.GetAsString(false, description, 0) &&
             !description.empty();
    default:
      return false;
  }
}

}  // namespace

void t_salvage::classify(t_frame& frame, t_tagRevision old_revision, t_oldDate& date) {
  const t_frameView view = frame.view();
  const fieldRow* row = findFieldRow(frame.id);
  if (row == nullptr) {
    if (frame.id != 0 && !view.isPicture()) uncovered_.push_back(std::move(frame));
    return;
  }
  const bool readable = view.size != 0 && view.data[0] <= encodingUTF8;
  if (!readable && row->read != fieldRead::rating) return;
  const auto part = [&](std::string& text) {
    if (text.empty()) view.GetAsString(false, text, 0);
  };
  if (row->read == fieldRead::year) return part(date.year);
  if (row->read == fieldRead::dayMonth) return part(date.dayMonth);
  if (row->read == fieldRead::time) return part(date.time);
  if (!saysMore(view, row->read)) return;
  metaMap shown;
  metaReader(shown).frame(view, old_revision);
  if (shown.fields().empty()) return;
  const metaMap::field& field = shown.fields().front();
  richer_.emplace(keyOf(frame.id, field.name, field.values.first()), std::move(frame));
}

t_salvage salvage_existing_fields(t_tag::t_frames frames, t_tagRevision old_revision) {
  t_salvage salvage;
  t_oldDate date;
  for (t_frame& frame : frames) salvage.classify(frame, old_revision, date);
  if (!date.usesDayMonth()) salvage.unused_.dayMonth = date.dayMonth;
  if (!date.usesTime()) salvage.unused_.time = date.time;
  return salvage;
}

bool t_salvage::restoreUnchanged(t_tag& tag, uint32_t id, std::string_view name,
                                 std::string_view value) {
  if (richer_.empty()) return false;
  const auto found = richer_.find(keyOf(id, name, value));
  if (found == richer_.end()) return false;
  t_frame frame = std::move(found->second);
  richer_.erase(found);
  if (id != frameID("POPM")) frame.SanitizeForRevision(tag.Revision());
  tag.Frames().push_back(std::move(frame));
  return true;
}

void t_salvage::appendUncovered(t_tag& tag, t_oldDate written) {
  const auto append = [&](uint32_t id, std::string& place, const std::string& unused) {
    if (unused.empty() || !place.empty()) return;
    const std::string before = written.text();
    place = unused;
    if (written.text() == before) return tag.AddFrame(id)->SetAsNumeric(unused);
    place.clear();
  };
  append(frameID("TDAT"), written.dayMonth, unused_.dayMonth);
  append(frameID("TIME"), written.time, unused_.time);
  tag.Frames().splice(tag.Frames().end(), uncovered_);
}

}  // namespace wavecodec::id3parser
