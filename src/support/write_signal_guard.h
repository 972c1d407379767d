// Writes that fail must not end the host.
#pragma once

#include <csignal>

namespace wavecodec {

// Keeps a write to a closed pipe, or past the limit of a file's size, from ending the host: the
// signal is held back on this thread, and one that came meanwhile is taken away again.
class WriteSignalGuard {
 public:
  WriteSignalGuard();
  ~WriteSignalGuard();
  WriteSignalGuard(const WriteSignalGuard&) = delete;
  WriteSignalGuard& operator=(const WriteSignalGuard&) = delete;

  // The signal of a write that failed with `error`, where one was sent.
  void TakeAway(int error) const;

 private:
  sigset_t Held{};
  sigset_t Before{};
};

}  // namespace wavecodec
