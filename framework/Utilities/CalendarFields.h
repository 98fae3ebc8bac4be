// fwk::CalendarFields is a date and time of day as a calendar shows them: the fields behind
// fwk::DateTime's number, and the calendar's constants that both need.
//
// Values and pure functions, for any thread; nothing blocks.

#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

#include "framework/core/Export.h"

namespace fwk {

// Days before each month in a common year; [12] is the length of the year.
inline constexpr std::int32_t kMonthDays[13] = {0,   31,  59,  90,  120, 151, 181,
                                                212, 243, 273, 304, 334, 365};

// Without leap seconds.
inline constexpr std::int32_t kSecondsPerDay = 86400;

// 1899-12-30 as a count of days from the year 0, which is day 0 of DateTime's number.
inline constexpr std::int32_t kEpochDay = 693959;

// By the rule of the Gregorian calendar, for years before it, too.
constexpr bool IsLeapYear(std::int32_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

struct FWK_EXPORT CalendarFields {
  std::int32_t second = 0;     // 0 to 59
  std::int32_t minute = 0;     // 0 to 59
  std::int32_t hour = 0;       // 0 to 23
  std::int32_t day = 0;        // of the month, from 1
  std::int32_t month = 0;      // 1 to 12
  std::int32_t year = 0;       // 100 to 9999
  std::int32_t dayOfWeek = 0;  // 1 is Sunday
  std::int32_t dayOfYear = 0;  // from 1

  // The fields of a DateTime's number, rounded to the nearest second; nothing when it is not a
  // number from -657434 (0100-01-01) to 2958465 (9999-12-31 00:00).
  static std::optional<CalendarFields> FromValue(double value);

  // For strftime; what is not in the fields is zero.
  std::tm ToTm() const;
};

}  // namespace fwk
