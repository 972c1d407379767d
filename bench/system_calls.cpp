#include "system_calls.h"

#include <fstream>

#ifdef __linux__
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#endif

namespace bench {

double TracedCalls([[maybe_unused]] const std::function<void()>& work) {
#ifdef __linux__
  const pid_t child = fork();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
      raise(SIGSTOP);
      work();
    }
    _exit(0);
  }
  constexpr int kSystemCall = SIGTRAP | 0x80;
  constexpr auto kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK |
                            PTRACE_O_TRACEVFORK | PTRACE_O_TRACEEXEC;
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSTOPPED(status)) ptrace(PTRACE_SETOPTIONS, child, nullptr, kOptions);
  uint64_t stops = 0;
  for (pid_t stopped = child; stopped > 0; stopped = waitpid(-1, &status, __WALL)) {
    if (!WIFSTOPPED(status)) continue;
    const int signal = WSTOPSIG(status);
    if (signal == kSystemCall) ++stops;
    const bool own = signal == kSystemCall || signal == SIGTRAP || signal == SIGSTOP;
    ptrace(PTRACE_SYSCALL, stopped, nullptr, own ? 0L : static_cast<long>(signal));
  }
  return static_cast<double>(stops) / 2;  // one at its begin, one at its end
#else
  return 0;
#endif
}

double SystemCalls(const std::function<void()>& work) {
  static const double own = TracedCalls([] {});
  return TracedCalls(work) - own;
}

IoCounts ProcessIo(const std::string& process) {
  IoCounts counts;
  std::ifstream io("/proc/" + process + "/io");
  std::string name;
  uint64_t value = 0;
  while (io >> name >> value) {
    if (name == "wchar:") counts.BytesWritten = value;
    if (name == "syscr:") counts.Reads = value;
    if (name == "syscw:") counts.Writes = value;
  }
  return counts;
}

}  // namespace bench
