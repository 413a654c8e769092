#pragma once

// Every setting with its type and default. Each is named after its card in the control file;
// flags without a unit, reals in the unit beside them, times in run seconds.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace dfl {

constexpr const char* program_name = "DFL";
constexpr const char* program_version = "2.3.005";  // first three and last three are shown apart
constexpr const char* program_build_date = "13/Nov/2020";
constexpr int REFyear = 1950;  // run seconds count from its first of January

enum class MeshFormat { adcirc, kfe, gr3d, n3d, n2d, n2g, unknown };
enum class FlowFormat { adcirc, kfe, hyfs, n2d, gr3d, n3d, unknown };
enum class SedimentsFormat { adcirc, hyfs, hyfs_n2d, n2d, kfe, uniform, unknown };
enum class WaveFormat { oswell, oswell_hyfs, swan, lagoon, unknown };
enum class VelocityMethod { uniform, log, two_point, sigma_3d, z_3d, unknown };
enum class AdvectionMethod { d2, d3, q3d };
enum class CentroidMethod { rouse, van_rijn };
enum class EulerianMethod { pie, van_rijn };
enum class TransportFormula {
  soulsby_van_rijn,
  van_rijn,
  van_rijn_2017,
  camenen_larson,
  lund,
  a_d,
  cohesive
};

struct Settings {
  // Files.
  std::string mesh_file = "none";
  std::string rvs_control_file = "none";
  std::string bc_file = "none";
  std::string neighbor_file = "none";
  std::string rvs_quadtree = "none";
  bool rvs_mesh = false;
  std::string sediment_file = "none";
  std::string source_file = "none";
  std::string trap_file = "none";           // lower-cased
  std::string trap_file_as_given = "none";  // tried when the lower-cased name does not exist
  std::string output_prefix = program_name;
  std::string bottom_flow_file = "none";
  std::string bottom_mask_file = "none";
  std::string drawdown_data_file = "none";
  std::string drawdown_fse_file = "none";
  std::string drawdown_vel_file = "none";
  std::string propwash_data_file = "none";
  std::string ship_route_file = "none";
  std::string wave_file_hyfs = "none";
  std::string wave_file_2_hyfs = "none";
  std::string wave_sim_file = "none";
  std::string wave_sim_file_2 = "none";
  std::vector<std::string> wave_file_names;  // the lines behind the card wave_files
  std::string particle_set_guid;
  std::string flow_file_z = "none";
  std::string flow_file_uv = "none";
  std::string flow_file_dst = "none";
  int IDEN = 0;  // which scalars the 3-D flow carries, 0 to 6

  // Paths of datasets inside HYFS files.
  std::string hyfs_wse_path = "Datasets/Water Surface Elevation (63)";
  std::string hyfs_vel_path = "Datasets/Velocity (64)";
  std::string hyfs_bot_path = "Datasets/Velocity (64)";
  std::string hyfs_u_path = "Datasets/U";
  std::string hyfs_v_path = "Datasets/V";
  std::string hyfs_w_path = "Datasets/W";
  std::string hyfs_dep_path = "Datasets/Depth";
  std::string hyfs_sal_path = "Datasets/Salinity";
  std::string hyfs_temp_path = "Datasets/Temperature";
  std::string hyfs_n3d_path = "none";
  std::string hyfs_grid_path = "none";
  std::string hyfs_d35_path = "Datasets/D35";
  std::string hyfs_d50_path = "Datasets/D50";
  std::string hyfs_d90_path = "Datasets/D90";
  std::string hyfs_h_path = "Datasets/Wave Height";
  std::string hyfs_t_path = "Datasets/Wave Period";
  std::string hyfs_q_path = "Datasets/Wave Direction";
  std::string hyfs_b_path = "Datasets/Wave Breaking";
  int NUMclosedpaths = 0;
  int NUMopenpaths = 0;
  std::vector<std::string> CLOSEDpaths;
  std::vector<std::string> OPENpaths;
  std::string boundary_source = "internal";

  // Format and method words as stored, shown in the echo file.
  std::string mesh_format = "adcirc";
  std::string flow_format = "adcirc";
  std::string bottom_flow_format = "adcirc";
  std::string wave_format = "oswell";
  std::string sediments_format = "uniform";
  std::string sediment_hyfs_layout = "property";
  std::string eulerian_sed_trans = "soulsby-van_rijn";
  std::string eulerian_method = "pie";
  std::string centroid_method = "rouse";
  std::string advection_method = "q3d";
  std::string velocity_method = "2d (log)";
  std::string drawdown_method = "function";
  bool wave_sim_required = true;
  // The same words for comparisons, set once when the control file has been read.
  struct {
    MeshFormat mesh = MeshFormat::adcirc;
    FlowFormat flow = FlowFormat::adcirc;
    FlowFormat bottom_flow = FlowFormat::adcirc;
    SedimentsFormat sediments = SedimentsFormat::uniform;
    WaveFormat wave = WaveFormat::oswell;
    VelocityMethod velocity = VelocityMethod::log;
    AdvectionMethod advection = AdvectionMethod::q3d;
    CentroidMethod centroid = CentroidMethod::rouse;
    EulerianMethod eulerian = EulerianMethod::pie;
    TransportFormula transport = TransportFormula::soulsby_van_rijn;
  } method;

