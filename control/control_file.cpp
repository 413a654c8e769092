#include "control/control_file.h"

#include <cmath>
#include <limits>
#include <set>

#include "control/control_cards.h"
#include "control/input_echo.h"
#include "control/text_reader.h"
#include "control/text_tools.h"

namespace dfl {

namespace {

constexpr std::size_t longest_line = 256;

enum class PassEnd { end_data, bad_line, premature_end, card_failed };

// Reads a line into pass.line: tabs turned into blanks, shifted left. Text that is dropped behind
// the last column is told to `cut`.
template <class Cut>
bool next_line(TextReader& in, CardPass& pass, Cut cut) {
  std::string line;
  pass.line_number = in.place().line;
  if (!in.read_line(line)) return false;
  constexpr const char* byte_order_mark = "\xEF\xBB\xBF";
  if (pass.line_number == 1 && line.rfind(byte_order_mark, 0) == 0) line.erase(0, 3);
  const bool too_long = line.size() > longest_line;
  const std::string dropped = too_long ? trim(line.substr(longest_line)) : std::string();
  if (too_long) line.resize(longest_line);
  TABS_TO_BLANKS(line, static_cast<int>(line.size()));
  pass.line = trim(line);
  if (!dropped.empty() && pass.line[0] != '#') cut();
  return true;
}

// Takes the lines behind the card wave_files up to the next card: names of wave files.
template <class Cut>
std::vector<std::string> names_behind_card(TextReader& in, CardPass& pass, Cut cut) {
  std::vector<std::string> names;
  for (;;) {
    const TextReader::Place place = in.place();
    if (!next_line(in, pass, cut)) return names;
    if (!pass.line.empty() && pass.line[0] == ':') {
      in.go_to(place);
      return names;
    }
    if (!pass.line.empty() && pass.line[0] != '#') names.push_back(pass.line);
  }
}

// Goes through the cards from the head of the file to :end_data. `visit` acts on the card in hand
// and returns false to stop; `names` takes the lines behind a wave_files card.
template <class Visit, class Names, class Cut>
PassEnd go_through_cards(TextReader& in, CardPass& pass, Visit visit, Names names, Cut cut) {
  in.rewind();
  while (next_line(in, pass, cut)) {
    if (pass.line.empty() || pass.line[0] == '#') continue;
    if (pass.line[0] != ':') return PassEnd::bad_line;
    int count = 0;
    CARD_SPLIT(pass.line, ' ', count, pass.keyword, pass.value);
    pass.keyword = lower_case(pass.keyword);
    if (pass.keyword == ":end_data") return PassEnd::end_data;
    if (!visit()) return PassEnd::card_failed;
    if (pass.keyword == ":wave_files") names(names_behind_card(in, pass, cut));
  }
  return PassEnd::premature_end;
}

constexpr auto drop_names = [](const std::vector<std::string>&) {};
constexpr auto say_nothing = [] {};

void tell_premature_end(const RunState& run, PassEnd end) {
  if (end != PassEnd::premature_end) return;
  console(run.messages, "ERROR: Premature end of file encountered\n");
}

// Counts the cards that may stand more than once.
void PRESCAN_BOUNDARY_CARDS(RunState& run, TextReader& in, CardPass& pass) {
  Settings& s = run.settings;
  const auto count = [&] {
    if (pass.keyword == ":hyfs_closed_boundary_path") ++s.NUMclosedpaths;
    if (pass.keyword == ":hyfs_open_boundary_path") ++s.NUMopenpaths;
    return true;
  };
  tell_premature_end(run, go_through_cards(in, pass, count, drop_names, say_nothing));
}

void COLLECT_CARD_VALUES(RunState& run, TextReader& in, CardPass& pass, const char* keyword,
                         std::vector<std::string>& values) {
  const auto collect = [&] {
    if (pass.keyword != keyword) return true;
    values.push_back(pass.value);
    if (!pass.value.empty()) return true;
    console(run.messages, "ERROR in line: %s\n", pass.line.c_str());
    return false;
  };
  const PassEnd end = go_through_cards(in, pass, collect, drop_names, say_nothing);
  tell_premature_end(run, end);
  if (end == PassEnd::card_failed) fatal_error(run.messages, "PCF file error");
}

// A check that failed: one text for the error file, one for the console, a key, and the end.
[[noreturn]] void refuse(const RunState& run, const char* error_text, const char* console_text) {
  std::FILE* error_file = open_error_file(run.messages);
  if (error_file != nullptr) {
    std::fprintf(error_file, "%s\n", error_text);
    std::fflush(error_file);  // the key may be long in coming
  }
  console(run.messages, "\n\n%s\n\n\n", console_text);
  read_console_line(run.messages);
  stop_run(run.messages, true);
}

struct Check {
  bool failing;
  const char* error_text;
  const char* console_text;
};

void check_settings(const RunState& run, const CardPass& pass) {
  const Settings& s = run.settings;
  const bool two_point = s.velocity_method == "2d (two-point)";
  const bool rvs_grid = s.mesh_format == "n2d" || s.mesh_format == "n2g";
  const bool no_bc_file = s.bc_file == "none";
  const bool no_sediment_path =
      s.hyfs_d35_path == "none" || s.hyfs_d50_path == "none" || s.hyfs_d90_path == "none";
  const Check checks[] = {
      {!pass.given.contains("output_prefix"), " *** Require an output file prefix *** ",
       " *** Require an output file prefix *** <ENTER>"},
      {s.mesh_file == "none" && s.mesh_format != "gr3d" && !s.rvs_mesh,
       " *** Require an input mesh file *** ", " *** Require an input mesh file  *** <ENTER>"},
      {s.mesh_format == "kfe" && no_bc_file,
       " *** Require a boundary condition file for KFE mesh *** ",
       " *** Require a boundary condition file for KFE mesh *** <ENTER>"},
      {s.mesh_format == "n3d" && no_bc_file,
       " *** Require a boundary condition file for N3D grid *** ",
       " *** Require a boundary condition file for N3D grid *** <ENTER>"},
      {rvs_grid && no_bc_file, " *** Require a boundary condition file for RVS grid *** ",
       " *** Require a boundary condition file for RVS grid *** <ENTER>"},
      {s.mesh_format == "n2g" && s.rvs_control_file == "none",
       " *** Require a control file for N2D v3.02 grid *** ",
       " *** Require a control file for N2D v3.02 grid *** <ENTER>"},
      {s.neighbor_file == "none", " *** Require a neighbor file *** ",
       " *** Require a neighbor file  *** <ENTER>"},
      {s.time_step <= 0.0, " *** Require DT *** ", " *** Require DT *** <ENTER>"},
      {s.start_run < 0.0, " *** Require START_TIME *** ", " *** Require START_TIME *** <ENTER>"},
      {s.duration < 0.0f && s.stop_run < 0.0, " *** Require DURATION or STOP_TIME *** ",
       " *** Require DURATION or STOP_TIME *** <ENTER>"},
      {two_point && s.bottom_flow_file == "none", " *** Require bottom flow file *** ",
       " *** Require bottom flow file *** <ENTER>"},
      {s.bottom_flow_file != "none" && !two_point,
       " *** Bottom flow file given, but VELOCITY_METHOD not TWO-POINT *** ",
       " *** Bottom flow file given, but VELOCITY_METHOD not TWO-POINT *** <ENTER>"},
      {s.trap_file == "none" && s.residence_calc,
       " *** Need TRAP to perform  residence calculations *** ",
       " *** Need TRAP to perform residence calculations *** <ENTER>"},
      {two_point && s.advection_method == "2d",
       " *** 1d advection method not supported for 2-point *** ",
       "... *** 1d advection method not supported for 2-point *** <ENTER>"},
      {contains(s.velocity_method, "3d") && s.advection_method == "2d",
       " *** 1d advection method not supported for 3D hydro. input *** ",
       "... *** 1d advection method not supported for 3D hydro. input *** <ENTER>"},
      {contains(s.sediments_format, "hyfs") && no_sediment_path,
       " *** Need HYFS sediment data path *** ", " *** Need HYFS sediment data path *** <ENTER>"},
      {s.flow_format == "n3d" && s.hyfs_n3d_path == "none",
       " *** Need path for HYFS input hydro data *** ",
       " *** Need path for HYFS input hydro data *** <ENTER>"},
      {s.particle_concentration && s.gaussian_concentration,
       " *** Please select one concentration method *** ",
       " *** Please select one concentration method *** <ENTER>"},
  };
  for (const Check& check : checks) {
    if (check.failing) refuse(run, check.error_text, check.console_text);
  }
}

void check_wave_settings(RunState& run, const CardPass& pass) {
  Settings& s = run.settings;
  const auto given = [&](const char* card) { return pass.given.contains(card); };
  const bool oswell = s.wave_format == "oswell";
  const bool oswell_hyfs = s.wave_format == "oswell_hyfs";
  const bool own_grid = oswell && !s.wave_sim_required;
  const bool lagoon = s.wave_format == "lagoon";
  if (lagoon) s.exceed_waves = true;
  const Check checks[] = {
      {oswell && s.wave_files <= 0, " *** Require at least one wave file *** ",
       " *** Require at least one wave file *** <ENTER>"},
      {oswell && s.wave_sim_required && s.wave_sim_file == "none",
       " *** Require RVS-Wave simulation file name *** ",
       " *** Require RVS-Wave simulation file name *** <ENTER>"},
      {own_grid && (!given("wave_x_origin") || !given("wave_y_origin")),
       " *** Need wave grid origin *** ", "... *** Need wave grid origin *** <ENTER>"},
      {own_grid && !given("wave_grid_angle"), " *** Need wave grid angle *** ",
       "... *** Need wave grid angle *** <ENTER>"},
      {oswell && s.nested && s.wave_sim_required && s.wave_sim_file_2 == "none",
       " *** Require RVS-Wave simulation file name (nested)*** ",
       " *** Require RVS-Wave simulation file name (nested) *** <ENTER>"},
      {own_grid && s.nested && (!given("wave_x_origin_2") || !given("wave_y_origin_2")),
       " *** Need nested grid origin *** ", "... *** Need nested grid origin *** <ENTER>"},
      {oswell_hyfs && s.wave_file_hyfs == "none", " *** Need wave filename *** ",
       "... *** Need wave filename  *** <ENTER>"},
      {oswell_hyfs && s.nested && s.wave_file_2_hyfs == "none",
       " *** Need nested wave filename ***", "... *** Need nested filename *** <ENTER>"},
      {s.wave_format == "swan" && s.wave_sim_file == "none", " *** Need SWAN input filename ***",
       "... *** Need SWAN input filename  *** <ENTER>"},
      {lagoon && s.lagoon_wave_period <= 0.0f, " *** Need Lagoon wave period ***",
       "... *** Need Lagoon wave period *** <ENTER>"},
  };
  for (const Check& check : checks) {
    if (check.failing) refuse(run, check.error_text, check.console_text);
  }
  if (own_grid && s.nested && !given("wave_grid_angle_2")) s.wave_grid_angle_2 = s.wave_grid_angle;
}

void derive_settings(RunState& run) {
  Settings& s = run.settings;
  if (s.no_parcels) s.population_record = false;
  if (s.paths) s.tecplot_parcels = true;
  if (s.duration < 0.0f) s.duration = static_cast<float>(s.stop_run - s.start_run);
  if (s.stop_run < 0.0) s.stop_run = s.start_run + static_cast<double>(s.duration);
  if (s.start_run > s.start_trap) s.start_trap = s.start_run;
  if (s.stop_trap < 0.0) s.stop_trap = s.stop_run;

  // Sea water at temperature T (degrees C) and salinity S (mass fraction).
  if (s.salinity > 0.1f) s.salinity /= 1000.0f;
  const float c = (1000.0f * s.salinity - 0.03f) / 1.805f;
  const float a = s.temperature - 4.0f + 0.4f * c;
  s.water_density = 1000.0f - 0.0065f * (a * a) + 1.455f * c;
  s.water_viscosity = 4.0e-5f / (20.0f + s.temperature);

  if (s.mesh_format == "n2d" && s.sediments_format == "hyfs") s.sediments_format = "hyfs_n2d";
  if (run.messages.HOSTEDmode) {
    s.propwash_on = s.drawdown_on = s.active_morphology = false;
    s.slope_effects = s.adjust_currents = s.special = false;
  }
}

// Values with which the time loop could not run.
void check_values(const RunState& run) {
  const Settings& s = run.settings;
  struct Increment {
    const char* card;
    int value;
  };
  for (const Increment& increment :
       {Increment{"output_inc", s.output_inc}, Increment{"mapping_inc", s.mapping_inc},
        Increment{"grid_update", s.grid_update}, Increment{"flow_update", s.flow_update}}) {
    if (increment.value < 1) {
      fatal_error(run.messages, std::string("card :") + increment.card +
                                    ": expected 1 or more steps, found " +
                                    std::to_string(increment.value));
    }
  }
  // Run time advances on whole milliseconds plus one step: a step that rounds to none of them would
  // stand still. The bound leaves room for the rounding of the run times of any calendar date.
  constexpr double shortest_step = 0.0006;
  if (s.time_step < shortest_step) {
    fatal_error(run.messages, "card :time_step: expected at least 0.0006 s");
  }
  // Beyond that the start of the run is lost in the rounding of the step before it, and the loop
  // may never end.
  constexpr double longest_step = 1.0e11;
  if (s.time_step > longest_step) {
    fatal_error(run.messages, "card :time_step: expected at most 1e11 s");
  }
  constexpr double most_steps = std::numeric_limits<int>::max() - 2;
  if ((s.stop_run - s.start_run) / s.time_step > most_steps) {
    fatal_error(run.messages,
                "card :time_step: more than 2147483645 steps from start_run to stop_run");
  }
  // The viscosity has no value there.
  if (s.temperature <= -20.0f) {
    fatal_error(run.messages, "card :temperature: expected more than -20 degrees C");
  }
  // A bed of pores alone has no level; also refuses what is no number.
  if (!(s.bed_porosity < 1.0f)) {
    fatal_error(run.messages, "card :bed_porosity: expected less than 1");
  }
}

// Run time advances from one whole millisecond to another, whatever is left of the step.
void warn_of_time_step(const RunState& run) {
  const double milliseconds = run.settings.time_step * 1000.0;
  constexpr double rounding = 1.0e-6;  // of decimal fractions
  if (std::abs(milliseconds - std::round(milliseconds)) <= rounding) return;
  echo_warning(run.messages,
               "card :time_step: not a whole number of milliseconds: run time advances by whole "
               "ones, parcels by the step as given");
}

void read_cards(RunState& run, TextReader& in, CardPass& pass) {
  Settings& s = run.settings;
  std::set<int> cut_lines;  // a line behind a list of names is looked at twice
  const auto apply = [&] { return apply_card(pass); };
  const auto names = [&](std::vector<std::string> found) { s.wave_file_names = std::move(found); };
  const auto cut = [&] { cut_lines.insert(pass.line_number); };
  const PassEnd end = go_through_cards(in, pass, apply, names, cut);
  if (end == PassEnd::premature_end) {
    console(run.messages, "ERROR: Premature EndOfFile encountered\n");
  }
  if (end == PassEnd::bad_line) {
    // The console only hears that the file is wrong; the error file keeps the place.
    std::FILE* error_file = open_error_file(run.messages);
    if (error_file != nullptr) {
      std::fprintf(error_file, "%s:%d: expected a card, a comment or a blank line, found \"%s\"\n",
                   pass.path.c_str(), pass.line_number, pass.line.c_str());
    }
  }
  if (end != PassEnd::end_data) fatal_error(run.messages, "PCF file error");

  check_settings(run, pass);
  if (s.waves) check_wave_settings(run, pass);
  derive_settings(run);
  check_values(run);
  WRITE_INPUT_ECHO(run);
  for (int line : cut_lines) {
    echo_warning(run.messages,
                 pass.path + ":" + std::to_string(line) + ": text behind column 256 is not read");
  }
  warn_of_time_step(run);
}

// Stored words to the values that the model compares.
template <class Value>
struct MethodWord {
  const char* word;
  Value value;
};
constexpr MethodWord<MeshFormat> mesh_formats[] = {
    {"adcirc", MeshFormat::adcirc}, {"kfe", MeshFormat::kfe}, {"gr3d", MeshFormat::gr3d},
    {"n3d", MeshFormat::n3d},       {"n2d", MeshFormat::n2d}, {"n2g", MeshFormat::n2g},
};
constexpr MethodWord<FlowFormat> flow_formats[] = {
    {"adcirc", FlowFormat::adcirc}, {"kfe", FlowFormat::kfe},   {"hyfs", FlowFormat::hyfs},
    {"n2d", FlowFormat::n2d},       {"gr3d", FlowFormat::gr3d}, {"n3d", FlowFormat::n3d},
};
constexpr MethodWord<SedimentsFormat> sediments_formats[] = {
    {"adcirc", SedimentsFormat::adcirc},     {"hyfs", SedimentsFormat::hyfs},
    {"hyfs_n2d", SedimentsFormat::hyfs_n2d}, {"n2d", SedimentsFormat::n2d},
    {"kfe", SedimentsFormat::kfe},           {"uniform", SedimentsFormat::uniform},
};
constexpr MethodWord<WaveFormat> wave_formats[] = {
    {"oswell", WaveFormat::oswell},
    {"oswell_hyfs", WaveFormat::oswell_hyfs},
    {"swan", WaveFormat::swan},
    {"lagoon", WaveFormat::lagoon},
};
constexpr MethodWord<VelocityMethod> velocity_methods[] = {
    {"2d (uniform)", VelocityMethod::uniform},
    {"2d (log)", VelocityMethod::log},
    {"2d (two-point)", VelocityMethod::two_point},
    {"3d (sigma)", VelocityMethod::sigma_3d},
    {"3d (z)", VelocityMethod::z_3d},
};
constexpr MethodWord<AdvectionMethod> advection_methods[] = {
    {"2d", AdvectionMethod::d2}, {"3d", AdvectionMethod::d3}, {"q3d", AdvectionMethod::q3d}};
constexpr MethodWord<TransportFormula> transport_formulas[] = {
    {"soulsby-van_rijn", TransportFormula::soulsby_van_rijn},
    {"van_rijn", TransportFormula::van_rijn},
    {"van_rijn_2017", TransportFormula::van_rijn_2017},
    {"camenen-larson", TransportFormula::camenen_larson},
    {"lund", TransportFormula::lund},
    {"a-d", TransportFormula::a_d},
    {"cohesive", TransportFormula::cohesive},
};

template <class Value, std::size_t n>
Value value_of(const std::string& word, const MethodWord<Value> (&rows)[n], Value otherwise) {
  for (const MethodWord<Value>& row : rows) {
    if (word == row.word) return row.value;
  }
  return otherwise;
}

}  // namespace

std::string control_file_path(const std::string& CONTROLfile) {
  constexpr std::size_t longest_word = 180;
  const std::string name = lower_case(CONTROLfile.substr(0, longest_word));
  return contains(name, ".pcf") || contains(name, ".dfl") ? CONTROLfile : CONTROLfile + ".pcf";
}

void READ_CONTROL_FILE(RunState& run) {
  Settings& s = run.settings;
  s = Settings{};
  run.messages.output_prefix = s.output_prefix;

  CardPass pass{.run = run, .path = control_file_path(run.clock.CONTROLfile)};
  TextReader in(run.messages, pass.path);
  console(run.messages, "Reading program control file...\n");

  PRESCAN_BOUNDARY_CARDS(run, in, pass);
  if (s.NUMclosedpaths > 0) {
    COLLECT_CARD_VALUES(run, in, pass, ":hyfs_closed_boundary_path", s.CLOSEDpaths);
  }
  if (s.NUMopenpaths > 0) {
    COLLECT_CARD_VALUES(run, in, pass, ":hyfs_open_boundary_path", s.OPENpaths);
  }
  s.boundary_source = s.NUMclosedpaths > 0 || s.NUMopenpaths > 0 ? "hyfs" : "internal";

  read_cards(run, in, pass);
  if (s.mesh_format.rfind("n2", 0) == 0) s.boundary_source = "mapping_grid";
  set_methods(s);
}

void set_methods(Settings& s) {
  auto& m = s.method;
  m.mesh = value_of(s.mesh_format, mesh_formats, MeshFormat::unknown);
  m.flow = value_of(s.flow_format, flow_formats, FlowFormat::unknown);
  m.bottom_flow = value_of(s.bottom_flow_format, flow_formats, FlowFormat::unknown);
  m.sediments = value_of(s.sediments_format, sediments_formats, SedimentsFormat::unknown);
  m.wave = value_of(s.wave_format, wave_formats, WaveFormat::unknown);
  m.velocity = value_of(s.velocity_method, velocity_methods, VelocityMethod::unknown);
  m.advection = value_of(s.advection_method, advection_methods, AdvectionMethod::q3d);
  m.centroid = s.centroid_method == "van_rijn" ? CentroidMethod::van_rijn : CentroidMethod::rouse;
  m.eulerian = s.eulerian_method == "van_rijn" ? EulerianMethod::van_rijn : EulerianMethod::pie;
  m.transport =
      value_of(s.eulerian_sed_trans, transport_formulas, TransportFormula::soulsby_van_rijn);
}

}  // namespace dfl
