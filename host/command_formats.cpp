// Shows what the module answers to its queries.
#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "commands.h"
#include "console.h"
#include "decoder_session.h"
#include "tag_options.h"
#include "text.h"

namespace wavehost {
namespace {

using Json = nlohmann::ordered_json;

// One answer; empty when the module has none.
std::string Ask(DecoderSession& session, const wchar_t* key) {
  STZuCodecGetSet record = {};
  return session.Get(key, record) ? TextOrEmpty(record.Text1) : "";
}

// The answers to a key that is asked with a counting index.
template <typename Convert>
Json AskAll(DecoderSession& session, const wchar_t* key, const Convert& convert) {
  Json answers = Json::array();
  STZuCodecGetSet record = {};
  while (session.Get(key, record)) {
    answers.push_back(convert(record));
    ++record.Index;
  }
  return answers;
}

Json SplitLines(std::string_view text) {
  Json lines = Json::array();
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\r'));
    lines.push_back(line);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return lines;
}

Json AskTagOptions(DecoderSession& session) {
  Json options = Json::array();
  for (const TagOption& option : ReadTagOptions(session)) {
    options.push_back(
        {{"name", option.name}, {"setting", option.setting}, {"choices", option.choices}});
  }
  return options;
}

Json AskEverything(DecoderSession& session) {
  return {
      {"description", Ask(session, L"Decoder Description")},
      {"decodes", AskAll(session, L"Decodes",
                         [](const STZuCodecGetSet& answer) {
                           return Json{{"extension", TextOrEmpty(answer.Text1)},
                                       {"name", TextOrEmpty(answer.Text2)}};
                         })},
      {"streaming",
       AskAll(session, L"StreamingDecodes",
              [](const STZuCodecGetSet& answer) { return TextOrEmpty(answer.Text1); })},
      {"properties", SplitLines(Ask(session, L"Property Elements"))},
      {"defaultProperties", SplitLines(Ask(session, L"Default Property Elements"))},
      {"tagOptions", AskTagOptions(session)},
  };
}

std::string Text(const Json& answers) {
  const auto text_of = [](const Json& value) { return value.get<std::string>(); };
  std::string text = text_of(answers["description"]) + "\n";
  const auto add_list = [&](const char* title, const char* key) {
    text += fmt::format("\n{}\n", title);
    for (const Json& item : answers[key]) text += fmt::format("  {}\n", text_of(item));
  };
  text += "\nFiles\n";
  for (const Json& kind : answers["decodes"]) {
    text += fmt::format("  {:<8}{}\n", text_of(kind["extension"]), text_of(kind["name"]));
  }
  add_list("Streams", "streaming");
  add_list("Properties", "properties");
  add_list("Properties shown by default", "defaultProperties");
  text += "\nTag options (the first choice is the default)\n";
  for (const Json& option : answers["tagOptions"]) {
    text += fmt::format("  {}  {}\n", text_of(option["name"]), text_of(option["setting"]));
    for (const Json& choice : option["choices"]) text += fmt::format("    {}\n", text_of(choice));
  }
  return text;
}

}  // namespace

int RunFormats(const CodecModule& module, const CommandLine& line) {
  DecoderSession session(module, line.global.report);
  const Json answers = AskEverything(session);
  PrintData(line.global.json ? JsonLine(answers) : Text(answers));
  return 0;
}

}  // namespace wavehost
