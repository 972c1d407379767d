// What the program says: data on the standard output, everything else on the standard error.
#pragma once

#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wavehost {

// An object on a line of its own. Bytes that are not UTF-8 become U+FFFD.
std::string JsonLine(const nlohmann::ordered_json& object);

// What a command tells about one file.
struct FileResult {
  std::string json;  // a JsonLine
  std::string text;  // the same for people, with line ends; may be empty
};

enum class FileOutput { Text, TextOnStandardError, Json };

// Throws ClosedPipe when nobody reads any more, Error when writing fails.
void PrintData(std::string_view text);
void PrintNote(std::string_view text);
void PrintFailure(std::string_view what);

// The width of a terminal; none when the descriptor is something else.
std::optional<size_t> TerminalColumns(int descriptor);

// Does the work on each file and prints its result. A file whose work throws Error is named on the
// standard error, and the rest go on. Returns the exit status.
int ForEachFile(const std::vector<std::string>& files, FileOutput output,
                const std::function<FileResult(const std::string& file)>& work);

}  // namespace wavehost
