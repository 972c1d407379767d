#include "support/move_journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "support/byte_order.h"
#include "support/file_bytes.h"

namespace wavecodec {
namespace {

constexpr uint64_t kMagic = 0x31304C4E524A5657;       // "WVJRNL01"
constexpr uint64_t kTokenMagic = 0x4E4B5445564F4DF1;  // the first half of every token
constexpr int64_t kRecordPosition[2] = {512, 1024};
constexpr int64_t kPlanPosition = 2048;
constexpr int64_t kPage = 4096;
constexpr mode_t kMode = 0600;  // it holds parts of a file that others may not be allowed to read
constexpr size_t kHeaderSize = 64;
constexpr size_t kRecordSize = 48;

uint64_t Checksum(std::span<const uint8_t> bytes, uint64_t sum = 0x9E3779B97F4A7C15) {
  constexpr uint64_t kFactor = 0xFF51AFD7ED558CCD;
  for (; bytes.size() >= 8; bytes = bytes.subspan(8)) {
    sum = (sum ^ ReadU64LE(bytes.data())) * kFactor;
    sum ^= sum >> 32;
  }
  for (const uint8_t byte : bytes) sum = (sum ^ byte) * kFactor;
  return sum ^ sum >> 29;
}

class Writer {
 public:
  void Number(uint64_t value) {
    Out.resize(Out.size() + 8);
    WriteU64LE(Out.data() + Out.size() - 8, value);
  }
  void Number(int64_t value) { Number(static_cast<uint64_t>(value)); }
  void Bytes(std::span<const uint8_t> bytes) { Out.insert(Out.end(), bytes.begin(), bytes.end()); }

  std::vector<uint8_t> Out;
};

// Takes parts off the front; what is not there is 0 or empty, and spoils it.
class Reader {
 public:
  explicit Reader(std::span<const uint8_t> bytes) : Rest(bytes) {}

  uint64_t Unsigned() {
    const auto bytes = Bytes(8);
    return bytes.empty() ? 0 : ReadU64LE(bytes.data());
  }
  int64_t Number() { return static_cast<int64_t>(Unsigned()); }
  // A count of things of at least this size each.
  size_t Count(size_t least_size) {
    const uint64_t count = Unsigned();
    Good = Good && count <= Rest.size() / least_size;
    return Good ? static_cast<size_t>(count) : 0;
  }
  std::span<const uint8_t> Bytes(uint64_t count) {
    Good = Good && count <= Rest.size();
    if (!Good) return {};
    const auto taken = Rest.first(static_cast<size_t>(count));
    Rest = Rest.subspan(taken.size());
    return taken;
  }
  [[nodiscard]] bool IsGood() const { return Good; }

