// Calendar dates and Julian days (Meeus 1991, "Astronomical Algorithms", chapter 7), in the mixed
// calendar that dataset files call "standard": Gregorian from 15 October 1582, Julian before.

#include <cmath>

#include "dataset/hyfs.h"

namespace dfl {

namespace {

constexpr int common_era = 1;
constexpr int seconds_of_day = 86400;
constexpr double milliseconds_of_day = 86400000.0;
constexpr std::int64_t first_gregorian_day = 2299161;  // at noon of 15 October 1582

bool is_gregorian(int year, int month, int day) {
  if (year != 1582) return year > 1582;
  return month != 10 ? month > 10 : day >= 15;
}

int days_of_month(int year, int month) {
  constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = year % 4 == 0 && (year < 1583 || year % 100 != 0 || year % 400 == 0);
  return month == 2 && leap ? 29 : days[month - 1];
}

// Day number at noon. Years count through 0, the year before year 1.
std::int64_t day_number(int year, int month, int day) {
  std::int64_t y = year, m = month;
  if (m <= 2) {
    y -= 1;
    m += 12;
  }
  constexpr std::int64_t shift = 4716;  // makes all years of use positive
  std::int64_t correction = 0;
  if (is_gregorian(year, month, day)) {
    const std::int64_t century = y / 100;
    correction = 2 - century + century / 4;
  }
  return 1461 * (y + shift) / 4 + 306001 * (m + 1) / 10000 + day + correction - 1524;
}

}  // namespace

int hfcalendartojulian_f(int era, int year, int month, int day, int hour, int minute, double second,
                         double& julian_day) {
  // Era 0 counts the years before the common era, 1 before it being year 0 of the count.
  const int counted = era == common_era ? year : 1 - year;
  const bool good = (era == common_era || era == 0) && counted >= -4712 && counted <= 99999 &&
                    month >= 1 && month <= 12 && day >= 1 && hour >= 0 && hour <= 23 &&
                    minute >= 0 && minute <= 59 && second >= 0.0 && second < 61.0;
  if (!good || day > days_of_month(counted, month)) return hyfs_dataset_invalid;
  const double seconds = static_cast<double>(hour * 3600 + minute * 60) + second;
  julian_day = static_cast<double>(day_number(counted, month, day)) - 0.5 +
               seconds / static_cast<double>(seconds_of_day);
  return 0;
}

int hfjuliantocalendar_f(double julian_day, int& era, int& year, int& month, int& day, int& hour,
                         int& minute, double& second) {
  constexpr double last_day = 4.0e7;
  if (!(julian_day >= 0.0) || !(julian_day <= last_day)) return hyfs_dataset_invalid;
  // To whole milliseconds: an 8-byte day resolves 0.04 ms, and a full minute must not come back as
  // 59.99996 seconds.
  double midnight = std::floor(julian_day + 0.5);
  std::int64_t milliseconds = std::llround((julian_day + 0.5 - midnight) * milliseconds_of_day);
  if (milliseconds >= std::llround(milliseconds_of_day)) {
    milliseconds -= std::llround(milliseconds_of_day);
    midnight += 1.0;
  }
  const std::int64_t number = static_cast<std::int64_t>(midnight);
  std::int64_t a = number;
  if (number >= first_gregorian_day) {
    const std::int64_t century = (4 * number - 7468865) / 146097;
    a = number + 1 + century - century / 4;
  }
  const std::int64_t b = a + 1524;
  const std::int64_t c = (20 * b - 2442) / 7305;
  const std::int64_t d = 1461 * c / 4;
  const std::int64_t e = 10000 * (b - d) / 306001;
  day = static_cast<int>(b - d - 306001 * e / 10000);
  month = static_cast<int>(e < 14 ? e - 1 : e - 13);
  const int counted = static_cast<int>(month > 2 ? c - 4716 : c - 4715);
  era = counted >= 1 ? common_era : 0;
  year = counted >= 1 ? counted : 1 - counted;
  hour = static_cast<int>(milliseconds / 3600000);
  minute = static_cast<int>(milliseconds / 60000 % 60);
  second = static_cast<double>(milliseconds % 60000) / 1000.0;
  return 0;
}

}  // namespace dfl
