// Changes the tags of files.
#include <fmt/format.h>
#include <unistd.h>

#include <iostream>
#include <optional>
#include <utility>

#include "change_report.h"
#include "commands.h"
#include "console.h"
#include "decoder_session.h"
#include "error.h"
#include "file_edit.h"
#include "option_adviser.h"
#include "process.h"
#include "rehearsal.h"
#include "tag_state.h"
#include "text.h"

namespace wavehost {
namespace {

class FileChanger {
 public:
  FileChanger(const CodecModule& module, const CommandLine& line, TagEdit edit)
      : module_(module), line_(line), edit_(std::move(edit)), adviser_(module) {}

  FileResult operator()(const std::string& file) {
    const bool dry_run = line_.change.edit.dry_run;
    const Change change = dry_run ? Rehearse(file) : Make(file);
    if (!line_.global.quiet) NoteMissing(file, change.old_tags);
    for (const LostValue& lost : change.lost) PrintNote(LossText(file, lost));
    FileResult result{JsonLine(ChangeJson(file, change, dry_run)),
                      dry_run ? DryRunText(file, change) : ChangeText(file, change)};
    if (line_.global.quiet && !dry_run) result.text.clear();
    return result;
  }

 private:
  Change Make(const std::string& file) {
    DecoderSession session(module_, line_.global.report);
    return Told(file, EditFile(session, file, edit_, line_.change.edit));
  }

  Change Told(const std::string& file, EditOutcome outcome) {
    Change change;
    change.changed = outcome.Changed();
    change.size_before = outcome.before.size;
    change.size_after = outcome.after.size;
    change.audio_moves = outcome.AudioMoved();
    change.differences = Differences(outcome.old_tags, outcome.new_tags);
    const TagState wanted = EditedState(outcome.old_tags, edit_);
    const FileSnapshot& now = line_.change.edit.dry_run ? outcome.before : outcome.after;
    change.lost = adviser_.Advise({file, edit_, wanted, now.HasTags()},
                                  Losses(wanted, outcome.new_tags, edit_));
    change.old_tags = std::move(outcome.old_tags);
    return change;
  }

  Change Rehearse(const std::string& file) {
    DecoderSession session(module_, line_.global.report);
    TagState tags = ReadTagState(session, file);
    const uint64_t size = InputFile(file).Size();
    if (access(file.c_str(), W_OK) != 0) throw SystemError("cannot write it");
    std::optional<Rehearsal> rehearsal;
    try {
      rehearsal.emplace(file);
    } catch (const Error& error) {
      return Guess(std::move(tags), size, error.what());
    }
    Change change = Told(file, Rehearsed(session, *rehearsal));
    if (!Differences(tags, change.old_tags).empty()) {
      return Guess(std::move(tags), size, "a shorter copy of it has other tags");
    }
    if (rehearsal->TellsLayout()) {
      change.size_after = size + *change.size_after - change.size_before;
      if (*change.size_after > size && !rehearsal->HasRoomFor(*change.size_after)) {
        throw Error("this would fail: the file would be longer than its header can say");
      }
    } else {
      change.size_after.reset();
      change.audio_moves.reset();
    }
    change.size_before = size;
    return change;
  }

  EditOutcome Rehearsed(DecoderSession& session, const Rehearsal& rehearsal) const {
    try {
      return EditFile(session, rehearsal.FreshCopy(), edit_, {});
    } catch (const Error& error) {
      throw Error(fmt::format("this would fail: {}", error.what()));
    }
  }

  // What the edit alone tells.
  Change Guess(TagState tags, uint64_t size, const std::string& reason) const {
    Change change;
    change.differences = Differences(tags, EditedState(tags, edit_));
    change.changed = !change.differences.empty();
    change.size_before = size;
    change.old_tags = std::move(tags);
    change.guessed = reason;
    return change;
  }

  void NoteMissing(const std::string& file, const TagState& tags) const {
    NameSet known;
    for (const UserTag& tag : edit_.set) known.Add(tag.name);
    for (const TagItem& item : tags) {
      known.Add(item.name);
      for (const TagValue& value : item.values) known.Add(value.entry);
    }
    for (const std::string& name : edit_.remove) {
      if (known.Has(name)) continue;
      PrintNote(fmt::format("wavehost: no tag '{}' in {}\n", Displayable(name), Displayable(file)));
    }
  }

  const CodecModule& module_;
  const CommandLine& line_;
  TagEdit edit_;
  OptionAdviser adviser_;
};

int RunChange(const CodecModule& module, const CommandLine& line, TagEdit edit) {
  FileChanger change(module, line, std::move(edit));
  const FileOutput output = line.global.json ? FileOutput::Json : FileOutput::Text;
  return ForEachFile(line.files, output, [&](const std::string& file) { return change(file); });
}

// The exit status when nothing is to be removed after all.
std::optional<int> RefusedRemoval(const CommandLine& line) {
  if (line.change.yes || line.change.edit.dry_run) return std::nullopt;
  if (isatty(STDIN_FILENO) == 0) {
    PrintFailure("removing all tags has to be confirmed; without a terminal only --yes does that");
    return kUsageStatus;
  }
  const std::string what = line.files.size() == 1 ? Displayable(line.files[0])
                                                  : fmt::format("{} files", line.files.size());
  PrintNote(fmt::format("Remove all tags from {}? [y/N] ", what));
  std::string answer;
  std::getline(std::cin, answer);
  ThrowIfInterrupted();
  if (SameName(answer, "y") || SameName(answer, "yes")) return std::nullopt;
  PrintFailure("nothing was changed");
  return EXIT_FAILURE;
}

}  // namespace

int RunTag(const CodecModule& module, const CommandLine& line) {
  TagEdit edit;
  edit.remove = line.change.remove;
  if (!line.change.json.empty()) AddAssignments(ReadTagsJson(line.change.json), edit);
  AddAssignments(line.change.assignments, edit);
  for (const std::string& picture : line.change.pictures) {
    edit.pictures.push_back(ReadPicture(picture));
  }
  return RunChange(module, line, std::move(edit));
}

int RunUntag(const CodecModule& module, const CommandLine& line) {
  TagEdit edit;
  edit.remove = line.change.remove;
  edit.remove_all = edit.remove.empty();
  if (edit.remove_all) {
    if (const auto status = RefusedRemoval(line)) return *status;
  }
  return RunChange(module, line, std::move(edit));
}

}  // namespace wavehost
