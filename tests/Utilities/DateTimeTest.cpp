#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "framework/Utilities/DateTime.h"

namespace {

using fwk::DateTime;

static_assert(std::is_same_v<decltype(std::declval<DateTime&>() = 1.0), const DateTime&>);
static_assert(std::is_same_v<decltype(std::declval<DateTime&>() = std::declval<std::time_t>()),
                             const DateTime&>);

constexpr double kSecond = 1.0 / 86400;

// Sets the time zone of this process while it exists.
class TimeZone {
 public:
  explicit TimeZone(const std::string& zone) {
    if (const char* const before = std::getenv("TZ")) {
      m_before = before;
    }
    setenv("TZ", zone.c_str(), 1);
    tzset();
  }
  ~TimeZone() {
    m_before ? setenv("TZ", m_before->c_str(), 1) : unsetenv("TZ");
    tzset();
  }

  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

 private:
  std::optional<std::string> m_before;
};

void ExpectUnset(const DateTime& date, double value) {
  EXPECT_EQ(date.GetValue(), value);
  EXPECT_FALSE(date.IsSetCorrectly());
}

void ExpectSet(const DateTime& date, double value) {
  EXPECT_EQ(date.GetValue(), value);
  EXPECT_TRUE(date.IsSetCorrectly());
}

TEST(DateTimeTest, ANewDateIsZeroAndNotSetCorrectly) {
  ExpectUnset(DateTime(), 0.0);
}

TEST(DateTimeTest, ANumberIsTheValue) {
  ExpectSet(DateTime(-1.25), -1.25);
  ExpectSet(DateTime(1e300), 1e300);
  DateTime date;
  date = 45352.5;
  ExpectSet(date, 45352.5);
}

TEST(DateTimeTest, ACopyHasTheValueAndWhetherItIsSet) {
  const DateTime set(2.5);
  ExpectSet(DateTime(set), 2.5);  // NOLINT(performance-unnecessary-copy-initialization)
  DateTime unset(7.5);
  EXPECT_FALSE(unset.SetDate(2024, 13, 1));
  ExpectUnset(DateTime(unset), 7.5);
  DateTime assigned;
  assigned = set;
  ExpectSet(assigned, 2.5);
  assigned = unset;
  ExpectUnset(assigned, 7.5);
}

TEST(DateTimeTest, ItHasAVirtualDestructor) {
  EXPECT_TRUE(std::has_virtual_destructor_v<DateTime>);
}

TEST(DateTimeTest, FieldsOfBothWidthsSetTheDate) {
  ExpectSet(DateTime(2024, 3, 1, 12, 0, 0), 45352.5);
  using Narrow = std::int16_t;
  ExpectSet(DateTime(Narrow{2024}, Narrow{3}, Narrow{1}, Narrow{12}, Narrow{0}, Narrow{0}),
            45352.5);
  ExpectUnset(DateTime(2024, 13, 1, 12, 0, 0), 0.0);
  ExpectUnset(DateTime(Narrow{2023}, Narrow{2}, Narrow{29}, Narrow{0}, Narrow{0}, Narrow{0}), 0.0);
}

TEST(DateTimeTest, FieldsThatDoNotFit16BitsAreInvalid) {
  ExpectUnset(DateTime(65536 + 2024, 3, 1, 0, 0, 0), 0.0);
  ExpectUnset(DateTime(2024, 65536 + 3, 1, 0, 0, 0), 0.0);
  ExpectUnset(DateTime(2024, 3, 65536 + 1, 0, 0, 0), 0.0);
  ExpectUnset(DateTime(2024, 3, 1, 65536, 0, 0), 0.0);
  ExpectUnset(DateTime(2024, 3, 1, 0, 65536, 0), 0.0);
  ExpectUnset(DateTime(2024, 3, 1, 0, 0, -65536), 0.0);
}

TEST(DateTimeTest, TheDigitsOfAnIntegerAreADate) {
  ExpectSet(DateTime(20240229), 45351.0);
  ExpectSet(DateTime(20240229U), 45351.0);
  EXPECT_EQ(DateTime(20240229).FormatDateTime(), "2024-02-29 00:00:00");
  EXPECT_EQ(DateTime(19991231U).FormatDate(), "1999-12-31");
  ExpectSet(DateTime(99991231), 2958465.0);
  for (const std::int32_t invalid :
       {0, 20230229, 20241301, 20240100, 100000101, -20240229, 700000101}) {
    ExpectUnset(DateTime(invalid), 0.0);
    ExpectUnset(DateTime(static_cast<std::uint32_t>(invalid)), 0.0);
  }
}

TEST(DateTimeTest, ATimeIsConvertedToLocalTime) {
  const struct {
    const char* zone;
    std::time_t time;
    const char* text;
  } rows[] = {
      {"UTC0", 0, "1970-01-01 00:00:00"},
      {"UTC0", -1, "1969-12-31 23:59:59"},
      {"AAA-5:30", 0, "1970-01-01 05:30:00"},
      {"AAA8", 0, "1969-12-31 16:00:00"},
      {"EST5EDT,M3.2.0,M11.1.0", 1720000000, "2024-07-03 05:46:40"},
      {"EST5EDT,M3.2.0,M11.1.0", 1704067200, "2023-12-31 19:00:00"},
      {"UTC0", -2208988801, "1899-12-31 23:59:59"},
      {"UTC0", 253402214400, "9999-12-31 00:00:00"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const TimeZone zone(row.zone);
    const DateTime constructed(row.time);
    DateTime assigned;
    assigned = row.time;
    EXPECT_EQ(constructed.FormatDateTime(), row.text);
    EXPECT_TRUE(constructed.IsSetCorrectly());
    ExpectSet(assigned, constructed.GetValue());
  }
  const TimeZone zone("UTC0");
  ExpectSet(DateTime(std::time_t{43200}), 25569.5);
}

TEST(DateTimeTest, ATimeAfterTheLastYearIsNotSetAndKeepsTheValue) {
  const TimeZone zone("UTC0");
  DateTime date(2.0);
  date = std::time_t{253402300800};  // 10000-01-01
  ExpectUnset(date, 2.0);
  date = 2.0;
  date = std::time_t{2068173302400};  // the year 67508, which is 1972 modulo 2^16
  ExpectUnset(date, 2.0);
}

TEST(DateTimeDeathTest, ATimeThatTheSystemCannotConvertFailsAnAssertion) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
#ifdef __clang__
  const char* const text =
      ": framework/Utilities/DateTime\\.cpp:[0-9]+: const fwk::DateTime &fwk::DateTime::operator="
      "\\(const std::time_t &\\): Assertion `false' failed\\.";
#else
  const char* const text =
      ": framework/Utilities/DateTime\\.cpp:[0-9]+: const fwk::DateTime& fwk::DateTime::operator="
      "\\(const time_t&\\): Assertion `false' failed\\.";
#endif
  const std::time_t never = std::numeric_limits<std::time_t>::max();
  EXPECT_DEATH(DateTime{never}, text);
  DateTime date;
  EXPECT_DEATH(date = never, text);
}

TEST(DateTimeTest, TheTableHasTheDaysBeforeEachMonth) {
  static_assert(std::is_same_v<std::remove_reference_t<decltype(DateTime::_MonthDays)>,
                               const std::int32_t[13]>);
  EXPECT_EQ(
      std::to_array(DateTime::_MonthDays),
      (std::array<std::int32_t, 13>{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365}));
}

TEST(DateTimeTest, TheValueCountsTheDaysSinceTheEndOf1899) {
  const struct {
    int year, month, day, hour, minute, second;
    double value;
  } rows[] = {
      {1899, 12, 30, 0, 0, 0, 0.0},
      {1899, 12, 31, 0, 0, 0, 1.0},
      {1900, 1, 1, 0, 0, 0, 2.0},
      {1900, 2, 28, 0, 0, 0, 60.0},
      {1900, 3, 1, 0, 0, 0, 61.0},
      {1970, 1, 1, 0, 0, 0, 25569.0},
      {2000, 2, 29, 0, 0, 0, 36585.0},
      {2024, 3, 1, 18, 0, 0, 45352.75},
      {2024, 3, 1, 14, 5, 9, 45352 + 50709.0 / 86400},
      {2024, 3, 1, 23, 59, 59, 45352 + 86399.0 / 86400},
      {9999, 12, 31, 0, 0, 0, 2958465.0},
      {1899, 12, 30, 6, 0, 0, 0.25},
      {1899, 12, 29, 0, 0, 0, -1.0},
      {1899, 12, 29, 6, 0, 0, -1.25},
      {1899, 12, 29, 18, 0, 0, -1.75},
      {1896, 2, 29, 0, 0, 0, -1400.0},
      {1600, 12, 31, 12, 0, 0, -109206.5},
      {100, 1, 1, 0, 0, 0, -657434.0},
      {1, 1, 1, 0, 0, 0, -693593.0},
      // No lower bound on the year; its divisions truncate toward zero.
      {0, 1, 1, 0, 0, 0, -693959.0},
      {0, 12, 31, 0, 0, 0, -693594.0},
      {-1, 1, 1, 0, 0, 0, -694323.0},
      {-3, 3, 1, 0, 0, 0, -694994.0},
      {-4, 1, 1, 0, 0, 0, -695420.0},
      {-4, 2, 29, 0, 0, 0, -695361.0},
      {-100, 1, 2, 0, 0, 0, -730481.0},
      {-32768, 1, 1, 0, 0, 0, -12662225.0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.year << "-" << row.month << "-" << row.day);
    ExpectSet(DateTime(row.year, row.month, row.day, row.hour, row.minute, row.second), row.value);
  }
}

TEST(DateTimeTest, FieldsOutsideTheirBoundsFailAndKeepTheValue) {
  const struct {
    std::int16_t year, month, day, hour, minute, second;
    bool valid;
  } rows[] = {
      {9999, 12, 31, 23, 59, 59, true}, {10000, 1, 1, 0, 0, 0, false},
      {32767, 1, 1, 0, 0, 0, false},    {2024, 0, 1, 0, 0, 0, false},
      {2024, -1, 1, 0, 0, 0, false},    {2024, 13, 1, 0, 0, 0, false},
      {2024, 1, 0, 0, 0, 0, false},     {2024, 1, -1, 0, 0, 0, false},
      {2024, 1, 31, 0, 0, 0, true},     {2024, 1, 32, 0, 0, 0, false},
      {2024, 2, 29, 0, 0, 0, true},     {2024, 2, 30, 0, 0, 0, false},
      {2023, 2, 28, 0, 0, 0, true},     {2023, 2, 29, 0, 0, 0, false},
      {2000, 2, 29, 0, 0, 0, true},     {1900, 2, 29, 0, 0, 0, false},
      {2100, 2, 29, 0, 0, 0, false},    {0, 2, 29, 0, 0, 0, true},
      {-4, 2, 29, 0, 0, 0, true},       {-100, 2, 29, 0, 0, 0, false},
      {-400, 2, 29, 0, 0, 0, true},     {2024, 3, 31, 0, 0, 0, true},
      {2024, 3, 32, 0, 0, 0, false},    {2024, 4, 30, 0, 0, 0, true},
      {2024, 4, 31, 0, 0, 0, false},    {2024, 5, 32, 0, 0, 0, false},
      {2024, 6, 31, 0, 0, 0, false},    {2024, 7, 32, 0, 0, 0, false},
      {2024, 8, 32, 0, 0, 0, false},    {2024, 9, 31, 0, 0, 0, false},
      {2024, 10, 32, 0, 0, 0, false},   {2024, 11, 31, 0, 0, 0, false},
      {2024, 12, 32, 0, 0, 0, false},   {2024, 1, 1, 24, 0, 0, false},
      {2024, 1, 1, 0, 60, 0, false},    {2024, 1, 1, 0, 0, 60, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.year << "-" << row.month << "-" << row.day << " "
                                    << row.hour << ":" << row.minute << ":" << row.second);
    DateTime date(7.5);
    EXPECT_EQ(date.SetDateTime(row.year, row.month, row.day, row.hour, row.minute, row.second),
              row.valid);
    EXPECT_EQ(date.IsSetCorrectly(), row.valid);
    EXPECT_EQ(date.GetValue() == 7.5, !row.valid);
  }
}

TEST(DateTimeTest, NegativeHoursMinutesAndSecondsAreNotRejected) {
  ExpectSet(DateTime(2024, 3, 1, -12, 0, 0), 45351.5);
  ExpectSet(DateTime(2024, 3, 1, 0, -720, 0), 45351.5);
  ExpectSet(DateTime(2024, 3, 1, 0, 0, -21600), 45351.75);
  ExpectSet(DateTime(2024, 3, 1, 6, -360, 0), 45352.0);
  ExpectSet(DateTime(1899, 12, 29, -6, 0, 0), -0.75);
}

TEST(DateTimeTest, ADateWithoutATimeIsItsMidnight) {
  DateTime date(7.5);
  EXPECT_TRUE(date.SetDate(2024, 3, 1));
  ExpectSet(date, 45352.0);
  EXPECT_FALSE(date.SetDate(2024, 2, 30));
  ExpectUnset(date, 45352.0);
  EXPECT_TRUE(date.SetDate(2024, 2, 29));
  ExpectSet(date, 45351.0);
}

TEST(DateTimeTest, ATimeWithoutADateIsOnTheFirstDay) {
  DateTime date(7.5);
  EXPECT_TRUE(date.SetTime(14, 5, 9));
  ExpectSet(date, 50709.0 / 86400);
  EXPECT_FALSE(date.SetTime(24, 0, 0));
  ExpectUnset(date, 50709.0 / 86400);
}

TEST(DateTimeTest, AValueIsRenderedByItsCalendarFields) {
  const struct {
    double value;
    const char* text;
  } rows[] = {
      {0.0, "1899-12-30 00:00:00"},
      {0.25, "1899-12-30 06:00:00"},
      {-0.25, "1899-12-30 06:00:00"},
      {-1.0, "1899-12-29 00:00:00"},
      {-1.25, "1899-12-29 06:00:00"},
      {-1.75, "1899-12-29 18:00:00"},
      {2.0, "1900-01-01 00:00:00"},
      {60.0, "1900-02-28 00:00:00"},
      {61.0, "1900-03-01 00:00:00"},
      {36585.5, "2000-02-29 12:00:00"},
      {36586.0, "2000-03-01 00:00:00"},
      {45352 + 50709.0 / 86400, "2024-03-01 14:05:09"},
      {2958464.0 + 86399.0 / 86400, "9999-12-30 23:59:59"},
      {-1400.5, "1896-02-29 12:00:00"},
      {-109206.0, "1600-12-31 00:00:00"},
      {-109205.0, "1601-01-01 00:00:00"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DateTime(row.value).FormatDateTime(), row.text) << row.value;
  }
}

TEST(DateTimeTest, AValueOutsideTheCalendarIsRenderedAsInvalid) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double value : {2958465.25, std::nextafter(2958465.0, infinity), -657434.25,
                             std::nextafter(-657434.0, -infinity), 1e300, -1e300, infinity,
                             -infinity, std::numeric_limits<double>::quiet_NaN()}) {
    const DateTime date(value);
    EXPECT_EQ(date.Format("%Y"), "Invalid DateTime.") << value;
    EXPECT_EQ(date.FormatRfc(), "Invalid DateTime.") << value;
    EXPECT_EQ(date.FormatDate(), "Invalid DateTime.") << value;
    EXPECT_EQ(date.FormatDateTime(), "Invalid DateTime.") << value;
  }
}

