#include "frame_position.h"

#include <algorithm>
#include <cmath>
#include <regex>
#include <stdexcept>

namespace wavehost {

int64_t FramePosition::Frame(uint32_t sample_rate) const {
  constexpr double kMost = 9.0e18;
  return is_time_ ? std::llround(std::min(seconds_ * sample_rate, kMost)) : frames_;
}

bool lexical_cast(const std::string& text, FramePosition& position) {
  static const std::regex kFrames(R"(\d+)");
  static const std::regex kUnit(R"((\d+(?:\.\d+)?)(ms|s))");
  static const std::regex kClock(R"((?:(?:(\d+):)?(\d+):)(\d+(?:\.\d+)?))");
  const auto number = [](const std::ssub_match& part) {
    return part.matched ? std::stod(part) : 0;
  };
  std::smatch parts;
  try {
    if (std::regex_match(text, kFrames)) {
      position.frames_ = std::stoll(text);
      return true;
    }
    position.is_time_ = true;
    if (std::regex_match(text, parts, kUnit)) {
      position.seconds_ = number(parts[1]) / (parts[2] == "ms" ? 1000 : 1);
      return true;
    }
    if (std::regex_match(text, parts, kClock)) {
      const double minutes = number(parts[2]);
      const double seconds = number(parts[3]);
      position.seconds_ = (number(parts[1]) * 60 + minutes) * 60 + seconds;
      return seconds < 60 && (minutes < 60 || !parts[1].matched);
    }
  } catch (const std::out_of_range&) {  // more digits than a number can have
  }
  return false;
}

}  // namespace wavehost
