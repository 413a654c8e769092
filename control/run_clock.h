#pragma once

// Run time and calendar. Run times are seconds since 1 January of the reference year, 8 bytes.

#include <string>

#include "control/run_state.h"

namespace dfl {

bool IS_LEAP(int year);
double DATE_TO_SECONDS(int ref_year, const Date& date);
Date SECONDS_TO_DATE(int ref_year, double seconds);
// `time` on the grid of whole milliseconds after `start`.
double SNAP_TIME(double time, double start);
// Sets OUTnow and MAPnow, and shows the step line or block.
void STEP_REPORT(RunState& run);

Date wall_clock();

// "YYYY/MM/DD" and "HH:MM:SS", zero filled.
std::string day_text(const Date& date);
std::string time_text(const Date& date);

}  // namespace dfl
