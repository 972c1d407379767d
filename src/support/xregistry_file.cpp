#include "support/xregistry_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

#include "support/file_bytes.h"
#include "support/write_signal_guard.h"

namespace wavecodec {
namespace {

bool Step(const char* name) {
  if (XRegistryFile::OnStep == nullptr || XRegistryFile::OnStep(name)) return true;
  errno = EIO;
  return false;
}

// The document in the bytes of a file: zeros behind it are claimed room.
std::string_view WithoutZeros(std::string_view bytes) {
  return bytes.substr(0, bytes.find_last_not_of('\0') + 1);
}

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

// FNV-1a.
uint64_t HashOf(std::string_view text) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const char c : text) hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3;
  return hash;
}

// The mark of a side file: these words, and a hash of the text behind it in hexadecimal.
constexpr std::string_view kMarkWords = "#xregistry-rewrite ";
constexpr size_t kHashSize = 16;
constexpr size_t kMarkSize = kMarkWords.size() + kHashSize + 1;

std::string Mark(std::string_view text) {
  std::string digits(kHashSize, '0');
  uint64_t hash = HashOf(text);
  for (size_t i = kHashSize; i-- > 0; hash >>= 4) digits[i] = "0123456789abcdef"[hash & 15];
  return std::string(kMarkWords) + digits + '\n';
}

// Beside the file itself, whatever link leads to it.
std::string Beside(const std::string& path, const char* ending) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> real(::realpath(path.c_str(), nullptr));
  return (real != nullptr ? real.get() : path) + std::string(ending);
}

// A new file that belongs to whom the settings belong to, as far as that can be had, and that
// nobody may read who may not read them.
XFileHandle CreateLike(XFileHandle main, const std::string& name) {
  constexpr int kNew = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW;
  struct stat status {};
  if (::fstat(main, &status) != 0) return kNoFile;
  const XFileHandle file = OpenRegularFile(name.c_str(), kNew, 0600);
  if (file == kNoFile) return kNoFile;
  const bool grouped = ::fchown(file, status.st_uid, status.st_gid) == 0 ||
                       ::fchown(file, static_cast<uid_t>(-1), status.st_gid) == 0;
  ::fchmod(file, status.st_mode & (grouped ? 0666 : 0606));
  return file;
}

// Whether no file can be made in that place, now or later.
bool IsImpossible(int error) {
  return error == EEXIST || error == EACCES || error == EPERM || error == EROFS ||
         error == ENAMETOOLONG;
}

// Whether a file that could not be opened stays so until it changes: it is missing, another user's,
// or something else. What is wrong otherwise may pass.
bool IsForGood(int error) {
  return error == ENOENT || error == ENOTDIR || error == EACCES || error == EINVAL ||
         error == ELOOP || error == ENXIO || error == ENAMETOOLONG;
}

// Waiting is polling, as nothing else ends after a while without a signal.
bool LockForReading(XFileHandle file, int& patience) {
  while (!LockFile(file, LOCK_SH | LOCK_NB)) {
    if (errno != EWOULDBLOCK || patience <= 0) return false;
    ::usleep(1000);
    --patience;
  }
  patience = XRegistryFile::kPatience;
  return true;
}

bool Holds(const std::string& name, std::string_view text) {
  const XOwnedFile file(OpenRegularFile(name.c_str(), O_RDONLY | O_NOFOLLOW));
  std::string bytes;
  return file.IsOpen() && ReadWholeFile(file.Handle(), bytes) && bytes == text;
}

}  // namespace

bool (*XRegistryFile::OnStep)(const char* step) = nullptr;

// The side file beside a settings file, as it is found.
struct XRegistryFile::Side {
  enum class State { Missing, Foreign, Unreadable, Incomplete, Complete };

  State Found = State::Missing;
  std::string Name;
  std::string Text;

  explicit Side(const std::string& path) : Name(Beside(path, ".xregistry-rewrite")) {}

  void Load(XFileHandle main) {
    const XOwnedFile file(OpenRegularFile(Name.c_str(), O_RDONLY | O_NOFOLLOW));
    if (!file.IsOpen()) {
      Found = errno == ENOENT    ? State::Missing
              : IsForGood(errno) ? State::Foreign
                                 : State::Unreadable;
    } else if (!IsTrusted(file.Handle(), main)) {
      Found = State::Foreign;
    } else {
      Found = ReadWholeFile(file.Handle(), Text) ? CheckMark() : State::Unreadable;
    }
  }

