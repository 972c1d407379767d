#include "command_line_changes.h"

#include <fmt/format.h>

#include <algorithm>

#include "picture.h"
#include "source_name.h"
#include "text.h"

namespace wavehost {
namespace {

constexpr size_t kHelpColumns = 64;

void AddEditOptions(CLI::App& command, EditOptions& options) {
  command.add_flag("--dry-run", options.dry_run, "Say what would change, and change nothing");
  command.add_flag("--verify", options.verify,
                   "Compare the stored audio before and after; when it differs the\nfile fails");
  command.add_flag("--keep-mtime", options.keep_mtime, "Restore the modification time");
}

// An option that may be given several times, each time with one argument.
CLI::Option* AddRepeated(CLI::App& command, const std::string& name,
                         std::vector<std::string>& values, const std::string& description) {
  return command.add_option(name, values, description)->allow_extra_args(false);
}

// Names that were given, as usage errors when they cannot be meant.
void CheckNames(const std::vector<std::string>& names) {
  for (const std::string& name : names) CheckTagName(name, true);
}

template <typename Work>
void AsParseError(const char* option, const Work& work) {
  try {
    work();
  } catch (const WrongUsage& error) {
    throw CLI::ValidationError(option, error.what());
  }
}

}  // namespace

void AddTagCommand(CLI::App& app, ChangeOptions& options, ChangeArguments& arguments) {
  CLI::App& command = *app.add_subcommand("tag", "Set tags and pictures of files");
  command
      .add_option("arguments", arguments.tag,
                  "Arguments with = set a tag: one named several times has several\n"
                  "values, one without a value is removed. All others are files;\n"
                  "behind -- whatever is in their names")
      ->type_name("FILE|NAME=VALUE");
  AddRepeated(command, "--picture", options.pictures,
              "Add a picture, in place of one of the same kind. The kind is front\n"
              "when it is not given; there are:\n" +
                  PictureKindWords(kHelpColumns))
      ->type_name("FILE[:KIND]");
  AddRepeated(command, "--remove", options.remove, "Remove a tag, or a picture by its entry's name")
      ->type_name("NAME");
  command
      .add_option("--from-json", options.json,
                  "Set the tags of a JSON file (-: standard input): what\n"
                  "\"wavehost tags --json\" prints, or {\"Name\": \"Value\"} with lists\n"
                  "for several values")
      ->type_name("FILE");
  AddEditOptions(command, options.edit);
}

void AddUntagCommand(CLI::App& app, ChangeOptions& options, ChangeArguments& arguments) {
  CLI::App& command = *app.add_subcommand("untag", "Remove tags from files");
  command
      .add_option("arguments", arguments.untag,
                  "An argument that names an existing file is a file, all others\n"
                  "are names of tags; behind -- all are files. Without names all\n"
                  "tags are removed")
      ->type_name("FILE|NAME");
  AddRepeated(command, "--name", options.remove,
              "A tag to remove, also when there is a file of that name;\n"
              "pictures by the names that \"wavehost tags --raw\" shows")
      ->type_name("NAME");
  command.add_flag("-y,--yes", options.yes, "Remove all tags without asking");
  AddEditOptions(command, options.edit);
}

void AddOptionsCommand(CLI::App& app, ChoiceOptions& options) {
  CLI::App& command =
      *app.add_subcommand("options", "Show the options for tags, or choose with \"options set\"");
  CLI::App& set = *command.add_subcommand("set", "Store a choice, for all programs that share it");
  set.add_option("option", options.option, "As \"wavehost options\" shows it")
      ->type_name("OPTION")
      ->required();
  set.add_option("choice", options.choice, "One of the option's choices")
      ->type_name("CHOICE")
      ->required();
}

void TakeTagArguments(const std::vector<std::string>& arguments, CommandLine& line) {
  ChangeOptions& options = line.change;
  AsParseError("arguments", [&] {
    for (const std::string& argument : arguments) {
      if (IsAddress(argument) || argument.find('=') == std::string::npos) {
        line.files.push_back(argument);
        continue;
      }
      if (FileExists(argument)) {
        throw WrongUsage(fmt::format("'{}' is a file, too: put it behind --, or rename it",
                                     Displayable(argument)));
      }
      options.assignments.push_back(ParseAssignment(argument));
    }
    CheckNames(options.remove);
  });
  const bool changes = !options.assignments.empty() || !options.pictures.empty() ||
                       !options.remove.empty() || !options.json.empty();
  if (!changes) throw CLI::RequiredError("NAME=VALUE, --picture, --remove or --from-json");
}

void TakeUntagArguments(const std::vector<std::string>& arguments, CommandLine& line) {
  AsParseError("arguments", [&] {
    for (const std::string& argument : arguments) {
      (IsAddress(argument) || FileExists(argument) ? line.files : line.change.remove)
          .push_back(argument);
    }
    CheckNames(line.change.remove);
  });
}

void CheckWritable(const std::vector<std::string>& files) {
  const auto address = std::find_if(files.begin(), files.end(), IsAddress);
  if (address == files.end()) return;
  throw CLI::ValidationError(Displayable(*address),
                             "Tags are written into files only, not to an address");
}

}  // namespace wavehost
