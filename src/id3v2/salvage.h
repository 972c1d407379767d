// What a rewritten tag keeps of the frames that it had.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "id3v2/dates.h"
#include "id3v2/frame.h"
#include "id3v2/tag.h"

namespace wavecodec::id3parser {

class t_salvage {
 public:
  // Appends the old frame of this field and value when it says more than they do (the language of a
  // comment, the owner of a rating); each one once.
  bool restoreUnchanged(t_tag& tag, uint32_t id, std::string_view name, std::string_view value);
  // Appends the frames that no field covers, in their order. `written` are the date frames that the
  // tag has got; an old part of a date stays away where it would change that date.
  void appendUncovered(t_tag& tag, t_oldDate written);

 private:
  friend t_salvage salvage_existing_fields(t_tag::t_frames frames, t_tagRevision old_revision);
  void classify(t_frame& frame, t_tagRevision old_revision, t_oldDate& date);

  t_tag::t_frames uncovered_;
  std::multimap<std::string, t_frame> richer_;  // by frame ID, name and value
  t_oldDate unused_;                            // parts of a date that made none
};

// Pictures are not among what is kept: the caller writes all of them anew.
t_salvage salvage_existing_fields(t_tag::t_frames frames, t_tagRevision old_revision);

}  // namespace wavecodec::id3parser
