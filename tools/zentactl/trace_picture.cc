#include "tools/zentactl/trace_picture.h"

#include <algorithm>

#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {
namespace {

using trace::TraceRecord;

constexpr std::size_t kMaxText = 200;  // characters

std::uint32_t Spread(std::span<const std::uint32_t> times) {
  if (times.empty()) return 0;
  const auto [first, last] = std::ranges::minmax(times);
  return last - first;
}

}  // namespace

void TracePicture::Add(const TraceRecord& record, std::span<const TouchKeys> keys,
                       const TraceLayouts& layouts) {
  if (added_++ % step_ != 0) return;
  PictureInput input{added_,
                     layouts.current_index(),
                     Shown(record.expected, kMaxText),
                     Shown(record.code, kMaxText),
                     record.points.size(),
                     Spread({record.times.data(), record.times.size()}),
                     {}};
  const std::size_t each = keys.size() / kMaxTouches + 1;  // one in this many touches is kept
  if (input.layout < layouts.kept().size()) {
    for (std::size_t i = 0; i < keys.size(); i += each) {
      std::optional<std::uint32_t> time;
      const auto at = static_cast<std::uint32_t>(i);
      if (at < record.times.size()) time = record.times[at];
      input.kept.push_back({record.points[at], time, keys[i]});
    }
  }
  touches_ += input.kept.size();
  inputs_.push_back(std::move(input));
  while ((touches_ > kMaxTouches || inputs_.size() > kMaxInputs) && inputs_.size() > 1) Thin();
}

// Keeps those inputs that would have been kept with twice the step.
void TracePicture::Thin() {
  step_ *= 2;
  std::erase_if(inputs_,
                [this](const PictureInput& input) { return (input.number - 1) % step_ != 0; });
  touches_ = 0;
  for (const PictureInput& input : inputs_) touches_ += input.kept.size();
}

}  // namespace zenta::zentactl
