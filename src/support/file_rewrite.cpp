#include "support/file_rewrite.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "support/move_journal.h"

namespace wavecodec {
namespace {

bool WritePatches(XFile& file, const std::vector<FileRewrite::Patch>& patches) {
  return std::all_of(patches.begin(), patches.end(), [&](const FileRewrite::Patch& patch) {
    return file.SetPosition(patch.Position) && file.Write(patch.Bytes.Data(), patch.Bytes.Size());
  });
}

// What patches overwrite, as far as it is of the old file, so that they can be taken back.
class Undo {
 public:
  explicit Undo(XFile& file) : File(file), OldSize(file.Size()) {}

  // To be called before anything is written.
  bool Keep(const std::vector<FileRewrite::Patch>& patches) {
    return std::all_of(patches.begin(), patches.end(),
                       [this](const FileRewrite::Patch& patch) { return Keep(patch); });
  }
  // What was written last goes first.
  bool TakeBack() {
    std::reverse(Before.begin(), Before.end());
    const bool written = WritePatches(File, Before);
    return (File.Size() == OldSize || File.SetSize(OldSize)) && written;
  }

 private:
  bool Keep(const FileRewrite::Patch& patch) {
    const int64_t end = patch.Position + static_cast<int64_t>(patch.Bytes.Size());
    const int64_t overwritten = std::min(end, OldSize) - patch.Position;
    if (overwritten <= 0) return true;
    const auto size = static_cast<size_t>(overwritten);
    FileRewrite::Patch before;
    before.Position = patch.Position;
    if (!before.Bytes.SetSize(size) || !File.SetPosition(patch.Position) ||
        File.ReadSmall(before.Bytes.Data(), size) != size) {
      return false;
    }
    Before.push_back(std::move(before));
    return true;
  }

  XFile& File;
  const int64_t OldSize;
  std::vector<FileRewrite::Patch> Before;
};

// Does the moves and the patches, from some step on.
class Steps {
 public:
  // `journal` null: without one.
  Steps(XFile& file, const FileRewrite& plan, MoveJournal* journal)
      : File(file), Plan(plan), Journal(journal) {}

  bool Start() { return From(RewriteProgress{}); }
  // Begins with the step of a record, which may have been done in part.
  bool Resume(const RewriteProgress& record) {
    RewriteProgress next = record;
    if (record.Move < Plan.Moves.size()) {
      const FileRewrite::Move& move = Plan.Moves[record.Move];
      if (record.Length < 0 || record.Length > MoveJournal::kPiece || record.Done < 0 ||
          record.Done > move.Length - record.Length) {
        return false;
      }
      if (record.Slot != RewriteProgress::kNotSaved) {
        const auto length = static_cast<size_t>(record.Length);
        if (!HavePiece() || !Journal->LoadSaved(Piece, length, record.Slot)) return false;
        if (!WritePiece(move, record)) return false;
        next.Done += record.Length;
      }
    }
    return From(next);
  }

 private:
  bool HavePiece() { return Piece.SetSize(static_cast<size_t>(MoveJournal::kPiece)); }

  // A move towards the end begins with its last bytes, one towards the start with its first.
  static int64_t SourceOf(const FileRewrite::Move& move, const RewriteProgress& step) {
    return move.To > move.From ? move.From + move.Length - step.Done - step.Length
                               : move.From + step.Done;
  }
  bool WritePiece(const FileRewrite::Move& move, const RewriteProgress& step) {
    return File.SetPosition(SourceOf(move, step) + move.To - move.From) &&
           File.Write(Piece.Data(), static_cast<size_t>(step.Length));
  }

  bool From(RewriteProgress progress) {
    if (!Plan.Moves.empty() && !HavePiece()) return false;
    for (; progress.Move < Plan.Moves.size(); ++progress.Move, progress.Done = 0) {
      const FileRewrite::Move& move = Plan.Moves[progress.Move];
      for (; progress.Done < move.Length; progress.Done += progress.Length) {
        progress.Length = std::min(MoveJournal::kPiece, move.Length - progress.Done);
        if (!Step(move, progress)) return false;
      }
    }
    progress.Length = 0;
    if (Journal != nullptr && !Tell(progress, RewriteProgress::kNotSaved)) return false;
    return WritePatches(File, Plan.Patches);
  }
  bool Step(const FileRewrite::Move& move, RewriteProgress& progress) {
    const auto length = static_cast<size_t>(progress.Length);
    if (!File.SetPosition(SourceOf(move, progress)) || File.Read(Piece.Data(), length) != length) {
      return false;
    }
    if (Journal != nullptr) {
      // A piece that does not reach its own new place is still there when it was torn.
      const bool reaches = std::abs(move.To - move.From) < progress.Length;
      const auto slot = static_cast<uint32_t>((progress.Sequence + 1) % 2);
      if (reaches && !Journal->Save(Piece, length, slot)) return false;
      if (!Tell(progress, reaches ? slot : RewriteProgress::kNotSaved)) return false;
    }
    return WritePiece(move, progress);
  }
  bool Tell(RewriteProgress& progress, uint32_t slot) {
    ++progress.Sequence;
    progress.Slot = slot;
    return Journal->Record(progress);
  }

