// Runs the programs of a story one at a time. At every call that their preloaded library reports,
// the scheduler draws which process runs next. The order, the time and the process IDs that the
// programs see follow from the random numbers alone. Each call advances the clock a little; when
// all processes wait, the clock jumps to the next moment at which one of them can run.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/simulate/protocol.h"
#include "tools/simulate/random.h"

namespace zenta::simulate {

// A broken invariant.
struct Finding {
  std::string what;
};

enum class Program { kUpdater, kInstaller };

struct Process {
  enum class State { kReady, kBlocked, kSleeping, kOver };

  std::string name;  // as the trace shows it
  Program program = Program::kUpdater;
  int number = 0;
  int socket = -1;
  int handle = -1;          // pidfd
  int starter_handle = -1;  // pidfd of the shell that started it, unless it is that process (exec)
  pid_t id = -1;
  bool is_child = false;  // of the simulator, which can then wait for its exit status
  State state = State::kReady;
  Request request;          // the call that it waits to make
  std::int64_t until = -1;  // when a sleep or a blocked call is over; -1: never
  bool may_retry = false;   // something happened since its call was blocked
  std::size_t line = 0;     // of the trace; the outcome of its last call is appended there
  bool was_hit = false;     // by a fault
  bool was_killed = false;
  std::optional<int> status;  // as waitpid reports it
  std::int64_t began = 0, ended = 0;
};

// Decides what happens at each call.
class Director {
 public:
  virtual ~Director() = default;
  // Called before call number `call` of this run. True if something in the machine changed.
  virtual bool BeforeCall(const Request& request, std::uint64_t call) = 0;
  virtual Reply Decide(Process& process, const Request& request, std::uint64_t call) = 0;
  // The time, in nanoseconds, at which the director does something by itself; -1 for none.
  [[nodiscard]] virtual std::int64_t NextMoment() const = 0;
  // Called at that time.
  virtual void AtMoment() = 0;
  // Called when every process waits without end or has ended. True if it changed that.
  virtual bool StartNext() = 0;
};

class Scheduler {
 public:
  // `name`: unique on this machine, at most 80 characters.
  explicit Scheduler(std::string name) : name_(std::move(name)) {}
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;
  ~Scheduler();

  // Forgets the last run. `call_nanoseconds` is how long each call takes. On average, one in
  // `stickiness` calls is followed by a draw of the next process; after the others the same process
  // goes on.
  void Begin(Director* director, Random* random, std::int64_t call_nanoseconds,
             std::uint64_t stickiness);
  // Starts a program, which waits for its first turn. Its standard output and error go to `log`, a
  // descriptor.
  void Start(Program program, const std::vector<std::string>& arguments, const std::string& machine,
             int log);
  // Returns when all processes have ended. If they do not, kills them all and throws Finding.
  void Run();
  void KillAll();

  void Note(std::string line) { trace_.push_back(std::move(line)); }
  [[nodiscard]] std::vector<std::string>& trace() { return trace_; }
  [[nodiscard]] const std::vector<std::unique_ptr<Process>>& processes() const {
    return processes_;
  }
  [[nodiscard]] std::int64_t now() const { return now_; }
  [[nodiscard]] std::uint64_t calls() const { return calls_; }
  void JumpClock(std::int64_t nanoseconds) { wall_ += nanoseconds; }

 private:
  void Listen();
  Process* Choose();
  void PassTime();
  void Grant(Process& process);
  void Hear(Process& process);
  void TakeIn(Process& process, const Request& request);
  void AdmitChildOf(Process& parent, pid_t child);
  Process& Admit(pid_t expected);
  void Over(Process& process);
  void LetRetry(const Process* except);
  void Answer(Process& process, Reply reply);

  std::string name_;
  std::string address_;  // of the listening socket
  std::uint64_t runs_ = 0;
  int listener_ = -1;
  Director* director_ = nullptr;
  Random* random_ = nullptr;
  std::int64_t call_nanoseconds_ = 0, now_ = 0, wall_ = 0;
  std::uint64_t stickiness_ = 1, calls_ = 0;
  int updaters_ = 0, installers_ = 0;
  std::vector<std::unique_ptr<Process>> processes_;
  Process* current_ = nullptr;
  std::vector<std::string> trace_;
};

}  // namespace zenta::simulate
