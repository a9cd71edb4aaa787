// TracePicture: the inputs and touches of a trace that pictures show, collected record by record.
//
// It owns copies of what it keeps, texts as Shown() of trace_text.h makes them. Of a long trace it
// keeps every second input, every fourth, and so on, so that what is kept is spread over the whole
// length and memory is bounded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/trace/trace_record.h"
#include "tools/zentactl/trace_keys.h"
#include "tools/zentactl/trace_layouts.h"

namespace zenta::zentactl {

struct PictureTouch {
  trace::ScreenPoint at;
  std::optional<std::uint32_t> time;  // milliseconds
  TouchKeys keys;
};

struct PictureInput {
  std::uint64_t number = 0;  // of all inputs, from 1
  std::size_t layout = 0;    // index in TraceLayouts::kept(); meaningless without touches
  std::string text;          // what was meant, and the keys for it
  std::string code;
  std::uint32_t touches = 0;       // of the input, kept or not
  std::uint32_t milliseconds = 0;  // from the first touch to the last
  std::vector<PictureTouch> kept;  // all of them, but for an input of more than kMaxTouches
};

class TracePicture {
 public:
  static constexpr std::size_t kMaxTouches = 100'000;
  static constexpr std::size_t kMaxInputs = 100'000;

  // Takes the next input of the trace and the keys of its touches. Touches on a layout that
  // `layouts` did not keep are left out.
  void Add(const trace::TraceRecord& input, std::span<const TouchKeys> keys,
           const TraceLayouts& layouts);

  [[nodiscard]] const std::vector<PictureInput>& inputs() const { return inputs_; }
  [[nodiscard]] std::size_t touches() const { return touches_; }
  // One in this many inputs is kept.
  [[nodiscard]] std::uint64_t step() const { return step_; }

 private:
  void Thin();

  std::vector<PictureInput> inputs_;
  std::size_t touches_ = 0;
  std::uint64_t added_ = 0, step_ = 1;
};

}  // namespace zenta::zentactl