TEST(DateTimeTest, TheFirstAndTheLastMidnightOfTheCalendarAreRendered) {
  EXPECT_EQ(DateTime(2958465.0).FormatDateTime(), "9999-12-31 00:00:00");
  EXPECT_EQ(DateTime(-657434.0).Format("%m-%d %H:%M:%S, day %j"), "01-01 00:00:00, day 001");
  EXPECT_EQ(std::stoi(DateTime(-657434.0).Format("%Y")), 100);
}

TEST(DateTimeTest, TheTimeOfDayIsRoundedToTheNearestSecondEvenIntoAnotherDay) {
  const struct {
    double value;
    const char* text;
  } rows[] = {
      {45352 + 59.6 * kSecond, "2024-03-01 00:01:00"},
      {45352 + 59.4 * kSecond, "2024-03-01 00:00:59"},
      {45352 + 86399.6 * kSecond, "2024-03-02 00:00:00"},
      {45352 + 86399.4 * kSecond, "2024-03-01 23:59:59"},
      {45657 + 86399.9 * kSecond, "2025-01-01 00:00:00"},
      {0 + 86399.6 * kSecond, "1899-12-31 00:00:00"},
      {-2 - 59.6 * kSecond, "1899-12-28 00:01:00"},
      {-2 - 59.4 * kSecond, "1899-12-28 00:00:59"},
      // Before the first day, rounding up gives the day before.
      {-1 - 86399.6 * kSecond, "1899-12-28 00:00:00"},
      {-1 - 86399.4 * kSecond, "1899-12-29 23:59:59"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DateTime(row.value).FormatDateTime(), row.text) << row.value;
  }
}

