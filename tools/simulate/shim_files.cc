// The C library's functions for files and folders, as a simulated program calls them (shim.cc).
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "tools/simulate/shim.h"

namespace {

using namespace zenta::simulate;
using namespace zenta::simulate::shim;

std::uint64_t Inode(int descriptor) {
  struct stat status {};
  return syscall(SYS_fstat, descriptor, &status) == 0 ? status.st_ino : 0;
}

int Open(int folder, const char* path, int flags, mode_t mode) {
  const auto open = [&] { return syscall(SYS_openat, folder, path, flags, mode); };
  if (!g_active) return static_cast<int>(open());
  const Place place = PlaceAt(folder, path);
  const bool writes = (flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC)) != 0;
  if (writes ? !Writes("open", place) : !place.below) return static_cast<int>(open());
  const Asked asked{.call = writes ? Call::kCreate : Call::kOpen};
  const auto opened =
      static_cast<int>(TURN(open(), asked, "open(%s%s%s)", place.shown(), writes ? ", write" : "",
                            (flags & O_TRUNC) != 0 ? ", truncate" : ""));
  // The path's last component may have been a link.
  if (const Place real = PlaceOf(opened); writes && opened >= 0 && !real.below)
    Report("open", real.path);
  return opened;
}

// A read or write; `part` makes the call for at most the number of bytes that it is given.
// Descriptor 2 counts as the log, whatever it refers to.
template <class Part>
ssize_t Transfer(const char* name, Call kind, int descriptor, std::size_t size, Part part) {
  if (!g_active) return part(size);
  const Place place = PlaceOf(descriptor);
  const bool log = kind == Call::kWrite && descriptor == STDERR_FILENO;
  if (!place.below && !log) return part(size);
  const Reply reply = Ask({.call = kind,
                           .value = static_cast<std::int64_t>(size),
                           .inode = kind == Call::kWrite && !log ? Inode(descriptor) : 0},
                          "%s(%s, %zu)", name, log ? "the log" : place.shown(), size);
  if (reply.action == Action::kFail) return Failed(reply.error);
  const bool cut = reply.action == Action::kShorten || reply.action == Action::kDieHalfway;
  const ssize_t done = part(cut && static_cast<std::size_t>(reply.limit) < size
                                ? static_cast<std::size_t>(reply.limit)
                                : size);
  if (reply.action == Action::kDieHalfway) Die();
  return Recorded(done);
}

int Look(const char* name, int folder, const char* path, struct stat* status, int flags) {
  const auto look = [&] { return syscall(SYS_newfstatat, folder, path, status, flags); };
  if (!g_active) return static_cast<int>(look());
  const Place place = path[0] == '\0' ? PlaceOf(folder) : PlaceAt(folder, path);
  if (!place.below) return static_cast<int>(look());
  return static_cast<int>(TURN(look(), Asked{.call = Call::kLook}, "%s(%s)", name, place.shown()));
}

int Rename(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  const auto rename = [&] {
    return syscall(SYS_renameat2, from_folder, from, to_folder, to, flags);
  };
  if (!g_active) return static_cast<int>(rename());
  const Place source = PlaceAt(from_folder, from), target = PlaceAt(to_folder, to);
  if (!Writes("rename", source) || !Writes("rename", target)) return static_cast<int>(rename());
  return static_cast<int>(
      TURN(rename(), Asked{.call = flags == 0 ? Call::kRename : Call::kExchange}, "%s(%s, %s)",
           flags == 0 ? "rename" : "exchange", source.shown(), target.shown()));
}

int Unlink(int folder, const char* path, int flags) {
  const auto unlink = [&] { return syscall(SYS_unlinkat, folder, path, flags); };
  if (!g_active) return static_cast<int>(unlink());
  const bool removes_folder = (flags & AT_REMOVEDIR) != 0;
  const Place place = PlaceAt(folder, path);
  if (!Writes("unlink", place)) return static_cast<int>(unlink());
  return static_cast<int>(TURN(unlink(),
                               Asked{.call = removes_folder ? Call::kRemoveFolder : Call::kUnlink},
                               "%s(%s)", removes_folder ? "rmdir" : "unlink", place.shown()));
}

