// The library that is preloaded into a simulated program. It stands between the program and the C
// library. Each call that looks at the machine folder, changes it, waits, or asks for the time is
// first put to the simulator, which lets one process run at a time. The simulator answers whether
// the call is made, fails, is cut short, or is the last one of its process. Time and random numbers
// come from the simulator, and no process really sleeps.
//
// Only the programs under test take part. The shell between them runs freely while its parent
// waits. Calls that the C library makes inside itself (stdio, the user database) are not seen.
//
// The library's state is one socket, the last result, the clocks and the random numbers. It calls
// the kernel directly, so that it never calls its own functions.
//
//   shim.cc            turns, paths, and the connection when the program starts
//   shim_files.cc      the C library's functions for files and folders
//   shim_processes.cc  those for locks, pipes, children, time and random numbers
#include "tools/simulate/shim.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zenta::simulate::shim {

bool g_active = false;
std::int64_t g_result = 0;
std::int64_t g_monotonic = 0, g_realtime = 0;
std::int32_t g_process = 0;
constinit Random g_random(0);

namespace {

constexpr int kSocketNumber = 500;  // above the program's own descriptors

int g_socket = -1;
char g_root[PATH_MAX];
std::size_t g_root_length = 0;
std::int32_t g_error = 0;  // errno after the last call, if its result is -1

// --- Turns ---------------------------------------------------------------------------------------

// If the simulator is gone, the process dies.
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

}  // namespace

void Die() {
  syscall(SYS_kill, static_cast<pid_t>(syscall(SYS_getpid)), SIGKILL);
  for (;;) syscall(SYS_exit_group, 1);
}

Reply Ask(const Asked& asked, const char* format, ...) {
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

long Recorded(long result) {
  g_result = result;
  g_error = result == -1 ? errno : 0;
  return result;
}

long Failed(int error) {
  errno = error;
  return Recorded(-1);
}

// --- Paths ---------------------------------------------------------------------------------------

namespace {

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

}  // namespace

const char* Place::shown() const {
  return !below ? path : path[g_root_length] == '\0' ? "/" : path + g_root_length;
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

void Report(const char* what, const char* path) {
  Ask({.call = Call::kOutside}, "%s %s", what, path);
}

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

// --- Start ---------------------------------------------------------------------------------------

namespace {

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

void Leave() { g_active = false; }  // a forked child takes no turns

[[gnu::constructor]] void Begin() {
  const char* name = getenv(kSocketVariable);
  const char* root = getenv(kMachineVariable);
  if (name == nullptr || root == nullptr || strlen(root) >= sizeof g_root || !TakesPart()) return;
  snprintf(g_root, sizeof g_root, "%s", root);
  g_root_length = strlen(g_root);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path + 1, name, sizeof address.sun_path - 2);  // abstract: first byte is 0
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + strlen(name));
  const int first = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  g_socket = static_cast<int>(syscall(SYS_fcntl, first, F_DUPFD_CLOEXEC, kSocketNumber));
  syscall(SYS_close, first);
  if (connect(g_socket, reinterpret_cast<const sockaddr*>(&address), length) != 0) Die();
  pthread_atfork(nullptr, nullptr, Leave);
  const Reply reply = Ask({.call = Call::kStart, .value = IsInstaller() ? 1 : 0}, "starts");
  g_process = reply.process;
  g_random = Random(reply.random);
  g_active = true;
}

}  // namespace
}  // namespace zenta::simulate::shim