TEST(DateTimeTest, APatternIsFormattedAsByStrftime) {
  const DateTime date(2024, 3, 1, 14, 5, 9);
  EXPECT_EQ(date.Format("%Y%m%d-%H%M%S"), "20240301-140509");
  EXPECT_EQ(date.Format("%A %a %B %b %d %j %u %w"), "Friday Fri March Mar 01 061 5 5");
  EXPECT_EQ(date.Format("no conversion, 100%%"), "no conversion, 100%");
}

TEST(DateTimeTest, TheFixedPatternsHaveTheirForm) {
  const DateTime date(2024, 3, 1, 14, 5, 9);
  EXPECT_EQ(date.FormatRfc(), "Fri, 01 Mar 2024 14:05:09");
  EXPECT_EQ(date.FormatDate(), "2024-03-01");
  EXPECT_EQ(date.FormatDateTime(), "2024-03-01 14:05:09");
}

TEST(DateTimeTest, AValueThatIsNotSetCorrectlyIsStillRendered) {
  EXPECT_EQ(DateTime().FormatDateTime(), "1899-12-30 00:00:00");
  DateTime date(45352.0);
  EXPECT_FALSE(date.SetDate(2024, 13, 1));
  EXPECT_EQ(date.FormatDate(), "2024-03-01");
}

