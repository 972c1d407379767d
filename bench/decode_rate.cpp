// Decodes a source to nothing: decode_rate NAME. Tells the decoded bytes, the seconds that it took and
// the most heap memory that opening and decoding held.
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "bench_module.h"
#include "heap.h"

namespace {

// False when the source cannot be decoded to its end.
bool Decode(const std::wstring& name, uint64_t& bytes) {
  const auto& module = bench::TheModule();
  const STNStdReport report{2, 0, 0};
  void* const decoder = module.Create(&report);
  STZuOpenDecoder record{};
  record.fileName = name.c_str();
  record.flags = ZuOpenDecode;
  STZuAudioBlock block{};
  bool good = module.Open(decoder, &record) != 0;
  while (good && block.lastBlock == 0) {
    block.byteCount = 0;
    good = module.DecodeBlock(decoder, &block) != 0;
    bytes += block.byteCount;
  }
  module.Destroy(decoder);
  return good;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const std::wstring name = std::filesystem::path(arguments[1]).wstring();
  bench::TheModule();
  uint64_t bytes = 0;
  heap::ResetPeak();
  const size_t before = heap::Now().Live;
  const auto start = std::chrono::steady_clock::now();
  if (!Decode(name, bytes)) return 1;
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  std::printf("%llu %.6f %zu\n", static_cast<unsigned long long>(bytes), seconds.count(),
              heap::Now().Peak - before);
}
