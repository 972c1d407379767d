// Small operations on open files that are repeated until they are done.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "support/xfile.h"

namespace wavecodec {

// An open file that is closed with its object.
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

// Opens a regular file without ever waiting for one; kNoFile when there is none or it is something
// else.
XFileHandle OpenRegularFile(const char* path, int flags, mode_t mode = 0);
// Waits for a lock of the whole file (LOCK_SH, LOCK_EX).
bool LockFile(XFileHandle file, int kind);
// All bytes of a file. False also when they are far too many for settings.
bool ReadWholeFile(XFileHandle file, std::string& bytes);
bool WriteAt(XFileHandle file, std::string_view bytes, size_t position);
bool CutFile(XFileHandle file, size_t size);
// Lengthens the file to `size` bytes by zeros that have their room on the disk. It may have grown
// when it fails.
bool ClaimFileRoom(XFileHandle file, size_t old_size, size_t size);
// What was written before reaches the disk before what is written afterwards.
bool OrderOnDisk(XFileHandle file);

}  // namespace wavecodec
