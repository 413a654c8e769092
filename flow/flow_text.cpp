#include "flow/flow_text.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <string_view>
#include <vector>

#include "control/text_tools.h"
#include "flow/flow_text_parts.h"

namespace dfl {

namespace {

constexpr const char* time_error_2d = "*** Time error in ADCIRC files ***";
constexpr const char* time_error_3d = "*** Time error in 3Dv ADCIRC files ***";

constexpr int most_frames = 10000000;
constexpr float sigma_t_limit = 200.0f;    // kg/m3; a whole field below it is no full density
constexpr float sigma_t_offset = 1000.0f;  // kg/m3

// ---------------------------------------------------------------- opening

struct Head {
  int frames = 0, nodes = 0, steps = 0, layers = 0, values = 0;
  float interval = 0.0f;  // s
};

void check_counts(const TextReader& in, const Head& head) {
  if (head.frames < 1 || head.frames > most_frames) {
    in.stop("expected a count of frames from 1 to " + std::to_string(most_frames) + ", found " +
            std::to_string(head.frames));
  }
  if (head.frames > 1 && !(head.interval > 0.0f)) {
    in.stop("expected an interval between frames above 0");
  }
}

Head read_head(TextReader& in) {
  Head head;
  in.skip_line();
  in.read(head.frames, head.nodes, head.interval, head.steps, head.values);
  return head;
}

// Head of a three-dimensional velocity file.
Head read_layered_head(TextReader& in) {
  Head head;
  in.skip_line();
  in.read(head.frames, head.nodes, head.interval, head.steps, head.layers, head.values);
  return head;
}

// The levels size the flow arrays: beyond a usual count, a frame of so many has to fit the file.
void check_levels(const TextReader& in, int layers, int NUMnode) {
  constexpr int usual_layers = 100;
  const double least_bytes = 6.0 * layers * NUMnode;
  const bool fits = layers <= usual_layers || least_bytes <= static_cast<double>(in.bytes_left());
  if (layers >= 1 && fits) return;
  in.stop("expected a count of levels that fits the file, found " + std::to_string(layers));
}

// Head of a scalar file: five items with 3 as the last, or, as the model writes it, the count of
// levels and the density code.
Head read_scalar_head(TextReader& in, int NUMlayers) {
  Head head;
  in.skip_line();
  in.begin_record();
  in.read_item(head.frames);
  in.read_item(head.nodes);
  in.read_item(head.interval);
  in.read_item(head.steps);
  in.read_item(head.values);
  if (head.values == NUMlayers) {
    const MessageState unused;
    TextReader rest(unused, in.path(), std::string(in.rest_of_line()), in.line());
    int code = 0;
    if (rest.try_read(code) && code >= 1 && code <= 4) {
      head.layers = NUMlayers;
      head.values = code;
    }
  }
  in.end_record();
  return head;
}

void write_block(const RunState& run, const char* title, const Head& head) {
  echo(run.messages, "%s\n", title);
  echo(run.messages, "  Frames:   %s\n", columns(head.frames, 8).c_str());
  echo(run.messages, "  Nodes:    %s\n", columns(head.nodes, 8).c_str());
  echo(run.messages, "  dTime:    %s sec\n",
       columns(static_cast<double>(head.interval), 11, 1).c_str());
  echo(run.messages, "  dStep:    %s\n\n", columns(head.steps, 8).c_str());
}

// The elevation file: its head measures the flow.
Head open_elevation(RunState& run) {
  FlowState& flow = run.flow;
  flow.elevation_file =
      open_flow_file(run, run.settings.flow_file_z, "water surface elevation", ".63");
  const Head head = read_head(*flow.elevation_file);
  check_counts(*flow.elevation_file, head);
  flow.NUMframes = head.frames;
  flow.dTime = head.interval;
  return head;
}

void check_elevation(const RunState& run, const Head& head) {
  if (head.nodes != run.mesh.NUMnode) REPORT(run.messages, true, "NUMnode error in ETA file");
  if (head.values != 1) REPORT(run.messages, true, "NVAR error in ETA file");
}

// A further file against the elevation file. `file`: its word in the messages.
void check_against(const RunState& run, const Head& elevation, const Head& head,
                   const std::string& file, bool values_good) {
  const auto require = [&](bool good, const char* what) {
    if (!good) REPORT(run.messages, true, what + (" error in " + file + " file"));
  };
  require(head.interval == elevation.interval, "Time0");
  require(head.steps == elevation.steps, "NStep0");
  require(head.frames == elevation.frames, "NUMframes");
  require(head.nodes == run.mesh.NUMnode, "NUMnode");
  require(values_good, "NVAR");
}

// ---------------------------------------------------------------- frames

struct FrameHeader {
  double time = 0.0;  // s
  int step = 0;
  bool sparse = false;
  int count = 0;       // node lines that follow
  float value = 0.0f;  // sparse: of all other nodes
};

// Files of one run hold the same times, but not all of them fit 4 bytes: they agree if they are
// equal there.
void compare_times(const RunState& run, const char* text, double time, int step) {
  const FlowState& flow = run.flow;
  if (static_cast<float>(time) == static_cast<float>(flow.frame_time) && step == flow.frame_step) {
    return;
  }
  stop_at_times(run, text, flow.frame_time, flow.frame_step, time, step);
}

// Two-dimensional velocity files and scalar files hold their times in 4 bytes.
double narrow_time(const FrameHeader& header) {
  return static_cast<double>(static_cast<float>(header.time));
}

// Looks at what stands behind time and step: exactly two numbers make the sparse form, anything
// else is dropped.
void read_sparse_form(const TextReader& in, FrameHeader& header, int NUMnode) {
  constexpr const char* blanks = " \t,";
  const std::string rest(in.rest_of_line());
  int words = 0;
  for (std::size_t p = rest.find_first_not_of(blanks); p != std::string::npos; ++words) {
    p = rest.find_first_not_of(blanks, rest.find_first_of(blanks, p));
  }
  if (words != 2 || contains(rest, "/")) return;
  const MessageState unused;
  TextReader items(unused, in.path(), rest, in.line());
  int count = 0;
  float value = 0.0f;
  if (!items.try_read(count, value)) return;
  if (count < 0 || count > NUMnode) {
    in.stop("expected a count of nodes from 0 to " + std::to_string(NUMnode) + ", found " +
            std::to_string(count));
  }
  header.sparse = true;
  header.count = count;
  header.value = value;
}

FrameHeader read_frame_header(TextReader& in, int NUMnode) {
  FrameHeader header;
  in.begin_record();
  in.read_item(header.time);
  in.read_item(header.step);
  header.count = NUMnode;
  read_sparse_form(in, header, NUMnode);
  in.end_record();
  return header;
}

// Header of a frame with levels. `positions` are what stands behind time and step.
FrameHeader read_layered_header(TextReader& in, int positions, std::vector<float>& values) {
  FrameHeader header;
  values.resize(static_cast<std::size_t>(positions));
  in.begin_record();
  in.read_item(header.time);
  in.read_item(header.step);
  for (float& value : values) in.read_item(value);
  in.end_record();
  return header;
}

void read_surface(TextReader& in, const FrameHeader& header, Array<float>& eta) {
  if (header.sparse) eta.fill(header.value);
  read_node_lines(in, header.count, eta.size(), [&](int n) { in.read_item(eta(n)); });
}

// Reads the elevation frame; its time and step are those of the whole frame.
void read_elevation_frame(RunState& run, Array<float>& eta) {
  FlowState& flow = run.flow;
  TextReader& in = *flow.elevation_file;
  const FrameHeader header = read_frame_header(in, run.mesh.NUMnode);
  flow.frame_time = header.time;
  flow.frame_step = header.step;
  read_surface(in, header, eta);
}

// Level 0 of U and V: average over the depth by the trapezoidal rule. The levels span 0 to 1.
void average_over_depth(FlowState& flow) {
  for (int n = 1; n <= flow.Unew.rows(); ++n) {
    float u = 0.0f, v = 0.0f;
    for (int k = 1; k < flow.NUMlayers; ++k) {
      const float thickness = flow.SIGMA(k + 1) - flow.SIGMA(k);
      u += (flow.Unew(n, k + 1) + flow.Unew(n, k)) * 0.5f * thickness;
      v += (flow.Vnew(n, k + 1) + flow.Vnew(n, k)) * 0.5f * thickness;
    }
    flow.Unew(n, 0) = u;
    flow.Vnew(n, 0) = v;
  }
}

// SIGMA from the header of a velocity frame: of three values a level the last stays, of the top
// level's two the second.
void set_sigma(const TextReader& in, FlowState& flow, const std::vector<float>& values) {
  for (int k = 1; k <= flow.NUMlayers; ++k) {
    const int place = k < flow.NUMlayers ? 3 * k - 1 : 3 * k - 2;
    flow.SIGMA(k) = (values[static_cast<std::size_t>(place)] + 1.0f) * 0.5f;
    if (k > 1 && flow.SIGMA(k) < flow.SIGMA(k - 1)) {
      in.stop("expected level positions that rise from -1 at the bed to 1 at the surface");
    }
  }
}

// Reads a frame of the scalar file into `fields`, in the order in which the file has them.
void read_scalar_frame(RunState& run, std::initializer_list<Array2<float>*> fields) {
  const FlowState& flow = run.flow;
  if (flow.scalar_file == nullptr) fatal_error(run.messages, "IDEN does not match 3D-DST file");
  TextReader& in = *flow.scalar_file;
  const int count = static_cast<int>(fields.size());
  const int position_count = count * flow.NUMlayers - (count < 3 ? 1 : 2);
  std::vector<float> positions;
  const FrameHeader header = read_layered_header(in, position_count, positions);
  compare_times(run, time_error_3d, narrow_time(header), header.step);
  read_node_lines(in, run.mesh.NUMnode, run.mesh.NUMnode, [&](int n) {
    for (int k = 1; k <= flow.NUMlayers; ++k) {
      for (Array2<float>* field : fields) in.read_item((*field)(n, k));
    }
  });
}

// Density fields may hold sigma-t; which of the two is seen in the first frame.
void complete_density(RunState& run) {
  FlowState& flow = run.flow;
  if (!flow.scalars_checked) {
    flow.scalars_checked = true;
    float largest = -std::numeric_limits<float>::max();
    for (std::size_t i = 0; i < flow.DENnew.count(); ++i) {
      largest = std::max(largest, flow.DENnew.data()[i]);
    }
    flow.density_is_sigma_t = largest < sigma_t_limit;
    if (flow.density_is_sigma_t) {
      echo(run.messages,
           "Density is below 200 kg/m3 everywhere: taken as sigma-t, 1000 kg/m3 added\n");
    }
  }
  if (!flow.density_is_sigma_t) return;
  for (std::size_t i = 0; i < flow.DENnew.count(); ++i) flow.DENnew.data()[i] += sigma_t_offset;
}

}  // namespace

std::unique_ptr<TextReader> open_flow_file(RunState& run, const std::string& name, const char* what,
                                           const char* extension) {
  console(run.messages, "Opening %s data file...\n", what);
  return std::make_unique<TextReader>(run.messages, contains(name, ".") ? name : name + extension);
}

void stop_at_times(const RunState& run, const char* text, double reference_time, int reference_step,
                   double time, int step) {
  const std::string numbers = columns(reference_time, 12, 1) + columns(reference_step, 6) +
                              columns(time, 12, 1) + columns(step, 6);
  if (std::FILE* file = open_error_file(run.messages)) {
    std::fprintf(file, "\n\n%s\n\n%s\n", text, numbers.c_str());
  }
  console(run.messages, "\n\n%s <ENTER>\n\n%s\n", text, numbers.c_str());
  read_console_line(run.messages);
  stop_run(run.messages, true);
}

void check_node(const TextReader& in, int n, int line, int NUMnode, std::vector<bool>& seen) {
  if (n < 1 || n > NUMnode) {
    in.stop("expected a node number from 1 to " + std::to_string(NUMnode) + ", found " +
            std::to_string(n));
  }
  if (seen.empty()) {
    seen.assign(static_cast<std::size_t>(NUMnode) + 1, false);
    for (int i = 1; i < line; ++i) seen[static_cast<std::size_t>(i)] = true;
  }
  if (seen[static_cast<std::size_t>(n)]) {
    in.stop("node " + std::to_string(n) + " stands twice, another is missing");
  }
  seen[static_cast<std::size_t>(n)] = true;
}

void OPEN_FLOW_2D(RunState& run) {
  FlowState& flow = run.flow;
  flow.NUMlayers = 0;
  const Head elevation = open_elevation(run);
  // The first frame's time, read ahead.
  const TextReader::Place first_frame = flow.elevation_file->place();
  float Time0 = 0.0f;
  flow.elevation_file->read(Time0);
  flow.TIMESflow.allocate(flow.NUMframes);
  for (int i = 1; i <= flow.NUMframes; ++i) {
    const float time = static_cast<float>(i - 1) * flow.dTime + Time0;
    flow.TIMESflow(i) = static_cast<double>(time);
  }
  flow.elevation_file->go_to(first_frame);
  write_block(run, "Levels File", elevation);
  check_elevation(run, elevation);

  flow.velocity_file = open_flow_file(run, run.settings.flow_file_uv, "velocity", ".64");
  const Head velocity = read_head(*flow.velocity_file);
  write_block(run, "Flows File", velocity);
  check_against(run, elevation, velocity, "VEL", velocity.values == 2);
}

void OPEN_FLOW_3D(RunState& run) {
  FlowState& flow = run.flow;
  const Head elevation = open_elevation(run);
  write_block(run, "Levels File", elevation);
  check_elevation(run, elevation);

  flow.velocity_file = open_flow_file(run, run.settings.flow_file_uv, "velocity", ".45");
  const Head velocity = read_layered_head(*flow.velocity_file);
  flow.NUMlayers = velocity.layers;
  write_block(run, "Flows File", velocity);
  // 3 by name; the model writes 1 or 2 where density is computed from fewer fields.
  check_against(run, elevation, velocity, "3D-VEL", velocity.values >= 1 && velocity.values <= 3);
  check_levels(*flow.velocity_file, flow.NUMlayers, run.mesh.NUMnode);

  if (run.settings.flow_file_dst == "none") return;
  flow.scalar_file =
      open_flow_file(run, run.settings.flow_file_dst, "density/salinity/temperature", ".44");
  const Head scalars = read_scalar_head(*flow.scalar_file, flow.NUMlayers);
  const bool code_given = scalars.layers > 0;
  write_block(run, "Flows File", scalars);
  check_against(run, elevation, scalars, "3D-DST", code_given || scalars.values == 3);
  // With another code than the file's the fields would be taken for one another.
  if (run.settings.IDEN > 4 ||
      (code_given && run.settings.IDEN > 0 && run.settings.IDEN != scalars.values)) {
    REPORT(run.messages, true, "IDEN does not match 3D-DST file");
  }
}

void READ_FRAME_2D(RunState& run, Array<float>& eta, Array2<float>& u, Array2<float>& v) {
  read_elevation_frame(run, eta);
  TextReader& in = *run.flow.velocity_file;
  const FrameHeader header = read_frame_header(in, run.mesh.NUMnode);
  compare_times(run, time_error_2d, narrow_time(header), header.step);
  if (header.sparse) {
    for (int n = 1; n <= run.mesh.NUMnode; ++n) u(n, 0) = v(n, 0) = header.value;
  }
  read_node_lines(in, header.count, run.mesh.NUMnode, [&](int n) {
    in.read_item(u(n, 0));
    in.read_item(v(n, 0));
  });
}

double READ_FRAME_BOTTOM(RunState& run, Array<float>& u, Array<float>& v) {
  TextReader& in = *run.flow.bottom_file;
  const FrameHeader header = read_frame_header(in, run.mesh.NUMnode);
  if (header.sparse) {
    u.fill(header.value);
    v.fill(header.value);
  }
  read_node_lines(in, header.count, run.mesh.NUMnode, [&](int n) {
    in.read_item(u(n));
    in.read_item(v(n));
  });
  return narrow_time(header);
}

void READ_FRAME_3D(RunState& run) {
  FlowState& flow = run.flow;
  read_elevation_frame(run, flow.ETAnew);
  TextReader& in = *flow.velocity_file;
  std::vector<float> positions;
  const FrameHeader header = read_layered_header(in, 3 * flow.NUMlayers - 1, positions);
  compare_times(run, time_error_3d, header.time, header.step);
  set_sigma(in, flow, positions);
  read_node_lines(in, run.mesh.NUMnode, run.mesh.NUMnode, [&](int n) {
    for (int k = 1; k <= flow.NUMlayers; ++k) {
      in.read_item(flow.Unew(n, k));
      in.read_item(flow.Vnew(n, k));
      in.read_item(flow.Wnew(n, k));
    }
  });
  average_over_depth(flow);
}

void READ_SCALARS_1(RunState& run, Array2<float>& field) {
  read_scalar_frame(run, {&field});
}

void READ_SCALARS_2(RunState& run, Array2<float>& first, Array2<float>& second) {
  read_scalar_frame(run, {&first, &second});
}

void READ_SCALARS_3(RunState& run, Array2<float>& first, Array2<float>& second,
                    Array2<float>& third) {
  read_scalar_frame(run, {&first, &second, &third});
}

void READ_SCALARS(RunState& run) {
  FlowState& flow = run.flow;
  if (flow.IDEN == 1) READ_SCALARS_1(run, flow.DENnew);
  if (flow.IDEN == 2) READ_SCALARS_2(run, flow.DENnew, flow.SALnew);
  if (flow.IDEN == 3) READ_SCALARS_2(run, flow.DENnew, flow.TEMnew);
  if (flow.IDEN == 4) READ_SCALARS_3(run, flow.DENnew, flow.TEMnew, flow.SALnew);
  complete_density(run);
}

}  // namespace dfl
