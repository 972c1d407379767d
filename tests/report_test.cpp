#include "module/report/std_report.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "support.h"

namespace wavecodec {
namespace {

// The indentation is the process's own: what failures of other tests left of it goes first.
class Report : public testing::Test {
 protected:
  void SetUp() override {
    for (int i = 0; i < 10000; ++i) StdReport::WriteDEBUG(L"<-<-", {}, nullptr, true);
  }
  test::CapturedReport Captured;
  const STNStdReport& R = Captured.Record;
};

TEST_F(Report, IndentsAndContinuesLinesAndSurvivesUnevenEntriesAndExits) {
  StdReport::WriteDEBUG(L"<-<-", R, "A", true);
  {
    const TraceScope fails(R, "B");
    const TraceScope inner(R, "C");
    inner.Info() << L"Warning: odd.";
    DebugLine(R) << L"x->-> " << -7 << L"!";
    inner.Leave();
  }
  StdReport::WriteDEBUG(L"one ", R, "not shown", false);
  StdReport::WriteDEBUG(L"two", R, nullptr, true);
  StdReport::WriteERROR(L"bad", R, nullptr);
  StdReport::WriteDEBUG(L"<-<-", R, "B", true);
  EXPECT_EQ(Captured.Debug(),
            "<-<-  [A]\r\n->->  [B]\r\n  ->->  [C]\r\n"
            "*** Information: Warning: odd.  [C]\r\n    x->-> -7!\r\n  <-<-  [C]\r\n"
            "  one two\r\n*** Error: bad\r\n<-<-  [B]\r\n");
  EXPECT_EQ(Captured.Information(), "Warning: odd.  [C]\r\n");
  EXPECT_EQ(Captured.Errors(), "bad\r\n");
}

TEST_F(Report, WritesUtf8AndSurvivesAClosedPipe) {
  const std::wstring text = {0xE9, 0x20AC, 0x1F600, static_cast<wchar_t>(0xD800), L'.'};
  StdReport::WriteFile(R.DebugHandle, text);
  EXPECT_EQ(Captured.Debug(), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBD.");
  const auto before = signal(SIGPIPE, SIG_DFL);  // it would end the process
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  StdReport::WriteFile(ends[1], L"nobody reads this");
  StdReport::WriteFile(-1, L"nor this");
  close(ends[1]);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
  signal(SIGPIPE, before);
  EXPECT_EQ(StdReportToStdErr().DebugHandle, STDERR_FILENO);
}

}  // namespace
}  // namespace wavecodec
