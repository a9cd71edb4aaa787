// zenta-simulate: runs the real programs through stories, each drawn from one number, and checks
// after each step what docs/security.md promises. docs/simulation.md explains the output.

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>

#include "tools/common/failure.h"
#include "tools/simulate/releases.h"
#include "tools/simulate/story.h"

namespace {

namespace fs = std::filesystem;
using namespace zenta::simulate;
using zenta::tools::SystemFailure;

constexpr char kUsage[] =
    R"(usage: zenta-simulate [OPTION ...] SEEDS [FIRST]
       zenta-simulate [OPTION ...] --each-call

Tells one story for each of SEEDS numbers from FIRST (1) on, and before them those of former findings.

  --each-call      a plain update, and in turn each of its calls fails in each way that it can
  --jobs N         so many stories at a time (the number of processors)
  --updater PATH   another zenta-update than this build's, of the same name
  --installer PATH another host installer; one of another name takes no turns
  --known FILE     former findings: a number a line, # begins a comment
  --trace          print each story with all of its calls
  --without KIND   leave out a kind of event (may come several times): )";

struct Options {
  std::uint64_t seeds = 0, first = 1;
  bool each_call = false, trace = false;
  long jobs = std::max(1L, sysconf(_SC_NPROCESSORS_ONLN));
  std::string known, updater = ZENTA_SIMULATE_UPDATER, installer = ZENTA_SIMULATE_INSTALLER;
  std::set<std::string> without;
};

// What a worker process reports to its parent.
struct Totals {
  std::uint64_t stories = 0, calls = 0, events = 0, findings = 0;
};

constexpr std::uint64_t kMostFindings = 5;  // after so many, a worker stops

[[noreturn]] void Usage(int status) {
  (status == 0 ? std::cout : std::cerr) << kUsage;
  for (const std::string& name : EventNames()) (status == 0 ? std::cout : std::cerr) << " " << name;
  (status == 0 ? std::cout : std::cerr) << std::endl;
  std::exit(status);
}

std::uint64_t Number(const std::string& text) {
  std::size_t read = 0;
  try {
    const std::uint64_t number = std::stoull(text, &read);
    if (read == text.size() && text.front() != '-') return number;
  } catch (const std::exception&) {
  }
  std::cerr << "zenta-simulate: no number: " << text << "\n";
  Usage(2);
}

Options Parse(const std::vector<std::string>& words) {
  Options options;
  std::vector<std::string> numbers;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    const auto value = [&] {
      if (i + 1 == words.size()) Usage(2);
      return words[++i];
    };
    if (word == "--help" || word == "-h") Usage(0);
    if (word == "--each-call") {
      options.each_call = true;
    } else if (word == "--trace") {
      options.trace = true;
    } else if (word == "--jobs") {
      options.jobs = static_cast<long>(Number(value()));
    } else if (word == "--updater") {
      options.updater = value();
    } else if (word == "--installer") {
      options.installer = value();
    } else if (word == "--known") {
      options.known = value();
    } else if (word == "--without") {
      options.without.insert(value());
      const auto& names = EventNames();
      if (std::find(names.begin(), names.end(), words[i]) == names.end()) Usage(2);
    } else {
      numbers.push_back(word);
    }
  }
  if (numbers.size() > 2 || (numbers.empty() != options.each_call) || options.jobs < 1) Usage(2);
  if (!numbers.empty()) options.seeds = Number(numbers[0]);
  if (numbers.size() == 2) options.first = Number(numbers[1]);
  return options;
}

std::vector<std::uint64_t> SeedsOf(const Options& options) {
  std::vector<std::uint64_t> seeds;
  std::ifstream known(options.known);
  for (std::string line; std::getline(known, line);) {
    line = line.substr(0, line.find_first_of(" #"));
    if (!line.empty()) seeds.push_back(Number(line));
  }
  for (std::uint64_t i = 0; i < options.seeds; ++i) seeds.push_back(options.first + i);
  return seeds;
}

