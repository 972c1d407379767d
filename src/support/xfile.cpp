#include "support/xfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "support/xstr.h"

namespace wavecodec {

namespace {

XFileHandle OpenForReading(const char* path, int more_flags) {
  XFileHandle handle = kNoFile;
  do {
    handle = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | more_flags);
  } while (handle == kNoFile && errno == EINTR);
  return handle;
}

}  // namespace

bool XFile::Open(const wchar_t* name) {
  Close();
  const auto path = name != nullptr ? ToFileNameBytes(name) : std::nullopt;
  if (!path) return false;
  struct stat status {};
  // Without waiting first: opening a pipe that nobody writes to must not hang the host. A file that
  // another program has leased is waited for.
  XFileHandle handle = OpenForReading(path->c_str(), O_NONBLOCK);
  if (handle == kNoFile && errno == EWOULDBLOCK && ::stat(path->c_str(), &status) == 0 &&
      S_ISREG(status.st_mode)) {
    handle = OpenForReading(path->c_str(), 0);
  }
  if (handle == kNoFile) return false;
  if (::fstat(handle, &status) != 0 || !S_ISREG(status.st_mode)) {
    ::close(handle);
    return false;
  }
  FileHandle = handle;
  Owned = true;
  OpenedSize = status.st_size;
  return true;
}

void XFile::Share(const XFile& other) {
  Close();
  FileHandle = other.FileHandle;
  OpenedSize = other.OpenedSize;
}

void XFile::Close() {
  if (Owned) ::close(FileHandle);
  FileHandle = kNoFile;
  Owned = false;
  OpenedSize = -1;
  Position = 0;
  for (Window& window : Windows) window.Length = 0;
}

bool XFile::SetPosition(int64_t offset, ENXFilePos from) {
  if (FileHandle == kNoFile) return false;
  int64_t base = 0;
  if (from == ENXFilePos::Current) base = Position;
  if (from == ENXFilePos::End) base = Size();
  int64_t target = 0;
  if (base < 0 || __builtin_add_overflow(base, offset, &target) || target < 0) return false;
  Position = target;
  return true;
}

size_t XFile::ReadAt(void* buffer, size_t needed, size_t room, int64_t position) const {
  size_t done = 0;
  while (done < needed) {
    const ssize_t got = ::pread(FileHandle, static_cast<uint8_t*>(buffer) + done, room - done,
                                position + static_cast<int64_t>(done));
    if (got > 0) {
      done += static_cast<size_t>(got);
    } else if (got == 0 || errno != EINTR) {
      break;
    }
  }
  return done;
}

size_t XFile::Read(void* buffer, size_t count) {
  const size_t got = ReadAt(buffer, count, count, Position);
  Position += static_cast<int64_t>(got);
  return got;
}

const uint8_t* XFile::Window::Find(int64_t position, size_t count) const {
  const int64_t offset = position - Position;
  if (offset < 0 || offset > static_cast<int64_t>(Length)) return nullptr;
  return count <= Length - static_cast<size_t>(offset) ? Bytes.data() + offset : nullptr;
}

size_t XFile::ReadSmall(void* buffer, size_t count) {
  if (count > kWindowSize) return Read(buffer, count);
  const uint8_t* bytes = Windows[LastUsed].Find(Position, count);
  if (bytes == nullptr) {
    LastUsed = 1 - LastUsed;
    Window& window = Windows[LastUsed];
    bytes = window.Find(Position, count);
    if (bytes == nullptr) {
      window.Position = Position;
      window.Length = ReadAt(window.Bytes.data(), count, kWindowSize, Position);
      count = std::min(count, window.Length);
      bytes = window.Bytes.data();
    }
  }
  std::memcpy(buffer, bytes, count);
  Position += static_cast<int64_t>(count);
  return count;
}

}  // namespace wavecodec
