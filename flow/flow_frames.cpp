#include "flow/flow_frames.h"

#include <cmath>
#include <limits>
#include <utility>

#include "control/run_clock.h"
#include "control/text_tools.h"
#include "flow/flow_datasets.h"
#include "flow/flow_text.h"
#include "ships/ship_effects.h"

namespace dfl {

namespace {

bool has_density(int IDEN) {
  return IDEN >= 1 && IDEN <= 4;
}
bool has_salinity(int IDEN) {
  return IDEN == 2 || (IDEN >= 4 && IDEN <= 6);
}
bool has_temperature(int IDEN) {
  return IDEN >= 3 && IDEN <= 5;
}
bool has_levels_per_node(int IDEN) {
  return IDEN == 6;
}

bool two_point(const RunState& run) {
  return run.settings.method.velocity == VelocityMethod::two_point;
}

// Who reads the frames. A format word that two-dimensional flow does not know reads nothing: the
// frames stay at 0.
enum class FrameSource { nothing, text, dataset };

FrameSource frame_source(const RunState& run) {
  switch (run.settings.method.flow) {
    case FlowFormat::adcirc:
      return FrameSource::text;
    case FlowFormat::kfe:
      return run.flow.FLOW2D ? FrameSource::nothing : FrameSource::text;
    case FlowFormat::hyfs:
      return FrameSource::dataset;
    case FlowFormat::n2d:
      return run.flow.FLOW2D ? FrameSource::dataset : FrameSource::nothing;
    case FlowFormat::gr3d:
    case FlowFormat::n3d:
      return run.flow.FLOW2D ? FrameSource::nothing : FrameSource::dataset;
    case FlowFormat::unknown:
      break;
  }
  return FrameSource::nothing;
}

// A negative setting means "not given"; a reference time may lie before the reference year.
bool start_is_known(const RunState& run) {
  return run.settings.start_flow >= 0.0 || run.flow.start_from_file;
}

// Seconds to add to the times in the file.
double flow_offset(const RunState& run) {
  return start_is_known(run) ? run.settings.start_flow : 0.0;
}

// ---------------------------------------------------------------- frames in and out

void read_text_frame(RunState& run) {
  FlowState& flow = run.flow;
  if (run.settings.method.flow == FlowFormat::kfe) {
    READ_FRAME_KFE(run);
  } else if (flow.FLOW2D) {
    READ_FRAME_2D(run, flow.ETAnew, flow.Unew, flow.Vnew);
  } else {
    READ_FRAME_3D(run);
    if (has_density(flow.IDEN)) READ_SCALARS(run);
  }
  ++flow.FRAMEflow;
}

// Reads frame `index` of a dataset file into the newer frame.
void read_dataset_frame(RunState& run, int index) {
  FlowState& flow = run.flow;
  switch (run.settings.method.flow) {
    case FlowFormat::hyfs:
      if (!flow.FLOW2D) {
        fatal_error(run.messages, " *** FlowFormat=HYFS IS NOT AVAILABLE YET ***");
      }
      READ_FRAME_HYFS(run, index, flow.ETAnew, flow.Unew, flow.Vnew);
      break;
    case FlowFormat::n2d:
      READ_FRAME_N2D(run, index, flow.ETAnew, flow.Unew, flow.Vnew);
      break;
    case FlowFormat::gr3d:
      READ_FRAME_GR3D(run, index, flow.ETAnew, flow.Unew, flow.Vnew, flow.Wnew, flow.SALnew,
                      flow.TEMnew);
      break;
    case FlowFormat::n3d:
      READ_FRAME_N3D(run, index, flow.ETAnew, flow.Unew, flow.Vnew, flow.Wnew, flow.SALnew,
                     flow.SIGnew);
      break;
    default:
      break;
  }
}

void swap_frames(FlowState& flow) {
  std::swap(flow.ETAold, flow.ETAnew);
  std::swap(flow.Uold, flow.Unew);
  std::swap(flow.Vold, flow.Vnew);
  std::swap(flow.Wold, flow.Wnew);
  std::swap(flow.SALold, flow.SALnew);
  std::swap(flow.TEMold, flow.TEMnew);
  std::swap(flow.SIGold, flow.SIGnew);
}

// Frames index - 1 and index of a dataset file into the older and the newer frame. The newer one
// now holds frame `held`.
void read_dataset_pair(RunState& run, int index, int held) {
  if (held != index - 1) read_dataset_frame(run, index - 1);
  swap_frames(run.flow);
  read_dataset_frame(run, index);
}

// The newer frame stays as it is: an item left out of the next frame keeps its value.
void copy_new_to_old(FlowState& flow) {
  flow.ETAold = flow.ETAnew;
  flow.Uold = flow.Unew;
  flow.Vold = flow.Vnew;
  flow.Wold = flow.Wnew;
  flow.DENold = flow.DENnew;
  flow.SALold = flow.SALnew;
  flow.TEMold = flow.TEMnew;
  flow.SIGold = flow.SIGnew;
}

void show_progress(const RunState& run, const char* what, double time) {
  if (run.messages.HOSTEDmode) return;
  const Date date = SECONDS_TO_DATE(REFyear, time);
  console(run.messages, "\rAdvancing %s file...%5d/%02d/%02d  %02d:%02d:%02d.%03d     ", what,
          date[0], date[1], date[2], date[3], date[4], date[5], date[6]);
}

// ---------------------------------------------------------------- start

void warn_without_start(const RunState& run) {
  const FrameSource source = frame_source(run);
  if (start_is_known(run) || source == FrameSource::nothing) return;
  if (source == FrameSource::dataset && run.flow.NUMframes == 1) return;  // constant in time
  const std::string text =
      "start_flow is not given: the times of flow frames count from 1 "
      "January " +
      std::to_string(REFyear);
  echo_warning(run.messages, text);
  console(run.messages, "WARNING: %s\n", text.c_str());
}

void read_first_frame(RunState& run) {
  FlowState& flow = run.flow;
  switch (frame_source(run)) {
    case FrameSource::text:
      read_text_frame(run);
      break;
    case FrameSource::dataset:
      flow.FRAMEflow = 1;
      read_dataset_frame(run, 1);
      break;
    case FrameSource::nothing:
      break;
  }
}

bool bottom_dataset(const RunState& run) {
  return run.settings.method.bottom_flow == FlowFormat::hyfs;
}

void read_first_bottom_frame(RunState& run) {
  FlowState& flow = run.flow;
  if (bottom_dataset(run)) {
    READ_FRAME_BOTTOM_DATASET(run, 1, flow.UBnew, flow.VBnew);
  } else {
    READ_FRAME_BOTTOM(run, flow.UBnew, flow.VBnew);
  }
  flow.UBold = flow.UBnew;
  flow.VBold = flow.VBnew;
  flow.FRAMEbottom = 1;
}

void set_time_span(RunState& run) {
  FlowState& flow = run.flow;
  const bool dataset = frame_source(run) == FrameSource::dataset;
  const double frame_time = dataset ? flow.TIMESflow(1) : flow.frame_time;
  const double T1 = frame_time + flow_offset(run);
  flow.TIMEflow = flow.TIMEfirst = flow.TIMEold = T1;
  flow.TIMEearliest = T1 - static_cast<double>(flow.dTime);
  const FlowFormat format = run.settings.method.flow;
  if (dataset && flow.NUMframes == 1) {
    // One step is held constant and covers every time.
    flow.TIMEearliest = -std::numeric_limits<double>::infinity();
    flow.TIMElast = std::numeric_limits<double>::infinity();
  } else if (dataset && (format == FlowFormat::hyfs || format == FlowFormat::n2d)) {
    flow.TIMElast = flow.TIMESflow(flow.NUMframes) + flow_offset(run);
  } else {
    const float span = static_cast<float>(flow.NUMframes - 1) * flow.dTime;
    flow.TIMElast = T1 + static_cast<double>(span);
    // Steps of a lattice model that come faster than the first two end before, by more than the
    // rounding of the interval.
    constexpr double rounding = 0.01;  // of an interval
    if (dataset) {
      const double end = flow.TIMESflow(flow.NUMframes) + flow_offset(run);
      if (end < flow.TIMElast - rounding * static_cast<double>(flow.dTime)) flow.TIMElast = end;
    }
  }
}

// ---------------------------------------------------------------- advance

// The last frame has been read and `t` is not to be looked for in a further one. TIMElast carries
// the rounding of a product in 4 bytes, so the last frame may stand a little before it.
bool at_last_frame(const FlowState& flow, double t) {
  if (flow.FRAMEflow < flow.NUMframes) return false;
  const double rounding = 2.4e-7 * (flow.TIMElast - flow.TIMEfirst);
  return t > flow.TIMElast || t - flow.TIMEflow <= rounding;
}

void advance_text(RunState& run, double t) {
  FlowState& flow = run.flow;
  while (flow.TIMEflow < t && !at_last_frame(flow, t)) {
    copy_new_to_old(flow);
    read_text_frame(run);
    flow.TIMEold = flow.TIMEflow;
    flow.TIMEflow = flow.frame_time + flow_offset(run);
    show_progress(run, "flow", flow.TIMEflow);
  }
}

void advance_dataset(RunState& run, double t) {
  FlowState& flow = run.flow;
  const FlowFormat format = run.settings.method.flow;
  const int frame_before = flow.FRAMEflow;
  while (flow.TIMEflow < t && flow.FRAMEflow < flow.NUMframes) {
    ++flow.FRAMEflow;
    flow.TIMEold = flow.TIMEflow;
    flow.TIMEflow = flow.TIMESflow(flow.FRAMEflow) + flow_offset(run);
    if (format == FlowFormat::hyfs || format == FlowFormat::n2d) {
      flow.dTime =
          static_cast<float>(flow.TIMESflow(flow.FRAMEflow) - flow.TIMESflow(flow.FRAMEflow - 1));
    }
  }
  if (flow.FRAMEflow != frame_before) read_dataset_pair(run, flow.FRAMEflow, frame_before);
}

// Rounding of the last time that the flow covers, s.
double end_rounding(const FlowState& flow) {
  const double span = flow.TIMElast - flow.TIMEfirst;
  return std::isfinite(span) ? 2.4e-7 * span : 0.0;
}

// The same for the bottom file, whose times are held in 4 bytes.
bool at_last_bottom_frame(const RunState& run, double t) {
  const FlowState& flow = run.flow;
  if (!flow.bottom_file->only_blanks_left()) return false;
  const double file_time = flow.TIMEbottom - run.settings.bottom_start_flow;
  const double rounding = 1.2e-7 * std::abs(file_time) + end_rounding(flow);
  return t - flow.TIMEbottom <= rounding;
}

void advance_bottom_text(RunState& run, double t) {
  FlowState& flow = run.flow;
  while (flow.TIMEbottom < t && !at_last_bottom_frame(run, t)) {
    flow.UBold = flow.UBnew;
    flow.VBold = flow.VBnew;
    const double time = READ_FRAME_BOTTOM(run, flow.UBnew, flow.VBnew);
    ++flow.FRAMEbottom;
    flow.TIMEbottom = time + run.settings.bottom_start_flow;
    show_progress(run, "Ub", flow.TIMEbottom);
  }
}

std::string moment(double time) {
  const Date date = SECONDS_TO_DATE(REFyear, time);
  return day_text(date) + " " + time_text(date);
}

// A single step is held constant.
void advance_bottom_dataset(RunState& run, double t) {
  FlowState& flow = run.flow;
  const Array<double>& times = flow.datasets.TIMESbottom;
  if (times.size() < 2) return;
  const int held = flow.FRAMEbottom;
  while (flow.TIMEbottom < t && flow.FRAMEbottom < times.size()) {
    ++flow.FRAMEbottom;
    flow.TIMEbottom = times(flow.FRAMEbottom) + run.settings.bottom_start_flow;
  }
  if (t - flow.TIMEbottom > 1.0e-3 + end_rounding(flow)) {
    fatal_error(run.messages, run.settings.bottom_flow_file + ": expected bottom flow until " +
                                  moment(t) + ", found its last step at " +
                                  moment(flow.TIMEbottom));
  }
  if (flow.FRAMEbottom == held) return;
  if (held != flow.FRAMEbottom - 1) {
    READ_FRAME_BOTTOM_DATASET(run, flow.FRAMEbottom - 1, flow.UBnew, flow.VBnew);
  }
  std::swap(flow.UBold, flow.UBnew);
  std::swap(flow.VBold, flow.VBnew);
  READ_FRAME_BOTTOM_DATASET(run, flow.FRAMEbottom, flow.UBnew, flow.VBnew);
}

void advance_bottom(RunState& run, double t) {
  if (bottom_dataset(run)) {
    advance_bottom_dataset(run, t);
  } else {
    advance_bottom_text(run, t);
  }
}

[[noreturn]] void stop_outside_data(const RunState& run, const char* text, double time) {
  const Date date = SECONDS_TO_DATE(REFyear, time);
  std::string line = text + columns(time, 16, 1) + "  " + columns(date[0], 4);
  for (std::size_t i = 1; i <= 5; ++i) line += " " + zero_filled(date[i], 2);
  line += "." + zero_filled(date[6], 3);
  if (std::FILE* file = open_error_file(run.messages)) std::fprintf(file, "%s\n", line.c_str());
  console(run.messages, "\n\n%s <ENTER>", line.c_str());
  read_console_line(run.messages);
  stop_run(run.messages, true);
}

// ---------------------------------------------------------------- blend

float blended(float newer, float older, float f) {
  return newer * f + older * (1.0f - f);
}

// A node falls dry, or wet, halfway between the frames.
float blended_surface(float newer, float older, float f) {
  const bool newer_wet = newer > dry_mark, older_wet = older > dry_mark;
  if (newer_wet && older_wet) return blended(newer, older, f);
  if (newer_wet && f >= 0.5f) return newer * (2.0f * f - 1.0f);
  if (older_wet && f <= 0.5f) return older * (1.0f - 2.0f * f);
  return dry_surface;
}

// A mark of dry in either frame gives no velocity.
float blended_velocity(float newer, float older, float f) {
  if (newer <= dry_mark || older <= dry_mark) return 0.0f;
  return blended(newer, older, f);
}

void blend_surface(RunState& run, int n) {
  FlowState& flow = run.flow;
  const float f = flow.FLOWfrac;
  flow.ETAnode(n) = blended_surface(flow.ETAnew(n), flow.ETAold(n), f);
  const float depth = run.mesh.DEPTHnode(n);
  flow.Hnode(n) = run.settings.ensim ? flow.ETAnode(n) - depth : flow.ETAnode(n) + depth;
  if (two_point(run)) {
    flow.UBnode(n) = blended_velocity(flow.UBnew(n), flow.UBold(n), f);
    flow.VBnode(n) = blended_velocity(flow.VBnew(n), flow.VBold(n), f);
  }
}

void blend_velocity(FlowState& flow, int n, int k) {
  const float f = flow.FLOWfrac;
  flow.Unode(n, k) = blended_velocity(flow.Unew(n, k), flow.Uold(n, k), f);
  flow.Vnode(n, k) = blended_velocity(flow.Vnew(n, k), flow.Vold(n, k), f);
}

void blend_upper_fields(FlowState& flow, int n, int k) {
  const float f = flow.FLOWfrac;
  flow.Wnode(n, k) = blended_velocity(flow.Wnew(n, k), flow.Wold(n, k), f);
  if (has_density(flow.IDEN)) flow.DENnode(n, k) = blended(flow.DENnew(n, k), flow.DENold(n, k), f);
  if (has_salinity(flow.IDEN)) {
    flow.SALnode(n, k) = blended(flow.SALnew(n, k), flow.SALold(n, k), f);
  }
  if (has_temperature(flow.IDEN)) {
    flow.TEMnode(n, k) = blended(flow.TEMnew(n, k), flow.TEMold(n, k), f);
  }
  if (has_levels_per_node(flow.IDEN)) {
    flow.SIGnode(n, k) = blended(flow.SIGnew(n, k), flow.SIGold(n, k), f);
  }
}

// The same discharge over a bed that has moved. Over a depth of 0 the velocity stays as it is.
void adjust_velocity(RunState& run, int n, int k) {
  const float depth = run.mesh.DEPTHnode(n);
  if (depth == 0.0f) return;
  const float start_depth = run.sediment.DEPTHstart(n);
  run.flow.Unode(n, k) = run.flow.Unode(n, k) * start_depth / depth;
  run.flow.Vnode(n, k) = run.flow.Vnode(n, k) * start_depth / depth;
}

}  // namespace

void allocate_flow_arrays(RunState& run) {
  FlowState& flow = run.flow;
  const int NUMnode = run.mesh.NUMnode, NUMlayers = flow.NUMlayers;
  flow.ETAnode.allocate(NUMnode);
  flow.Hnode.allocate(NUMnode);
  flow.Unode.allocate(NUMnode, 0, NUMlayers);
  flow.Vnode.allocate(NUMnode, 0, NUMlayers);
  if (two_point(run) && !flow.UBnode.allocated()) {
    for (Array<float>* field :
         {&flow.UBold, &flow.UBnew, &flow.UBnode, &flow.VBold, &flow.VBnew, &flow.VBnode}) {
      field->allocate(NUMnode);
    }
    flow.BOTTOMmask.allocate(NUMnode, logical_true);
  }
  if (!run.settings.currents) return;

  flow.ETAold.allocate(NUMnode);
  flow.ETAnew.allocate(NUMnode);
  for (Array2<float>* field : {&flow.Uold, &flow.Unew, &flow.Vold, &flow.Vnew}) {
    field->allocate(NUMnode, 0, NUMlayers);
  }
  if (flow.FLOW2D) return;
  const auto allocate_levels = [&](Array2<float>& older, Array2<float>& newer,
                                   Array2<float>& node) {
    older.allocate(NUMnode, 1, NUMlayers);
    newer.allocate(NUMnode, 1, NUMlayers);
    node.allocate(NUMnode, 1, NUMlayers);
  };
  flow.SIGMA.allocate(NUMlayers);
  allocate_levels(flow.Wold, flow.Wnew, flow.Wnode);
  if (has_density(flow.IDEN)) allocate_levels(flow.DENold, flow.DENnew, flow.DENnode);
  if (has_salinity(flow.IDEN)) allocate_levels(flow.SALold, flow.SALnew, flow.SALnode);
  if (has_temperature(flow.IDEN)) allocate_levels(flow.TEMold, flow.TEMnew, flow.TEMnode);
  if (has_levels_per_node(flow.IDEN)) allocate_levels(flow.SIGold, flow.SIGnew, flow.SIGnode);
}

void FLOW_START(RunState& run) {
  FlowState& flow = run.flow;
  warn_without_start(run);
  read_first_frame(run);
  if (two_point(run)) read_first_bottom_frame(run);
  set_time_span(run);
  if (flow.TIMElast < run.settings.stop_run) {
    REPORT(run.messages, true, " *** FLOW FILE DOES NOT RUN BEYOND STOP TIME *** ");
  }
  copy_new_to_old(flow);
  flow.FLOWfrac = 0.0f;
}

void FLOW_ADVANCE(RunState& run) {
  FlowState& flow = run.flow;
  const double t = run.clock.Tnow;
  const FrameSource source = frame_source(run);
  if (source == FrameSource::text) advance_text(run, t);
  if (source == FrameSource::dataset) advance_dataset(run, t);
  // Behind the data no bottom frame is looked for.
  if (two_point(run) && t <= flow.TIMElast) advance_bottom(run, t);
  if (t < flow.TIMEearliest) {
    stop_outside_data(run, "*** HYDRO. DATA DOES NOT START UNTIL: ", flow.TIMEearliest);
  }
  if (t > flow.TIMElast) stop_outside_data(run, "*** HYDRO. DATA FINISHES AT: ", flow.TIMElast);

  const double interval = static_cast<double>(flow.dTime);
  if (t <= flow.TIMEfirst || flow.NUMframes <= 1 || interval <= 0.0) {
    flow.FLOWfrac = 0.0f;
  } else {
    flow.FLOWfrac = static_cast<float>((t - flow.TIMEflow + interval) / interval);
  }
}

void FLOW_BLEND(RunState& run) {
  if (!run.settings.currents) return;
  FlowState& flow = run.flow;
  const bool adjust = run.settings.adjust_currents && run.sediment.DEPTHstart.allocated();
  const ShipEffects ship = ship_effects(run);
  const bool ship_passes = ship.wash || ship.drawdown;
  NodeDrawdown drawdown;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    for (int k = 0; k <= flow.NUMlayers; ++k) {
      if (k == 0) blend_surface(run, n);
      blend_velocity(flow, n, k);
      if (k > 0) blend_upper_fields(flow, n, k);
      if (ship_passes) add_ship(run, ship, n, k, drawdown);
      if (adjust) adjust_velocity(run, n, k);
    }
  }
}

}  // namespace dfl
