// The process around the work: its descriptors, signals and place on the disk.
#pragma once

#include <exception>
#include <filesystem>

namespace wavehost {

// The user wants the run to end; what is unfinished is cleaned up on the way out.
struct Interrupted : std::exception {
  explicit Interrupted(int signal_number) : signal(signal_number) {}
  int signal;
};

// Makes writing to a closed pipe an ordinary error and termination signals an Interrupted, and
// keeps the descriptors 0 to 2 from being given to files.
void PrepareProcess();

// Throws Interrupted when a termination signal has come.
void ThrowIfInterrupted();

// The folder of this executable.
std::filesystem::path ExecutableFolder();

}  // namespace wavehost
