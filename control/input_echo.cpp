#include "control/input_echo.h"

#include <cerrno>
#include <cstring>

#include "control/control_file.h"
#include "control/run_clock.h"
#include "control/text_tools.h"

namespace dfl {

namespace {

// Writes rows: a label, one blank, a value. A label brings its own indent and trailing blanks.
void row(const RunState& run, const std::string& label, const std::string& value) {
  echo(run.messages, "%s %s\n", label.c_str(), value.c_str());
}
void flag(const RunState& run, const std::string& label, bool value) {
  row(run, label, std::string(value ? "T" : "F"));
}
void line(const RunState& run, const std::string& text) {
  echo(run.messages, "%s\n", text.c_str());
}

std::string real(float value, int width, int decimals) {
  return columns(static_cast<double>(value), width, decimals);
}

std::string with_format(const std::string& file, const std::string& format) {
  return file + "  [" + format + "]";
}

std::string long_date(double seconds) {
  const Date date = SECONDS_TO_DATE(REFyear, seconds);
  return day_text(date) + " @ " + time_text(date) + "." + zero_filled(date[6], 3) + " (" +
         columns(seconds, 16, 1) + " sec)";
}

// A label of the times block; six blanks stand behind it.
void date_row(const RunState& run, const std::string& label, double seconds) {
  line(run, label + std::string(6, ' ') + long_date(seconds));
}

bool two_point(const Settings& s) {
  return s.velocity_method == "2d (two-point)";
}

void write_head(const RunState& run) {
  const Settings& s = run.settings;
  const std::string version = program_version;
  line(run, std::string(program_name) + " Simulation:");
  row(run, "  Version:      ",
      version.substr(0, 3) + " Build " + version.substr(version.size() - 3) + " (" +
          program_build_date + ")");
  row(run, "  Username:     ", run.clock.RUNuser);
  row(run, "  PCF file:     ", control_file_path(run.clock.CONTROLfile));
  row(run, "  Run start:    ",
      day_text(run.clock.run_start_date) + " @ " + time_text(run.clock.run_start_date));
  line(run, "");
  if (s.debug) line(run, "Note: DFL simulation performed in DEBUG mode\n");
  if (s.repeatable) line(run, "Note: DFL simulation uses repeatable random numbers\n");
}

void write_input_files(const RunState& run) {
  const Settings& s = run.settings;
  const bool n2d = s.mesh_format == "n2d";
  if (s.mesh_format == "adcirc" || s.mesh_format == "gr3d" || s.mesh_format == "n2g" || n2d ||
      s.mesh_format == "n3d") {
    line(run, "Input Files");
    row(run, "  Mesh:         ", with_format(s.mesh_file, s.mesh_format));
    if (s.mesh_format != "adcirc") row(run, "  Boundaries:   ", s.bc_file);
    row(run, "  Sediments:    ", with_format(s.sediment_file, s.sediments_format));
    if (n2d && s.rvs_quadtree != "none") row(run, "  Quadtree:     ", s.rvs_quadtree);
  }
  row(run, "  Neighbors:    ", s.neighbor_file);
  if (s.currents) {
    row(run, "  WSE:          ", with_format(s.flow_file_z, s.flow_format));
    row(run, "  Flows:        ", with_format(s.flow_file_uv, s.flow_format));
    if (s.flow_file_dst != "none") row(run, "  Den/Sal/Temp: ", s.flow_file_dst);
  }
  if (two_point(s)) {
    row(run,
        "  Bottom flows: ", s.bottom_flow_file + "  [@" + real(s.bottom_flow_height, 3, 1) + "m]");
  }
  if (s.bottom_mask_file != "none") row(run, "  Bottom mask:  ", s.bottom_mask_file);
  if (s.waves) {
    row(run, "  Waves:         Y [see", control_file_path(run.clock.CONTROLfile) + "]");
    flag(run, "  Breaking:     ", s.wave_breaking);
    flag(run, "  Nested Grid:  ", s.nested);
  }
  row(run, "  Source:       ", s.source_file);
}

void write_output_files(const RunState& run) {
  const Settings& s = run.settings;
  line(run, "\nOutput Files");
  if (s.hyfs_parcels) row(run, "  HYFS (p):     ", s.output_prefix + "_parcels.h5");
  if (s.ensim_parcels) row(run, "  EnSim (p):    ", s.output_prefix + "_parcels.pcl");
  if (s.tecplot_parcels) row(run, "  Tecplot (p):  ", s.output_prefix + "_parcels.plt");
  flag(run, "    ID?:        ", s.id_output);
  flag(run, "    Source?:    ", s.source_output);
  flag(run, "    Grain size?:", s.grain_size_output);
  flag(run, "    Density?:   ", s.density_output);
  flag(run, "    Parcelmass?:", s.parcel_mass_output);
  flag(run, "    Mobility?:  ", s.mobility_output);
  flag(run, "    Elevation?: ", s.elevation_output);
  flag(run, "    Height?:    ", s.height_output);
  flag(run, "    State?:     ", s.state_output);
  flag(run, "    Fall vel.?: ", s.fall_velocity_output);
  flag(run, "    Tau_cr?:    ", s.tau_cr_output);
  flag(run, "    Flow?:      ", s.flow_output);

  // Neither the concentration nor the bed level brings these rows by itself.
  if (s.flow_mapping || s.bedform_mapping || s.shear_stress_mapping || s.mobility_mapping ||
      s.bed_level_change_mapping || s.transport_mapping || s.wave_mapping) {
    if (s.hyfs_maps) row(run, "  HYFS (m):     ", s.output_prefix + "_maps.h5");
    if (s.ensim_maps) row(run, "  EnSim (m):    ", s.output_prefix + "_maps.t3s");
    if (s.tecplot_maps) row(run, "  Tecplot (m):  ", s.output_prefix + "_maps.plt");
    flag(run, "    Flows?:     ", s.flow_mapping);
    flag(run, "    Bedforms?:  ", s.bedform_mapping);
    flag(run, "    Shear Stress?:", s.shear_stress_mapping);
    flag(run, "    Mobility?:  ", s.mobility_mapping);
    flag(run, "    Bed change?:", s.bed_level_change_mapping);
    flag(run, "    Sed. Trans?:", s.transport_mapping);
    flag(run, "    Waves?:     ", s.wave_mapping);
  }
  if (s.paths) row(run, "  Paths:        ", s.output_prefix + "_paths.plt");
  if (s.population_record) row(run, "  Population:   ", s.output_prefix + "_population.plt");
}

void write_times(const RunState& run) {
  const Settings& s = run.settings;
  line(run, "");
  if (s.start_flow < 0.0) {
    line(run, "Flow Start: [from input hydro. file]");
  } else {
    date_row(run, "Flow Start:", s.start_flow);
  }
  if (two_point(s)) date_row(run, "Bot. Flow: ", s.bottom_start_flow);
  date_row(run, "Start Time:", s.start_run);
  date_row(run, "Stop Time: ", s.stop_run);
  line(run, "Duration:  " + columns(s.stop_run - s.start_run, 16, 1) + " sec\n");
}

void write_numbers(const RunState& run) {
  const Settings& s = run.settings;
  row(run, "Dmin:       ", real(s.min_depth, 8, 3) + " m");
  row(run, "DT:         ", columns(s.time_step, 8, 2) + " sec\n");
  if (s.wave_breaking) row(run, "Kew:        ", real(s.kew, 8, 5));
  row(run, "Ket:        ", real(s.ket, 8, 5));
  row(run, "Kev:        ", real(s.kev, 8, 5));
  row(run, "Et (min):   ", real(s.etmin, 8, 5));
  row(run, "Ev (min):   ", real(s.evmin, 8, 5) + "\n");
  row(run, "RHOs:       ", real(s.rhos, 8, 1) + " kg/m^3");
  row(run, "Porosity:   ", real(s.bed_porosity, 8, 2) + "\n");
  row(run, "Output inc.:  ", columns(s.output_inc, 5));
  row(run, "Mapping inc.: ", columns(s.mapping_inc, 5) + "\n");
  if (s.ensim && !run.messages.HOSTEDmode) row(run, "EnSim?:    ", "T\n");
  if (s.sediments_format == "uniform") {
    row(run, "Bed D35:    ", real(s.bed_d35, 8, 2) + " mm");
    row(run, "Bed D50:    ", real(s.bed_d50, 8, 2) + " mm");
    row(run, "Bed D90:    ", real(s.bed_d90, 8, 2) + " mm\n");
  }
}

void write_bed_and_parcels(const RunState& run) {
  const Settings& s = run.settings;
  if (s.no_bedforms) row(run, "No bedforms?: ", "T\n");
  if (s.morphology) {
    flag(run, "Morphology?:  ", s.morphology);
    row(run, "Sed. Transport: ", s.eulerian_sed_trans);
    if (s.eulerian_sed_trans == "a-d") {
      row(run, "A-D bedload coef: ", real(s.bedload_coef, 4, 2));
      row(run, "A-D s. load coef: ", real(s.suspended_load_coef, 4, 2) + "\n");
    }
    row(run, "Qs effic.   ", real(s.eulerian_sed_trans_efficiency, 8, 3));
  }
  if (s.active_morphology) {
    flag(run, "\nActive Morph?:", s.active_morphology);
    flag(run, "Flow adjust?: ", s.adjust_currents);
    line(run, "");
  }
  if (s.no_parcels) row(run, "No parcels?:  ", "T\n");
  flag(run, "Hiding-exposure?: ", s.hiding_exposure);
  flag(run, "Turbulent shear?: ", s.turbulent_shear);
  flag(run, "Bed interaction?: ", s.bed_interaction);
  line(run, "");
}

void write_methods(const RunState& run) {
  const Settings& s = run.settings;
  row(run, "CENTROID_METHOD: ", s.centroid_method);
  row(run, "ADVECTION_METHOD:",
      s.advection_method == "3d" ? "3d " : (s.advection_method == "2d" ? "1d " : "2d "));
  row(run, "EULERIAN_METHOD: ", s.eulerian_method);
  row(run, "VELOCITY_METHOD: ", s.velocity_method);
  row(run, "Numerical scheme:", columns(s.numerical_scheme, 1));
  row(run, "Mesh update:     ", columns(s.grid_update, 5));
  row(run, "Flow update:     ", columns(s.flow_update, 5));
  flag(run, "\nDist. by weight: ", s.by_weight);
  flag(run, "Source to datum: ", s.source_to_datum);
  line(run, "");
  row(run, "HYFS comp.   : ", columns(s.hyfs_compression, 2));
  row(run, "HYFS path (z): ", s.hyfs_wse_path);
  if (s.sediments_format == "hyfs") {
    row(run, "HYFS sed. type:", s.sediment_hyfs_layout);
    row(run, "HYFS path (d35): ", s.hyfs_d35_path);
    row(run, "HYFS path (d50): ", s.hyfs_d50_path);
    row(run, "HYFS path (d90): ", s.hyfs_d90_path);
  }
  row(run, "HYFS path (u): ", s.hyfs_vel_path);
  if (s.mesh_format == "n2d") row(run, "HYFS path (g): ", s.hyfs_grid_path);
  if (two_point(s)) {
    row(run, "\nBot. Flow Type:", s.bottom_flow_format);
    if (s.bottom_flow_format == "hyfs") row(run, "HYFS path (ub):", s.hyfs_bot_path);
  }
  if (s.n2d_step > 1.0f) row(run, "N2D step:      ", real(s.n2d_step, 8, 3) + " sec\n");
}

void write_ship_effects(const RunState& run) {
  const Settings& s = run.settings;
  if (s.drawdown_on) {
    line(run, "\nDrawdown:       Y");
    row(run, "  Method:      ", s.drawdown_method);
    if (s.drawdown_fse_file != "none") row(run, "  WSE:         ", s.drawdown_fse_file);
    if (s.drawdown_vel_file != "none") row(run, "  Flows:       ", s.drawdown_vel_file);
    row(run, "  Ship:        ", s.drawdown_data_file);
    row(run, "  Route:       ", s.ship_route_file);
  }
  if (s.propwash_on) {
    line(run, "\nPropwash:       Y");
    row(run, "  Propulsion:  ", s.propwash_data_file);
    if (!s.drawdown_on) row(run, "  Route:       ", s.ship_route_file);
  }
}

}  // namespace

void WRITE_INPUT_ECHO(RunState& run) {
  const std::string path = trim_right(run.settings.output_prefix) + ".input";
  run.messages.echo_file = open_file(path, "w");
  if (run.messages.echo_file == nullptr) {
    fatal_error(run.messages, "Cannot create file \"" + path + "\": " + std::strerror(errno));
  }
  write_head(run);
  write_input_files(run);
  write_output_files(run);
  write_times(run);
  write_numbers(run);
  write_bed_and_parcels(run);
  write_methods(run);
  write_ship_effects(run);
  line(run, "\n" + std::string(60, '-') + "\n");
}

}  // namespace dfl
