#include "input_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "error.h"
#include "process.h"
#include "text.h"

namespace wavehost {

InputFile::InputFile(const std::string& file)
    : name_(fmt::format("'{}'", Displayable(file))),
      descriptor_(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {  // a pipe: no waiting
  if (descriptor_ < 0) throw SystemError(fmt::format("cannot open {}", name_));
  const bool told = fstat(descriptor_, &status_) == 0;
  if (told && S_ISREG(status_.st_mode)) return;
  close(descriptor_);
  throw Error(fmt::format("{} is no regular file", name_));
}

InputFile::~InputFile() { close(descriptor_); }

timespec InputFile::Modified() const {
#ifdef __APPLE__
  return status_.st_mtimespec;
#else
  return status_.st_mtim;
#endif
}

size_t InputFile::ReadAt(uint64_t position, std::span<std::byte> buffer) const {
  size_t done = 0;
  while (done < buffer.size()) {
    const ssize_t got = pread(descriptor_, buffer.data() + done, buffer.size() - done,
                              static_cast<off_t>(position + done));
    if (got == 0) break;
    if (got > 0) {
      done += static_cast<size_t>(got);
    } else if (errno != EINTR) {
      throw SystemError(fmt::format("cannot read {}", name_));
    }
  }
  return done;
}

size_t InputFile::PieceSize(uint64_t bytes) {
  constexpr uint64_t kMost = uint64_t{1} << 20U;
  return static_cast<size_t>(std::min(bytes, kMost));
}

std::span<const std::byte> InputFile::Piece(uint64_t begin, uint64_t end,
                                            std::span<std::byte> buffer) const {
  ThrowIfInterrupted();
  const size_t wanted = static_cast<size_t>(std::min<uint64_t>(buffer.size(), end - begin));
  const size_t got = ReadAt(begin, buffer.first(wanted));
  if (got == 0) throw Error(fmt::format("{} became shorter while it was read", name_));
  return buffer.first(got);
}

}  // namespace wavehost
