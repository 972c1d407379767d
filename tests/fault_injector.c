// Preloaded into a process, asks before each access to a file what shall become of it. 64-bit Linux
// only.
#undef _FILE_OFFSET_BITS  // both the plain names and those that end in 64 are defined here
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))
#define ALSO(name) __attribute__((alias(#name), visibility("default")))

// Answers an error that the access fails with, or one of these. May lessen `count`.
enum { kPass = 0, kEndAfter = -1 };
typedef int Judge(const char* kind, const char* path, int64_t offset, uint64_t* count,
                  int64_t file_size);

static const char* g_folder;
static Judge* g_judge;

// From now on accesses to regular files below the folder are judged.
EXPORT void JudgeAccesses(const char* folder, Judge* judge) {
  g_folder = folder;
  g_judge = judge;
}

static int Ask(const char* kind, const char* path, int64_t offset, uint64_t* count,
               int64_t file_size) {
  if (g_judge == NULL || strncmp(path, g_folder, strlen(g_folder)) != 0) return kPass;
  const int error = errno;
  const int verdict = g_judge(kind, path, offset, count, file_size);
  errno = verdict > 0 ? verdict : error;
  return verdict;
}

static int AskForName(const char* kind, const char* path) {
  return Ask(kind, path, 0, &(uint64_t){0}, 0);
}

// At the file's own position when `offset` is negative.
static int AskForOpen(const char* kind, int file, int64_t offset, uint64_t* count) {
  const int error = errno;
  char link[64];
  char path[4096];
  struct stat status;
  snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  const ssize_t length = readlink(link, path, sizeof path - 1);
  const int regular = length > 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode);
  if (regular && offset < 0) offset = syscall(SYS_lseek, file, 0, SEEK_CUR);
  errno = error;
  if (!regular) return kPass;
  path[length] = '\0';
  return Ask(kind, path, offset, count, status.st_size);
}

static long CarryOut(int verdict, long call, long a, long b, long c, long d) {
  if (verdict > 0) return -1;
  const long result = syscall(call, a, b, c, d);
  if (verdict == kEndAfter) syscall(SYS_kill, getpid(), SIGKILL);
  return result;
}

EXPORT ssize_t read(int file, void* bytes, size_t count) {
  const int verdict = AskForOpen("read", file, -1, &count);
  return CarryOut(verdict, SYS_read, file, (intptr_t)bytes, (long)count, 0);
}

EXPORT ssize_t pread64(int file, void* bytes, size_t count, off64_t offset) {
  const int verdict = AskForOpen("read", file, offset, &count);
  return CarryOut(verdict, SYS_pread64, file, (intptr_t)bytes, (long)count, offset);
}
EXPORT ALSO(pread64)
ssize_t pread(int, void*, size_t, off_t);

EXPORT ssize_t write(int file, const void* bytes, size_t count) {
  const int verdict = AskForOpen("write", file, -1, &count);
  return CarryOut(verdict, SYS_write, file, (intptr_t)bytes, (long)count, 0);
}

EXPORT ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t offset) {
  const int verdict = AskForOpen("write", file, offset, &count);
  return CarryOut(verdict, SYS_pwrite64, file, (intptr_t)bytes, (long)count, offset);
}
EXPORT ALSO(pwrite64)
ssize_t pwrite(int, const void*, size_t, off_t);

EXPORT int ftruncate64(int file, off64_t size) {
  const int verdict = AskForOpen("cut", file, size, &(uint64_t){0});
  return (int)CarryOut(verdict, SYS_ftruncate, file, size, 0, 0);
}
EXPORT ALSO(ftruncate64)
int ftruncate(int, off_t);

// Without the writes by which the C library makes up for a file system that cannot claim room.
EXPORT int posix_fallocate64(int file, off64_t offset, off64_t count) {
  const int error = errno;
  const int verdict = AskForOpen("room", file, offset, &(uint64_t){(uint64_t)count});
  const int result = CarryOut(verdict, SYS_fallocate, file, 0, offset, count) == 0 ? 0 : errno;
  errno = error;
  return result;
}
EXPORT ALSO(posix_fallocate64)
int posix_fallocate(int, off_t, off_t);

EXPORT int fdatasync(int file) {
  const int verdict = AskForOpen("sync", file, 0, &(uint64_t){0});
  return (int)CarryOut(verdict, SYS_fdatasync, file, 0, 0, 0);
}

EXPORT int rename(const char* from, const char* to) {
  return (int)CarryOut(AskForName("rename", to), SYS_rename, (intptr_t)from, (intptr_t)to, 0, 0);
}

EXPORT int unlink(const char* path) {
  return (int)CarryOut(AskForName("unlink", path), SYS_unlink, (intptr_t)path, 0, 0, 0);
}

// Only what may make a file counts.
EXPORT int open64(const char* path, int flags, ...) {
  va_list list;
  va_start(list, flags);
  const mode_t mode = (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(list, mode_t) : 0;
  va_end(list);
  const int verdict = (flags & O_CREAT) != 0 ? AskForName("create", path) : kPass;
  return (int)CarryOut(verdict, SYS_openat, AT_FDCWD, (intptr_t)path, flags, mode);
}
EXPORT ALSO(open64)
int open(const char*, int, ...);
