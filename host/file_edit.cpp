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

const TagItem* PicturesOfKind(const TagState& state, const NewPicture& picture) {
  return FindItem(state, PictureItemName(picture.kind));
}

bool IsDescribed(const TagValue& picture) {
  return picture.entry.find("<subdesc>") != std::string::npos;
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

// The changes of one file's tags as calls of the module: first what has to go, then one write.
class TagWriting {
 public:
  TagWriting(const TagEdit& edit, const TagState& state) : edit_(edit) {
    for (const std::string& name : edit.remove) {
      if (!edit.Sets(name)) gone_.push_back(name);
    }
    PlanPictures(state);
  }

  void Apply(DecoderSession& session, const std::string& file, TagState state) {
    if (!gone_.empty()) {
      session.DeleteTags(file, gone_);
      if (!edit_.pictures.empty()) state = ReadTagState(session, file);
    }
    const std::vector<TagEntry> entries = Entries(state);
    if (entries.empty()) return;
    try {
      session.WriteTags(file, WriteTagBlock(entries));
    } catch (const Error& error) {
      if (gone_.empty()) throw;
      throw Error(fmt::format("what was to go is gone, but nothing was set: {}", error.what()));
    }
  }

 private:
  // A picture takes the entry of the one it replaces. When that has a description, which does not
  // go with the new one, the old one is deleted instead.
  void PlanPictures(const TagState& state) {
    std::map<std::string, size_t> counts;
    for (const NewPicture& picture : edit_.pictures) {
      const size_t place = counts[picture.kind]++;
      const TagItem* const item = PicturesOfKind(state, picture);
      const bool replaces = item != nullptr && place < item->values.size();
      const bool deletes = replaces && IsDescribed(item->values[place]);
      if (deletes) gone_.push_back(item->values[place].entry);
      takes_entry_.push_back(replaces && !deletes);
    }
  }

  [[nodiscard]] std::vector<TagEntry> Entries(const TagState& state) const {
    std::vector<TagEntry> entries;
    for (const UserTag& tag : edit_.set) {
      entries.push_back({tag.name, JoinedValues(tag.values), {}});
    }
    size_t number = CountPictures(state);
    std::map<std::string, size_t> counts;
    for (size_t i = 0; i < edit_.pictures.size(); ++i) {
      const NewPicture& picture = edit_.pictures[i];
      const TagItem* const item = PicturesOfKind(state, picture);
      size_t& place = counts[picture.kind];
      while (item != nullptr && place < item->values.size() && IsDescribed(item->values[place])) {
        ++place;
      }
      const bool reuses = takes_entry_[i] && item != nullptr && place < item->values.size();
      entries.push_back(
          {reuses ? item->values[place++].entry : PictureEntryName(++number, picture.kind), "",
           picture.bytes});
    }
    return entries;
  }

  const TagEdit& edit_;
  std::vector<std::string> gone_;
  std::vector<bool> takes_entry_;  // of the new pictures: in place of one without a description
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
    TagWriting(edit, old_tags).Apply(session, file, old_tags);
  }
  const FileSnapshot after(file, options.verify);
  if (options.verify) CompareAudio(before, after);
  if (options.keep_mtime) RestoreModified(file, before.modified);
  TagState new_tags = ReadTagState(session, file);
  return {before, after, std::move(old_tags), std::move(new_tags)};
}

}  // namespace wavehost
