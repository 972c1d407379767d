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

// Keeps outputs off the inputs and off each other.
class OutputClaims {
 public:
  explicit OutputClaims(const std::vector<std::string>& inputs);
  // Throws Error when this output would overwrite an input or an output claimed before.
  void Claim(const std::filesystem::path& output);

 private:
  using FileIdentity = std::pair<dev_t, ino_t>;

  std::set<FileIdentity> inputs_;
  std::set<std::filesystem::path> used_;
};

// Makes the folder when it is missing.
void MakeOutputFolder(const std::filesystem::path& folder);

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
  const DecodeOptions& options_;
  bool into_folder_;
  OutputClaims claims_;
};

}  // namespace wavehost
