#include "frame_position.h"

#include <CLI/StringTools.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace wavehost {
namespace {

bool IsDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

// Digits, with a fraction or without.
std::optional<double> Decimal(std::string_view text) {
  const size_t point = text.find('.');
  const bool valid =
      IsDigits(text.substr(0, point)) && (point == text.npos || IsDigits(text.substr(point + 1)));
  if (!valid) return std::nullopt;
  return std::strtod(std::string(text).c_str(), nullptr);
}

// Seconds of "m:ss" or "h:mm:ss", the last with a fraction or without.
std::optional<double> Clock(const std::string& text) {
  const std::vector<std::string> parts = CLI::detail::split(text, ':');
  if (parts.size() < 2 || parts.size() > 3 || text.ends_with(':')) return std::nullopt;
  double seconds = 0;
  for (size_t i = 0; i < parts.size(); ++i) {
    const bool last = i + 1 == parts.size();
    const auto value = last || IsDigits(parts[i]) ? Decimal(parts[i]) : std::nullopt;
    if (!value || (i > 0 && *value >= 60)) return std::nullopt;
    seconds = seconds * 60 + *value;
  }
  return seconds;
}

std::optional<double> Seconds(const std::string& text) {
  const std::string_view view = text;
  if (view.ends_with("ms")) {
    const auto milliseconds = Decimal(view.substr(0, view.size() - 2));
    return milliseconds ? std::optional(*milliseconds / 1000) : std::nullopt;
  }
  if (view.ends_with('s')) return Decimal(view.substr(0, view.size() - 1));
  return Clock(text);
}

}  // namespace

int64_t FramePosition::Frame(uint32_t sample_rate) const {
  constexpr double kMost = 9.0e18;
  return is_time_ ? std::llround(std::min(seconds_ * sample_rate, kMost)) : frames_;
}

bool lexical_cast(const std::string& text, FramePosition& position) {
  if (IsDigits(text)) {
    const char* const end = text.data() + text.size();
    return std::from_chars(text.data(), end, position.frames_).ec == std::errc();
  }
  const auto seconds = Seconds(text);
  position.is_time_ = true;
  position.seconds_ = seconds.value_or(0);
  return seconds.has_value();
}

}  // namespace wavehost
