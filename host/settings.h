// The settings store, where the user's choices lie for the module and all programs that share it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wavehost {

// The number of the choice that is stored for a setting, which the module names; 0 when there is
// none.
uint32_t StoredChoice(std::string_view setting);
// Throws Error when it cannot be written.
void StoreChoice(std::string_view setting, uint32_t choice);
// The store's file, for people.
std::string SettingsFile();

struct StoredSetting {
  std::string setting;
  uint32_t choice = 0;
};

// As long as the object lives the module sees these choices instead of the store's. Not for several
// threads, nor for one inside another.
class TrialSettings {
 public:
  // `file`: to be written for this, and of no other use.
  TrialSettings(const std::filesystem::path& file, const std::vector<StoredSetting>& choices);
  TrialSettings(const TrialSettings&) = delete;
  TrialSettings& operator=(const TrialSettings&) = delete;
  ~TrialSettings();

 private:
  std::optional<std::string> location_;  // the environment's
};

}  // namespace wavehost
