// Which key a touch hit, and which one it was meant for.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/trace/trace_record.h"

namespace zenta::zentactl {

// Stands for the index of a key where there is none.
inline constexpr std::uint16_t kNoKey = 0xFFFF;

// The two keys of a touch, as indices into the keys of its layout.
struct TouchKeys {
  std::uint16_t hit = kNoKey;    // its rectangle holds the touch
  std::uint16_t meant = kNoKey;  // it enters the character that the touch was for
};

// The keys of each touch of an input. The key meant is known where the input's code (its expected text
// if it has no code) has as many characters as the input has touches, apostrophes and blanks left out
// if need be: then the i-th touch was for the i-th character. That is entered by the key of this number,
// of the other case's letter, or of the digit that bears the letter on a telephone.
// REQUIRES: fewer than kNoKey keys.
[[nodiscard]] std::vector<TouchKeys> FindKeys(std::span<const trace::KeyRect> keys,
                                              const trace::TraceRecord& input);

// How far a point lies from the middle of a key: 0 in the middle, 1 on the edge, 2 as far outside.
// 0 for a key without an area.
[[nodiscard]] double FromMiddle(const trace::ScreenRect& key, const trace::ScreenPoint& at);

}  // namespace zenta::zentactl
