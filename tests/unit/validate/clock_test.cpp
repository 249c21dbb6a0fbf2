#include "judge.h"
#include <algorithm>
#include <cstdio>
#include <roqutil/validate.h>

namespace {

using roq::test::expect_verdicts;
using roq::test::judge_in_place;
using roq::test::TextCase;

constexpr TextCase kDates[] = {
    {"2024-02-29", 1, "leap year"},
    {"2023-01-:x", 0, "the character behind 9 for a day"},
    {"2023- :-01", 0, "the same for a month"},
    {"2023-01-/1", 0, "the character in front of 0"},
    {"2000-02-29", 1, "divisible by 400"},
    {"1900-02-29", 0, "divisible by 100"},
    {"2023-02-29", 0, "no leap year"},
    {"2023-02-28", 1, "no leap year"},
    {"2023-04-30", 1, "30 days"},
    {"2023-04-31", 0, "30 days"},
    {"2023-08-31", 1, "31 days"},
    {"2023-09-31", 0, "30 days"},
    {"2023-12-31", 1, "31 days"},
    {"2023-12-32", 0, "32"},
    {"0001-01-01", 1, "the first day"},
    {"9999-12-31", 1, "the last day"},
    {"0000-01-01", 0, "year 0"},
    {"2023-00-01", 0, "month 0"},
    {"2023-13-01", 0, "month 13"},
    {"2023-01-00", 0, "day 0"},
    {"2023-1-01", 0, "9 characters"},
    {"2023-01-1", 0, "9 characters"},
    {"2023-01-011", 0, "11 characters"},
    {"2023-01-01 ", 0, "11 characters"},
    {"02023-01-0", 0, "first hyphen at index 5"},
    {"202-301-01", 0, "first hyphen at index 3"},
    {"2023-1-011", 0, "second hyphen at index 6"},
    {"2023-001-1", 0, "second hyphen at index 8"},
    {"2023-01-1-", 0, "a third hyphen"},
    {"2023-01--1", 0, "a third hyphen"},
    {"2023--1-01", 0, "the second hyphen at index 5"},
    {"-023-01-01", 0, "the first hyphen at index 0"},
    {"2023/01/01", 0, "slashes"},
    {"2023-01/01", 0, "one slash"},
    {"20230101  ", 0, "no hyphen"},
    {"2023-01-1x", 1, "what follows the day is not looked at"},
    {"2023-01-1\xff", 1, "what follows the day is not looked at"},
    {"2023-01-1 ", 1, "a blank behind"},
    {"2023-01-3x", 1, "the third"},
    {"2023-02-3x", 1, "the third, not the thirtieth"},
    {"2023-01-x1", 0, "no digit in front"},
    {"2023-01-xx", 0, "no day"},
    {"2023-01-  ", 0, "no day"},
    {"2023-  -01", 0, "no month"},
    {"    -01-01", 0, "no year"},
    {" 999-01-01", 1, "a blank and the year 999"},
    {"  99-01-01", 1, "blanks"},
    {"\t\n\v9-01-01", 1, "white space"},
    {"2023- 6-01", 1, "a blank in the month"},
    {"2023-01- 1", 1, "a blank in the day"},
    {"+999-01-01", 1, "a plus"},
    {" +99-01-01", 1, "a blank and a plus"},
    {"+ 99-01-01", 0, "a plus and a blank"},
    {"2023-+6-01", 1, "a plus in the month"},
    {"2023-01-+1", 1, "a plus in the day"},
    {"2023-01-+x", 0, "a plus without a digit"},
    {"2023-6 -01", 0, "a blank behind the month"},
    {"999 -01-01", 0, "a blank behind the year"},
    {"20x3-01-01", 0, "a letter in the year"},
    {"0x10-01-01", 0, "hexadecimal"},
    {"2023-0x-01", 0, "a letter in the month"},
    {"\xa0"
     "999-01-01",
     0, "a byte that is white space elsewhere"},
    {"", 0, "empty"},
    {"----------", 0, "hyphens"},
    {"2023-06-01T12:30:00", 0, "a date-time"},
};

TEST(ValidateDate, AcceptsDaysOfTheCalendar) { expect_verdicts(ROQ_UTIL_ValidateDate, kDates); }

TEST(ValidateDate, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateDate(nullptr), 0U); }

