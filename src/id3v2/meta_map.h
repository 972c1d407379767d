// Named fields with their values: the neutral form between ID3v2 frames and the tag set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "id3v2/dates.h"
#include "id3v2/frame.h"
#include "id3v2/tag.h"

namespace wavecodec::id3parser {

// Fields in the order in which they came, each name once; names are found without regard to the
// case of ASCII letters. A value holds no zero character: it ends there. Compact and quick with a
// million fields or values too.
class metaMap {
 public:
  // A field's values, one after another.
  class valueList {
   public:
    [[nodiscard]] size_t count() const { return count_; }
    [[nodiscard]] bool empty() const { return count_ == 0; }
    // The first value; "" when there is none.
    [[nodiscard]] std::string_view first() const;
    // All values with `separator` between them.
    [[nodiscard]] std::string joined(char separator) const;
    // Whether the values are the same; a carriage return in one is as good as the border between
    // two, because users of the tag set see it so.
    [[nodiscard]] bool sameAs(const valueList& other) const;
    // Calls work(std::string_view) with each value.
    template <typename Work>
    void forEach(Work work) const {
      size_t start = 0;
      for (size_t i = 0; i < count_; ++i) {
        const size_t end = text_.find('\0', start);
        work(std::string_view{text_}.substr(start, end == std::string::npos ? end : end - start));
        start = end + 1;
      }
    }

   private:
    friend class metaMap;
    void add(std::string_view value);
    void insert(size_t index, std::string_view value);

    std::string text_;  // joined by zero characters
    size_t count_ = 0;
  };
  struct field {
    std::string name;
    valueList values;
  };

  void set(std::string_view name, std::string_view value);  // replaces all values
  void add(std::string_view name, std::string_view value);  // appends one value
  // Inserts a value so that it has this index, which is at most the number of values.
  void insert(std::string_view name, size_t index, std::string_view value);
  // The position of the field in fields(); a missing one is made, without values.
  size_t place(std::string_view name);
  // The same; the number of fields when it is missing.
  [[nodiscard]] size_t positionOf(std::string_view name) const;
  bool remove(std::string_view name);  // takes time with the number of fields
  void clear();
  // Null when there is no such field. Good until the map changes.
  [[nodiscard]] const valueList* find(std::string_view name) const;
  [[nodiscard]] bool haveField(std::string_view name) const { return find(name) != nullptr; }
  // True when any field of replay gain is there ("replaygain_track_gain" and its kin).
  [[nodiscard]] bool haveReplayGain() const;
  [[nodiscard]] const std::vector<field>& fields() const { return fields_; }

 private:
  struct slot {
    uint32_t hash = 0;
    uint32_t next = 0;  // one more than the position of the field; 0 is a free slot
  };
  [[nodiscard]] size_t slotOf(std::string_view name, uint32_t hash) const;
  size_t placeOther(std::string_view name);
  void reindex();
  void growIndex();
  void enter(slot entry);

  std::vector<field> fields_;
  std::vector<slot> index_;  // open addressing over fields_, from some number of fields on
  size_t placed_ = 0;        // by the last place(): the values of a field often come together
};

struct fieldRow;

// Files one frame under its field name. Throws parseError when the payload is not well formed; when
// `strict`, also for a text frame of a revision below 4 that does not hold exactly one string (two
// for a user text).
void frame_to_infos(const t_frameView& frame, t_tagRevision revision, metaMap& map, bool strict);

// Files frames under their field names. Dates that are spread over several frames are put together
// by finish().
class metaReader {
 public:
  explicit metaReader(metaMap& map) : map_(map) {}
  // A frame whose payload is not well formed contributes nothing, and gives false.
  bool frame(const t_frameView& frame, t_tagRevision revision);
  // Of the frame before, which has a row in the table of fields; whether it gave a value or not.
  [[nodiscard]] const std::string& fieldName() const { return name_; }
  void finish();
  // The first part of finish().
  void fileDates();

 private:
  friend void frame_to_infos(const t_frameView&, t_tagRevision, metaMap&, bool);
  // False when the payload is not well formed: damage by the million must not cost exceptions.
  bool file(const t_frameView& frame, t_tagRevision revision, bool strict);
  // A date of the old frames, which has its place where its first frame stands.
  struct t_datePlace {
    t_oldDate date;
    size_t index = 0;  // among the values of its field
  };
  void fileText(const fieldRow& row, const t_frameView& frame, t_tagRevision revision, bool strict);
  void fileList(const t_frameView& frame, bool strict, size_t first_string);
  void fileComment(const t_frameView& frame, bool strict);
  bool fileUserURL(const t_frameView& frame, bool strict);
  bool fileRating(const t_frameView& frame);
  void fileYear(t_datePlace& place);
  void addDate(std::string_view name, const t_datePlace& place);
  void add() {
    if (!text_.empty()) map_.add(name_, text_);
  }

  metaMap& map_;
  t_datePlace date_, originalYear_;
  std::string name_, text_;  // of the value at hand
};

// Names for which the tag set has a use of its own: a user text of such a name would pose as a
// picture, a disc, a chunk or the version, and is not shown there.
inline constexpr std::string_view kVersionField = "TagVersion";  // describes the tag that was read
bool isReservedName(std::string_view name);
// Whether a field is the flag of a compilation, and not set: some players write it for every title.
bool isUnsetFlag(const metaMap::field& field);

void tag_to_metaMap(const t_tag& tag, metaMap& map);

// Rebuilds the frames of `tag` from the fields. The old frames of a field that is unchanged stay,
// at the place of the field in the order of writing, and so do, at the end, those that no field
// covers. A field that is missing or empty was deleted. Pictures are the caller's: they go.
void metaMap_to_tag(t_tag& tag, const metaMap& map, const tagCreateArgs& args = {});

// Encoder delay and length in samples from the text of an "iTunSMPB" comment; false when it says
// nothing usable.
bool parse_apple_gapless(std::string_view text, uint64_t& delay, uint64_t& length);
bool extractAppleGapless(const t_frameView& frame, uint64_t& delay, uint64_t& length);

}  // namespace wavecodec::id3parser
