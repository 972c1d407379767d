#include "file_edit.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <map>

#include "error.h"
#include "input_file.h"
#include "picture.h"

namespace wavehost {
namespace {

bool IsDescribed(const TagValue& picture) {
  return picture.entry.find(kDescriptionMark) != std::string::npos;
}

size_t CountPictures(const TagState& state) {
  size_t count = 0;
  for (const TagItem& item : state) {
    for (const TagValue& value : item.values) {
      if (IsPictureName(value.entry) && !value.key.empty()) ++count;
    }
  }
  return count;
}

// The changes of one file's tags as calls of the module: one that writes, then one that deletes.
// The other way round a kind of tag that has to take the new ones could be gone by then.
class TagWriting {
 public:
  TagWriting(const TagEdit& edit, const TagState& state) : edit_(edit) {
    for (const UserTag& tag : edit.set) {
      entries_.push_back({tag.name, JoinedValues(tag.values), {}});
    }
    PlanPictures(state);
    PlanRemovals(state);
  }

  void Apply(DecoderSession& session, const std::string& file) {
    if (!entries_.empty()) session.WriteTags(file, WriteTagBlock(entries_));
    try {
      if (!payloads_.empty()) FindPayloads(ReadTagState(session, file));
      session.DeleteTags(file, gone_);
    } catch (const Error& error) {
      if (entries_.empty()) throw;
      throw Error(fmt::format("all is set, but nothing removed: {}", error.what()));
    }
  }

 private:
  // A picture or other payload that has to go. The number in its entry's name may be another one
  // after writing.
  struct Payload {
    std::string item;
    TagValue value;
    std::optional<TagValue> replacement;  // without which it stays
  };

  // A picture takes the entry of the one it replaces. When that has a description, which does not
  // go with the new one, the old one is deleted instead.
  void PlanPictures(const TagState& state) {
    size_t number = CountPictures(state);
    std::map<std::string, size_t> counts;
    for (const NewPicture& picture : edit_.pictures) {
      const std::string item_name = PictureItemName(picture.kind);
      const TagItem* const item = FindItem(state, item_name);
      const size_t place = counts[picture.kind]++;
      const TagValue* const old =
          item != nullptr && place < item->values.size() ? &item->values[place] : nullptr;
      const bool takes_entry = old != nullptr && !IsDescribed(*old);
      if (old != nullptr && !takes_entry) {
        payloads_.push_back({item_name, *old, PictureValue(picture)});
      }
      entries_.push_back(
          {takes_entry ? old->entry : PictureEntryName(++number, picture.kind), "", picture.bytes});
    }
  }

  void PlanRemovals(const TagState& state) {
    NameSet names;
    for (const std::string& name : edit_.remove) names.Add(name);
    NameSet payload_names;
    for (const TagItem& item : state) {
      for (const TagValue& value : item.values) {
        if (value.entry.empty() || !names.Has(value.entry)) continue;
        payloads_.push_back({item.name, value, {}});
        payload_names.Add(value.entry);
      }
    }
    for (const std::string& name : edit_.remove) {
      if (!edit_.Sets(name) && !payload_names.Has(name)) gone_.push_back(name);
    }
  }

  void FindPayloads(const TagState& state) {
    for (const Payload& payload : payloads_) {
      const TagItem* const item = FindItem(state, payload.item);
      if (item == nullptr) continue;
      const auto& values = item->values;
      const bool is_replaced =
          !payload.replacement ||
          std::find(values.begin(), values.end(), *payload.replacement) != values.end();
      const auto old = std::find(values.begin(), values.end(), payload.value);
      if (is_replaced && old != values.end()) gone_.push_back(old->entry);
    }
  }

  const TagEdit& edit_;
  std::vector<TagEntry> entries_;
  std::vector<std::string> gone_;
  std::vector<Payload> payloads_;
};

void RestoreModified(const std::string& file, timespec modified) {
  const std::array<timespec, 2> times = {timespec{0, UTIME_OMIT}, modified};
  if (utimensat(AT_FDCWD, file.c_str(), times.data(), 0) != 0) {
    throw SystemError("the tags are written, but the modification time cannot be restored");
  }
}

std::string AudioText(const FileSnapshot& snapshot) {
  if (!snapshot.audio) return "none";
  return fmt::format("{} bytes, XXH3 {}", snapshot.layout->DataSize(), snapshot.audio->Hex());
}

void CompareAudio(const FileSnapshot& before, const FileSnapshot& after) {
  if (before.audio == after.audio && before.layout->DataSize() == after.layout->DataSize()) return;
  throw Error(fmt::format("THE AUDIO IS NOT THE SAME after writing (before: {}; after: {})",
                          AudioText(before), AudioText(after)));
}

}  // namespace

FileSnapshot::FileSnapshot(const std::string& file, bool with_audio) {
  const InputFile input(file);
  size = input.Size();
  modified = input.Modified();
  layout = FindAudio(input);
  ContentHash hash;
  hash.Add(input, 0, layout ? layout->data_begin : size);
  if (layout) hash.Add(input, layout->data_end, size);
  rest = hash.Result();
  if (!with_audio || !layout) return;
  ContentHash audio_hash;
  audio_hash.Add(input, layout->data_begin, layout->data_end);
  audio = audio_hash.Result();
}

bool EditOutcome::Changed() const {
  const bool same_place = before.layout.has_value() == after.layout.has_value() && !AudioMoved();
  return before.size != after.size || before.rest != after.rest || !same_place;
}

bool EditOutcome::AudioMoved() const {
  return before.layout && after.layout && before.layout->data_begin != after.layout->data_begin;
}

EditOutcome EditFile(DecoderSession& session, const std::string& file, const TagEdit& edit,
                     const EditOptions& options) {
  TagState old_tags = ReadTagState(session, file);
  const FileSnapshot before(file, options.verify);
  if (options.verify && !before.audio) throw Error("cannot verify: no audio is found in it");
  if (edit.remove_all) {
    session.DeleteAllTags(file);
  } else {
    TagWriting(edit, old_tags).Apply(session, file);
  }
  const FileSnapshot after(file, options.verify);
  if (options.verify) CompareAudio(before, after);
  if (options.keep_mtime) RestoreModified(file, before.modified);
  TagState new_tags = ReadTagState(session, file);
  return {before, after, std::move(old_tags), std::move(new_tags)};
}

}  // namespace wavehost
