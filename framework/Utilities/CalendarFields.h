// fwk::CalendarFields is a date and time of day as a calendar shows them: the fields of
// fwk::DateTime's number.
//
// Internal to DateTime. Values and pure functions, for any thread; nothing blocks.

#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

#include "framework/core/Export.h"

namespace fwk {

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
