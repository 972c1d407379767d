#include "tag_state.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_map>

#include "content_hash.h"
#include "file_details.h"
#include "picture.h"
#include "text.h"

namespace wavehost {
namespace {

constexpr std::string_view kPictureItem = "Picture";
constexpr std::string_view kChunkEntry = "_riff_";  // other chunks are no tags

std::string HashOf(std::span<const std::byte> bytes) {
  ContentHash hash;
  hash.Add(bytes);
  return hash.Result().Hex();
}

TagValue PictureValue(const Picture& picture) {
  std::string text = fmt::format("{}, {}", picture.format.mime, SizeText(picture.bytes.size()));
  if (!picture.description.empty()) text += fmt::format(", {}", picture.description);
  return {text, HashOf(picture.bytes), picture.entry};
}

// A state that is being made, with its items by name.
class StateMaker {
 public:
  explicit StateMaker(TagState state) : state_(std::move(state)) {
    for (size_t i = 0; i < state_.size(); ++i) places_.try_emplace(LowerASCII(state_[i].name), i);
  }
  // The item of this name, made when it is missing; good until the next call.
  TagItem& Item(const std::string& name) {
    const auto [place, is_new] = places_.try_emplace(LowerASCII(name), state_.size());
    return is_new ? state_.emplace_back(TagItem{name, {}}) : state_[place->second];
  }
  TagState Take() { return std::move(state_); }

 private:
  TagState state_;
  std::unordered_map<std::string, size_t> places_;
};

void AddValues(TagItem& item, const std::vector<std::string>& values) {
  for (const std::string& value : values) item.values.push_back({value, "", ""});
}

TagValue ReservedValue(const TagEntry& entry) {
  if (entry.payload.empty()) return {entry.value, "", entry.name};
  return {SizeText(entry.payload.size()), HashOf(entry.payload), entry.name};
}

void RemoveNames(TagState& state, const std::vector<std::string>& names) {
  NameSet gone;
  for (const std::string& name : names) gone.Add(name);
  for (TagItem& item : state) {
    if (gone.Has(item.name)) item.values.clear();
    std::erase_if(item.values, [&](const TagValue& value) { return gone.Has(value.entry); });
  }
  std::erase_if(state, [](const TagItem& item) { return item.values.empty(); });
}

// The order of payloads is the module's; that of texts is the user's.
bool SameValues(const std::vector<TagValue>& a, const std::vector<TagValue>& b) {
  const bool ordered = a.empty() || a.front().key.empty();
  return ordered ? a == b : std::is_permutation(a.begin(), a.end(), b.begin(), b.end());
}

using ItemsByName = std::unordered_map<std::string, const TagItem*>;

ItemsByName ByName(const TagState& state) {
  ItemsByName items;
  for (const TagItem& item : state) items.try_emplace(LowerASCII(item.name), &item);
  return items;
}

}  // namespace

TagValue PictureValue(const NewPicture& picture) {
  const auto format = KnownPictureFormat(picture.bytes);
  return {fmt::format("{}, {}", format ? format->mime : "", SizeText(picture.bytes.size())),
          HashOf(picture.bytes), ""};
}

std::string PictureItemName(std::string_view kind) {
  return kind.empty() ? std::string(kPictureItem) : fmt::format("{}: {}", kPictureItem, kind);
}

const TagItem* FindItem(const TagState& state, std::string_view name) {
  const auto found = std::find_if(state.begin(), state.end(),
                                  [&](const TagItem& item) { return SameName(item.name, name); });
  return found == state.end() ? nullptr : &*found;
}

TagState ReadTagState(DecoderSession& session, const std::string& file) {
  const FileDetails details = OpenDetails(session, file);
  StateMaker state({});
  for (const UserTag& tag : details.tags) AddValues(state.Item(tag.name), tag.values);
  for (const Picture& picture : details.pictures) {
    state.Item(PictureItemName(picture.kind)).values.push_back(PictureValue(picture));
  }
  for (const TagEntry& entry : details.entries) {
    if (!IsReserved(entry) || IsPicture(entry) || entry.name.starts_with(kChunkEntry)) continue;
    state.Item(entry.name).values.push_back(ReservedValue(entry));
  }
  session.Close();
  return state.Take();
}

TagState EditedState(TagState state, const TagEdit& edit) {
  if (edit.remove_all) return {};
  RemoveNames(state, edit.remove);
  StateMaker edited(std::move(state));
  for (const UserTag& tag : edit.set) {
    TagItem& item = edited.Item(tag.name);
    item.values.clear();
    AddValues(item, tag.values);
  }
  std::map<std::string, size_t> counts;
  for (const NewPicture& picture : edit.pictures) {
    std::vector<TagValue>& values = edited.Item(PictureItemName(picture.kind)).values;
    const size_t place = counts[picture.kind]++;
    if (place < values.size()) {
      values[place] = PictureValue(picture);
    } else {
      values.push_back(PictureValue(picture));
    }
  }
  return edited.Take();
}

std::vector<TagDifference> Differences(const TagState& from, const TagState& to) {
  std::vector<TagDifference> differences;
  const ItemsByName old_items = ByName(from);
  const ItemsByName new_items = ByName(to);
  for (const TagItem& item : from) {
    const auto other = new_items.find(LowerASCII(item.name));
    if (other == new_items.end()) {
      differences.push_back({item.name, item.values, {}});
    } else if (!SameValues(item.values, other->second->values)) {
      differences.push_back({item.name, item.values, other->second->values});
    }
  }
  for (const TagItem& item : to) {
    if (old_items.contains(LowerASCII(item.name))) continue;
    differences.push_back({item.name, {}, item.values});
  }
  return differences;
}

std::vector<TagDifference> Losses(const TagState& wanted, const TagState& got,
                                  const TagEdit& edit) {
  std::vector<TagDifference> losses = Differences(wanted, got);
  std::erase_if(losses, [&](const TagDifference& loss) {
    const bool is_told_anyway = SameName(loss.name, kVersionTag) && !edit.Sets(kVersionTag);
    const bool should_be_gone =
        edit.remove_all || edit.Removes(loss.name) ||
        std::any_of(loss.to.begin(), loss.to.end(),
                    [&](const TagValue& value) { return edit.Removes(value.entry); });
    return is_told_anyway || (loss.from.empty() && !should_be_gone);
  });
  return losses;
}

bool FitsTagBlock(const std::vector<TagValue>& values) {
  constexpr uint32_t kMostUnit = 0xFFFF;
  for (const TagValue& value : values) {
    for (std::string_view rest = value.text; !rest.empty();) {
      if (TakeCodePoint(rest) > kMostUnit) return false;
    }
  }
  return !values.empty();
}

nlohmann::ordered_json ValuesJson(const std::vector<TagValue>& values) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const TagValue& value : values) json.push_back(value.text);
  return json;
}

std::string ValuesText(const std::vector<TagValue>& values) {
  constexpr size_t kMost = 60;  // characters
  std::string text;
  for (const TagValue& value : values) {
    if (!text.empty()) text += ", ";
    std::string_view rest = value.text;
    for (size_t i = 0; i < kMost && !rest.empty(); ++i) TakeCodePoint(rest);
    const std::string_view shown(value.text.data(), value.text.size() - rest.size());
    text += fmt::format("\"{}{}\"", Displayable(shown), rest.empty() ? "" : "…");
  }
  return text;
}

}  // namespace wavehost
