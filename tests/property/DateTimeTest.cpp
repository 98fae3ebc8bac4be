// DateTime compared with a calendar that is counted day by day.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "framework/Utilities/CalendarFields.h"
#include "framework/Utilities/DateTime.h"
#include "tests/property/Random.h"

namespace {

using fwk::CalendarFields;
using fwk::DateTime;

constexpr int kFirstDay = -657434;  // 0100-01-01
constexpr int kLastDay = 2958465;   // 9999-12-31
constexpr int kSecondsPerDay = 86400;
constexpr double kSecond = 1.0 / kSecondsPerDay;

bool IsLeapYear(int year) {
  return year % 400 == 0 || (year % 4 == 0 && year % 100 != 0);
}

int LengthOfMonth(int year, int month) {
  constexpr int kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return kLengths[month - 1] + (IsLeapYear(year) && month == 2 ? 1 : 0);
}

struct Date {
  int year, month, day;

  bool operator==(const Date&) const = default;
};

// All dates of the calendar; the first is that of kFirstDay.
const std::vector<Date>& Calendar() {
  static const std::vector<Date> calendar = [] {
    std::vector<Date> dates;
    for (int year = 100; year <= 9999; ++year) {
      for (int month = 1; month <= 12; ++month) {
        for (int day = 1; day <= LengthOfMonth(year, month); ++day) {
          dates.push_back({year, month, day});
        }
      }
    }
    return dates;
  }();
  return calendar;
}

const Date& DateOf(int day) {
  return Calendar()[static_cast<std::size_t>(day - kFirstDay)];
}

// A second, counted from the midnight at which a day begins, perhaps past its end.
struct Moment {
  int day;
  std::int64_t second;
};

DateTime ToDateTime(const Moment& moment) {
  const Date& date = DateOf(moment.day);
  const auto second = static_cast<int>(moment.second);
  return {date.year, date.month, date.day, second / 3600, second / 60 % 60, second % 60};
}

std::string Padded(std::int64_t number) {
  return (number < 10 ? "0" : "") + std::to_string(number);
}

std::string DateText(int day) {
  const Date& date = DateOf(day);
  return std::to_string(date.year) + "-" + Padded(date.month) + "-" + Padded(date.day);
}

std::string Text(Moment moment) {
  while (moment.second >= kSecondsPerDay) {
    moment.second -= kSecondsPerDay;
    ++moment.day;
  }
  return DateText(moment.day) + " " + Padded(moment.second / 3600) + ":" +
         Padded(moment.second / 60 % 60) + ":" + Padded(moment.second % 60);
}

// Before day 0 the time of day is counted away from it.
double Value(int day, double seconds) {
  return day < 0 ? day - seconds * kSecond : day + seconds * kSecond;
}

// Returns a day from the year 1000 on, as earlier years have no fixed text; often one near a leap
// year or where the number changes its sign.
int AnyDay(Random& random) {
  constexpr int kYear1000 = -328716;
  constexpr int kTurns[] = {kYear1000, -109205, -1, 0, 61, 36586, 73110, 182697, kLastDay - 1};
  if (random.OneIn(3)) {
    const int turn = random.OneOf(kTurns);
    const int day = turn + random.Between(-400, 400);
    return std::min(std::max(day, kYear1000), kLastDay - 1);
  }
  return random.Between(kYear1000, kLastDay - 1);
}

Moment AnyMoment(Random& random) {
  const int day = AnyDay(random);
  return {day, random.Between<std::int64_t>(0, kSecondsPerDay - 1)};
}

bool Holds(const std::string& text, char c) {
  return text.find(c) != std::string::npos;
}

bool Reset(DateTime& date) {
  const DateTime unset;
  date = unset;
  return false;
}

bool SetFrom(DateTime& date, const std::array<unsigned int, 6>& n) {
  const auto at = [&n](std::size_t i) { return static_cast<std::int16_t>(n[i]); };
  return date.SetDateTime(at(0), at(1), at(2), at(3), at(4), at(5));
}

bool ParsePlainly(DateTime& date, const std::string& text) {
  const char* const source = text.c_str();
  std::array<unsigned int, 6> n{};
  if ((Holds(text, 'T') && std::sscanf(source, "%4u-%2u-%2uT%2u:%2u:%2u", &n[0], &n[1], &n[2],
                                       &n[3], &n[4], &n[5]) == 6) ||
      (Holds(text, ' ') && std::sscanf(source, "%4u-%2u-%2u %2u:%2u:%2u", &n[0], &n[1], &n[2],
                                       &n[3], &n[4], &n[5]) == 6)) {
    return SetFrom(date, n);
  }
  n.fill(0);
  const bool isDate =
      !Holds(text, ' ') && std::sscanf(source, "%4u-%2u-%2u", &n[0], &n[1], &n[2]) == 3;
  return isDate ? SetFrom(date, n) : Reset(date);
}

bool ParseCompactPlainly(DateTime& date, const std::string& text) {
  std::array<unsigned int, 6> n{};
  const bool isDate = std::sscanf(text.c_str(), "%4u%2u%2u", &n[0], &n[1], &n[2]) == 3;
  return isDate ? SetFrom(date, n) : Reset(date);
}

// Changes up to three characters of `text`.
void Change(Random& random, std::string& text, const std::string& alphabet) {
  for (int changes = random.Between(0, 3); changes > 0 && !text.empty(); --changes) {
    const std::size_t at = random.Between(std::size_t{0}, text.size() - 1);
    switch (random.Between(0, 2)) {
      case 0:
        text.erase(at, 1);
        break;
      case 1:
        text.insert(at, 1, random.OneOf(alphabet));
        break;
      default:
        text[at] = random.OneOf(alphabet);
    }
  }
}

// Expects both ways to parse what `anyText` returns to give the same, and both outcomes often.
template <typename Text, typename Parse>
void ExpectSameParsing(const Text& anyText, const Parse& parse, const Parse& parsePlainly) {
  int valid = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = anyText();
    DateTime date(7.5);
    DateTime plain(7.5);
    ASSERT_EQ(parse(date, text), parsePlainly(plain, text)) << testing::PrintToString(text);
    ASSERT_EQ(date.GetValue(), plain.GetValue()) << testing::PrintToString(text);
    ASSERT_EQ(date.IsSetCorrectly(), plain.IsSetCorrectly()) << testing::PrintToString(text);
    valid += date.IsSetCorrectly() ? 1 : 0;
  }
  EXPECT_GT(valid, 2000);
  EXPECT_LT(valid, 18000);
}

}  // namespace