  // False also when there is something of that name.
  [[nodiscard]] bool Create(XFileHandle main, std::string_view text) const {
    if (!Step("create side")) return false;
    const XOwnedFile file(CreateLike(main, Name));
    if (!file.IsOpen()) return false;
    if (Step("write side") && WriteAt(file.Handle(), Mark(text), 0) && Step("write side text") &&
        WriteAt(file.Handle(), text, kMarkSize) && Step("sync side") &&
        OrderOnDisk(file.Handle())) {
      return true;
    }
    Remove();
    errno = EIO;
    return false;
  }

  void Remove() const {
    if (Step("remove side")) ::unlink(Name.c_str());
  }

 private:
  // Settings are not taken from whom they could not be taken from otherwise: who put the side file
  // there must be one who may write the file.
  static bool IsTrusted(XFileHandle side, XFileHandle main) {
    struct stat ours {};
    struct stat its {};
    if (::fstat(side, &its) != 0 || ::fstat(main, &ours) != 0) return false;
    return its.st_uid == 0 || its.st_uid == ours.st_uid || its.st_uid == ::geteuid() ||
           ((ours.st_mode & S_IWGRP) != 0 && its.st_gid == ours.st_gid) ||
           (ours.st_mode & S_IWOTH) != 0;
  }

  State CheckMark() {
    // Of a mark whose writing broke off there is only the beginning.
    if (!Text.starts_with(kMarkWords) && !kMarkWords.starts_with(WithoutZeros(Text))) {
      return State::Foreign;
    }
    const std::string mark = Text.substr(0, kMarkSize);
    Text.erase(0, kMarkSize);
    return mark == Mark(Text) ? State::Complete : State::Incomplete;
  }
};

bool XRegistryFile::OpenLocked(bool wait) {
  // Another program may put a new file in place of the one that is waited for.
  for (int attempt = 0; attempt < 100; ++attempt) {
    File.Reset(OpenRegularFile(Path.c_str(), O_RDWR | O_CREAT, 0600));
    if (!File.IsOpen() || !LockFile(File.Handle(), wait ? LOCK_EX : LOCK_EX | LOCK_NB)) break;
    const XFileStamp mine = XFileStamp::Of(File.Handle());
    const XFileStamp now = XFileStamp::Of(Path);
    if (mine.Node == now.Node && mine.Device == now.Device) return true;
  }
  File.Reset();
  return false;
}

bool XRegistryFile::Lock(bool wait) {
  if (OpenLocked(wait) && ReadWholeFile(File.Handle(), Text) && FinishPending()) return true;
  File.Reset();
  return false;
}

bool XRegistryFile::FinishPending() {
  const bool document = Content.Parse(WithoutZeros(Text));
  Damaged = !document && !IsBlank(WithoutZeros(Text));
  Side side(Path);
  side.Load(File.Handle());
  switch (side.Found) {
    case Side::State::Missing:
    case Side::State::Foreign:
      return true;
    case Side::State::Unreadable:
      return document;
    case Side::State::Incomplete:
      break;
    case Side::State::Complete:
      JsonDocument other;
      if (!document) {
        if (!ClaimRoom(side.Text.size()) || !Overwrite(side.Text)) return false;
        Text = std::move(side.Text);
        Damaged = !Content.Parse(Text);
      } else if (other.Parse(side.Text) && other.Write() != Content.Write() &&
                 !KeepDamaged(side.Text)) {
        return IsImpossible(errno);  // then it stays, and no other side file can be made
      }
  }
  side.Remove();
  return true;
}

bool XRegistryFile::Store() {
  if (!Content.IsChanged()) return true;
  const std::string text = Content.Write();
  // What could not be read back is not written.
  if (text.size() + kMarkSize > kMostSettingsBytes) return false;
  return (!Damaged || KeepDamaged(Text)) && Rewrite(text);
}

