// Changing the layout of a file in place, so that neither a failure nor a kill loses anything.
#pragma once

#include <cstdint>
#include <vector>

#include "support/xfile.h"
#include "support/xmem.h"

namespace wavecodec {

// A change as a value: what is moved, what is written, and how large the file is then.
struct FileRewrite {
  struct Move {
    int64_t From = 0;
    int64_t To = 0;
    int64_t Length = 0;
  };
  struct Patch {
    int64_t Position = 0;
    XMem Bytes;
  };

  int64_t OldSize = 0;
  int64_t NewSize = 0;
  std::vector<Patch> Ahead;    // written before the file grows, where it was before
  std::vector<Move> Moves;     // see OrderMoves
  std::vector<Patch> Patches;  // written afterwards, in this order

  [[nodiscard]] bool IsEmpty() const {
    return Ahead.empty() && Moves.empty() && Patches.empty() && OldSize == NewSize;
  }
  // Puts the moves, which keep the order of what they move, into an order in which none overwrites
  // what another one has still to read.
  void OrderMoves();
};

// Whether a change goes under a journal: a file beside the changed one that lets the next one who
// opens that finish the change after a kill.
enum class RewriteSafety { Direct, JournalIfPossible, Journal };

enum class RewriteResult {
  Done,
  NoJournal,    // it could not be made; the file is as it was
  NotDone,      // the file is as it was
  Interrupted,  // the file is in between, or the change was finished in spite of a failure
};

// Carries the change out. The room on the disk is made sure of before anything is overwritten.
// While it goes on under a journal the file never has the size `unlike`.
RewriteResult RewriteFile(XFile& file, FileRewrite& plan, RewriteSafety safety, int64_t unlike);

// True when a change of the file was interrupted, or goes on. One system call.
bool IsRewriteInterrupted(XFile& file);
// Finishes such a change, or takes it back when it had only begun. The file is open for writing.
// False when its journal does not lie beside it, too.
bool FinishRewrite(XFile& file);

}  // namespace wavecodec
