#include "framework/Utilities/DateTime.h"

// The assertions below are part of the class and stay in release builds.
#undef NDEBUG
#include <cassert>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "framework/Utilities/CalendarFields.h"
#include "framework/core/StringFormat.h"

namespace fwk {

namespace {

constexpr std::int32_t kSecondsPerDay = 86400;

// Day 0 of the value, 1899-12-30, counted in days from the year 0.
constexpr std::int32_t kEpochDay = 693959;

// Applies the Gregorian rule to every year, even before the calendar began.
constexpr bool IsLeapYear(std::int32_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Maps a value so that later times are larger, also within a day before the epoch.
double Linear(double value) {
  if (value >= 0) {
    return value;
  }
  const double whole = std::ceil(value);
  return whole - (value - whole);
}

}  // namespace

DateTime::~DateTime() = default;

DateTime::DateTime(double value) : m_value(value), m_bSetCorrectly(true) {}

const DateTime& DateTime::operator=(double value) {
  m_value = value;
  m_bSetCorrectly = true;
  return *this;
}

DateTime::DateTime(std::int16_t year, std::int16_t month, std::int16_t day, std::int16_t hour,
                   std::int16_t minute, std::int16_t second) {
  SetDateTime(year, month, day, hour, minute, second);
}

DateTime::DateTime(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
                   std::int32_t minute, std::int32_t second) {
  SetFields(year, month, day, hour, minute, second);
}

DateTime::DateTime(std::int32_t yyyymmdd) {
  SetFields(yyyymmdd / 10000, yyyymmdd % 10000 / 100, yyyymmdd % 100, 0, 0, 0);
}

DateTime::DateTime(std::uint32_t yyyymmdd) : DateTime(static_cast<std::int32_t>(yyyymmdd)) {}

DateTime::DateTime(const std::time_t& seconds) {
  *this = seconds;
}

const DateTime& DateTime::operator=(const std::time_t& seconds) {
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) {
    m_bSetCorrectly = false;
    assert(false);
  }
  SetFields(std::int64_t{local.tm_year} + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
            local.tm_min, local.tm_sec);
  return *this;
}

bool DateTime::SetFields(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour,
                         std::int64_t minute, std::int64_t second) {
  for (const std::int64_t field : {year, month, day, hour, minute, second}) {
    if (!std::in_range<std::int16_t>(field)) {
      m_bSetCorrectly = false;
      return false;
    }
  }
  return SetDateTime(static_cast<std::int16_t>(year), static_cast<std::int16_t>(month),
                     static_cast<std::int16_t>(day), static_cast<std::int16_t>(hour),
                     static_cast<std::int16_t>(minute), static_cast<std::int16_t>(second));
}

bool DateTime::SetDate(std::int16_t year, std::int16_t month, std::int16_t day) {
  return SetDateTime(year, month, day, 0, 0, 0);
}

bool DateTime::SetTime(std::int16_t hour, std::int16_t minute, std::int16_t second) {
  return SetDateTime(1899, 12, 30, hour, minute, second);
}

bool DateTime::SetDateTime(std::int16_t year, std::int16_t month, std::int16_t day,
                           std::int16_t hour, std::int16_t minute, std::int16_t second) {
  m_bSetCorrectly = false;
  if (month < 1 || month > 12 || year > 9999) {
    return false;
  }
  const bool leapYear = IsLeapYear(year);
  const std::int32_t daysInMonth =
      _MonthDays[month] - _MonthDays[month - 1] + (leapYear && month == 2 ? 1 : 0);
  if (day < 1 || day > daysInMonth || hour > 23 || minute > 59 || second > 59) {
    return false;
  }
  std::int32_t absoluteDay =
      365 * year + year / 4 - year / 100 + year / 400 + _MonthDays[month - 1] + day;
  if (leapYear && month < 3) {
    --absoluteDay;
  }
  const std::int32_t days = absoluteDay - kEpochDay;
  const double fraction = static_cast<double>(hour * 3600 + minute * 60 + second) / kSecondsPerDay;
  m_value = days < 0 ? days - fraction : days + fraction;
  m_bSetCorrectly = true;
  return true;
}

bool DateTime::ParseCompact(const std::string& text) {
  unsigned int year = 0;
  unsigned int month = 0;
  unsigned int day = 0;
  if (std::sscanf(text.c_str(), "%4u%2u%2u", &year, &month, &day) != 3) {
    return FailParse();
  }
  return SetDate(static_cast<std::int16_t>(year), static_cast<std::int16_t>(month),
                 static_cast<std::int16_t>(day));
}

bool DateTime::Parse(const std::string& text) {
  unsigned int year = 0;
  unsigned int month = 0;
  unsigned int day = 0;
  unsigned int hour = 0;
  unsigned int minute = 0;
  unsigned int second = 0;
  const bool hasBlank = text.find(' ') != std::string::npos;
  if ((text.find('T') != std::string::npos &&
       std::sscanf(text.c_str(), "%4u-%2u-%2uT%2u:%2u:%2u", &year, &month, &day, &hour, &minute,
                   &second) == 6) ||
      (hasBlank && std::sscanf(text.c_str(), "%4u-%2u-%2u %2u:%2u:%2u", &year, &month, &day, &hour,
                               &minute, &second) == 6)) {
    return SetDateTime(static_cast<std::int16_t>(year), static_cast<std::int16_t>(month),
                       static_cast<std::int16_t>(day), static_cast<std::int16_t>(hour),
                       static_cast<std::int16_t>(minute), static_cast<std::int16_t>(second));
  }
  if (!hasBlank && std::sscanf(text.c_str(), "%4u-%2u-%2u", &year, &month, &day) == 3) {
    return SetDate(static_cast<std::int16_t>(year), static_cast<std::int16_t>(month),
                   static_cast<std::int16_t>(day));
  }
  return FailParse();
}

bool DateTime::FailParse() {
  m_value = 0.0;
  m_bSetCorrectly = false;
  return false;
}

void DateTime::AddHours(unsigned int hours) {
  m_value += static_cast<double>(static_cast<std::int32_t>(hours * 3600)) / kSecondsPerDay;
}

void DateTime::AddHours(const std::string& hours) {
  m_value += std::strtod(hours.c_str(), nullptr) * 3600 / kSecondsPerDay;
}

bool DateTime::IsSameYear(const DateTime& other) const {
  const auto mine = CalendarFields::FromValue(m_value);
  const auto theirs = CalendarFields::FromValue(other.m_value);
  return mine && theirs && mine->year == theirs->year;
}

bool DateTime::IsSameDay(const DateTime& other) const {
  const auto mine = CalendarFields::FromValue(m_value);
  const auto theirs = CalendarFields::FromValue(other.m_value);
  return mine && theirs && mine->year == theirs->year && mine->dayOfYear == theirs->dayOfYear;
}

// The pattern is not a literal here; the attribute of the declaration checks it where it is one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string DateTime::Format(const char* pattern) const {
  const auto fields = CalendarFields::FromValue(m_value);
  if (!fields) {
    return "Invalid DateTime.";
  }
  const std::tm time = fields->ToTm();
  char buffer[128];
  const std::size_t length = std::strftime(buffer, sizeof(buffer), pattern, &time);
  return {buffer, length};
}
#pragma GCC diagnostic pop

