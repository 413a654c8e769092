#include "output/map_fields.h"

#include <cmath>

#include "output/fixed_columns.h"

namespace dfl {

const std::array<MapField, map_field_count> map_fields = {{
    {MapFieldId::surface, &Settings::flow_mapping, "wse", "m", false, {"Z", nullptr}, 3, "fse"},
    {MapFieldId::flow, &Settings::flow_mapping, "flow", "m/s", true, {"U", "V"}, 3, "flow"},
    {MapFieldId::bedform,
     &Settings::bedform_mapping,
     "bedforms",
     "",
     false,
     {"Bedform Height", nullptr},
     6,
     "bedforms"},
    {MapFieldId::shear_stress,
     &Settings::shear_stress_mapping,
     "shear stress",
     "Pa",
     false,
     {"Shear Stress", nullptr},
     3,
     "taubed"},
    {MapFieldId::mobility,
     &Settings::mobility_mapping,
     "mobility",
     "",
     true,
     {"Mx", "My"},
     3,
     "mobility"},
    {MapFieldId::bed_change,
     &Settings::bed_level_change_mapping,
     "dzdt",
     "m/s",
     false,
     {"d(BED)dt", nullptr},
     3,
     "dzdt"},
    {MapFieldId::bed_level,
     &Settings::bed_level_mapping,
     "bed",
     "m",
     false,
     {"BED", nullptr},
     3,
     "bed"},
    {MapFieldId::transport,
     &Settings::transport_mapping,
     "sediment transport rate",
     "kg/m/s",
     true,
     {"Qs", nullptr},
     3,
     "qs"},
    {MapFieldId::wave_height,
     &Settings::wave_mapping,
     "wave height",
     "m",
     false,
     {"Wave Height", nullptr},
     3,
     "H"},
    {MapFieldId::wave_period,
     &Settings::wave_mapping,
     "wave period",
     "s",
     false,
     {"Wave Period", nullptr},
     3,
     "T"},
    {MapFieldId::wave_direction,
     &Settings::wave_mapping,
     "wave direction",
     "deg",
     false,
     {"Wave Direction", nullptr},
     3,
     "Dir"},
    {MapFieldId::concentration,
     &Settings::concentration_mapping,
     "concentration",
     nullptr,
     false,
     {"Concentration", nullptr},
     3,
     "concentration"},
}};

const std::array<MapFieldId, map_field_count> hyfs_map_order = {
    MapFieldId::bedform,     MapFieldId::shear_stress,   MapFieldId::mobility,
    MapFieldId::bed_change,  MapFieldId::transport,      MapFieldId::wave_height,
    MapFieldId::wave_period, MapFieldId::wave_direction, MapFieldId::bed_level,
    MapFieldId::surface,     MapFieldId::flow,           MapFieldId::concentration};

const std::array<MapFieldId, ensim_map_count> ensim_map_order = {
    MapFieldId::flow,        MapFieldId::bedform,        MapFieldId::mobility,
    MapFieldId::bed_change,  MapFieldId::transport,      MapFieldId::wave_height,
    MapFieldId::wave_period, MapFieldId::wave_direction, MapFieldId::surface,
    MapFieldId::bed_level,   MapFieldId::shear_stress,   MapFieldId::concentration};

namespace {

float value_at(const Array<float>& array, int node) {
  return node <= array.size() ? array(node) : 0.0f;
}

double concentration_at(const RunState& run, int node) {
  const Array<double>& concentration = run.output.CONCnode;
  return node <= concentration.size() ? concentration(node) : 0.0;
}

float level_0(const Array2<float>& array, int node) {
  const bool has_level_0 = array.allocated() && array.first_column() == 0;
  return has_level_0 && node <= array.rows() ? array(node, 0) : 0.0f;
}

// A magnitude turned along the flow.
std::array<float, 2> along_flow(const RunState& run, float magnitude, int node) {
  const float U = level_0(run.flow.Unode, node), V = level_0(run.flow.Vnode, node);
  const float speed = std::sqrt(U * U + V * V);
  if (!(speed > 0.0f)) return {0.0f, 0.0f};
  return {U / speed * magnitude, V / speed * magnitude};
}

}  // namespace

const MapField& map_field(MapFieldId id) {
  return map_fields[static_cast<std::size_t>(id)];
}

bool map_field_selected(const RunState& run, const MapField& field) {
  return run.settings.*field.selected;
}

std::vector<const MapField*> selected_map_fields(const RunState& run) {
  std::vector<const MapField*> selected;
  for (const MapField& field : map_fields) {
    if (map_field_selected(run, field)) selected.push_back(&field);
  }
  return selected;
}

bool hyfs_map_selected(const RunState& run, const MapField& field) {
  return map_field_selected(run, field) && (field.id != MapFieldId::flow || run.flow.FLOW2D);
}

std::string map_units(const RunState& run, const MapField& field) {
  return field.units == nullptr ? run.settings.concentration_units_text : field.units;
}

std::string ensim_map_path(const RunState& run, const MapField& field) {
  return run.settings.output_prefix + "_" + field.ensim + (field.vector ? ".t3v" : ".t3s");
}

float map_scalar(const RunState& run, MapFieldId id, int node) {
  constexpr float degrees_half_turn = 180.0f, pi = 3.14159f;
  switch (id) {
    case MapFieldId::surface:
      return value_at(run.flow.ETAnode, node);
    case MapFieldId::bedform:
      return value_at(run.sediment.BEDFORMnode, node);
    case MapFieldId::shear_stress:
      return value_at(run.sediment.TAUbed, node);
    case MapFieldId::mobility:
      return value_at(run.sediment.MOBILITYnode, node);
    case MapFieldId::bed_change:
      return value_at(run.sediment.DZDT, node);
    case MapFieldId::bed_level:
      return value_at(run.sediment.BEDlevel, node);
    case MapFieldId::transport:
      return value_at(run.sediment.QSED, node);
    case MapFieldId::wave_height:
      return value_at(run.waves.WAVEheight, node);
    case MapFieldId::wave_period:
      return value_at(run.waves.WAVEperiod, node);
    case MapFieldId::wave_direction:
      // Where the waves travel to, clockwise from +y.
      return std::atan2(value_at(run.waves.WAVEdirx, node), value_at(run.waves.WAVEdiry, node)) *
             degrees_half_turn / pi;
    case MapFieldId::concentration:
      return static_cast<float>(concentration_at(run, node));
    case MapFieldId::flow:
      break;  // has no magnitude of its own
  }
  return 0.0f;
}

std::array<float, 2> map_vector(const RunState& run, MapFieldId id, int node) {
  if (id == MapFieldId::flow) {
    return {level_0(run.flow.Unode, node), level_0(run.flow.Vnode, node)};
  }
  return along_flow(run, map_scalar(run, id, node), node);
}

std::array<double, 2> map_column_values(const RunState& run, const MapField& field, int node) {
  if (field.id == MapFieldId::concentration) return {concentration_at(run, node), 0.0};
  if (field.columns[1] == nullptr) {
    return {static_cast<double>(map_scalar(run, field.id, node)), 0.0};
  }
  const std::array<float, 2> vector = map_vector(run, field.id, node);
  return {static_cast<double>(vector[0]), static_cast<double>(vector[1])};
}

char* put_map_row(char* at, const RunState& run, const std::vector<const MapField*>& fields,
                  int node) {
  for (const MapField* field : fields) {
    const std::array<double, 2> values = map_column_values(run, *field, node);
    for (std::size_t k = 0; k < 2 && field->columns[k] != nullptr; ++k) {
      at = put_columns(at, values[k], map_column_width, field->decimals);
    }
  }
  *at++ = '\n';
  return at;
}

}  // namespace dfl