TEST(DateTimeTest, ARenderedValueIsNeverInDaylightSavingTimeAndHasNoOffset) {
  const TimeZone zone("AAA-5BBB,M3.2.0,M11.1.0");
  for (const int month : {1, 7}) {
    EXPECT_EQ(DateTime(2024, month, 1, 12, 0, 0).Format("%Z %z"), "AAA +0000");
  }
}

TEST(DateTimeTest, ATextOfUpTo127CharactersIsRendered) {
#define TEN_CHARACTERS "0123456789"
#define HUNDRED_CHARACTERS                                                                  \
  TEN_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS \
      TEN_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS
  const DateTime date(45352.0);
  EXPECT_EQ(date.Format(HUNDRED_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS "abc%Y"),
            HUNDRED_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS "abc2024");
  EXPECT_EQ(date.Format(HUNDRED_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS "abcd%Y"), "");
}

TEST(DateTimeTest, ToStringGivesTheNumberWithSixDecimals) {
  EXPECT_EQ(DateTime(45352.25).ToString(), "45352.250000");
  EXPECT_EQ(DateTime(-1.25).ToString(), "-1.250000");
  EXPECT_EQ(DateTime().ToString(), "0.000000");
  EXPECT_EQ(DateTime(2024, 3, 1, 14, 5, 9).ToString(), "45352.586910");
  EXPECT_EQ(DateTime(1e9).ToString(), "1000000000.000000");
}

