// The library that is preloaded into a simulated program. It stands between the program and the C library: each
// call that looks at the machine folder, changes it, waits or asks for the time is first put to the simulator, which
// lets one process go on at a time and says whether the call is done, fails, is cut short, or is the process's last.
// Time and random numbers are the simulator's, and nobody really sleeps.
//
// Only the programs under test take part; the shell between them runs by itself while its parent waits. What the C
// library calls inside itself (stdio, the user database) is not seen and needs no turn.
//
// The library has no state but one socket and the last result; it calls the kernel directly, so that nothing here
// comes back to itself.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "tools/simulate/protocol.h"

namespace {

using zenta::simulate::Action;
using zenta::simulate::Call;
using zenta::simulate::kMachineVariable;
using zenta::simulate::kSocketVariable;
using zenta::simulate::Reply;
using zenta::simulate::Request;

constexpr int kSocketNumber = 500;  // out of the way of the program's own descriptors
constexpr std::int64_t kSecond = 1'000'000'000;

bool g_active = false;  // this process asks before it calls
int g_socket = -1;
char g_root[PATH_MAX];
std::size_t g_root_length = 0;
std::int64_t g_result = 0;  // of the last call, told with the next request
std::int32_t g_error = 0;
std::int64_t g_monotonic = 0, g_realtime = 0;
std::int32_t g_process = 0;
std::uint64_t g_random = 0;

// --- Asking -----------------------------------------------------------------------------------------------------------

[[noreturn]] void Die() {
  syscall(SYS_kill, static_cast<pid_t>(syscall(SYS_getpid)), SIGKILL);
  for (;;) syscall(SYS_exit_group, 1);
}

// The simulator is gone: so is the simulated world.
Reply Exchange(Request& request) {
  request.process = static_cast<std::int32_t>(syscall(SYS_getpid));
  request.previous_result = g_result;
  request.previous_error = g_error;
  const std::size_t length = offsetof(Request, text) + strlen(request.text) + 1;
  Reply reply;
  if (send(g_socket, &request, length, MSG_NOSIGNAL) != static_cast<ssize_t>(length)) Die();
  ssize_t got = 0;
  do {
    got = recv(g_socket, &reply, sizeof reply, 0);
  } while (got < 0 && errno == EINTR);
  if (got != static_cast<ssize_t>(sizeof reply) || reply.action == Action::kDie) Die();
  g_monotonic = reply.monotonic;
  g_realtime = reply.realtime;
  return reply;
}

struct Asked {
  Call call;
  std::int64_t value = 0;
  std::uint64_t inode = 0;
};

// Keeps errno as it is.
[[gnu::format(printf, 2, 3)]] Reply Ask(const Asked& asked, const char* format, ...) {
  const int error = errno;
  Request request;
  request.call = asked.call;
  request.value = asked.value;
  request.inode = asked.inode;
  va_list values;
  va_start(values, format);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it was just started
  vsnprintf(request.text, sizeof request.text, format, values);
  va_end(values);
  const Reply reply = Exchange(request);
  errno = error;
  return reply;
}

// What a call gave is told with the next request.
long Told(long result) {
  g_result = result;
  g_error = result == -1 ? errno : 0;
  return result;
}

long Failed(int error) {
  errno = error;
  return Told(-1);
}

// Asks, and does the call if it may.
#define TURN(call, asked, ...)                                               \
  (([&]() -> long {                                                          \
    const Reply reply = Ask(asked, __VA_ARGS__);                             \
    return reply.action == Action::kFail ? Failed(reply.error) : Told(call); \
  })())

// --- Where ------------------------------------------------------------------------------------------------------------

// A path as the simulator shows it: `shown` begins below the machine folder.
struct Place {
  char path[PATH_MAX * 2];
  bool below = false;
  [[nodiscard]] const char* shown() const {
    return !below ? path : path[g_root_length] == '\0' ? "/" : path + g_root_length;
  }
};

bool IsBelow(const char* path) {
  return strncmp(path, g_root, g_root_length) == 0 &&
         (path[g_root_length] == '/' || path[g_root_length] == '\0');
}

// What a link below /proc/self leads to: the kernel's own name of a folder or file.
bool ReadProc(const char* link, char* target) {
  const long length = syscall(SYS_readlinkat, AT_FDCWD, link, target, PATH_MAX - 1);
  target[length < 0 ? 0 : length] = '\0';
  return length > 0;
}

bool ReadDescriptor(int descriptor, char* target) {
  char link[64];
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  return ReadProc(link, target);
}

Place PlaceAt(int folder, const char* path) {
  Place place;
  const int error = errno;
  char base[PATH_MAX] = "";
  if (path[0] != '/') {
    folder == AT_FDCWD ? ReadProc("/proc/self/cwd", base) : ReadDescriptor(folder, base);
  }
  snprintf(place.path, sizeof place.path, "%s%s%s", base, base[0] == '\0' ? "" : "/", path);
  place.below = IsBelow(place.path);
  errno = error;
  return place;
}

Place PlaceOf(int descriptor) {
  Place place;
  const int error = errno;
  ReadDescriptor(descriptor, place.path);
  place.below = IsBelow(place.path);
  errno = error;
  return place;
}

std::uint64_t Inode(int descriptor) {
  struct stat status {};
  return syscall(SYS_fstat, descriptor, &status) == 0 ? status.st_ino : 0;
}

void Report(const char* what, const char* path) {
  Ask({.call = Call::kOutside}, "%s %s", what, path);
}

// Whether the folder of `place`, with all links resolved, is the machine's; otherwise the simulator is told.
// A folder that is not there is nobody's: the call will fail.
bool Writes(const char* what, const Place& place) {
  if (!place.below) {
    if (strcmp(place.path, "/dev/null") != 0 && strcmp(place.path, "/dev/tty") != 0)
      Report(what, place.path);
    return false;
  }
  char folder[PATH_MAX * 2];
  snprintf(folder, sizeof folder, "%s", place.path);
  if (char* slash = strrchr(folder + g_root_length, '/')) *slash = '\0';
  const int error = errno;
  const int opened = static_cast<int>(syscall(SYS_openat, AT_FDCWD, folder, O_PATH | O_CLOEXEC, 0));
  if (opened >= 0) {
    char real[PATH_MAX];
    if (ReadDescriptor(opened, real) && !IsBelow(real)) Report(what, real);
    syscall(SYS_close, opened);
  }
  errno = error;
  return true;
}

// --- Beginning --------------------------------------------------------------------------------------------------------

bool TakesPart() {
  char program[PATH_MAX];
  if (!ReadProc("/proc/self/exe", program)) return false;
  const char* name = strrchr(program, '/');
  return name != nullptr &&
         (strcmp(name, "/zenta-update") == 0 || strcmp(name, "/zenta-host-installer") == 0);
}

bool IsInstaller() {
  char program[PATH_MAX];
  return ReadProc("/proc/self/exe", program) && strstr(program, "/zenta-host-installer") != nullptr;
}

void Leave() { g_active = false; }  // a forked child is nobody's partner

[[gnu::constructor]] void Begin() {
  const char* name = getenv(kSocketVariable);
  const char* root = getenv(kMachineVariable);
  if (name == nullptr || root == nullptr || strlen(root) >= sizeof g_root || !TakesPart()) return;
  snprintf(g_root, sizeof g_root, "%s", root);
  g_root_length = strlen(g_root);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path + 1, name, sizeof address.sun_path - 2);  // abstract: begins with a zero
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + strlen(name));
  const int first = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  g_socket = static_cast<int>(syscall(SYS_fcntl, first, F_DUPFD_CLOEXEC, kSocketNumber));
  syscall(SYS_close, first);
  if (connect(g_socket, reinterpret_cast<const sockaddr*>(&address), length) != 0) Die();
  pthread_atfork(nullptr, nullptr, Leave);
  const Reply reply = Ask({.call = Call::kStart, .value = IsInstaller() ? 1 : 0}, "starts");
  g_process = reply.process;
  g_random = reply.random;
  g_active = true;
}

