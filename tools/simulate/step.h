// One step of a story: what lies in the caches folder, who runs, and what happens to them.
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
    kError,     // a call fails; `error` or one that suits it
    kCut,       // a read or write does a part
    kDeath,     // the process is killed at a call
    kPower,     // all are, and the disk loses what was not synced
    kDiskFull,  // nothing can be written for `amount` calls
    kClock,     // the wall clock jumps by `amount` nanoseconds
    kUpdater,   // another updater starts
    kByHand,    // somebody installs another package by hand
    kHold,      // somebody holds the lock for `amount` nanoseconds
    kUser,      // the user who runs the updater does something in the caches folder
    kStranger,  // somebody else tries to
  };
  Kind kind = Kind::kError;
  std::uint64_t at = 1;  // the number of the call at which it happens, counted from 1 in each step
  std::optional<Call> only;  // counts calls of this kind only
  int error = 0;
  std::int64_t amount = 0;
  std::uint64_t choice = 0;  // of what to do, where there are several things
  bool happened = false;
};

// What is found in the caches folder when a step begins.
enum class Arrival { kNothing, kGood, kWrongDigest, kCut, kFlipped, kForged, kEmptyDigest };

struct Step {
  unsigned caches_mode = 0755;
  Arrival arrival = Arrival::kNothing;
  bool by_stranger = false;
  std::uint64_t release = 0, by_hand = 0;
  bool log_is_closed = false;  // nobody reads what the updater says
  std::int64_t call_nanoseconds = 100'000;
  std::uint64_t stickiness = 8;
  bool starts_by_hand = false;  // the first program is the installer alone
  std::vector<Event> events;
};

// The errno values with which a call of this kind may fail for reasons outside the program. Empty: none.
[[nodiscard]] const std::vector<int>& ErrorsOf(Call call);

// Draws a step; `without` names kinds of events that are left out, the rest stays as it was drawn.
[[nodiscard]] Step DrawStep(Random& random, const std::set<std::string>& without);
// Their names.
[[nodiscard]] const std::vector<std::string>& EventNames();

// In words.
[[nodiscard]] std::string Describe(const Step& step);

}  // namespace zenta::simulate
