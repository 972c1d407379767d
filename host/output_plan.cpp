#include "output_plan.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <system_error>

#include "error.h"
#include "text.h"

namespace wavehost {

namespace fs = std::filesystem;

namespace {

bool HasWaveExtension(const fs::path& file) {
  std::string extension = file.extension().native();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension == ".wav";
}

}  // namespace

bool NamesFolder(const std::string& output) {
  std::error_code failure;
  return output.ends_with('/') || fs::is_directory(output, failure);
}

OutputPlan::OutputPlan(const std::vector<std::string>& inputs, const DecodeOptions& options)
    : options_(options), into_folder_(NamesFolder(options.output)) {
  for (const std::string& input : inputs) {
    struct stat found = {};
    if (stat(input.c_str(), &found) == 0) inputs_.emplace(found.st_dev, found.st_ino);
  }
  std::error_code failure;
  if (into_folder_) fs::create_directories(options.output, failure);
  if (failure) {
    throw Error(fmt::format("cannot make the folder '{}': {}", Displayable(options.output),
                            failure.message()));
  }
}

OutputTarget OutputPlan::TargetOf(const std::string& input) {
  OutputTarget target;
  if (into_folder_) {
    target.as_wave = options_.format != "raw";
    target.file = fs::path(options_.output) / fs::path(input).stem();
    target.file += target.as_wave ? ".wav" : ".raw";
  } else {
    target.file = options_.output;
    target.as_wave =
        options_.format.empty() ? HasWaveExtension(target.file) : options_.format == "wav";
  }
  const bool to_stdout = target.file == kStandardOutputName;
  struct stat found = {};
  const int status = to_stdout ? fstat(STDOUT_FILENO, &found) : stat(target.file.c_str(), &found);
  const std::string name = Displayable(target.file.native());
  if (status == 0 && inputs_.contains({found.st_dev, found.st_ino})) {
    throw Error(fmt::format("the output '{}' is an input file", name));
  }
  if (!used_.insert(target.file).second) {
    throw Error(fmt::format("the output '{}' already comes from another input", name));
  }
  return target;
}

}  // namespace wavehost
