#include "framework/Utilities/DateTime.h"

// The assertions below are part of the class: they hold in release builds, too.
#undef NDEBUG
#include <cassert>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>

#include "framework/core/StringFormat.h"

namespace fwk {

namespace {

constexpr double kFirstValue = -657434;  // 0100-01-01
constexpr double kLastValue = 2958465;   // 9999-12-31
constexpr double kHalfSecond = 1.0 / 172800;
constexpr std::int32_t kSecondsPerDay = 86400;
constexpr std::int32_t kEpochDay = 693959;  // 1899-12-30, counted from the year 0

struct Fields {
  std::int32_t second;
  std::int32_t minute;
  std::int32_t hour;
  std::int32_t day;
  std::int32_t month;
  std::int32_t year;
  std::int32_t dayOfWeek;  // 1 is Sunday
  std::int32_t dayOfYear;  // from 1
};

bool IsLeapYear(std::int32_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Sets month and day from the day of the year.
void LocateMonth(Fields& fields, bool leapYear) {
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
  while (day > DateTime::_MonthDays[fields.month]) {
    ++fields.month;
  }
  fields.day = day - DateTime::_MonthDays[fields.month - 1];
}

// Sets year, day of the year, month and day from the day counted from the year 0.
void LocateDay(Fields& fields, std::int32_t absoluteDay) {
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

std::optional<Fields> Decode(double value) {
  if (!(value >= kFirstValue && value <= kLastValue)) {  // false for NaN, too
    return std::nullopt;
  }
  const double rounded = value > 0 ? value + kHalfSecond : value - kHalfSecond;
  const double magnitude = std::fabs(rounded);
  const auto seconds =
      static_cast<std::int32_t>((magnitude - std::floor(magnitude)) * kSecondsPerDay);
  const std::int32_t absoluteDay = static_cast<std::int32_t>(rounded) + kEpochDay;

  Fields fields{};
  fields.second = seconds % 60;
  fields.minute = seconds / 60 % 60;
  fields.hour = seconds / 3600;
  fields.dayOfWeek = (absoluteDay - 1) % 7 + 1;
  LocateDay(fields, absoluteDay);
  return fields;
}

std::tm ToTm(const Fields& fields) {
  std::tm result{};
  result.tm_sec = fields.second;
  result.tm_min = fields.minute;
  result.tm_hour = fields.hour;
  result.tm_mday = fields.day;
  result.tm_mon = fields.month - 1;
  result.tm_year = fields.year - 1900;
  result.tm_wday = fields.dayOfWeek - 1;
  result.tm_yday = fields.dayOfYear - 1;
  return result;
}

// Within a day before the epoch later times have smaller numbers; here they have larger ones.
double Linear(double value) {
  if (value >= 0) {
    return value;
  }
  const double whole = std::ceil(value);
  return whole - (value - whole);
}

}  // namespace

DateTime::~DateTime() = default;

DateTime::DateTime(double value) : m_value(value), m_bSetCorrectly(true) {
}

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

DateTime::DateTime(std::uint32_t yyyymmdd) : DateTime(static_cast<std::int32_t>(yyyymmdd)) {
}

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
  const auto mine = Decode(m_value);
  const auto theirs = Decode(other.m_value);
  return mine && theirs && mine->year == theirs->year;
}

bool DateTime::IsSameDay(const DateTime& other) const {
  const auto mine = Decode(m_value);
  const auto theirs = Decode(other.m_value);
  return mine && theirs && mine->year == theirs->year && mine->dayOfYear == theirs->dayOfYear;
}

// The pattern is the caller's; where it is a literal, the attribute on the declaration checks it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string DateTime::Format(const char* pattern) const {
  const auto fields = Decode(m_value);
  if (!fields) {
    return "Invalid DateTime.";
  }
  const std::tm time = ToTm(*fields);
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
