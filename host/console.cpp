#include "console.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "error.h"
#include "process.h"
#include "text.h"

namespace wavehost {
namespace {

void PrintResult(const FileResult& result, FileOutput output) {
  if (output == FileOutput::Json) {
    PrintData(result.json);
  } else if (output == FileOutput::TextOnStandardError) {
    PrintNote(result.text);
  } else {
    PrintData(result.text);
  }
}

}  // namespace

void PrintData(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) {
    return;
  }
  if (errno == EPIPE) throw ClosedPipe();
  throw SystemError("cannot write the standard output");
}

void PrintNote(std::string_view text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

void PrintFailure(std::string_view what) { PrintNote(fmt::format("wavehost: {}\n", what)); }

std::string JsonLine(const nlohmann::ordered_json& object) {
  return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::optional<size_t> TerminalColumns(int descriptor) {
  constexpr size_t kUsual = 80;
  if (isatty(descriptor) == 0) return std::nullopt;
  winsize size = {};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : kUsual;
}

int ForEachFile(const std::vector<std::string>& files, FileOutput output,
                const std::function<FileResult(const std::string& file)>& work) {
  int status = EXIT_SUCCESS;
  for (const std::string& file : files) {
    ThrowIfInterrupted();
    FileResult result;
    try {
      result = work(file);
    } catch (const Error& error) {
      status = EXIT_FAILURE;
      PrintFailure(fmt::format("{}: {}", Displayable(file), error.what()));
      result.json = JsonLine({{"file", file}, {"error", error.what()}});
    }
    PrintResult(result, output);
  }
  return status;
}

}  // namespace wavehost