TEST(ValidateDate, KnowsEveryDayOf400Years) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (int year = 1800; year < 2200; ++year) {
    bool is_leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    for (int month = 1; month <= 12; ++month) {
      int days = kDays[month - 1] + (month == 2 && is_leap ? 1 : 0);
      for (int day : {1, 27, 28, 29, 30, 31, 32}) {
        char text[16];
        snprintf(text, sizeof text, "%04d-%02d-%02d", year, month, day);
        ASSERT_EQ(ROQ_UTIL_ValidateDate(text), day <= days ? 1U : 0U) << text;
      }
    }
  }
}

TEST(ValidateDate, RefusesLongTextsWhateverTheyHold) {
  for (char filling : {'0', '1', '-', ' '}) {
    EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateDate, std::string(100000, filling)), 0U);
    EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateDate, "2023-01-01" + std::string(100000, filling)), 0U);
    EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateDate, "2023-01-" + std::string(100000, filling) + '1'), 0U);
  }
}

constexpr TextCase kTimesWithSeconds[] = {
    {"00:00:00", 1, "midnight"},
    {"23:59:59", 1, "the last second"},
    {"24:00:00", 0, "hour 24"},
    {"12:60:00", 0, "minute 60"},
    {"12:00:60", 0, "second 60"},
    {"99:00:00", 0, "hour 99"},
    {"1:00:00", 0, "7 characters, first colon at index 1"},
    {"1:000:00", 0, "first colon at index 1"},
    {"001:00:0", 0, "first colon at index 3"},
    {"12:0:000", 0, "second colon at index 4"},
    {"12:000:0", 0, "second colon at index 6"},
    {"12:00:0:", 0, "a third colon"},
    {"12:00:00:", 0, "a third colon"},
    {"12:00:00.5", 1, "what follows the seconds is not looked at"},
    {"12:00:00.123", 1, "12 characters"},
    {"12:00:00.1234", 0, "13 characters"},
    {"12:00:00abcd", 1, "any text behind"},
    {"12:00:00\xff\x01", 1, "any byte behind"},
    {"12:00:5xxx", 1, "one digit of seconds"},
    {"12:00:005", 1, "three digits of seconds"},
    {"12:00:000059", 1, "six digits of seconds"},
    {"12:00:000060", 0, "six digits of seconds"},
    {"12:00:    5", 1, "blanks before the seconds"},
    {"12:00:\t\n\v\f\r5", 1, "white space before the seconds"},
    {"12:00:      ", 0, "no seconds"},
    {"12:00:x5", 0, "no seconds"},
    {"12:00:", 0, "6 characters"},
    {"12:00:0", 0, "7 characters"},
    {" 1:00:00", 1, "a blank before the hour"},
    {"+1:+1:+1", 1, "signs"},
    {"-0:-0:-0", 1, "minus zero is zero"},
    {"-1:00:00", 0, "a negative hour"},
    {"12:-1:00", 0, "a negative minute"},
    {"12:00:-1", 0, "a negative second"},
    {"1 :00:00", 0, "a blank behind the hour"},
    {"  :00:00", 0, "no hour"},
    {"12:  :00", 0, "no minute"},
    {"12-00-00", 0, "hyphens"},
    {"1x:00:00", 0, "a letter"},
    {"", 0, "empty"},
    {"::::::::", 0, "colons"},
};

TEST(ValidateTime1, AcceptsTimesWithSeconds) { expect_verdicts(ROQ_UTIL_ValidateTime1, kTimesWithSeconds); }

TEST(ValidateTime1, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateTime1(nullptr), 0U); }

