#include "output/mesh_text.h"

#include <string>

#include "control/text_tools.h"

namespace dfl {

namespace {

// A hard bottom shows as a negative D90.
constexpr float hard_bottom_factor = -3.0f;

float grain_size(const Array<float>& sizes, int node) {
  return node <= sizes.size() ? sizes(node) : 0.0f;
}

std::string node_row(const RunState& run, int n) {
  const SedimentState& sediment = run.sediment;
  float D90 = grain_size(sediment.D90, n);
  const bool hard = n <= sediment.BEDmobile.size() && !is_true(sediment.BEDmobile(n));
  if (hard) D90 = D90 * hard_bottom_factor;
  std::string row = columns(run.mesh.Xnode(n), 16, 3) + columns(run.mesh.Ynode(n), 16, 3) +
                    columns(static_cast<double>(run.mesh.DEPTHnode(n)), 16, 3);
  for (const float size : {grain_size(sediment.D35, n), grain_size(sediment.D50, n), D90}) {
    row += columns_exponent(static_cast<double>(size), 10, 2);
  }
  return row + "\n";
}

}  // namespace

void write_mesh_file(const RunState& run) {
  const std::string& prefix = run.settings.output_prefix;
  OutputFile output = open_output(run.messages, prefix + "_mesh.plt", "w");
  write_output(run.messages, output, "VARIABLES=\"X\" \"Y\" \"H\" \"D_3_5\" \"D_5_0\" \"D_9_0\"\n");
  write_output(run.messages, output,
               "ZONE F=FEPOINT, T=\"" + prefix +
                   "\", ET=TRIANGLE, N=" + std::to_string(run.mesh.NUMnode) +
                   ", E=" + std::to_string(run.mesh.NUMelem) + "\n");
  for (int n = 1; n <= run.mesh.NUMnode; ++n) write_output(run.messages, output, node_row(run, n));
  write_element_table(run, output);
  close_output(run.messages, output);
}

void write_element_table(const RunState& run, const OutputFile& output) {
  const MeshState& mesh = run.mesh;
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    write_output(run.messages, output,
                 std::to_string(mesh.ELnode1(e)) + " " + std::to_string(mesh.ELnode2(e)) + " " +
                     std::to_string(mesh.ELnode3(e)) + "\n");
  }
}

}  // namespace dfl