 private:
  std::span<const uint8_t> Rest;
  bool Good = true;
};

// What was written ahead is no part of it: it is done, and true in both states of the file.
std::vector<uint8_t> PlanBytes(const FileRewrite& plan) {
  Writer out;
  out.Number(uint64_t{plan.Moves.size()});
  for (const FileRewrite::Move& move : plan.Moves) {
    out.Number(move.From);
    out.Number(move.To);
    out.Number(move.Length);
  }
  out.Number(uint64_t{plan.Patches.size()});
  for (const FileRewrite::Patch& patch : plan.Patches) {
    out.Number(patch.Position);
    out.Number(uint64_t{patch.Bytes.Size()});
    out.Bytes({patch.Bytes.Data(), patch.Bytes.Size()});
  }
  return std::move(out.Out);
}

bool ReadPlan(std::span<const uint8_t> bytes, FileRewrite& plan) {
  Reader in(bytes);
  for (size_t left = in.Count(24); left > 0; --left) {
    FileRewrite::Move move;
    move.From = in.Number();
    move.To = in.Number();
    move.Length = in.Number();
    plan.Moves.push_back(move);
  }
  for (size_t left = in.Count(16); left > 0; --left) {
    FileRewrite::Patch patch;
    patch.Position = in.Number();
    const auto content = in.Bytes(in.Unsigned());
    if (!patch.Bytes.SetSize(content.size())) return false;
    std::copy(content.begin(), content.end(), patch.Bytes.Data());
    plan.Patches.push_back(std::move(patch));
  }
  return in.IsGood();
}

// Whether everything lies in a file of this size, which holds it before and afterwards.
bool FitsInto(const FileRewrite& plan, int64_t size) {
  const auto inside = [size](int64_t position, int64_t length) {
    return position >= 0 && length >= 0 && position <= size && length <= size - position;
  };
  return inside(0, plan.OldSize) && inside(0, plan.NewSize) &&
         std::all_of(plan.Moves.begin(), plan.Moves.end(),
                     [&](const FileRewrite::Move& move) {
                       return inside(move.From, move.Length) && inside(move.To, move.Length);
                     }) &&
         std::all_of(plan.Patches.begin(), plan.Patches.end(),
                     [&](const FileRewrite::Patch& patch) {
                       return inside(patch.Position, static_cast<int64_t>(patch.Bytes.Size()));
                     });
}

bool NeedsSlots(const FileRewrite& plan) {
  return std::any_of(plan.Moves.begin(), plan.Moves.end(), [](const FileRewrite::Move& move) {
    return std::abs(move.To - move.From) < std::min(move.Length, MoveJournal::kPiece);
  });
}

// Makes the file; takes the place of a journal of the past, but of no file of the user's.
XFileHandle CreateFile(const std::string& path) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL;
  XFileHandle handle = OpenRegularFile(path.c_str(), kFlags, kMode);
  if (handle != kNoFile || errno != EEXIST) return handle;
  {
    XFile there;
    std::array<uint8_t, 8> head{};
    handle = OpenRegularFile(path.c_str(), O_RDONLY | O_NOFOLLOW);
    if (handle == kNoFile || !there.Adopt(handle)) return kNoFile;
    const size_t got = there.Read(head.data(), head.size());
    const uint64_t magic = ReadU64LE(head.data());  // 0: a journal that had only begun
    if (magic != kMagic && (magic != 0 || (got < head.size() && got != 0))) return kNoFile;
  }
  ::unlink(path.c_str());
  return OpenRegularFile(path.c_str(), kFlags, kMode);
}

}  // namespace

int64_t MoveJournal::SlotPosition(uint32_t slot) const {
  return (kPlanPosition + PlanSize + kPage - 1) / kPage * kPage + slot * kPiece;
}

bool MoveJournal::Create(const std::string& path, const FileRewrite& plan, int64_t work_size) {
  Path = path;
  std::random_device random;
  WriteU64LE(FileToken.data(), kTokenMagic);
  std::generate(FileToken.begin() + 8, FileToken.end(),
                [&] { return static_cast<uint8_t>(random()); });
  const std::vector<uint8_t> bytes = PlanBytes(plan);
  PlanSize = static_cast<int64_t>(bytes.size());
  FileWorkSize = work_size;
  Writer header;
  header.Number(kMagic);
  header.Bytes(FileToken);
  header.Number(plan.OldSize);
  header.Number(plan.NewSize);
  header.Number(work_size);
  header.Number(PlanSize);
  header.Number(Checksum(bytes, Checksum(header.Out)));
  // The records have their room with the header; saved pieces need room of their own.
  header.Out.resize(static_cast<size_t>(kPlanPosition));
  header.Bytes(bytes);
  // From here on no memory is asked for: a change that has begun must not end for want of it.
  const XFileHandle handle = CreateFile(path);
  if (handle == kNoFile || !File.Adopt(handle)) return false;
  if ((!NeedsSlots(plan) || File.ClaimRoom(0, SlotPosition(2))) &&
      File.Write(header.Out.data(), header.Out.size())) {
    return true;
  }
  Remove();
  return false;
}

