// The messages between a simulated process and the simulator. Before each call that matters the
// process sends a Request and waits for the Reply, each one message on a SOCK_SEQPACKET socket.
// Both ends are of one build on one machine, so the structures are sent as they are in memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zenta::simulate {

// Holds the name of the simulator's abstract socket. Without it a program runs as usual.
inline constexpr char kSocketVariable[] = "ZENTA_SIMULATE";
// The machine folder. The programs themselves read this variable, too.
inline constexpr char kMachineVariable[] = "ZENTA_MACHINE";

// Calls that can fail in the same ways are one kind.
enum class Call : std::uint8_t {
  kStart,     // the process begins; value: 1 if it is the installer
  kOpen,      // for reading: files and folders
  kCreate,    // open for writing
  kRead,      // value: bytes wanted
  kWrite,     // value: bytes to write
  kTruncate,  // also sets a length
  kSync,      // one file or folder
  kSyncAll,   // the whole file system
  kRename,
  kExchange,  // rename with flags
  kUnlink,
  kMakeFolder,
  kRemoveFolder,
  kLink,        // hard and symbolic links, pipes, devices
  kAttributes,  // modes, owners, times
  kLook,        // stat, readlink, access
  kList,        // reads the next entry of a folder
  kSpace,       // free space of a file system
  kEnter,       // changes the working folder
  kClose,
  kLock,  // a lock that is held, and that the caller waits for, continues as kBlocked
  kUnlock,
  kPipe,
  kSpawn,
  kSpawned,  // value: the child's ID, or minus the error; answered when the child has started
  kPoll,
  kWait,     // for a child's end
  kSleep,    // value: nanoseconds
  kBlocked,  // the call cannot go on yet; value: nanoseconds until it gives up, -1 for never
  kOutside,  // a write outside the machine folder; text says which
};
inline constexpr std::size_t kCalls = static_cast<std::size_t>(Call::kOutside) + 1;

struct Request {
  Call call = Call::kStart;
  std::int32_t process = 0;  // the system's process ID
  std::int64_t value = 0;
  std::uint64_t inode = 0;           // of the descriptor that is written or synced; else 0
  std::int64_t previous_result = 0;  // of the call that the last reply let through
  std::int32_t previous_error = 0;   // its errno value, if the result is -1
  char text[700] = {};               // the call as it is shown; paths begin at the machine folder
};

enum class Action : std::uint8_t {
  kProceed,
  kFail,        // with `error`, and the call is not made (except close, which is made and fails)
  kShorten,     // reads or writes `limit` bytes at most
  kDie,         // SIGKILL before the call is made
  kDieHalfway,  // after `limit` bytes are written
  kGiveUp,      // answer to kBlocked: the time is over
};

struct Reply {
  Action action = Action::kProceed;
  std::int32_t error = 0;
  std::int64_t limit = 0;      // bytes; in answer to kSpace: bytes available
  std::int64_t monotonic = 0;  // the simulated clocks, nanoseconds
  std::int64_t realtime = 0;
  std::int32_t process = 0;  // in answer to kStart: the process ID that the program sees
  std::uint64_t random = 0;  // in answer to kStart: the seed of its random numbers
};

}  // namespace zenta::simulate
