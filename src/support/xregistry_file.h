// The settings file: read under a shared lock, rewritten in place under an exclusive one, so that
// neither a kill nor a full disk ever costs its contents.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "support/file_bytes.h"
#include "support/json.h"
#include "support/xfile.h"

namespace wavecodec {

// The file cannot be replaced by a new one, since other programs hold their locks on this very
// file. It is rewritten so, all of it under the exclusive lock:
//  1. The new text goes into a side file behind a mark that holds its hash, and is brought to the
//     disk. With another hash the side file is not complete; the file was not touched then, and the
//     side file is dropped.
//  2. The room for the new text is claimed: zeros behind the old text, which no reader minds. No
//     room: cut back, side file removed, everything as it was.
//  3. The first byte becomes zero. From here on the file is no JSON, whatever else is in it.
//  4. The rest of the new text is written, the file is cut, and the first byte is written last.
//  5. The side file is removed.
// Whoever opens the file next and finds a complete side file does 2 to 5 again when the file holds
// no document. A document stays: it is the old one, the new one, or was written later by a program
// that knows nothing of side files. If it is not the new one, the side file's text is kept as a
// damaged one would be. A reader that may not write takes the side file's text in the first case. A
// kill needs no more than this order. A power cut needs it on the disk too: the contents of the
// files are ordered there, but that the side file's name is there is left to the file system.
//
// Where no side file can be made, because the folder may not be written or something else has that
// name, the file is rewritten by 2 to 4 alone: a full disk costs nothing then, a kill may.
class XRegistryFile {
 public:
  explicit XRegistryFile(std::string path) : Path(std::move(path)) {}
  XRegistryFile(const XRegistryFile&) = delete;
  XRegistryFile& operator=(const XRegistryFile&) = delete;
  ~XRegistryFile() = default;

  // How long readers wait for the lock, in milliseconds.
  static constexpr int kPatience = 1000;

  // Opens the file, creates it when it is missing, takes the exclusive lock and reads the document.
  // False when that cannot be done, also when the rewrite of another process cannot be finished, or
  // the file is too large.
  [[nodiscard]] bool Lock(bool wait = true);
  // The document under the lock; empty when the file holds none.
  [[nodiscard]] JsonDocument& Document() { return Content; }
  // Writes the document if it was edited and is not too large. A text that is no document is first
  // kept beside the file as ".damaged", a second one as ".damaged2", and so on in turn. False when
  // it could not be written: the file is then as it was.
  [[nodiscard]] bool Store();

  // Reads the file under a shared lock. `stamp` is the state that was read. Without a file, or
  // without a document in it, `document` is empty. False when what was found is no ground to go by:
  // the file could not be read, or locked in time, or it is torn and its side file could not be
  // read. `document` is then left as it is; but when there is none, and the lock is missing, it is
  // what can be read without the lock. Waiting uses up the milliseconds in `patience`. They are
  // given back with the lock.
  static bool Read(const std::string& path, std::optional<JsonDocument>& document,
                   XFileStamp& stamp, int& patience);

  // For tests: called before each step that changes something on the disk, with its name; the step
  // fails when false is returned.
  static bool (*OnStep)(const char* step);

 private:
  struct Side;

  [[nodiscard]] bool OpenLocked(bool wait);
  [[nodiscard]] bool FinishPending();
  [[nodiscard]] bool KeepDamaged(std::string_view text) const;
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
