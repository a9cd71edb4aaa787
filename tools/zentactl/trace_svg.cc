#include "tools/zentactl/trace_svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <sstream>

#include "corelib/text/utf.h"
#include "tools/common/xml_text.h"
#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {
namespace {

using tools::XmlText;
using trace::KeyRect;
using trace::ScreenPoint;
using trace::ScreenRect;

// Lengths of the page, in its pixels.
constexpr double kPageWidth = 1000;
constexpr double kMargin = 28;
constexpr double kInnerWidth = kPageWidth - 2 * kMargin;
constexpr double kMaxPadHeight = 760;
constexpr double kTouchRadius = 9;
constexpr double kLegendWidth = 260;
constexpr std::size_t kMaxNumbered = 300;  // touches on one pad; with more the numbers only blot

// Colours of touches from the first to the last: all dark enough for white numbers on them.
struct Colour {
  int red, green, blue;
};
constexpr Colour kRamp[] = {{0x1d, 0x4e, 0xd8},
                            {0x6d, 0x3a, 0xd6},
                            {0xb1, 0x2d, 0xb0},
                            {0xdc, 0x33, 0x66},
                            {0xea, 0x7a, 0x15}};
constexpr Colour kNoTime = {0x6b, 0x72, 0x80};

std::string Hex(const Colour& colour) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", colour.red & 255, colour.green & 255,
                colour.blue & 255);
  return text;
}

// REQUIRES: 0 <= at <= 1.
Colour OnRamp(double at) {
  const double place = at * (std::size(kRamp) - 1);
  const auto stop = std::min(static_cast<std::size_t>(place), std::size(kRamp) - 2);
  const double part = place - static_cast<double>(stop);
  const auto mix = [part](int from, int to) {
    return static_cast<int>(std::lround(from + part * (to - from)));
  };
  const Colour &from = kRamp[stop], &to = kRamp[stop + 1];
  return {mix(from.red, to.red), mix(from.green, to.green), mix(from.blue, to.blue)};
}

std::string Touches(std::uint64_t count) { return Counted(count, "touch", "touches"); }

// The times of all touches in a picture.
struct TimeSpan {
  std::uint32_t first = std::numeric_limits<std::uint32_t>::max();
  std::uint32_t last = 0;
  bool any = false, all = true;

  explicit TimeSpan(const TracePicture& picture) {
    for (const PicturePad& pad : picture.pads()) {
      for (const PictureTouch& touch : pad.touches) Include(touch);
    }
  }
  void Include(const PictureTouch& touch) {
    all = all && touch.time.has_value();
    if (!touch.time) return;
    any = true;
    first = std::min(first, *touch.time);
    last = std::max(last, *touch.time);
  }
  [[nodiscard]] std::uint32_t length() const { return any ? last - first : 0; }
  [[nodiscard]] Colour ColourOf(const PictureTouch& touch) const {
    if (!touch.time) return kNoTime;
    return OnRamp(first == last ? 0 : static_cast<double>(*touch.time - first) / length());
  }
};

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

// The pad with all its keys, or where no layout is known the touches; and some air around.
Box BoxOf(const PicturePad& pad) {
  Box box;
  box.Include(pad.rect);
  for (const KeyRect& key : pad.keys) box.Include(key.rect);
  if (box.is_empty()) {
    for (const PictureTouch& touch : pad.touches) box.Include(touch.at[0], touch.at[1]);
  }
  if (box.is_empty()) box.Include(0, 0);
  const int air = std::max({box.width() / 40, box.height() / 40, 1});
  box.Include(box.left - air, box.top - air);
  box.Include(box.right + air, box.bottom + air);
  return box;
}

// What a key shows: the character that its number is, a sign for those that show nothing, or the
// number.
std::string LabelOf(std::uint32_t id) {
  switch (id) {
    case 8:
      return "⌫";
    case 9:
      return "⇥";
    case 10:
    case 13:
      return "⏎";
    case 32:
      return "␣";
  }
  unsigned char bytes[4];
  const auto length = static_cast<unsigned>(tstl::encode_utf8(id, bytes));
  const std::string shown = Shown({bytes, length}, 1);
  return length == 0 || shown == "\uFFFD" ? "#" + std::to_string(id) : shown;
}

