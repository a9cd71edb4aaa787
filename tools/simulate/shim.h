// What the sources of the preloaded library share: taking a turn, and paths as the simulator shows
// them.
#pragma once

#include <dlfcn.h>

#include <climits>
#include <cstddef>
#include <cstdint>

#include "tools/simulate/protocol.h"
#include "tools/simulate/random.h"

#pragma GCC visibility push(hidden)  // the library must not export what follows
namespace zenta::simulate::shim {

// NOLINTBEGIN(bugprone-dynamic-static-initializers): constants initialise them in shim.cc
extern bool g_active;                         // this process asks before it calls
extern std::int64_t g_result;                 // of the last call; sent with the next request
extern std::int64_t g_monotonic, g_realtime;  // the simulated clocks, nanoseconds
extern std::int32_t g_process;                // the process ID that the program sees
extern Random g_random;
// NOLINTEND(bugprone-dynamic-static-initializers)

// --- Turns ---------------------------------------------------------------------------------------

struct Asked {
  Call call;
  std::int64_t value = 0;
  std::uint64_t inode = 0;
};

// Asks for the next turn; the formatted text is the call as the trace shows it. Returns when this
// process may go on, and does not return if it is to die. Leaves errno alone.
[[gnu::format(printf, 2, 3)]] Reply Ask(const Asked& asked, const char* format, ...);

[[noreturn]] void Die();

// Keeps the result of a call, and errno if it is -1, for the next request. Returns the result.
long Recorded(long result);

// The result of a call that the simulator makes fail: -1, and errno is `error`.
long Failed(int error);

// Asks for a turn, then makes the call unless it is to fail.
#define TURN(call, asked, ...)                                                   \
  (([&]() -> long {                                                              \
    const Reply reply = Ask(asked, __VA_ARGS__);                                 \
    return reply.action == Action::kFail ? Failed(reply.error) : Recorded(call); \
  })())

// The C library's own function of this name.
template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// --- Paths ---------------------------------------------------------------------------------------

struct Place {
  char path[PATH_MAX * 2];
  bool below = false;  // the machine folder
  // The path that the trace shows: that of the machine if it is below the machine folder.
  [[nodiscard]] const char* shown() const;
};

// What `path` names, relative to an open folder or AT_FDCWD. Its links are not resolved.
Place PlaceAt(int folder, const char* path);

// What an open descriptor refers to.
Place PlaceOf(int descriptor);

// Reports a write outside the machine folder, which is a finding.
void Report(const char* what, const char* path);

// Whether a call that changes `place` takes a turn: its path lies below the machine folder. Reports
// a change elsewhere (devices excepted), and one through a link in the path that leads out of the
// folder. A folder that does not exist is not reported, because the call will fail.
bool Writes(const char* what, const Place& place);

}  // namespace zenta::simulate::shim
#pragma GCC visibility pop
