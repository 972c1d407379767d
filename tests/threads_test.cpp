// Instances in threads of their own, as a host has them that works on many files: they share the
// report, and the settings store with programs that read and write it meanwhile.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <thread>

#include "support/xregistry.h"
#include "support/xregistry_transaction.h"
#include "tag_writing.h"

namespace wavecodec::test {
namespace {

constexpr uint32_t kRounds = 25;  // of each thread
constexpr const wchar_t* kMainKey = L"HKCU";
constexpr const wchar_t* kPath = L"Software\\Mardel\\Tonvark\\Tagging";
constexpr const wchar_t* kPair[] = {L"WaveLISTPaddingSize", L"Twin"};  // written together

void OpensAs(Instance& decoder, const std::wstring& file, const std::string& data,
             const std::wstring& title) {
  ASSERT_TRUE(decoder.Open(file, ZuOpenDecode | ZuOpenInfo | ZuOpenTags | ZuOpenProperties));
  NTag tags;
  tags.InitFromRawMemory(decoder.Record.tagData, decoder.Record.tagSize);
  EXPECT_EQ(tags.GetTagValue(L"Title"), title);
  tags.InitFromRawMemory(decoder.Record.propsData, decoder.Record.propsSize);
  EXPECT_EQ(tags.GetTagValue(L"Audio Quality"), L"CD  (Lossless)");
  EXPECT_EQ(decoder.DecodeAll(), data);
}

void Decodes(const TempFile& file, const std::string& data, const STNStdReport& report) {
  Instance decoder(report);
  OpensAs(decoder, file.Name(), data, L"T");
  EXPECT_TRUE(decoder.Seek(10));
  EXPECT_EQ(decoder.DecodeAll(), data.substr(40));
}

// Into a file of the thread's own; each text has another length.
void WritesTags(const TempFile& file, const std::string& data, uint32_t round,
                const STNStdReport& report) {
  Instance instance(report);
  const std::wstring title = round % 5 == 4 ? L"" : std::wstring(round * 37 % 200 + 1, L'x');
  EXPECT_TRUE(title.empty() ? DeleteTags(instance, file.Name(), {L"title"})
                            : SetTags(instance, file.Name(), {{L"Title", title}}));
  OpensAs(instance, file.Name(), data, title);
}

void ChangesOptions(uint32_t round) {
  XRegistryTransaction changes;
  for (const wchar_t* name : kPair) changes.SetDWORD(round % 6, name, kMainKey, kPath);
  changes.SetDWORD(round % 2, L"WaveLISTPos", kMainKey, kPath);
  changes.SetDWORD(round % 3 == 2 ? 3 : round % 3, L"WaveTagDefault", kMainKey, kPath);
  EXPECT_TRUE(changes.Commit());
}

void CountsUp(uint32_t /*round*/) {
  XRegistryTransaction changes;
  EXPECT_TRUE(changes.Lock());
  changes.SetDWORD(changes.GetDWORD(L"n", kMainKey, L"") + 1, L"n", kMainKey, L"");
  EXPECT_TRUE(changes.Commit());
}

void ReadsOptions(const STNStdReport& report) {
  uint32_t values[2];
  XRegistry::GetDWORDs(kPair, values, kMainKey, kPath);
  EXPECT_EQ(values[0], values[1]);
  const Instance instance(report);
  STZuCodecGetSet record{};
  EXPECT_EQ(instance.M.Get(instance.Self, L"ID Tag Options", &record), 1U);
  EXPECT_STREQ(record.Text1, L"Tag Creation");
}

TEST(Threads, ShareTheReportAndTheSettings) {
  const StoredOptions options("");
  const std::string data = Noise(100000);
  const TempFile shared(Stereo16(data, Chunk("LIST", "INFO" + Chunk("INAM", "T"))));
  const TempFile own[] = {TempFile(Stereo16(data)), TempFile(Stereo16(data))};
  CapturedReport report;
  const std::function<void(uint32_t)> works[] = {
      [&](uint32_t) { Decodes(shared, data, report.Record); },
      [&](uint32_t) { Decodes(shared, data, report.Record); },
      [&](uint32_t) { Decodes(shared, data, {}); },
      [&](uint32_t round) { WritesTags(own[0], data, round, report.Record); },
      [&](uint32_t round) { WritesTags(own[1], data, round + 1, report.Record); },
      ChangesOptions,
      CountsUp,
      CountsUp,
      [&](uint32_t) { ReadsOptions(report.Record); },
      [&](uint32_t) { ReadsOptions(report.Record); },
  };
  std::vector<std::thread> threads;
  for (const auto& work : works) {
    threads.emplace_back([&work] {
      for (uint32_t round = 0; round < kRounds; ++round) work(round);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(XRegistry::GetDWORD(L"n", kMainKey, L""), 2 * kRounds);
  EXPECT_EQ(report.Errors(), "");
  // No line was written into another.
  size_t opens = 0;
  std::istringstream trace(report.Debug());
  for (std::string line; std::getline(trace, line);) {
    EXPECT_TRUE(line.ends_with('\r') && line.find('\r') == line.size() - 1) << line;
    opens += line.substr(line.find_first_not_of(' ')) == "->->  [Open]\r" ? 1 : 0;
  }
  EXPECT_EQ(opens, 4 * kRounds);
}

}  // namespace
}  // namespace wavecodec::test
