#include "change_report.h"

#include <fmt/format.h>

#include "text.h"

namespace wavehost {
namespace {

using Json = nlohmann::ordered_json;

Json LostJson(const std::vector<LostValue>& lost) {
  Json json = Json::array();
  for (const LostValue& value : lost) {
    json.push_back({{"name", value.difference.name},
                    {"wanted", ValuesJson(value.difference.from)},
                    {"got", ValuesJson(value.difference.to)},
                    {"advice", nullptr}});
    if (value.advice) json.back()["advice"] = *value.advice;
  }
  return json;
}

Json DifferencesJson(const std::vector<TagDifference>& differences) {
  Json json = {{"added", Json::array()}, {"changed", Json::array()}, {"removed", Json::array()}};
  for (const TagDifference& difference : differences) {
    const Json from = ValuesJson(difference.from);
    const Json to = ValuesJson(difference.to);
    if (from.empty()) {
      json["added"].push_back({{"name", difference.name}, {"values", to}});
    } else if (to.empty()) {
      json["removed"].push_back({{"name", difference.name}, {"values", from}});
    } else {
      json["changed"].push_back({{"name", difference.name}, {"from", from}, {"to", to}});
    }
  }
  return json;
}

std::string SizesText(const Change& change) {
  if (!change.size_after) return "";
  const uint64_t before = change.size_before;
  const uint64_t after = *change.size_after;
  if (before == after) return fmt::format(", {} bytes as before", before);
  return after > before ? fmt::format(", {} bytes, {} more", after, after - before)
                        : fmt::format(", {} bytes, {} fewer", after, before - after);
}

}  // namespace

nlohmann::ordered_json ChangeJson(const std::string& file, const Change& change, bool dry_run) {
  Json json = {{"file", file}, {"result", change.changed ? "updated" : "unchanged"}};
  if (dry_run) json["dry_run"] = true;
  json["size_before"] = change.size_before;
  json["size_after"] = nullptr;
  if (change.size_after) json["size_after"] = *change.size_after;
  if (dry_run) {
    json["audio_moves"] = nullptr;
    if (change.audio_moves) json["audio_moves"] = *change.audio_moves;
    json["changes"] = DifferencesJson(change.differences);
    if (!change.guessed.empty()) json["not_rehearsed"] = change.guessed;
  }
  json["not_kept"] = LostJson(change.lost);
  return json;
}

std::string DryRunText(const std::string& file, const Change& change) {
  std::string text = fmt::format("{}: would be {}", Displayable(file),
                                 change.changed ? "updated" + SizesText(change) : "unchanged");
  if (change.audio_moves) text += *change.audio_moves ? ", audio moves" : ", audio stays in place";
  text += '\n';
  for (const TagDifference& difference : change.differences) {
    const char sign = difference.from.empty() ? '+' : difference.to.empty() ? '-' : '~';
    text += fmt::format("  {} {}: {}", sign, Displayable(difference.name),
                        ValuesText(sign == '+' ? difference.to : difference.from));
    if (sign == '~') text += fmt::format(" -> {}", ValuesText(difference.to));
    text += '\n';
  }
  if (!change.guessed.empty()) {
    text += fmt::format("  (by the tags alone, without a rehearsal: {})\n", change.guessed);
  }
  return text;
}

std::string ChangeText(const std::string& file, const Change& change) {
  return fmt::format("{}: {}\n", Displayable(file),
                     change.changed ? "updated" + SizesText(change) : "unchanged");
}

std::string LossText(const std::string& file, const LostValue& lost) {
  const TagDifference& difference = lost.difference;
  std::string text =
      fmt::format("wavehost: {}: warning: {} ", Displayable(file), Displayable(difference.name));
  if (difference.from.empty()) {
    text += fmt::format("is still there: {}", ValuesText(difference.to));
  } else if (difference.to.empty()) {
    text += fmt::format("is not kept: {}", ValuesText(difference.from));
  } else {
    text += fmt::format("is kept as {} instead of {}", ValuesText(difference.to),
                        ValuesText(difference.from));
  }
  if (!FitsTagBlock(difference.from)) {
    if (!difference.from.empty()) text += "; the module takes no characters beyond U+FFFF";
  } else if (lost.advice && lost.advice->empty()) {
    text += "; no option keeps it";
  } else if (lost.advice) {
    const std::string commands = fmt::format("{}", fmt::join(*lost.advice, " && "));
    text += fmt::format("; to keep it: {}, then tag it again", Displayable(commands));
  }
  return text + "\n";
}

}  // namespace wavehost
