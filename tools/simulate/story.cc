#include "tools/simulate/story.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "tools/common/failure.h"

namespace zenta::simulate {
namespace {

using Kind = Event::Kind;

constexpr std::int64_t kSecond = 1'000'000'000;
// The most calls between the last look of the updater at the package and its removal.
constexpr std::uint64_t kBlindCalls = 40;
constexpr int kBusy = 75;                            // the installer waited for another one in vain
constexpr std::int64_t kLongestWait = 61 * kSecond;  // for a lock that another process holds

// Whether the event happens at call number `call`, which is the `number`th of its kind.
bool IsDue(const Event& event, const Request& request, std::uint64_t call, std::uint64_t number) {
  return event.only ? *event.only == request.call && event.at <= number : event.at <= call;
}

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::string Damaged(std::string bytes, Arrival arrival, Random& random) {
  if (arrival == Arrival::kCut) bytes.resize(random.Below(bytes.size()));
  if (arrival == Arrival::kFlipped) {
    char& byte = bytes[random.Below(bytes.size())];
    byte = static_cast<char>(byte ^ (1 << random.Below(8)));
  }
  return bytes;
}

}  // namespace

Story::Story(const std::vector<Release>& releases, Machine& machine, Scheduler& scheduler,
             std::uint64_t seed)
    : releases_(releases), machine_(machine), scheduler_(scheduler), random_(seed) {
  scheduler_.trace().clear();
}

// --- Telling -------------------------------------------------------------------------------------

void Story::Tell(const std::set<std::string>& without) {
  const std::uint64_t installed = random_.Below(4);
  machine_.Reset(installed == 0 ? nullptr : &releases_[installed - 1]);
  for (std::uint64_t steps = 1 + random_.Below(4); steps > 0; --steps)
    Play(DrawStep(random_, without));
  PlayCleanUpdate();
}

void Story::TellPlain(bool over_another, const std::vector<Event>& events) {
  machine_.Reset(over_another ? &releases_[0] : nullptr);
  Step step;
  step.arrival = Arrival::kGood;
  step.release = 1;
  step.events = events;
  Play(step);
  const std::vector<Request> calls = calls_;
  PlayCleanUpdate();
  calls_ = calls;
}

void Story::Play(Step step) {
  step_ = std::move(step);
  kind_counts_ = {};
  packages_seen_.clear();
  digests_seen_.clear();
  calls_.clear();
  touched_ = user_acted_ = counter_hit_ = journal_hit_ = faulty_ = ran_by_hand_ = false;
  brought_.reset();
  is_whole_ = true;
  updaters_ = full_until_ = 0;
  disk_.Forget();

  scheduler_.Begin(this, &random_, step_.call_nanoseconds, step_.stickiness);
  machine_.SetCachesMode(step_.caches_mode);
  const std::size_t title = scheduler_.trace().size();
  scheduler_.Note("");
  Arrive(step_);
  WriteFile(machine_.by_hand(), releases_[step_.by_hand].package);
  Observe();
  valid_at_start_ = std::any_of(packages_seen_.begin(), packages_seen_.end(), [&](std::size_t i) {
    return releases_[i].is_signed && digests_seen_.count(i) != 0;
  });
  const Snapshot before = machine_.Look();
  const std::uint64_t bystanders = machine_.Bystanders();

  log_ = open(machine_.log().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  int ends[2] = {-1, -1};
  if (step_.log_is_closed && pipe2(ends, O_CLOEXEC) == 0) close(ends[0]);
  updater_log_ = step_.log_is_closed ? ends[1] : log_;
  std::optional<Finding> finding;
  try {
    step_.starts_by_hand ? StartByHand() : StartUpdater();
    scheduler_.Run();
  } catch (const Finding& found) {
    finding = found;
  }
  if (updater_log_ != log_) close(updater_log_);
  close(log_);
  if (hold_ >= 0) close(std::exchange(hold_, -1));
  call_count_ += scheduler_.calls();
  scheduler_.trace()[title] = "step: " + Describe(step_);
  if (finding) throw *finding;
  Check(before, machine_.Look());
  if (machine_.Bystanders() != bystanders) throw Finding{"something outside was touched"};
}

// Whatever happened before, an update that nothing disturbs has to succeed.
void Story::PlayCleanUpdate() {
  for (const std::string& path : {machine_.package(), machine_.digest()})
    std::filesystem::remove_all(path);
  Step clean;
  clean.arrival = Arrival::kGood;
  clean.release = random_.Below(3);
  Play(clean);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(machine_.root())) {
    if (entry.path().filename() != "com.apple.HIToolbox.plist") continue;
    const std::string sources = ReadFile(entry.path());
    const std::size_t selected = sources.find("AppleSelectedInputSources");
    if (selected != std::string::npos &&
        sources.find("com.zenta.inputmethod.pinyin", selected) != std::string::npos)
      return;
  }
  throw Finding{"after a clean update the input source is not selected"};
}

void Story::Arrive(const Step& step) {
  if (step.arrival == Arrival::kNothing) return;
  const Release& release =
      step.arrival == Arrival::kForged ? releases_.back() : releases_[step.release];
  std::string digest = release.digest;
  if (step.arrival == Arrival::kEmptyDigest) digest.clear();
  if (step.arrival == Arrival::kWrongDigest) digest = releases_[(step.release + 1) % 3].digest;
  const Who who = step.by_stranger ? Who::kStranger : Who::kUser;
  const bool package =
      As(who, PutInPlace, machine_.package(), Damaged(release.package, step.arrival, random_));
  const bool text = As(who, PutInPlace, machine_.digest(), digest);
  if (!package || !text) scheduler_.Note("         (not all of it could be put there)");
}

void Story::StartUpdater() {
  ++updaters_;
  scheduler_.Start(Program::kUpdater, {machine_.updater()}, machine_.root(), updater_log_);
}

void Story::StartByHand() {
  ran_by_hand_ = true;
  scheduler_.Start(Program::kInstaller,
                   {machine_.installer(), "-pkg", Machine::kByHand, "-target", "/"},
                   machine_.root(), log_);
}

bool Story::StartNext() {
  for (Event& event : step_.events) {
    if (event.happened || (event.kind != Kind::kUpdater && event.kind != Kind::kByHand)) continue;
    Act(event);
    return true;
  }
  return false;
}

// --- What happens --------------------------------------------------------------------------------

void Story::Happened(Event& event, const std::string& words) {
  event.happened = true;
  ++event_count_;
  event_line_ = scheduler_.trace().size();
  if (!words.empty()) scheduler_.Note("         " + words);
}

bool Story::BeforeCall(const Request& request, std::uint64_t call) {
  const std::uint64_t number = ++kind_counts_[static_cast<std::size_t>(request.call)];
  bool changed = false;
  for (Event& event : step_.events) {
    const bool fault = event.kind <= Kind::kDiskFull;
    if (fault || event.happened || !IsDue(event, request, call, number)) continue;
    Act(event);
    changed = true;
  }
  return changed;
}

void Story::Act(Event& event) {
  switch (event.kind) {
    case Kind::kClock:
      scheduler_.JumpClock(event.amount);
      return Happened(event, "the clock jumps by " + std::to_string(event.amount / kSecond) + " s");
    case Kind::kUpdater:
      Happened(event, "another updater starts");
      return StartUpdater();
    case Kind::kByHand:
      Happened(event, "somebody installs " + releases_[step_.by_hand].name + " by hand");
      return StartByHand();
    case Kind::kHold:
      // Takes the installer's lock, or the updaters'.
      hold_ = open((machine_.root() + (event.choice % 2 == 0 ? "" : "/Library/Caches")).c_str(),
                   O_RDONLY | O_DIRECTORY | O_CLOEXEC);
      hold_until_ = scheduler_.now() + event.amount;
      if (flock(hold_, LOCK_EX | LOCK_NB) != 0) close(std::exchange(hold_, -1));
      return Happened(event, hold_ < 0 ? "somebody wants the lock and does not get it"
                                       : "somebody takes the lock for " +
                                             std::to_string(event.amount / kSecond) + " s");
    case Kind::kUser:
      return ActOn(event, Who::kUser);
    default:
      return ActOn(event, Who::kStranger);
  }
}

void Story::AtMoment() {
  close(std::exchange(hold_, -1));
  scheduler_.Note("         the lock is released");
}

// The user puts good or damaged releases there. A stranger puts forged ones there, or genuine ones
// with their own digest files, as far as the system permits.
void Story::ActOn(Event& event, Who who) {
  const bool user = who == Who::kUser;
  const std::size_t number = event.choice / 64 % 3;
  const Release& release =
      user || event.choice / 256 % 2 == 0 ? releases_[number] : releases_.back();
  struct Deed {
    const char* words;
    bool (*action)(const std::string&, const std::string&);
    bool on_package;
    std::string bytes;
  };
  const std::string half = release.package.substr(0, release.package.size() / 2);
  const std::vector<Deed> deeds = {
      {"puts the package of", PutInPlace, true, release.package},
      {"puts the digest file of", PutInPlace, false, release.digest},
      {"writes over the package with that of", WriteOver, true, release.package},
      {"writes over the package with the first half of", WriteOver, true, half},
      {"adds to the package; not of", Append, true, "more"},
      {"removes the package; not of", Remove, true, ""},
      {"removes the digest file; not of", Remove, false, ""},
      {"puts a link to another file for the package; not of", PutLink, true, "../../etc/passwd"},
      {"puts a pipe for the package; not of", PutPipe, true, ""},
      {"puts a folder for the package; not of", PutFolder, true, ""},
      {"writes over the digest file with that of", WriteOver, false, release.digest},
  };
  const Deed& deed = deeds[event.choice / 1024 % 2 == 0 ? 0 : event.choice % 64 % deeds.size()];
  // If the user removes the package between check and use, anybody can put another one there
  // (docs/security.md), so a stranger does nothing after the user.
  if (!user && user_acted_) return Happened(event, "a stranger comes too late");
  const bool done =
      As(who, deed.action, deed.on_package ? machine_.package() : machine_.digest(), deed.bytes);
  touched_ = touched_ || done;
  user_acted_ = user_acted_ || (user && done);
  is_whole_ = is_whole_ && (!done || (user && deed.action == PutInPlace));
  if (done && deed.on_package) brought_.reset();
  if (user && done && &deed == &deeds.front()) brought_ = number;
  brought_at_ = scheduler_.calls();
  Observe();
  Happened(event, std::string(user ? "the user " : "a stranger ") + deed.words + " " +
                      release.name + (done ? "" : ": refused"));
}

void Story::Observe() {
  const bool package = machine_.IsTrusted(machine_.package()),
             digest = machine_.IsTrusted(machine_.digest());
  const std::string package_bytes = package ? ReadFile(machine_.package()) : "";
  const std::string digest_bytes = digest ? ReadFile(machine_.digest()) : "";
  for (std::size_t i = 0; i < releases_.size(); ++i) {
    if (package && package_bytes == releases_[i].package) packages_seen_.insert(i);
    if (digest && digest_bytes == releases_[i].digest) digests_seen_.insert(i);
  }
}

void Story::MarkHit(const Request& request) {
  faulty_ = true;
  const std::string text = request.text;
  counter_hit_ = counter_hit_ || Contains(text, "/Users");
  journal_hit_ = journal_hit_ || Contains(text, "/var");
}

void Story::LosePower() {
  faulty_ = counter_hit_ = journal_hit_ = true;
  scheduler_.KillAll();
  const int lost = disk_.LosePower(machine_.root(), random_);
  scheduler_.Note("         files cut because they were not on disk: " + std::to_string(lost));
}

// Applies the event, which is due, to the call. False if it does not apply to calls of this kind.
bool Story::Hit(Event& event, Process& process, const Request& request, Reply& reply,
                std::uint64_t call) {
  const bool transfers =
      (request.call == Call::kRead || request.call == Call::kWrite) && request.value > 1;
  const auto part = [&] {
    return static_cast<std::int64_t>(random_.Below(static_cast<std::uint64_t>(request.value)));
  };
  switch (event.kind) {
    case Kind::kError: {
      const std::vector<int>& errors = ErrorsOf(request.call);
      if (errors.empty()) return false;
      reply.action = Action::kFail;
      reply.error = event.error != 0 ? event.error : errors[random_.Below(errors.size())];
      break;
    }
    case Kind::kCut:
      if (!transfers) return false;
      reply.action = Action::kShorten;
      reply.limit = 1 + part();
      break;
    case Kind::kDeath:
      reply.action = transfers && random_.OneIn(2) ? Action::kDieHalfway : Action::kDie;
      if (reply.action == Action::kDieHalfway) reply.limit = part();
      break;
    case Kind::kPower:
      Happened(event, "the power fails while " + process.name + " calls " + request.text);
      LosePower();
      return true;
    case Kind::kDiskFull:
      full_until_ = call + static_cast<std::uint64_t>(event.amount);
      Happened(event, "the disk is full for " + std::to_string(event.amount) + " calls");
      return true;
    default:
      return false;
  }
  Happened(event, "");
  MarkHit(request);
  return true;
}

Reply Story::Decide(Process& process, const Request& request, std::uint64_t call) {
  const std::uint64_t number = kind_counts_[static_cast<std::size_t>(request.call)];
  calls_.push_back(request);
  // The updater cannot notice a package that arrives between its last look and the removal.
  const bool removes = request.call == Call::kUnlink && Contains(request.text, "/update.pkg");
  if (removes && call < brought_at_ + kBlindCalls) brought_.reset();
  Reply reply;
  for (Event& event : step_.events) {
    if (event.happened || event.kind > Kind::kDiskFull) continue;
    if (!IsDue(event, request, call, number) || !Hit(event, process, request, reply, call))
      continue;
    if (process.state == Process::State::kOver || reply.action != Action::kProceed) break;
  }
  const bool full = call <= full_until_;
  if (request.call == Call::kSpace) reply.limit = full ? 0 : std::int64_t{1} << 30;
  if (full && reply.action == Action::kProceed &&
      (request.call == Call::kWrite || request.call == Call::kMakeFolder ||
       request.call == Call::kLink)) {
    reply.action = Action::kFail;
    reply.error = ENOSPC;
    MarkHit(request);
  }
  if (full && request.call == Call::kSpace) faulty_ = true;
  if (reply.action != Action::kFail && reply.action != Action::kDie) disk_.Saw(request);
  return reply;
}

// --- What has to hold ----------------------------------------------------------------------------

std::string Story::NameOf(std::uint64_t tree) const {
  if (tree == 0) return "nothing";
  for (const Release& release : releases_) {
    if (release.tree == tree) return release.name;
  }
  return "something that is no release";
}

void Story::Check(const Snapshot& before, const Snapshot& after) const {
  CheckEnds();
  CheckBundle(before, after);
  CheckPackage(before, after);
  CheckCounter(before, after);
  if (faulty_ || !IsInTime()) return;
  if (is_whole_ && (after.counter != before.counter || after.failures != before.failures)) {
    throw Finding{"a failure was counted, and nothing had failed"};
  }
  if (!touched_) CheckQuiet(before, after);
}

void Story::CheckEnds() const {
  std::int64_t longest = kLongestWait * static_cast<std::int64_t>(scheduler_.processes().size());
  longest += step_.call_nanoseconds * static_cast<std::int64_t>(scheduler_.calls());
  for (const auto& process : scheduler_.processes()) {
    if (process->ended - process->began > longest) throw Finding{process->name + " took too long"};
    if (!process->status || process->was_killed) continue;
    if (!WIFEXITED(*process->status)) {
      throw Finding{process->name + " was ended by signal " +
                    std::to_string(WTERMSIG(*process->status))};
    }
    const int status = WEXITSTATUS(*process->status);
    const bool may = process->program == Program::kInstaller && (status == 1 || status == kBusy);
    if (status != 0 && !may) throw Finding{process->name + " did not end with status 0"};
  }
}

void Story::CheckBundle(const Snapshot& before, const Snapshot& after) const {
  if (after.bundle == before.bundle) return;
  const std::string found = NameOf(after.bundle);
  if (after.bundle == 0) throw Finding{"the input method is gone; it was " + NameOf(before.bundle)};
  const bool valid = std::any_of(packages_seen_.begin(), packages_seen_.end(), [&](std::size_t i) {
    return releases_[i].is_signed && digests_seen_.count(i) != 0;
  });
  for (std::size_t i = 0; i < releases_.size(); ++i) {
    if (releases_[i].tree != after.bundle) continue;
    if (ran_by_hand_ && i == step_.by_hand) return;
    if (releases_[i].is_signed && valid && packages_seen_.count(i) != 0) return;
  }
  throw Finding{"installed is " + found +
                ", which was not there with a good signature from the user; before: " +
                NameOf(before.bundle)};
}

// Whether the package may be one that the updater tried before and could not remove. One that
// arrived in this step, put there by the user, is certainly not.
bool Story::IsOld(const Snapshot& before) const {
  return before.has_leftover && (step_.arrival == Arrival::kNothing || step_.by_stranger);
}

// If somebody changed the caches folder during the step, only the last package that the user put
// there is checked: the others may have been removed or damaged by hand.
void Story::CheckPackage(const Snapshot& before, const Snapshot& after) const {
  const bool counted = after.counter != before.counter || after.failures != before.failures;
  if (brought_ && !after.has_package && !counted && !ran_by_hand_ &&
      after.bundle != releases_[*brought_].tree) {
    throw Finding{"a newer download is lost, and no failure is counted"};
  }
  if (touched_ || !before.has_package) return;
  if (after.has_package) {
    if (after.package != before.package) throw Finding{"the package was changed"};
    return;
  }
  if (!valid_at_start_) throw Finding{"a package that cannot have been verified was removed"};
  const bool installed =
      after.bundle == releases_[*packages_seen_.begin()].tree || ran_by_hand_ || IsOld(before);
  if (!installed && !counted) throw Finding{"the download is lost, and no failure is counted"};
}

// Each updater counts at most one failure. The counter is none, 1 or 2; the third failure posts the
// notification and removes it.
void Story::CheckCounter(const Snapshot& before, const Snapshot& after) const {
  if (!after.state_is_whole) throw Finding{"a file of the user's preferences is half written"};
  if (after.counter && (*after.counter < 1 || *after.counter > 2))
    throw Finding{"the counter is out of its range"};
  if (after.runs > before.runs + updaters_)
    throw Finding{"more runs are announced than there were"};
  if (after.failures > before.failures + updaters_)
    throw Finding{"more failures are announced than there were"};
  if (journal_hit_ || counter_hit_) return;
  const bool killed = std::any_of(scheduler_.processes().begin(), scheduler_.processes().end(),
                                  [](const auto& process) { return process->was_killed; });
  std::int64_t counter = before.counter.value_or(0);
  std::uint64_t failures = before.failures;
  for (std::uint64_t counted = 0;; ++counted) {
    // A process that was killed may have posted the notification and not removed the counter.
    const bool cleared = counter != 2 || after.failures != failures + 1;
    if (killed && !cleared) return;
    if (counter == after.counter.value_or(0) && failures == after.failures) return;
    if (counted == updaters_) break;
    failures += counter == 2 ? 1 : 0;
    counter = counter == 2 ? 0 : counter + 1;
  }
  throw Finding{"the counter of failures and its notification do not fit together"};
}

// Whether every process can get its locks in time: it waits a minute for a lock and no longer.
bool Story::IsInTime() const {
  const bool slow = step_.call_nanoseconds > kSecond / 100 && scheduler_.processes().size() > 2;
  const bool held = std::any_of(step_.events.begin(), step_.events.end(), [](const Event& event) {
    return event.kind == Kind::kHold && event.happened && event.amount > 50 * kSecond;
  });
  return !slow && !held;
}

// For steps without faults (a lock that is held for less than a minute, a closed log and a jumping
// clock are no faults): everything has to succeed.
void Story::CheckQuiet(const Snapshot& before, const Snapshot& after) const {
  if (after.runs != before.runs + updaters_) throw Finding{"a run was not announced"};
  for (const auto& process : scheduler_.processes()) {
    if (process->status && *process->status != 0)
      throw Finding{process->name + " failed, and nothing was wrong"};
  }
  const bool by_hand = ran_by_hand_ && after.bundle == releases_[step_.by_hand].tree;
  if (!valid_at_start_ || updaters_ == 0) {
    if (after.has_package != before.has_package)
      throw Finding{"a package that is not to be installed was removed"};
    if (!by_hand && after.bundle != before.bundle)
      throw Finding{"something was installed that was not to be"};
    return;
  }
  const Release& release = releases_[*packages_seen_.begin()];
  if (after.bundle != release.tree && !by_hand && !IsOld(before))
    throw Finding{release.name + " was not installed"};
  if (after.has_package) throw Finding{"the package was left where it was"};
  if (after.has_staging) throw Finding{"an installation left something behind"};
}

}  // namespace zenta::simulate
