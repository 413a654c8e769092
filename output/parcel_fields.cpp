#include "output/parcel_fields.h"

#include <cmath>

namespace dfl {

namespace {

constexpr TecplotColumn all_tecplot_columns[] = {
    {ParcelField::x, "X", 12, 3, nullptr},
    {ParcelField::y, "Y", 12, 3, nullptr},
    {ParcelField::id, "ID", 8, integer_column, &Settings::id_output},
    {ParcelField::grain_size, "D", 12, 9, &Settings::grain_size_output},
    {ParcelField::density, "RHOs", 12, 3, &Settings::density_output},
    {ParcelField::mass, "MASS", 12, 3, &Settings::parcel_mass_output},
    {ParcelField::mobility, "MOBILITY", 12, 3, &Settings::mobility_output},
    {ParcelField::elevation, "Z", 12, 3, &Settings::elevation_output},
    {ParcelField::height, "h", 12, 3, &Settings::height_output},
    {ParcelField::source, "SOURCE", 8, integer_column, &Settings::source_output},
    {ParcelField::state, "STATE", 3, integer_column, &Settings::state_output},
    {ParcelField::velocity_u, "U", 12, 3, &Settings::flow_output},
    {ParcelField::velocity_v, "V", 12, 3, &Settings::flow_output},
    {ParcelField::velocity_w, "W", 12, 3, &Settings::flow_output},
    {ParcelField::fall_velocity, "Ws", 12, 9, &Settings::fall_velocity_output},
    {ParcelField::tau_cr, "TAUcr", 12, 9, &Settings::tau_cr_output},
    {ParcelField::age, "Age", 12, 3, &Settings::age_output},
};

constexpr EnsimAttribute all_ensim_attributes[] = {
    {ParcelField::elevation, "Z", "m", &Settings::elevation_output},
    {ParcelField::id, "ID", "", &Settings::id_output},
    {ParcelField::grain_size, "D", "mm", &Settings::grain_size_output},
    {ParcelField::density, "RHOs", "kg/m^3 ", &Settings::density_output},
    {ParcelField::mass, "mass", "kg", &Settings::parcel_mass_output},
    {ParcelField::mobility, "MOBILITY", "", &Settings::mobility_output},
    {ParcelField::height, "h", "m", &Settings::height_output},
    {ParcelField::source, "SOURCE", "", &Settings::source_output},
    {ParcelField::state, "STATE", "", &Settings::state_output},
    {ParcelField::velocity_u, "U", "", &Settings::flow_output},
    {ParcelField::velocity_v, "V", "", &Settings::flow_output},
    {ParcelField::velocity_w, "W", "", &Settings::flow_output},
    {ParcelField::fall_velocity, "SFV", "", &Settings::fall_velocity_output},
    {ParcelField::tau_cr, "TAUcr", "", &Settings::tau_cr_output},
    {ParcelField::age, "AGE", "", &Settings::age_output},
};

constexpr HyfsParcelDataset all_frame_datasets[] = {
    {ParcelField::mobility, "mobility", "", &Settings::mobility_output, "mobility"},
    {ParcelField::height, "height", "m", &Settings::height_output, "height"},
    {ParcelField::hyfs_state, "state", "", &Settings::state_output, "state"},
    {ParcelField::age, "age", "", &Settings::age_output, "age"},
    {ParcelField::speed, "speed", "m/s", &Settings::flow_output, "flow"},
};

constexpr HyfsParcelDataset all_constant_datasets[] = {
    {ParcelField::id, "id", "", &Settings::id_output, "id"},
    {ParcelField::source, "source", "", &Settings::source_output, "source"},
    {ParcelField::grain_size, "grain size", "mm", &Settings::grain_size_output, "grain size"},
    {ParcelField::density, "density", "kg/m^3", &Settings::density_output, "density"},
    {ParcelField::mass, "particle mass", "kg", &Settings::parcel_mass_output, "particle mass"},
    {ParcelField::fall_velocity, "fall velocity", "m/s", &Settings::fall_velocity_output,
     "fall velocity"},
    {ParcelField::tau_cr, "critical shear (erosion)", "m/s", &Settings::tau_cr_output,
     "critical shear (erosion)"},
    {ParcelField::tau_cd, "critical shear (deposition)", "m/s", &Settings::tau_cr_output,
     "critical shear (deposition)"},
};

template <class Row, std::size_t n>
std::vector<Row> selected_rows(const RunState& run, const Row (&table)[n]) {
  const bool has_velocities = run.parcels.VECLEN >= 3;
  std::vector<Row> rows;
  for (const Row& row : table) {
    const bool chosen = row.selected == nullptr || run.settings.*row.selected;
    if (chosen && (row.selected != &Settings::flow_output || has_velocities)) rows.push_back(row);
  }
  return rows;
}

// Entry 0 to 2 of the velocities; 0 for a parcel without.
float velocity(const Parcel& parcel, int entry) {
  return parcel.VEC == nullptr ? 0.0f : parcel.VEC[entry];
}

float speed(const Parcel& parcel) {
  const float U = velocity(parcel, 0), V = velocity(parcel, 1), W = velocity(parcel, 2);
  return std::sqrt(U * U + V * V + W * W);
}

}  // namespace

int parcel_state(const Parcel& parcel) {
  if (!is_true(parcel.ALIVE)) return -1;
  return is_true(parcel.DORMANT) ? 0 : 1;
}

double parcel_value(const Parcel& parcel, int id, ParcelField field) {
  switch (field) {
    case ParcelField::x:
      return parcel.X;
    case ParcelField::y:
      return parcel.Y;
    case ParcelField::id:
      return static_cast<double>(id);
    case ParcelField::grain_size:
      return static_cast<double>(parcel.D * 1000.0f);
    case ParcelField::density:
      return static_cast<double>(parcel.RHOs);
    case ParcelField::mass:
      return static_cast<double>(parcel.MASS);
    case ParcelField::mobility:
      return static_cast<double>(parcel.MOBILITY);
    case ParcelField::elevation:
      return static_cast<double>(parcel.Z);
    case ParcelField::height:
      return static_cast<double>(parcel.h);
    case ParcelField::source:
      return static_cast<double>(parcel.SOURCE);
    case ParcelField::state:
      return static_cast<double>(parcel_state(parcel));
    case ParcelField::velocity_u:
      return static_cast<double>(velocity(parcel, 0));
    case ParcelField::velocity_v:
      return static_cast<double>(velocity(parcel, 1));
    case ParcelField::velocity_w:
      return static_cast<double>(velocity(parcel, 2));
    case ParcelField::fall_velocity:
      return static_cast<double>(parcel.Ws);
    case ParcelField::tau_cr:
      return static_cast<double>(parcel.TAUcr);
    case ParcelField::tau_cd:
      return static_cast<double>(parcel.TAUcd);
    case ParcelField::age:
      return static_cast<double>(parcel.Age);
    case ParcelField::speed:
      return static_cast<double>(speed(parcel));
    case ParcelField::hyfs_state:
      return is_true(parcel.DORMANT) ? 0.0 : 1.0;
  }
  return 0.0;
}

std::vector<TecplotColumn> tecplot_columns(const RunState& run) {
  return selected_rows(run, all_tecplot_columns);
}
std::vector<EnsimAttribute> ensim_attributes(const RunState& run) {
  return selected_rows(run, all_ensim_attributes);
}
std::vector<HyfsParcelDataset> hyfs_parcel_frames(const RunState& run) {
  return selected_rows(run, all_frame_datasets);
}
std::vector<HyfsParcelDataset> hyfs_parcel_constants(const RunState& run) {
  return selected_rows(run, all_constant_datasets);
}

}  // namespace dfl
