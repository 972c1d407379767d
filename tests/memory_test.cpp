// Every allocation of a session fails in turn: the call fails, the instance stays usable, and a file
// whose tags were written is the old or the new one.
#include <gtest/gtest.h>

#include <new>

#include "id3_builder.h"
#include "support.h"
#include "tag_writing.h"

namespace {
int g_allocations_left = -1;  // negative: all there are
}  // namespace

// Stands in for the standard library's, in the module too. Not inlined: the compiler would take an
// inlined half of a pair for a mismatch.
[[gnu::noinline]] void* operator new(size_t size) {
  if (g_allocations_left == 0) throw std::bad_alloc();
  if (g_allocations_left > 0) --g_allocations_left;
  void* block = malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return g_allocations_left == 0 ? nullptr : malloc(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { free(block); }
[[gnu::noinline]] void operator delete(void* block, size_t /*size*/) noexcept { free(block); }

namespace wavecodec::test {
namespace {

TEST(Memory, EveryAllocationMayFail) {
  const std::string data = Noise(1000);
  const TempFile file(Stereo16(data));
  const std::wstring name = file.Name();
  CapturedReport report;
  Instance decoder(report.Record);
  bool opened = false;
  for (int count = 0; count < 300 && !opened; ++count) {
    g_allocations_left = count;
    opened = decoder.Open(name, ZuOpenDecode | ZuOpenTags);
    decoder.Decode();
    decoder.Seek(3);
    decoder.Close();
    g_allocations_left = -1;
  }
  EXPECT_TRUE(opened);
  EXPECT_NE(report.Errors().find("Error out of memory.\r\n"), std::string::npos);
  ASSERT_TRUE(decoder.Open(name, ZuOpenDecode));
  EXPECT_EQ(decoder.DecodeAll(), data);
}

TEST(Memory, EveryAllocationOfAWriteMayFail) {
  const std::string bext(602, 'b'), list = "INFO" + Chunk("INAM", "Old") + Chunk("ICMT", "Kept");
  const std::string old =
      Riff(Chunk("bext", bext) + Fmt(1, 2, 44100, 16) + Chunk("LIST", list) +
           Chunk("data", Noise(1000)) + Chunk("id3 ", Tag(3, 0, Text3("TALB", "Album"))));
  const StoredOptions choices("P2");  // the audio moves
  NTag tags;
  tags.AddTag(L"Title", L"A new and longer title");
  tags.AddTag(L"Description", L"New");
  bool written = false;
  for (int count = 0; count < 3000 && !written; ++count) {
    const TempFile file(old);
    const std::wstring name = file.Name();
    Instance decoder;
    g_allocations_left = count;
    written = SetTags(decoder, name, tags);
    g_allocations_left = -1;
    const std::string now = FileBytes(file.Path);
    ASSERT_EQ(now == old, !written) << count;
    ASSERT_TRUE(decoder.Open(name, ZuOpenDecode));
    ASSERT_EQ(decoder.DecodeAll(), Noise(1000));
  }
  EXPECT_TRUE(written);
}

}  // namespace
}  // namespace wavecodec::test
