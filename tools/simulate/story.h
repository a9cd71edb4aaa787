// One story: a machine, the steps that its seed draws, and the invariants checked after each step.
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tools/simulate/disk.h"
#include "tools/simulate/machine.h"
#include "tools/simulate/random.h"
#include "tools/simulate/scheduler.h"
#include "tools/simulate/step.h"

namespace zenta::simulate {

class Story final : public Director {
 public:
  // Borrows its arguments. `releases` are those of MakeReleases.
  Story(const std::vector<Release>& releases, Machine& machine, Scheduler& scheduler,
        std::uint64_t seed);

  // Both throw Finding at the first broken invariant. The steps and calls up to it are in trace().
  // Draws the steps and runs them; `without` as for DrawStep.
  void Tell(const std::set<std::string>& without);
  // Runs one update to release 2, over release 1 or on an empty machine, with these events, and
  // then the clean update.
  void TellPlain(bool over_another, const std::vector<Event>& events);

  [[nodiscard]] const std::vector<std::string>& trace() const { return scheduler_.trace(); }
  // The call at which the last event happened, as an index into trace(); 0 if none did.
  [[nodiscard]] std::size_t event_line() const { return event_line_; }
  // The calls of the step that TellPlain ran, the clean update's not among them.
  [[nodiscard]] const std::vector<Request>& calls() const { return calls_; }
  // Counts over the whole story.
  [[nodiscard]] std::uint64_t call_count() const { return call_count_; }
  [[nodiscard]] std::uint64_t event_count() const { return event_count_; }

  bool BeforeCall(const Request& request, std::uint64_t call) override;
  Reply Decide(Process& process, const Request& request, std::uint64_t call) override;
  [[nodiscard]] std::int64_t NextMoment() const override { return hold_ < 0 ? -1 : hold_until_; }
  void AtMoment() override;
  bool StartNext() override;

 private:
  void Play(Step step);
  void PlayCleanUpdate();
  void Arrive(const Step& step);
  void StartUpdater();
  void StartByHand();
  void Act(Event& event);
  void ActOn(Event& event, Who who);
  bool Hit(Event& event, Process& process, const Request& request, Reply& reply,
           std::uint64_t call);
  void LosePower();
  void Happened(Event& event, const std::string& words);
  // Records which packages and digest files the updater may trust at this moment.
  void Observe();
  void MarkHit(const Request& request);

  void Check(const Snapshot& before, const Snapshot& after) const;
  void CheckEnds() const;
  void CheckBundle(const Snapshot& before, const Snapshot& after) const;
  void CheckPackage(const Snapshot& before, const Snapshot& after) const;
  void CheckCounter(const Snapshot& before, const Snapshot& after) const;
  void CheckQuiet(const Snapshot& before, const Snapshot& after) const;
  [[nodiscard]] bool IsInTime() const;
  [[nodiscard]] bool IsOld(const Snapshot& before) const;
  [[nodiscard]] std::string NameOf(std::uint64_t tree) const;

  const std::vector<Release>& releases_;
  Machine& machine_;
  Scheduler& scheduler_;
  Random random_;
  Disk disk_;
  Step step_;
  std::vector<Request> calls_;
  std::size_t event_line_ = 0;
  std::uint64_t call_count_ = 0, event_count_ = 0;

  // State of the current step.
  std::array<std::uint64_t, kCalls> kind_counts_{};
  std::set<std::size_t> packages_seen_, digests_seen_;  // trusted, as indices of releases_
  bool valid_at_start_ = false;
  bool user_acted_ = false;
  bool is_whole_ = true;                // every file that was put there took its name in one step
  std::optional<std::size_t> brought_;  // the release whose package the user put there last
  std::uint64_t brought_at_ = 0;        // the number of calls made before that
  bool touched_ = false;                // somebody changed the caches folder
  bool counter_hit_ = false;            // a fault hit the counter's file
  bool journal_hit_ = false;            // a fault hit the journal of notifications
  bool faulty_ = false;                 // some fault happened
  bool ran_by_hand_ = false;
  std::uint64_t updaters_ = 0, full_until_ = 0;
  int hold_ = -1;  // descriptor of the folder that another process has locked; -1: none
  std::int64_t hold_until_ = 0;
  int log_ = -1, updater_log_ = -1;
};

}  // namespace zenta::simulate
