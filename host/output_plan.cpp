#include "output_plan.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

#include "error.h"
#include "source_name.h"
#include "text.h"

namespace wavehost {

namespace fs = std::filesystem;

namespace {

bool HasWaveExtension(const fs::path& file) {
  return LowerASCII(file.extension().native()) == ".wav";
}

}  // namespace

bool NamesFolder(const std::string& output) {
  std::error_code failure;
  return output.ends_with('/') || fs::is_directory(output, failure);
}

OutputClaims::OutputClaims(const std::vector<std::string>& inputs) {
  for (const std::string& input : inputs) {
    struct stat found = {};
    if (!IsAddress(input) && stat(input.c_str(), &found) == 0)
      inputs_.emplace(found.st_dev, found.st_ino);
  }
}

void OutputClaims::Claim(const fs::path& output) {
  const bool to_stdout = output == kStandardOutputName;
  struct stat found = {};
  const int status = to_stdout ? fstat(STDOUT_FILENO, &found) : stat(output.c_str(), &found);
  const std::string name = Displayable(output.native());
  if (status == 0 && inputs_.contains({found.st_dev, found.st_ino})) {
    throw Error(fmt::format("the output '{}' is an input file", name));
  }
  if (!used_.insert(output).second) {
    throw Error(fmt::format("the output '{}' already comes from another input", name));
  }
}

void MakeOutputFolder(const fs::path& folder) {
  std::error_code failure;
  fs::create_directories(folder, failure);
  if (failure) {
    throw Error(fmt::format("cannot make the folder '{}': {}", Displayable(folder.native()),
                            failure.message()));
  }
}

OutputPlan::OutputPlan(const std::vector<std::string>& inputs, const DecodeOptions& options)
    : options_(options), into_folder_(NamesFolder(options.output)), claims_(inputs) {
  if (into_folder_) MakeOutputFolder(options.output);
}

OutputTarget OutputPlan::TargetOf(const std::string& input) {
  OutputTarget target;
  if (into_folder_) {
    target.as_wave = options_.format != "raw";
    target.file = fs::path(options_.output) / OutputStem(input);
    target.file += target.as_wave ? ".wav" : ".raw";
  } else {
    target.file = options_.output;
    target.as_wave =
        options_.format.empty() ? HasWaveExtension(target.file) : options_.format == "wav";
  }
  claims_.Claim(target.file);
  return target;
}

}  // namespace wavehost
