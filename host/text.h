// Text on its ways between the command line, the module and the terminal.
#pragma once

#include <string>
#include <string_view>

namespace wavehost {

// A file name as the module takes it: whatever is not valid UTF-8 becomes U+DC80 to U+DCFF.
std::wstring WideFileName(std::string_view bytes);

// UTF-8 of `text`; a unit that is no character becomes U+FFFD.
std::string Utf8(std::wstring_view text);

// A file name fit for a terminal: no invalid bytes, no control characters.
std::string Displayable(std::string_view bytes);

}  // namespace wavehost
