#include <gtest/gtest.h>
#include <sys/stat.h>

#include "riff/chunk_reader.h"
#include "support.h"
#include "support/saturating.h"
#include "support/xfile.h"
#include "support/xmem.h"
#include "support/xstr.h"

namespace wavecodec {
namespace {

TEST(Support, FileNamesKeepEveryByte) {
  std::string bytes;
  for (int c = 1; c < 256; ++c) bytes += static_cast<char>(c);
  bytes += "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xC0\xAF\xED\xA0\x80\xF4\x90\x80\x80\xE2\x82";
  const XStr wide = FromFileNameBytes(bytes);
  EXPECT_EQ(ToFileNameBytes(wide), bytes);
  EXPECT_EQ(wide.substr(255, 8), L"\xE9\x20AC\x1F600\xDCC0\xDCAF\xDCED\xDCA0\xDC80");
  EXPECT_EQ(ToUtf8(L"\xDCC0"), "\xEF\xBF\xBD");
  EXPECT_FALSE(ToFileNameBytes(std::wstring{L'a', static_cast<wchar_t>(0xD800)}));
}

TEST(Support, PackedListsEndAtAnEmptyNameOrTheBound) {
  XStrList list;
  const wchar_t packed[] = L"Artist\0Title\0\0hidden\0";
  list.SetFromPackedCharArray(packed, 2000000000);
  EXPECT_EQ(list, (XStrList{{L"Artist", L"Title"}}));
  list.SetFromPackedCharArray(packed, 9);
  EXPECT_EQ(list, (XStrList{{L"Artist", L"Ti"}}));
  list.SetFromPackedCharArray(nullptr, 10);
  EXPECT_TRUE(list.empty());
}

TEST(Support, ArithmeticSaturates) {
  EXPECT_EQ(SaturatingMul(INT64_MIN, -1), INT64_MAX);
  EXPECT_EQ(SaturatingSub(0, INT64_MIN), INT64_MAX);
  EXPECT_EQ(SaturatingAdd(INT64_MIN, -1), INT64_MIN);
  EXPECT_EQ(SaturatingMulDiv(INT64_MAX, 1000, 1), INT64_MAX);
  EXPECT_EQ(SaturatingMulDiv(INT64_MAX, 1000, 176400), 52286689551330928);
}

TEST(Support, MemoryKeepsWhatItIsToldTo) {
  XMem memory;
  ASSERT_TRUE(memory.SetSize(4));
  memcpy(memory.Data(), "abcd", 4);
  ASSERT_TRUE(memory.SetSize(100000, true));
  const XMem copy = memory;
  EXPECT_EQ(memcmp(copy.Data(), "abcd", 4), 0);
  EXPECT_FALSE(memory.SetSize(SIZE_MAX / 2, true));
  EXPECT_EQ(memory.Size(), 100000U);
}

TEST(Support, OpensRegularFilesOnly) {
  const test::TempFile place;
  const std::string fifo = place.Path.native() + ".fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  XFile file;
  for (const std::wstring& name : {place.Name() + L".fifo",  // it does not wait for a writer
                                   std::wstring(L"/dev/null"), std::wstring()}) {
    EXPECT_FALSE(file.Open(name.c_str()));
  }
  EXPECT_FALSE(file.Open(nullptr));
  EXPECT_EQ(file.Size(), -1);
  std::filesystem::remove(fifo);
}

TEST(Support, ReadsAChunkIntoMemoryOrSaysWhyNot) {
  const test::TempFile content("0123456789");
  test::CapturedReport report;
  XFile file;
  ASSERT_TRUE(file.Open(content.Name().c_str()));
  char buffer[8] = {};
  EXPECT_TRUE(ReadFileIntoMemory(buffer, 4, 3, file, report.Record));
  EXPECT_STREQ(buffer, "3456");
  EXPECT_FALSE(ReadFileIntoMemory(buffer, 8, 3, file, report.Record) ||
               ReadFileIntoMemory(buffer, 8, -1, file, report.Record));
  EXPECT_EQ(report.Errors(),
            "Error cannot reading chunk from file.  [ReadFileIntoMemory]\r\n"
            "Error SetPosition returned false.  [ReadFileIntoMemory]\r\n");
}

}  // namespace
}  // namespace wavecodec
