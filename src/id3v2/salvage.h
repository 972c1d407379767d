// What a rewritten tag keeps of the frames that it had.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "id3v2/frame.h"
#include "id3v2/meta_map.h"
#include "id3v2/tag.h"

namespace wavecodec::id3parser {

// The old frames, sorted by the fields that they belong to: changing one field does nothing to the
// others, whatever the encoding that new frames get and whatever the old ones hold beside the text
// that is shown. Frames are kept byte for byte, but for a text encoding that the revision of the
// tag does not know.
class t_salvage {
 public:
  // True when the old frames of a field give exactly these values, and appends them, in their old
  // order, so that they go on giving these. User texts behind the others wait for the `last` call:
  // such frames are written behind all others.
  bool keepUnchanged(t_tag& tag, std::string_view name, const metaMap::valueList& values,
                     bool last);
  // Of a changed field: appends an old frame that gives just this value; each one once.
  bool restoreValue(t_tag& tag, uint32_t id, std::string_view name, std::string_view value);
  // Appends the frames that no field of the old tag covers, but for those in whose place `map` has
  // brought new ones.
  void appendUncovered(t_tag& tag, const metaMap& map);

 private:
  friend t_salvage salvage_existing_fields(t_tag::t_frames, t_tagRevision, t_tagRevision);

  // The frames of one field, also those that give no value.
  struct t_group {
    t_tag::t_frames frames;
    bool fits = false;  // one of them is of a kind that is written in this revision
  };
  struct t_single {
    std::string_view value;
    t_tag::t_frames::iterator frame;
    size_t taken = 0;  // of the equal values that begin here
  };
  void classify(metaReader& reader, t_tag::t_frames& from, t_tagRevision revision);
  [[nodiscard]] size_t countOf(std::string_view name) const;
  void indexSingles(size_t position, uint32_t id);

  t_tagRevision oldRevision_ = revisionNone;
  metaMap old_;
  std::vector<t_group> groups_;  // one for each field of old_
  t_tag::t_frames uncovered_;
  size_t next_ = 0;            // the field of old_ that is likely to be asked for
  size_t indexed_ = SIZE_MAX;  // the position of the field that the next two are of
  metaMap shown_;
  std::vector<t_single> singles_;  // frames of one value, by value
};

// `revision` is the one that the tag has from now on. Pictures are not among what is kept: the
// caller writes all of them anew.
t_salvage salvage_existing_fields(t_tag::t_frames frames, t_tagRevision old_revision,
                                  t_tagRevision revision);

}  // namespace wavecodec::id3parser
