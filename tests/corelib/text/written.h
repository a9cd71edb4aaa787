// Runs a function that writes text into a caller's room, and watches the room.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/corelib/text/units.h"

namespace tstl {

// What `write` put into a room of `room` units. Expects the returned length and a zero after the
// text, and that no unit past the room was touched.
template <class T, class Write>
StdString<T> Written(unsigned room, Write write) {
  constexpr T kGuard = 0xA5;
  std::vector<T> units(room + 32, kGuard);
  const unsigned len = write(units.data());
  EXPECT_LT(len, room);
  EXPECT_EQ(units[len], 0);
  EXPECT_TRUE(std::all_of(units.begin() + static_cast<int>(room), units.end(),
                          [](T unit) { return unit == kGuard; }));
  return StdString<T>(units.begin(), units.begin() + static_cast<int>(len));
}

}  // namespace tstl