TEST(ValidateTime1, AcceptsExactlyTheTimesOfADay) {
  for (int hour = 0; hour < 100; ++hour) {
    for (int part = 0; part < 100; ++part) {
      char minutes[32], seconds[32];
      snprintf(minutes, sizeof minutes, "%02d:%02d:59", hour, part);
      snprintf(seconds, sizeof seconds, "%02d:59:%02d", hour, part);
      uint32_t expected = hour < 24 && part < 60 ? 1 : 0;
      EXPECT_EQ(ROQ_UTIL_ValidateTime1(minutes), expected) << minutes;
      EXPECT_EQ(ROQ_UTIL_ValidateTime1(seconds), expected) << seconds;
    }
  }
}

constexpr TextCase kDateTimes[] = {
    {"2023-06-01T12:30:00", 1, "19 characters"},
    {"2023-06-01T12:30:00Z", 1, "with a zone"},
    {"2023-06-01T12:30:00.123Z", 1, "24 characters"},
    {"2023-06-01T12:30:00.1234Z", 0, "25 characters"},
    {"2023-06-01T12:30:00+08:00", 0, "25 characters"},
    {"2023-06-01T12:30:0", 0, "18 characters"},
    {"2023-06-01 12:30:00", 0, "no T"},
    {"2023-06-01t12:30:00", 0, "a lower-case t"},
    {"2023-06-01T12:30:00z", 1, "a lower-case z is trailing text"},
    {"2023-06-01T12:30:00Zjunk", 1, "what follows the Z is not looked at"},
    {"2023-06-01T12:30:00Zjunk+", 0, "25 characters, although the last five are not looked at"},
    {"2023-06-01T12:30:00Z::::", 1, "what follows the Z is not looked at"},
    {"2023-06-01T12:30:00ZT", 1, "a second T behind the Z"},
    {"2023-06-01T12:30:00T", 1, "a second T is trailing text of the time"},
    {"2023-06-01T12:30:Z00", 0, "cut before the seconds"},
    {"2023-06-01TZ12:30:00", 0, "cut before the time"},
    {"2023-06-01T12:30:00:", 0, "a third colon"},
    {"2023-06-01T1:30:00Z", 0, "the time has 7 characters"},
    {"2023-02-30T12:30:00", 0, "no such day"},
    {"2023-06-01T24:30:00", 0, "no such hour"},
    {"2023-06-1ZT12:30:00", 1, "a Z in the date is text behind the day"},
    {"2023-06-Z1T12:30:00", 0, "a Z in front of the day"},
    {"2023-06-1ZT12:30:00Z", 1, "only the first Z cuts, and that one is in the date"},
    {"2023-06-1ZT12:30:00Z:", 0, "only the first Z cuts: the colon counts"},
    {"Z2023-06-01T12:30:00", 0, "a Z in front"},
    {"T2023-06-01T12:30:00", 0, "a T in front"},
    {"2023-06-01TT12:30:00", 0, "two Ts"},
    {"2023-6-01T012:30:00", 0, "the T at the wrong place"},
    {" 999-01-01T 1:00:00Z", 1, "the latitude of both parts"},
    {"2023-06-01T12:30:00\xff\x01", 1, "any byte behind"},
    {"", 0, "empty"},
    {"TTTTTTTTTTTTTTTTTTTT", 0, "only Ts"},
};

TEST(ValidateDateTime, AcceptsADateAndATime) { expect_verdicts(ROQ_UTIL_ValidateDateTime, kDateTimes); }

TEST(ValidateDateTime, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateDateTime(nullptr), 0U); }

constexpr TextCase kHoursAndMinutes[] = {
    {"9:05", 1, "one digit of hours"},
    {"09:05", 1, "two digits of hours"},
    {"00:00", 1, "midnight"},
    {"0:00", 1, "midnight"},
    {"23:59", 1, "the last minute"},
    {"24:00", 0, "hour 24"},
    {"23:60", 0, "minute 60"},
    {"9:5", 0, "one digit of minutes"},
    {"9:005", 0, "three digits of minutes"},
    {"009:5", 0, "three digits of hours"},
    {":30", 0, "no hour"},
    {"12:", 0, "no minute"},
    {":", 0, "only a colon"},
    {"", 0, "empty"},
    {"1205", 0, "no colon"},
    {"12:300", 0, "6 characters"},
    {"12:30 ", 0, "6 characters"},
    {"1:2:3", 0, "a second colon"},
    {"1:30:", 0, "a second colon"},
    {"+1:30", 0, "a sign"},
    {" 1:30", 0, "a blank"},
    {"1:+5", 0, "a sign"},
    {"1: 5", 0, "a blank"},
    {"a:30", 0, "a letter"},
    {"1:3a", 0, "a letter"},
    {"1:3\xb2", 0, "a byte above 0x7f"},
};

