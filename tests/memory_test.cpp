// Every allocation of a session fails in turn: the call fails, and the instance stays usable.
#include <gtest/gtest.h>

#include <new>

#include "support.h"

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

}  // namespace
}  // namespace wavecodec::test