// A call that creates or changes what `path` names.
template <class Do>
long Change(Call kind, const char* name, int folder, const char* path, Do change) {
  if (!g_active) return change();
  const Place place = PlaceAt(folder, path);
  if (!Writes(name, place)) return change();
  return TURN(change(), Asked{.call = kind}, "%s(%s)", name, place.shown());
}

// A call on an open descriptor.
template <class Do>
long OnDescriptor(Call kind, const char* name, int descriptor, Do change) {
  if (!g_active) return change();
  const Place place = PlaceOf(descriptor);
  if (!place.below) return change();
  const bool dirties = kind == Call::kSync || kind == Call::kTruncate;
  return TURN(change(), (Asked{.call = kind, .inode = dirties ? Inode(descriptor) : 0}), "%s(%s)",
              name, place.shown());
}

}  // namespace

// The names are the C library's, and the checker does not see that va_start starts a list.
// NOLINTBEGIN(bugprone-reserved-identifier, bugprone-macro-parentheses, clang-analyzer-valist.Uninitialized)
extern "C" {

// File offsets have 64 bits here, so the names with and without 64 mean the same.
#define WITH_MODE(mode, flags, last)                 \
  mode_t mode = 0;                                   \
  if (((flags) & (O_CREAT | __O_TMPFILE)) != 0) {    \
    va_list values;                                  \
    va_start(values, last);                          \
    mode = static_cast<mode_t>(va_arg(values, int)); \
    va_end(values);                                  \
  }
int open(const char* path, int flags, ...) {
  WITH_MODE(mode, flags, flags)
  return Open(AT_FDCWD, path, flags, mode);
}
int open64(const char* path, int flags, ...) {
  WITH_MODE(mode, flags, flags)
  return Open(AT_FDCWD, path, flags, mode);
}
int openat(int folder, const char* path, int flags, ...) {
  WITH_MODE(mode, flags, flags)
  return Open(folder, path, flags, mode);
}
int openat64(int folder, const char* path, int flags, ...) {
  WITH_MODE(mode, flags, flags)
  return Open(folder, path, flags, mode);
}
int __open_2(const char* path, int flags) { return Open(AT_FDCWD, path, flags, 0); }
int __open64_2(const char* path, int flags) { return Open(AT_FDCWD, path, flags, 0); }
int __openat_2(int folder, const char* path, int flags) { return Open(folder, path, flags, 0); }
int __openat64_2(int folder, const char* path, int flags) { return Open(folder, path, flags, 0); }
int creat(const char* path, mode_t mode) {
  return Open(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

DIR* opendir(const char* path) {
  const int folder = Open(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
  return folder < 0 ? nullptr : fdopendir(folder);
}

#define READ_DIRECTORY(name, entry)                                               \
  entry* name(DIR* folder) {                                                      \
    static auto* const next = Next<entry*(DIR*)>(#name);                          \
    if (!g_active) return next(folder);                                           \
    const Place place = PlaceOf(dirfd(folder));                                   \
    if (!place.below) return next(folder);                                        \
    const Reply reply = Ask({.call = Call::kList}, "readdir(%s)", place.shown()); \
    if (reply.action == Action::kFail) return Failed(reply.error), nullptr;       \
    entry* const found = next(folder);                                            \
    return Recorded(0), found;                                                    \
  }
READ_DIRECTORY(readdir, dirent)
READ_DIRECTORY(readdir64, dirent64)

FILE* fopen(const char* path, const char* mode) {
  static auto* const next = Next<FILE*(const char*, const char*)>("fopen");
  if (!g_active) return next(path, mode);
  const Place place = PlaceAt(AT_FDCWD, path);
  const bool writes = strpbrk(mode, "wa+") != nullptr;
  if (writes ? !Writes("fopen", place) : !place.below) return next(path, mode);
  const Reply reply =
      Ask({.call = writes ? Call::kCreate : Call::kOpen}, "fopen(%s, %s)", place.shown(), mode);
  if (reply.action == Action::kFail) return Failed(reply.error), nullptr;
  return Recorded(0), next(path, mode);
}
FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

ssize_t read(int descriptor, void* bytes, size_t size) {
  return Transfer("read", Call::kRead, descriptor, size,
                  [&](std::size_t part) { return syscall(SYS_read, descriptor, bytes, part); });
}
ssize_t __read_chk(int descriptor, void* bytes, size_t size, size_t) {
  return read(descriptor, bytes, size);
}
ssize_t pread(int descriptor, void* bytes, size_t size, off_t at) {
  return Transfer("pread", Call::kRead, descriptor, size, [&](std::size_t part) {
    return syscall(SYS_pread64, descriptor, bytes, part, at);
  });
}
ssize_t pread64(int descriptor, void* bytes, size_t size, off64_t at) {
  return pread(descriptor, bytes, size, at);
}
ssize_t write(int descriptor, const void* bytes, size_t size) {
  return Transfer("write", Call::kWrite, descriptor, size,
                  [&](std::size_t part) { return syscall(SYS_write, descriptor, bytes, part); });
}
ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t at) {
  return Transfer("pwrite", Call::kWrite, descriptor, size, [&](std::size_t part) {
    return syscall(SYS_pwrite64, descriptor, bytes, part, at);
  });
}
ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off64_t at) {
  return pwrite(descriptor, bytes, size, at);
}
ssize_t writev(int descriptor, const iovec* parts, int count) {
  // A write that is cut short writes from the first part only; callers have to expect that.
  std::size_t size = 0;
  for (int i = 0; i < count; ++i) size += parts[i].iov_len;
  return Transfer("writev", Call::kWrite, descriptor, size, [&](std::size_t part) {
    if (part == size || count == 0) return syscall(SYS_writev, descriptor, parts, count);
    return syscall(SYS_write, descriptor, parts[0].iov_base,
                   part < parts[0].iov_len ? part : parts[0].iov_len);
  });
}

int rename(const char* from, const char* to) { return Rename(AT_FDCWD, from, AT_FDCWD, to, 0); }
int renameat(int from_folder, const char* from, int to_folder, const char* to) {
  return Rename(from_folder, from, to_folder, to, 0);
}
int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  return Rename(from_folder, from, to_folder, to, flags);
}
int unlink(const char* path) { return Unlink(AT_FDCWD, path, 0); }
int unlinkat(int folder, const char* path, int flags) { return Unlink(folder, path, flags); }
int rmdir(const char* path) { return Unlink(AT_FDCWD, path, AT_REMOVEDIR); }
int remove(const char* path) {
  const int done = Unlink(AT_FDCWD, path, 0);
  return done != 0 && errno == EISDIR ? Unlink(AT_FDCWD, path, AT_REMOVEDIR) : done;
}

int mkdirat(int folder, const char* path, mode_t mode) {
  return static_cast<int>(Change(Call::kMakeFolder, "mkdir", folder, path,
                                 [&] { return syscall(SYS_mkdirat, folder, path, mode); }));
}
int mkdir(const char* path, mode_t mode) { return mkdirat(AT_FDCWD, path, mode); }

// Draws the last six characters of a template from the simulator's random numbers.
static bool DrawName(char* name) {
  constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  const std::size_t length = strlen(name);
  if (length < 6) return false;
  for (std::size_t i = length - 6; i < length; ++i) name[i] = kLetters[g_random.Next() % 36];
  return true;
}
char* mkdtemp(char* name) {
  static auto* const next = Next<char*(char*)>("mkdtemp");
  if (!g_active) return next(name);
  do {
    if (!DrawName(name)) return Failed(EINVAL), nullptr;
  } while (mkdir(name, 0700) != 0 && errno == EEXIST);
  return g_result == 0 ? name : nullptr;
}
int mkostemp(char* name, int flags) {
  static auto* const next = Next<int(char*, int)>("mkostemp");
  if (!g_active) return next(name, flags);
  int made = -1;
  do {
    if (!DrawName(name)) return static_cast<int>(Failed(EINVAL));
    made = Open(AT_FDCWD, name, flags | O_RDWR | O_CREAT | O_EXCL, 0600);
  } while (made < 0 && errno == EEXIST);
  return made;
}
int mkstemp(char* name) { return mkostemp(name, 0); }
int mkstemp64(char* name) { return mkostemp(name, 0); }

int symlinkat(const char* target, int folder, const char* path) {
  return static_cast<int>(Change(Call::kLink, "symlink", folder, path,
                                 [&] { return syscall(SYS_symlinkat, target, folder, path); }));
}
int symlink(const char* target, const char* path) { return symlinkat(target, AT_FDCWD, path); }
int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) {
  return static_cast<int>(Change(Call::kLink, "link", to_folder, to, [&] {
    return syscall(SYS_linkat, from_folder, from, to_folder, to, flags);
  }));
}
int link(const char* from, const char* to) { return linkat(AT_FDCWD, from, AT_FDCWD, to, 0); }
int mknod(const char* path, mode_t mode, dev_t device) {
  return static_cast<int>(Change(Call::kLink, "mknod", AT_FDCWD, path, [&] {
    return syscall(SYS_mknodat, AT_FDCWD, path, mode, device);
  }));
}
int mkfifo(const char* path, mode_t mode) { return mknod(path, mode | S_IFIFO, 0); }

int fsync(int descriptor) {
  return static_cast<int>(OnDescriptor(Call::kSync, "fsync", descriptor,
                                       [&] { return syscall(SYS_fsync, descriptor); }));
}
int fdatasync(int descriptor) {
  return static_cast<int>(OnDescriptor(Call::kSync, "fdatasync", descriptor,
                                       [&] { return syscall(SYS_fdatasync, descriptor); }));
}
int syncfs(int descriptor) {
  return static_cast<int>(OnDescriptor(Call::kSyncAll, "syncfs", descriptor,
                                       [&] { return syscall(SYS_syncfs, descriptor); }));
}
int ftruncate(int descriptor, off_t length) {
  return static_cast<int>(OnDescriptor(Call::kTruncate, "ftruncate", descriptor,
                                       [&] { return syscall(SYS_ftruncate, descriptor, length); }));
}
int ftruncate64(int descriptor, off64_t length) { return ftruncate(descriptor, length); }
int truncate(const char* path, off_t length) {
  return static_cast<int>(Change(Call::kTruncate, "truncate", AT_FDCWD, path,
                                 [&] { return syscall(SYS_truncate, path, length); }));
}

int fchmod(int descriptor, mode_t mode) {
  return static_cast<int>(OnDescriptor(Call::kAttributes, "fchmod", descriptor,
                                       [&] { return syscall(SYS_fchmod, descriptor, mode); }));
}
int fchmodat(int folder, const char* path, mode_t mode, int) {
  return static_cast<int>(Change(Call::kAttributes, "chmod", folder, path,
                                 [&] { return syscall(SYS_fchmodat, folder, path, mode); }));
}
int chmod(const char* path, mode_t mode) { return fchmodat(AT_FDCWD, path, mode, 0); }
int fchown(int descriptor, uid_t user, gid_t group) {
  return static_cast<int>(OnDescriptor(Call::kAttributes, "fchown", descriptor, [&] {
    return syscall(SYS_fchown, descriptor, user, group);
  }));
}
int fchownat(int folder, const char* path, uid_t user, gid_t group, int flags) {
  return static_cast<int>(Change(Call::kAttributes, "chown", folder, path, [&] {
    return syscall(SYS_fchownat, folder, path, user, group, flags);
  }));
}
int chown(const char* path, uid_t user, gid_t group) {
  return fchownat(AT_FDCWD, path, user, group, 0);
}
int lchown(const char* path, uid_t user, gid_t group) {
  return fchownat(AT_FDCWD, path, user, group, AT_SYMLINK_NOFOLLOW);
}
int futimens(int descriptor, const timespec times[2]) {
  return static_cast<int>(OnDescriptor(Call::kAttributes, "futimens", descriptor, [&] {
    return syscall(SYS_utimensat, descriptor, nullptr, times, 0);
  }));
}
int utimensat(int folder, const char* path, const timespec times[2], int flags) {
  return static_cast<int>(Change(Call::kAttributes, "utimensat", folder, path, [&] {
    return syscall(SYS_utimensat, folder, path, times, flags);
  }));
}

int stat(const char* path, struct stat* status) { return Look("stat", AT_FDCWD, path, status, 0); }
int lstat(const char* path, struct stat* status) {
  return Look("lstat", AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}
int fstat(int descriptor, struct stat* status) {
  return Look("fstat", descriptor, "", status, AT_EMPTY_PATH);
}
int fstatat(int folder, const char* path, struct stat* status, int flags) {
  return Look("fstatat", folder, path, status, flags);
}
int stat64(const char* path, struct stat64* status) {
  return stat(path, reinterpret_cast<struct stat*>(status));
}
int lstat64(const char* path, struct stat64* status) {
  return lstat(path, reinterpret_cast<struct stat*>(status));
}
int fstat64(int descriptor, struct stat64* status) {
  return fstat(descriptor, reinterpret_cast<struct stat*>(status));
}
int fstatat64(int folder, const char* path, struct stat64* status, int flags) {
  return fstatat(folder, path, reinterpret_cast<struct stat*>(status), flags);
}
ssize_t readlinkat(int folder, const char* path, char* target, size_t size) {
  const auto read = [&] { return syscall(SYS_readlinkat, folder, path, target, size); };
  if (!g_active) return read();
  const Place place = PlaceAt(folder, path);
  if (!place.below) return read();
  return TURN(read(), Asked{.call = Call::kLook}, "readlink(%s)", place.shown());
}
ssize_t readlink(const char* path, char* target, size_t size) {
  return readlinkat(AT_FDCWD, path, target, size);
}
int faccessat(int folder, const char* path, int mode, int) {
  const auto look = [&] { return syscall(SYS_faccessat, folder, path, mode); };
  if (!g_active) return static_cast<int>(look());
  const Place place = PlaceAt(folder, path);
  if (!place.below) return static_cast<int>(look());
  return static_cast<int>(TURN(look(), Asked{.call = Call::kLook}, "access(%s)", place.shown()));
}
int access(const char* path, int mode) { return faccessat(AT_FDCWD, path, mode, 0); }

// The simulator decides how much space is free.
int statvfs(const char* path, struct statvfs* space) {
  static auto* const next = Next<int(const char*, struct statvfs*)>("statvfs");
  if (!g_active) return next(path, space);
  const Place place = PlaceAt(AT_FDCWD, path);
  const Reply reply = Ask({.call = Call::kSpace}, "statvfs(%s)", place.shown());
  if (reply.action == Action::kFail) return static_cast<int>(Failed(reply.error));
  const int done = next(path, space);
  if (done == 0) space->f_bavail = static_cast<fsblkcnt_t>(reply.limit) / space->f_frsize;
  return static_cast<int>(Recorded(done));
}

int chdir(const char* path) {
  const auto enter = [&] { return syscall(SYS_chdir, path); };
  if (!g_active) return static_cast<int>(enter());
  const Place place = PlaceAt(AT_FDCWD, path);
  if (!place.below) return static_cast<int>(enter());
  return static_cast<int>(TURN(enter(), Asked{.call = Call::kEnter}, "chdir(%s)", place.shown()));
}
int fchdir(int descriptor) {
  return static_cast<int>(OnDescriptor(Call::kEnter, "fchdir", descriptor,
                                       [&] { return syscall(SYS_fchdir, descriptor); }));
}

// On Linux a descriptor is closed even if close fails.
int close(int descriptor) {
  const auto close = [&] { return syscall(SYS_close, descriptor); };
  if (!g_active) return static_cast<int>(close());
  const Place place = PlaceOf(descriptor);
  if (!place.below) return static_cast<int>(close());
  const Reply reply = Ask({.call = Call::kClose}, "close(%s)", place.shown());
  const long done = close();
  return static_cast<int>(reply.action == Action::kFail ? Failed(reply.error) : Recorded(done));
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier, bugprone-macro-parentheses, clang-analyzer-valist.Uninitialized)
