#include "support/xtemp_file.h"

#include <algorithm>
#include <cstring>

namespace wavecodec {

size_t XTempFile::ReadAt(void* buffer, size_t /*needed*/, size_t room, int64_t position) const {
  if (position >= static_cast<int64_t>(Memory.Size())) return 0;
  const size_t got = std::min(room, Memory.Size() - static_cast<size_t>(position));
  std::memcpy(buffer, Memory.Data() + position, got);
  return got;
}

bool XTempFile::WriteAt(const void* bytes, size_t count, int64_t position) {
  if (!Claim(0, position + static_cast<int64_t>(count))) return false;
  if (count != 0) std::memcpy(Memory.Data() + position, bytes, count);
  return true;
}

bool XTempFile::Resize(int64_t size) {
  const size_t before = Memory.Size();
  if (!Memory.SetSize(static_cast<size_t>(size), true)) return false;
  if (Memory.Size() > before) std::memset(Memory.Data() + before, 0, Memory.Size() - before);
  return true;
}

bool XTempFile::Claim(int64_t /*from*/, int64_t size) {
  return size <= static_cast<int64_t>(Memory.Size()) || Resize(size);
}

}  // namespace wavecodec
