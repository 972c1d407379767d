// The user's choices about tags, in a settings file of this process.
#pragma once

#include <cstdlib>
#include <map>
#include <string>

#include "instance.h"

namespace wavecodec::fuzz {

class StoredOptions {
 public:
  using Choices = std::map<char, unsigned>;  // each by the letter of its name

  StoredOptions() { setenv("XCLASS_XREGISTRY_LOCATION", File.Path.c_str(), 1); }

  void Store(const Choices& choices) const {
    static const std::map<char, const char*> names = {
        {'D', "WaveTagDefault"},      {'P', "WaveLISTPos"},           {'T', "WaveLISTPadding"},
        {'S', "WaveLISTPaddingSize"}, {'A', "WaveLISTAlbum"},         {'K', "WaveLISTTrack"},
        {'V', "WaveID3v2Version"},    {'U', "WaveID3v2UnicodeEncode"}};
    std::string json = R"({"HKCU":{"Software":{"Mardel":{"Tonvark":{"Tagging":{)";
    for (const auto& [letter, choice] : choices) {
      json += (json.ends_with('{') ? "\"" : ",\"") + std::string(names.at(letter)) +
              "\":" + std::to_string(choice);
    }
    File.Replace(json + "}}}}}}");
  }

 private:
  WorkFile File{"fuzz_options"};
};

}  // namespace wavecodec::fuzz