TEST(DateTimeTest, ATextIsParsedByItsForm) {
  const double date = 45352;
  const double withTime = date + 50709.0 / 86400;
  const struct {
    const char* text;
    bool valid;
    double value;  // 7.5 before
  } rows[] = {
      {"2024-03-01 14:05:09", true, withTime},
      {"2024-03-01T14:05:09", true, withTime},
      {"2024-03-01", true, date},
      {"2024-3-1", true, date},
      {"2024-3-1 14:5:9", true, withTime},
      {"2024-02-29", true, 45351},
      {"0-1-1", true, -693959},
      // What follows the last number is ignored.
      {"2024-03-01T14:05:09Z", true, withTime},
      {"2024-03-01T14:05:09 and more", true, withTime},
      {"2024-03-01 14:05:09 T", true, withTime},
      {"2024-03-01x", true, date},
      // Without a complete time the date alone is set, unless the text contains a blank.
      {"2024-01-02Tjunk", true, 45293},
      {"2024-03-01T14:05", true, date},
      {"2024-03-01T", true, date},
      {"2024-03-01 14:05", false, 0},
      {"2024-03-01 ", false, 0},
      {"2024-03-01 junk", false, 0},
      {"2024-03-01T14:05 ", false, 0},
      {"T2024-03-01", false, 0},
      // Invalid fields keep the value.
      {"2024-13-01", false, 7.5},
      {"2023-02-29", false, 7.5},
      {"2024-03-01 24:00:00", false, 7.5},
      {"2024-03-01T14:60:00", false, 7.5},
      // Texts without any of the forms.
      {"", false, 0},
      {" ", false, 0},
      {"T", false, 0},
      {"2024", false, 0},
      {"2024-03", false, 0},
      {"20240301", false, 0},
      {"2024/03/01", false, 0},
      {"junk", false, 0},
      {"24-03-01-", true, -685133},
      {"12345-01-01", false, 0},
      // Numbers are read as unsigned and then taken as signed 16-bit numbers.
      {"-100-01-02", true, -730481},
      {"2024-03-01 -6:00:00", true, 45351.75},
      {"2024--3-01", false, 7.5},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    DateTime parsed(7.5);
    EXPECT_EQ(parsed.Parse(row.text), row.valid);
    EXPECT_EQ(parsed.IsSetCorrectly(), row.valid);
    EXPECT_EQ(parsed.GetValue(), row.value);
  }
}

