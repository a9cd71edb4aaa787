#include "tools/zentactl/trace_picture.h"

#include <algorithm>
#include <cstdio>
#include <span>

#include "corelib/text/utf.h"

namespace zenta {
namespace {

constexpr std::size_t kMaxTextShown = 40;  // characters

template <class T>
std::span<const T> SpanOf(List<T> list) {
  return {list.data(), list.size()};
}

// What no one would see, or what would change how the text around it is seen.
bool IsHidden(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0x200E && c <= 0x200F) ||
         (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0xFEFF ||
         (c & 0xFFFE) == 0xFFFE;
}

std::uint32_t Spread(std::span<const std::uint32_t> times) {
  if (times.empty()) return 0;
  const auto [first, last] = std::ranges::minmax(times);
  return last - first;
}

}  // namespace

std::string Shown(tstl::BufferRef<unsigned char> text, std::size_t limit) {
  std::string shown;
  tstl::BufferRefMutable<unsigned char> rest = text;
  for (std::size_t count = 0; rest; ++count) {
    if (count == limit) return shown + "…";
    const std::size_t length = tstl::utf8_sequence_length(rest.cstr(), rest.len());
    const bool good = length != 0 && !IsHidden(tstl::decode_utf8(rest.cstr(), length));
    const auto taken = rest.fetch_head(static_cast<unsigned>(std::max<std::size_t>(length, 1)));
    shown += good ? taken.std_view() : "\uFFFD";
  }
  return shown;
}

std::string Shown(tstl::BufferRef<unsigned short> text, std::size_t limit) {
  const auto start = text.sub_head(static_cast<unsigned>(2 * limit + 2));
  std::string bytes(3 * std::size_t{start.len()}, '\0');
  bytes.resize(tstl::utf16_to_utf8(start.cstr(), start.len(),
                                   reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(),
                                   tstl::LoneSurrogate::kKeep));
  return Shown(bytes, limit);
}

std::string Seconds(std::uint32_t milliseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f s", milliseconds / 1000.0);
  return text;
}

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
  name_ = Shown(record.pad_name, kMaxTextShown);
  current_ = kNone;
  for (std::size_t i = 0; i < pads_.size(); ++i) {
    if (pads_[i].name == name_) current_ = i;
  }
}

void TracePicture::SetLayout(const ScreenRect& rect, List<KeyRect> keys) {
  const auto kept = SpanOf(keys).first(std::min<std::size_t>(keys.size(), kMaxKeys));
  const auto same = [&](const PicturePad& pad) {
    return pad.name == name_ && pad.rect == rect && std::ranges::equal(pad.keys, kept);
  };
  current_ = static_cast<std::size_t>(std::ranges::find_if(pads_, same) - pads_.begin());
  if (current_ < pads_.size()) return;
  if (pads_.size() == kMaxPads) {
    ++left_out_.layouts;
    current_ = kLeftOut;
    return;
  }
  left_out_.keys += keys.size() - kept.size();
  pads_.push_back({name_, rect, {kept.begin(), kept.end()}, {}});
}

void TracePicture::AddInput(const TraceRecord& record) {
  ++input_;
  if (inputs_.size() < kMaxInputs) {
    inputs_.push_back({Shown(record.expected, kMaxTextShown), Shown(record.code, kMaxTextShown),
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

}  // namespace zenta
