// The journal of a change of a file's layout: what is to be done, how far it is, and what the step
// at hand overwrites.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "support/file_rewrite.h"
#include "support/xfile.h"
#include "support/xmem.h"

namespace wavecodec {

// How far a change is: everything before this step is done, the step itself may be.
struct RewriteProgress {
  static constexpr uint32_t kNotSaved = 2;

  uint64_t Sequence = 0;
  uint32_t Move = 0;          // its number; behind the last one come the patches
  uint32_t Slot = kNotSaved;  // where the bytes to be moved are saved
  int64_t Done = 0;           // bytes of the move
  int64_t Length = 0;         // bytes of the step
};

// The file's last bytes while a change goes on are the journal's token, so that such a file is
// known by itself, and a journal is never taken for that of another state of it. What is saved, and
// then the progress, is written before the step that they are about; two of each take turns, so
// that a torn one does no harm.
class MoveJournal {
 public:
  static constexpr int64_t kPiece = int64_t{1} << 18;  // the most that a step moves
  static constexpr size_t kTokenSize = 16;
  using Token = std::array<uint8_t, kTokenSize>;

  static std::string PathFor(const std::string& file) { return file + ".wave-journal"; }

  // Makes a journal with the whole plan, and room for saved pieces where a move needs that. One
  // that lies there is of the past.
  bool Create(const std::string& path, const FileRewrite& plan, int64_t work_size);
  // Reads the plan back; false when the journal is not whole.
  bool Load(const std::string& path, FileRewrite& plan);
  // Whether the file carries the token of this journal, or of any.
  [[nodiscard]] bool IsOf(XFile& file) const;
  static bool HasToken(XFile& file);
  // Ends the journal: the change is done, or was taken back.
  void Remove();

  [[nodiscard]] const Token& GetToken() const { return FileToken; }
  // The size of the file while the change goes on; its last bytes are the token.
  [[nodiscard]] int64_t WorkSize() const { return FileWorkSize; }

  bool Save(const XMem& piece, size_t length, uint32_t slot);
  bool LoadSaved(XMem& piece, size_t length, uint32_t slot);
  bool Record(const RewriteProgress& progress);
  // The last record that is whole; none when nothing was moved or overwritten yet. False when the
  // journal cannot be read, so that nobody knows.
  bool FindLatest(std::optional<RewriteProgress>& latest);

 private:
  static Token TokenOf(XFile& file);
  [[nodiscard]] int64_t SlotPosition(uint32_t slot) const;

  XFile File;
  std::string Path;
  Token FileToken{};
  int64_t FileWorkSize = 0;
  int64_t PlanSize = 0;
};

}  // namespace wavecodec
