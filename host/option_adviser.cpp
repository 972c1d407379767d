#include "option_adviser.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

#include "error.h"
#include "file_edit.h"
#include "process.h"
#include "rehearsal.h"
#include "settings.h"
#include "text.h"

namespace wavehost {
namespace {

// The same losses of the same kind of file get the same advice.
std::string KeyOf(const OptionAdviser::Case& edited, const std::vector<TagDifference>& losses) {
  std::string key(1, edited.has_tags ? '1' : '0');
  for (const TagDifference& loss : losses) {
    key += LowerASCII(loss.name) + '\0';
    for (const TagValue& value : loss.from) key += value.text + '\0' + value.key + '\0';
    key += '\0';
  }
  return key;
}

void AddTo(TagEdit& edit, const std::string& name, const std::vector<TagValue>& values) {
  UserTag tag{name, {}};
  for (const TagValue& value : values) {
    if (!value.entry.empty() || !value.key.empty()) return;  // no user tag
    tag.values.push_back(value.text);
  }
  if (!tag.values.empty()) edit.set.push_back(std::move(tag));
}

TagEdit EditOf(const std::vector<TagDifference>& losses, const TagEdit& edit) {
  TagEdit again;
  for (const TagDifference& loss : losses) AddTo(again, loss.name, loss.from);
  again.pictures = edit.pictures;
  return again;
}

TagEdit EditOf(const TagState& wanted, const TagEdit& edit) {
  TagEdit again;
  for (const TagItem& item : wanted) AddTo(again, item.name, item.values);
  again.pictures = edit.pictures;
  return again;
}

}  // namespace

struct OptionAdviser::Trial {
  const Rehearsal& rehearsal;
  const TagState& wanted;
  const std::vector<TagDifference>& losses;
  TagEdit edit;
  bool on_bare_file = false;
};

void OptionAdviser::LoadOptions() {
  DecoderSession session(module_, false);
  options_ = ReadTagOptions(session);
  present_.clear();
  for (const TagOption& option : options_) present_.push_back(StoredChoice(option.setting));
}

std::vector<OptionAdviser::Choices> OptionAdviser::SingleChoices() const {
  std::vector<Choices> candidates;
  for (size_t option = 0; option < options_.size(); ++option) {
    for (size_t number = 0; number < options_[option].choices.size(); ++number) {
      if (number != present_[option]) candidates.push_back({{option, number}});
    }
  }
  return candidates;
}

std::vector<OptionAdviser::Choices> OptionAdviser::PairsOfChoices() const {
  const std::vector<Choices> singles = SingleChoices();
  std::vector<Choices> pairs;
  for (const Choices& first : singles) {
    for (const Choices& second : singles) {
      if (first[0].option < second[0].option) pairs.push_back({first[0], second[0]});
    }
  }
  return pairs;
}

std::optional<std::vector<TagDifference>> OptionAdviser::Try(const Trial& trial,
                                                             const Choices& choices) const {
  ThrowIfInterrupted();
  std::vector<StoredSetting> settings;
  for (size_t option = 0; option < options_.size(); ++option) {
    settings.push_back({options_[option].setting, present_[option]});
  }
  for (const Choice& choice : choices) {
    settings[choice.option].choice = static_cast<uint32_t>(choice.number);
  }
  try {
    const TrialSettings chosen(trial.rehearsal.Folder() / "settings.json", settings);
    DecoderSession session(module_, false);
    const std::string copy = trial.rehearsal.FreshCopy();
    if (trial.on_bare_file) session.DeleteAllTags(copy);
    return Losses(trial.wanted, EditFile(session, copy, trial.edit, {}).new_tags, {});
  } catch (const Error&) {
    return std::nullopt;
  }
}

std::vector<std::optional<OptionAdviser::Choices>> OptionAdviser::FindBest(
    const Trial& trial, const std::vector<Choices>& candidates) const {
  std::vector<std::optional<Choices>> best(trial.losses.size());
  std::vector<size_t> least(trial.losses.size(), SIZE_MAX);
  for (const Choices& candidate : candidates) {
    const auto left = Try(trial, candidate);
    if (!left) continue;
    NameSet lost;
    for (const TagDifference& loss : *left) lost.Add(loss.name);
    for (size_t i = 0; i < best.size(); ++i) {
      if (left->size() >= least[i] || lost.Has(trial.losses[i].name)) continue;
      best[i] = candidate;
      least[i] = left->size();
    }
    if (left->empty()) break;
  }
  return best;
}

std::vector<OptionAdviser::Way> OptionAdviser::FindWays(
    const Case& edited, const std::vector<TagDifference>& losses) const {
  std::vector<Way> ways(losses.size());
  const Rehearsal rehearsal(edited.file);
  const Trial here{rehearsal, edited.wanted, losses, EditOf(losses, edited.edit), false};
  const Trial bare{rehearsal, edited.wanted, losses, EditOf(edited.wanted, edited.edit), true};
  const auto search = [&](const Trial& trial, const std::vector<Choices>& candidates) {
    const auto is_open = [&](const Way& way) {
      return !way.choices && FitsTagBlock(losses[static_cast<size_t>(&way - ways.data())].from);
    };
    if (std::none_of(ways.begin(), ways.end(), is_open)) return;
    const auto best = FindBest(trial, candidates);
    for (size_t i = 0; i < ways.size(); ++i) {
      if (is_open(ways[i]) && best[i]) ways[i] = {best[i], trial.on_bare_file && edited.has_tags};
    }
  };
  const std::vector<Choices> present = {{}};
  if (edited.has_tags) search(here, SingleChoices());
  if (edited.has_tags) search(bare, present);
  search(bare, SingleChoices());
  if (edited.has_tags) search(here, PairsOfChoices());
  search(bare, PairsOfChoices());
  return ways;
}

std::vector<std::string> OptionAdviser::Commands(const Way& way, const std::string& file) const {
  std::vector<std::string> commands;
  if (!way.choices) return commands;
  for (const Choice& choice : *way.choices) {
    commands.push_back(ChoiceCommand(options_[choice.option], choice.number));
  }
  if (way.needs_bare_file) {
    commands.push_back(
        fmt::format("wavehost untag {}{}", file.starts_with('-') ? "-- " : "", ShellWord(file)));
  }
  return commands;
}

std::vector<LostValue> OptionAdviser::Advise(const Case& edited,
                                             std::vector<TagDifference> losses) {
  std::vector<LostValue> lost;
  if (losses.empty()) return lost;
  if (options_.empty()) LoadOptions();
  const auto [place, is_new] = known_.try_emplace(KeyOf(edited, losses));
  std::vector<Way>& ways = place->second;
  try {
    if (is_new) ways = FindWays(edited, losses);
  } catch (const Error&) {
    ways.clear();  // no copy of the file to try things on
  }
  for (size_t i = 0; i < losses.size(); ++i) {
    LostValue& value = lost.emplace_back(LostValue{std::move(losses[i]), {}});
    if (!ways.empty()) value.advice = Commands(ways[i], edited.file);
  }
  return lost;
}

}  // namespace wavehost
