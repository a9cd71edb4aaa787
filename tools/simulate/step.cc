#include "tools/simulate/step.h"

#include <cerrno>
#include <map>

namespace zenta::simulate {
namespace {

using Kind = Event::Kind;

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kYear = 365 * 24 * 3600 * kSecond;

struct KindWords {
  Kind kind;
  const char* name;   // for --without
  const char* words;  // for Describe
};
constexpr KindWords kKinds[] = {
    {Kind::kError, "errors", "a call fails"},
    {Kind::kCut, "cuts", "a read or write is cut short"},
    {Kind::kDeath, "deaths", "a process is killed"},
    {Kind::kPower, "power", "the power fails"},
    {Kind::kDiskFull, "disk", "the disk is full for some calls"},
    {Kind::kClock, "clock", "the clock jumps"},
    {Kind::kUpdater, "crowd", "another updater starts"},
    {Kind::kByHand, "by-hand", "somebody installs by hand"},
    {Kind::kHold, "hold", "somebody holds the lock"},
    {Kind::kUser, "user", "the user changes the caches folder"},
    {Kind::kStranger, "stranger", "a stranger tries to change the caches folder"},
};

const KindWords& WordsOf(Kind kind) {
  for (const KindWords& words : kKinds) {
    if (words.kind == kind) return words;
  }
  return kKinds[0];
}

// The number of a call, below one of four bounds: runs of few calls are hit as well as long ones.
std::uint64_t DrawCall(Random& random) {
  return 1 + random.Below(random.OneOf<std::uint64_t>({40, 200, 600, 1200}));
}

// Half of the faults (cuts excepted) hit the n-th call of one kind instead of the n-th call at all.
Event DrawFault(Random& random) {
  Event fault;
  fault.kind = random.OneOf({Kind::kError, Kind::kError, Kind::kError, Kind::kCut, Kind::kDeath,
                             Kind::kDeath, Kind::kPower, Kind::kPower, Kind::kDiskFull});
  fault.at = DrawCall(random);
  fault.amount =
      static_cast<std::int64_t>(1 + random.Below(random.OneOf<std::uint64_t>({5, 50, 500})));
  const Call only =
      random.OneOf({Call::kCreate, Call::kRead, Call::kWrite, Call::kSync, Call::kSyncAll,
                    Call::kRename, Call::kExchange, Call::kUnlink, Call::kMakeFolder,
                    Call::kRemoveFolder, Call::kLock, Call::kSpawn, Call::kClose, Call::kOpen});
  const std::uint64_t number = 1 + random.Below(8);
  if (random.OneIn(2) && (fault.kind != Kind::kCut)) {
    fault.only = only;
    fault.at = number;
  }
  return fault;
}

void Add(Step& step, Random& random, Kind kind, std::int64_t amount = 0) {
  Event event;
  event.kind = kind;
  event.at = DrawCall(random);
  event.amount = amount;
  // Half of them happen at a call where the program's state changes.
  const Call only = random.OneOf({Call::kOpen, Call::kSpawn, Call::kLock, Call::kSpace,
                                  Call::kMakeFolder, Call::kExchange, Call::kUnlink, Call::kWrite});
  const std::uint64_t number = 1 + random.Below(3);
  if (random.OneIn(2)) {
    event.only = only;
    event.at = number;
  }
  event.choice = random.Next();
  step.events.push_back(event);
}

}  // namespace

const std::vector<int>& ErrorsOf(Call call) {
  static const std::map<Call, std::vector<int>> errors = {
      {Call::kOpen, {EACCES, EMFILE, EINTR, EIO, ENOMEM}},
      {Call::kCreate, {ENOSPC, EACCES, EMFILE, EINTR, EROFS}},
      {Call::kRead, {EIO, EINTR}},
      {Call::kWrite, {ENOSPC, EIO, EINTR, EDQUOT}},
      {Call::kTruncate, {EIO, ENOSPC}},
      {Call::kSync, {EIO, ENOSPC}},
      {Call::kSyncAll, {EIO}},
      {Call::kRename, {ENOSPC, EIO, EACCES}},
      {Call::kExchange, {EINVAL, EIO, ENOSPC}},
      {Call::kUnlink, {EACCES, EIO, EBUSY}},
      {Call::kMakeFolder, {ENOSPC, EACCES, EROFS}},
      {Call::kRemoveFolder, {EACCES, EIO, EBUSY}},
      {Call::kLink, {ENOSPC, EACCES}},
      {Call::kAttributes, {EPERM, EIO}},
      {Call::kLook, {EIO, EACCES, ENOMEM}},
      {Call::kList, {EIO}},
      {Call::kSpace, {EIO, EACCES}},
      {Call::kEnter, {EACCES, EIO}},
      {Call::kClose, {EIO, EINTR}},
      {Call::kLock, {EINTR, ENOLCK}},
      {Call::kPipe, {EMFILE}},
      {Call::kSpawn, {EAGAIN, ENOMEM}},
      {Call::kPoll, {EINTR}},
      {Call::kWait, {EINTR}},
  };
  static const std::vector<int> none;
  const auto found = errors.find(call);
  return found == errors.end() ? none : found->second;
}

const std::vector<std::string>& EventNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> list;
    for (const KindWords& words : kKinds) list.emplace_back(words.name);
    list.emplace_back("log");
    return list;
  }();
  return names;
}