bool MoveJournal::Load(const std::string& path, FileRewrite& plan) {
  const XFileHandle handle = OpenRegularFile(path.c_str(), O_RDWR | O_NOFOLLOW);
  std::array<uint8_t, kHeaderSize> header{};
  if (handle == kNoFile || !File.Adopt(handle) ||
      File.Read(header.data(), header.size()) != header.size()) {
    return false;
  }
  Path = path;
  Reader in(header);
  const bool is_journal = in.Unsigned() == kMagic;
  const auto token = in.Bytes(FileToken.size());
  plan.OldSize = in.Number();
  plan.NewSize = in.Number();
  FileWorkSize = in.Number();
  PlanSize = in.Number();
  if (!is_journal || PlanSize < 0 || PlanSize > File.Size() - kPlanPosition) return false;
  std::copy(token.begin(), token.end(), FileToken.begin());
  XMem bytes;
  const auto size = static_cast<size_t>(PlanSize);
  if (!bytes.SetSize(size) || !File.SetPosition(kPlanPosition) ||
      File.Read(bytes.Data(), size) != size) {
    return false;
  }
  const std::span<const uint8_t> head(header.data(), header.size() - 8);
  const std::span<const uint8_t> body(bytes.Data(), size);
  return in.Unsigned() == Checksum(body, Checksum(head)) && ReadPlan(body, plan) &&
         FitsInto(plan, FileWorkSize - static_cast<int64_t>(kTokenSize));
}

MoveJournal::Token MoveJournal::TokenOf(XFile& file) {
  Token token{};
  if (!file.SetPosition(file.Size() - static_cast<int64_t>(token.size())) ||
      file.Read(token.data(), token.size()) != token.size()) {
    token.fill(0);
  }
  return token;
}

bool MoveJournal::IsOf(XFile& file) const {
  return file.Size() == FileWorkSize && TokenOf(file) == FileToken;
}

bool MoveJournal::HasToken(XFile& file) { return ReadU64LE(TokenOf(file).data()) == kTokenMagic; }

void MoveJournal::Remove() {
  File.Close();
  ::unlink(Path.c_str());
}

bool MoveJournal::Save(const XMem& piece, size_t length, uint32_t slot) {
  return File.SetPosition(SlotPosition(slot)) && File.Write(piece.Data(), length);
}

bool MoveJournal::LoadSaved(XMem& piece, size_t length, uint32_t slot) {
  return File.SetPosition(SlotPosition(slot)) && File.Read(piece.Data(), length) == length;
}

bool MoveJournal::Record(const RewriteProgress& progress) {
  std::array<uint8_t, kRecordSize> record{};
  const uint64_t numbers[] = {progress.Sequence, progress.Move, progress.Slot,
                              static_cast<uint64_t>(progress.Done),
                              static_cast<uint64_t>(progress.Length)};
  uint8_t* next = record.data();
  for (const uint64_t number : numbers) {
    WriteU64LE(next, number);
    next += 8;
  }
  WriteU64LE(next, Checksum({record.data(), next}));
  return File.SetPosition(kRecordPosition[progress.Sequence % 2]) &&
         File.Write(record.data(), record.size());
}

bool MoveJournal::FindLatest(std::optional<RewriteProgress>& latest) {
  latest.reset();
  for (const int64_t position : kRecordPosition) {
    std::array<uint8_t, kRecordSize> bytes{};
    if (!File.SetPosition(position) || File.Read(bytes.data(), bytes.size()) != bytes.size()) {
      continue;
    }
    Reader in(bytes);
    RewriteProgress progress;
    progress.Sequence = in.Unsigned();
    progress.Move = static_cast<uint32_t>(in.Unsigned());
    progress.Slot = static_cast<uint32_t>(in.Unsigned());
    progress.Done = in.Number();
    progress.Length = in.Number();
    const std::span<const uint8_t> head(bytes.data(), bytes.size() - 8);
    if (in.Unsigned() != Checksum(head) || progress.Slot > RewriteProgress::kNotSaved) continue;
    if (!latest || progress.Sequence > latest->Sequence) latest = progress;
  }
  return !File.HasReadFailed();
}

}  // namespace wavecodec
