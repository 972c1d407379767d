#include "support/file_bytes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "support/write_signal_guard.h"

namespace wavecodec {
namespace {

// Calls again what a signal interrupted.
template <typename Call>
auto Retry(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

XFileStamp::Time ToTime(const timespec& time) {
  return {int64_t{time.tv_sec}, int64_t{time.tv_nsec}};
}

XFileStamp ToStamp(const struct stat& status) {
#ifdef __APPLE__
  const timespec& written = status.st_mtimespec;
  const timespec& changed = status.st_ctimespec;
#else
  const timespec& written = status.st_mtim;
  const timespec& changed = status.st_ctim;
#endif
  return {static_cast<uint64_t>(status.st_dev), static_cast<uint64_t>(status.st_ino),
          int64_t{status.st_size}, ToTime(written), ToTime(changed)};
}

// Whether a time is still the present one by the clock that it was taken from. One that is clearly
// in the future was set by hand: the next write sets another.
bool IsPresent(const XFileStamp::Time& time, const XFileStamp::Time& now) {
  constexpr int64_t kFar = 10;  // seconds; no difference that is looked at can overflow
  if (time.Seconds < now.Seconds - kFar || time.Seconds > now.Seconds + kFar) return false;
  // A clock without fractions ticks once in one or two seconds, others every few milliseconds.
  constexpr int64_t kCoarse = 2100000000;
  const int64_t tick = time.Nanoseconds == 0 ? kCoarse : 50000000;
  const int64_t age =
      (now.Seconds - time.Seconds) * 1000000000 + now.Nanoseconds - time.Nanoseconds;
  return age < tick && age > -kCoarse;
}

}  // namespace

void XOwnedFile::Reset(XFileHandle handle) {
  if (File != kNoFile) {
    ::flock(File, LOCK_UN);
    ::close(File);
  }
  File = handle;
}

XFileStamp XFileStamp::Of(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? ToStamp(status) : XFileStamp{};
}

XFileStamp XFileStamp::Of(XFileHandle handle) {
  struct stat status {};
  return ::fstat(handle, &status) == 0 ? ToStamp(status) : XFileStamp{};
}

bool XFileStamp::IsTooYoung() const {
  if (*this == XFileStamp{}) return false;
  timespec clock{};
  ::clock_gettime(CLOCK_REALTIME, &clock);
  const Time now = ToTime(clock);
  return IsPresent(Written, now) || IsPresent(Changed, now);
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
  struct stat status {};
  if (::fstat(file, &status) != 0 || status.st_size > off_t{kMostSettingsBytes}) return false;
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
  const WriteSignalGuard guard;
  while (!bytes.empty()) {
    const ssize_t put = Retry(
        [&] { return ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(position)); });
    if (put < 0) guard.TakeAway(errno);
    if (put <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(put));
    position += static_cast<size_t>(put);
  }
  return true;
}

bool CutFile(XFileHandle file, size_t size) {
  return Retry([&] { return ::ftruncate(file, static_cast<off_t>(size)); }) == 0;
}

bool ClaimFileRoom(XFileHandle file, int64_t from, int64_t size) {
#ifdef __linux__
  int error = EINTR;
  while (error == EINTR) error = ::posix_fallocate(file, from, size - from);
  if (error == 0) return true;
  if (error != EOPNOTSUPP && error != EINVAL && error != ENOSYS) return false;
#endif
  // Zeros that are written have their room just as well.
  const std::string zeros(static_cast<size_t>(std::min(size - from, int64_t{1} << 16)), '\0');
  for (int64_t left = size - from; left > 0;) {
    const auto piece = static_cast<size_t>(std::min(left, static_cast<int64_t>(zeros.size())));
    if (!WriteAt(file, {zeros.data(), piece}, static_cast<size_t>(size - left))) return false;
    left -= static_cast<int64_t>(piece);
  }
  return true;
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
