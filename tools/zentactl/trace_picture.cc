#include "tools/zentactl/trace_picture.h"

#include <algorithm>
#include <span>

#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {
namespace {

using records::List;
using trace::KeyRect;
using trace::ScreenRect;
using trace::TraceKind;
using trace::TraceRecord;

// Characters that there is room for in a picture.
constexpr std::size_t kMaxName = 30, kMaxText = 24, kMaxCode = 36;

template <class T>
std::span<const T> SpanOf(List<T> list) {
  return {list.data(), list.size()};
}

std::uint32_t Spread(std::span<const std::uint32_t> times) {
  if (times.empty()) return 0;
  const auto [first, last] = std::ranges::minmax(times);
  return last - first;
}

}  // namespace

void TracePicture::Add(const TraceRecord& record) {
  switch (record.kind) {
    case TraceKind::kPad:
      return ShowPad(record);
    case TraceKind::kLayout:
      return SetLayout(record.pad_rect, record.keys);
    case TraceKind::kInput:
      return AddInput(record);
    case TraceKind::kOther:
      return;
  }
}

void TracePicture::ShowPad(const TraceRecord& record) {
  name_ = Shown(record.pad_name, kMaxName);
  const auto last = last_layouts_.find(name_);
  current_ = last == last_layouts_.end() ? kNone : last->second;
}

void TracePicture::SetLayout(const ScreenRect& rect, const List<KeyRect>& keys) {
  const auto kept = SpanOf(keys).first(std::min<std::size_t>(keys.size(), kMaxKeys));
  const auto same = [&](const PicturePad& pad) {
    return pad.name == name_ && pad.rect == rect && std::ranges::equal(pad.keys, kept);
  };
  current_ = static_cast<std::size_t>(std::ranges::find_if(pads_, same) - pads_.begin());
  if (current_ == kMaxPads) {
    ++left_out_.layouts;
    current_ = kLeftOut;
    last_layouts_.erase(name_);
    return;
  }
  if (current_ == pads_.size()) {
    left_out_.keys += keys.size() - kept.size();
    pads_.push_back({name_, rect, {kept.begin(), kept.end()}, {}});
  }
  last_layouts_[name_] = current_;
}

void TracePicture::AddInput(const TraceRecord& record) {
  ++input_;
  if (inputs_.size() < kMaxInputs) {
    inputs_.push_back({Shown(record.expected, kMaxText), Shown(record.code, kMaxCode),
                       record.points.size(), Spread(SpanOf(record.times))});
  } else {
    ++left_out_.inputs;
  }
  if (!record.points.is_empty()) AddTouches(record);
}

void TracePicture::AddTouches(const TraceRecord& record) {
  if (current_ == kNone) SetLayout({}, {});
  const std::size_t room = current_ == kLeftOut ? 0 : kMaxTouches - touches_;
  const auto count = std::min<std::size_t>(record.points.size(), room);
  left_out_.touches += record.points.size() - count;
  touches_ += count;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::optional<std::uint32_t> time;
    if (i < record.times.size()) time = record.times[i];
    pads_[current_].touches.push_back({record.points[i], time, input_});
  }
}

}  // namespace zenta::zentactl
