#include "tools/simulate/scheduler.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>

#include "tools/common/failure.h"

namespace zenta::simulate {
namespace {

using tools::SystemFailure;

constexpr int kPatience = 20'000;  // real milliseconds that a program may compute between two calls
constexpr std::uint64_t kMostCalls = 200'000;                   // of a run; more is a finding
constexpr std::int64_t kWallStart = 1'767'323'045'000'000'000;  // 2026-01-02 03:04:05 UTC

int HandleOf(pid_t process) { return static_cast<int>(syscall(SYS_pidfd_open, process, 0)); }

// Waits until one of two descriptors is readable, and returns it; -1 after kPatience.
int WaitFor(int one, int other = -1) {
  std::array<pollfd, 2> files = {{{one, POLLIN, 0}, {other, POLLIN, 0}}};
  int ready = 0;
  while ((ready = poll(files.data(), files.size(), kPatience)) < 0 && errno == EINTR) {
  }
  if (ready <= 0) return -1;
  return files[0].revents != 0 ? one : other;
}

void CloseIf(int& descriptor) {
  if (descriptor >= 0) close(std::exchange(descriptor, -1));
}

std::string Outcome(const Request& next) {
  if (next.previous_result != -1) return " = " + std::to_string(next.previous_result);
  const char* name = strerrorname_np(next.previous_error);
  return std::string(" = ") + (name == nullptr ? "?" : name);
}

}  // namespace

// Each run has a socket of its own. A program that an earlier run left behind (its parent was
// killed before it reported the child) then finds no simulator and ends.
void Scheduler::Listen() {
  CloseIf(listener_);
  address_ = name_ + "." + std::to_string(++runs_);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  address_.copy(address.sun_path + 1, sizeof address.sun_path - 1);  // abstract: no file
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + address_.size());
  listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  if (listener_ < 0 || bind(listener_, reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
      listen(listener_, 8) != 0) {
    throw SystemFailure("no socket");
  }
}

Scheduler::~Scheduler() {
  KillAll();
  CloseIf(listener_);
}

void Scheduler::Begin(Director* director, Random* random, std::int64_t call_nanoseconds,
                      std::uint64_t stickiness) {
  director_ = director;
  random_ = random;
  call_nanoseconds_ = call_nanoseconds;
  stickiness_ = stickiness;
  calls_ = 0;
  updaters_ = installers_ = 0;
  current_ = nullptr;
  processes_.clear();
  Listen();
}

void Scheduler::Start(Program program, const std::vector<std::string>& arguments,
                      const std::string& machine, int log) {
  const std::vector<std::string> environment = {
      std::string(kSocketVariable) + "=" + address_, std::string(kMachineVariable) + "=" + machine,
      std::string("LD_PRELOAD=") + ZENTA_SIMULATE_SHIM, "PATH=/usr/bin:/bin", "TZ=UTC"};
  const auto pointers = [](const std::vector<std::string>& texts) {
    std::vector<char*> list;
    list.reserve(texts.size() + 1);
    for (const std::string& text : texts) list.push_back(const_cast<char*>(text.c_str()));
    list.push_back(nullptr);
    return list;
  };
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, log, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, log, STDERR_FILENO);
  posix_spawnattr_t attributes;  // the simulator's parent may ignore signals; the programs must not
  posix_spawnattr_init(&attributes);
  sigset_t all;
  sigfillset(&all);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t child = -1;
  const int error = posix_spawn(&child, arguments.front().c_str(), &actions, &attributes,
                                pointers(arguments).data(), pointers(environment).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw SystemFailure("cannot run " + arguments.front(), error);
  if (WaitFor(listener_) != listener_)
    throw tools::Failure(arguments.front() + " does not ask for its turn");
  Process& process = Admit(child);
  process.is_child = true;
  if (process.program != program)
    throw tools::Failure("another program has come than " + arguments.front());
}

// Accepts the program that has connected. REQUIRES: one has.
Process& Scheduler::Admit(pid_t expected) {
  auto process = std::make_unique<Process>();
  process->socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  if (process->socket < 0) throw SystemFailure("no socket for a program");
  if (recv(process->socket, &process->request, sizeof process->request, 0) <= 0)
    throw SystemFailure("no greeting");
  process->id = process->request.process;
  process->handle = HandleOf(process->id);
  if (expected != process->id) process->starter_handle = HandleOf(expected);
  const bool updater = process->request.value == 0;
  process->program = updater ? Program::kUpdater : Program::kInstaller;
  process->number = updater ? ++updaters_ : ++installers_;
  process->name = (updater ? "updater " : "installer ") + std::to_string(process->number);
  process->began = now_;
  processes_.push_back(std::move(process));
  return *processes_.back();
}

// Between a spawn and the child's first turn nobody else runs.
void Scheduler::AdmitChildOf(Process& parent, pid_t child) {
  int handle = HandleOf(child);
  if (handle < 0) return;
  const int first = WaitFor(listener_, handle);
  if (first < 0)
    throw Finding{"a program that " + parent.name + " started neither begins nor ends"};
  if (first == listener_) Admit(child);
  CloseIf(handle);
}

void Scheduler::Answer(Process& process, Reply reply) {
  reply.monotonic = now_;
  reply.realtime = kWallStart + now_ + wall_;
  // If the process is gone, Hear finds out.
  if (send(process.socket, &reply, sizeof reply, MSG_NOSIGNAL) < 0 && errno != EPIPE &&
      errno != ECONNRESET) {
    throw SystemFailure("cannot answer");
  }
}

void Scheduler::LetRetry(const Process* except) {
  for (const auto& process : processes_) {
    if (process.get() != except) process->may_retry = true;
  }
}

void Scheduler::Over(Process& process) {
  CloseIf(process.socket);
  for (int* handle : {&process.handle, &process.starter_handle}) {
    if (*handle >= 0 && WaitFor(*handle) < 0) throw Finding{process.name + " does not end"};
    CloseIf(*handle);
  }
  int status = 0;
  if (process.is_child && waitpid(process.id, &status, 0) == process.id) process.status = status;
  process.state = Process::State::kOver;
  process.ended = now_;
  std::string how = "ends";
  if (process.status) {
    how = WIFEXITED(status) ? "ends with status " + std::to_string(WEXITSTATUS(status))
                            : "is ended by signal " + std::to_string(WTERMSIG(status));
  }
  Note("         " + process.name + ": " + how);
  LetRetry(&process);
}

void Scheduler::TakeIn(Process& process, const Request& request) {
  if (request.call != Call::kBlocked && process.request.call != Call::kSpawned) {
    trace_[process.line] += Outcome(request);
  }
  if (request.call == Call::kOutside) {
    throw Finding{process.name + " writes outside the machine folder: " + request.text};
  }
  const bool goes_on_waiting = process.request.call == Call::kBlocked;
  process.state = Process::State::kReady;
  if (request.call == Call::kSleep || (request.call == Call::kBlocked && !goes_on_waiting)) {
    process.until = request.value < 0 ? -1 : now_ + request.value;
  }
  if (request.call == Call::kSleep) process.state = Process::State::kSleeping;
  if (request.call == Call::kBlocked) {
    if (!goes_on_waiting) trace_[process.line] += "  (waits)";
    process.state = Process::State::kBlocked;
    process.may_retry = false;
  }
  process.request = request;
  if (request.call == Call::kSpawned && request.value > 0)
    AdmitChildOf(process, static_cast<pid_t>(request.value));
}

// Waits until the process asks for its next turn or has ended.
void Scheduler::Hear(Process& process) {
  Request request;
  if (WaitFor(process.socket) < 0) throw Finding{process.name + " computes without end"};
  const ssize_t length = recv(process.socket, &request, sizeof request, 0);
  if (length > 0) {
    TakeIn(process, request);
  } else {
    Over(process);
  }
}

void Scheduler::Grant(Process& process) {
  current_ = &process;
  if (process.request.call == Call::kBlocked) {
    const bool over = process.until >= 0 && process.until <= now_;
    Answer(process, {.action = over ? Action::kGiveUp : Action::kProceed});
    return Hear(process);
  }
  now_ += call_nanoseconds_;
  if (++calls_ > kMostCalls) throw Finding{"the programs go on for ever"};
  if (director_->BeforeCall(process.request, calls_)) LetRetry(&process);
  if (process.state == Process::State::kOver) return;  // BeforeCall may have killed it
  Reply reply = director_->Decide(process, process.request, calls_);
  if (process.state == Process::State::kOver) return;
  if (process.request.call == Call::kStart) {
    reply.process = 1000 + static_cast<std::int32_t>(processes_.size());
    reply.random = random_->Next();
  }
  std::array<char, 48> head{};
  std::snprintf(head.data(), head.size(), "%7llu  ", static_cast<unsigned long long>(calls_));
  process.line = trace_.size();
  Note(head.data() + process.name + ": " + process.request.text);
  if (reply.action == Action::kDie || reply.action == Action::kDieHalfway) {
    process.was_killed = true;
    trace_.back() += reply.action == Action::kDie ? "  ** killed before it" : "  ** killed halfway";
  } else if (reply.action != Action::kProceed) {
    process.was_hit = true;
    trace_.back() += reply.action == Action::kFail ? "  ** fails" : "  ** cut short";
  }
  Answer(process, reply);
  Hear(process);
  LetRetry(&process);
}

// The process that runs next; null if none can run now.
Process* Scheduler::Choose() {
  std::vector<Process*> ready, waiting;
  for (const auto& process : processes_) {
    const bool due = process->until >= 0 && process->until <= now_;
    if (process->state == Process::State::kReady) ready.push_back(process.get());
    if ((process->state == Process::State::kBlocked && (process->may_retry || due)) ||
        (process->state == Process::State::kSleeping && due)) {
      waiting.push_back(process.get());
    }
  }
  if (!waiting.empty() && (ready.empty() || random_->OneIn(16)))
    return waiting[random_->Below(waiting.size())];
  if (ready.empty()) return nullptr;
  const bool stays = current_ != nullptr && current_->state == Process::State::kReady;
  if (stays && (ready.size() == 1 || !random_->OneIn(stickiness_))) return current_;
  return ready[random_->Below(ready.size())];
}

void Scheduler::PassTime() {
  std::int64_t next = director_->NextMoment();
  for (const auto& process : processes_) {
    const bool waits =
        process->state == Process::State::kBlocked || process->state == Process::State::kSleeping;
    if (waits && process->until >= 0)
      next = next < 0 ? process->until : std::min(next, process->until);
  }
  if (next < 0) {
    if (director_->StartNext()) return;
    std::string who;
    for (const auto& process : processes_) {
      if (process->state != Process::State::kOver) who += (who.empty() ? "" : ", ") + process->name;
    }
    throw Finding{"everybody waits, and nobody will come: " + who};
  }
  now_ = std::max(now_, next);
}

void Scheduler::Run() try {
  const auto lives = [](const auto& process) { return process->state != Process::State::kOver; };
  for (;;) {
    if (director_->NextMoment() >= 0 && director_->NextMoment() <= now_) {
      director_->AtMoment();
      LetRetry(nullptr);
    }
    if (std::none_of(processes_.begin(), processes_.end(), lives)) {
      if (director_->StartNext()) continue;
      break;
    }
    if (Process* process = Choose()) {
      Grant(*process);
    } else {
      PassTime();
    }
  }
  while (waitpid(-1, nullptr, WNOHANG) > 0) {  // children whose parent was killed
  }
} catch (...) {
  KillAll();
  throw;
}

void Scheduler::KillAll() {
  for (const auto& process : processes_) {
    if (process->state == Process::State::kOver) continue;
    process->was_killed = true;
    syscall(SYS_pidfd_send_signal, process->handle, SIGKILL, nullptr, 0);
    Over(*process);
  }
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }
}

}  // namespace zenta::simulate
