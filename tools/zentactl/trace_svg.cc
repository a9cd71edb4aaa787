#include "tools/zentactl/trace_svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <span>
#include <sstream>
#include <utility>
#include <vector>

#include "tools/common/xml_text.h"
#include "tools/zentactl/trace_heat.h"
#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {
namespace {

using tools::XmlText;
using trace::KeyRect;
using trace::ScreenPoint;
using trace::ScreenRect;

// Lengths in pixels of the picture.
constexpr double kPageWidth = 1000;
constexpr double kMargin = 28;
constexpr double kInnerWidth = kPageWidth - 2 * kMargin;
constexpr double kMaxPadHeight = 760;
constexpr double kTouchRadius = 9;
constexpr double kLegendWidth = 260;
constexpr std::size_t kMaxNumbered = 300;            // touches on one layout; more are a heat map
constexpr std::size_t kMaxListed = 100;              // inputs
constexpr std::size_t kMaxText = 24, kMaxCode = 36;  // characters that fit a line

struct Colour {
  int red, green, blue;
};
using Ramp = std::span<const Colour>;
// Of touches from the first to the last: all dark enough for white numbers on them.
constexpr Colour kTimeRamp[] = {{0x1d, 0x4e, 0xd8},
                                {0x6d, 0x3a, 0xd6},
                                {0xb1, 0x2d, 0xb0},
                                {0xdc, 0x33, 0x66},
                                {0xea, 0x7a, 0x15}};
// From where touches are rare to where they are dense.
constexpr Colour kHeatRamp[] = {
    {0xfe, 0xf3, 0xc7}, {0xfd, 0xba, 0x4d}, {0xf0, 0x6a, 0x2a}, {0xb9, 0x1c, 0x3c}};
constexpr Colour kNoTime = {0x6b, 0x72, 0x80};

std::string Hex(const Colour& colour) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", colour.red & 255, colour.green & 255,
                colour.blue & 255);
  return text;
}

// REQUIRES: 0 <= at <= 1.
Colour OnRamp(Ramp ramp, double at) {
  const double place = at * static_cast<double>(ramp.size() - 1);
  const auto stop = std::min(static_cast<std::size_t>(place), ramp.size() - 2);
  const double part = place - static_cast<double>(stop);
  const auto mix = [part](int from, int to) {
    return static_cast<int>(std::lround(from + part * (to - from)));
  };
  const Colour &from = ramp[stop], &to = ramp[stop + 1];
  return {mix(from.red, to.red), mix(from.green, to.green), mix(from.blue, to.blue)};
}

std::string Touches(std::uint64_t count) { return Counted(count, "touch", "touches"); }

// A touch, and the input that it belongs to.
struct Drawn {
  const PictureTouch* touch;
  const PictureInput* input;
};

// A layout with the touches on it that are drawn.
struct Pad {
  const TraceLayout& layout;
  std::string heading;
  std::vector<Drawn> touches;

  [[nodiscard]] bool is_heat_map() const { return layout.touches > kMaxNumbered; }
};

std::vector<Pad> PadsOf(const TraceData& data) {
  std::vector<Pad> pads;
  const auto& layouts = data.layouts.kept();
  for (std::size_t i = 0; i < layouts.size(); ++i) {
    pads.push_back({layouts[i], data.layouts.Heading(i), {}});
  }
  for (const PictureInput& input : data.picture.inputs()) {
    for (const PictureTouch& touch : input.kept)
      pads[input.layout].touches.push_back({&touch, &input});
  }
  return pads;
}

// The part of the screen that a drawing shows.
struct Box {
  int left = std::numeric_limits<int>::max(), top = left;
  int right = std::numeric_limits<int>::min(), bottom = right;

  void Include(int x, int y) {
    left = std::min(left, x);
    right = std::max(right, x);
    top = std::min(top, y);
    bottom = std::max(bottom, y);
  }
  void Include(const ScreenRect& rect) {
    if (rect[0] >= rect[2] || rect[1] >= rect[3]) return;
    Include(rect[0], rect[1]);
    Include(rect[2], rect[3]);
  }
  [[nodiscard]] bool is_empty() const { return left > right; }
  [[nodiscard]] bool Holds(const ScreenPoint& at) const {
    return at[0] >= left && at[0] <= right && at[1] >= top && at[1] <= bottom;
  }
  [[nodiscard]] int width() const { return right - left; }
  [[nodiscard]] int height() const { return bottom - top; }
};

