// The module's options for tags.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "decoder_session.h"

namespace wavehost {

struct TagOption {
  std::string name;
  std::string setting;  // where the settings store keeps the number of the choice
  std::vector<std::string> choices;
};

std::vector<TagOption> ReadTagOptions(DecoderSession& session);

// The text as one word of a shell's command line.
std::string ShellWord(std::string_view text);

// The command that makes a choice, to be typed into a shell.
std::string ChoiceCommand(const TagOption& option, size_t choice);

}  // namespace wavehost
