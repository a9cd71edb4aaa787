// TracePicture: the part of a trace that can be drawn, gathered record by record: each pad with its
// keys, and the touches on it.
//
// It owns copies of what it keeps, texts as Shown() of trace_text.h makes them, and keeps no more
// than a picture can show, however long the trace: what is beyond that is only counted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "engine/trace/trace_record.h"

namespace zenta::zentactl {

struct PictureTouch {
  trace::ScreenPoint at;
  std::optional<std::uint32_t> time;  // milliseconds
  std::uint64_t input;                // number of the input that it belongs to, from 1
};

struct PicturePad {
  std::string name;          // empty if no record said
  trace::ScreenRect rect{};  // empty if no record said; the keys then, too
  std::vector<trace::KeyRect> keys;
  std::vector<PictureTouch> touches;  // in the order of the trace
};

struct PictureInput {
  std::string text;  // what was meant, and the keys for it
  std::string code;
  std::uint32_t touches = 0;
  std::uint32_t milliseconds = 0;  // from the first touch to the last
};

class TracePicture {
 public:
  static constexpr std::size_t kMaxPads = 12;
  static constexpr std::size_t kMaxKeys = 400;  // of one pad
  static constexpr std::size_t kMaxTouches = 5000;
  static constexpr std::size_t kMaxInputs = 100;

  // Takes the next record of the trace. Touches belong to the layout that was set last; showing a
  // pad again brings back the layout that was set for it last. Layouts that are the same in all are
  // one pad.
  void Add(const trace::TraceRecord& record);

  [[nodiscard]] const std::vector<PicturePad>& pads() const { return pads_; }
  [[nodiscard]] const std::vector<PictureInput>& inputs() const { return inputs_; }

  // How much was left out because there was too much of it.
  struct LeftOut {
    std::uint64_t layouts = 0, keys = 0, touches = 0, inputs = 0;
  };
  [[nodiscard]] const LeftOut& left_out() const { return left_out_; }

 private:
  // Instead of the index of a pad: no layout is known yet; it is known and was left out.
  static constexpr std::size_t kNone = SIZE_MAX, kLeftOut = SIZE_MAX - 1;

  void ShowPad(const trace::TraceRecord& record);
  void SetLayout(const trace::ScreenRect& rect, const records::List<trace::KeyRect>& keys);
  void AddInput(const trace::TraceRecord& record);
  void AddTouches(const trace::TraceRecord& record);

  std::vector<PicturePad> pads_;
  std::vector<PictureInput> inputs_;
  std::map<std::string, std::size_t> last_layouts_;  // by the pad's name, its index in pads_
  std::string name_;                                 // of the pad that is shown
  std::size_t current_ = kNone;                      // index of the pad that touches belong to
  std::size_t touches_ = 0;
  std::uint64_t input_ = 0;
  LeftOut left_out_;
};

}  // namespace zenta::zentactl
