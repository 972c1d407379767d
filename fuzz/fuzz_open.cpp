// A whole file through the entry points: every flag, decoding, ranges and seeks.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "wavecodec/codec_module.h"

namespace {

// The first bytes of an input steer the calls; the rest is the file.
struct Plan {
  uint32_t Flags;
  int64_t From, To, Seek;
};

size_t DecodeAll(void* decoder) {
  size_t bytes = 0;
  STZuAudioBlock block{};
  do {
    block.byteCount = 0;
    if (DecodeBlock(decoder, &block) != 1) break;
    // Touch what the module promises.
    for (uint32_t i = 0; i < block.byteCount; i += 512) {
      bytes += static_cast<const volatile uint8_t*>(block.data)[i] & 0;
    }
    bytes += block.byteCount;
  } while (block.lastBlock == 0);
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Plan plan{};
  if (size < sizeof plan) return 0;
  memcpy(&plan, data, sizeof plan);
  data += sizeof plan;
  size -= sizeof plan;

  static const std::string path =
      std::filesystem::temp_directory_path() / ("fuzz_open." + std::to_string(getpid()));
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr || (size > 0 && fwrite(data, 1, size, file) != size)) abort();
  fclose(file);

  const std::wstring name(path.begin(), path.end());
  const STNStdReport silent{};
  void* decoder = Create(&silent);
  STZuCodecGetSet range{};
  range.RangeFrom = plan.From;
  range.RangeTo = plan.To;
  Set(decoder, L"Set Decode Range", &range);
  STZuOpenDecoder source{};
  source.fileName = name.c_str();
  source.flags = plan.Flags & 29;  // packet mode ends at once: a test has it
  Open(decoder, &source);
  if (DecodeAll(decoder) > size) abort();
  SetPosition(decoder, plan.Seek);
  if (DecodeAll(decoder) > size) abort();
  Close(decoder, nullptr);
  Destroy(decoder);
  std::filesystem::remove(path);
  return 0;
}
