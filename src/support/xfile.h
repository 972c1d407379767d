// A file with 64-bit positions, read and written at positions: its position is a number of this
// object, so moving it costs no system call.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

namespace wavecodec {

// What a position is counted from.
enum class ENXFilePos { Begin, Current, End };

enum class XFileAccess { Read, ReadWrite };

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
  // The same, also for writing: nobody else has it open for that meanwhile, as far as they ask (the
  // file is locked). Waits a while for one who has.
  bool Open(const wchar_t* name, XFileAccess access);
  // Takes over an open file.
  bool Adopt(XFileHandle handle);
  // Works on a file that `other` has open, which keeps it open meanwhile. What that has read for
  // headers is not read again.
  void Share(const XFile& other);
  virtual void Close();
  [[nodiscard]] bool IsOpen() const { return Opened; }

  // Size in bytes when the file was opened, and what was written through this object since; -1 when
  // it cannot be told. A file that others let grow meanwhile is read as it was.
  [[nodiscard]] virtual int64_t Size() const { return KnownSize; }
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
  // Whether something that the file has could not be read since it was opened: what was found is
  // then not to be taken for all that there is.
  [[nodiscard]] bool HasReadFailed() const { return ReadFailed; }
  // The same for what a reader has no memory for.
  void SetReadFailed() { ReadFailed = true; }

  // Writes all bytes at the position, which moves past them; false when it could not, and some may
  // be written then. Past the limit of a file's size it fails without ending the process.
  [[nodiscard]] bool Write(const void* bytes, size_t count);
  // Cuts the file, or lengthens it by zeros for which there need not be room.
  [[nodiscard]] bool SetSize(int64_t size);
  // Makes sure of the room for a file of `size` bytes, which it then has; false, and the size that
  // it had, when there is not enough. `from`: what lies before has its room.
  [[nodiscard]] bool ClaimRoom(int64_t from, int64_t size);
  // Moves everything from `from` to the end by `delta` bytes: towards the start, over what lies
  // before, or towards the end. The file's size changes with it.
  [[nodiscard]] bool Shuffle(int64_t from, int64_t delta);

  // What a stream tells as its size whose end is not known yet.
  static constexpr int64_t kUnknownSize = int64_t{1} << 62;

  // Announces that the next `count` bytes will be read later, after others. A source that cannot go
  // back takes them in now. Returns how many of them there are, as far as that can be told.
  [[nodiscard]] virtual int64_t KeepAhead(int64_t count) { return count; }

  // Where the open file lies now, links resolved, in the bytes of the system; "" when it lies
  // nowhere (it was removed) or that cannot be told.
  [[nodiscard]] virtual std::string PathOnDisk() const;

 protected:
  // Marks the object as open, with what is known of it.
  void SetOpened(int64_t size, int64_t size_limit = std::numeric_limits<int64_t>::max());
  // What a derived class with another store of bytes replaces. Reads at least `needed` bytes where
  // there are as many, and up to `room`.
  [[nodiscard]] virtual size_t ReadAt(void* buffer, size_t needed, size_t room,
                                      int64_t position) const;
  [[nodiscard]] virtual bool WriteAt(const void* bytes, size_t count, int64_t position);
  [[nodiscard]] virtual bool Resize(int64_t size);
  [[nodiscard]] virtual bool Claim(int64_t from, int64_t size);

 private:
  static constexpr size_t kWindowSize =
      4096;  // holds all headers of an ordinary file before its audio

  struct Window {
    int64_t Position = 0;
    size_t Length = 0;
    std::array<uint8_t, kWindowSize> Bytes;  // set as far as Length says

    // The window's bytes from `position` on; null when it has fewer than `count`.
    [[nodiscard]] const uint8_t* Find(int64_t position, size_t count) const;
  };

  void ForgetWindows();

  XFileHandle FileHandle = kNoFile;
  bool Owned = false;
  bool Opened = false;
  mutable bool ReadFailed = false;
  int64_t KnownSize = -1;
  int64_t SizeLimit = std::numeric_limits<int64_t>::max();  // beyond it the system ends processes
  int64_t Position = 0;
  std::array<Window, 2> Windows;
  size_t LastUsed = 0;  // the window that the next miss spares
};

}  // namespace wavecodec