// A story as text: its steps, and of its calls those around the last event and at the end, or all
// of them if `whole`.
std::string Told(const Story& story, bool whole) {
  const std::vector<std::string>& trace = story.trace();
  const std::size_t event = story.event_line();
  std::string text;
  bool gap = false;
  int steps = 0;
  for (std::size_t i = 0; i < trace.size(); ++i) {
    const bool title = trace[i].starts_with("step: ");
    const bool near = (event != 0 && i + 12 > event && i < event + 16) || i + 24 > trace.size();
    if (!title && !whole && !near) {
      if (!gap) text += "         ...\n";
      gap = true;
      continue;
    }
    gap = false;
    text += (title ? "  " + std::to_string(++steps) + ". " + trace[i].substr(6) : trace[i]) + "\n";
  }
  return text;
}

// The working folder, in memory (/dev/shm) if possible: nothing has to reach a disk.
class WorkFolder {
 public:
  WorkFolder() {
    const char* temporary = std::getenv("TMPDIR");
    std::string name = fs::is_directory("/dev/shm") && access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                       : temporary != nullptr                                        ? temporary
                                                                                     : "/tmp";
    name += "/zenta-simulate.XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw SystemFailure("no working folder");
    path_ = fs::canonical(name).string();
    fs::permissions(path_, fs::perms(0755));  // other users of the stories need access
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;
  ~WorkFolder() {
    std::error_code ignored;
    if (getpid() == owner_) fs::remove_all(path_, ignored);
  }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
  pid_t owner_ = getpid();
};

// Everything that one worker needs.
struct Worker {
  Worker(const Options& given, const std::vector<Release>& made, const std::string& folder,
         long number)
      : options(given),
        releases(made),
        machine(folder, given.updater, given.installer),
        scheduler("zenta-simulate." + std::to_string(getppid()) + "." + std::to_string(number)) {}

  // Runs one story by `tell`. `title`, and `again`, the command that repeats it, are printed with a
  // finding. False after kMostFindings.
  bool Try(std::uint64_t seed, const std::string& title, const std::string& again,
           const std::function<void(Story&)>& tell) {
    Story story(releases, machine, scheduler, seed);
    std::string finding;
    try {
      tell(story);
    } catch (const Finding& found) {
      finding = found.what;
    } catch (const std::exception& failure) {
      scheduler.KillAll();
      finding = std::string("the simulator cannot go on: ") + failure.what();
    }
    ++totals.stories;
    totals.calls += story.call_count();
    totals.events += story.event_count();
    std::string text;
    if (options.trace || !finding.empty()) text = title + "\n" + Told(story, options.trace);
    if (!finding.empty()) {
      ++totals.findings;
      text += "  broken: " + finding + "\n  again:  " + again + "\n";
    }
    if (!text.empty() && write(STDOUT_FILENO, text.data(), text.size()) < 0) return false;
    return totals.findings < kMostFindings;
  }

