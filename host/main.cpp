// wavehost: describes and decodes audio files, and shows and changes their tags, with a codec
// module.
#include <cstdlib>
#include <exception>

#include "codec_module.h"
#include "command_line.h"
#include "commands.h"
#include "console.h"
#include "error.h"
#include "process.h"

namespace wavehost {
namespace {

int Run(const CommandLine& line) {
  const CodecModule module(line.global.module.empty() ? DefaultModuleFile() : line.global.module);
  switch (line.command) {
    case Command::Info:
      return RunInfo(module, line);
    case Command::Decode:
      return RunDecode(module, line);
    case Command::Tags:
      return RunTags(module, line);
    case Command::Art:
      return RunArt(module, line);
    case Command::Tag:
      return RunTag(module, line);
    case Command::Untag:
      return RunUntag(module, line);
    case Command::Options:
      return RunOptions(module, line);
    case Command::Formats:
      return RunFormats(module, line);
  }
  return EXIT_FAILURE;
}

int Main(int argc, const char* const* argv) {
  constexpr int kSignalStatus = 128;
  PrepareProcess();
  try {
    CommandLine line;
    if (const auto status = ParseCommandLine(argc, argv, line)) return *status;
    return Run(line);
  } catch (const ClosedPipe&) {
    return EXIT_FAILURE;
  } catch (const Interrupted& end) {
    return kSignalStatus + end.signal;
  } catch (const WrongUsage& error) {
    PrintFailure(error.what());
    return kUsageStatus;
  } catch (const std::exception& error) {
    PrintFailure(error.what());
    return EXIT_FAILURE;
  }
}

}  // namespace
}  // namespace wavehost

int main(int argc, char** argv) { return wavehost::Main(argc, argv); }
