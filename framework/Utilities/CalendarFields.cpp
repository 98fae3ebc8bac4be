#include "framework/Utilities/CalendarFields.h"

#include <cmath>

namespace fwk {

namespace {

constexpr double kFirstValue = -657434;
constexpr double kLastValue = 2958465;
constexpr double kHalfSecond = 1.0 / 172800;

// Sets month and day from the day of the year.
void LocateMonth(CalendarFields& fields, bool leapYear) {
  std::int32_t day = fields.dayOfYear;
  if (leapYear && day == 60) {
    fields.month = 2;
    fields.day = 29;
    return;
  }
  if (leapYear && day > 60) {
    --day;
  }
  fields.month = day / 32 + 1;
  while (day > kMonthDays[fields.month]) {
    ++fields.month;
  }
  fields.day = day - kMonthDays[fields.month - 1];
}

// Sets year, day of the year, month and day from the day counted from the year 0: first whole
// cycles of 400 years, then centuries, blocks of four years and years.
void LocateDay(CalendarFields& fields, std::int32_t absoluteDay) {
  const std::int32_t q400 = absoluteDay / 146097;
  std::int32_t rest = absoluteDay % 146097;
  const std::int32_t century = (rest - 1) / 36524;
  bool leapBlock = true;  // the four-year block starts with a leap year
  std::int32_t q4 = 0;
  if (century != 0) {
    rest = (rest - 1) % 36524;
    q4 = (rest + 1) / 1461;
    leapBlock = q4 != 0;
    rest = leapBlock ? (rest + 1) % 1461 : rest;
  } else {
    q4 = rest / 1461;
    rest %= 1461;
  }
  const std::int32_t y4 = (leapBlock ? rest - 1 : rest) / 365;
  if (leapBlock && y4 != 0) {
    rest = (rest - 1) % 365;
  } else if (!leapBlock) {
    rest %= 365;
  }
  fields.year = 400 * q400 + 100 * century + 4 * q4 + y4;
  fields.dayOfYear = rest + 1;
  LocateMonth(fields, leapBlock && y4 == 0);
}

}  // namespace

std::optional<CalendarFields> CalendarFields::FromValue(double value) {
  if (!(value >= kFirstValue && value <= kLastValue)) {  // false for NaN, too
    return std::nullopt;
  }
  const double rounded = value > 0 ? value + kHalfSecond : value - kHalfSecond;
  const double magnitude = std::fabs(rounded);
  const auto seconds =
      static_cast<std::int32_t>((magnitude - std::floor(magnitude)) * kSecondsPerDay);
  const std::int32_t absoluteDay = static_cast<std::int32_t>(rounded) + kEpochDay;

  CalendarFields fields{};
  fields.second = seconds % 60;
  fields.minute = seconds / 60 % 60;
  fields.hour = seconds / 3600;
  fields.dayOfWeek = (absoluteDay - 1) % 7 + 1;
  LocateDay(fields, absoluteDay);
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
