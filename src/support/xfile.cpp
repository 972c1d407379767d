#include "support/xfile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <thread>

#include "support/file_bytes.h"
#include "support/saturating.h"
#include "support/xmem.h"
#include "support/xstr.h"

namespace wavecodec {

namespace {

XFileHandle OpenPath(const char* path, int flags) {
  XFileHandle handle = kNoFile;
  do {
    handle = ::open(path, flags | O_CLOEXEC | O_NOCTTY);
  } while (handle == kNoFile && errno == EINTR);
  return handle;
}

// Waits for others who write. A file system without locks has to do without.
bool LockForWriting(XFileHandle handle) {
  constexpr std::chrono::milliseconds kStep(20);
  constexpr std::chrono::seconds kLongest(20);  // a large file's audio may be on the move
  const auto end = std::chrono::steady_clock::now() + kLongest;
  while (!LockFile(handle, LOCK_EX | LOCK_NB)) {
    if (errno != EWOULDBLOCK) return true;
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(kStep);
  }
  return true;
}

// The handle of a regular file, and what the system tells of it; of one for writing when it is
// locked, for another writer may have changed it before.
XFileHandle OpenRegular(const wchar_t* name, int flags, struct stat& status) {
  const auto path = name != nullptr ? ToFileNameBytes(name) : std::nullopt;
  if (!path) return kNoFile;
  // Without waiting first: opening a pipe that nobody writes to must not hang the host. A file that
  // another program has leased is waited for.
  XFileHandle handle = OpenPath(path->c_str(), flags | O_NONBLOCK);
  if (handle == kNoFile && errno == EWOULDBLOCK && ::stat(path->c_str(), &status) == 0 &&
      S_ISREG(status.st_mode)) {
    handle = OpenPath(path->c_str(), flags);
  }
  const bool writes = flags == O_RDWR;
  if (handle != kNoFile && ((writes && !LockForWriting(handle)) || ::fstat(handle, &status) != 0 ||
                            !S_ISREG(status.st_mode))) {
    ::close(handle);
    handle = kNoFile;
  }
  return handle;
}

int64_t FileSizeLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return INT64_MAX;
  return static_cast<int64_t>(std::min<rlim_t>(limit.rlim_cur, INT64_MAX));
}

}  // namespace

bool XFile::Open(const wchar_t* name) {
  Close();
  struct stat status {};
  FileHandle = OpenRegular(name, O_RDONLY, status);
  if (FileHandle == kNoFile) return false;
  Owned = true;
  SetOpened(status.st_size);
  return true;
}

bool XFile::Open(const wchar_t* name, XFileAccess access) {
  if (access == XFileAccess::Read) return Open(name);
  Close();
  struct stat status {};
  FileHandle = OpenRegular(name, O_RDWR, status);
  if (FileHandle == kNoFile) return false;
  Owned = true;
  SetOpened(status.st_size, FileSizeLimit());
  return true;
}

void XFile::SetOpened(int64_t size, int64_t size_limit) {
  Opened = true;
  KnownSize = size;
  SizeLimit = size_limit;
}

bool XFile::Adopt(XFileHandle handle) {
  Close();
  FileHandle = handle;
  Owned = true;
  struct stat status {};
  if (::fstat(handle, &status) != 0) {
    Close();
    return false;
  }
  SetOpened(status.st_size, FileSizeLimit());
  return true;
}

void XFile::Share(const XFile& other) {
  Close();
  FileHandle = other.FileHandle;
  if (!other.Opened) return;
  SetOpened(other.KnownSize, other.SizeLimit);
  for (size_t i = 0; i < Windows.size(); ++i) {
    const Window& window = other.Windows[i];
    Windows[i].Position = window.Position;
    Windows[i].Length = window.Length;
    std::copy_n(window.Bytes.begin(), window.Length, Windows[i].Bytes.begin());
  }
  LastUsed = other.LastUsed;
}

void XFile::ForgetWindows() {
  for (Window& window : Windows) window.Length = 0;
}

void XFile::Close() {
  if (Owned) ::close(FileHandle);
  FileHandle = kNoFile;
  Owned = false;
  Opened = false;
  ReadFailed = false;
  KnownSize = -1;
  Position = 0;
  ForgetWindows();
}

bool XFile::SetPosition(int64_t offset, ENXFilePos from) {
  if (!Opened) return false;
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
      ReadFailed = ReadFailed || got < 0 || position + static_cast<int64_t>(done) < KnownSize;
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
  if (count == 0) return 0;  // also into no buffer
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

bool XFile::Write(const void* bytes, size_t count) {
  const int64_t end = SaturatingAdd(Position, static_cast<int64_t>(count));
  if (!Opened || end > SizeLimit) return false;
  ForgetWindows();
  const bool written = WriteAt(bytes, count, Position);
  KnownSize = std::max(KnownSize, end);  // also after a failure some of it may be there
  if (written) Position = end;
  return written;
}

bool XFile::SetSize(int64_t size) {
  if (!Opened || size > SizeLimit) return false;
  ForgetWindows();
  if (!Resize(size)) return false;
  KnownSize = size;
  return true;
}

bool XFile::ClaimRoom(int64_t from, int64_t size) {
  if (size <= from) return true;
  if (!Opened || size > SizeLimit) return false;
  ForgetWindows();
  if (Claim(from, size)) {
    KnownSize = std::max(KnownSize, size);
    return true;
  }
  static_cast<void>(Resize(KnownSize));  // it may have grown
  return false;
}

bool XFile::Shuffle(int64_t from, int64_t delta) {
  constexpr int64_t kPiece = int64_t{1} << 20;
  const int64_t end = Size();
  if (from < 0 || from > end || delta < -from) return false;
  if (delta > 0 && !ClaimRoom(end, SaturatingAdd(end, delta))) return false;
  XMem piece;
  if (!piece.SetSize(static_cast<size_t>(std::min(kPiece, end - from)))) return false;
  for (int64_t done = 0; done < end - from;) {
    const int64_t length = std::min(kPiece, end - from - done);
    const int64_t source = delta > 0 ? end - done - length : from + done;
    const auto bytes = static_cast<size_t>(length);
    if (!SetPosition(source) || Read(piece.Data(), bytes) != bytes) return false;
    if (!SetPosition(source + delta) || !Write(piece.Data(), bytes)) return false;
    done += length;
  }
  return delta >= 0 || SetSize(end + delta);
}

bool XFile::WriteAt(const void* bytes, size_t count, int64_t position) {
  const auto* next = static_cast<const uint8_t*>(bytes);
  while (count != 0) {
    const ssize_t put = ::pwrite(FileHandle, next, count, position);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    next += put;
    position += put;
    count -= static_cast<size_t>(put);
  }
  return true;
}

bool XFile::Resize(int64_t size) { return CutFile(FileHandle, static_cast<size_t>(size)); }

bool XFile::Claim(int64_t from, int64_t size) { return ClaimFileRoom(FileHandle, from, size); }

std::string XFile::PathOnDisk() const {
  char path[PATH_MAX + 1] = {};
#ifdef __APPLE__
  if (::fcntl(FileHandle, F_GETPATH, path) != 0) return {};
#else
  const std::string link = "/proc/self/fd/" + std::to_string(FileHandle);
  if (::readlink(link.c_str(), path, PATH_MAX) <= 0) return {};
#endif
  const XFileStamp here = XFileStamp::Of(FileHandle);
  const XFileStamp there = XFileStamp::Of(path);
  return here.Device == there.Device && here.Node == there.Node ? path : std::string();
}

}  // namespace wavecodec
