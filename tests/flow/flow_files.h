#pragma once

// Small flow files for tests.

#include <string>
#include <vector>

#include "common/test_run.h"
#include "flow/flow_frames.h"
#include "flow/flow_text.h"

namespace dfl::test {

// A run with the given count of nodes at 10 m depth, its messages on standard error, its flow files
// in a folder of its own.
struct FlowRun {
  explicit FlowRun(int nodes, bool two_dimensional = true) {
    quiet(run, folder.path("run"), true);
    run.mesh.NUMnode = nodes;
    run.mesh.DEPTHnode.allocate(nodes, 10.0f);
    run.flow.FLOW2D = two_dimensional;
    run.settings.currents = true;
    run.settings.start_flow = 0.0;
    run.settings.stop_run = 0.0;
    run.settings.flow_file_z = folder.path("flow.63");
    run.settings.flow_file_uv = folder.path(two_dimensional ? "flow.64" : "flow.45");
  }
  void write_2d(const std::string& elevation, const std::string& velocity) {
    folder.write("flow.63", elevation);
    folder.write("flow.64", velocity);
  }
  void open_2d() {
    allocate_flow_arrays(run);
    OPEN_FLOW_2D(run);
  }
  void read_2d() { READ_FRAME_2D(run, run.flow.ETAnew, run.flow.Unew, run.flow.Vnew); }
  // The console on a file from here on.
  void console_to_file() { run.messages.console_out = std::fopen(console_path().c_str(), "w"); }
  std::string console_path() const { return folder.path("console"); }
  std::string console_text() const {
    std::fflush(run.messages.console_out);
    return read_text(console_path());
  }

  TemporaryFolder folder;
  RunState run;
};

// Files of one node: elevation t / 1000, velocity t / 100 and -t / 100 at time t.
inline std::string one_node_file(int variables, const std::vector<double>& times, double interval,
                                 int frames = 0) {
  std::ostringstream out;
  out.precision(12);
  out << "title\n"
      << (frames > 0 ? frames : static_cast<int>(times.size())) << " 1 " << interval << " 10 "
      << variables << '\n';
  for (double t : times) {
    out << t << " 10\n1 " << t / (variables == 1 ? 1000.0 : 100.0);
    if (variables == 2) out << ' ' << -t / 100.0;
    out << '\n';
  }
  return out.str();
}

}  // namespace dfl::test
