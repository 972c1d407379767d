// What the fuzz targets share. Each is a function from bytes to nothing that ends the process when
// something does not hold, and tells the inputs to start from; libFuzzer or replay.cpp drives it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace wavecodec::fuzz {

struct Seed {
  std::string Name;  // of an input that once failed: what was wrong
  std::string Bytes;
};
std::vector<Seed> Seeds();

inline void Check(bool holds, const std::string& what = {}, int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "the check in line %d failed: %s\n", line, what.c_str());
  std::abort();
}

inline const uint8_t* Bytes(std::string_view text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}
inline std::string_view Text(const void* bytes, size_t size) {
  return {static_cast<const char*>(bytes), size};
}

// Takes the first byte away; 0 when there is none.
inline uint8_t TakeByte(std::string_view& input) {
  if (input.empty()) return 0;
  const auto byte = static_cast<uint8_t>(input.front());
  input.remove_prefix(1);
  return byte;
}

}  // namespace wavecodec::fuzz
