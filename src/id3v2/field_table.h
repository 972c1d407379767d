// Which field is which frame, for both directions.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "id3v2/frame.h"

namespace wavecodec::id3parser {

enum class fieldRead : uint8_t {
  single,        // the first string
  list,          // all strings
  url,           // the payload
  genres,        // see genres.h
  year,          // TYER, TDAT and TIME make one date, see dates.h
  dayMonth,      //
  time,          //
  originalYear,  // TORY
  lyrics,        // the string behind the description
  comment,       // the same; the description belongs to the name
  userURL,       // description and URL
  userText,      // all strings but the first, which is the name
  rating,
};

enum class fieldWrite : uint8_t {
  none,  // by another row
  single,
  list,
  number,    // "3" or "3/12"
  url,       // a frame for each value
  genres,    //
  oldDate,   // TYER, TDAT and TIME
  oldYear,   // the year alone
  date,      // the whole date
  lyrics,    //
  rating,    //
  comment,   // these three are written last, with the fields that have no row
  userURL,   //
  userText,  //
};

struct fieldRow {
  std::string_view name;
  uint32_t id;
  fieldRead read;
  fieldWrite write;
  t_tagRevision only = revisionNone;  // the one revision in which the frame is written

  [[nodiscard]] bool isWrittenLast() const { return write >= fieldWrite::comment; }
};

// In the order in which frames are written.
std::span<const fieldRow> fieldRows();

// Null when there is none.
const fieldRow* findFieldRow(uint32_t id);
// The first one of the name.
const fieldRow* findFieldRow(std::string_view name);

inline constexpr std::string_view kCommentField = "Comment";

bool isReplayGainName(std::string_view name);

// The description of a comment with this field name; null when the name is not of a comment.
const char* commentDescription(const std::string& name);

// Gives a name that has a customary spelling that spelling: the one of the table, lower case for
// replay gain, the one that players look for in descriptions of comments.
void spellFieldName(std::string& name);

}  // namespace wavecodec::id3parser