class Page {
 public:
  explicit Page(const TracePicture& picture) : picture_(picture), times_(picture) {}

  std::string Draw(const std::string& title);

 private:
  void DrawHead(const std::string& title);
  void DrawLegend();
  void DrawPad(const PicturePad& pad);
  void DrawPadHead(const PicturePad& pad, const Box& box);
  void DrawKey(const KeyRect& key);
  void DrawJoins(const PicturePad& pad);
  void DrawTouch(const PictureTouch& touch, std::size_t number, bool numbered);
  void DrawInputs();
  void DrawLeftOut();

  // The attributes of an element: names and values by turns.
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
  // A text in the current line of the page, from its left side, `indent` from the margin, or up to
  // its right side.
  void Left(const char* style, double indent, const std::string& text) {
    Text(text, "class", style, "x", kMargin + indent, "y", y_);
  }
  void Right(const std::string& text) {
    Text(text, "class", "note end", "x", kPageWidth - kMargin, "y", y_);
  }

  const TracePicture& picture_;
  const TimeSpan times_;
  std::ostringstream svg_;
  double y_ = 0;     // how far down the page is used
  double unit_ = 1;  // pixels of the screen in one of the page, in the pad being drawn
};

void Page::DrawHead(const std::string& title) {
  std::size_t touches = 0;
  for (const PicturePad& pad : picture_.pads()) touches += pad.touches.size();
  y_ = 46;
  Left("title", 0, title);
  y_ += 24;
  const std::uint64_t inputs = picture_.inputs().size() + picture_.left_out().inputs;
  Left("note", 0, Touches(touches) + " in " + Counted(inputs, "input", "inputs"));
}

// Beside the head.
void Page::DrawLegend() {
  const double left = kPageWidth - kMargin - kLegendWidth;
  if (times_.any) {
    Shape("rect", "x", left, "y", 32, "width", kLegendWidth, "height", 12, "rx", 6, "fill",
          "url(#time)");
    Text("first touch", "class", "note", "x", left, "y", 64);
    Text("last, after " + Seconds(times_.length()), "class", "note end", "x", kPageWidth - kMargin,
         "y", 64);
  }
  if (!times_.all) {
    Shape("circle", "cx", left - 90, "cy", 38, "r", 7, "fill", Hex(kNoTime));
    Text("no time", "class", "note", "x", left - 78, "y", 43);
  }
}

void Page::DrawPadHead(const PicturePad& pad, const Box& box) {
  y_ += 40;
  Left("heading", 0, pad.name.empty() ? "A pad without a name" : pad.name);
  std::string note = Counted(pad.keys.size(), "key", "keys") + ", " + Touches(pad.touches.size());
  const auto outside = std::ranges::count_if(
      pad.touches, [&](const PictureTouch& touch) { return !box.Holds(touch.at); });
  if (outside != 0) note += ", " + std::to_string(outside) + " of them outside the picture";
  Right(note);
  y_ += 12;
}

// In a coordinate system of its own: that of the screen.
void Page::DrawPad(const PicturePad& pad) {
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
  const auto& [left, top, right, bottom] = pad.rect;
  if (left < right && top < bottom) {
    Shape("rect", "class", "pad", "x", left, "y", top, "width", right - left, "height",
          bottom - top);
  }
  for (const KeyRect& key : pad.keys) DrawKey(key);
  DrawJoins(pad);
  const bool numbered = pad.touches.size() <= kMaxNumbered;
  for (std::size_t i = 0; i < pad.touches.size(); ++i) DrawTouch(pad.touches[i], i + 1, numbered);
  svg_ << "</svg>\n";
  y_ += box.height() * scale;
}

// The label stands high in the key, so that touches do not hide it.
void Page::DrawKey(const KeyRect& key) {
  const auto& [left, top, right, bottom] = key.rect;
  if (left >= right || top >= bottom) return;
  const double width = right - left, height = bottom - top;
  Shape("rect", "class", "key", "x", left, "y", top, "width", width, "height", height, "rx",
        std::min(0.08 * std::min(width, height), 8 * unit_), "stroke-width", unit_);
  const std::string label = LabelOf(key.id);
  const bool is_number = label.size() > 1 && label[0] == '#';
  const double size = std::min(0.26 * height, 0.46 * width) / (is_number ? 2 : 1);
  Text(label, "class", "label", "x", left + width / 2, "y", top + 0.28 * height, "font-size", size);
}

