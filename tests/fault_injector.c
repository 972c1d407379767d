// Preloaded into a process, counts its changes of files and makes one of them fail, fall short, or
// be the last that the process does. 64-bit Linux only.
//
//   FAULT_FOLDER  what counts: regular files below this folder
//   FAULT_CALLS   the kinds that count, such as "write,room"; unset: all
//   FAULT_TRACE   a file that gets a line for each: number, kind, path, offset, bytes, file size
//   FAULT         KIND@K: what happens at the K-th, counted from 1
//     eio                         it fails                    eio+     and so does every later one
//     enospc                      the same for what may need room, as where no block is
//     enospc+                     overwritten in place
//     full                        from it on, what lengthens a file fails with ENOSPC
//     short                       half of its bytes           short+   every later one as well
//     short-eio short-enospc      half of its bytes, then as eio+ or enospc+
//     kill kill-half kill-after   the process ends before it, after half of its bytes, after it
//     stop                        the process waits for SIGCONT before it
#undef _FILE_OFFSET_BITS  // both the plain names and those that end in 64 are defined here
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

enum Kind { kWrite, kCut, kRoom, kSync, kRename, kUnlink, kCreate };
static const char* const kKindNames[] = {"write",  "cut",    "room",  "sync",
                                         "rename", "unlink", "create"};

enum Verdict { kPass, kFail, kHalf, kHalfAndEnd, kEndAfter };

struct Change {
  enum Kind Kind;
  const char* Path;
  int64_t Offset;
  uint64_t Count;
  int64_t FileSize;
};

static struct {
  bool Ready;
  const char* Folder;
  const char* Calls;
  int Trace;
  char Fault[32];
  long At;
  long Count;
} g;

static void Setup(void) {
  g.Ready = true;
  g.Folder = getenv("FAULT_FOLDER");
  g.Calls = getenv("FAULT_CALLS");
  const char* trace = getenv("FAULT_TRACE");
  g.Trace = -1;
  if (trace != NULL) {
    g.Trace = (int)syscall(SYS_openat, AT_FDCWD, trace, O_WRONLY | O_CREAT | O_APPEND, 0666);
  }
  const char* fault = getenv("FAULT");
  if (fault != NULL) sscanf(fault, "%31[^@]@%ld", g.Fault, &g.At);
}

static bool Counts(const struct Change* change) {
  if (!g.Ready) Setup();
  if (g.Folder == NULL || strncmp(change->Path, g.Folder, strlen(g.Folder)) != 0) return false;
  return g.Calls == NULL || strstr(g.Calls, kKindNames[change->Kind]) != NULL;
}

static void Note(const struct Change* change) {
  char line[4200];
  const int size = snprintf(line, sizeof line, "%ld\t%s\t%s\t%lld\t%llu\t%lld\n", g.Count,
                            kKindNames[change->Kind], change->Path, (long long)change->Offset,
                            (unsigned long long)change->Count, (long long)change->FileSize);
  if (g.Trace >= 0) syscall(SYS_write, g.Trace, line, (size_t)size);
}

static void End(void) { syscall(SYS_kill, getpid(), SIGKILL); }

static bool MayNeedRoom(enum Kind kind) {
  return kind == kWrite || kind == kRoom || kind == kCreate;
}

// Lengthening by ftruncate counts too: it only puts off the question.
static bool Lengthens(const struct Change* change) {
  if (change->Kind == kCreate) return true;
  return (MayNeedRoom(change->Kind) || change->Kind == kCut) &&
         change->Offset + (int64_t)change->Count > change->FileSize;
}

static enum Verdict FailWith(int error) {
  errno = error;
  return kFail;
}

static enum Verdict Judge(const struct Change* change) {
  const bool now = g.Count == g.At;
  const bool always = strchr(g.Fault, '+') != NULL;
  const bool halves = change->Kind == kWrite && change->Count > 1;
  if (g.At == 0 || g.Count < g.At) return kPass;
  if (strcmp(g.Fault, "full") == 0) return Lengthens(change) ? FailWith(ENOSPC) : kPass;
  if (strcmp(g.Fault, "short-eio") == 0 && !now) return FailWith(EIO);
  if (strcmp(g.Fault, "short-enospc") == 0 && !now) {
    return MayNeedRoom(change->Kind) ? FailWith(ENOSPC) : kPass;
  }
  if (!now && !always) return kPass;
  if (strncmp(g.Fault, "short", 5) == 0) return halves ? kHalf : kPass;
  if (strcmp(g.Fault, "kill") == 0) End();
  if (strcmp(g.Fault, "stop") == 0) return kill(getpid(), SIGSTOP) == 0 ? kPass : kFail;
  if (strcmp(g.Fault, "kill-half") == 0) return halves ? kHalfAndEnd : kPass;
  if (strcmp(g.Fault, "kill-after") == 0) return kEndAfter;
  if (strncmp(g.Fault, "eio", 3) == 0) return FailWith(EIO);
  return MayNeedRoom(change->Kind) ? FailWith(ENOSPC) : kPass;
}

