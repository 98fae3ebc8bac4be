#include "framework/Utilities/CalendarFields.h"

#include <chrono>
#include <cmath>

namespace fwk {

namespace {

constexpr double kFirstValue = -657434;
constexpr double kLastValue = 2958465;
constexpr double kHalfSecond = 1.0 / 172800;
constexpr std::chrono::sys_days kEpoch =
    std::chrono::year{1899} / std::chrono::December / std::chrono::day{30};

}  // namespace

std::optional<CalendarFields> CalendarFields::FromValue(double value) {
  if (!(value >= kFirstValue && value <= kLastValue)) {  // also false for NaN
    return std::nullopt;
  }
  const double rounded = value > 0 ? value + kHalfSecond : value - kHalfSecond;
  const double magnitude = std::fabs(rounded);
  const auto seconds = static_cast<std::int32_t>((magnitude - std::floor(magnitude)) * 86400);
  const std::chrono::sys_days days = kEpoch + std::chrono::days{static_cast<int>(rounded)};
  const std::chrono::year_month_day date = days;
  const std::chrono::days daysOfYear = days - std::chrono::sys_days{date.year() / 1 / 1};

  CalendarFields fields{};
  fields.second = seconds % 60;
  fields.minute = seconds / 60 % 60;
  fields.hour = seconds / 3600;
  fields.day = static_cast<std::int32_t>(unsigned{date.day()});
  fields.month = static_cast<std::int32_t>(unsigned{date.month()});
  fields.year = int{date.year()};
  fields.dayOfWeek = static_cast<std::int32_t>(std::chrono::weekday{days}.c_encoding()) + 1;
  fields.dayOfYear = static_cast<std::int32_t>(daysOfYear.count()) + 1;
  return fields;
}

std::tm CalendarFields::ToTm() const {
  std::tm result{};
  result.tm_sec = second;
  result.tm_min = minute;
  result.tm_hour = hour;
  result.tm_mday = day;
  result.tm_mon = month - 1;
  result.tm_year = year - 1900;
  result.tm_wday = dayOfWeek - 1;
  result.tm_yday = dayOfYear - 1;
  return result;
}

}  // namespace fwk
