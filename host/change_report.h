// What a change of tags did to a file, or would do, as it is told.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "option_adviser.h"
#include "tag_state.h"

namespace wavehost {

struct Change {
  bool changed = false;
  uint64_t size_before = 0;
  std::optional<uint64_t> size_after;  // none when that cannot be told
  std::optional<bool> audio_moves;     // as well
  TagState old_tags;
  std::vector<TagDifference> differences;
  std::vector<LostValue> lost;
  std::string guessed;  // why this is no more than a guess; empty when it is none
};

nlohmann::ordered_json ChangeJson(const std::string& file, const Change& change, bool dry_run);
std::string ChangeText(const std::string& file, const Change& change);
std::string DryRunText(const std::string& file, const Change& change);
// One line for a value that is not kept.
std::string LossText(const std::string& file, const LostValue& lost);

}  // namespace wavehost