static enum Verdict Begin(const struct Change* change) {
  if (!Counts(change)) return kPass;
  ++g.Count;
  Note(change);
  return Judge(change);
}

static long Ended(enum Verdict verdict, long result) {
  if (verdict == kHalfAndEnd || verdict == kEndAfter) End();
  return result;
}

// The same for a change of an open file.
static enum Verdict BeginOn(int file, enum Kind kind, int64_t offset, uint64_t count) {
  const int error = errno;
  char link[64];
  char path[4096];
  struct stat status;
  snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  const ssize_t length = readlink(link, path, sizeof path - 1);
  const bool regular = length > 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode);
  errno = error;
  if (!regular) return kPass;
  path[length] = '\0';
  if (offset < 0) offset = syscall(SYS_lseek, file, 0, SEEK_CUR);
  return Begin(&(struct Change){kind, path, offset, count, status.st_size});
}

#define EXPORT __attribute__((visibility("default")))
#define ALSO(name) __attribute__((alias(#name), visibility("default")))

// Half of a write. The kernel looks for signals and for room page by page: where there is a page's
// end in the write, the half ends at one.
static uint64_t PartOf(int64_t offset, uint64_t count) {
  const int64_t page = 4096;
  const int64_t middle = offset + (int64_t)(count / 2);
  const int64_t end = (middle + page) / page * page;
  const int64_t cut = end < offset + (int64_t)count ? end : middle / page * page;
  return cut > offset ? (uint64_t)(cut - offset) : count / 2;
}

// Every write is one of these: at the file's own position when `offset` is negative.
static ssize_t WriteAll(int file, const struct iovec* parts, int count, int64_t offset, int flags) {
  uint64_t total = 0;
  for (int i = 0; i < count; ++i) total += parts[i].iov_len;
  const enum Verdict verdict = BeginOn(file, kWrite, offset, total);
  if (verdict == kFail) return -1;
  struct iovec* shorter = NULL;
  if (verdict == kHalf || verdict == kHalfAndEnd) {
    shorter = malloc((size_t)count * sizeof *shorter);
    uint64_t left = PartOf(offset, total);
    for (int i = 0; i < count; ++i) {
      shorter[i] = parts[i];
      if (shorter[i].iov_len > left) shorter[i].iov_len = left;
      left -= shorter[i].iov_len;
    }
    parts = shorter;
  }
  const long put = syscall(SYS_pwritev2, file, parts, (long)count, (long)offset, 0L, (long)flags);
  free(shorter);
  return Ended(verdict, put);
}

EXPORT ssize_t write(int file, const void* bytes, size_t count) {
  return WriteAll(file, &(struct iovec){(void*)(uintptr_t)bytes, count}, 1, -1, 0);
}
EXPORT ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t offset) {
  return WriteAll(file, &(struct iovec){(void*)(uintptr_t)bytes, count}, 1, offset, 0);
}
EXPORT ssize_t writev(int file, const struct iovec* parts, int count) {
  return WriteAll(file, parts, count, -1, 0);
}
EXPORT ssize_t pwritev64(int file, const struct iovec* parts, int count, off64_t offset) {
  return WriteAll(file, parts, count, offset, 0);
}
EXPORT ssize_t pwritev64v2(int file, const struct iovec* parts, int count, off64_t offset,
                           int flags) {
  return WriteAll(file, parts, count, offset, flags);
}
EXPORT ALSO(pwrite64)
ssize_t pwrite(int, const void*, size_t, off_t);
EXPORT ALSO(pwritev64)
ssize_t pwritev(int, const struct iovec*, int, off_t);
EXPORT ALSO(pwritev64v2)
ssize_t pwritev2(int, const struct iovec*, int, off_t, int);

