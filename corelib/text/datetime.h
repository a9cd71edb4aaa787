// Date, Time and DateTime: calendar dates and clock times in a byte for each field, and their fixed
// text forms.
//
// Plain values; nothing is checked. A field out of range gives a text of the same length that is no
// date: zz_str always writes exactly kLength units and a zero, so its buffer holds kLength + 1
// units whatever the fields hold.
//
// Each half of a text is made by one decimal conversion instead of three, on purpose: the fields
// become one number with a zero digit between them, and the separators then overwrite these digits.
// So a month, day, minute or second of 100 or more loses its hundreds.
#pragma once

#include <compare>
#include <cstdint>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/text/detail/digits.h"

namespace tstl {

// A day of the years 1970 to 2225 of the Gregorian calendar; all fields count from 0.
struct Date {
  static constexpr unsigned kLength = 10;

  unsigned char years = 0;  // since 1970
  unsigned char month = 0;  // 0 to 11
  unsigned char day = 0;    // of the month, 0 to 30

  // "YYYY-MM-DD". A month or day index of 255 counts as -1.
  template <Unit T>
  unsigned zz_str(T* buf) const noexcept {
    const auto next = [](unsigned char index) { return static_cast<unsigned char>(index + 1); };
    detail::write_pairs<5>(buf, (1970u + years) * 1000000 + next(month) * 1000u + next(day));
    buf[4] = buf[7] = '-';
    buf[kLength] = 0;
    return kLength;
  }

  friend constexpr auto operator<=>(const Date&, const Date&) noexcept = default;
};

// A time of day on the 24-hour clock.
struct Time {
  static constexpr unsigned kLength = 8;

  unsigned char hour = 0;
  unsigned char minute = 0;
  unsigned char second = 0;

  // "HH:MM:SS". An hour of three digits loses its hundreds.
  template <Unit T>
  unsigned zz_str(T* buf) const noexcept {
    detail::write_pairs<4>(buf, hour * 1000000u + minute * 1000u + second);
    buf[2] = buf[5] = ':';
    buf[kLength] = 0;
    return kLength;
  }

  friend constexpr auto operator<=>(const Time&, const Time&) noexcept = default;
};

// A date, a time of that day, and the unit between the two in the text. Comparison ignores the
// separator.
struct DateTime {
  static constexpr unsigned kLength = Date::kLength + 1 + Time::kLength;

  Date date;
  unsigned char hour = 0;
  unsigned char minute = 0;
  unsigned char second = 0;
  char16_t separator = u' ';  // 8-bit text gets its low byte

  [[nodiscard]] constexpr Time time() const noexcept { return {hour, minute, second}; }

  // "YYYY-MM-DD", the separator, "HH:MM:SS".
  template <Unit T>
  unsigned zz_str(T* buf) const noexcept {
    buf += date.zz_str(buf);
    *buf++ = static_cast<T>(separator);
    time().zz_str(buf);
    return kLength;
  }

  friend constexpr std::strong_ordering operator<=>(const DateTime& a, const DateTime& b) noexcept {
    const auto order = a.date <=> b.date;
    return order != 0 ? order : a.time() <=> b.time();
  }
  friend constexpr bool operator==(const DateTime& a, const DateTime& b) noexcept {
    return a <=> b == 0;
  }
};

static_assert(sizeof(Date) == 3 && sizeof(Time) == 3 && sizeof(DateTime) == 8);
static_assert(std::is_trivially_copyable_v<DateTime> && std::is_standard_layout_v<DateTime>);

}  // namespace tstl
