#pragma once

// How many parcels the rows of the sources release, and their grain sizes. The count in advance and
// the releases share this arithmetic, so that they agree to the parcel.

#include "parcels/sources.h"

namespace dfl {

// Counts the parcels of every row into NUMparcels and draws their grain sizes, in the order of
// sources, rows and steps.
void count_parcels(RunState& run);

// Grain sizes of n parcels into table(offset + 1 ...), m. D50 in m, sigma in phi units.
void GRAIN_SIZES(RandomStream& random, bool debug, int n, int offset, float density, float D50,
                 float sigma, bool by_weight, Array<float>& table);

// Row j of a continuous source at time Tnow: fraction of the interval at the middle of the step,
// rate, and length of the release. False if the row is not active.
struct RowMoment {
  float f = 0.0f;
  float Q = 0.0f;       // in the unit of ROWrate
  float length = 0.0f;  // s
};
bool row_moment(const SourceRecord& source, int j, double Tnow, double time_step,
                RowMoment& moment);

// Coordinate of SRCpos between rows j and j + 1.
float position_between(const SourceRecord& source, int j, int column, float f);

struct LineEnds {
  float x1 = 0.0f, y1 = 0.0f, z1 = 0.0f, x2 = 0.0f, y2 = 0.0f, z2 = 0.0f;
};
LineEnds line_ends_between(const SourceRecord& source, int j, float f);

// What the rate of row j is multiplied with to give kg/s: the length of a line, the area of an
// area, else 1.
float rate_extent(SourceKind kind, const SourceRecord& source, int j, float f);

// Adds what a step of row j owes to SRCcum and takes the whole parcels off it, n. False if that
// number cannot be told: no mass in a parcel, or too many.
bool take_parcels_due(SourceRecord& source, int j, float extent, const RowMoment& moment, int& n);

// A time that Tnow takes in the loop of the run and that lies before t, at most a few steps;
// start_run - time_step if there is none.
double loop_time_before(const Settings& settings, double t);

}  // namespace dfl