std::string DateTime::FormatRfc() const {
  return Format("%a, %d %b %Y %X");
}

std::string DateTime::FormatDate() const {
  return Format("%Y-%m-%d");
}

std::string DateTime::FormatDateTime() const {
  return Format("%Y-%m-%d %H:%M:%S");
}

std::string DateTime::ToString() const {
  return StringFormat("%f", m_value).GetString();
}

bool DateTime::operator==(const DateTime& date) const {
  return m_value == date.m_value;
}

bool DateTime::operator!=(const DateTime& date) const {
  return m_value != date.m_value;
}

bool DateTime::operator<(const DateTime& date) const {
  AssertOrdered(date);
  return Linear(m_value) < Linear(date.m_value);
}

bool DateTime::operator<=(const DateTime& date) const {
  AssertOrdered(date);
  return Linear(m_value) <= Linear(date.m_value);
}

bool DateTime::operator>(const DateTime& date) const {
  AssertOrdered(date);
  return Linear(m_value) > Linear(date.m_value);
}

bool DateTime::operator>=(const DateTime& date) const {
  AssertOrdered(date);
  return Linear(m_value) >= Linear(date.m_value);
}

void DateTime::AssertOrdered(const DateTime& date) const {
  assert(m_bSetCorrectly == true);
  assert(date.m_bSetCorrectly == true);
}

std::time_t DateTime::UtcTime() {
  std::time_t now = std::time(nullptr);
  std::tm fields{};
  if (localtime_r(&now, &fields) != nullptr && fields.tm_isdst > 0) {
    now -= 3600;
  }
  gmtime_r(&now, &fields);
  return std::mktime(&fields);
}

std::string DateTime::NowString() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char buffer[64] = {};
  return asctime_r(&local, buffer) != nullptr ? buffer : "";
}

}  // namespace fwk