TEST(DateTimeTest, TheDigitsOfACompactTextAreADate) {
  const struct {
    const char* text;
    bool valid;
    double value;  // 7.5 before
  } rows[] = {
      {"20240301", true, 45352},
      {"2024031", true, 45352},  // the day has one digit
      {"20240301235959", true, 45352},
      {"20240301 and more", true, 45352},
      {" 2024 3 1", true, 45352},
      {"20240229", true, 45351},
      {"20230229", false, 7.5},
      {"20241301", false, 7.5},
      {"20240300", false, 7.5},
      {"202403", false, 0},
      {"2024", false, 0},
      {"", false, 0},
      {"junk", false, 0},
      {"2024-03-01", false, 7.5},  // read as month 0 and day 3
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    DateTime parsed(7.5);
    EXPECT_EQ(parsed.ParseCompact(row.text), row.valid);
    EXPECT_EQ(parsed.IsSetCorrectly(), row.valid);
    EXPECT_EQ(parsed.GetValue(), row.value);
  }
}

TEST(DateTimeTest, HoursAreAdded) {
  DateTime date(45352.0);
  date.AddHours(6U);
  ExpectSet(date, 45352.25);
  date.AddHours(24U * 10);
  ExpectSet(date, 45362.25);
  date.AddHours(0U);
  ExpectSet(date, 45362.25);
}

TEST(DateTimeTest, TheSecondsOfTheHoursAreASignedNumberOf32Bits) {
  const struct {
    unsigned int hours;
    double seconds;
  } rows[] = {
      {596523, 2147482800.0}, {596524, -2147480896.0}, {1193046, -1696.0},
      {1193047, 1904.0},      {4294967295U, -3600.0},
  };
  for (const auto& row : rows) {
    DateTime date(0.0);
    date.AddHours(row.hours);
    EXPECT_DOUBLE_EQ(date.GetValue(), row.seconds / 86400) << row.hours;
  }
}

TEST(DateTimeTest, HoursMayBeAddedAsAText) {
  const struct {
    const char* text;
    double days;
  } rows[] = {
      {"6", 0.25}, {"1.5", 0.0625}, {"-12", -0.5},  {" 12 hours", 0.5},
      {"", 0.0},   {"junk", 0.0},   {"2.4e1", 1.0}, {"24000000", 1000000.0},
  };
  for (const auto& row : rows) {
    DateTime date(0.0);
    date.AddHours(std::string(row.text));
    EXPECT_EQ(date.GetValue(), row.days) << row.text;
  }
}

TEST(DateTimeTest, AddingHoursDoesNotMakeItSetCorrectly) {
  DateTime date;
  date.AddHours(12U);
  ExpectUnset(date, 0.5);
  date.AddHours("12");
  ExpectUnset(date, 1.0);
}