  XFile& File;
  const FileRewrite& Plan;
  MoveJournal* Journal;
  XMem Piece;
};

// A place that cannot be read must be met before the first step: the change could not go on there,
// and not be taken back.
bool CanBeRead(XFile& file, const std::vector<FileRewrite::Move>& moves) {
  XMem piece;
  return std::all_of(moves.begin(), moves.end(), [&](const FileRewrite::Move& move) {
    if (!piece.SetSize(static_cast<size_t>(MoveJournal::kPiece)) || !file.SetPosition(move.From)) {
      return false;
    }
    for (int64_t left = move.Length; left > 0;) {
      const auto length = static_cast<size_t>(std::min(left, MoveJournal::kPiece));
      if (file.Read(piece.Data(), length) != length) return false;
      left -= static_cast<int64_t>(length);
    }
    return true;
  });
}

bool CutToSize(XFile& file, int64_t size) { return file.Size() == size || file.SetSize(size); }

RewriteResult RewriteDirectly(XFile& file, FileRewrite& plan) {
  Undo undo(file);
  const bool moves = !plan.Moves.empty();
  if (!undo.Keep(plan.Ahead) || (!moves && !undo.Keep(plan.Patches))) return RewriteResult::NotDone;
  const bool begun = WritePatches(file, plan.Ahead) && file.ClaimRoom(plan.OldSize, plan.NewSize);
  if (begun && Steps(file, plan, nullptr).Start() && CutToSize(file, plan.NewSize)) {
    return RewriteResult::Done;
  }
  const bool taken_back = (!begun || !moves) && undo.TakeBack();
  return taken_back ? RewriteResult::NotDone : RewriteResult::Interrupted;
}

// Writes the journal's token at the new end of the file, and makes sure of the room before it.
bool Lengthen(XFile& file, const FileRewrite& plan, const MoveJournal& journal) {
  const MoveJournal::Token& token = journal.GetToken();
  const int64_t end = journal.WorkSize() - static_cast<int64_t>(token.size());
  return file.SetPosition(end) && file.Write(token.data(), token.size()) &&
         file.ClaimRoom(plan.OldSize, end);
}

bool Finish(XFile& file, const FileRewrite& plan, MoveJournal& journal) {
  if (!CutToSize(file, plan.NewSize)) return false;
  journal.Remove();
  return true;
}

bool ResumeRewrite(XFile& file, const FileRewrite& plan, MoveJournal& journal,
                   const RewriteProgress& from) {
  return Steps(file, plan, &journal).Resume(from) && Finish(file, plan, journal);
}

RewriteResult RewriteUnderJournal(XFile& file, FileRewrite& plan, int64_t unlike) {
  const std::string path = file.PathOnDisk();
  // A multiple of the token's size: it lies in one page, and is written as a whole or not at all.
  constexpr int64_t kStep = MoveJournal::kTokenSize;
  int64_t work_size = (std::max(plan.OldSize, plan.NewSize) + 2 * kStep - 1) / kStep * kStep;
  if (work_size == unlike) work_size += kStep;
  Undo undo(file);
  if (!undo.Keep(plan.Ahead)) return RewriteResult::NotDone;
  MoveJournal journal;
  if (path.empty() || !journal.Create(MoveJournal::PathFor(path), plan, work_size)) {
    return RewriteResult::NoJournal;
  }
  const bool begun = WritePatches(file, plan.Ahead) && Lengthen(file, plan, journal);
  if (begun && Steps(file, plan, &journal).Start() && Finish(file, plan, journal)) {
    return RewriteResult::Done;
  }
  std::optional<RewriteProgress> progress;
  const bool known = !begun || journal.FindLatest(progress);
  if (known && !progress && undo.TakeBack()) {
    journal.Remove();
    return RewriteResult::NotDone;
  }
  // A failure that has passed need not leave the file in between. Otherwise the journal waits.
  if (known && progress) static_cast<void>(ResumeRewrite(file, plan, journal, *progress));
  return RewriteResult::Interrupted;
}

}  // namespace

void FileRewrite::OrderMoves() {
  const auto to_the_end = [](const Move& move) { return move.To > move.From; };
  const auto rest = std::stable_partition(Moves.begin(), Moves.end(), to_the_end);
  std::sort(Moves.begin(), rest, [](const Move& a, const Move& b) { return a.From > b.From; });
  std::sort(rest, Moves.end(), [](const Move& a, const Move& b) { return a.From < b.From; });
}

RewriteResult RewriteFile(XFile& file, FileRewrite& plan, RewriteSafety safety, int64_t unlike) {
  plan.OrderMoves();
  if (!CanBeRead(file, plan.Moves)) return RewriteResult::NotDone;
  if (safety != RewriteSafety::Direct) {
    const RewriteResult result = RewriteUnderJournal(file, plan, unlike);
    if (result != RewriteResult::NoJournal || safety == RewriteSafety::Journal) return result;
  }
  return RewriteDirectly(file, plan);
}

bool IsRewriteInterrupted(XFile& file) { return MoveJournal::HasToken(file); }

bool FinishRewrite(XFile& file) {
  if (!IsRewriteInterrupted(file)) return true;  // somebody else has finished it
  FileRewrite plan;
  MoveJournal journal;
  const std::string path = file.PathOnDisk();
  if (path.empty() || !journal.Load(MoveJournal::PathFor(path), plan) || !journal.IsOf(file)) {
    return false;
  }
  std::optional<RewriteProgress> progress;
  if (!journal.FindLatest(progress)) return false;
  if (progress) return ResumeRewrite(file, plan, journal, *progress);
  if (!file.SetSize(plan.OldSize)) return false;
  journal.Remove();
  return true;
}

}  // namespace wavecodec
