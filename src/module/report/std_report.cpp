#include "module/report/std_report.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <new>

#include "support/write_signal_guard.h"

namespace wavecodec {
namespace {

constexpr size_t kIndent = 2;

// Shared by all instances of the process. A failing operation leaves the indentation deeper for
// good: that is part of the report's format.
struct SharedState {
  std::recursive_mutex Access;
  std::atomic<size_t> SpaceAdder = 0;  // blanks in front of a debug line

  void Enter() { SpaceAdder += kIndent; }
  void Leave() {
    size_t blanks = SpaceAdder;
    while (!SpaceAdder.compare_exchange_weak(blanks, blanks - std::min(blanks, kIndent))) {
    }
  }
};

SharedState& State() {
  static SharedState state;
  return state;
}

// One system call, whatever becomes of it.
void WriteBytes(intptr_t handle, std::string_view bytes) noexcept {
  const auto descriptor = static_cast<int>(handle);
#ifdef F_SETNOSIGPIPE
  // Here the signal goes to the process, not to the thread: the descriptor must not raise it.
  const int before = fcntl(descriptor, F_GETNOSIGPIPE);
  fcntl(descriptor, F_SETNOSIGPIPE, 1);
#endif
  {
    const WriteSignalGuard guard;
    if (::write(descriptor, bytes.data(), bytes.size()) < 0) guard.TakeAway(errno);
  }
#ifdef F_SETNOSIGPIPE
  fcntl(descriptor, F_SETNOSIGPIPE, before);
#endif
}

}  // namespace

void StdReport::WriteFile(intptr_t handle, std::wstring_view text) {
  if (IsOpen(handle)) WriteBytes(handle, ToUtf8(text));
}

void StdReport::WriteNoMemory(const STNStdReport& report) noexcept {
  if (IsOpen(report.DebugHandle)) {
    WriteBytes(report.DebugHandle, "*** Error: Error out of memory.\r\n");
  }
  if (IsOpen(report.ErrorHandle)) WriteBytes(report.ErrorHandle, "Error out of memory.\r\n");
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
                           bool end_line, const wchar_t* prefix) noexcept {
  SharedState& state = State();
  std::unique_lock lock(state.Access, std::defer_lock);
  if (IsOpen(report.DebugHandle)) lock.lock();  // a line that goes nowhere waits for nobody
  if (msg.starts_with(kLeave)) state.Leave();
  if (lock) {
    try {
      const XStr indentation(prefix == nullptr && LastWasCRLF ? state.SpaceAdder.load() : 0, L' ');
      WriteFile(report.DebugHandle,
                GetFinalMsg(prefix != nullptr ? prefix : indentation, msg, function, end_line));
    } catch (const std::bad_alloc&) {
      WriteNoMemory(report);  // the line is lost, the operation goes on
    }
  }
  if (msg.starts_with(kEnter)) state.Enter();
  LastWasCRLF = end_line;
}

void StdReport::WriteNotice(std::wstring_view msg, const STNStdReport& report, const char* function,
                            const wchar_t* prefix, intptr_t handle) noexcept {
  WriteDEBUG(msg, report, function, true, prefix);
  if (!IsOpen(handle)) return;
  try {
    WriteFile(handle, GetFinalMsg({}, msg, function, true));
  } catch (const std::bad_alloc&) {
    WriteNoMemory(report);
  }
}

void StdReport::WriteINFO(std::wstring_view msg, const STNStdReport& report,
                          const char* function) noexcept {
  WriteNotice(msg, report, function, L"*** Information: ", report.InformationHandle);
}

void StdReport::WriteERROR(std::wstring_view msg, const STNStdReport& report,
                           const char* function) noexcept {
  WriteNotice(msg, report, function, L"*** Error: ", report.ErrorHandle);
}

STNStdReport StdReportToStdErr() { return {STDERR_FILENO, STDERR_FILENO, STDERR_FILENO}; }

void ReportLine::Write() noexcept {
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
}

}  // namespace wavecodec
