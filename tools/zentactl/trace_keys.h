// Finds the key that a touch hit, and the key that it was meant for.
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

// The keys of each touch of an input. The key meant is known if the input's code (without a code,
// its expected text) has as many characters as the input has touches, counted with or without
// apostrophes and blanks. Then the i-th touch was for the i-th character. Its key is the one with
// the character's number, else that of the letter's other case, else the digit with that letter on
// a telephone.
// REQUIRES: fewer than kNoKey keys.
[[nodiscard]] std::vector<TouchKeys> FindKeys(std::span<const trace::KeyRect> keys,
                                              const trace::TraceRecord& input);

// The distance of a point from the middle of a key, along the axis where it is greater: 0 in the
// middle, 1 on the edge, 2 at twice that distance. 0 along an axis on which the key has no extent.
[[nodiscard]] double FromMiddle(const trace::ScreenRect& key, const trace::ScreenPoint& at);

}  // namespace zenta::zentactl
