// The user's choices about tags, in a settings file of this process.
#pragma once

#include <cstdlib>

#include "instance.h"
#include "options_json.h"

namespace wavecodec::fuzz {

class StoredOptions {
 public:
  StoredOptions() { setenv("XCLASS_XREGISTRY_LOCATION", File.Path.c_str(), 1); }

  void Store(const test::Choices& choices) const { File.Replace(test::OptionsJson(choices)); }

 private:
  WorkFile File{"fuzz_options"};
};

}  // namespace wavecodec::fuzz
