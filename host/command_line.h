// What the user asks for.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "frame_position.h"

namespace wavehost {

enum class Command { Info, Tags, Art, Decode, Formats };

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

struct CommandLine {
  Command command = Command::Info;
  std::vector<std::string> files;
  GlobalOptions global;
  DecodeOptions decode;
  TagsOptions tags;
  ArtOptions art;
};

// The exit status when the run ends here: after help, the version, or a message about wrong usage.
std::optional<int> ParseCommandLine(int argc, const char* const* argv, CommandLine& line);

}  // namespace wavehost
