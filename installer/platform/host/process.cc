#include "installer/platform/host/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace zenta::installer {
namespace {

class Descriptor {
 public:
  Descriptor() = default;
  // Takes ownership of `descriptor`, and moves it to a number that is none of the child's standard
  // streams.
  explicit Descriptor(int descriptor) : number_(descriptor) {
    if (number_ > STDERR_FILENO) return;
    number_ = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(descriptor);
    if (number_ < 0) throw std::system_error(errno, std::generic_category(), "pipe");
  }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { Close(); }

  void Close() {
    if (number_ >= 0) close(std::exchange(number_, -1));
  }
  [[nodiscard]] int number() const { return number_; }  // -1: closed

 private:
  int number_ = -1;
};

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category(), "pipe");
    }
    read_end = Descriptor(ends[0]);
    write_end = Descriptor(ends[1]);
  }

  // Reads once and keeps what still fits. At the end of the stream, and on an error, closes the
  // read end.
  void Drain(std::string& kept) {
    assert(kept.size() <= kMaxKeptOutput);
    std::array<char, 65536> block;
    const ssize_t count = read(read_end.number(), block.data(), block.size());
    if (count < 0 && errno == EINTR) return;
    if (count <= 0) return read_end.Close();
    const auto size = static_cast<std::size_t>(count);
    kept.append(block.data(), std::min(size, kMaxKeptOutput - kept.size()));
  }

  Descriptor read_end, write_end;
};

// The form in which posix_spawn takes a list of texts. It does not write to them, although its type
// would permit that.
std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// Starts the child with standard input from /dev/null, its output to the two pipes, and all signals
// unblocked with their default actions. 0 or an errno value.
int Spawn(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
          const Pipe& output, const Pipe& error, pid_t& child) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output.write_end.number(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, error.write_end.number(), STDERR_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const int failed = posix_spawnp(&child, arguments.front().c_str(), &actions, &attributes,
                                  Pointers(arguments).data(), Pointers(environment).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return failed;
}

// Reads both pipes together: if we waited for one only, a program that fills the other would block.
void DrainBoth(Pipe& output, Pipe& error, ProcessOutcome& outcome) {
  // With our write ends closed, the streams end when the child and its descendants close theirs.
  output.write_end.Close();
  error.write_end.Close();
  while (output.read_end.number() >= 0 || error.read_end.number() >= 0) {
    std::array<pollfd, 2> waiting = {
        {{output.read_end.number(), POLLIN, 0}, {error.read_end.number(), POLLIN, 0}}};
    if (poll(waiting.data(), waiting.size(), -1) < 0)
      continue;  // a signal; poll ignores closed ends, whose number is -1
    if (waiting[0].revents != 0) output.Drain(outcome.output);
    if (waiting[1].revents != 0) error.Drain(outcome.error);
  }
}

}  // namespace

ProcessOutcome RunProcess(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment) {
  assert(!arguments.empty());
  ProcessOutcome outcome;
  Pipe output, error;
  pid_t child = -1;
  outcome.spawn_error = Spawn(arguments, environment, output, error, child);
  if (outcome.spawn_error != 0) return outcome;
  DrainBoth(output, error, outcome);
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    // ECHILD: if SIGCHLD is ignored, the system discards the status. That must not count as
    // success.
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
  }
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return outcome;
}

std::vector<std::string> EnvironmentWith(const std::string& name, const std::string& value) {
  std::vector<std::string> environment;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    if (!std::string_view(*variable).starts_with(name + "=")) environment.emplace_back(*variable);
  }
  environment.push_back(name + "=" + value);
  return environment;
}

}  // namespace zenta::installer