  const Options& options;
  const std::vector<Release>& releases;
  Machine machine;
  Scheduler scheduler;
  Totals totals;
};

void TellSeeds(Worker& worker, long number) {
  const std::vector<std::uint64_t> seeds = SeedsOf(worker.options);
  for (std::size_t i = static_cast<std::size_t>(number); i < seeds.size();
       i += static_cast<std::size_t>(worker.options.jobs)) {
    const std::string text = std::to_string(seeds[i]);
    const auto tell = [&](Story& story) { story.Tell(worker.options.without); };
    if (!worker.Try(seeds[i], "seed " + text, "./dev simulate 1 " + text, tell)) return;
  }
}

// Every fault that can hit this call.
std::vector<Event> FaultsOf(const Request& call, std::uint64_t number) {
  std::vector<Event> faults;
  const auto add = [&](Event::Kind kind, int error) {
    Event event;
    event.kind = kind;
    event.at = number;
    event.error = error;
    event.amount = 1 << 20;
    faults.push_back(event);
  };
  for (const int error : ErrorsOf(call.call)) add(Event::Kind::kError, error);
  if ((call.call == Call::kRead || call.call == Call::kWrite) && call.value > 1)
    add(Event::Kind::kCut, 0);
  if (call.call == Call::kWrite || call.call == Call::kMakeFolder) add(Event::Kind::kDiskFull, 0);
  add(Event::Kind::kDeath, 0);
  add(Event::Kind::kPower, 0);
  return faults;
}

// All these stories have the same seed, so that call number k is the same call in each, up to the
// fault.
void TellEachCall(Worker& worker, long number) {
  std::uint64_t story_number = 0;
  for (const bool over_another : {false, true}) {
    Story plain(worker.releases, worker.machine, worker.scheduler, 1);
    plain.TellPlain(over_another, {});
    const std::vector<Request> calls = plain.calls();
    for (std::size_t i = 0; i < calls.size(); ++i) {
      for (const Event& fault : FaultsOf(calls[i], i + 1)) {
        if (story_number++ % static_cast<std::uint64_t>(worker.options.jobs) !=
            static_cast<std::uint64_t>(number))
          continue;
        const std::string title = std::string(over_another ? "an update" : "a first installation") +
                                  ", call " + std::to_string(i + 1) + ", " + calls[i].text;
        const auto tell = [&](Story& story) { story.TellPlain(over_another, {fault}); };
        if (!worker.Try(1, title, "./dev simulate --each-call", tell)) return;
      }
    }
  }
}

// Runs in a worker process. Writes the totals to the descriptor `results`.
int Work(const Options& options, const std::vector<Release>& releases, const std::string& folder,
         long number, int results) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);  // becomes the parent of installers whose updater was killed
  fs::create_directory(folder);
  Worker worker(options, releases, folder, number);
  (options.each_call ? TellEachCall : TellSeeds)(worker, number);
  return write(results, &worker.totals, sizeof worker.totals) == sizeof worker.totals ? 0 : 1;
}

int Run(const Options& options) {
  umask(022);
  const WorkFolder folder;
  const std::vector<Release> releases = MakeReleases(folder.path());
  int results[2];
  if (pipe2(results, O_CLOEXEC) != 0) throw SystemFailure("no pipe");
  std::vector<pid_t> workers;
  for (long i = 0; i < options.jobs; ++i) {
    const pid_t worker = fork();
    if (worker < 0) throw SystemFailure("no worker");
    if (worker == 0) {
      int status = 1;
      try {
        status =
            Work(options, releases, folder.path() + "/worker" + std::to_string(i), i, results[1]);
      } catch (const Finding& finding) {
        std::cerr << "zenta-simulate: " << finding.what << std::endl;
      } catch (const std::exception& failure) {
        std::cerr << "zenta-simulate: " << failure.what() << std::endl;
      }
      std::_Exit(status);
    }
    workers.push_back(worker);
  }
  close(results[1]);
  bool failed = false;
  for (const pid_t worker : workers) {
    int status = 0;
    waitpid(worker, &status, 0);
    failed = failed || status != 0;
  }
  Totals all, part;
  while (read(results[0], &part, sizeof part) == static_cast<ssize_t>(sizeof part)) {
    all.stories += part.stories;
    all.calls += part.calls;
    all.events += part.events;
    all.findings += part.findings;
  }
  std::cout << all.stories << " stories, " << all.calls << " calls, " << all.events << " events, "
            << all.findings << " broken" << std::endl;
  return failed || all.findings > 0 ? 1 : 0;
}

}  // namespace

int main(int count, char** values) try {
  return Run(Parse(std::vector<std::string>(values + 1, values + count)));
} catch (const std::exception& failure) {
  std::cerr << "zenta-simulate: " << failure.what() << std::endl;
  return 2;
}
