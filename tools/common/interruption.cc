#include "tools/common/interruption.h"

#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cassert>
#include <cstring>
#include <string>
#include <utility>

#include "tools/common/failure.h"

namespace zenta::tools {
namespace {

constexpr int kEnding[] = {SIGHUP, SIGINT, SIGPIPE, SIGQUIT, SIGTERM, SIGXCPU, SIGXFSZ};

// A handler can run at any moment. It reads `path` only if `taken` is set, which happens after the
// path is complete.
struct Slot {
  std::atomic<bool> taken;
  char path[4096];
};
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers may read it only then");
std::array<Slot, RemovedBySignal::kMost> slots;

sigset_t EndingSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : kEnding) sigaddset(&set, signal);
  return set;
}

// SA_RESETHAND has restored the default action when this runs. The signal raised here is blocked
// until the handler returns, and then ends the program.
void RemoveAndDie(int signal) {
  for (const Slot& slot : slots) {
    if (slot.taken) unlink(slot.path);
  }
  raise(signal);
}

bool HandleSignals() {
  struct sigaction action {};
  action.sa_handler = RemoveAndDie;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  action.sa_mask = EndingSignals();
  for (const int signal : kEnding) {
    struct sigaction former;
    const bool ours = sigaction(signal, nullptr, &former) == 0 &&
                      (former.sa_flags & SA_SIGINFO) == 0 && former.sa_handler == SIG_DFL;
    if (ours) sigaction(signal, &action, nullptr);
  }
  return true;
}

}  // namespace

SignalsHeld::SignalsHeld() {
  const sigset_t ending = EndingSignals();
  pthread_sigmask(SIG_BLOCK, &ending, &former_);
}

SignalsHeld::~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }

RemovedBySignal::RemovedBySignal(const std::filesystem::path& path) : slot_(0) {
  static const bool handled = HandleSignals();
  assert(handled);
  static_cast<void>(handled);
  while (slot_ != kMost && slots[static_cast<std::size_t>(slot_)].taken) ++slot_;
  const std::string& name = path.native();
  if (slot_ == kMost) throw Failure("too many new files at once: " + name);
  Slot& slot = slots[static_cast<std::size_t>(slot_)];
  if (name.size() >= sizeof slot.path) throw SystemFailure("cannot create " + name, ENAMETOOLONG);
  std::memcpy(slot.path, name.c_str(), name.size() + 1);
  slot.taken = true;
}

RemovedBySignal::RemovedBySignal(RemovedBySignal&& other) noexcept
    : slot_(std::exchange(other.slot_, -1)) {}

RemovedBySignal::~RemovedBySignal() {
  if (slot_ >= 0) slots[static_cast<std::size_t>(slot_)].taken = false;
}

}  // namespace zenta::tools
