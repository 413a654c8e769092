#include "control/control_cards.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <span>

#include "control/run_clock.h"
#include "control/text_reader.h"
#include "control/text_tools.h"

namespace dfl {

namespace {

// Cards without a value. A card with several effects has several rows.
struct FlagCard {
  const char* card;
  bool Settings::*setting;
  bool value = true;
};
constexpr FlagCard flag_cards[] = {
    {"waves", &Settings::waves},
    {"currents", &Settings::currents},
    {"debug", &Settings::debug},
    {"repeatable", &Settings::repeatable},
    {"ensim", &Settings::ensim},
    {"ensim_parcels", &Settings::ensim_parcels},
    {"ensim_maps", &Settings::ensim_maps},
    {"tecplot_parcels", &Settings::tecplot_parcels},
    {"tecplot_maps", &Settings::tecplot_maps},
    {"no_hyfs_parcels", &Settings::hyfs_parcels, false},
    {"no_hyfs_maps", &Settings::hyfs_maps, false},
    {"population_record", &Settings::population_record},
    {"paths", &Settings::paths},
    {"no_parcels", &Settings::no_parcels},
    {"old_lund", &Settings::old_lund},
    {"special", &Settings::special},
    {"morphology", &Settings::morphology},
    {"morphology", &Settings::bed_level_mapping},
    {"bed_level_mapping", &Settings::morphology},
    {"bed_level_mapping", &Settings::bed_level_mapping},
    {"active_morphology", &Settings::active_morphology},
    {"active_morphology", &Settings::morphology},
    {"slope_effects", &Settings::slope_effects},
    {"adjust_current", &Settings::adjust_currents},
    {"adjust_currents", &Settings::adjust_currents},
    {"source_to_datum", &Settings::source_to_datum},
    {"wave_breaking", &Settings::wave_breaking},
    {"last_step_trap", &Settings::last_step_trap},
    {"residence_calc", &Settings::residence_calc},
    {"by_weight", &Settings::by_weight},
    {"nested", &Settings::nested},
    {"exceed_waves", &Settings::exceed_waves},
    {"no_bedforms", &Settings::no_bedforms},
    {"bedforms", &Settings::no_bedforms, false},
    {"no_hiding_exposure", &Settings::hiding_exposure, false},
    {"hiding_exposure", &Settings::hiding_exposure},
    {"no_turbulent_shear", &Settings::turbulent_shear, false},
    {"turbulent_shear", &Settings::turbulent_shear},
    {"no_bed_interaction", &Settings::bed_interaction, false},
    {"bed_interaction", &Settings::bed_interaction},
    {"no_wave_mass_transport", &Settings::wave_mass_transport, false},
    {"wave_mass_transport", &Settings::wave_mass_transport},
    {"undertow", &Settings::undertow},
    {"neutrally_buoyant", &Settings::neutrally_buoyant},
    {"neutrally_bouyant", &Settings::neutrally_buoyant},
    {"no_random_walk", &Settings::no_random_walk},
    {"particle_concentration", &Settings::particle_concentration},
    {"particle_concentration", &Settings::concentration_mapping},
    {"particle_concentration", &Settings::parcel_mass_output},
    {"particle_concentration", &Settings::age_output},
    {"particle-concentration", &Settings::particle_concentration},
    {"particle-concentration", &Settings::concentration_mapping},
    {"particle-concentration", &Settings::parcel_mass_output},
    {"particle-concentration", &Settings::age_output},
    {"concentration_mapping", &Settings::particle_concentration},
    {"concentration_mapping", &Settings::concentration_mapping},
    {"concentration_mapping", &Settings::parcel_mass_output},
    {"concentration_mapping", &Settings::age_output},
    {"flow_mapping", &Settings::flow_mapping},
    {"bedform_mapping", &Settings::bedform_mapping},
    {"shear_stress_mapping", &Settings::shear_stress_mapping},
    {"mobility_mapping", &Settings::mobility_mapping},
    {"wave_mapping", &Settings::wave_mapping},
    {"bed_level_change_mapping", &Settings::bed_level_change_mapping},
    {"transport_mapping", &Settings::transport_mapping},
    {"id_output", &Settings::id_output},
    {"source_output", &Settings::source_output},
    {"grain_size_output", &Settings::grain_size_output},
    {"density_output", &Settings::density_output},
    {"parcel_mass_output", &Settings::parcel_mass_output},
    {"mobility_output", &Settings::mobility_output},
    {"elevation_output", &Settings::elevation_output},
    {"height_output", &Settings::height_output},
    {"state_output", &Settings::state_output},
    {"flow_output", &Settings::flow_output},
    {"tau_cr_output", &Settings::tau_cr_output},
    {"fall_velocity_output", &Settings::fall_velocity_output},
};

struct LevelCard {
  const char* card;
  int Settings::*setting;
  int value;
};
constexpr LevelCard level_cards[] = {
    {"hyfs_compressed", &Settings::hyfs_compression, 1},
    {"detailed_concentration", &Settings::concentration_method, 1},
    {"rapid_concentration", &Settings::concentration_method, 3},
};

// Cards that are accepted and have no effect here; the boundary paths have a pass of their own.
constexpr const char* passed_over[] = {"plume", "hyfs_closed_boundary_path",
                                       "hyfs_open_boundary_path"};

// Cards with one value. Some switch a flag beside it.
template <class Value>
struct ValueCard {
  const char* card;
  Value Settings::*setting;
  bool Settings::*also = nullptr;
  bool also_value = false;
};

constexpr ValueCard<float> real_cards[] = {
    {"duration", &Settings::duration},
    {"kew", &Settings::kew},
    {"ket", &Settings::ket},
    {"kev", &Settings::kev},
    {"etmin", &Settings::etmin},
    {"evmin", &Settings::evmin},
    {"bedload_coef", &Settings::bedload_coef},
    {"suspended_load_coef", &Settings::suspended_load_coef},
    {"eulerian_sed_trans_efficiency", &Settings::eulerian_sed_trans_efficiency},
    {"bed_porosity", &Settings::bed_porosity},
    {"temperature", &Settings::temperature},
    {"salinity", &Settings::salinity},
    {"rhos", &Settings::rhos},
    {"min_depth", &Settings::min_depth},
    {"n2d_step", &Settings::n2d_step},
    {"cohesive_erodibility", &Settings::cohesive_erodibility},
    {"cohesive_taucr", &Settings::cohesive_taucr},
    {"max_bed_slope", &Settings::max_bed_slope},
    {"calibration_factor", &Settings::calibration_factor},
    {"bottom_flow_height", &Settings::bottom_flow_height},
    {"wave_step", &Settings::wave_step},
    {"wave_grid_angle", &Settings::wave_grid_angle, &Settings::wave_sim_required, false},
    {"wave_grid_angle_2", &Settings::wave_grid_angle_2},
    {"lagoon_wave_period", &Settings::lagoon_wave_period},
};

constexpr ValueCard<double> double_cards[] = {
    {"time_step", &Settings::time_step},
    {"wave_x_origin", &Settings::wave_x_origin, &Settings::wave_sim_required, false},
    {"wave_y_origin", &Settings::wave_y_origin, &Settings::wave_sim_required, false},
    {"wave_x_origin_2", &Settings::wave_x_origin_2},
    {"wave_y_origin_2", &Settings::wave_y_origin_2},
};

constexpr ValueCard<int> integer_cards[] = {
    {"output_inc", &Settings::output_inc},
    {"mapping_inc", &Settings::mapping_inc},
    {"grid_update", &Settings::grid_update},
    {"flow_update", &Settings::flow_update},
    {"morphology_smoothing", &Settings::morphology_smoothing},
    {"wave_frames", &Settings::wave_frames},
    {"wave_files", &Settings::wave_files},
};

constexpr ValueCard<std::int16_t> short_cards[] = {
    {"numerical_scheme", &Settings::numerical_scheme},
};

constexpr ValueCard<double> date_cards[] = {
    {"start_run", &Settings::start_run},     {"stop_run", &Settings::stop_run},
    {"start_trap", &Settings::start_trap},   {"stop_trap", &Settings::stop_trap},
    {"start_flow", &Settings::start_flow},   {"bottom_start_flow", &Settings::bottom_start_flow},
    {"start_waves", &Settings::start_waves},
};

constexpr ValueCard<std::string> text_cards[] = {
    {"mesh_file", &Settings::mesh_file},
    {"rvcards_file", &Settings::mesh_file},
    {"rvs_control_file", &Settings::rvs_control_file},
    {"n2d_control_file", &Settings::rvs_control_file},
    {"rvs-2d_control_file", &Settings::rvs_control_file},
    {"rvs-n2d_control_file", &Settings::rvs_control_file},
    {"bc_file", &Settings::bc_file},
    {"neighbor_file", &Settings::neighbor_file},
    {"sediment_file", &Settings::sediment_file},
    {"source_file", &Settings::source_file},
    {"bottom_flow_file", &Settings::bottom_flow_file},
    {"bottom_mask_file", &Settings::bottom_mask_file},
    {"drawdown_data_file", &Settings::drawdown_data_file, &Settings::drawdown_on, true},
    {"drawdown_fse_file", &Settings::drawdown_fse_file},
    {"drawdown_vel_file", &Settings::drawdown_vel_file},
    {"propwash_data_file", &Settings::propwash_data_file, &Settings::propwash_on, true},
    {"ship_route_file", &Settings::ship_route_file},
    {"wave_file_hyfs", &Settings::wave_file_hyfs, &Settings::wave_sim_required, false},
    {"wave_file_2_hyfs", &Settings::wave_file_2_hyfs},
    {"wave_swan_file", &Settings::wave_sim_file},
    {"wave_sim_file", &Settings::wave_sim_file},
    {"wave_sim_file_2", &Settings::wave_sim_file_2},
    {"hvlb_particle_set_guid", &Settings::particle_set_guid},
    {"flow_file_z", &Settings::flow_file_z},
    {"flow_file_uv", &Settings::flow_file_uv},
    {"hyfs_wse_path", &Settings::hyfs_wse_path},
    {"hyfs_vel_path", &Settings::hyfs_vel_path},
    {"hyfs_bot_path", &Settings::hyfs_bot_path},
    {"hyfs_u_path", &Settings::hyfs_u_path},
    {"hyfs_v_path", &Settings::hyfs_v_path},
    {"hyfs_w_path", &Settings::hyfs_w_path},
    {"hyfs_dep_path", &Settings::hyfs_dep_path},
    {"hyfs_sal_path", &Settings::hyfs_sal_path},
    {"hyfs_temp_path", &Settings::hyfs_temp_path},
    {"hyfs_n3d_path", &Settings::hyfs_n3d_path},
    {"hyfs_grid_path", &Settings::hyfs_grid_path},
    {"hyfs_d35_path", &Settings::hyfs_d35_path},
    {"hyfs_d50_path", &Settings::hyfs_d50_path},
    {"hyfs_d90_path", &Settings::hyfs_d90_path},
    {"hyfs_h_path", &Settings::hyfs_h_path},
    {"hyfs_t_path", &Settings::hyfs_t_path},
    {"hyfs_q_path", &Settings::hyfs_q_path},
    {"hyfs_b_path", &Settings::hyfs_b_path},
};

// Cards whose value is a word of a list. A word outside it gives `otherwise`, or is stored as given
// where there is none.
struct WordRow {
  const char* word;
  const char* stored;
};
struct WordCard {
  const char* card;
  std::string Settings::*setting;
  std::span<const WordRow> rows;
  const char* otherwise;
  bool needs_value = false;
  bool Settings::*also = nullptr;
};
constexpr WordRow mesh_words[] = {
    {"rvs-2d", "n2d"}, {"rvs-n2d", "n2d"}, {"n2d", "n2g"}, {"rvs-3d", "n3d"}, {"rvs-n3d", "n3d"},
};
constexpr WordRow flow_words[] = {
    {"rvs-2d", "n2d"}, {"rvs-n2d", "n2d"}, {"rvs-3d", "n3d"}, {"rvs-n3d", "n3d"}};
constexpr WordRow wave_words[] = {
    {"hyfs", "oswell_hyfs"}, {"pelag", "oswell"}, {"rvs-wave", "oswell"}, {"rvs_wave", "oswell"}};
constexpr WordRow transport_words[] = {
    {"van_rijn", "van_rijn"},
    {"van-rijn", "van_rijn"},
    {"van_rijn_2017", "van_rijn_2017"},
    {"van-rijn_2017", "van_rijn_2017"},
    {"camenen-larson", "camenen-larson"},
    {"lund", "lund"},
    {"a-d", "a-d"},
    {"a_d", "a-d"},
    {"cohesive", "cohesive"},
};
constexpr WordRow van_rijn_word[] = {{"van_rijn", "van_rijn"}};
constexpr WordRow advection_words[] = {{"3d", "3d"}, {"1d", "2d"}};
constexpr WordRow velocity_words[] = {
    {"2d (uniform)", "2d (uniform)"},
    {"two-point", "2d (two-point)"},
    {"two_point", "2d (two-point)"},
    {"2d (two-point)", "2d (two-point)"},
    {"2d (two_point)", "2d (two-point)"},
    {"3d", "3d (sigma)"},
    {"3ds", "3d (sigma)"},
    {"3dz", "3d (z)"},
};
constexpr WordRow drawdown_words[] = {
    {"interpolated", "interpolated"},
    {"function-continuity", "function-continuity"},
    {"function-return-channel", "function-return-channel"},
    {"function-continuity-return-channel", "function-continuity-return-channel"},
    {"function-return-square", "function-return-square"},
    {"function-continuity-return-square", "function-continuity-return-square"},
    {"function-return-trench", "function-return-trench"},
    {"function-continuity-return-trench", "function-continuity-return-trench"},
};
constexpr WordCard word_cards[] = {
    {"mesh_format", &Settings::mesh_format, mesh_words, nullptr},
    {"flow_format", &Settings::flow_format, flow_words, nullptr},
    {"bottom_flow_format", &Settings::bottom_flow_format, {}, nullptr},
    {"eulerian_sed_trans", &Settings::eulerian_sed_trans, transport_words, "soulsby-van_rijn"},
    {"eulerian_method", &Settings::eulerian_method, van_rijn_word, "pie"},
    {"centroid_method", &Settings::centroid_method, van_rijn_word, "rouse"},
    {"advection_method", &Settings::advection_method, advection_words, "q3d"},
    {"velocity_method", &Settings::velocity_method, velocity_words, "2d (log)"},
    {"drawdown_method", &Settings::drawdown_method, drawdown_words, "function", true,
     &Settings::drawdown_on},
};

std::string stored_word(const std::string& word, std::span<const WordRow> rows,
                        const char* otherwise) {
  for (const WordRow& row : rows) {
    if (word == row.word) return row.stored;
  }
  return otherwise == nullptr ? word : otherwise;
}

[[noreturn]] void stop_at_card(const CardPass& pass, const std::string& fault) {
  fatal_error(pass.run.messages, pass.path + ":" + std::to_string(pass.line_number) + ": card " +
                                     pass.keyword + ": " + fault);
}

bool error_in_line(const CardPass& pass) {
  console(pass.run.messages, "ERROR in line: %s\n", pass.line.c_str());
  return false;
}

// Reads numbers in free form from a text of the card in hand.
template <class... Items>
void read_numbers(const CardPass& pass, const std::string& text, Items&... items) {
  TextReader in(pass.run.messages, pass.path, text, pass.line_number);
  if (in.try_read(items...)) return;
  std::string fault = in.fault();
  const std::string place = pass.path + ":" + std::to_string(pass.line_number) + ": ";
  if (fault.rfind(place, 0) == 0) fault.erase(0, place.size());
  const std::size_t end = fault.find("the end of the file");
  if (end != std::string::npos) fault.replace(end, std::string::npos, "the end of the line");
  stop_at_card(pass, fault);
}

double read_date(const CardPass& pass) {
  Date date{};
  read_numbers(pass, pass.value, date[0], date[1], date[2], date[3], date[4], date[5]);
  const auto outside = [&](int i, int low, int high) { return date[i] < low || date[i] > high; };
  // Hour 24 and second 60 are in use for the end of a day and a minute.
  if (date[0] > 9999 || outside(1, 1, 12) || outside(2, 1, 31) || outside(3, 0, 24) ||
      outside(4, 0, 59) || outside(5, 0, 60)) {
    stop_at_card(
        pass, "expected a date (year month day hour minute second), found \"" + pass.value + "\"");
  }
  return DATE_TO_SECONDS(REFyear, date);
}

// Cards with a form of their own. Each returns false if it cannot use its value.

bool output_prefix_card(CardPass& pass) {
  pass.run.settings.output_prefix = pass.value;
  pass.run.messages.output_prefix = pass.value;
  return true;
}

bool rvs_quadtree_card(CardPass& pass) {
  Settings& s = pass.run.settings;
  s.rvs_quadtree = pass.value;
  s.rvs_mesh = true;
  s.mesh_format = "n2d";
  return true;
}

bool trap_file_card(CardPass& pass) {
  pass.run.settings.trap_file = lower_case(pass.value);
  pass.run.settings.trap_file_as_given = pass.value;
  return true;
}

bool flow_files_card(CardPass& pass) {
  Settings& s = pass.run.settings;
  int count = 0;
  std::string z, uv;
  CARD_SPLIT(pass.value, ' ', count, z, uv);
  if (uv.empty()) return error_in_line(pass);
  s.flow_file_z = z;
  s.flow_file_uv = uv;
  return true;
}

bool flow_file_hyfs_card(CardPass& pass) {
  pass.run.settings.flow_file_z = pass.run.settings.flow_file_uv = pass.value;
  return true;
}

bool flow_prefix_hyfs_card(CardPass& pass) {
  pass.run.settings.flow_file_z = pass.value + "_wse.h5";
  pass.run.settings.flow_file_uv = pass.value + "_vel.h5";
  return true;
}

bool flow_file_dst_card(CardPass& pass) {
  int count = 0;
  std::string code, file;
  CARD_SPLIT(pass.value, ' ', count, code, file);
  if (file.empty()) return error_in_line(pass);
  std::int64_t number = 0;
  read_numbers(pass, code, number);
  constexpr std::int64_t largest = 999999;  // no code is near it
  pass.run.settings.IDEN = static_cast<int>(std::abs(std::clamp(number, -largest, largest)));
  pass.run.settings.flow_file_dst = file;
  return true;
}

bool gaussian_concentration_card(CardPass& pass) {
  Settings& s = pass.run.settings;
  read_numbers(pass, pass.value, s.gaussian_value);
  s.gaussian_concentration = true;
  s.concentration_mapping = true;
  s.parcel_mass_output = true;
  s.age_output = true;
  return true;
}

bool concentration_units_card(CardPass& pass) {
  Settings& s = pass.run.settings;
  read_numbers(pass, pass.value, s.concentration_units);
  const float unit = std::trunc(s.concentration_units);
  s.concentration_units_text = unit == 1.0f         ? "kg/m3"
                               : unit == 1000.0f    ? "g/m3"
                               : unit == 1000000.0f ? "mg/m3"
                                                    : "";
  return true;
}

bool bed_sediment_card(CardPass& pass) {
  Settings& s = pass.run.settings;
  read_numbers(pass, pass.value, s.bed_d35, s.bed_d50, s.bed_d90);
  s.sediments_format = "uniform";
  return true;
}

bool sediments_format_card(CardPass& pass) {
  Settings& s = pass.run.settings;
  const std::string word = lower_case(pass.value);
  if (contains(word, "hyfs")) {
    s.sediments_format = "hyfs";
    s.sediment_hyfs_layout = contains(word, "property") ? "property" : "dataset";
  } else if (word == "rvs-2d" || word == "rvs-n2d") {
    s.sediments_format = "hyfs";
    s.sediment_hyfs_layout = "property";
  } else if (contains(word, "uniform")) {
    s.sediments_format = "uniform";
    int count = 0;
    std::string first, sizes;
    CARD_SPLIT(pass.value, ' ', count, first, sizes);
    if (!sizes.empty()) read_numbers(pass, sizes, s.bed_d35, s.bed_d50, s.bed_d90);
  } else {
    s.sediments_format = word;
  }
  return true;
}

bool wave_format_card(CardPass& pass) {
  Settings& s = pass.run.settings;
  const std::string word = lower_case(pass.value);
  s.wave_format = stored_word(word, wave_words, nullptr);
  if (word == "hyfs") s.wave_sim_required = false;
  if (word == "rvs-wave" || word == "rvs_wave" || word == "lagoon") s.wave_sim_required = true;
  return true;
}

bool random_seed_card(CardPass& pass) {
  Settings& s = pass.run.settings;
  read_numbers(pass, pass.value, s.random_seed[0], s.random_seed[1]);
  if (s.random_seed[0] < 0 || s.random_seed[1] < 0) {
    stop_at_card(pass, "expected two integers of 0 or more, found \"" + pass.value + "\"");
  }
  s.random_seed_given = true;
  return true;
}

bool crs_card(CardPass& pass) {
  const std::string word = lower_case(pass.value);
  const std::string code = word.rfind("epsg:", 0) == 0 ? word.substr(5) : std::string();
  constexpr std::size_t longest_code = 7;
  if (code.empty() || code.size() > longest_code ||
      code.find_first_not_of("0123456789") != std::string::npos) {
    return error_in_line(pass);
  }
  pass.run.settings.crs = "EPSG:" + code;
  return true;
}

struct OwnCard {
  const char* card;
  bool needs_value;
  bool (*act)(CardPass& pass);
};
constexpr OwnCard own_cards[] = {
    {"output_prefix", true, output_prefix_card},
    {"rvs_quadtree", true, rvs_quadtree_card},
    {"trap_file", true, trap_file_card},
    {"flow_files", true, flow_files_card},
    {"flow_file", true, flow_files_card},
    {"flow_file_hyfs", true, flow_file_hyfs_card},
    {"flow_prefix_hyfs", true, flow_prefix_hyfs_card},
    {"flow_file_dst", true, flow_file_dst_card},
    {"gaussian_concentration", true, gaussian_concentration_card},
    {"gaussian-concentration", true, gaussian_concentration_card},
    {"concentration_units", true, concentration_units_card},
    {"bed_sediment_mm", true, bed_sediment_card},
    {"sediment_format", false, sediments_format_card},
    {"sediments_format", false, sediments_format_card},
    {"wave_format", false, wave_format_card},
    {"random_seed", true, random_seed_card},
    {"crs", true, crs_card},
};

enum class Outcome { not_mine, done, failed };

bool apply_flags(Settings& s, const std::string& card) {
  bool found =
      std::find(std::begin(passed_over), std::end(passed_over), card) != std::end(passed_over);
  for (const FlagCard& row : flag_cards) {
    if (card != row.card) continue;
    s.*row.setting = row.value;
    found = true;
  }
  for (const LevelCard& row : level_cards) {
    if (card != row.card) continue;
    s.*row.setting = row.value;
    found = true;
  }
  return found;
}

template <class Value, std::size_t n, class Read>
Outcome apply_value(CardPass& pass, const std::string& card, const ValueCard<Value> (&rows)[n],
                    Read read) {
  for (const ValueCard<Value>& row : rows) {
    if (card != row.card) continue;
    if (pass.value.empty()) {
      error_in_line(pass);
      return Outcome::failed;
    }
    Settings& s = pass.run.settings;
    read(s.*row.setting);
    if (row.also != nullptr) s.*row.also = row.also_value;
    return Outcome::done;
  }
  return Outcome::not_mine;
}

Outcome apply_values(CardPass& pass, const std::string& card) {
  const auto number = [&](auto& setting) { read_numbers(pass, pass.value, setting); };
  const auto date = [&](double& setting) { setting = read_date(pass); };
  const auto text = [&](std::string& setting) { setting = pass.value; };
  Outcome outcome = apply_value(pass, card, real_cards, number);
  if (outcome == Outcome::not_mine) outcome = apply_value(pass, card, double_cards, number);
  if (outcome == Outcome::not_mine) outcome = apply_value(pass, card, integer_cards, number);
  if (outcome == Outcome::not_mine) outcome = apply_value(pass, card, short_cards, number);
  if (outcome == Outcome::not_mine) outcome = apply_value(pass, card, date_cards, date);
  if (outcome == Outcome::not_mine) outcome = apply_value(pass, card, text_cards, text);
  return outcome;
}

Outcome apply_words(CardPass& pass, const std::string& card) {
  for (const WordCard& row : word_cards) {
    if (card != row.card) continue;
    if (row.needs_value && pass.value.empty()) {
      error_in_line(pass);
      return Outcome::failed;
    }
    Settings& s = pass.run.settings;
    s.*row.setting = stored_word(lower_case(pass.value), row.rows, row.otherwise);
    if (row.also != nullptr) s.*row.also = true;
    return Outcome::done;
  }
  return Outcome::not_mine;
}

Outcome apply_own(CardPass& pass, const std::string& card) {
  for (const OwnCard& row : own_cards) {
    if (card != row.card) continue;
    if (row.needs_value && pass.value.empty()) {
      if (contains(card, "gaussian")) {
        console(pass.run.messages, "Require value for: %s\n", pass.line.c_str());
      } else {
        error_in_line(pass);
      }
      return Outcome::failed;
    }
    return row.act(pass) ? Outcome::done : Outcome::failed;
  }
  return Outcome::not_mine;
}

void report_unknown(const CardPass& pass) {
  // Cards of the host application's own.
  if (pass.keyword.rfind(":hvlb", 0) == 0) return;
  const std::string text = ">>>>> Misspelled or obsolete keyword >>>>> " + pass.keyword + "\n";
  console(pass.run.messages, "%s", text.c_str());
  std::FILE* error_file = open_error_file(pass.run.messages);
  if (error_file != nullptr) std::fputs(text.c_str(), error_file);
}

}  // namespace

bool apply_card(CardPass& pass) {
  const std::string card = pass.keyword.substr(1);
  if (apply_flags(pass.run.settings, card)) return true;
  Outcome outcome = apply_values(pass, card);
  if (outcome == Outcome::not_mine) outcome = apply_words(pass, card);
  if (outcome == Outcome::not_mine) outcome = apply_own(pass, card);
  if (outcome == Outcome::not_mine) report_unknown(pass);
  if (outcome == Outcome::done) pass.given.insert(card);
  return outcome != Outcome::failed;
}

}  // namespace dfl
