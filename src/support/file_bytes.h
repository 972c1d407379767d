// Small operations on open files that are repeated until they are done.
#pragma once

#include <sys/types.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "support/xfile.h"

namespace wavecodec {

// Settings are no larger than this: what is larger is neither read nor written.
inline constexpr size_t kMostSettingsBytes = size_t{1} << 24;

// An open file that is closed with its object. A lock of it ends then too, even when a process that
// was forked meanwhile still has the file open.
class XOwnedFile {
 public:
  XOwnedFile() noexcept = default;
  explicit XOwnedFile(XFileHandle handle) noexcept : File(handle) {}
  XOwnedFile(const XOwnedFile&) = delete;
  XOwnedFile& operator=(const XOwnedFile&) = delete;
  ~XOwnedFile() { Reset(); }

  void Reset(XFileHandle handle = kNoFile);
  [[nodiscard]] XFileHandle Handle() const { return File; }
  [[nodiscard]] bool IsOpen() const { return File != kNoFile; }

 private:
  XFileHandle File = kNoFile;
};

// What tells one state of a file from another. All zero when there is no file.
struct XFileStamp {
  struct Time {
    int64_t Seconds = 0;
    int64_t Nanoseconds = 0;

    auto operator<=>(const Time&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
  };

  uint64_t Device = 0;
  uint64_t Node = 0;
  int64_t Size = 0;
  Time Written;
  Time Changed;  // set by every write, even when the last-write time is set back later

  bool operator==(const XFileStamp&) const = default;

  // One system call.
  static XFileStamp Of(const std::string& path);
  static XFileStamp Of(XFileHandle handle);
  // Whether the file may change once more without its stamp changing: clocks of files tick
  // coarsely.
  [[nodiscard]] bool IsTooYoung() const;
};

// Opens a regular file without ever waiting for one; kNoFile when there is none or it is something
// else.
XFileHandle OpenRegularFile(const char* path, int flags, mode_t mode = 0);
// Waits for a lock of the whole file (LOCK_SH, LOCK_EX); does not wait with LOCK_NB.
bool LockFile(XFileHandle file, int kind);
// All bytes of a file. False also when they are too many for settings.
bool ReadWholeFile(XFileHandle file, std::string& bytes);
// Like all writing here: past the limit of a file's size it fails without ending the process.
bool WriteAt(XFileHandle file, std::string_view bytes, size_t position);
bool CutFile(XFileHandle file, size_t size);
// Makes sure of the room on the disk from `from` to `size`, where the file holds nothing yet, and
// lengthens it so far. It may have grown when it fails. The limit of a file's size is the caller's.
bool ClaimFileRoom(XFileHandle file, int64_t from, int64_t size);
// What was written before reaches the disk before what is written afterwards.
bool OrderOnDisk(XFileHandle file);

}  // namespace wavecodec
