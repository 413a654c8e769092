#pragma once

// The fields of parcel output: names, units and forms in each format, and the card that selects
// them. The order of a table is the order in the file.

#include <vector>

#include "control/run_state.h"

namespace dfl {

enum class ParcelField {
  x,
  y,
  id,
  grain_size,
  density,
  mass,
  mobility,
  elevation,
  height,
  source,
  state,
  velocity_u,
  velocity_v,
  velocity_w,
  fall_velocity,
  tau_cr,
  tau_cd,
  age,
  speed,
  hyfs_state
};

constexpr float hyfs_null = -9999.9f;  // no value, in HYFS files

// 1 in motion, 0 on the bed, -1 not alive (a slot not yet released included).
int parcel_state(const Parcel& parcel);
// The value that is written; grain sizes in mm.
double parcel_value(const Parcel& parcel, int id, ParcelField field);

constexpr int integer_column = -1;
struct TecplotColumn {
  ParcelField field;
  const char* name;
  int width;
  int decimals;              // or integer_column
  bool Settings::*selected;  // nullptr: always
};
struct EnsimAttribute {
  ParcelField field;
  const char* name;
  const char* units;
  bool Settings::*selected;
};
struct HyfsParcelDataset {
  ParcelField field;
  const char* name;
  const char* units;
  bool Settings::*selected;
  const char* close_name;  // in the message of a failed closing
};

// The selected rows of the tables. U, V and W need the velocities of the parcels beside the card.
std::vector<TecplotColumn> tecplot_columns(const RunState& run);
std::vector<EnsimAttribute> ensim_attributes(const RunState& run);
std::vector<HyfsParcelDataset> hyfs_parcel_frames(const RunState& run);     // at each output
std::vector<HyfsParcelDataset> hyfs_parcel_constants(const RunState& run);  // once, at the end

}  // namespace dfl