TEST(DateTimeTest, EveryDayHasItsNumberAndItsFields) {
  int value = kFirstDay;
  int weekday = 6;  // 0100-01-01 is a Friday, 1 a Sunday
  int dayOfYear = 0;
  for (const Date& date : Calendar()) {
    dayOfYear = date.month == 1 && date.day == 1 ? 1 : dayOfYear + 1;
    ASSERT_EQ(DateTime(date.year, date.month, date.day, 0, 0, 0).GetValue(), value)
        << date.year << "-" << date.month << "-" << date.day;
    // The last second of the day where there is one, to see that it is still this day.
    const double time = date.day % 2 == 0 ? kSecondsPerDay - 1 : 0;
    const auto fields = CalendarFields::FromValue(Value(value, time));
    ASSERT_TRUE(fields) << value;
    ASSERT_TRUE((Date{fields->year, fields->month, fields->day} == date) &&
                fields->dayOfWeek == weekday && fields->dayOfYear == dayOfYear &&
                fields->hour == (time > 0 ? 23 : 0))
        << fields->year << "-" << fields->month << "-" << fields->day << " instead of " << date.year
        << "-" << date.month << "-" << date.day;
    ++value;
    weekday = weekday % 7 + 1;
  }
  EXPECT_EQ(value, kLastDay + 1);
}

TEST(DateTimeTest, EveryValueIsShownAsItsNearestSecond) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const int day = AnyDay(random);
    const int second = random.Between(1, kSecondsPerDay);
    const double seconds = second + random.Between(-400, 400) * 0.001;
    // Before day 0 the last half second of a day is carried to the day before.
    const bool carried = second == kSecondsPerDay && day < 0;
    const double value = Value(day, seconds);
    ASSERT_EQ(DateTime(value).FormatDateTime(), carried ? Text({day - 1, 0}) : Text({day, second}))
        << std::to_string(value);
  }
}

TEST(DateTimeTest, OnlyFieldsOfTheCalendarAreValid) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const auto year = random.Between(100, 10010);
    const auto month = random.Between(-1, 14);
    const auto day = random.Between(-1, 33);
    const auto hour = random.Between(0, 24);
    const auto minute = random.OneIn(5) ? 60 : random.Between(0, 59);
    const auto second = random.OneIn(5) ? 60 : random.Between(0, 59);
    const bool valid = year <= 9999 && month >= 1 && month <= 12 && day >= 1 &&
                       day <= LengthOfMonth(year, month) && hour < 24 && minute < 60 && second < 60;
    const DateTime date(year, month, day, hour, minute, second);
    SCOPED_TRACE(testing::PrintToString(std::vector{year, month, day, hour, minute, second}));
    ASSERT_EQ(date.IsSetCorrectly(), valid);
    ASSERT_EQ(date.GetValue() == 0.0, !valid);
  }
}

TEST(DateTimeTest, ANumberOfEightDigitsIsADate) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const int day = random.Between(kFirstDay, kLastDay);
    const Date& date = DateOf(day);
    const int number = date.year * 10000 + date.month * 100 + date.day;
    ASSERT_EQ(DateTime(number).GetValue(), day) << number;
    ASSERT_EQ(DateTime(static_cast<std::uint32_t>(number)).GetValue(), day) << number;
  }
}

