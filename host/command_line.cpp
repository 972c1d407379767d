#include "command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "command_line_changes.h"
#include "output_plan.h"
#include "text.h"

namespace wavehost {
namespace {

constexpr char kExamples[] = R"(Examples:
  wavehost info *.wav                          describe files
  wavehost tags in.wav                         list its tags
  wavehost art in.wav -o covers                put its pictures into a folder
  wavehost decode *.wav                        check that files can be decoded
  wavehost decode in.wav -o out.wav            decode into a Wave file
  wavehost decode in.wav -o out.raw --from 1:30 --to 1:35.5
  wavehost decode *.wav -o folder/             decode each into a folder
  wavehost decode in.wav -o - | player         raw samples into a pipe
  wavehost decode http://host/in.wav -o .      from a server into in.wav
  wavehost tag in.wav Title=Dawn Artist=Ann Artist=Bob --picture cover.jpg
  wavehost tag *.wav Album=Birds --dry-run     what would change
  wavehost untag in.wav Comment                remove a tag
  wavehost options                             how tags are written
  wavehost formats                             what the module can do

Exit status: 0 all went well, 1 a file failed, 2 wrong usage.)";

void AddGlobalOptions(CLI::App& app, GlobalOptions& options) {
  app.add_flag("--json", options.json, "Print one JSON object a file, each on a line");
  app.add_flag("--report", options.report, "Show the module's diagnostic report on standard error");
  app.add_flag("-q,--quiet", options.quiet, "No progress and no summary; errors still");
  app.add_option("--module", options.module, "The codec module (default: wave.dll beside wavehost)")
      ->envname("WAVEHOST_MODULE")
      ->type_name("PATH");
}

void AddFiles(CLI::App& command, std::vector<std::string>& files) {
  command
      .add_option("files", files,
                  "Files or http:// addresses to read; behind -- whatever their\n"
                  "names begin with")
      ->type_name("FILE");
}

void AddDecodeOptions(CLI::App& command, DecodeOptions& options) {
  command
      .add_option("-o,--output", options.output,
                  "NAME.wav: a Wave file; any other file: raw samples; a folder:\n"
                  "one file for each input; -: standard output. Without it files\n"
                  "are only checked")
      ->type_name("OUT");
  command.add_option("--format", options.format, "Overrides what the output's name tells")
      ->check(CLI::IsMember({"wav", "raw"}))
      ->type_name("KIND");
  command
      .add_option("--from", options.from,
                  "Where to begin: a sample frame (44100) or a time (1.5s,\n"
                  "250ms, 1:30, 1:02:03.5)")
      ->type_name("FRAME|TIME");
  command.add_option("--to", options.to, "Where to end; this frame itself is left out")
      ->type_name("FRAME|TIME");
  command.add_flag("-f,--force", options.force, "Replace existing output files");
}

void AddArtOptions(CLI::App& command, ArtOptions& options) {
  command
      .add_option("-o,--output", options.folder,
                  "The folder for the pictures, made when it is missing\n"
                  "(default: the current folder)")
      ->type_name("DIR");
  command.add_flag("-f,--force", options.force, "Replace existing output files");
}

// The arguments before a "--", and the names behind it: CLI11 takes brackets off such names, and
// refuses them when other names came before the "--".
struct Arguments {
  std::vector<std::string> options;
  std::vector<std::string> names;
};

Arguments Divided(int argc, const char* const* argv) {
  const std::vector<std::string> all(argv + std::min(argc, 1), argv + argc);
  const auto mark = std::find(all.begin(), all.end(), "--");
  return {{all.begin(), mark}, {mark == all.end() ? mark : mark + 1, all.end()}};
}

void CheckDecode(const CLI::App& command, const CommandLine& line) {
  const std::string& output = line.decode.output;
  if (command.count("--output") != 0 && output.empty()) {
    throw CLI::ValidationError("--output", "The name is empty");
  }
  if (command.count("--format") != 0 && output.empty()) {
    throw CLI::ValidationError("--format", "Needs --output");
  }
  if (line.files.size() > 1 && !output.empty() && !NamesFolder(output)) {
    throw CLI::ValidationError(
        "--output",
        "With several files it must be a folder: an existing one, or a name that ends in /");
  }
  if (line.global.json && output == kStandardOutputName) {
    throw CLI::ValidationError("--json", "The standard output cannot take the samples as well");
  }
}

void CheckFiles(const CommandLine& line) {
  if (line.command == Command::Tag || line.command == Command::Untag) CheckWritable(line.files);
  const bool takes_files = line.command != Command::Formats && line.command != Command::Options;
  if (!takes_files && !line.files.empty()) throw CLI::ExtrasError(line.files);
  if (!takes_files || !line.files.empty()) return;
  if (line.change.remove.empty()) throw CLI::RequiredError("FILE");
  throw CLI::ValidationError("FILE", "No argument names an existing file");
}

Command ParsedCommand(const CLI::App& app) {
  const std::pair<const char*, Command> commands[] = {
      {"info", Command::Info},       {"tags", Command::Tags},      {"art", Command::Art},
      {"decode", Command::Decode},   {"tag", Command::Tag},        {"untag", Command::Untag},
      {"options", Command::Options}, {"formats", Command::Formats}};
  for (const auto& [name, command] : commands) {
    if (app.got_subcommand(name)) return command;
  }
  return Command::Info;
}

}  // namespace

