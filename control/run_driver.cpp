#include "control/run_driver.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>

#include "control/command_line.h"
#include "control/control_file.h"
#include "control/open_inputs.h"
#include "control/run_clock.h"
#include "control/text_tools.h"
#include "dataset/hyfs.h"
#include "flow/flow_frames.h"
#include "output/concentration.h"
#include "output/map_output.h"
#include "output/output_setup.h"
#include "output/parcel_output.h"
#include "parcels/population.h"
#include "parcels/random_stream.h"
#include "parcels/releases.h"
#include "parcels/sources.h"
#include "parcels/track_parcel.h"
#include "sediment/bed_fields.h"
#include "sediment/morphology.h"
#include "ships/ship_effects.h"
#include "traps/trap_counting.h"
#include "traps/trap_file.h"
#include "traps/trap_reports.h"
#include "waves/wave_frames.h"

namespace dfl {

namespace {

struct FreeTrackFields {
  void operator()(TrackFields* fields) const { free_track_fields(fields); }
};
using TrackFieldsOwner = std::unique_ptr<TrackFields, FreeTrackFields>;

std::string user_name() {
  constexpr std::size_t longest_name = 64;
  std::string name;
  if (const passwd* entry = getpwuid(geteuid()); entry != nullptr && entry->pw_name != nullptr) {
    name = entry->pw_name;
  } else if (const char* variable = std::getenv("USER"); variable != nullptr) {
    name = variable;
  }
  return name.substr(0, longest_name);
}

void take_command_line(RunState& run, const std::vector<std::string>& words) {
  run.messages.HOSTEDmode = false;
  if (words.size() == 1 || words.size() == 2) {
    run.clock.CONTROLfile = trim_right(words[0]);
    if (words.size() == 2) {
      constexpr std::size_t longest_word = 32;
      run.messages.HOSTEDmode = trim_right(lower_case(words[1].substr(0, longest_word))) == "hst";
    }
    return;
  }
  console(run.messages, "\n\nEnter program control file name .....> ");
  run.clock.CONTROLfile = trim_right(read_console_line(run.messages));
}

// The generator starts from the card or, without it, from the clock. The seed used can be given on
// the card to have the run again.
void seed_run(RunState& run) {
  ParcelState& parcels = run.parcels;
  if (run.settings.random_seed_given) {
    parcels.random_seed_used = run.settings.random_seed;
  } else {
    const auto ticks = std::chrono::duration_cast<std::chrono::nanoseconds>(
                           std::chrono::system_clock::now().time_since_epoch())
                           .count();
    constexpr std::int64_t seed_range = 2147483398;  // both seeds stay below their moduli
    parcels.random_seed_used = {static_cast<int>(ticks / 1000 % seed_range) + 1,
                                static_cast<int>(ticks / 1000000000 % seed_range) + 1};
  }
  seed_generator(parcels.random, parcels.random_seed_used[0], parcels.random_seed_used[1]);
  parcels.RANDOMfirst[0] = UNIFORM_NUMBER(parcels.random);
  parcels.RANDOMfirst[1] = UNIFORM_NUMBER(parcels.random);
}

void begin_run(RunState& run, const std::vector<std::string>& words) {
  console(run.messages, "\n\n%s\n", version_text().c_str());
  take_command_line(run, words);
  run.clock.run_start_date = wall_clock();
  console(run.messages, "\nRun start: %s  %s\n", day_text(run.clock.run_start_date).c_str(),
          time_text(run.clock.run_start_date).c_str());
  run.clock.RUNuser = user_name();
  if (hfpinitialize_f() < 0) fatal_error(run.messages, "HF_INITIALIZE error");
}

void prepare_moving_bed(RunState& run) {
  const Settings& s = run.settings;
  SedimentState& bed = run.sediment;
  const bool moving = s.morphology || s.active_morphology;
  if (moving || s.adjust_currents) {
    bed.DEPTHstart = run.mesh.DEPTHnode;
    bed.BEDlevel = run.mesh.DEPTHnode;
    bed.BEDchange.allocate(run.mesh.NUMnode);
  }
  if ((moving || s.slope_effects) && !bed.ELEMwork.allocated()) {
    bed.ELEMwork.allocate(run.mesh.NUMelem);
  }
  if (s.slope_effects) {
    bed.BEDslopeX.allocate(run.mesh.NUMnode);
    bed.BEDslopeY.allocate(run.mesh.NUMnode);
    BED_SLOPES(run);
  }
}

void tell_number_of_steps(const RunState& run) {
  const Settings& s = run.settings;
  // A run that stops before it starts may have any negative number.
  constexpr double least = -2147483647.0;
  const int steps = static_cast<int>(std::max((s.stop_run - s.start_run) / s.time_step, least));
  console(run.messages, "Estimated number of time steps:%s\n", columns(steps + 1, 8).c_str());
  echo(run.messages, "Number of steps:     %s\n", columns(steps, 12).c_str());
}

void show_table_head(const RunState& run) {
  console(run.messages, "Starting simulation...\n");
  if (run.messages.HOSTEDmode) {
    console(run.messages, "Advancing to start time...\n");
    return;
  }
  console(run.messages, "\n%s\n",
          run.settings.no_parcels
              ? "    STEP     DATE        TIME"
              : "    STEP     DATE        TIME       BORN   ALIVE    DEAD  ACTIVE DORMANT");
  console(run.messages, "Advancing to start time...");
}

// From the control file to the state before the first step.
void prepare_run(RunState& run) {
  READ_CONTROL_FILE(run);
  SHIP_SETUP(run);
  seed_run(run);
  OPEN_INPUTS(run);
  prepare_moving_bed(run);
  SOURCE_SETUP(run);
  tell_number_of_steps(run);
  run.traps.TRAPon = run.settings.trap_file != "none";
  if (run.traps.TRAPon) READ_TRAPS(run);
  SETUP_OUTPUT(run);
  if (run.settings.currents) FLOW_START(run);
  if (run.settings.waves) WAVES_START(run);
  show_table_head(run);

  run.clock.NStep = 0;
  run.parcels.NUMdead = 0;
  run.parcels.NUMborn = 0;
  run.parcels.NUMtrapsum = 0;
  run.clock.Tnow = run.settings.start_run - run.settings.time_step;
}

void advance_clock(ClockState& clock, const Settings& s) {
  clock.Tnow = SNAP_TIME(clock.Tnow, s.start_run) + s.time_step;
  if (clock.Tnow >= s.stop_run) clock.LASTstep = true;
  ++clock.NStep;
  ++clock.OUTcount;
  ++clock.MAPcount;
}

// True if any node field has changed.
bool update_node_fields(RunState& run) {
  const Settings& s = run.settings;
  const auto falls_due = [&](int interval) {
    return run.clock.NStep == 1 || run.clock.NStep % interval == 0;
  };
  const bool flow_due = falls_due(s.flow_update);
  const bool bed_due = falls_due(s.grid_update);
  if (flow_due) SHIP_PASS(run);
  if (bed_due) BED_FIELDS(run);
  if (s.morphology) MORPHOLOGY_STEP(run);
  return flow_due || bed_due || s.morphology;
}

void release_parcels(RunState& run) {
  const ParcelState& parcels = run.parcels;
  const double now = run.clock.Tnow;
  if (now > parcels.RELlast + run.settings.time_step && parcels.RELlast > 0.0) return;
  if (now < parcels.RELfirst) return;
  if (parcels.NUMinst > 0) RELEASE_INST(run);
  if (parcels.NUMpoint > 0) RELEASE_POINT(run);
  if (parcels.NUMline > 0) RELEASE_LINE(run);
  if (parcels.NUMarea > 0) RELEASE_AREA(run);
}

void write_parcels(RunState& run) {
  const Settings& s = run.settings;
  if (!run.clock.OUTnow || run.parcels.NUMborn < 1) return;
  // Parcel output carries the date of the end of the step.
  run.clock.DATEnow = SECONDS_TO_DATE(REFyear, run.clock.Tnow + s.time_step);
  if (s.hyfs_parcels) WRITE_HYFS_PARCELS(run);
  if (s.tecplot_parcels) WRITE_TECPLOT_PARCELS(run);
  if (s.ensim_parcels) WRITE_ENSIM_PARCELS(run);
}

void write_maps(RunState& run) {
  const Settings& s = run.settings;
  if (!run.clock.MAPnow || !any_map_field(s)) return;
  if (s.hyfs_maps) WRITE_HYFS_MAPS(run);
  if (s.tecplot_maps) WRITE_TECPLOT_MAPS(run);
  if (s.ensim_maps) WRITE_ENSIM_MAPS(run);
}

void compute_concentrations(RunState& run) {
  if (!run.clock.MAPnow) return;
  if (run.settings.gaussian_concentration) CONC_GAUSSIAN(run);
  if (run.settings.particle_concentration) CONC_PARCEL_COUNT(run);
}

void parcel_step(RunState& run, const TrackFields& fields) {
  ParcelState& parcels = run.parcels;
  const int trapped_before = parcels.NUMtrapsum;
  release_parcels(run);
  BUILD_ALIVE_LIST(run);
  if (run.clock.STOPrun) return;
  parcels.NUMlisted = parcels.NUMalive;
  TRACK_POPULATION(run, fields);
  SCAN_PARCELS(run);
  parcels.NUMalive -= TRAP_REPORT(run);
  parcels.NUMactive = parcels.NUMalive - parcels.NUMdormant;
  parcels.NUMtrapped = parcels.NUMtrapsum - trapped_before;
  write_parcels(run);
  compute_concentrations(run);
}

void time_loop(RunState& run) {
  const Settings& s = run.settings;
  const TrackFieldsOwner fields(make_track_fields());
  while (s.stop_run > run.clock.Tnow) {
    advance_clock(run.clock, s);
    const double frame_before = run.flow.TIMEflow;
    if (s.currents) FLOW_ADVANCE(run);
    if (s.waves) WAVES_ADVANCE(run);
    STEP_REPORT(run);
    if (s.population_record) WRITE_POPULATION_ROW(run);
    // A new frame changes the rise of the surface at once, also between two flow updates.
    const bool frame_passed = run.flow.TIMEflow != frame_before;
    const bool fields_changed = update_node_fields(run) || frame_passed;
    run.parcels.NUMnew = 0;
    if (!s.no_parcels) {
      if (fields_changed) pack_track_fields(run, *fields);
      parcel_step(run, *fields);
      if (run.clock.STOPrun) return;
    }
    write_maps(run);
  }
}

void close_file(std::FILE*& file) {
  if (file != nullptr) std::fclose(file);
  file = nullptr;
}

void finish_parcels(RunState& run) {
  const Settings& s = run.settings;
  if (s.no_parcels || run.parcels.NUMborn == 0) return;
  if (s.hyfs_parcels) {
    if (run.output.hyfs_parcels_written != run.parcels.NUMborn) {
      run.clock.DATEnow = SECONDS_TO_DATE(REFyear, run.clock.Tnow);
      WRITE_HYFS_PARCELS(run);
    }
    FINISH_HYFS_PARCELS(run);
  }
  if (run.traps.TRAPon && !s.residence_calc) {
    TRAP_SUMMARY(run);
  } else {
    console(run.messages, "\n");
  }
  close_file(run.output.population_file);
  close_trap_reports(run);
  if (s.paths) WRITE_PATHS(run);
}

void end_run(RunState& run) {
  close_file(run.output.tecplot_parcel_file);
  close_file(run.output.tecplot_map_file);
  close_file(run.output.ensim_parcel_file);
  for (std::FILE*& file : run.output.ensim_map_files) close_file(file);
  finish_parcels(run);
  if (!run.settings.no_parcels) WRITE_BALANCE(run);

  const Date now = wall_clock();
  console(run.messages, "\nRun stop:  %s  %s\n", day_text(now).c_str(), time_text(now).c_str());
  echo(run.messages, "\nRun stop:      %s @ %s\n", day_text(now).c_str(), time_text(now).c_str());
  close_file(run.output.population_file);
  close_trap_reports(run);
  close_file(run.messages.echo_file);
  close_file(run.messages.error_file);
}

}  // namespace

void RUN_DRIVER(RunState& run, const std::vector<std::string>& words) {
  begin_run(run, words);
  prepare_run(run);
  time_loop(run);
  end_run(run);
}

}  // namespace dfl
