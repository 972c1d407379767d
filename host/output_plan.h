// Which output each input gets.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "command_line.h"

namespace wavehost {

inline constexpr std::string_view kStandardOutputName = "-";

// True when an output's name means a folder: an existing one, or one to be made.
[[nodiscard]] bool NamesFolder(const std::string& output);

struct OutputTarget {
  std::filesystem::path file;  // or kStandardOutputName
  bool as_wave = false;
};

class OutputPlan {
 public:
  // Makes the output folder when it is missing.
  OutputPlan(const std::vector<std::string>& inputs, const DecodeOptions& options);
  // The output of an input. Throws Error when it would overwrite an input or another input's
  // output.
  [[nodiscard]] OutputTarget TargetOf(const std::string& input);

 private:
  using FileIdentity = std::pair<dev_t, ino_t>;

  const DecodeOptions& options_;
  bool into_folder_;
  std::set<FileIdentity> inputs_;
  std::set<std::filesystem::path> used_;
};

}  // namespace wavehost
