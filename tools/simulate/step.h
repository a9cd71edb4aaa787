// One step of a story: which files are in the caches folder, which programs run, and which events
// happen to them.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/simulate/protocol.h"
#include "tools/simulate/random.h"

namespace zenta::simulate {

struct Event {
  enum class Kind {
    kError,     // a call fails, with `error` or, if that is 0, with one that suits the call
    kCut,       // a read or write is short
    kDeath,     // the process is killed at a call
    kPower,     // all processes are killed, and the disk loses what was not synced
    kDiskFull,  // nothing can be written for `amount` calls
    kClock,     // the wall clock jumps by `amount` nanoseconds
    kUpdater,   // another updater starts
    kByHand,    // somebody installs another package by hand
    kHold,      // another process holds the lock for `amount` nanoseconds
    kUser,      // the user who runs the updater does something in the caches folder
    kStranger,  // another user tries to
  };
  Kind kind = Kind::kError;
  std::uint64_t at = 1;  // the number of the call at which it happens, counted from 1 in each step
  std::optional<Call> only;  // if set, only calls of this kind are counted
  int error = 0;             // errno value
  std::int64_t amount = 0;
  std::uint64_t choice = 0;  // random bits that select among several actions
  bool happened = false;
};

// What arrives in the caches folder before a step begins.
enum class Arrival { kNothing, kGood, kWrongDigest, kCut, kFlipped, kForged, kEmptyDigest };

struct Step {
  unsigned caches_mode = 0755;
  Arrival arrival = Arrival::kNothing;
  bool by_stranger = false;
  std::uint64_t release = 0, by_hand = 0;
  bool log_is_closed = false;  // the updater's log is a pipe that nobody reads
  std::int64_t call_nanoseconds = 100'000;
  std::uint64_t stickiness = 8;
  bool starts_by_hand = false;  // the installer runs first, instead of the updater
  std::vector<Event> events;
};

// The errno values with which a call of this kind can fail for reasons outside the program. May be
// empty.
[[nodiscard]] const std::vector<int>& ErrorsOf(Call call);

// Draws a step. `without` names kinds of events that are left out; everything else is drawn as if
// they were there.
[[nodiscard]] Step DrawStep(Random& random, const std::set<std::string>& without);
// The names that `without` can hold.
[[nodiscard]] const std::vector<std::string>& EventNames();

// The step in words, for people.
[[nodiscard]] std::string Describe(const Step& step);

}  // namespace zenta::simulate
