// Shows the options for tags, and stores the user's choices.
#include <fmt/format.h>

#include <algorithm>

#include "commands.h"
#include "console.h"
#include "decoder_session.h"
#include "settings.h"
#include "tag_options.h"
#include "text.h"

namespace wavehost {
namespace {

using Json = nlohmann::ordered_json;

// A name as it is compared: blanks side by side are one.
std::string Plain(std::string_view name) {
  std::string plain;
  for (const char c : LowerASCII(name)) {
    if (c != ' ' || (!plain.empty() && plain.back() != ' ')) plain += c;
  }
  if (plain.ends_with(' ')) plain.pop_back();
  return plain;
}

// The exact name first: two choices may differ in case only.
size_t IndexOf(const std::vector<std::string>& names, const std::string& wanted) {
  auto found = std::find(names.begin(), names.end(), wanted);
  if (found == names.end()) {
    found = std::find_if(names.begin(), names.end(),
                         [&](const std::string& name) { return Plain(name) == Plain(wanted); });
  }
  return static_cast<size_t>(found - names.begin());
}

[[noreturn]] void ThrowUnknown(std::string_view what, const std::string& wanted,
                               const std::vector<std::string>& names) {
  std::string text = fmt::format("there is no {} '{}'; there are:", what, Displayable(wanted));
  for (const std::string& name : names) text += fmt::format("\n  {}", name);
  throw WrongUsage(text);
}

void Store(const std::vector<TagOption>& options, const ChoiceOptions& wanted) {
  std::vector<std::string> names;
  names.reserve(options.size());
  for (const TagOption& option : options) names.push_back(option.name);
  const size_t index = IndexOf(names, wanted.option);
  if (index == names.size()) ThrowUnknown("option", wanted.option, names);
  const TagOption& option = options[index];
  const size_t choice = IndexOf(option.choices, wanted.choice);
  if (choice == option.choices.size()) {
    ThrowUnknown(fmt::format("choice of {}", option.name), wanted.choice, option.choices);
  }
  StoreChoice(option.setting, static_cast<uint32_t>(choice));
}

Json OptionJson(const TagOption& option, uint32_t stored) {
  Json json = {{"name", option.name},
               {"setting", option.setting},
               {"choices", option.choices},
               {"number", stored},
               {"choice", nullptr}};
  if (stored < option.choices.size()) json["choice"] = option.choices[stored];
  return json;
}

std::string OptionText(const TagOption& option, uint32_t stored) {
  std::string text = option.name + "\n";
  for (size_t i = 0; i < option.choices.size(); ++i) {
    text += fmt::format("  {} {}\n", i == stored ? '*' : ' ', option.choices[i]);
  }
  if (stored >= option.choices.size()) {
    text += fmt::format("  * {} is stored, which is no choice\n", stored);
  }
  return text;
}

}  // namespace

int RunOptions(const CodecModule& module, const CommandLine& line) {
  const bool json_wanted = line.global.json;
  DecoderSession session(module, line.global.report);
  const std::vector<TagOption> options = ReadTagOptions(session);
  const bool stores = !line.choice.option.empty();
  if (stores) Store(options, line.choice);
  Json json = {{"file", SettingsFile()}, {"options", Json::array()}};
  std::string text;
  for (const TagOption& option : options) {
    const bool is_shown = !stores || Plain(option.name) == Plain(line.choice.option);
    if (!is_shown) continue;
    const uint32_t stored = StoredChoice(option.setting);
    json["options"].push_back(OptionJson(option, stored));
    text += OptionText(option, stored);
  }
  if (!stores) text += fmt::format("\nKept in {}\n", Displayable(SettingsFile()));
  if (line.global.quiet && stores) text.clear();
  PrintData(json_wanted ? JsonLine(json) : text);
  return 0;
}

}  // namespace wavehost