template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::uint64_t NextRandom() {  // splitmix64
  std::uint64_t z = (g_random += 0x9E3779B97F4A7C15);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
  return z ^ (z >> 31);
}

// --- Bodies that several names share ----------------------------------------------------------------------------------

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
  // The last name may have been a link.
  if (const Place real = PlaceOf(opened); writes && opened >= 0 && !real.below)
    Report("open", real.path);
  return opened;
}

// `part`: does the call for at most so many bytes. Descriptor 2 is the log, wherever it leads.
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
  return Told(done);
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

// A call that changes what `path` names, or makes it.
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

// Tries again each time that the simulator thinks that it is worth it. `attempt` says whether it is through; false
// when the time is over.
template <class Attempt>
bool Until(std::int64_t nanoseconds, Attempt attempt) {
  while (!attempt()) {
    if (Ask({.call = Call::kBlocked, .value = nanoseconds}, "waits").action == Action::kGiveUp)
      return false;
  }
  return true;
}

std::int64_t Nanoseconds(const timespec& time) { return time.tv_sec * kSecond + time.tv_nsec; }
timespec AsTime(std::int64_t nanoseconds) { return {nanoseconds / kSecond, nanoseconds % kSecond}; }

int Sleep(std::int64_t nanoseconds, timespec* left) {
  const Reply reply = Ask({.call = Call::kSleep, .value = nanoseconds < 0 ? 0 : nanoseconds},
                          "sleep(%lld ms)", static_cast<long long>(nanoseconds / 1'000'000));
  if (left != nullptr) *left = AsTime(reply.limit);
  Told(0);
  return reply.action == Action::kFail ? reply.error : 0;
}

