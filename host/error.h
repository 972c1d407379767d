// What ends the work on a file, or the whole run.
#pragma once

#include <stdexcept>
#include <string>

namespace wavehost {

// Why something failed, as told to the user. In the work on a file it ends that file only.
struct Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// `what` with the system's text for errno.
[[nodiscard]] Error SystemError(const std::string& what);

// Nobody reads the standard output any more: the run ends without a word.
struct ClosedPipe : std::exception {};

}  // namespace wavehost