// The pad with all its keys, or the touches where no layout is known; and a margin around them.
Box BoxOf(const Pad& pad) {
  Box box;
  box.Include(pad.layout.rect);
  for (const KeyRect& key : pad.layout.keys) box.Include(key.rect);
  if (box.is_empty()) {
    for (const auto& [touch, input] : pad.touches) box.Include(touch->at[0], touch->at[1]);
  }
  if (box.is_empty()) box.Include(0, 0);
  const int margin = std::max({box.width() / 40, box.height() / 40, 1});
  box.Include(box.left - margin, box.top - margin);
  box.Include(box.right + margin, box.bottom + margin);
  return box;
}

// The part of a touch's tooltip about keys: which one it hit, and which one was meant.
std::string KeysText(const TraceLayout& layout, const TouchKeys& keys) {
  const auto label = [&](std::uint16_t key) { return KeyLabel(layout.keys[key].id); };
  std::string text = keys.hit == kNoKey ? "hit no key" : "hit " + label(keys.hit);
  if (keys.meant != kNoKey) {
    text += keys.meant == keys.hit ? ", as meant" : ", meant " + label(keys.meant);
  }
  return text;
}

class Page {
 public:
  explicit Page(const TraceData& data) : data_(data), pads_(PadsOf(data)) {}

  std::string Draw(const std::string& title);

 private:
  void DrawHead(const std::string& title);
  void DrawLegend();
  void DrawPad(const Pad& pad);
  void DrawPadHead(const Pad& pad, const Box& box);
  void DrawKey(const TraceLayout& layout, std::size_t index);
  void DrawLabel(const KeyRect& key);
  void DrawHeat(const Pad& pad, const Box& box);
  void DrawJoins(const Pad& pad);
  void DrawTouch(const Pad& pad, std::size_t index);
  void DrawInputs();
  void DrawLeftOut();
  [[nodiscard]] Colour ColourOf(const PictureTouch& touch) const;

  // Writes the attributes of an element; names and values alternate.
  template <class Value, class... Rest>
  void Attributes(const char* name, const Value& value, const Rest&... rest) {
    svg_ << ' ' << name << "=\"" << value << '"';
    if constexpr (sizeof...(rest) != 0) Attributes(rest...);
  }
  // An element without content.
  template <class... A>
  void Shape(const char* element, const A&... attributes) {
    svg_ << '<' << element;
    Attributes(attributes...);
    svg_ << "/>\n";
  }
  // An element of text.
  template <class... A>
  void Text(const std::string& text, const A&... attributes) {
    svg_ << "<text";
    Attributes(attributes...);
    svg_ << '>' << XmlText(text) << "</text>\n";
  }
  // A text in the current line of the page: from `indent` after the left margin on, or up to the
  // right margin.
  void Left(const char* style, double indent, const std::string& text) {
    Text(text, "class", style, "x", kMargin + indent, "y", y_);
  }
  void Right(const std::string& text) {
    Text(text, "class", "note end", "x", kPageWidth - kMargin, "y", y_);
  }

  const TraceData& data_;
  const std::vector<Pad> pads_;
  std::ostringstream svg_;
  double y_ = 0;     // how far down the page is filled
  double unit_ = 1;  // pixels of the screen per pixel of the page, in the pad being drawn
};

Colour Page::ColourOf(const PictureTouch& touch) const {
  if (!touch.time) return kNoTime;
  const std::uint32_t length = data_.totals.length();
  return OnRamp(
      kTimeRamp,
      length == 0 ? 0 : (*touch.time - data_.totals.first_time) / static_cast<double>(length));
}

void Page::DrawHead(const std::string& title) {
  const TraceTotals& totals = data_.totals;
  y_ = 46;
  Left("title", 0, title);
  y_ += 24;
  std::string note = Touches(totals.touches) + " in " + Counted(totals.inputs(), "input", "inputs");
  if (totals.times != 0) note += ", in " + Seconds(totals.length());
  Left("note", 0, note);
}

// Beside the head: the colours of touches that are drawn one by one.
void Page::DrawLegend() {
  bool timed = false, untimed = false;
  for (const Pad& pad : pads_) {
    if (pad.is_heat_map()) continue;
    for (const auto& [touch, input] : pad.touches) {
      timed = timed || touch->time.has_value();
      untimed = untimed || !touch->time.has_value();
    }
  }
  const double left = kPageWidth - kMargin - kLegendWidth;
  if (timed) {
    Shape("rect", "x", left, "y", 32, "width", kLegendWidth, "height", 12, "rx", 6, "fill",
          "url(#time)");
    Text("first touch", "class", "note", "x", left, "y", 64);
    Text("last, after " + Seconds(data_.totals.length()), "class", "note end", "x",
         kPageWidth - kMargin, "y", 64);
  }
  if (untimed) {
    Shape("circle", "cx", left - 90, "cy", 38, "r", 7, "fill", Hex(kNoTime));
    Text("no time", "class", "note", "x", left - 78, "y", 43);
  }
}