TEST(DateTimeTest, IsSameYearComparesTheFields) {
  const DateTime date(2024, 1, 1, 0, 0, 0);
  EXPECT_TRUE(date.IsSameYear(DateTime(2024, 12, 31, 23, 59, 59)));
  EXPECT_FALSE(date.IsSameYear(DateTime(2023, 12, 31, 23, 59, 59)));
  EXPECT_FALSE(date.IsSameYear(DateTime(2025, 1, 1, 0, 0, 0)));
  EXPECT_TRUE(date.IsSameYear(DateTime(45291 + 86399.6 * kSecond)));  // 2023-12-31, rounded up
  EXPECT_TRUE(DateTime().IsSameYear(DateTime(-1.25)));
}

TEST(DateTimeTest, IsSameDayComparesTheFields) {
  const DateTime date(2024, 3, 1, 12, 0, 0);
  EXPECT_TRUE(date.IsSameDay(DateTime(2024, 3, 1, 0, 0, 0)));
  EXPECT_TRUE(date.IsSameDay(DateTime(2024, 3, 1, 23, 59, 59)));
  EXPECT_FALSE(date.IsSameDay(DateTime(2024, 3, 2, 12, 0, 0)));
  EXPECT_FALSE(date.IsSameDay(DateTime(2024, 4, 1, 12, 0, 0)));
  EXPECT_FALSE(date.IsSameDay(DateTime(2025, 3, 1, 12, 0, 0)));
  EXPECT_FALSE(date.IsSameDay(DateTime(2023, 3, 2, 12, 0, 0)));  // also the 61st day of its year
  EXPECT_TRUE(date.IsSameDay(DateTime(45351 + 86399.6 * kSecond)));
  EXPECT_TRUE(DateTime(-1.25).IsSameDay(DateTime(-1.75)));
  EXPECT_FALSE(DateTime(-1.25).IsSameDay(DateTime(-0.75)));
}

TEST(DateTimeTest, DatesOutsideTheCalendarHaveNoYearAndNoDay) {
  const DateTime outside(3000000.0);
  const DateTime inside(45352.0);
  EXPECT_FALSE(outside.IsSameYear(outside));
  EXPECT_FALSE(outside.IsSameDay(outside));
  EXPECT_FALSE(inside.IsSameYear(outside));
  EXPECT_FALSE(outside.IsSameYear(inside));
  EXPECT_FALSE(inside.IsSameDay(outside));
  EXPECT_FALSE(outside.IsSameDay(inside));
}

TEST(DateTimeTest, EqualityComparesOnlyTheNumbers) {
  EXPECT_TRUE(DateTime() == DateTime(0.0));
  EXPECT_FALSE(DateTime() != DateTime(0.0));
  EXPECT_FALSE(DateTime(-0.25) == DateTime(0.25));
  EXPECT_TRUE(DateTime(-0.25) != DateTime(0.25));
  EXPECT_FALSE(DateTime(1.0) == DateTime(std::nextafter(1.0, 2.0)));
  EXPECT_TRUE(DateTime(1.0) != DateTime());
}

TEST(DateTimeTest, DatesAreOrderedInTime) {
  // Each one is later than the one before it.
  const double values[] = {-3.0, -2.25, -2.75, -1.0, -1.25, -1.75, 0.0, 0.25, 1.0, 45352.5};
  for (std::size_t i = 0; i < std::size(values); ++i) {
    for (std::size_t j = 0; j < std::size(values); ++j) {
      SCOPED_TRACE(testing::Message() << values[i] << " and " << values[j]);
      const DateTime left(values[i]);
      const DateTime right(values[j]);
      EXPECT_EQ(left < right, i < j);
      EXPECT_EQ(left <= right, i <= j);
      EXPECT_EQ(left > right, i > j);
      EXPECT_EQ(left >= right, i >= j);
    }
  }
}

TEST(DateTimeTest, ATimeOfTheFirstDayIsTheSameWithAMinusSign) {
  // -0.25 and 0.25 are two numbers for one time.
  EXPECT_FALSE(DateTime(-0.25) < DateTime(0.25));
  EXPECT_FALSE(DateTime(-0.25) > DateTime(0.25));
  EXPECT_TRUE(DateTime(-0.25) <= DateTime(0.25));
  EXPECT_TRUE(DateTime(-0.25) >= DateTime(0.25));
}

