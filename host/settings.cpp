#include "settings.h"

#include <fmt/format.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "error.h"
#include "support/xregistry.h"
#include "support/xregistry_transaction.h"
#include "text.h"

namespace wavehost {
namespace {

using wavecodec::XRegistry;

constexpr char kLocation[] = "XCLASS_XREGISTRY_LOCATION";
constexpr wchar_t kMainKey[] = L"HKCU";
constexpr std::string_view kRoot = R"(Software\Mardel\Tonvark)";

// Where a value lies: its key path, and its name.
struct Place {
  explicit Place(std::string_view setting) {
    const std::string whole = fmt::format(R"({}\{})", kRoot, setting);
    const size_t mark = whole.rfind('\\');
    path = WideFileName(whole.substr(0, mark));
    name = WideFileName(whole.substr(mark + 1));
  }
  std::wstring path;
  std::wstring name;
};

}  // namespace

uint32_t StoredChoice(std::string_view setting) {
  const Place place(setting);
  return XRegistry::GetDWORD(place.name.c_str(), kMainKey, place.path.c_str());
}

void StoreChoice(std::string_view setting, uint32_t choice) {
  const Place place(setting);
  wavecodec::XRegistryTransaction edit;
  edit.SetDWORD(choice, place.name.c_str(), kMainKey, place.path.c_str());
  if (!edit.Commit()) {
    throw Error(fmt::format("cannot write the settings file '{}'", Displayable(SettingsFile())));
  }
}

std::string SettingsFile() { return Utf8(XRegistry::RegFileLocation()); }

TrialSettings::TrialSettings(const std::filesystem::path& file,
                             const std::vector<StoredSetting>& choices) {
  nlohmann::json store = nlohmann::json::object();
  for (const StoredSetting& stored : choices) {
    nlohmann::json* key = &store["HKCU"];
    const std::string whole = fmt::format(R"({}\{})", kRoot, stored.setting);
    std::string_view rest = whole;
    for (size_t mark = 0; (mark = rest.find('\\')) != rest.npos; rest.remove_prefix(mark + 1)) {
      key = &(*key)[std::string(rest.substr(0, mark))];
    }
    (*key)[std::string(rest)] = stored.choice;
  }
  std::ofstream stream(file);
  stream << store.dump();
  stream.close();
  if (!stream) throw Error("cannot write a temporary file");
  if (const char* const location = std::getenv(kLocation)) location_ = location;
  setenv(kLocation, file.c_str(), 1);
}

TrialSettings::~TrialSettings() {
  if (location_) {
    setenv(kLocation, location_->c_str(), 1);
  } else {
    unsetenv(kLocation);
  }
}

}  // namespace wavehost
