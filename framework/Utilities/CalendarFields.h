// fwk::CalendarFields are the date and time of day of an fwk::DateTime, as a calendar shows them.
//
// Internal to DateTime. A value type; nothing blocks.

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

  // Returns the fields of a DateTime's number, rounded to the nearest second, or nothing if `value`
  // is not a number from -657434 (0100-01-01) to 2958465 (9999-12-31 00:00).
  static std::optional<CalendarFields> FromValue(double value);

  // Returns the fields for strftime(3); the other members of the struct are zero.
  std::tm ToTm() const;
};

}  // namespace fwk
