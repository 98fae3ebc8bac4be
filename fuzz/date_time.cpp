// Parses the input as a date, and formats and moves the date.

#include <cstddef>
#include <cstdint>
#include <string>

#include "framework/Utilities/DateTime.h"
#include "fuzz/Budget.h"
#include "fuzz/Rules.h"

namespace {

using fwk::DateTime;

constexpr Budget::Limits kLimits{
    .microseconds = 50000, .microsecondsPerByte = 20, .bytes = 8192, .bytesPerByte = 64};

const DateTime kBefore(20240229);  // the value before parsing

void CheckParsed(const DateTime& date, bool parsed) {
  Require(date.IsSetCorrectly() == parsed, "a date knows whether it was parsed");
  Require(parsed || date.GetValue() == 0.0 || date == kBefore, "a failed parse sets no date");
  Require(date.IsSameDay(date) == (date.FormatDate() != "Invalid DateTime."),
          "a date in the calendar is on its own day");

  const std::string text = date.FormatDateTime();
  DateTime again;
  if (text == "Invalid DateTime.") {
    Require(!again.Parse(text), "a date outside the calendar cannot be parsed");
    return;
  }
  Require(again.Parse(text) && again.FormatDateTime() == text, "a date can be parsed as formatted");
  DateTime third;
  Require(third.Parse(again.FormatDateTime()) && third == again, "and is then the same");
}

void CheckCompact(const DateTime& date) {
  const std::string text = date.Format("%Y%m%d");
  DateTime again;
  if (text.size() == 8) {  // a year of four digits
    Require(again.ParseCompact(text) && again == date, "a day can be parsed as formatted");
  }
}

void Move(DateTime date, const std::string& text) {
  date.AddHours(text);
  date.FormatRfc();
  date.ToString();
  Require(date.IsSetCorrectly(), "a date stays set correctly when hours are added");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Budget budget(kLimits, size);
  const std::string text(data, data + size);

  DateTime date = kBefore;
  CheckParsed(date, date.Parse(text));
  DateTime day = kBefore;
  const bool isDay = day.ParseCompact(text);
  CheckParsed(day, isDay);
  if (isDay) {
    CheckCompact(day);
  }
  Move(kBefore, text);
  return 0;
}
