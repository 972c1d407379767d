// What the tests of tag writing share: the user's choices, and the module as a writer.
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "options_json.h"
#include "support.h"
#include "tags/set/tag_set.h"

namespace wavecodec::test {

using Entries = std::vector<std::pair<std::wstring, std::wstring>>;

// Choices about tags, each a letter and a digit ("D1P0"), in force as long as the object lives.
class StoredOptions {
 public:
  explicit StoredOptions(std::string_view choices) : File(Json(choices)) {
    setenv("XCLASS_XREGISTRY_LOCATION", File.Path.c_str(), 1);
  }
  StoredOptions(const StoredOptions&) = delete;
  StoredOptions& operator=(const StoredOptions&) = delete;
  ~StoredOptions() { unsetenv("XCLASS_XREGISTRY_LOCATION"); }

 private:
  static std::string Json(std::string_view choices) {
    Choices parsed;
    for (size_t i = 0; i < choices.size(); i += 2) {
      parsed[choices[i]] = static_cast<unsigned>(choices[i + 1] - '0');
    }
    return OptionsJson(parsed);
  }

  const TempFile File;
};

inline std::string FileBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline bool SetTags(Instance& instance, const std::wstring& file, const NTag& tags) {
  XMem block;
  tags.ToRawMemory(block);
  STZuCodecGetSet record{};
  record.Text1 = file.c_str();
  record.Data = block.Data();
  record.SubIndex = static_cast<int32_t>(block.Size());
  return instance.M.Set(instance.Self, L"IDTags", &record) == 1;
}
inline bool SetTags(Instance& instance, const std::wstring& file, const Entries& entries) {
  NTag tags;
  for (const auto& [name, value] : entries) tags.AddTag(name, value);
  return SetTags(instance, file, tags);
}

// Everything when there are no names.
inline bool DeleteTags(Instance& instance, const std::wstring& file,
                       const std::vector<std::wstring>& names) {
  std::wstring packed;
  for (const std::wstring& name : names) packed += name + L'\0';
  return instance.M.DeleteATag(instance.Self, file.c_str(),
                               names.empty() ? nullptr : packed.c_str()) == 1;
}

}  // namespace wavecodec::test
