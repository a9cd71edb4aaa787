// TraceTotals: counts and times of a whole trace, also of what is not shown.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "engine/trace/trace_record.h"

namespace zenta::zentactl {

struct TraceTotals {
  std::uint64_t kinds[4] = {};    // records of each TraceKind
  std::vector<std::string> pads;  // their names as Shown() makes them, in the order of the trace
  bool more_pads = false;         // there were more than kMaxPads
  std::uint64_t keys = 0, touches = 0, times = 0;
  std::uint32_t first_time =
      std::numeric_limits<std::uint32_t>::max();  // milliseconds, of all times
  std::uint32_t last_time = 0;

  static constexpr std::size_t kMaxPads = 20;

  void Add(const trace::TraceRecord& record);

  [[nodiscard]] std::uint64_t records() const { return kinds[0] + kinds[1] + kinds[2] + kinds[3]; }
  [[nodiscard]] std::uint64_t inputs() const { return kinds[1]; }
  [[nodiscard]] std::uint64_t layouts() const { return kinds[2]; }
  // From the first time to the last, in milliseconds.
  [[nodiscard]] std::uint32_t length() const { return times == 0 ? 0 : last_time - first_time; }

 private:
  void AddPad(const trace::TraceRecord& record);
};

}  // namespace zenta::zentactl
