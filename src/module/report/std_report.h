// The diagnostic report: the one place that writes it, and the two forms in which the module says
// things.
//
//   TraceScope trace(report, "Open");           // "->->  [Open]"; what follows is indented
//   DebugLine(report) << L"Bytes: " << bytes;   // one line made of pieces
//   ErrorLine(report, "Open") << L"Error ...";  // to the error handle, a copy to the debug handle
//   return trace.Leave(true);                   // "<-<-  [Open]"; a failure returns without it
//
// A report that goes nowhere costs no formatting.
#pragma once

#include <atomic>
#include <concepts>
#include <new>
#include <string>
#include <string_view>

#include "support/xstr.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

class StdReport {
 public:
  // What the lines at the start and the end of a traced operation say.
  static constexpr std::wstring_view kEnter = L"->->";
  static constexpr std::wstring_view kLeave = L"<-<-";

  // One piece of debug text. `end_line` ends the line, with `function` in brackets when it is not
  // null. Text that begins "->->" or "<-<-" opens or closes a level of indentation; `prefix`, when
  // not null, replaces the indentation.
  static void WriteDEBUG(std::wstring_view msg, const STNStdReport& report, const char* function,
                         bool end_line, const wchar_t* prefix = nullptr) noexcept;
  // A warning: to the information handle, and with its prefix to the debug handle.
  static void WriteINFO(std::wstring_view msg, const STNStdReport& report,
                        const char* function) noexcept;
  // A failure: to the error handle, and with its prefix to the debug handle.
  static void WriteERROR(std::wstring_view msg, const STNStdReport& report,
                         const char* function) noexcept;

  // The whole text of a piece: prefix, message and, at the end of a line, the bracketed function
  // name (when there is one) and CR LF.
  static XStr GetFinalMsg(std::wstring_view prefix, std::wstring_view msg, const char* function,
                          bool end_line);
  // Writes `text` as UTF-8 with one system call. What becomes of it is not looked at; a closed pipe
  // raises no signal.
  static void WriteFile(intptr_t handle, std::wstring_view text);

  // Says that there is no memory, without needing any.
  static void WriteNoMemory(const STNStdReport& report) noexcept;

  // What a debug line does to the state of the report when its text goes nowhere.
  static void EndSilentLine() {
    if (!LastWasCRLF.load(std::memory_order_relaxed)) LastWasCRLF = true;
  }
  // True when text for this handle goes anywhere.
  static bool IsOpen(intptr_t handle) { return handle != 0 && handle != -1; }

 private:
  static void WriteNotice(std::wstring_view msg, const STNStdReport& report, const char* function,
                          const wchar_t* prefix, intptr_t handle) noexcept;

  // The last debug text of the process ended its line.
  static inline constinit std::atomic<bool> LastWasCRLF{false};
};

// A record whose three handles are all the standard error.
STNStdReport StdReportToStdErr();

// One report line, collected from pieces and written when the object ends (at the end of the
// statement).
class ReportLine {
 public:
  enum class Kind { Debug, Information, Error };

  ReportLine(Kind kind, const STNStdReport& report, const char* function)
      : LineKind(kind),
        Report(report),
        Function(function),
        Wanted(StdReport::IsOpen(report.DebugHandle) ||
               (kind == Kind::Information && StdReport::IsOpen(report.InformationHandle)) ||
               (kind == Kind::Error && StdReport::IsOpen(report.ErrorHandle))) {}
  ReportLine(const ReportLine&) = delete;
  ReportLine& operator=(const ReportLine&) = delete;
  ~ReportLine() { Wanted ? Write() : StdReport::EndSilentLine(); }

  // A piece is text, a number, or a function that makes text and is only called when the line goes
  // somewhere. A piece that finds no memory is left out.
  template <std::integral Number>
  ReportLine& operator<<(Number number) {
    return *this << [number] { return std::to_wstring(number); };
  }
  template <typename Piece>
  requires(!std::integral<Piece>) ReportLine& operator<<(const Piece& piece) {
    if (!Wanted) return *this;
    try {
      if constexpr (std::invocable<const Piece&>) {
        Text += piece();
      } else {
        Text += std::wstring_view{piece};
      }
    } catch (const std::bad_alloc&) {
      StdReport::WriteNoMemory(Report);
    }
    return *this;
  }

 private:
  void Write() noexcept;

  const Kind LineKind;
  const STNStdReport& Report;
  const char* const Function;
  const bool Wanted;  // false: the text goes nowhere, and no piece is kept
  XStr Text;
};

inline ReportLine DebugLine(const STNStdReport& report, const char* function = nullptr) {
  return {ReportLine::Kind::Debug, report, function};
}
inline ReportLine InfoLine(const STNStdReport& report, const char* function) {
  return {ReportLine::Kind::Information, report, function};
}
inline ReportLine ErrorLine(const STNStdReport& report, const char* function) {
  return {ReportLine::Kind::Error, report, function};
}

// A traced operation: writes the entry line, and the exit line when it is told that the operation
// succeeded. The report must outlive the scope.
class TraceScope {
 public:
  TraceScope(const STNStdReport& report, const char* method) : Report(report), Method(method) {
    StdReport::WriteDEBUG(StdReport::kEnter, Report, Method, true);
  }
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;

  // A line that carries the operation's name.
  [[nodiscard]] ReportLine Debug() const { return DebugLine(Report, Method); }
  [[nodiscard]] ReportLine Info() const { return InfoLine(Report, Method); }
  [[nodiscard]] ReportLine Error() const { return ErrorLine(Report, Method); }

  // The operation succeeded.
  void Leave() const { StdReport::WriteDEBUG(StdReport::kLeave, Report, Method, true); }
  template <typename Result>
  Result Leave(Result result) const {
    Leave();
    return result;
  }
  // The operation failed: writes its error line and returns the false that the caller hands on.
  template <typename... Pieces>
  bool Fail(const Pieces&... pieces) const {
    ReportLine line = Error();
    (line << ... << pieces);
    return false;
  }

 private:
  const STNStdReport& Report;
  const char* const Method;
};

}  // namespace wavecodec
