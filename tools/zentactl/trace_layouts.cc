#include "tools/zentactl/trace_layouts.h"

#include <algorithm>

#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {
namespace {

using trace::KeyRect;
using trace::ScreenRect;
using trace::TraceKind;
using trace::TraceRecord;

constexpr std::size_t kMaxName = 30;  // characters

}  // namespace

void TraceLayouts::Add(const TraceRecord& record) {
  switch (record.kind) {
    case TraceKind::kPad:
      return ShowPad(record);
    case TraceKind::kLayout:
      return SetLayout(record.pad_rect, {record.keys.data(), record.keys.size()});
    case TraceKind::kInput:
      if (current_ == kNone && !record.points.is_empty()) SetLayout({}, {});
      return;
    case TraceKind::kOther:
      return;
  }
}

void TraceLayouts::ShowPad(const TraceRecord& record) {
  name_ = Shown(record.pad_name, kMaxName);
  const auto last = last_layouts_.find(name_);
  current_ = last == last_layouts_.end() ? kNone : last->second;
}

void TraceLayouts::SetLayout(const ScreenRect& rect, std::span<const KeyRect> keys) {
  const auto kept = keys.first(std::min(keys.size(), kMaxKeys));
  const auto same = [&](const TraceLayout& layout) {
    return layout.pad == name_ && layout.rect == rect && std::ranges::equal(layout.keys, kept);
  };
  current_ = static_cast<std::size_t>(std::ranges::find_if(layouts_, same) - layouts_.begin());
  if (current_ == layouts_.size()) {
    left_out_.keys += keys.size() - kept.size();
    TraceLayout layout{name_, rect, {kept.begin(), kept.end()}, 0, {}};
    layout.counts.resize(kept.size());
    if (current_ == kMaxLayouts) {
      ++left_out_.layouts;
      beyond_ = std::move(layout);
      last_layouts_.erase(name_);
      return;
    }
    layouts_.push_back(std::move(layout));
  }
  last_layouts_[name_] = current_;
}

void TraceLayouts::Count(std::span<const TouchKeys> touches) {
  if (touches.empty()) return;
  if (current_ == kMaxLayouts) left_out_.touches += touches.size();
  TraceLayout& layout = current_ < layouts_.size() ? layouts_[current_] : beyond_;
  layout.touches += touches.size();
  for (const TouchKeys& touch : touches) {
    if (touch.hit != kNoKey) ++layout.counts[touch.hit].hit;
    if (touch.meant != kNoKey) ++layout.counts[touch.meant].meant;
  }
}

std::string TraceLayouts::Heading(std::size_t index) const {
  const std::string& pad = layouts_[index].pad;
  std::size_t number = 0, all = 0;
  for (std::size_t i = 0; i < layouts_.size(); ++i) {
    if (layouts_[i].pad != pad) continue;
    ++all;
    if (i == index) number = all;
  }
  std::string heading = pad.empty() ? "A pad without a name" : pad;
  if (all > 1) {
    heading += ", layout " + std::to_string(number) + " of " + std::to_string(all);
  }
  return heading;
}

}  // namespace zenta::zentactl
