// fwk::DateTime is a calendar date and time of day, stored as a number of days in the OLE
// Automation form: the whole part counts days since 30 December 1899, the fraction is the time of
// day. Before that date the number is negative, and its fraction still counts from the day's
// midnight: -1.25 is 1899-12-29 06:00.
//
// A value type; nothing blocks. Times that come from the system are local times. All years follow
// the Gregorian calendar.

#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "framework/core/Export.h"

namespace fwk {

class FWK_EXPORT DateTime {
 public:
  // The days before each month in a common year; [12] is the length of the year.
  static constexpr std::int32_t _MonthDays[13] = {0,   31,  59,  90,  120, 151, 181,
                                                  212, 243, 273, 304, 334, 365};

  DateTime() = default;  // 0.0, not set correctly
  // Copies the value, and whether it is set correctly.
  DateTime(const DateTime&) = default;
  DateTime& operator=(const DateTime&) = default;
  virtual ~DateTime();

  // Takes the number as it is, and counts as set correctly.
  explicit DateTime(double value);
  const DateTime& operator=(double value);

  // Calls SetDateTime() with the fields. A field that does not fit 16 bits is invalid.
  DateTime(std::int16_t year, std::int16_t month, std::int16_t day, std::int16_t hour,
           std::int16_t minute, std::int16_t second);
  DateTime(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
           std::int32_t minute, std::int32_t second);

  // Takes a date as one decimal number, yyyymmdd; the time of day is 00:00:00.
  explicit DateTime(std::int32_t yyyymmdd);
  explicit DateTime(std::uint32_t yyyymmdd);

  // Converts `seconds` since the Unix epoch to local time (call tzset(3) after a change of TZ). If
  // the system cannot convert them, the assertion "false" fails and ends the process.
  explicit DateTime(const std::time_t& seconds);
  const DateTime& operator=(const std::time_t& seconds);

  // Returns whether the value came from valid fields, a number or a time. Returns false after
  // default construction and after a failed set or parse.
  bool IsSetCorrectly() const { return m_bSetCorrectly; }

  // Sets the value from fields, if they are valid, and returns whether they are; IsSetCorrectly()
  // returns the same from then on. Valid are months from 1 to 12, days from 1 to the last of the
  // month, years up to 9999, hours up to 23, minutes and seconds up to 59. Year, hour, minute and
  // second have no lower bound.
  bool SetDateTime(std::int16_t year, std::int16_t month, std::int16_t day, std::int16_t hour,
                   std::int16_t minute, std::int16_t second);
  bool SetDate(std::int16_t year, std::int16_t month, std::int16_t day);
  // Sets a time of day, on 1899-12-30.
  bool SetTime(std::int16_t hour, std::int16_t minute, std::int16_t second);

  // Sets the value from a text of the form "yyyymmdd", as SetDate() does. Each number may have
  // fewer digits, and text after the last one is ignored. A text of another form resets the value
  // to 0.0. Returns what IsSetCorrectly() returns from then on.
  bool ParseCompact(const std::string& text);

  // Sets the value like ParseCompact(), from a text of the form "yyyy-mm-ddThh:mm:ss",
  // "yyyy-mm-dd hh:mm:ss" or "yyyy-mm-dd". So "2024-01-02Tjunk" is a date; but a text with a blank
  // must have a time.
  bool Parse(const std::string& text);

  // Returns the number of days, whether or not it is set correctly.
  double GetValue() const { return m_value; }

  // Adds `hours` to the value, whether or not it is set correctly; hours * 3600 is taken as a
  // signed 32-bit number.
  void AddHours(unsigned int hours);

  // Adds the floating-point number of hours at the beginning of `hours`, or 0 if there is none.
  void AddHours(const std::string& hours);

  // Returns whether both values are in the same year, or on the same day. Returns false if either
  // is outside the calendar (see Format()).
  bool IsSameYear(const DateTime& other) const;
  bool IsSameDay(const DateTime& other) const;

  // Returns the value, rounded to the nearest second, in a strftime(3) `pattern`, whether or not it
  // is set correctly. Returns "Invalid DateTime." unless the value is a number from -657434
  // (0100-01-01) to 2958465 (9999-12-31 00:00), and an empty text if the result has more than 127
  // characters.
  __attribute__((format(strftime, 2, 0))) std::string Format(const char* pattern) const;
  std::string FormatRfc() const;       // "%a, %d %b %Y %X"
  std::string FormatDate() const;      // "%Y-%m-%d"
  std::string FormatDateTime() const;  // "%Y-%m-%d %H:%M:%S"
  std::string ToString() const;        // the number, as printf's "%f"

  // Compares the two numbers, whether or not they are set correctly.
  bool operator==(const DateTime& date) const;
  bool operator!=(const DateTime& date) const;

  // Compares the two points in time. If either is not set correctly, an assertion fails and ends
  // the process, in every build type.
  bool operator<(const DateTime& date) const;
  bool operator<=(const DateTime& date) const;
  bool operator>(const DateTime& date) const;
  bool operator>=(const DateTime& date) const;

  // Returns the current time, minus an hour during local daylight saving time, split into fields by
  // gmtime(3) and read again as local time by mktime(3).
  static std::time_t UtcTime();

  // Returns the current local time as asctime(3) writes it, with its line feed.
  static std::string NowString();

 private:
  bool SetFields(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour,
                 std::int64_t minute, std::int64_t second);
  bool FailParse();
  void AssertOrdered(const DateTime& date) const;

  double m_value = 0.0;
  bool m_bSetCorrectly = false;
};

}  // namespace fwk
