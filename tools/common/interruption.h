// Removes unfinished files when a signal (Ctrl-C, SIGTERM, a closed terminal) ends the program.
//
// The signals keep their meaning: after the files are removed the program dies of the signal, as
// its exit status shows. A signal that is ignored when the program starts stays ignored.
#pragma once

#include <signal.h>

#include <filesystem>

namespace zenta::tools {

// While this exists, the signals that end a program are blocked in this thread, and in threads that
// it starts meanwhile. Such threads inherit the mask and never handle a signal, so to block the
// signals in the first thread is enough.
class SignalsHeld {
 public:
  SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld();

 private:
  sigset_t former_;
};

// Registers a file, by its path, to be removed if a signal ends the program while this exists.
class RemovedBySignal {
 public:
  // Throws Failure if kMost of them exist already, or the path has more than 4,095 bytes.
  explicit RemovedBySignal(const std::filesystem::path& path);
  RemovedBySignal(RemovedBySignal&& other) noexcept;
  RemovedBySignal& operator=(RemovedBySignal&&) = delete;
  ~RemovedBySignal();

  static constexpr int kMost = 8;

 private:
  int slot_;  // negative: none
};

}  // namespace zenta::tools
