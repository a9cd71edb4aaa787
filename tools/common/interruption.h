// What a program that a signal ends (Ctrl-C, SIGTERM, a closed terminal) takes away with it.
//
// The signals keep their meaning: the names are removed, then the program dies of the signal, and
// whoever started it sees that. A signal that is ignored when the program starts stays ignored.
#pragma once

#include <signal.h>

#include <filesystem>

namespace zenta::tools {

// For as long as this lives, the signals that end a program wait, for this thread and for threads
// that it starts meanwhile. Such threads never handle one, so that a thread that lets them wait can
// be sure of it.
class SignalsHeld {
 public:
  SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld();

 private:
  sigset_t former_;
};

// The name of a file that is removed when a signal ends the program while this lives.
class RemovedBySignal {
 public:
  // Throws Failure if there are too many at once (kMost), or the name is longer than any file's.
  explicit RemovedBySignal(const std::filesystem::path& path);
  RemovedBySignal(RemovedBySignal&& other) noexcept;
  RemovedBySignal& operator=(RemovedBySignal&&) = delete;
  ~RemovedBySignal();

  static constexpr int kMost = 8;

 private:
  int slot_;  // negative: none
};

}  // namespace zenta::tools
