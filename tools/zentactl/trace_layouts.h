// TraceLayouts: follows a trace from pad to pad, and knows which layout a touch belongs to.
//
// Touches belong to the layout that was set last; showing a pad again brings back the layout that
// was set for it last. Equal layouts (pad, rectangle and keys) are kept once. It owns copies of
// what it keeps: at most kMaxLayouts layouts of kMaxKeys keys, and beyond those only the layout in
// use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "engine/trace/trace_record.h"
#include "tools/zentactl/trace_keys.h"

namespace zenta::zentactl {

struct TraceLayout {
  std::string pad;           // its name as Shown() makes it; empty if no record said
  trace::ScreenRect rect{};  // empty, like the keys, if no record set a layout
  std::vector<trace::KeyRect> keys;

  // Touches of the whole trace: on the layout, and for each key those that hit it or were meant for
  // it.
  struct Count {
    std::uint64_t hit = 0, meant = 0;
  };
  std::uint64_t touches = 0;
  std::vector<Count> counts;  // one for each key
};

class TraceLayouts {
 public:
  static constexpr std::size_t kMaxLayouts = 40;
  static constexpr std::size_t kMaxKeys = 400;  // of one layout

  // Takes the next record of the trace.
  void Add(const trace::TraceRecord& record);
  // Counts the touches of the input that was added last.
  void Count(std::span<const TouchKeys> touches);

  // The layout that touches belong to now. REQUIRES: an input was added, or a layout.
  [[nodiscard]] const TraceLayout& current() const { return At(current_); }
  // Its index in kept(); not below kept().size() if the layout is not kept.
  [[nodiscard]] std::size_t current_index() const { return current_; }
  [[nodiscard]] const std::vector<TraceLayout>& kept() const { return layouts_; }
  // A heading for one of them: the pad's name, and which of the pad's layouts it is if there are
  // more.
  [[nodiscard]] std::string Heading(std::size_t index) const;

  // How much was too much to keep.
  struct LeftOut {
    std::uint64_t layouts = 0, keys = 0, touches = 0;
  };
  [[nodiscard]] const LeftOut& left_out() const { return left_out_; }

 private:
  static constexpr std::size_t kNone = SIZE_MAX;  // no layout is known yet

  void ShowPad(const trace::TraceRecord& record);
  void SetLayout(const trace::ScreenRect& rect, std::span<const trace::KeyRect> keys);
  [[nodiscard]] const TraceLayout& At(std::size_t index) const {
    return index < layouts_.size() ? layouts_[index] : beyond_;
  }

  std::vector<TraceLayout> layouts_;
  TraceLayout beyond_;                               // the layout in use, if it is not kept
  std::map<std::string, std::size_t> last_layouts_;  // by the pad's name, its index in layouts_
  std::string name_;                                 // of the pad that is shown
  std::size_t current_ = kNone;  // index of a layout in layouts_; kMaxLayouts is beyond_
  LeftOut left_out_;
};

}  // namespace zenta::zentactl
