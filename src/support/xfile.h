// A file with 64-bit positions, read with positional reads: its position is a number of this
// object, so moving it costs no system call.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace wavecodec {

// What a position is counted from.
enum class ENXFilePos { Begin, Current, End };

// The operating system's handle of an open file.
using XFileHandle = int;
inline constexpr XFileHandle kNoFile = -1;

// Where a decoder's bytes come from. The operations are virtual so that a network stream can stand
// in for a file; everything that reads a Wave source takes this class.
class XFile {
 public:
  XFile() noexcept = default;
  XFile(const XFile&) = delete;
  XFile& operator=(const XFile&) = delete;
  virtual ~XFile() { XFile::Close(); }

  // Opens a regular file for reading. False when it cannot be opened or is something else (a
  // folder, a pipe, a device), which a Wave file never is.
  virtual bool Open(const wchar_t* name);
  // Works on a file that `other` has open, which keeps it open meanwhile.
  void Share(const XFile& other);
  virtual void Close();
  [[nodiscard]] bool IsOpen() const { return FileHandle != kNoFile; }

  // Size in bytes when the file was opened, -1 when it cannot be told. A file that grows meanwhile
  // is read as it was.
  [[nodiscard]] virtual int64_t Size() const { return OpenedSize; }
  [[nodiscard]] virtual int64_t GetPosition() const { return Position; }
  // Moves the position, also past the end. False, and no move, when no file is open or the place
  // lies before the file's start.
  [[nodiscard]] virtual bool SetPosition(int64_t offset, ENXFilePos from);
  [[nodiscard]] bool SetPosition(int64_t offset) { return SetPosition(offset, ENXFilePos::Begin); }

  // Reads `count` bytes at the position straight into `buffer`, in one system call when the file
  // has them. Returns the bytes read, fewer only at the end or on an error; the position moves past
  // them.
  [[nodiscard]] virtual size_t Read(void* buffer, size_t count);
  // The same for headers and other small things: reads through two windows of the file, so that
  // what lies side by side costs one system call, and a file's head is still there when its tail
  // has been looked at.
  [[nodiscard]] virtual size_t ReadSmall(void* buffer, size_t count);

 private:
  static constexpr size_t kWindowSize =
      4096;  // holds all headers of an ordinary file before its audio

  // Reads at least `needed` bytes where the file has them, and up to `room`.
  [[nodiscard]] size_t ReadAt(void* buffer, size_t needed, size_t room, int64_t position) const;

  struct Window {
    int64_t Position = 0;
    size_t Length = 0;
    std::array<uint8_t, kWindowSize> Bytes;  // set as far as Length says

    // The window's bytes from `position` on; null when it has fewer than `count`.
    [[nodiscard]] const uint8_t* Find(int64_t position, size_t count) const;
  };

  XFileHandle FileHandle = kNoFile;
  bool Owned = false;
  int64_t OpenedSize = -1;
  int64_t Position = 0;
  std::array<Window, 2> Windows;
  size_t LastUsed = 0;  // the window that the next miss spares
};

}  // namespace wavecodec
