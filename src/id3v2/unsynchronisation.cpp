#include "id3v2/unsynchronisation.h"

#include <cstring>

namespace wavecodec::id3parser {
namespace {

// Bytes before the first 0xFF from `at` on; those to the end when there is none.
size_t runBefore(const uint8_t* bytes, size_t size, size_t at) {
  const auto* mark = static_cast<const uint8_t*>(std::memchr(bytes + at, 0xFF, size - at));
  return mark == nullptr ? size - at : static_cast<size_t>(mark - bytes) - at;
}

}  // namespace

bool undoUnsynchronisation(std::vector<uint8_t>& out, const uint8_t* bytes, size_t size) {
  out.clear();
  out.reserve(size);
  size_t at = 0;
  while (at < size) {
    const size_t run = runBefore(bytes, size, at);
    out.insert(out.end(), bytes + at, bytes + at + run);
    at += run;
    if (at == size) break;
    if (size - at < 2 || bytes[at + 1] >= 0xE0) return false;
    out.push_back(0xFF);
    at += bytes[at + 1] == 0 ? 2 : 1;
  }
  return true;
}

bool test_for_false_sync(const uint8_t* bytes, size_t size) {
  for (size_t at = 0; at < size; ++at) {
    at += runBefore(bytes, size, at);
    if (at + 1 == size || (at < size && bytes[at + 1] >= 0xE0)) return true;
  }
  return false;
}

void unsync(std::vector<uint8_t>& out, const uint8_t* bytes, size_t size) {
  out.reserve(out.size() + size + size / 64);
  for (size_t at = 0; at < size; ++at) {
    const size_t run = runBefore(bytes, size, at);
    out.insert(out.end(), bytes + at, bytes + at + run);
    at += run;
    if (at == size) break;
    out.push_back(0xFF);
    if (at + 1 == size || bytes[at + 1] >= 0xE0 || bytes[at + 1] == 0) out.push_back(0);
  }
}

}  // namespace wavecodec::id3parser