void Page::DrawPadHead(const Pad& pad, const Box& box) {
  y_ += 40;
  Left("heading", 0, pad.heading);
  std::string note =
      Counted(pad.layout.keys.size(), "key", "keys") + ", " + Touches(pad.layout.touches);
  const auto outside = std::ranges::count_if(
      pad.touches, [&](const Drawn& drawn) { return !box.Holds(drawn.touch->at); });
  if (outside != 0) note += ", " + std::to_string(outside) + " of them outside the picture";
  if (pad.is_heat_map()) note += "; the darker, the more of them";
  Right(note);
  y_ += 12;
}

// Draws a pad as a nested element with the coordinates of the screen.
void Page::DrawPad(const Pad& pad) {
  const Box box = BoxOf(pad);
  const double scale = std::min(kInnerWidth / box.width(), kMaxPadHeight / box.height());
  unit_ = 1 / scale;
  DrawPadHead(pad, box);
  svg_ << "<svg";
  Attributes("x", kMargin, "y", y_, "width", box.width() * scale, "height", box.height() * scale);
  svg_ << " viewBox=\"" << box.left << ' ' << box.top << ' ' << box.width() << ' ' << box.height()
       << "\">\n";
  Shape("rect", "class", "around", "x", box.left, "y", box.top, "width", box.width(), "height",
        box.height(), "rx", 12 * unit_);
  const auto& [left, top, right, bottom] = pad.layout.rect;
  if (left < right && top < bottom) {
    Shape("rect", "class", "pad", "x", left, "y", top, "width", right - left, "height",
          bottom - top);
  }
  for (std::size_t i = 0; i < pad.layout.keys.size(); ++i) DrawKey(pad.layout, i);
  if (pad.is_heat_map()) DrawHeat(pad, box);
  for (const KeyRect& key : pad.layout.keys) DrawLabel(key);
  if (!pad.is_heat_map()) {
    DrawJoins(pad);
    for (std::size_t i = 0; i < pad.touches.size(); ++i) DrawTouch(pad, i);
  }
  svg_ << "</svg>\n";
  y_ += box.height() * scale;
}

void Page::DrawKey(const TraceLayout& layout, std::size_t index) {
  const auto& [left, top, right, bottom] = layout.keys[index].rect;
  if (left >= right || top >= bottom) return;
  const double width = right - left, height = bottom - top;
  const TraceLayout::Count& count = layout.counts[index];
  svg_ << "<g><title>" << XmlText("key " + KeyLabel(layout.keys[index].id)) << ": hit by "
       << Touches(count.hit) << ", meant by " << count.meant << "</title>";
  Shape("rect", "class", "key", "x", left, "y", top, "width", width, "height", height, "rx",
        std::min(0.08 * std::min(width, height), 8 * unit_), "stroke-width", unit_);
  svg_ << "</g>\n";
}

// The label is high in the key, so that touches do not hide it.
void Page::DrawLabel(const KeyRect& key) {
  const auto& [left, top, right, bottom] = key.rect;
  if (left >= right || top >= bottom) return;
  const double width = right - left, height = bottom - top;
  const std::string label = KeyLabel(key.id);
  const bool is_number = label.size() > 1 && label[0] == '#';
  const double size = std::min(0.26 * height, 0.46 * width) / (is_number ? 2 : 1);
  Text(label, "class", "label", "x", left + width / 2, "y", top + 0.28 * height, "font-size", size,
       "stroke-width", size / 6);
}

void Page::DrawHeat(const Pad& pad, const Box& box) {
  HeatMap heat(box.left, box.top, box.width(), box.height());
  for (const auto& [touch, input] : pad.touches) heat.Add(touch->at);
  heat.Smooth();
  for (int level = 1; level <= HeatMap::kLevels; ++level) {
    const Colour colour = OnRamp(kHeatRamp, (level - 1.0) / (HeatMap::kLevels - 1));
    Shape("path", "class", "heat", "fill", Hex(colour), "d", heat.Path(level));
  }
}

// A line through the touches of each input.
void Page::DrawJoins(const Pad& pad) {
  for (std::size_t i = 0; i < pad.touches.size();) {
    const Drawn& first = pad.touches[i];
    svg_ << "<polyline";
    Attributes("class", "join", "stroke", Hex(ColourOf(*first.touch)), "stroke-width", 2 * unit_);
    svg_ << " points=\"";
    for (; i < pad.touches.size() && pad.touches[i].input == first.input; ++i) {
      svg_ << pad.touches[i].touch->at[0] << ',' << pad.touches[i].touch->at[1] << ' ';
    }
    svg_ << "\"/>\n";
  }
}