bool XRegistryFile::KeepDamaged(std::string_view text) const {
  const std::string first = Beside(Path, ".damaged");
  const std::string second = first + '2';
  if (Holds(first, text) || Holds(second, text)) return true;
  const std::string fresh = first + "-new";
  ::unlink(fresh.c_str());
  const XOwnedFile file(CreateLike(File.Handle(), fresh));
  if (!file.IsOpen()) return false;
  // The older of the two is given up, or a place that is free, once the text is safe.
  const bool turn = XFileStamp::Of(second).Written < XFileStamp::Of(first).Written;
  if (Step("keep damaged") && WriteAt(file.Handle(), text, 0) && OrderOnDisk(file.Handle()) &&
      ::rename(fresh.c_str(), (turn ? second : first).c_str()) == 0) {
    return true;
  }
  ::unlink(fresh.c_str());
  errno = EIO;
  return false;
}

bool XRegistryFile::Rewrite(std::string_view text) {
  const Side side(Path);
  const bool safe = side.Create(File.Handle(), text);
  if (!safe && !IsImpossible(errno)) return false;
  const bool claimed = ClaimRoom(text.size());
  const bool done = claimed && Overwrite(text);
  // With neither text in the file the side file stays for the next access.
  if ((done || !claimed || Overwrite(Text)) && safe) side.Remove();
  return done;
}

bool XRegistryFile::ClaimRoom(size_t size) const {
  if (!Step("claim room")) return false;
  // What the file holds has its room: no part of a document is a hole.
  if (size <= Text.size()) return true;
  const WriteSignalGuard guard;
  if (ClaimFileRoom(File.Handle(), static_cast<int64_t>(Text.size()), static_cast<int64_t>(size))) {
    return true;
  }
  guard.TakeAway(EFBIG);
  CutFile(File.Handle(), Text.size());
  return false;
}

bool XRegistryFile::Overwrite(std::string_view text) const {
  if (text.empty()) return CutFile(File.Handle(), 0);
  // A disk writes this much at once or not at all. Only of more than that could a power cut leave
  // parts of two texts which together happen to be a document.
  constexpr size_t kSector = 512;
  constexpr size_t kPiece = 65536;
  constexpr std::string_view kZero("\0", 1);
  const bool ordered = std::max(text.size(), Text.size()) > kSector;
  if (!Step("spoil") || !WriteAt(File.Handle(), kZero, 0) ||
      (ordered && !OrderOnDisk(File.Handle()))) {
    return false;
  }
  for (size_t at = 1; at < text.size(); at += kPiece) {
    if (!Step("write") || !WriteAt(File.Handle(), text.substr(at, kPiece), at)) return false;
  }
  // A cut that changes nothing would still cost a journal entry.
  const bool cut = XFileStamp::Of(File.Handle()).Size != static_cast<int64_t>(text.size());
  if (cut && (!Step("cut") || !CutFile(File.Handle(), text.size()))) return false;
  return (!ordered || OrderOnDisk(File.Handle())) && Step("write first byte") &&
         WriteAt(File.Handle(), text.substr(0, 1), 0) && Step("sync") && OrderOnDisk(File.Handle());
}

bool XRegistryFile::Read(const std::string& path, std::optional<JsonDocument>& document,
                         XFileStamp& stamp, int& patience) {
  XRegistryFile file(path);
  stamp = XFileStamp::Of(path);
  file.File.Reset(OpenRegularFile(path.c_str(), O_RDONLY));
  if (!file.File.IsOpen()) {
    const bool sure = IsForGood(errno);
    if (sure) document.emplace();
    return sure;
  }
  const bool locked = LockForReading(file.File.Handle(), patience);
  stamp = XFileStamp::Of(file.File.Handle());
  if (!ReadWholeFile(file.File.Handle(), file.Text)) return false;
  const bool readable = file.Content.Parse(WithoutZeros(file.Text));
  if (!locked) {
    if (!document && readable) document = std::move(file.Content);
    return false;
  }
  if (!readable) {
    // Nobody writes while the lock is held: a side file that is there now was left by a kill.
    Side side(path);
    side.Load(file.File.Handle());
    file.File.Reset();
    if (side.Found == Side::State::Complete) {
      file.Content.Parse(side.Text);
      static_cast<void>(XRegistryFile(path).Lock(false));  // finishes it, if that can be done now
    } else if (side.Found == Side::State::Foreign || side.Found == Side::State::Unreadable) {
      return false;
    }
  }
  document = std::move(file.Content);
  return true;
}

}  // namespace wavecodec
