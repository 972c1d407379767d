#include "id3v2/unsynchronisation.h"

#include <cstring>

namespace wavecodec::id3parser {

bool undoUnsynchronisation(std::vector<uint8_t>& out, const uint8_t* bytes, size_t size) {
  out.clear();
  out.reserve(size);
  size_t at = 0;
  while (at < size) {
    const auto* mark = static_cast<const uint8_t*>(std::memchr(bytes + at, 0xFF, size - at));
    const size_t run = mark == nullptr ? size - at : static_cast<size_t>(mark - bytes) - at;
    out.insert(out.end(), bytes + at, bytes + at + run);
    at += run;
    if (at == size) break;
    if (size - at < 2 || bytes[at + 1] >= 0xE0) return false;
    out.push_back(0xFF);
    at += bytes[at + 1] == 0 ? 2 : 1;
  }
  return true;
}

}  // namespace wavecodec::id3parser
