// The settings file: read under a shared lock, rewritten in place under an exclusive one, so that
// neither a kill nor a full disk ever costs its contents.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "support/file_bytes.h"
#include "support/json.h"
#include "support/xfile.h"

namespace wavecodec {

// What tells one state of a file from another. All zero when there is no file.
struct XFileStamp {
  uint64_t Device = 0;
  uint64_t Node = 0;
  int64_t Size = 0;
  int64_t Seconds = 0;  // of the last write
  int64_t Nanoseconds = 0;

  bool operator==(const XFileStamp&) const = default;

  // One system call.
  static XFileStamp Of(const std::string& path);
  static XFileStamp Of(XFileHandle handle);
  // Whether the file may change once more without its stamp changing: clocks of files tick coarsely.
  [[nodiscard]] bool IsTooYoung() const;
};

// The file cannot be replaced by a new one, since other programs hold their locks on this very file.
// It is rewritten so, all of it under the exclusive lock:
//  1. The new text goes into a side file, followed by a mark that holds hashes of the old and of the
//     new text, and is brought to the disk. A side file without a right mark is not complete; the
//     file was not touched then, and the side file is dropped.
//  2. The room for the new text is claimed: zeros behind the old text, which no reader minds. No
//     room: cut back, side file removed, everything as it was.
//  3. The first byte becomes zero. From here on the file is no JSON, whatever else is in it.
//  4. The rest of the new text is written, the file is cut, and the first byte is written last.
//  5. The side file is removed.
// Whoever opens the file next and finds a complete side file does 2 to 5 again when the file still
// holds the old text or no document at all. Another document was written later, by a program that
// knows nothing of side files (or it is the new text itself): it stays, and the side file goes. A
// reader that may not write takes the side file's text in the first case.
// A kill needs no more than this order. For a power cut the steps are also ordered on the disk.
class XRegistryFile {
 public:
  explicit XRegistryFile(std::string path) : Path(std::move(path)) {}
  XRegistryFile(const XRegistryFile&) = delete;
  XRegistryFile& operator=(const XRegistryFile&) = delete;
  ~XRegistryFile() = default;

  // Opens the file, creates it when it is missing, waits for the exclusive lock and reads the
  // document. False when that cannot be done, also when the rewrite of another process cannot be
  // finished.
  [[nodiscard]] bool Lock();
  // The document under the lock; empty when the file holds none.
  [[nodiscard]] JsonDocument& Document() { return Content; }
  // Writes the document if it was edited. A text that is no document is first kept beside the file
  // as ".damaged". False when it could not be written: the file is then as it was.
  [[nodiscard]] bool Store();
  // Gives the lock back.
  void Close() { File.Reset(); }

  // Reads the file under a shared lock. `stamp` is the state that was read; false when that could
  // not be opened or locked. Without a document in the file `document` is empty.
  static bool Read(const std::string& path, JsonDocument& document, XFileStamp& stamp);

  // For tests: called before each step that changes something on the disk, with its name; the step
  // fails when false is returned.
  static bool (*OnStep)(const char* step);

 private:
  struct Side;

  [[nodiscard]] bool OpenLocked();
  [[nodiscard]] bool FinishPending();
  [[nodiscard]] bool KeepDamaged() const;
  [[nodiscard]] bool Rewrite(std::string_view text);
  [[nodiscard]] bool ClaimRoom(size_t size) const;
  [[nodiscard]] bool Overwrite(std::string_view text) const;

  std::string Path;
  XOwnedFile File;
  std::string Text;  // as it is in the file
  JsonDocument Content;
  bool Damaged = false;  // the file holds something else than a document
};

}  // namespace wavecodec
