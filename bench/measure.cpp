// Runs a command and tells what it cost: measure [--calls] COMMAND [ARGUMENT …]. Prints seconds,
// seconds of processor time, the most memory that it had resident in KiB and bytes written; with
// --calls its system calls only, which are counted while they are traced. A small program starts the command,
// because what a process had resident before it became another one counts as that one's.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "system_calls.h"

namespace {

[[noreturn]] void Become(char** command) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(nowhere, STDOUT_FILENO);
  execvp(command[0], command);
  _exit(127);
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

int main(int count, char** arguments) {
  const bool calls = count > 1 && std::strcmp(arguments[1], "--calls") == 0;
  char** const command = arguments + (calls ? 2 : 1);
  if (command[0] == nullptr) return 2;
  if (calls) {
    const double counted = bench::TracedCalls([&] { Become(command); });
    std::printf("%.0f\n", counted);
    return 0;
  }
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) Become(command);
  siginfo_t ended{};
  waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  const bench::IoCounts io = bench::ProcessIo(std::to_string(child));  // it is still to be seen
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  std::printf("%.9f %.6f %ld %llu\n", seconds.count(),
              Seconds(usage.ru_utime) + Seconds(usage.ru_stime), usage.ru_maxrss,
              static_cast<unsigned long long>(io.BytesWritten));
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
