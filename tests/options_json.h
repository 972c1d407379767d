// The settings file of choices about tags, as other programs write it.
#pragma once

#include <map>
#include <string>

namespace wavecodec::test {

using Choices = std::map<char, unsigned>;  // each by a letter of its own

inline std::string OptionsJson(const Choices& choices) {
  static const std::map<char, const char*> names = {
      {'D', "WaveTagDefault"},      {'P', "WaveLISTPos"},           {'T', "WaveLISTPadding"},
      {'S', "WaveLISTPaddingSize"}, {'A', "WaveLISTAlbum"},         {'K', "WaveLISTTrack"},
      {'V', "WaveID3v2Version"},    {'U', "WaveID3v2UnicodeEncode"}};
  std::string json = R"({"HKCU":{"Software":{"Mardel":{"Tonvark":{"Tagging":{)";
  for (const auto& [letter, choice] : choices) {
    json += (json.ends_with('{') ? "\"" : ",\"") + std::string(names.at(letter)) +
            "\":" + std::to_string(choice);
  }
  return json + "}}}}}}";
}

}  // namespace wavecodec::test