TEST(ValidateTime, AcceptsHoursAndMinutes) { expect_verdicts(ROQ_UTIL_ValidateTime, kHoursAndMinutes); }

TEST(ValidateTime, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateTime(nullptr), 0U); }

TEST(ValidateTime, RefusesLongTextsWhateverTheyHold) {
  EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateTime, "1:30" + std::string(100000, '0')), 0U);
}

constexpr uint16_t kCanary = 0xA5A5;

struct MinuteCase {
  const char* text;
  uint32_t expected;
  uint16_t minutes;
  const char* why;
};

constexpr MinuteCase kMinutes[] = {
    {"00:00", 1, 0, "midnight"},
    {"9:05", 1, 545, "an hour of one digit"},
    {"9:5", 1, 545, "a minute of one digit"},
    {"1:005", 1, 65, "a minute of three digits"},
    {"001:5", 1, 65, "an hour of three digits"},
    {"000:0", 1, 0, "zeros"},
    {"23:59", 1, 1439, "the last minute"},
    {"0:059", 1, 59, "the last minute of an hour"},
    {"24:00", 0, kCanary, "hour 24"},
    {"024:0", 0, kCanary, "hour 24"},
    {"1:60", 0, kCanary, "minute 60"},
    {"1:060", 0, kCanary, "minute 60"},
    {":30", 0, kCanary, "no hour"},
    {"12:", 0, kCanary, "no minute"},
    {"", 0, kCanary, "empty"},
    {":", 0, kCanary, "only a colon"},
    {"1205", 0, kCanary, "no colon"},
    {"12:005", 0, kCanary, "6 characters"},
    {"0001:", 0, kCanary, "no minute"},
    {":0001", 0, kCanary, "no hour"},
    {"1:2:3", 0, kCanary, "a second colon"},
    {"-1:30", 0, kCanary, "a sign"},
    {" 1:30", 0, kCanary, "a blank"},
    {"1:x", 0, kCanary, "a letter"},
    {"1:\xb2", 0, kCanary, "a byte above 0x7f"},
};

TEST(TimeToShort, WritesTheMinuteOfTheDay) {
  for (const MinuteCase& each : kMinutes) {
    uint16_t minutes[2];
    auto convert = [&](const char* text) {
      std::fill(std::begin(minutes), std::end(minutes), kCanary);
      return ROQ_UTIL_TimeToShort(text, minutes);
    };
    EXPECT_EQ(judge_in_place(convert, each.text), each.expected) << each.text << ": " << each.why;
    EXPECT_EQ(minutes[0], each.minutes) << each.text << ": " << each.why;
    EXPECT_EQ(minutes[1], kCanary);
  }
}

TEST(TimeToShort, ConvertsEveryMinuteOfTheDay) {
  for (int minute = 0; minute < 24 * 60; ++minute) {
    char text[16];
    snprintf(text, sizeof text, "%d:%02d", minute / 60, minute % 60);
    uint16_t converted = kCanary;
    EXPECT_EQ(ROQ_UTIL_TimeToShort(text, &converted), 1U) << text;
    EXPECT_EQ(converted, minute);
    EXPECT_EQ(ROQ_UTIL_ValidateTime(text), 1U) << text;
  }
}

TEST(TimeToShort, RefusesNullPointers) {
  uint16_t minutes = kCanary;
  EXPECT_EQ(ROQ_UTIL_TimeToShort(nullptr, &minutes), 0U);
  EXPECT_EQ(minutes, kCanary);
  EXPECT_EQ(ROQ_UTIL_TimeToShort("1:30", nullptr), 0U);
}

} // namespace
