// fwk::DateTime holds a calendar date and time of day as one number of days, in the OLE Automation
// form: days since 30 December 1899, 00:00; the fraction is the time of day. Before that date the
// whole number is negative and the fraction counts forward from that day's midnight in the same
// negative direction: -1.25 is 1899-12-29 06:00.
//
// A value type: each thread uses objects of its own, and nothing blocks. Times taken from the
// system are local times. The fields that a caller gives are held against the calendar as it is
// today, in all years.

#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "framework/core/Export.h"

namespace fwk {

class FWK_EXPORT DateTime {
 public:
  // Days before each month in a common year; [12] is the length of the year.
  static constexpr std::int32_t _MonthDays[13] = {0,   31,  59,  90,  120, 151, 181,
                                                  212, 243, 273, 304, 334, 365};

  DateTime() = default;  // value 0.0, not set correctly
  // The number, and whether it is set correctly.
  DateTime(const DateTime&) = default;
  DateTime& operator=(const DateTime&) = default;
  virtual ~DateTime();

  // The number as it is; always set correctly.
  explicit DateTime(double value);
  const DateTime& operator=(double value);

  // SetDateTime of the fields. What does not fit 16 bits is invalid.
  DateTime(std::int16_t year, std::int16_t month, std::int16_t day, std::int16_t hour,
           std::int16_t minute, std::int16_t second);
  DateTime(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
           std::int32_t minute, std::int32_t second);

  // A date as one number, yyyymmdd; the time of day is 00:00:00.
  explicit DateTime(std::int32_t yyyymmdd);
  explicit DateTime(std::uint32_t yyyymmdd);

  // Seconds since the epoch, converted to local time (after a change of TZ, call tzset() first).
  // When the system cannot convert them the assertion "false" fails, which ends the process.
  explicit DateTime(const std::time_t& seconds);
  const DateTime& operator=(const std::time_t& seconds);

  // Whether the value came from valid fields, a number or a time. False after default
  // construction and after a failed set or parse.
  bool IsSetCorrectly() const { return m_bSetCorrectly; }

  // Set the value from fields; the result is also what IsSetCorrectly() tells from then on. The
  // value changes only on success. Month 1 to 12, day 1 to the month's last, year up to 9999,
  // hour up to 23, minute and second up to 59; there is no lower bound on year, hour, minute and
  // second.
  bool SetDateTime(std::int16_t year, std::int16_t month, std::int16_t day, std::int16_t hour,
                   std::int16_t minute, std::int16_t second);
  bool SetDate(std::int16_t year, std::int16_t month, std::int16_t day);
  // A time of day alone: that time on 1899-12-30.
  bool SetTime(std::int16_t hour, std::int16_t minute, std::int16_t second);

  // Parse a text: yyyymmdd for ParseCompact; yyyy-mm-ddThh:mm:ss, "yyyy-mm-dd hh:mm:ss" or
  // yyyy-mm-dd for Parse, each number with as many digits or fewer. What follows the last number is
  // ignored, so 2024-01-02Tjunk is a date; but with a blank anywhere it is not a date alone.
  // A text that has one of the forms sets the fields as above; a text without any of them resets
  // the value to 0.0. The result is also what IsSetCorrectly() tells from then on.
  bool ParseCompact(const std::string& text);
  bool Parse(const std::string& text);

  // The number of days, set correctly or not.
  double GetValue() const { return m_value; }

  // Moves the value, set correctly or not; hours * 3600 is taken as a signed 32-bit number. The
  // text form reads a floating-point number of hours, 0 when there is none.
  void AddHours(unsigned int hours);
  void AddHours(const std::string& hours);

  // Whether both fall into one year, or on one day. False when either value is outside the calendar
  // (see Format).
  bool IsSameYear(const DateTime& other) const;
  bool IsSameDay(const DateTime& other) const;

  // The value by a strftime pattern, rounded to the nearest second, whether or not it is set
  // correctly. "Invalid DateTime." when it is not a number from -657434 (0100-01-01) to 2958465
  // (9999-12-31 00:00). A text that does not fit 127 characters gives an empty one.
  __attribute__((format(strftime, 2, 0))) std::string Format(const char* pattern) const;
  std::string FormatRfc() const;       // "%a, %d %b %Y %X"
  std::string FormatDate() const;      // "%Y-%m-%d"
  std::string FormatDateTime() const;  // "%Y-%m-%d %H:%M:%S"
  std::string ToString() const;        // the number itself, as "%f" prints it

  // Plain comparison of the two numbers, set correctly or not.
  bool operator==(const DateTime& date) const;
  bool operator!=(const DateTime& date) const;

  // Order in time. Both dates must be set correctly; otherwise an assertion fails, in every build
  // type, and ends the process.
  bool operator<(const DateTime& date) const;
  bool operator<=(const DateTime& date) const;
  bool operator>(const DateTime& date) const;
  bool operator>=(const DateTime& date) const;

  // Now, less an hour while daylight saving time is in force here, as gmtime splits it and mktime
  // reads the fields again as local time.
  static std::time_t UtcTime();

  // Local time now as asctime writes it, with its line feed.
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
