#pragma once

// The fields of map output: names, units and columns in each format, and the card that selects
// them. The set-up of the map files and the writers of their frames share this table.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "control/run_state.h"

namespace dfl {

enum class MapFieldId {
  surface,
  flow,
  bedform,
  shear_stress,
  mobility,
  bed_change,
  bed_level,
  transport,
  wave_height,
  wave_period,
  wave_direction,
  concentration
};
constexpr std::size_t map_field_count = 12;

struct MapField {
  MapFieldId id;
  bool Settings::*selected;
  const char* dataset;                 // HYFS
  const char* units;                   // nullptr: concentration_units_text
  bool vector;                         // HYFS and EnSim hold two values a node
  std::array<const char*, 2> columns;  // Tecplot; the second nullptr for one column
  int decimals;                        // of the Tecplot columns, 16 wide
  const char* ensim;                   // suffix of the EnSim file
};

constexpr int map_column_width = 16;

// All fields, in the order of the Tecplot columns.
extern const std::array<MapField, map_field_count> map_fields;
// The order of datasets in the HYFS file, and of the EnSim files.
extern const std::array<MapFieldId, map_field_count> hyfs_map_order;
extern const std::array<MapFieldId, ensim_map_count> ensim_map_order;

const MapField& map_field(MapFieldId id);
bool map_field_selected(const RunState& run, const MapField& field);
// In the order of the Tecplot columns.
std::vector<const MapField*> selected_map_fields(const RunState& run);
// The flow dataset of the HYFS file exists for depth-averaged flow only.
bool hyfs_map_selected(const RunState& run, const MapField& field);
std::string map_units(const RunState& run, const MapField& field);
// prefix_field.t3s, or .t3v for a vector.
std::string ensim_map_path(const RunState& run, const MapField& field);

// The value of a scalar field at a node; 0 where a field has no array in this run. The transport
// is its magnitude.
float map_scalar(const RunState& run, MapFieldId id, int node);
// The two components of a vector field at a node, at level 0. A field along the flow is (0, 0)
// where the water stands.
std::array<float, 2> map_vector(const RunState& run, MapFieldId id, int node);
// The values of a field's Tecplot columns at a node; the second unused for one column. In 8 bytes,
// since concentrations have digits that 4 bytes do not hold.
std::array<double, 2> map_column_values(const RunState& run, const MapField& field, int node);
// Writes these columns of the fields at a node and a line end to `at`; returns the end of the text.
char* put_map_row(char* at, const RunState& run, const std::vector<const MapField*>& fields,
                  int node);

}  // namespace dfl
