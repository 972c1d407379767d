#include "module/report/std_report.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>
#include <mutex>

namespace wavecodec {
namespace {

constexpr std::wstring_view kEnter = L"->->";
constexpr std::wstring_view kLeave = L"<-<-";
constexpr size_t kIndent = 2;

// Shared by all instances of the process. A failing operation leaves the indentation deeper for
// good: that is part of the report's format.
struct SharedState {
  std::recursive_mutex Access;
  size_t SpaceAdder = 0;  // blanks in front of a debug line
};

SharedState& State() {
  static SharedState state;
  return state;
}

// Keeps a write to a closed pipe from ending the host: SIGPIPE is held back on this thread, and one
// that came meanwhile is taken away again.
class SigPipeGuard {
 public:
  SigPipeGuard() {
    sigemptyset(&PipeOnly);
    sigaddset(&PipeOnly, SIGPIPE);
    WasPending = IsPending();
    pthread_sigmask(SIG_BLOCK, &PipeOnly, &Before);
  }
  ~SigPipeGuard() { pthread_sigmask(SIG_SETMASK, &Before, nullptr); }
  SigPipeGuard(const SigPipeGuard&) = delete;
  SigPipeGuard& operator=(const SigPipeGuard&) = delete;

  void TakeAway() const {
    int signal = 0;
    if (!WasPending && IsPending()) sigwait(&PipeOnly, &signal);
  }

 private:
  static bool IsPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t PipeOnly{};
  sigset_t Before{};
  bool WasPending = false;
};

}  // namespace

void StdReport::WriteFile(intptr_t handle, std::wstring_view text) {
  if (!IsOpen(handle)) return;
  const std::string bytes = ToUtf8(text);
  const SigPipeGuard guard;
  const ssize_t written = ::write(static_cast<int>(handle), bytes.data(), bytes.size());
  if (written < 0 && errno == EPIPE) guard.TakeAway();
}

XStr StdReport::GetFinalMsg(std::wstring_view prefix, std::wstring_view msg, const char* function,
                            bool end_line) {
  XStr text(prefix);
  text += msg;
  if (!end_line) return text;
  if (function != nullptr) {
    text += L"  [";
    text.append(function, function + std::char_traits<char>::length(function));
    text += L"]";
  }
  return text += L"\r\n";
}

void StdReport::WriteDEBUG(std::wstring_view msg, const STNStdReport& report, const char* function,
                           bool end_line, const wchar_t* prefix) {
  SharedState& state = State();
  const std::scoped_lock lock(state.Access);
  if (msg.starts_with(kLeave)) state.SpaceAdder -= std::min(state.SpaceAdder, kIndent);
  if (IsOpen(report.DebugHandle)) {
    const XStr indentation(prefix == nullptr && LastWasCRLF ? state.SpaceAdder : 0, L' ');
    WriteFile(report.DebugHandle,
              GetFinalMsg(prefix != nullptr ? prefix : indentation, msg, function, end_line));
  }
  if (msg.starts_with(kEnter)) state.SpaceAdder += kIndent;
  LastWasCRLF = end_line;
}

void StdReport::WriteNotice(std::wstring_view msg, const STNStdReport& report, const char* function,
                            const wchar_t* prefix, intptr_t handle) {
  WriteDEBUG(msg, report, function, true, prefix);
  if (IsOpen(handle)) WriteFile(handle, GetFinalMsg({}, msg, function, true));
}

void StdReport::WriteINFO(std::wstring_view msg, const STNStdReport& report, const char* function) {
  WriteNotice(msg, report, function, L"*** Information: ", report.InformationHandle);
}

void StdReport::WriteERROR(std::wstring_view msg, const STNStdReport& report,
                           const char* function) {
  WriteNotice(msg, report, function, L"*** Error: ", report.ErrorHandle);
}

STNStdReport StdReportToStdErr() { return {STDERR_FILENO, STDERR_FILENO, STDERR_FILENO}; }

void ReportLine::Write() noexcept {
  try {
    switch (LineKind) {
      case Kind::Debug:
        StdReport::WriteDEBUG(Text, Report, Function, true);
        break;
      case Kind::Information:
        StdReport::WriteINFO(Text, Report, Function);
        break;
      case Kind::Error:
        StdReport::WriteERROR(Text, Report, Function);
        break;
    }
  } catch (const std::exception&) {
    // No memory for a line of the report: the line is lost, the operation goes on.
  }
}

}  // namespace wavecodec
