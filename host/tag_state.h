// The tags and pictures of a file at one time, and how two times differ.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "decoder_session.h"
#include "tag_edit.h"

namespace wavehost {

struct TagValue {
  std::string text;   // the value; of a payload a description of it
  std::string key;    // the hash of a payload; empty for a text
  std::string entry;  // the name of a payload's entry
  bool operator==(const TagValue& other) const { return text == other.text && key == other.key; }
};

// All values of one name. Pictures of one kind come together as PictureItemName(kind).
struct TagItem {
  std::string name;
  std::vector<TagValue> values;
};

using TagState = std::vector<TagItem>;

[[nodiscard]] std::string PictureItemName(std::string_view kind);

// Null when there is no such item.
const TagItem* FindItem(const TagState& state, std::string_view name);

// What a new picture becomes when it is kept.
TagValue PictureValue(const NewPicture& picture);

// What the module reads now; it keeps nothing of the file open. Throws Error as OpenDetails.
TagState ReadTagState(DecoderSession& session, const std::string& file);

// What an edit makes of a state when every value is kept. A new picture takes the place of one of
// its kind, the second one that of the second.
TagState EditedState(TagState state, const TagEdit& edit);

// An item that differs; without values where it is not there.
struct TagDifference {
  std::string name;
  std::vector<TagValue> from;
  std::vector<TagValue> to;
};

std::vector<TagDifference> Differences(const TagState& from, const TagState& to);

// The differences that mean a loss: what was wanted and is not there, or should have gone.
std::vector<TagDifference> Losses(const TagState& wanted, const TagState& got, const TagEdit& edit);

// False when there are characters among the values that the units of a tag block do not hold, or no
// values at all.
[[nodiscard]] bool FitsTagBlock(const std::vector<TagValue>& values);

nlohmann::ordered_json ValuesJson(const std::vector<TagValue>& values);
// One line, cut where it is long: "a" and "b".
std::string ValuesText(const std::vector<TagValue>& values);

}  // namespace wavehost