int Poll(pollfd* files, nfds_t count, std::int64_t nanoseconds) {
  constexpr timespec kAtOnce{0, 0};
  const auto poll = [&] {
    return static_cast<int>(syscall(SYS_ppoll, files, count, &kAtOnce, nullptr, 0));
  };
  if (const Reply reply = Ask({.call = Call::kPoll}, "poll(%lu)", count);
      reply.action == Action::kFail) {
    return static_cast<int>(Failed(reply.error));
  }
  int ready = 0;
  if (nanoseconds == 0) return static_cast<int>(Told(poll()));
  Until(nanoseconds, [&] { return (ready = poll()) != 0; });
  return static_cast<int>(Told(ready));
}

pid_t Wait(pid_t child, int* status, int options) {
  const auto wait = [&](int more) {
    return static_cast<pid_t>(syscall(SYS_wait4, child, status, options | more, nullptr));
  };
  if (!g_active) return wait(0);
  if (const Reply reply = Ask({.call = Call::kWait}, "wait"); reply.action == Action::kFail) {
    return static_cast<pid_t>(Failed(reply.error));
  }
  pid_t ended = 0;
  if ((options & WNOHANG) != 0) return wait(0);
  Until(-1, [&] { return (ended = wait(WNOHANG)) != 0; });
  Told(ended == -1 ? -1 : 0);  // the number is different each time
  return ended;
}

template <class Spawner>
int Spawn(Spawner* spawn, pid_t* child, const char* program,
          const posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes,
          char* const arguments[], char* const environment[]) {
  if (!g_active) return spawn(child, program, actions, attributes, arguments, environment);
  if (const Reply reply = Ask({.call = Call::kSpawn}, "spawn(%s)", program);
      reply.action == Action::kFail) {
    Told(0);
    return reply.error;
  }
  pid_t started = -1;
  const int error = spawn(&started, program, actions, attributes, arguments, environment);
  if (child != nullptr) *child = started;
  Told(error == 0 ? 0 : -error);
  Ask({.call = Call::kSpawned, .value = error == 0 ? started : -error}, "spawned");
  return error;
}

}  // namespace

// --- The C library's names --------------------------------------------------------------------------------------------