// A line through the touches of each input.
void Page::DrawJoins(const PicturePad& pad) {
  for (std::size_t i = 0; i < pad.touches.size();) {
    const PictureTouch& first = pad.touches[i];
    svg_ << "<polyline";
    Attributes("class", "join", "stroke", Hex(times_.ColourOf(first)), "stroke-width", 2 * unit_);
    svg_ << " points=\"";
    for (; i < pad.touches.size() && pad.touches[i].input == first.input; ++i) {
      svg_ << pad.touches[i].at[0] << ',' << pad.touches[i].at[1] << ' ';
    }
    svg_ << "\"/>\n";
  }
}

void Page::DrawTouch(const PictureTouch& touch, std::size_t number, bool numbered) {
  const auto [x, y] = touch.at;
  svg_ << "<g><title>touch " << number << ", input " << touch.input << ", at " << x << ", " << y;
  if (touch.time) svg_ << ", after " << Seconds(*touch.time - times_.first);
  svg_ << "</title>";
  Shape("circle", "cx", x, "cy", y, "r", kTouchRadius * unit_, "fill", Hex(times_.ColourOf(touch)),
        "stroke-width", 1.2 * unit_);
  if (numbered) {
    Text(std::to_string(number), "class", "number", "x", x, "y", y + 3.3 * unit_, "font-size",
         9.5 * unit_);
  }
  svg_ << "</g>\n";
}

void Page::DrawInputs() {
  if (picture_.inputs().empty()) return;
  y_ += 40;
  Left("heading", 0, "Inputs");
  std::size_t number = 0;
  for (const PictureInput& input : picture_.inputs()) {
    y_ += 26;
    Left("note", 0, std::to_string(++number));
    Left("text", 36, input.text);
    Left("code", 440, input.code);
    Right(Touches(input.touches) + ", " + Seconds(input.milliseconds));
  }
}

void Page::DrawLeftOut() {
  const TracePicture::LeftOut& left = picture_.left_out();
  const struct {
    std::uint64_t count;
    const char *one, *many;
  } rows[] = {{left.layouts, "layout", "layouts"},
              {left.keys, "key", "keys"},
              {left.touches, "touch", "touches"},
              {left.inputs, "input", "inputs"}};
  for (const auto& [count, one, many] : rows) {
    if (count == 0) continue;
    y_ += 26;
    Left("note", 0, Counted(count, one, many) + " more than a picture can show: left out");
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
.label { fill: #4b5563; text-anchor: middle; }
.join { fill: none; stroke-opacity: 0.4; stroke-linejoin: round; }
circle { stroke: #ffffff; fill-opacity: 0.88; }
.number { fill: #ffffff; text-anchor: middle; font-weight: 600; }
</style>
)";

std::string Page::Draw(const std::string& title) {
  DrawHead(title);
  DrawLegend();
  for (const PicturePad& pad : picture_.pads()) DrawPad(pad);
  DrawInputs();
  DrawLeftOut();
  y_ += kMargin;

  std::ostringstream file;
  file << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kPageWidth << "\" height=\"" << y_
       << "\" viewBox=\"0 0 " << kPageWidth << ' ' << y_ << "\" font-family=\"system-ui, "
       << "-apple-system, 'PingFang SC', 'Microsoft YaHei', 'Noto Sans CJK SC', sans-serif\">\n"
       << "<title>" << XmlText(title) << "</title>\n"
       << kStyle << "<defs><linearGradient id=\"time\">";
  for (std::size_t i = 0; i < std::size(kRamp); ++i) {
    file << "<stop offset=\"" << static_cast<double>(i) / (std::size(kRamp) - 1)
         << "\" stop-color=\"" << Hex(kRamp[i]) << "\"/>";
  }
  file << "</linearGradient></defs>\n<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n"
       << svg_.str() << "</svg>\n";
  return file.str();
}

}  // namespace

std::string DrawTrace(const TracePicture& picture, std::string_view title) {
  return Page(picture).Draw(Shown(title, 60));
}

}  // namespace zenta::zentactl