TEST(DateTimeTest, ADateThatIsParsedHasTheValueAndTheTextOfItsFields) {
  Random random;
  for (int i = 0; i < 10000; ++i) {
    const Moment moment = AnyMoment(random);
    std::string text = Text(moment);
    DateTime date;
    ASSERT_TRUE(date.Parse(text)) << text;
    ASSERT_EQ(date.FormatDateTime(), text);
    ASSERT_TRUE(date == ToDateTime(moment)) << text;
    ASSERT_DOUBLE_EQ(date.GetValue(), Value(moment.day, static_cast<double>(moment.second)));
    text.replace(text.find(' '), 1, "T");
    ASSERT_TRUE(date.Parse(text)) << text;
    ASSERT_EQ(date.Format("%Y-%m-%dT%H:%M:%S"), text);
    text.erase(text.find('T'));
    ASSERT_TRUE(date.Parse(text)) << text;
    ASSERT_EQ(date.FormatDate(), text);
    ASSERT_EQ(date.GetValue(), moment.day) << text;
    std::erase(text, '-');
    ASSERT_TRUE(date.ParseCompact(text)) << text;
    ASSERT_EQ(date.Format("%Y%m%d"), text);
  }
}

TEST(DateTimeTest, AChangedTextIsParsedAsItsPatternsSay) {
  Random random;
  const auto anyText = [&random] {
    std::string text = Text(AnyMoment(random));
    text[text.find(' ')] = random.OneIn(2) ? 'T' : ' ';
    text.resize(text.size() - (random.OneIn(4) ? 9 : 0));
    Change(random, text, "0123456789-:T +x\t");
    return text;
  };
  ExpectSameParsing(
      anyText, +[](DateTime& date, const std::string& text) { return date.Parse(text); },
      +ParsePlainly);
}

TEST(DateTimeTest, AChangedCompactTextIsParsedAsItsPatternSays) {
  Random random;
  const auto anyText = [&random] {
    std::string text = DateText(AnyDay(random));
    std::erase(text, '-');
    Change(random, text, "0123456789- +x\t");
    return text;
  };
  ExpectSameParsing(
      anyText, +[](DateTime& date, const std::string& text) { return date.ParseCompact(text); },
      +ParseCompactPlainly);
}

TEST(DateTimeTest, AddedHoursAddTheirSeconds) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const int day = random.Between(0, 2900000);
    const auto second = random.Between<std::int64_t>(0, kSecondsPerDay - 1);
    const int quarters = random.Between(0, 2000000);
    const Moment later = {day, second + quarters * std::int64_t{900}};
    constexpr const char* kFractions[] = {"", ".25", ".5", ".75"};
    DateTime date = ToDateTime({day, second});
    date.AddHours(std::to_string(quarters / 4) + kFractions[quarters % 4]);
    ASSERT_EQ(date.FormatDateTime(), Text(later)) << quarters << " quarters of an hour";
  }
}

TEST(DateTimeTest, TheSecondsOfWholeHoursWrapAt32Bits) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const int bits = random.Between(0, 32);
    const auto hours = static_cast<std::uint32_t>(
        random.Between<std::uint64_t>(0, (std::uint64_t{1} << bits) - 1));
    std::int64_t seconds = std::int64_t{hours} * 3600 % 4294967296;
    seconds -= seconds >= 2147483648 ? 4294967296 : 0;
    const double before = Value(AnyDay(random), 0);
    DateTime date(before);
    date.AddHours(hours);
    ASSERT_DOUBLE_EQ(date.GetValue(), before + static_cast<double>(seconds) / kSecondsPerDay)
        << hours;
  }
}

TEST(DateTimeTest, DatesCompareAsTheirDaysAndSecondsDo) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const Moment left = AnyMoment(random);
    Moment right = AnyMoment(random);
    right.day = random.OneIn(2) ? left.day : right.day;
    right.second = random.OneIn(4) ? left.second : right.second;
    const DateTime a = ToDateTime(left);
    const DateTime b = ToDateTime(right);
    const bool earlier =
        left.day < right.day || (left.day == right.day && left.second < right.second);
    const bool equal = left.day == right.day && left.second == right.second;
    SCOPED_TRACE(Text(left) + " and " + Text(right));
    ASSERT_TRUE(a.IsSetCorrectly() && b.IsSetCorrectly());  // or comparing ends the process
    ASSERT_EQ(a < b, earlier);
    ASSERT_EQ(a <= b, earlier || equal);
    ASSERT_EQ(a > b, !earlier && !equal);
    ASSERT_EQ(a >= b, !earlier);
    ASSERT_EQ(a == b, equal);
    ASSERT_EQ(a != b, !equal);
    ASSERT_EQ(a.IsSameDay(b), left.day == right.day);
    ASSERT_EQ(a.IsSameYear(b), DateOf(left.day).year == DateOf(right.day).year);
  }
}
