// The two .dat files of the "kfe" form.

#include <algorithm>
#include <string>

#include "control/text_tools.h"
#include "flow/flow_text.h"
#include "flow/flow_text_parts.h"

namespace dfl {

namespace {

constexpr const char* time_error_kfe = "*** Time error in KFE files ***";
constexpr std::size_t header_width = 180;  // characters of a line

struct KfeHead {
  int step = 0;
  float time = 0.0f;  // s
};

// A header line's integer behind its keyword.
int kfe_count(const RunState& run, TextReader& in, const std::string& line) {
  int parts = 0, count = 0;
  std::string keyword, value;
  CARD_SPLIT(line, ' ', parts, keyword, value);
  TextReader(run.messages, in.path(), value, in.line()).read(count);
  return count;
}

std::string kfe_line(TextReader& in) {
  std::string line;
  if (!in.read_line(line)) in.stop("expected a line, found the end of the file");
  return line.substr(0, header_width);
}

// The head of the next frame; false at the end of the data.
bool read_kfe_head(const RunState& run, TextReader& in, KfeHead& head) {
  std::string line;
  do {
    if (!in.read_line(line)) return false;
    line.resize(std::min(line.size(), header_width));
    if (line.rfind("ENDDS", 0) == 0) return false;
  } while (line.find_first_not_of(" \t") == std::string::npos && in.only_blanks_left());
  int parts = 0;
  std::string keyword, values;
  CARD_SPLIT(line, ' ', parts, keyword, values);
  TextReader(run.messages, in.path(), values, in.line()).read(head.step, head.time);
  return true;
}

KfeHead read_kfe_head(const RunState& run, TextReader& in) {
  KfeHead head;
  if (!read_kfe_head(run, in, head)) in.stop("expected a frame, found the end of the data");
  return head;
}

struct KfeMeasure {
  int frames = 0;
  float interval = 0.0f;  // s, between the first two frames
};

KfeMeasure measure_kfe(const RunState& run, TextReader& in) {
  KfeMeasure measure;
  KfeHead head;
  float first_time = 0.0f;
  while (read_kfe_head(run, in, head)) {
    if (measure.frames == 0) first_time = head.time;
    if (measure.frames == 1) measure.interval = head.time - first_time;
    for (int n = 1; n <= run.mesh.NUMnode; ++n) in.skip_line();
    ++measure.frames;
  }
  if (measure.frames == 0) in.stop("expected a frame, found the end of the data");
  return measure;
}

// No entry in the error file.
[[noreturn]] void stop_kfe_header(const RunState& run, const char* file) {
  console(run.messages, "NUMnode error in KFE %s file\n", file);
  stop_run(run.messages, true);
}

// The six header lines of both files in step.
void read_kfe_headers(const RunState& run) {
  TextReader& displacement = *run.flow.elevation_file;
  TextReader& velocity = *run.flow.velocity_file;
  for (int i = 1; i <= 6; ++i) {
    const std::string displacement_line = kfe_line(displacement);
    const std::string velocity_line = kfe_line(velocity);
    if (i != 4 && i != 5) continue;
    const int wanted = i == 4 ? run.mesh.NUMnode : run.mesh.NUMelem;
    if (kfe_count(run, displacement, displacement_line) != wanted) stop_kfe_header(run, "prs");
    if (kfe_count(run, velocity, velocity_line) != wanted) stop_kfe_header(run, "vel");
  }
}

}  // namespace

void OPEN_FLOW_KFE(RunState& run) {
  FlowState& flow = run.flow;
  flow.elevation_file = open_flow_file(run, run.settings.flow_file_z, "displacement", ".dat");
  flow.velocity_file = open_flow_file(run, run.settings.flow_file_uv, "velocity", ".dat");
  read_kfe_headers(run);
  const TextReader::Place first_displacement = flow.elevation_file->place();
  const TextReader::Place first_velocity = flow.velocity_file->place();
  const KfeMeasure displacement = measure_kfe(run, *flow.elevation_file);
  const KfeMeasure velocity = measure_kfe(run, *flow.velocity_file);
  if (displacement.frames != velocity.frames) {
    REPORT(run.messages, true, "*** Number of steps do not match in dsp and vel files ***");
  }
  if (displacement.interval != velocity.interval) {
    REPORT(run.messages, true, "*** Times do not match in dsp and vel files ***");
  }
  flow.elevation_file->go_to(first_displacement);
  flow.velocity_file->go_to(first_velocity);
  if (displacement.frames > 1 && !(displacement.interval > 0.0f)) {
    flow.elevation_file->stop("expected an interval between frames above 0");
  }
  flow.dTime = displacement.interval;
  flow.NUMframes = displacement.frames;
  flow.NUMlayers = 1;
}

void READ_FRAME_KFE(RunState& run) {
  FlowState& flow = run.flow;
  TextReader& displacement = *flow.elevation_file;
  ++flow.frame_step;
  const KfeHead reference = read_kfe_head(run, displacement);
  flow.frame_time = static_cast<double>(reference.time);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) displacement.read(flow.ETAnew(n));

  TextReader& velocity = *flow.velocity_file;
  const KfeHead head = read_kfe_head(run, velocity);
  if (head.time != reference.time) {
    stop_at_times(run, time_error_kfe, flow.frame_time, reference.step,
                  static_cast<double>(head.time), head.step);
  }
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    velocity.read(flow.Unew(n, 1), flow.Vnew(n, 1), flow.Wnew(n, 1));
    // One level: the average over the depth is its value.
    flow.Unew(n, 0) = flow.Unew(n, 1);
    flow.Vnew(n, 0) = flow.Vnew(n, 1);
  }
}

}  // namespace dfl
