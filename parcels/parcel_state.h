#pragma once

// The parcel population, the sources that feed it and the random stream.

#include <array>
#include <cstdint>
#include <string>

#include "control/array.h"

namespace dfl {

// Why a parcel left the run: 0 it has not; a negative boundary status; or the number of the trap
// that took it.
constexpr std::int16_t lost_open_boundary = -1;
constexpr std::int16_t lost_off_mesh = -2;
constexpr std::int16_t lost_no_wall_found = -3;
constexpr std::int16_t lost_behind_wall = -4;

struct Parcel {
  double X = 0.0, Y = 0.0;  // mesh units
  float MOBILITY = 1.0f;    // bed stress over critical stress
  float Z = 0.0f;           // elevation above datum, m
  float h = 0.0f;           // height above the bed, m
  float MASS = 0.0f;        // kg
  float RHOs = 0.0f;        // kg/m3
  float D = 0.0f;           // grain size, m
  float Ws = 0.0f;          // fall velocity, m/s, positive downward
  float TAUcr = 0.0f;       // critical stress for erosion, Pa
  float TAUcd = 0.0f;       // critical stress for deposition, Pa
  float BURIAL = 0.0f;      // depth under the bed surface, m
  float Age = 0.0f;         // s
  int ELEMENT = 0;
  Logical ALIVE = logical_false;
  Logical DORMANT = logical_false;  // lies on the bed
  std::int16_t SOURCE = 0;
  std::int16_t LOSS = 0;              // see above
  float* VEC = nullptr;               // ParcelState::VECLEN values in VECstore, or none
  std::int16_t* TRAPSTATE = nullptr;  // one per trap in TRAPstore, or none
};

// State of the uniform and normal generators and of the walk numbers. The order of draws is part
// of the result: draw only through parcels/random_stream.h.
struct RandomStream {
  std::array<int, 2> state = {1, 1};  // of the uniform generator
  bool gauss_kept = false;            // a second normal deviate is in hand
  double gauss_value = 0.0;
  std::array<float, 4> RAND = {0.0f, 0.0f, 0.0f, 0.0f};
  std::array<int, 4> SEEDS = {0, 0, 0, 0};
  bool FIXED = false;
};

// One row of a source's time-table.
struct Instruction {
  Array<float> ROWgrains;  // grain size of each parcel in release order, m
  std::array<int, 7> ROWdate{};
  double ROWtime = 0.0;      // run seconds; -999 once an instantaneous row has fired
  float ROWrate = 0.0f;      // kg/s, kg/s/m or kg/s/m2
  float ROWd50 = 0.0f;       // m
  float ROWsigma = 0.0f;     // phi units; 0 or less: one size
  float ROWrhos = 0.0f;      // kg/m3
  float ROWmass = 0.0f;      // kg, of one parcel
  float ROWtotal = 0.0f;     // kg, instantaneous
  float ROWscatter = 0.0f;   // m
  float ROWscatterz = 0.0f;  // m
  float ROWreleased = 0.0f;  // parcels released; instantaneous: to be released
  float ROWws = 0.0f;        // m/s; negative: by formula
  float ROWtaucr = 0.0f;     // Pa; 0 or less: by formula
  float ROWtaucd = 0.0f;     // Pa; 0 or less: by formula
  int ROWnext = 0;           // last used entry of ROWgrains
};

struct SourceRecord {
  int SRCid = 0;
  int SRCrows = 0;
  std::string SRCname;
  // Position (row, 3 * (point - 1) + 1..3): x, y, z; points: 1, a line 2, an area SRCverts.
  Array2<double> SRCpos;
  Array<Instruction> SRCrow;
  int SRCdatum = 0;         // line: 0 beddatum, 1 depthdistributed, 2 surfacedatum
  int SRCverts = 0;         // area: vertices per row
  Array<float> SRCarea_m2;  // area: per row
  Array<Logical> SRCplaneXY, SRCplaneXZ, SRCplaneYZ;  // area: per row
  Array<float> SRCcum;                                // running number of parcels owed, per row
};

struct ParcelState {
  Array<Parcel> PARCELS;
  int NUMparcels = 0;
  int NUMborn = 0, NUMnew = 0, NUMalive = 0, NUMdead = 0, NUMdormant = 0, NUMactive = 0;
  int NUMtrapped = 0, NUMtrapsum = 0;
  // Entries of ALIVElist as listed in this step; those that a trap has taken out since are still
  // there and have ALIVE cleared.
  int NUMlisted = 0;
  Array<int> ALIVElist, DEADlist;
  Array<Logical> DEADflag;
  Array<double> output_buffer;  // 3 per parcel, HYFS positions
  int VECLEN = 0;               // 3 with flow_output, plus 2 with residence_calc
  Array<float> VECstore;
  Array<std::int16_t> TRAPstore;

  Array<SourceRecord> SRCinst, SRCpoint, SRCline, SRCarea;
  int NUMinst = 0, NUMpoint = 0, NUMline = 0, NUMarea = 0;
  double RELfirst = 0.0, RELlast = 0.0;  // run seconds of the earliest and latest row
  // The source of the parcel released last gave the stress that the pick-up test looks at.
  bool TAUgiven = false;

  RandomStream random;
  std::array<int, 2> random_seed_used = {0, 0};
  std::array<float, 2> RANDOMfirst = {0.0f, 0.0f};  // chain of line and area placement
};

// What a run did with its parcels beyond the population counts; written to "_balance.txt".
struct BalanceState {
  std::int64_t parcel_steps = 0;
  std::int64_t dry_steps = 0;  // steps of parcels on a place below min_depth
  // Largest displacement of a step over sqrt(element area), squared, and where it was.
  double largest_displacement_squared = 0.0;
  int largest_displacement_parcel = 0;
  int largest_displacement_step = 0;
};

}  // namespace dfl
