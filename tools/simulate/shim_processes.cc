// The C library's functions for locks, pipes, children, time and random numbers, as a simulated
// program calls them (shim.cc).
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "tools/simulate/shim.h"

namespace {

using namespace zenta::simulate;
using namespace zenta::simulate::shim;

constexpr std::int64_t kSecond = 1'000'000'000;

// Repeats `attempt` until it returns true, each time after the simulator has let this process
// retry. False when `nanoseconds` are over; -1 waits without end.
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
  Recorded(0);
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
  if (nanoseconds == 0) return static_cast<int>(Recorded(poll()));
  Until(nanoseconds, [&] { return (ready = poll()) != 0; });
  return static_cast<int>(Recorded(ready));
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
  Recorded(ended == -1 ? -1 : 0);  // without the process ID, which differs from run to run
  return ended;
}

template <class Spawner>
int Spawn(Spawner* spawn, pid_t* child, const char* program,
          const posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes,
          char* const arguments[], char* const environment[]) {
  if (!g_active) return spawn(child, program, actions, attributes, arguments, environment);
  if (const Reply reply = Ask({.call = Call::kSpawn}, "spawn(%s)", program);
      reply.action == Action::kFail) {
    Recorded(0);
    return reply.error;
  }
  pid_t started = -1;
  const int error = spawn(&started, program, actions, attributes, arguments, environment);
  if (child != nullptr) *child = started;
  Recorded(error == 0 ? 0 : -error);
  Ask({.call = Call::kSpawned, .value = error == 0 ? started : -error}, "spawned");
  return error;
}

}  // namespace

// The names are those of the C and C++ libraries.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

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
  return static_cast<int>(Recorded(done));
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

// Each look at a clock advances it by a microsecond, so that a loop that polls a clock ends.
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

// std::random_device::_M_getval(), which would read the processor's random numbers.
unsigned _ZNSt13random_device9_M_getvalEv(void*) {
  if (g_active) return static_cast<unsigned>(g_random.Next());
  unsigned number = 0;
  syscall(SYS_getrandom, &number, sizeof number, 0);
  return number;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
