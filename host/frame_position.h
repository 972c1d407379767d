// A place in the audio, as the user gives it.
#pragma once

#include <cstdint>
#include <string>

namespace wavehost {

// A number of sample frames, or a time that becomes one with a file's sample rate.
class FramePosition {
 public:
  // The sample frame at this place; of a time the nearest one.
  [[nodiscard]] int64_t Frame(uint32_t sample_rate) const;

  // Reads "44100", "1.5s", "250ms", "1:30" or "1:02:03.5"; the command-line parser finds it by its
  // name.
  friend bool lexical_cast(const std::string& text, FramePosition& position);

 private:
  bool is_time_ = false;
  int64_t frames_ = 0;
  double seconds_ = 0;
};

}  // namespace wavehost
