#include "tag_options.h"

#include <fmt/format.h>

#include <string_view>

#include "text.h"

namespace wavehost {

std::vector<TagOption> ReadTagOptions(DecoderSession& session) {
  constexpr wchar_t kKey[] = L"ID Tag Options";
  std::vector<TagOption> options;
  STZuCodecGetSet record = {};
  for (; session.Get(kKey, record); ++record.Index) {
    TagOption& option = options.emplace_back();
    option.name = TextOrEmpty(record.Text1);
    option.setting = TextOrEmpty(record.Text2);
    for (record.SubIndex = 0; session.Get(kKey, record); ++record.SubIndex) {
      option.choices.push_back(TextOrEmpty(record.Text3));
    }
    record.SubIndex = 0;
  }
  return options;
}

std::string ShellWord(std::string_view text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./";
  constexpr std::string_view kEscaped = "\"\\$`";
  if (!text.empty() && text.find_first_not_of(kPlain) == text.npos) return std::string(text);
  std::string word = "\"";
  for (const char c : text) {
    if (kEscaped.find(c) != kEscaped.npos) word += '\\';
    word += c;
  }
  return word + '"';
}

std::string ChoiceCommand(const TagOption& option, size_t choice) {
  return fmt::format("wavehost options set {} {}", ShellWord(option.name),
                     ShellWord(option.choices[choice]));
}

}  // namespace wavehost