void Page::DrawTouch(const Pad& pad, std::size_t index) {
  const auto& [touch, input] = pad.touches[index];
  const auto [x, y] = touch->at;
  const std::string text = input->text.empty() ? "" : ' ' + Shown(input->text, kMaxText);
  svg_ << "<g><title>touch " << index + 1 << ", input " << input->number
       << XmlText(text + ": " + KeysText(pad.layout, touch->keys)) << ", at " << x << ", " << y;
  if (touch->time) svg_ << ", after " << Seconds(*touch->time - data_.totals.first_time);
  svg_ << "</title>";
  Shape("circle", "cx", x, "cy", y, "r", kTouchRadius * unit_, "fill", Hex(ColourOf(*touch)),
        "stroke-width", 1.2 * unit_);
  Text(std::to_string(index + 1), "class", "number", "x", x, "y", y + 3.3 * unit_, "font-size",
       9.5 * unit_);
  svg_ << "</g>\n";
}

// Lists up to kMaxListed inputs, spread over the whole trace.
void Page::DrawInputs() {
  const auto& inputs = data_.picture.inputs();
  if (inputs.empty()) return;
  const std::size_t step = (inputs.size() + kMaxListed - 1) / kMaxListed;
  y_ += 40;
  Left("heading", 0, "Inputs");
  if (step * data_.picture.step() > 1) {
    Right("one in " + std::to_string(step * data_.picture.step()) + " of " +
          std::to_string(data_.totals.inputs()));
  }
  for (std::size_t i = 0; i < inputs.size(); i += step) {
    const PictureInput& input = inputs[i];
    y_ += 26;
    Left("note", 0, std::to_string(input.number));
    Left("text", 64, Shown(input.text, kMaxText));
    Left("code", 460, Shown(input.code, kMaxCode));
    Right(Touches(input.touches) + ", " + Seconds(input.milliseconds));
  }
}

void Page::DrawLeftOut() {
  const auto say = [this](const std::string& what) {
    y_ += 26;
    Left("note", 0, what);
  };
  const std::uint64_t step = data_.picture.step();
  if (step > 1) say("Drawn are the touches of one in " + std::to_string(step) + " inputs.");
  const TraceLayouts::LeftOut& left = data_.layouts.left_out();
  const std::pair<std::uint64_t, std::string> rows[] = {
      {left.layouts, Counted(left.layouts, "layout", "layouts")},
      {left.keys, Counted(left.keys, "key", "keys")},
      {left.touches, Touches(left.touches)}};
  for (const auto& [count, text] : rows) {
    if (count != 0) say(text + " more than a picture can show: left out");
  }
}

constexpr const char* kStyle = R"(<style>
text { fill: #111827; }
.title { font-size: 24px; font-weight: 600; }
.heading { font-size: 17px; font-weight: 600; }
.text { font-size: 16px; }
.code { font: 14px ui-monospace, Menlo, Consolas, monospace; fill: #374151; }
.note { font-size: 14px; fill: #4b5563; }
.end { text-anchor: end; }
.around { fill: #f1f3f5; }
.pad { fill: #dde1e7; }
.key { fill: #ffffff; stroke: #c3c8d0; }
.label { fill: #374151; stroke: #ffffff; paint-order: stroke; text-anchor: middle; pointer-events: none; }
.heat { fill-opacity: 0.8; pointer-events: none; shape-rendering: crispEdges; }
.join { fill: none; stroke-opacity: 0.4; stroke-linejoin: round; }
circle { stroke: #ffffff; fill-opacity: 0.88; }
.number { fill: #ffffff; text-anchor: middle; font-weight: 600; }
</style>
)";

std::string Page::Draw(const std::string& title) {
  DrawHead(title);
  DrawLegend();
  for (const Pad& pad : pads_) DrawPad(pad);
  DrawInputs();
  DrawLeftOut();
  y_ += kMargin;

  std::ostringstream file;
  file << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kPageWidth << "\" height=\"" << y_
       << "\" viewBox=\"0 0 " << kPageWidth << ' ' << y_ << "\" font-family=\"system-ui, "
       << "-apple-system, 'PingFang SC', 'Microsoft YaHei', 'Noto Sans CJK SC', sans-serif\">\n"
       << "<title>" << XmlText(title) << "</title>\n"
       << kStyle << "<defs><linearGradient id=\"time\">";
  for (std::size_t i = 0; i < std::size(kTimeRamp); ++i) {
    file << "<stop offset=\"" << static_cast<double>(i) / (std::size(kTimeRamp) - 1)
         << "\" stop-color=\"" << Hex(kTimeRamp[i]) << "\"/>";
  }
  file << "</linearGradient></defs>\n<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n"
       << svg_.str() << "</svg>\n";
  return file.str();
}

}  // namespace

std::string DrawTrace(const TraceData& data, std::string_view title) {
  return Page(data).Draw(Shown(title, 60));
}

}  // namespace zenta::zentactl