// The names are not ours to choose, and the checker does not see that va_start starts a list.
// NOLINTBEGIN(bugprone-reserved-identifier, bugprone-macro-parentheses, clang-analyzer-valist.Uninitialized)
extern "C" {

// Files are 64 bits wide here: the names with and without 64 mean the same.
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
    return Told(0), found;                                                        \
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
  return Told(0), next(path, mode);
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
  // A short one writes the first part only, which a caller has to expect.
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

// The last six letters of a template are drawn from the simulator's numbers, until the name is unused.
static bool DrawName(char* name) {
  constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  const std::size_t length = strlen(name);
  if (length < 6) return false;
  for (std::size_t i = length - 6; i < length; ++i) name[i] = kLetters[NextRandom() % 36];
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

// How much the real disk has free is not part of the story.
int statvfs(const char* path, struct statvfs* space) {
  static auto* const next = Next<int(const char*, struct statvfs*)>("statvfs");
  if (!g_active) return next(path, space);
  const Place place = PlaceAt(AT_FDCWD, path);
  const Reply reply = Ask({.call = Call::kSpace}, "statvfs(%s)", place.shown());
  if (reply.action == Action::kFail) return static_cast<int>(Failed(reply.error));
  const int done = next(path, space);
  if (done == 0) space->f_bavail = static_cast<fsblkcnt_t>(reply.limit) / space->f_frsize;
  return static_cast<int>(Told(done));
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

// A descriptor is gone whatever close says (Linux).
int close(int descriptor) {
  const auto close = [&] { return syscall(SYS_close, descriptor); };
  if (!g_active) return static_cast<int>(close());
  const Place place = PlaceOf(descriptor);
  if (!place.below) return static_cast<int>(close());
  const Reply reply = Ask({.call = Call::kClose}, "close(%s)", place.shown());
  const long done = close();
  return static_cast<int>(reply.action == Action::kFail ? Failed(reply.error) : Told(done));
}

int flock(int descriptor, int operation) {
  const auto lock = [&](int more) {
    return static_cast<int>(syscall(SYS_flock, descriptor, operation | more));
  };
  if (!g_active) return lock(0);
  const Place place = PlaceOf(descriptor);
  const bool unlocks = (operation & LOCK_UN) != 0, at_once = (operation & LOCK_NB) != 0;
  const Reply reply = Ask({.call = unlocks ? Call::kUnlock : Call::kLock}, "flock(%s, %s%s)",
                          place.shown(), unlocks ? "unlock" : "lock", at_once ? " or fail" : "");
  if (reply.action == Action::kFail) return static_cast<int>(Failed(reply.error));
  int done = -1;
  Until(-1, [&] { return (done = lock(LOCK_NB)) == 0 || errno != EWOULDBLOCK || at_once; });
  return static_cast<int>(Told(done));
}

int pipe2(int ends[2], int flags) {
  const auto make = [&] { return syscall(SYS_pipe2, ends, flags); };
  if (!g_active) return static_cast<int>(make());
  return static_cast<int>(TURN(make(), Asked{.call = Call::kPipe}, "pipe"));
}
int pipe(int ends[2]) { return pipe2(ends, 0); }

int posix_spawn(pid_t* child, const char* program, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[],
                char* const environment[]) {
  static auto* const next = Next<decltype(posix_spawn)>("posix_spawn");
  return Spawn(next, child, program, actions, attributes, arguments, environment);
}
int posix_spawnp(pid_t* child, const char* program, const posix_spawn_file_actions_t* actions,
                 const posix_spawnattr_t* attributes, char* const arguments[],
                 char* const environment[]) {
  static auto* const next = Next<decltype(posix_spawnp)>("posix_spawnp");
  return Spawn(next, child, program, actions, attributes, arguments, environment);
}
pid_t waitpid(pid_t child, int* status, int options) { return Wait(child, status, options); }

int poll(pollfd* files, nfds_t count, int milliseconds) {
  static auto* const next = Next<decltype(poll)>("poll");
  return g_active
             ? Poll(files, count, milliseconds < 0 ? -1 : std::int64_t{milliseconds} * 1'000'000)
             : next(files, count, milliseconds);
}
int ppoll(pollfd* files, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  static auto* const next = Next<decltype(ppoll)>("ppoll");
  return g_active ? Poll(files, count, timeout == nullptr ? -1 : Nanoseconds(*timeout))
                  : next(files, count, timeout, mask);
}

// A clock that is looked at goes on a little, so that nobody who waits by looking waits for ever.
int clock_gettime(clockid_t clock, timespec* time) {
  const bool processor = clock == CLOCK_PROCESS_CPUTIME_ID || clock == CLOCK_THREAD_CPUTIME_ID;
  if (!g_active || processor) return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  const bool wall = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
  g_monotonic += 1000;
  g_realtime += 1000;
  *time = AsTime(wall ? g_realtime : g_monotonic);
  return 0;
}
int gettimeofday(timeval* __restrict time, void* __restrict) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  *time = {now.tv_sec, now.tv_nsec / 1000};
  return 0;
}
time_t time(time_t* place) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (place != nullptr) *place = now.tv_sec;
  return now.tv_sec;
}
int nanosleep(const timespec* duration, timespec* left) {
  static auto* const next = Next<decltype(nanosleep)>("nanosleep");
  if (!g_active) return next(duration, left);
  const int error = Sleep(Nanoseconds(*duration), left);
  return error == 0 ? 0 : static_cast<int>(Failed(error));
}
int clock_nanosleep(clockid_t clock, int flags, const timespec* duration, timespec* left) {
  static auto* const next = Next<decltype(clock_nanosleep)>("clock_nanosleep");
  if (!g_active) return next(clock, flags, duration, left);
  const std::int64_t now = clock == CLOCK_REALTIME ? g_realtime : g_monotonic;
  const bool absolute = (flags & TIMER_ABSTIME) != 0;
  return Sleep(Nanoseconds(*duration) - (absolute ? now : 0), absolute ? nullptr : left);
}
int usleep(useconds_t microseconds) {
  const timespec duration = AsTime(std::int64_t{microseconds} * 1000);
  return nanosleep(&duration, nullptr);
}
unsigned sleep(unsigned seconds) {
  const timespec duration{seconds, 0};
  timespec left{};
  return nanosleep(&duration, &left) == 0 ? 0 : static_cast<unsigned>(left.tv_sec + 1);
}

pid_t getpid() { return g_active ? g_process : static_cast<pid_t>(syscall(SYS_getpid)); }
pid_t gettid() { return g_active ? g_process : static_cast<pid_t>(syscall(SYS_gettid)); }

// std::random_device::_M_getval(): the processor's own numbers are no part of the story.
unsigned _ZNSt13random_device9_M_getvalEv(void*) {
  if (g_active) return static_cast<unsigned>(NextRandom());
  unsigned number = 0;
  syscall(SYS_getrandom, &number, sizeof number, 0);
  return number;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier, bugprone-macro-parentheses, clang-analyzer-valist.Uninitialized)