std::optional<int> ParseCommandLine(int argc, const char* const* argv, CommandLine& line) {
  CLI::App app(
      "Describes and decodes audio files with a codec module, shows and changes their tags.",
      "wavehost");
  app.footer(kExamples);
  app.fallthrough();
  app.require_subcommand(1);
  app.set_version_flag("--version", "wavehost " WAVEHOST_VERSION);
  app.failure_message([](const CLI::App*, const CLI::Error& error) {
    return fmt::format("wavehost: {}\nRun wavehost --help for help.\n", Displayable(error.what()));
  });
  AddGlobalOptions(app, line.global);

  CLI::App& info =
      *app.add_subcommand("info", "Describe files: audio, properties, tags, pictures, chunks");
  AddFiles(info, line.files);
  CLI::App& tags = *app.add_subcommand("tags", "List the tags of files");
  AddFiles(tags, line.files);
  tags.add_flag(
      "--raw", line.tags.raw,
      "Also the reserved entries (names that begin with _): payload sizes and first bytes");
  CLI::App& art = *app.add_subcommand("art", "Put the pictures of files into files of their own");
  AddFiles(art, line.files);
  AddArtOptions(art, line.art);
  CLI::App& decode = *app.add_subcommand("decode", "Decode files, or check that they can be");
  AddFiles(decode, line.files);
  AddDecodeOptions(decode, line.decode);
  ChangeArguments changes;
  AddTagCommand(app, line.change, changes);
  AddUntagCommand(app, line.change, changes);
  AddOptionsCommand(app, line.choice);
  app.add_subcommand("formats", "Show what the module can do");

  try {
    Arguments arguments = Divided(argc, argv);
    std::reverse(arguments.options.begin(), arguments.options.end());  // as CLI11 takes them
    app.parse(arguments.options);
    line.command = ParsedCommand(app);
    if (line.command == Command::Tag) TakeTagArguments(changes.tag, line);
    if (line.command == Command::Untag) TakeUntagArguments(changes.untag, line);
    line.files.insert(line.files.end(), arguments.names.begin(), arguments.names.end());
    CheckFiles(line);
    if (decode.parsed()) CheckDecode(decode, line);
    if (art.count("--output") != 0 && line.art.folder.empty()) {
      throw CLI::ValidationError("--output", "The name is empty");
    }
  } catch (const CLI::ParseError& end) {
    return app.exit(end) == 0 ? 0 : kUsageStatus;
  }
  return std::nullopt;
}

}  // namespace wavehost
