#include "support/write_signal_guard.h"

#include <pthread.h>

#include <cerrno>
#include <initializer_list>

namespace wavecodec {
namespace {

bool IsPending(int signal) {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, signal) == 1;
}

}  // namespace

WriteSignalGuard::WriteSignalGuard() {
  sigemptyset(&Held);
  for (const int signal : {SIGPIPE, SIGXFSZ}) sigaddset(&Held, signal);
  pthread_sigmask(SIG_BLOCK, &Held, &Before);
  // One that waits already is the host's own, and not to be taken away. It waits only where the host
  // has blocked it, so that most writes need not ask.
  for (const int signal : {SIGPIPE, SIGXFSZ}) {
    if (sigismember(&Before, signal) == 1 && IsPending(signal)) sigdelset(&Held, signal);
  }
}

WriteSignalGuard::~WriteSignalGuard() { pthread_sigmask(SIG_SETMASK, &Before, nullptr); }

void WriteSignalGuard::TakeAway(int error) const {
  const int signal = error == EPIPE ? SIGPIPE : error == EFBIG ? SIGXFSZ : 0;
  if (signal == 0 || sigismember(&Held, signal) != 1 || !IsPending(signal)) return;
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, signal);
  int taken = 0;
  sigwait(&only, &taken);
}

}  // namespace wavecodec
