#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "tools/common/terminal_text.h"
#include "tools/common/xml_text.h"
#include "tools/zentactl/dict_stats.h"

namespace zenta::zentactl {
namespace {

using tools::XmlText;

// Lengths in pixels of the picture.
constexpr int kWidth = 900;
constexpr int kMargin = 28;
constexpr int kLabelWidth = 170;  // left of the bars
constexpr int kCountWidth = 190;  // right of them
constexpr int kBarWidth = kWidth - 2 * kMargin - kLabelWidth - kCountWidth;
constexpr int kRow = 24;
constexpr int kHeading = 44;
constexpr int kTitle = 84;

constexpr char kStyle[] = R"(<style>
  svg { background: #fff; color: #1f2937; font: 14px system-ui, "PingFang SC", "Noto Sans CJK SC", sans-serif }
  text { fill: currentColor }
  .title { font-size: 20px; font-weight: 600 }
  .heading { font-weight: 600 }
  .count { font-variant-numeric: tabular-nums }
  .bar { fill: #2563eb }
  @media (prefers-color-scheme: dark) {
    svg { background: #111827; color: #e5e7eb }
    .bar { fill: #60a5fa }
  }
</style>
)";

// 1234567 as "1,234,567".
std::string Grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, ",");
  return text;
}

struct Chart {
  std::string heading;
  const std::vector<DictBar>& bars;
};

int HeightOf(const Chart& chart) { return kHeading + kRow * static_cast<int>(chart.bars.size()); }

void PutText(std::ostream& out, int x, int y, const char* kind, const std::string& text,
             const char* anchor = "start") {
  out << "<text x=\"" << x << "\" y=\"" << y << "\" class=\"" << kind << "\" text-anchor=\""
      << anchor << "\">" << XmlText(text) << "</text>\n";
}

void PutBar(std::ostream& out, int y, const DictBar& bar, std::uint64_t most, std::uint64_t all) {
  const double part = all == 0 ? 0 : static_cast<double>(bar.count) / static_cast<double>(all);
  const double length =
      most == 0 ? 0 : kBarWidth * static_cast<double>(bar.count) / static_cast<double>(most);
  char percent[16];
  std::snprintf(percent, sizeof percent, "%.1f %%", 100 * part);
  const int left = kMargin + kLabelWidth;
  PutText(out, left - 10, y + 16, "label", bar.label, "end");
  // A count other than 0 has a bar of at least one pixel.
  out << "<rect class=\"bar\" x=\"" << left << "\" y=\"" << y + 3 << "\" height=\"" << kRow - 6
      << "\" rx=\"2\" width=\"" << (bar.count == 0 ? 0 : std::max(1L, std::lround(length)))
      << "\"/>\n";
  PutText(out, left + static_cast<int>(length) + 8, y + 16, "count",
          Grouped(bar.count) + "  (" + percent + ")");
}

void PutChart(std::ostream& out, int y, const Chart& chart) {
  std::uint64_t most = 0, all = 0;
  for (const DictBar& bar : chart.bars) {
    most = std::max(most, bar.count);
    all += bar.count;
  }
  PutText(out, kMargin, y + 28, "heading", chart.heading);
  y += kHeading;
  for (const DictBar& bar : chart.bars) {
    PutBar(out, y, bar, most, all);
    y += kRow;
  }
}

}  // namespace

std::string DrawStats(const DictStats& stats, const std::string& title) {
  const Chart charts[] = {
      {"Bytes, by purpose", stats.purposes},
      {"Buckets, by the number of their records", stats.chains},
      {"Keys, by their length in units", stats.lengths},
  };
  int height = kTitle + kMargin;
  for (const Chart& chart : charts) height += HeightOf(chart);
  std::ostringstream out;
  out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\"" << height
      << "\" viewBox=\"0 0 " << kWidth << ' ' << height << "\" role=\"img\">\n"
      << "<title>" << XmlText(tools::ForTerminal(title)) << "</title>\n"
      << kStyle;
  PutText(out, kMargin, 44, "title", tools::ForTerminal(title));
  char per_hit[16];
  std::snprintf(per_hit, sizeof per_hit, "%.2f", stats.records_per_hit);
  PutText(out, kMargin, 68, "label",
          Grouped(stats.keys) + " keys in " + Grouped(stats.buckets) + " buckets, " +
              Grouped(stats.bytes) + " bytes; a look-up compares " + per_hit + " records");
  int y = kTitle;
  for (const Chart& chart : charts) {
    PutChart(out, y, chart);
    y += HeightOf(chart);
  }
  out << "</svg>\n";
  return out.str();
}

}  // namespace zenta::zentactl
