#include "output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "error.h"
#include "process.h"
#include "text.h"

namespace wavehost {

namespace fs = std::filesystem;

namespace {

constexpr mode_t kPermissions = 07777;

// Where a symbolic link leads, so that the link itself stays.
fs::path Resolved(const fs::path& target) {
  std::error_code failure;
  fs::path resolved = fs::canonical(target, failure);
  return failure ? target : resolved;
}

}  // namespace

OutputFile::OutputFile() : name_("the standard output"), descriptor_(STDOUT_FILENO) {
  FindSeekable();
}

OutputFile::OutputFile(const fs::path& target, bool force)
    : target_(Resolved(target)),
      name_(fmt::format("'{}'", Displayable(target.native()))),
      descriptor_(-1) {
  struct stat existing = {};
  if (stat(target_.c_str(), &existing) != 0) {
    OpenTemporary(0);
  } else if (S_ISDIR(existing.st_mode)) {
    throw Error(fmt::format("the output {} is a folder", name_));
  } else if (!S_ISREG(existing.st_mode)) {
    descriptor_ = open(target_.c_str(), O_WRONLY | O_CLOEXEC);
  } else if (!force) {
    throw Error(fmt::format("the output {} exists already; --force replaces it", name_));
  } else {
    OpenTemporary(existing.st_mode);
  }
  if (descriptor_ < 0) {
    ThrowIfInterrupted();
    throw SystemError(fmt::format("cannot open the output {}", name_));
  }
  FindSeekable();
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0 && descriptor_ != STDOUT_FILENO) close(descriptor_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::OpenTemporary(mode_t existing_mode) {
  int number = 0;
  fs::path candidate;
  do {
    candidate = target_.parent_path() / fmt::format(".wavehost-{}-{}.tmp", getpid(), number++);
    descriptor_ = open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  } while (descriptor_ < 0 && errno == EEXIST);
  if (descriptor_ < 0) return;
  if (existing_mode == 0 || fchmod(descriptor_, existing_mode & kPermissions) == 0) {
    temporary_ = candidate;
    return;
  }
  // Told as a failure to open: the destructor of an object that was never made cleans up nothing.
  const int error = errno;
  close(std::exchange(descriptor_, -1));
  unlink(candidate.c_str());
  errno = error;
}

void OutputFile::FindSeekable() {
  struct stat opened = {};
  if (fstat(descriptor_, &opened) != 0 || !S_ISREG(opened.st_mode)) return;
  start_ = lseek(descriptor_, 0, SEEK_CUR);
  const int flags = fcntl(descriptor_, F_GETFL);
  seekable_ = start_ >= 0 && flags >= 0 && (flags & O_APPEND) == 0;
}

void OutputFile::Fail() const {
  if (errno == EPIPE && descriptor_ == STDOUT_FILENO) throw ClosedPipe();
  throw SystemError(fmt::format("cannot write {}", name_));
}

template <typename WriteSome>
void OutputFile::WriteAll(size_t size, const WriteSome& write_some) {
  for (size_t done = 0; done < size;) {
    const ssize_t written = write_some(done);
    if (written < 0 && errno != EINTR) Fail();
    if (written > 0) done += static_cast<size_t>(written);
    if (done < size) ThrowIfInterrupted();  // a signal ends a write in the middle, too
  }
}

void OutputFile::Write(std::span<const std::byte> bytes) {
  WriteAll(bytes.size(), [&](size_t done) {
    const auto rest = bytes.subspan(done);
    return write(descriptor_, rest.data(), rest.size());
  });
}

void OutputFile::WriteAt(off_t offset, std::span<const std::byte> bytes) {
  WriteAll(bytes.size(), [&](size_t done) {
    const auto rest = bytes.subspan(done);
    return pwrite(descriptor_, rest.data(), rest.size(),
                  start_ + offset + static_cast<off_t>(done));
  });
}

void OutputFile::Commit() {
  if (descriptor_ == STDOUT_FILENO) return;
  const int closed = close(descriptor_);  // a full disk or quota may show only now
  descriptor_ = -1;
  if (closed != 0) Fail();
  if (temporary_.empty()) return;
  if (rename(temporary_.c_str(), target_.c_str()) != 0) Fail();
  temporary_.clear();
}

}  // namespace wavehost
