#include "control/run_clock.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <ctime>

#include "control/text_tools.h"

namespace dfl {

namespace {

constexpr std::array<int, 12> month_days = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr double day_seconds = 86400.0;
constexpr std::int64_t cycle_days = 146097;  // of 400 years, whichever year they begin with
constexpr double longest_time = 1.0e15;      // s; keeps years within 4-byte integers

// Leap years from year 1 to `year`, for year >= 0.
std::int64_t leap_years(std::int64_t year) {
  return year / 4 - year / 100 + year / 400;
}

int days_in_month(int year, int month) {
  return month == 2 && IS_LEAP(year) ? 29 : month_days[static_cast<std::size_t>(month) - 1];
}

}  // namespace

bool IS_LEAP(int year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

double DATE_TO_SECONDS(int ref_year, const Date& date) {
  const auto [year, month, day, hour, minute, second, millisecond] = date;
  std::int64_t days = 365 * (static_cast<std::int64_t>(year) - ref_year) + day;
  for (int m = 1; m < std::min(month, 13); ++m) days += month_days[static_cast<std::size_t>(m) - 1];
  if (year > ref_year) days += leap_years(year - 1) - leap_years(ref_year - 1);
  days -= 1;
  if (IS_LEAP(year) && month >= 3) days += 1;
  return static_cast<double>(days) * day_seconds + hour * 3600.0 + minute * 60.0 + second +
         millisecond / 1000.0;
}

Date SECONDS_TO_DATE(int ref_year, double seconds) {
  if (std::isnan(seconds)) seconds = 0.0;
  seconds = std::clamp(seconds, -longest_time, longest_time);
  const double fraction = seconds - std::floor(seconds);
  int ms = static_cast<int>(std::round(static_cast<int>(fraction * 10000.0) / 10.0));
  seconds = std::floor(seconds);
  if (ms == 1000) {
    ms = 0;
    seconds += 1.0;
  }
  std::int64_t days = static_cast<std::int64_t>(std::floor(seconds / day_seconds));
  const int rest = static_cast<int>(seconds - static_cast<double>(days) * day_seconds);

  // Whole cycles of 400 years first: any run of 400 years has the same length.
  std::int64_t cycles = days / cycle_days;
  if (days % cycle_days < 0) --cycles;
  int year = ref_year + static_cast<int>(400 * cycles);
  days -= cycles * cycle_days;
  for (int length = IS_LEAP(year) ? 366 : 365; days >= length; length = IS_LEAP(year) ? 366 : 365) {
    days -= length;
    ++year;
  }
  int month = 1;
  while (days >= days_in_month(year, month)) {
    days -= days_in_month(year, month);
    ++month;
  }
  return {year, month, static_cast<int>(days) + 1, rest / 3600, rest % 3600 / 60, rest % 60, ms};
}

double SNAP_TIME(double time, double start) {
  return std::round((time - start) * 1000.0) / 1000.0 + start;
}

Date wall_clock() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  std::tm local{};
  localtime_r(&seconds, &local);
  const auto ms =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,       local.tm_hour,
          local.tm_min,         local.tm_sec,     static_cast<int>(ms)};
}

std::string day_text(const Date& date) {
  return zero_filled(date[0], 4) + "/" + zero_filled(date[1], 2) + "/" + zero_filled(date[2], 2);
}

std::string time_text(const Date& date) {
  return zero_filled(date[3], 2) + ":" + zero_filled(date[4], 2) + ":" + zero_filled(date[5], 2);
}

namespace {

void set_output_flags(ClockState& clock, const Settings& settings) {
  if (clock.NStep == 1) {
    clock.OUTnow = clock.MAPnow = true;
    clock.OUTcount = clock.MAPcount = 0;
    return;
  }
  clock.OUTnow = clock.OUTcount == settings.output_inc;
  if (clock.OUTnow) clock.OUTcount = 0;
  clock.MAPnow = clock.MAPcount == settings.mapping_inc;
  if (clock.MAPnow) clock.MAPcount = 0;
}

// Date as a step line shows it: the year right-justified in four columns.
std::string step_day(const Date& date) {
  return columns(date[0], 4) + "/" + zero_filled(date[1], 2) + "/" + zero_filled(date[2], 2);
}

// Time with the fraction of its second, a 4-byte real, in two columns: from 951 ms on these show
// stars.
std::string step_time(const Date& date) {
  const float fraction = static_cast<float>(date[6]) / 1000.0f;
  return time_text(date) + columns(static_cast<double>(fraction), 2, 1);
}

void show_step_line(const RunState& run) {
  const ClockState& clock = run.clock;
  const ParcelState& parcels = run.parcels;
  std::string line = "\r" + columns(clock.NStep, 8) + "  " + step_day(clock.DATEnow) + "  " +
                     step_time(clock.DATEnow);
  if (run.settings.no_parcels) {
    line += clock.STEPmark + std::string(40, ' ');
  } else {
    for (int count : {parcels.NUMborn, parcels.NUMalive, parcels.NUMdead, parcels.NUMactive,
                      parcels.NUMdormant}) {
      line += columns(count, 8);
    }
    line += clock.STEPmark;
  }
  console(run.messages, "%s", line.c_str());
}

void show_step_block(const RunState& run) {
  const ClockState& clock = run.clock;
  const ParcelState& parcels = run.parcels;
  console(run.messages, "\n\n\nSTEP: %s\nDATE: %s\nTIME: %s\n\n", columns(clock.NStep, 8).c_str(),
          step_day(clock.DATEnow).c_str(), step_time(clock.DATEnow).c_str());
  if (run.settings.no_parcels) return;
  console(run.messages, "BORN=%s    ALIVE=%s    DEAD=%s    ACTIVE=%s    DORMANT=%s\n\n",
          columns(parcels.NUMborn, 8).c_str(), columns(parcels.NUMalive, 8).c_str(),
          columns(parcels.NUMdead, 8).c_str(), columns(parcels.NUMactive, 8).c_str(),
          columns(parcels.NUMdormant, 8).c_str());
}

}  // namespace

void STEP_REPORT(RunState& run) {
  ClockState& clock = run.clock;
  clock.DATEnow = SECONDS_TO_DATE(REFyear, clock.Tnow);
  set_output_flags(clock, run.settings);

  const bool parcels_shown = clock.OUTnow && run.parcels.NUMborn > 0;
  if (clock.MAPnow) {
    clock.STEPmark = parcels_shown ? " => P+M" : " => M  ";
    echo(run.messages, "Map output @ %s [%s  %s.%s]\n", columns(clock.NStep, 8).c_str(),
         step_day(clock.DATEnow).c_str(), time_text(clock.DATEnow).c_str(),
         zero_filled(clock.DATEnow[6], 3).c_str());
  } else if (parcels_shown) {
    clock.STEPmark = " => P  ";
  } else {
    clock.STEPmark = run.messages.HOSTEDmode ? "-------" : "       ";
  }

  if (!run.messages.HOSTEDmode) {
    show_step_line(run);
  } else if (clock.NStep % 100 == 0) {
    show_step_block(run);
  }
}

}  // namespace dfl