  // Switches.
  bool waves = false;
  bool currents = false;
  bool debug = false;
  bool repeatable = false;
  bool ensim = false;  // mesh depths count upward
  bool ensim_parcels = false;
  bool ensim_maps = false;
  bool tecplot_parcels = false;
  bool tecplot_maps = false;
  bool hyfs_parcels = true;
  bool hyfs_maps = true;
  int hyfs_compression = -1;  // -1 none, 0 to 9 deflate
  bool population_record = false;
  bool paths = false;
  bool no_parcels = false;
  bool old_lund = false;
  bool special = false;
  bool morphology = false;
  bool active_morphology = false;
  bool slope_effects = false;
  bool adjust_currents = false;
  bool source_to_datum = false;
  bool wave_breaking = false;
  bool last_step_trap = false;
  bool residence_calc = false;
  bool by_weight = false;
  bool nested = false;
  bool exceed_waves = false;
  bool no_bedforms = false;
  bool hiding_exposure = true;
  bool turbulent_shear = true;
  bool bed_interaction = true;
  bool wave_mass_transport = false;
  bool undertow = false;
  bool neutrally_buoyant = false;
  bool no_random_walk = false;
  int concentration_method = 2;  // 1 detailed, 2 default, 3 rapid
  bool particle_concentration = false;
  bool gaussian_concentration = false;
  float gaussian_value = 0.0f;  // m2/s
  bool propwash_on = false;
  bool drawdown_on = false;

  // Map fields.
  bool flow_mapping = false;
  bool bedform_mapping = false;
  bool shear_stress_mapping = false;
  bool mobility_mapping = false;
  bool wave_mapping = false;
  bool bed_level_change_mapping = false;
  bool bed_level_mapping = false;
  bool transport_mapping = false;
  bool concentration_mapping = false;

  // Parcel output fields.
  bool id_output = true;
  bool source_output = false;
  bool grain_size_output = false;
  bool density_output = false;
  bool parcel_mass_output = false;
  bool mobility_output = false;
  bool elevation_output = true;
  bool height_output = false;
  bool state_output = false;
  bool flow_output = false;
  bool tau_cr_output = false;
  bool fall_velocity_output = false;
  bool age_output = false;  // no card of its own

  // Numbers.
  double time_step = -999.0;          // s
  float duration = -999.0f;           // s
  int output_inc = 10;                // steps
  int mapping_inc = 1000;             // steps
  int grid_update = 1;                // steps
  int flow_update = 1;                // steps
  std::int16_t numerical_scheme = 2;  // 1, 2: order 2; else order 4
  float kew = 5.0f;
  float ket = 0.25f;
  float kev = 0.00859f;
  float etmin = 0.002f;  // m2/s
  float evmin = 0.0f;    // m2/s
  float bedload_coef = 1.0f;
  float suspended_load_coef = 1.0f;
  float eulerian_sed_trans_efficiency = 1.0f;
  float bed_porosity = 0.4f;
  float temperature = 15.0f;  // degrees C
  float salinity = 34.0f;     // per thousand on the card; mass fraction once the file is read
  float rhos = 2650.0f;       // kg/m3
  float min_depth = 0.01f;    // m
  float n2d_step = 1.0f;      // s
  int morphology_smoothing = 2;
  float cohesive_erodibility = 1.0e-6f;
  float cohesive_taucr = 5.0f;  // Pa
  float max_bed_slope = 0.6f;   // accepted, no effect
  float calibration_factor = 1.0f;
  float bottom_flow_height = -999.0f;  // m
  float concentration_units = 1.0f;
  std::string concentration_units_text = "kg/m3";
  float wave_step = 0.0f;  // s
  int wave_frames = -999;
  int wave_files = -999;
  float wave_grid_angle = 0.0f;  // degrees
  double wave_x_origin = 0.0;
  double wave_y_origin = 0.0;
  float wave_grid_angle_2 = 0.0f;
  double wave_x_origin_2 = 0.0;
  double wave_y_origin_2 = 0.0;
  float lagoon_wave_period = 0.0f;  // s
  float bed_d35 = 0.1f;             // mm
  float bed_d50 = 0.2f;             // mm
  float bed_d90 = 0.5f;             // mm

  // Dates, run seconds.
  double start_run = -999.0;
  double stop_run = -999.0;
  double start_trap = -999.0;
  double stop_trap = -999.0;
  double start_flow = -999.0;  // below 0: not given
  double bottom_start_flow = 0.0;
  double start_waves = 0.0;

  // Start state of the random generator from the card random_seed; else the clock gives it.
  bool random_seed_given = false;
  std::array<int, 2> random_seed = {0, 0};
  std::string crs;  // coordinate system of the mesh, as "EPSG:32633"; blank if not given

  // Derived at the end of the control file.
  float water_density = 0.0f;    // kg/m3
  float water_viscosity = 0.0f;  // m2/s
};

// True if any field of the map output is selected.
inline bool any_map_field(const Settings& s) {
  return s.flow_mapping || s.bedform_mapping || s.shear_stress_mapping || s.mobility_mapping ||
         s.wave_mapping || s.bed_level_change_mapping || s.bed_level_mapping ||
         s.transport_mapping || s.concentration_mapping;
}

}  // namespace dfl
