#include "support/file_bytes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace wavecodec {
namespace {

// Calls again what a signal interrupted.
template <typename Call>
auto Retry(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

}  // namespace

void XOwnedFile::Reset(XFileHandle handle) {
  if (File != kNoFile) ::close(File);
  File = handle;
}

XFileHandle OpenRegularFile(const char* path, int flags, mode_t mode) {
  constexpr int kAlways = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const XFileHandle file = Retry([&] { return ::open(path, flags | kAlways, mode); });
  struct stat status {};
  if (file == kNoFile || (::fstat(file, &status) == 0 && S_ISREG(status.st_mode))) return file;
  ::close(file);
  errno = EINVAL;
  return kNoFile;
}

bool LockFile(XFileHandle file, int kind) {
  return Retry([&] { return ::flock(file, kind); }) == 0;
}

bool ReadWholeFile(XFileHandle file, std::string& bytes) {
  constexpr off_t kMost = off_t{1} << 28;
  struct stat status {};
  if (::fstat(file, &status) != 0 || status.st_size > kMost) return false;
  bytes.resize(static_cast<size_t>(status.st_size));
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got = Retry([&] {
      return ::pread(file, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    });
    if (got < 0) return false;
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  bytes.resize(done);
  return true;
}

bool WriteAt(XFileHandle file, std::string_view bytes, size_t position) {
  while (!bytes.empty()) {
    const ssize_t put = Retry(
        [&] { return ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(position)); });
    if (put <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(put));
    position += static_cast<size_t>(put);
  }
  return true;
}

bool CutFile(XFileHandle file, size_t size) {
  return Retry([&] { return ::ftruncate(file, static_cast<off_t>(size)); }) == 0;
}

bool ClaimFileRoom(XFileHandle file, size_t old_size, size_t size) {
#ifdef __linux__
  int error = EINTR;
  while (error == EINTR)
    error =
        ::posix_fallocate(file, static_cast<off_t>(old_size), static_cast<off_t>(size - old_size));
  if (error == 0) return true;
  if (error != EOPNOTSUPP && error != EINVAL && error != ENOSYS) return false;
#endif
  // Zeros that are written have their room just as well.
  return WriteAt(file, std::string(size - old_size, '\0'), old_size);
}

bool OrderOnDisk(XFileHandle file) {
#if defined(F_BARRIERFSYNC)
  if (::fcntl(file, F_BARRIERFSYNC) == 0) return true;
#endif
#ifdef __linux__
  const int result = Retry([&] { return ::fdatasync(file); });
#else
  const int result = Retry([&] { return ::fsync(file); });
#endif
  // A file system that knows no such order is written to all the same.
  return result == 0 || errno == EINVAL || errno == ENOTSUP;
}

}  // namespace wavecodec
