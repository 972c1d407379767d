// The part of the command line that belongs to the commands that change something.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "command_line.h"

namespace wavehost {

// The arguments of `tag` and `untag` that are files or tags, as they come.
struct ChangeArguments {
  std::vector<std::string> tag;
  std::vector<std::string> untag;
};

void AddTagCommand(CLI::App& app, ChangeOptions& options, ChangeArguments& arguments);
void AddUntagCommand(CLI::App& app, ChangeOptions& options, ChangeArguments& arguments);
void AddOptionsCommand(CLI::App& app, ChoiceOptions& options);

// Sorts the arguments into files and tags. Throws CLI::ParseError.
void TakeTagArguments(const std::vector<std::string>& arguments, CommandLine& line);
void TakeUntagArguments(const std::vector<std::string>& arguments, CommandLine& line);

// Throws CLI::ParseError when one is an address.
void CheckWritable(const std::vector<std::string>& files);

}  // namespace wavehost
