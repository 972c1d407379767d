#include "process.h"

#include <fcntl.h>
#include <unistd.h>
#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <string>
#include <system_error>

#include "error.h"

namespace wavehost {
namespace {

volatile std::sig_atomic_t pending_signal = 0;

void NoteSignal(int signal_number) { pending_signal = signal_number; }

}  // namespace

Error SystemError(const std::string& what) {
  Error error(what + ": " + std::generic_category().message(errno));
  return error;
}

void PrepareProcess() {
  int descriptor = open("/dev/null", O_RDONLY);  // writing to what was closed must fail
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) descriptor = open("/dev/null", O_RDONLY);
  if (descriptor >= 0) close(descriptor);

  struct sigaction action = {};
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
  sigaction(SIGXFSZ, &action, nullptr);  // past the limit of a file's size
  action.sa_handler = NoteSignal;
  action.sa_flags = static_cast<int>(SA_RESETHAND);  // a second signal ends the process at once
  for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
    struct sigaction before = {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
  }
}

void ThrowIfInterrupted() {
  if (pending_signal != 0) throw Interrupted(pending_signal);
}

std::filesystem::path ExecutableFolder() {
  std::error_code failure;
#ifdef __APPLE__
  uint32_t size = 0;
  _NSGetExecutablePath(nullptr, &size);
  std::string path(size, '\0');
  _NSGetExecutablePath(path.data(), &size);
  const auto executable = std::filesystem::canonical(path.c_str(), failure);
#else
  const auto executable = std::filesystem::read_symlink("/proc/self/exe", failure);
#endif
  return failure ? std::filesystem::path(".") : executable.parent_path();
}

}  // namespace wavehost
