#include "traps/trap_reports.h"

#include "control/run_clock.h"
#include "control/text_tools.h"
#include "mesh/find_element.h"
#include "mesh/geometry.h"
#include "output/output_file.h"

namespace dfl {

namespace {

OutputFile report_of(const TrapState& traps) {
  return {traps.report_file, traps.report_path};
}

std::string count_head() {
  return std::string(4, ' ') + "STEP" + std::string(5, ' ') + "DATE" + std::string(9, ' ') +
         "TIME" + std::string(7, ' ') + "PARTICLE" + std::string(4, ' ') + "TRAP\n";
}

std::string residence_head() {
  return "PARTICLE" + std::string(4, ' ') + "AREA" + std::string(8, ' ') + "TIME IN" +
         std::string(16, ' ') + "TIME OUT" + std::string(12, ' ') + "RESIDENCY (s)\n";
}

// YYYY/MM/DD HH:MM:SS.d; the fraction has two columns, so that from 951 ms on it shows stars.
std::string residence_time(const Date& date) {
  const float fraction = static_cast<float>(date[6]) / 1000.0f;
  return columns(date[0], 4) + "/" + zero_filled(date[1], 2) + "/" + zero_filled(date[2], 2) + " " +
         zero_filled(date[3], 2) + ":" + zero_filled(date[4], 2) + ":" + zero_filled(date[5], 2) +
         columns(static_cast<double>(fraction), 2, 1);
}

std::string trap_label(int j) {
  return "    Trap " + columns(j, 6);
}

std::string total_of(const Trap& trap) {
  return " Total=" + columns(static_cast<double>(trap.TRAPmass), 16, 3) + " kg";
}

// Mass counted over the water volume of the polygon at its middle, kg/m3.
double concentration_of(const RunState& run, const Trap& trap, double E, double N) {
  const int e = FIND_ELEMENT(run.mesh, E, N);
  if (e == 0) return 0.0;
  const Weights w = element_weights(run.messages, run.mesh, e, E, N);
  const float d =
      NODE_INTERP(w, run.mesh.ELnode1(e), run.mesh.ELnode2(e), run.mesh.ELnode3(e), run.flow.Hnode);
  const double v = static_cast<double>(d) * static_cast<double>(trap.TRAParea);
  return v > 0.0 ? static_cast<double>(trap.TRAPmass) / v : 0.0;
}

void write_concentration(const RunState& run, int j) {
  const Trap& trap = run.traps.TRAPS(j);
  double E = 0.0, N = 0.0;
  for (int i = 1; i <= trap.TRAPsides; ++i) {
    E = E + trap.TRAPxy(i, 1);
    N = N + trap.TRAPxy(i, 2);
  }
  if (trap.TRAPsides > 0) {
    E = E / trap.TRAPsides;
    N = N / trap.TRAPsides;
  }
  write_output(run.messages, {run.traps.concentration_file, run.traps.concentration_path},
               trap_label(j) + " E=" + columns(E, 16, 3) + " N=" + columns(N, 16, 3) + " Conc.=" +
                   columns_exponent(concentration_of(run, trap, E, N), 16, 6) + " kg/m3\n");
}

void summarise(const RunState& run, int j) {
  const Trap& trap = run.traps.TRAPS(j);
  const OutputFile report = report_of(run.traps);
  if (run.settings.last_step_trap) {
    write_output(run.messages, report, trap_label(j) + total_of(trap) + "\n");
    if (trap.TRAPkind == TrapKind::polygon) write_concentration(run, j);
    return;
  }
  const double period = trap.TRAPstop - trap.TRAPstart;  // s
  const float rate =
      period == 0.0 ? 0.0f : static_cast<float>(static_cast<double>(trap.TRAPmass) / period);
  const std::string head =
      trap_label(j) + " rate =" + columns(static_cast<double>(rate), 16, 5) + " kg/s, ";
  const std::string tail = "Trap " + columns(j, 6) + total_of(trap) + "\n";
  console(run.messages, "%s%s", head.c_str(), tail.c_str());
  write_output(run.messages, report, head + " " + tail);
}

}  // namespace

void open_trap_reports(RunState& run) {
  const Settings& s = run.settings;
  TrapState& traps = run.traps;
  const char* suffix = s.last_step_trap   ? "_bin.out"
                       : s.residence_calc ? "_residency.out"
                                          : "_count.out";
  traps.report_path = s.output_prefix + suffix;
  const OutputFile report = open_output(run.messages, traps.report_path, "w");
  traps.report_file = report.file;
  const bool residence = s.residence_calc && !s.last_step_trap;
  write_output(run.messages, report, residence ? residence_head() : count_head());
  traps.TRAPon = !s.last_step_trap;
  if (!s.last_step_trap) return;
  traps.concentration_path = s.output_prefix + "_conc.out";
  traps.concentration_file = open_output(run.messages, traps.concentration_path, "w").file;
}

void write_count_line(const RunState& run, int id, int j) {
  const Date& date = run.clock.DATEnow;
  std::string line = columns(run.clock.NStep, 8) + "  " + columns(date[0], 4) + "/" +
                     zero_filled(date[1], 2) + "/" + zero_filled(date[2], 2) + "  " +
                     time_text(date) + "." + zero_filled(date[6], 3) + "   " + columns(id, 8) +
                     "  " + columns(j, 6);
  if (run.traps.TRAPS(j).TRAPkind == TrapKind::line) {
    const Parcel& parcel = run.parcels.PARCELS(id);
    line += "  " + columns(parcel.X, 16, 3) + "  " + columns(parcel.Y, 16, 3);
  }
  write_output(run.messages, report_of(run.traps), line + "\n");
}

void write_residence_line(const RunState& run, int id, int j, float entry) {
  const Settings& s = run.settings;
  const double t = static_cast<double>(entry);
  const Date in = SECONDS_TO_DATE(REFyear, t + s.start_run);
  const double stay = run.clock.Tnow + s.time_step - s.start_run - t;
  write_output(run.messages, report_of(run.traps),
               columns(id, 8) + columns(j, 8) + "  " + residence_time(in) + "  " +
                   residence_time(run.clock.DATEnow) + "  " + columns(stay, 12, 1) + "\n");
}

void TRAP_SUMMARY(RunState& run) {
  console(run.messages, "\n\n\n");
  write_output(run.messages, report_of(run.traps), "\n\n\n");
  for (int j = 1; j <= run.traps.NUMtraps; ++j) summarise(run, j);
  console(run.messages, "\n\n\n");
}

void flush_trap_reports(const RunState& run) {
  if (run.traps.report_file != nullptr) flush_output(run.messages, report_of(run.traps));
}

void close_trap_reports(RunState& run) {
  TrapState& traps = run.traps;
  if (traps.report_file != nullptr) {
    OutputFile report = report_of(traps);
    close_output(run.messages, report);
    traps.report_file = nullptr;
  }
  if (traps.concentration_file != nullptr) {
    OutputFile concentration{traps.concentration_file, traps.concentration_path};
    close_output(run.messages, concentration);
    traps.concentration_file = nullptr;
  }
}

}  // namespace dfl
