#include "support/xregistry_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "support/file_bytes.h"

namespace wavecodec {
namespace {

bool Step(const char* name) {
  return XRegistryFile::OnStep == nullptr || XRegistryFile::OnStep(name);
}

XFileStamp ToStamp(const struct stat& status) {
#ifdef __APPLE__
  const timespec& written = status.st_mtimespec;
#else
  const timespec& written = status.st_mtim;
#endif
  return {static_cast<uint64_t>(status.st_dev), static_cast<uint64_t>(status.st_ino),
          int64_t{status.st_size}, int64_t{written.tv_sec}, int64_t{written.tv_nsec}};
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

// The mark: these words and two hashes in hexadecimal.
constexpr std::string_view kMarkWord = "#update ";
constexpr size_t kHashSize = 16;
constexpr size_t kMarkSize = kMarkWord.size() + 2 * kHashSize + 1;

std::string Hex(uint64_t hash) {
  std::string digits(kHashSize, '0');
  for (size_t i = kHashSize; i-- > 0; hash >>= 4) digits[i] = "0123456789abcdef"[hash & 15];
  return digits;
}

std::string Mark(uint64_t old_hash, std::string_view text) {
  return std::string(kMarkWord) + Hex(old_hash) + Hex(HashOf(text)) + '\n';
}

// Beside the file itself, whatever link leads to it.
std::string Beside(const std::string& path, const char* ending) {
  char* real = ::realpath(path.c_str(), nullptr);
  std::string name = (real != nullptr ? real : path) + std::string(ending);
  std::free(real);
  return name;
}

XFileHandle CreateNew(const std::string& name) {
  return OpenRegularFile(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
}

bool Holds(const std::string& name, std::string_view text) {
  const XOwnedFile file(OpenRegularFile(name.c_str(), O_RDONLY | O_NOFOLLOW));
  std::string bytes;
  return file.IsOpen() && ReadWholeFile(file.Handle(), bytes) && bytes == text;
}

}  // namespace

bool (*XRegistryFile::OnStep)(const char* step) = nullptr;

XFileStamp XFileStamp::Of(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? ToStamp(status) : XFileStamp{};
}

XFileStamp XFileStamp::Of(XFileHandle handle) {
  struct stat status {};
  return ::fstat(handle, &status) == 0 ? ToStamp(status) : XFileStamp{};
}

bool XFileStamp::IsTooYoung() const {
  if (*this == XFileStamp{}) return false;
  // A clock without fractions ticks once in one or two seconds, others every few milliseconds.
  const int64_t tick = Nanoseconds == 0 ? 2100000000 : 50000000;
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  const int64_t seconds = int64_t{now.tv_sec} - Seconds;
  return seconds < 10 && seconds * 1000000000 + now.tv_nsec - Nanoseconds < tick;
}

// The side file beside a settings file, as it is found.
struct XRegistryFile::Side {
  enum class State { Missing, Unreadable, Incomplete, Complete };

  State Found = State::Missing;
  std::string Name;
  std::string Text;
  uint64_t OldHash = 0;

  explicit Side(const std::string& path) : Name(Beside(path, ".new")) {}

  void Load(XFileHandle main) {
    const XOwnedFile file(OpenRegularFile(Name.c_str(), O_RDONLY | O_NOFOLLOW));
    if (!file.IsOpen()) {
      Found = errno == ENOENT ? State::Missing : State::Unreadable;
      return;
    }
    const bool readable = IsTrusted(file.Handle(), main) && ReadWholeFile(file.Handle(), Text);
    Found = readable ? CheckMark() : State::Unreadable;
  }

  // Whether a rewrite broke off that must be done again, with `bytes` in the file.
  [[nodiscard]] bool IsPending(std::string_view bytes) const {
    if (Found != State::Complete) return false;
    const std::string_view old = WithoutZeros(bytes);
    return HashOf(old) == OldHash || !JsonDocument().Parse(old);
  }

  [[nodiscard]] bool Create(XFileHandle main, uint64_t old_hash, std::string_view text) const {
    if (!Step("create side") || (::unlink(Name.c_str()) != 0 && errno != ENOENT)) return false;
    const XOwnedFile file(CreateNew(Name));
    struct stat status {};
    if (!file.IsOpen() || ::fstat(main, &status) != 0) return false;
    // Whoever may write the settings may finish this.
    return ::fchmod(file.Handle(), status.st_mode & 0666) == 0 && Step("write side") &&
           WriteAt(file.Handle(), text, 0) && Step("mark side") &&
           WriteAt(file.Handle(), Mark(old_hash, text), text.size()) && Step("sync side") &&
           OrderOnDisk(file.Handle());
  }

  void Remove() const {
    if (Step("remove side")) ::unlink(Name.c_str());
  }

 private:
  // Settings are not taken from a file that somebody else put there.
  static bool IsTrusted(XFileHandle side, XFileHandle main) {
    struct stat ours {};
    struct stat its {};
    if (::fstat(side, &its) != 0 || ::fstat(main, &ours) != 0) return false;
    return its.st_uid == ours.st_uid || its.st_uid == ::geteuid();
  }

  State CheckMark() {
    if (Text.size() < kMarkSize) return State::Incomplete;
    const std::string mark = Text.substr(Text.size() - kMarkSize);
    Text.resize(Text.size() - kMarkSize);
    // Whatever is no number leaves a mark that is not the right one.
    const char* hash = mark.data() + kMarkWord.size();
    std::from_chars(hash, hash + kHashSize, OldHash, 16);
    return mark == Mark(OldHash, Text) ? State::Complete : State::Incomplete;
  }
};

bool XRegistryFile::OpenLocked() {
  // Another program may put a new file in place of the one that is waited for.
  for (int attempt = 0; attempt < 100; ++attempt) {
    File.Reset(OpenRegularFile(Path.c_str(), O_RDWR | O_CREAT, 0600));
    if (!File.IsOpen() || !LockFile(File.Handle(), LOCK_EX)) break;
    const XFileStamp mine = XFileStamp::Of(File.Handle());
    const XFileStamp now = XFileStamp::Of(Path);
    if (mine.Node == now.Node && mine.Device == now.Device) return true;
  }
  Close();
  return false;
}

bool XRegistryFile::Lock() {
  if (!OpenLocked()) return false;
  if (!ReadWholeFile(File.Handle(), Text) || !FinishPending()) {
    Close();
    return false;
  }
  const std::string_view text = WithoutZeros(Text);
  Damaged = !Content.Parse(text) && !IsBlank(text);
  return true;
}

bool XRegistryFile::FinishPending() {
  Side side(Path);
  side.Load(File.Handle());
  if (side.Found == Side::State::Missing) return true;
  if (side.Found == Side::State::Unreadable) return false;
  if (side.IsPending(Text)) {
    if (!ClaimRoom(side.Text.size()) || !Overwrite(side.Text)) return false;
    Text = std::move(side.Text);
  }
  side.Remove();
  return true;
}

bool XRegistryFile::Store() {
  if (!Content.IsChanged()) return true;
  const std::string text = Content.Write();
  // What could not be read back, being nested too deep, is not written.
  return JsonDocument().Parse(text) && (!Damaged || KeepDamaged()) && Rewrite(text);
}

bool XRegistryFile::KeepDamaged() const {
  constexpr int kMost = 9;
  for (int number = 1; number <= kMost; ++number) {
    const std::string ending = ".damaged" + (number == 1 ? "" : std::to_string(number));
    const std::string name = Beside(Path, ending.c_str());
    if (Holds(name, Text)) return true;
    // The last one is given up for the newest.
    if (number == kMost) ::unlink(name.c_str());
    const XOwnedFile file(CreateNew(name));
    if (!file.IsOpen() && errno == EEXIST) continue;
    if (!file.IsOpen()) return false;
    if (Step("keep damaged") && WriteAt(file.Handle(), Text, 0) && OrderOnDisk(file.Handle())) {
      return true;
    }
    ::unlink(name.c_str());
    return false;
  }
  return false;
}

bool XRegistryFile::Rewrite(std::string_view text) {
  const Side side(Path);
  if (!side.Create(File.Handle(), HashOf(WithoutZeros(Text)), text) || !ClaimRoom(text.size())) {
    side.Remove();
    return false;
  }
  const bool done = Overwrite(text);
  // With neither text in the file the side file stays for the next access.
  if (done || Overwrite(Text)) side.Remove();
  return done;
}

bool XRegistryFile::ClaimRoom(size_t size) const {
  if (!Step("claim room")) return false;
  // What the file holds has its room: no part of a document is a hole.
  if (size <= Text.size() || ClaimFileRoom(File.Handle(), Text.size(), size)) return true;
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
  const bool longer = XFileStamp::Of(File.Handle()).Size != static_cast<int64_t>(text.size());
  if (longer && (!Step("cut") || !CutFile(File.Handle(), text.size()))) return false;
  return (!ordered || OrderOnDisk(File.Handle())) && Step("write first byte") &&
         WriteAt(File.Handle(), text.substr(0, 1), 0) && Step("sync") && OrderOnDisk(File.Handle());
}

bool XRegistryFile::Read(const std::string& path, JsonDocument& document, XFileStamp& stamp) {
  document.Parse({});
  for (bool may_finish = true;; may_finish = false) {
    XRegistryFile file(path);
    file.File.Reset(OpenRegularFile(path.c_str(), O_RDONLY));
    if (!file.File.IsOpen() || !LockFile(file.File.Handle(), LOCK_SH)) return false;
    stamp = XFileStamp::Of(file.File.Handle());
    if (!ReadWholeFile(file.File.Handle(), file.Text)) return false;
    Side side(path);
    side.Load(file.File.Handle());
    // Nobody writes while the lock is held: a side file that is there now was left by a kill.
    const bool pending = side.IsPending(file.Text);
    if (!pending || !may_finish) {
      document.Parse(pending ? side.Text : WithoutZeros(file.Text));
      return true;
    }
    file.Close();
    if (!XRegistryFile(path).Lock()) continue;  // then its text is taken from the side file
  }
}

}  // namespace wavecodec
