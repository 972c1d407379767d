// A bar on the terminal that shows how far long work has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace wavehost {

// Appears when the work has taken a second, only on a terminal; is gone when the object is.
class ProgressBar {
 public:
  ProgressBar(const std::string& name, uint64_t total, bool wanted);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  void Update(uint64_t done);

 private:
  using Clock = std::chrono::steady_clock;

  std::string name_;
  uint64_t total_;
  bool enabled_;
  bool coloured_;
  bool visible_ = false;
  Clock::time_point next_draw_;
};

}  // namespace wavehost
