// What the user asks for.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "frame_position.h"
#include "tag_edit.h"

namespace wavehost {

enum class Command { Info, Tags, Art, Decode, Formats, Tag, Untag, Options };

struct GlobalOptions {
  std::filesystem::path module;  // empty: the default one
  bool json = false;
  bool report = false;
  bool quiet = false;
};

struct DecodeOptions {
  std::string output;  // a file, a folder, "-", or empty: no output
  std::string format;  // "wav", "raw", or empty: as the output's name tells
  std::optional<FramePosition> from;
  std::optional<FramePosition> to;
  bool force = false;
};

struct TagsOptions {
  bool raw = false;  // the reserved entries too
};

struct ArtOptions {
  std::filesystem::path folder;  // empty: the current one
  bool force = false;
};

// Of the commands that change tags.
struct ChangeOptions {
  std::vector<Assignment> assignments;
  std::vector<std::string> pictures;  // as ReadPicture takes them
  std::vector<std::string> remove;
  std::string json;  // as ReadTagsJson takes it; empty: none
  bool yes = false;  // not to be asked
  EditOptions edit;
};

// The choice to be stored; both names are empty when there is none.
struct ChoiceOptions {
  std::string option;
  std::string choice;
};

struct CommandLine {
  Command command = Command::Info;
  std::vector<std::string> files;
  GlobalOptions global;
  DecodeOptions decode;
  TagsOptions tags;
  ArtOptions art;
  ChangeOptions change;
  ChoiceOptions choice;
};

inline constexpr int kUsageStatus = 2;

// The exit status when the run ends here: after help, the version, or a message about wrong usage.
std::optional<int> ParseCommandLine(int argc, const char* const* argv, CommandLine& line);

}  // namespace wavehost