TEST(DateTimeDeathTest, OrderingADateThatIsNotSetCorrectlyFailsAnAssertion) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const DateTime set(2.0);
  const DateTime unset;
  const char* const left =
      ": framework/Utilities/DateTime\\.cpp:[0-9]+: .*: Assertion `m_bSetCorrectly == true' "
      "failed\\.";
  const char* const right =
      ": framework/Utilities/DateTime\\.cpp:[0-9]+: .*: Assertion `date\\.m_bSetCorrectly == true' "
      "failed\\.";
  EXPECT_DEATH(static_cast<void>(unset < set), left);
  EXPECT_DEATH(static_cast<void>(unset <= set), left);
  EXPECT_DEATH(static_cast<void>(unset > set), left);
  EXPECT_DEATH(static_cast<void>(unset >= set), left);
  EXPECT_DEATH(static_cast<void>(set < unset), right);
  EXPECT_DEATH(static_cast<void>(set <= unset), right);
  EXPECT_DEATH(static_cast<void>(set > unset), right);
  EXPECT_DEATH(static_cast<void>(set >= unset), right);
  EXPECT_DEATH(static_cast<void>(unset < unset), left);
}

// Returns a zone 5 hours behind UTC whose daylight saving time either lasts from 60 days before to
// 60 days after today, or is in force for the rest of the year.
std::string ZoneWithDaylightSaving(bool inForce) {
  const std::time_t now = std::time(nullptr);
  std::tm today{};
  gmtime_r(&now, &today);
  const int first = (today.tm_yday + 365 - 60) % 365 + 1;
  const int last = (today.tm_yday + 60) % 365 + 1;
  return "AAA5BBB,J" + std::to_string(inForce ? first : last) + "/0,J" +
         std::to_string(inForce ? last : first) + "/0";
}

TEST(DateTimeTest, UtcTimeIsUtcReadAsLocalTimeWithoutDaylightSaving) {
  const struct {
    std::string zone;
    std::time_t offset;
  } rows[] = {
      {"UTC0", 0},
      {"AAA-5:30", -19800},
      {"AAA8", 28800},
      {ZoneWithDaylightSaving(true), 18000 - 3600},
      {ZoneWithDaylightSaving(false), 18000},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.zone);
    const TimeZone zone(row.zone);
    const std::time_t before = std::time(nullptr);
    const std::time_t utc = DateTime::UtcTime();
    const std::time_t after = std::time(nullptr);
    EXPECT_GE(utc - row.offset, before);
    EXPECT_LE(utc - row.offset, after);
  }
}

TEST(DateTimeTest, NowStringIsTheLocalTimeInTheFormOfAsctimeWithItsLineFeed) {
  const auto text = [](std::time_t time) {
    std::tm local{};
    localtime_r(&time, &local);
    char buffer[64];
    return std::string(buffer,
                       std::strftime(buffer, sizeof(buffer), "%a %b %e %H:%M:%S %Y\n", &local));
  };
  for (const char* const name : {"UTC0", "AAA-5:30", "AAA8"}) {
    const TimeZone zone(name);
    const std::time_t before = std::time(nullptr);
    const std::string now = DateTime::NowString();
    const std::time_t after = std::time(nullptr);
    bool found = false;
    for (std::time_t time = before; time <= after; ++time) {
      found = found || now == text(time);
    }
    EXPECT_TRUE(found) << now << " is not " << text(before);
  }
}

// Another thread may read them.
TEST(DateTimeTest, TheSharedResultsOfTheCLibraryAreUnchanged) {
  const std::time_t epoch = 0;
  const std::tm* const sharedFields = std::gmtime(&epoch);
  const char* const sharedText = std::asctime(sharedFields);
  ASSERT_STREQ(sharedText, "Thu Jan  1 00:00:00 1970\n");

  const DateTime now(std::time(nullptr));
  EXPECT_EQ(sharedFields->tm_year, 70) << now.FormatDateTime();
  EXPECT_GT(DateTime::UtcTime(), 0);
  EXPECT_EQ(sharedFields->tm_year, 70);
  EXPECT_NE(DateTime::NowString(), "");
  EXPECT_EQ(sharedFields->tm_year, 70);
  EXPECT_STREQ(sharedText, "Thu Jan  1 00:00:00 1970\n");
}

}  // namespace