Step DrawStep(Random& random, const std::set<std::string>& without) {
  Step step;
  step.caches_mode = random.OneOf({0755U, 0755U, 0755U, 0755U, 0755U, 0755U, 01777U, 0777U});
  step.arrival = random.OneOf({Arrival::kNothing, Arrival::kWrongDigest, Arrival::kCut,
                               Arrival::kFlipped, Arrival::kForged, Arrival::kEmptyDigest,
                               Arrival::kGood, Arrival::kGood, Arrival::kGood, Arrival::kGood,
                               Arrival::kGood, Arrival::kGood, Arrival::kGood, Arrival::kGood});
  step.by_stranger = random.OneIn(8);
  step.release = random.Below(3);
  step.by_hand = random.Below(3);
  step.log_is_closed = random.OneIn(8);
  step.call_nanoseconds =
      random.OneOf<std::int64_t>({10'000, 10'000, 100'000, 1'000'000, 100'000'000});
  step.stickiness = random.OneOf<std::uint64_t>({2, 8, 64});
  step.starts_by_hand = random.OneIn(16);
  for (std::uint64_t faults = random.OneOf<std::uint64_t>({0, 0, 1, 1, 1, 2, 3}); faults > 0;
       --faults) {
    step.events.push_back(DrawFault(random));
  }
  if (random.OneIn(4)) Add(step, random, Kind::kUpdater);
  if (random.OneIn(16)) Add(step, random, Kind::kUpdater);
  if (random.OneIn(8)) Add(step, random, Kind::kByHand);
  if (random.OneIn(8))
    Add(step, random, Kind::kClock,
        random.OneOf({-kYear, -3600 * kSecond, 61 * kSecond, 30 * kYear}));
  if (random.OneIn(8))
    Add(step, random, Kind::kHold,
        random.OneOf({kSecond / 2, 20 * kSecond, 50 * kSecond, 300 * kSecond}));
  for (std::uint64_t acts = random.OneIn(4) ? 1 + random.Below(3) : 0; acts > 0; --acts)
    Add(step, random, Kind::kUser);
  for (std::uint64_t acts = random.OneIn(4) ? 1 + random.Below(3) : 0; acts > 0; --acts)
    Add(step, random, Kind::kStranger);

  std::erase_if(step.events,
                [&](const Event& event) { return without.count(WordsOf(event.kind).name) != 0; });
  if (without.count("by-hand") != 0) step.starts_by_hand = false;
  if (without.count("log") != 0) step.log_is_closed = false;
  if (without.count("stranger") != 0) {
    step.by_stranger = false;
    step.caches_mode = 0755;
  }
  return step;
}

std::string Describe(const Step& step) {
  static const std::map<Arrival, const char*> arrivals = {
      {Arrival::kNothing, "nothing new arrives"},
      {Arrival::kGood, "arrives"},
      {Arrival::kWrongDigest, "arrives with another's digest file"},
      {Arrival::kCut, "arrives cut short"},
      {Arrival::kFlipped, "arrives with one bit changed"},
      {Arrival::kForged, "a forged release arrives"},
      {Arrival::kEmptyDigest, "arrives with an empty digest file"}};
  const bool named = step.arrival != Arrival::kNothing && step.arrival != Arrival::kForged;
  std::string text = named ? "release " + std::to_string(step.release + 1) + " " : "";
  text += arrivals.at(step.arrival);
  if (step.by_stranger && step.arrival != Arrival::kNothing) text += ", put there by a stranger";
  if (step.caches_mode == 0777) text += "; everybody may replace files there";
  if (step.caches_mode == 01777) text += "; everybody may add files there";
  text += step.starts_by_hand ? "; somebody installs by hand" : "; the updater runs";
  if (step.log_is_closed) text += ", its log read by nobody";
  for (const Event& event : step.events) {
    text += "; " + std::string(WordsOf(event.kind).words) + " at ";
    text += event.only ? "one of its calls, number " : "call ";
    text += std::to_string(event.at) + (event.happened ? "" : " (was not reached)");
  }
  return text;
}

}  // namespace zenta::simulate