EXPORT ssize_t copy_file_range(int from, off64_t* from_offset, int to, off64_t* to_offset,
                               size_t count, unsigned flags) {
  const enum Verdict verdict = BeginOn(to, kWrite, to_offset != NULL ? *to_offset : -1, count);
  if (verdict == kFail) return -1;
  if (verdict == kHalf || verdict == kHalfAndEnd)
    count = PartOf(to_offset != NULL ? *to_offset : 0, count);
  return Ended(verdict,
               syscall(SYS_copy_file_range, from, from_offset, to, to_offset, count, (long)flags));
}

EXPORT int ftruncate64(int file, off64_t size) {
  const enum Verdict verdict = BeginOn(file, kCut, size, 0);
  return verdict == kFail ? -1 : (int)Ended(verdict, syscall(SYS_ftruncate, file, size));
}
EXPORT ALSO(ftruncate64)
int ftruncate(int, off_t);

EXPORT int fallocate64(int file, int mode, off64_t offset, off64_t count) {
  const enum Verdict verdict = BeginOn(file, kRoom, offset, (uint64_t)count);
  if (verdict == kFail) return -1;
  return (int)Ended(verdict, syscall(SYS_fallocate, file, (long)mode, offset, count));
}
EXPORT ALSO(fallocate64)
int fallocate(int, int, off_t, off_t);

// Without the writes by which the C library makes up for a file system that cannot claim room.
EXPORT int posix_fallocate64(int file, off64_t offset, off64_t count) {
  const int error = errno;
  const int result = fallocate64(file, 0, offset, count) == 0 ? 0 : errno;
  errno = error;
  return result;
}
EXPORT ALSO(posix_fallocate64)
int posix_fallocate(int, off_t, off_t);

EXPORT int fsync(int file) {
  const enum Verdict verdict = BeginOn(file, kSync, 0, 0);
  return verdict == kFail ? -1 : (int)Ended(verdict, syscall(SYS_fsync, file));
}
EXPORT int fdatasync(int file) {
  const enum Verdict verdict = BeginOn(file, kSync, 0, 0);
  return verdict == kFail ? -1 : (int)Ended(verdict, syscall(SYS_fdatasync, file));
}

EXPORT int renameat(int from_folder, const char* from, int to_folder, const char* to) {
  const enum Verdict verdict = Begin(&(struct Change){kRename, to, 0, 0, 0});
  if (verdict == kFail) return -1;
  return (int)Ended(verdict, syscall(SYS_renameat2, from_folder, from, to_folder, to, 0));
}
EXPORT int rename(const char* from, const char* to) {
  return renameat(AT_FDCWD, from, AT_FDCWD, to);
}

EXPORT int unlinkat(int folder, const char* path, int flags) {
  const enum Verdict verdict = Begin(&(struct Change){kUnlink, path, 0, 0, 0});
  return verdict == kFail ? -1 : (int)Ended(verdict, syscall(SYS_unlinkat, folder, path, flags));
}
EXPORT int unlink(const char* path) { return unlinkat(AT_FDCWD, path, 0); }
EXPORT int remove(const char* path) {
  const int result = unlink(path);
  return result != 0 && errno == EISDIR ? rmdir(path) : result;
}

// Only what may make a file counts. Opening a device or a file outside the folder never does.
static int OpenAt(int folder, const char* path, int flags, mode_t mode) {
  enum Verdict verdict = kPass;
  if ((flags & O_CREAT) != 0) verdict = Begin(&(struct Change){kCreate, path, 0, 0, 0});
  if (verdict == kFail) return -1;
  return (int)Ended(verdict, syscall(SYS_openat, folder, path, flags, mode));
}
static mode_t ModeFrom(int flags, va_list list) {
  return (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(list, mode_t) : 0;
}
EXPORT int openat64(int folder, const char* path, int flags, ...) {
  va_list list;
  va_start(list, flags);
  const mode_t mode = ModeFrom(flags, list);
  va_end(list);
  return OpenAt(folder, path, flags, mode);
}
EXPORT int open64(const char* path, int flags, ...) {
  va_list list;
  va_start(list, flags);
  const mode_t mode = ModeFrom(flags, list);
  va_end(list);
  return OpenAt(AT_FDCWD, path, flags, mode);
}
EXPORT ALSO(openat64)
int openat(int, const char*, int, ...);
EXPORT ALSO(open64)
int open(const char*, int, ...);
