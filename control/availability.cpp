#include "control/availability.h"

namespace dfl {

namespace {

struct Refusal {
  bool asked;
  const char* text;
};

bool flow_dataset(const Settings& s) {
  if (!s.currents) return false;
  const FlowFormat flow = s.method.flow;
  const bool layers =
      s.method.velocity == VelocityMethod::sigma_3d || s.method.velocity == VelocityMethod::z_3d;
  if (layers) return flow == FlowFormat::gr3d || flow == FlowFormat::n3d;
  return flow == FlowFormat::hyfs || flow == FlowFormat::n2d;
}

}  // namespace

void refuse_unavailable(const RunState& run) {
  const Settings& s = run.settings;
  const auto& m = s.method;
  const Refusal refusals[] = {
      {m.mesh != MeshFormat::adcirc && m.mesh != MeshFormat::unknown,
       "Meshes other than \"adcirc\" are not available in this version"},
      {m.velocity == VelocityMethod::two_point && m.bottom_flow != FlowFormat::adcirc,
       "Bottom flow other than \"adcirc\" is not available in this version"},
      {m.sediments == SedimentsFormat::hyfs || m.sediments == SedimentsFormat::hyfs_n2d ||
           m.sediments == SedimentsFormat::n2d,
       "Sediments from datasets and gridded models are not available in this version"},
      {flow_dataset(s), "Flow from datasets is not available in this version"},
      {m.transport == TransportFormula::a_d,
       "Eulerian transport \"a-d\" is not available in this version"},
  };
  for (const Refusal& refusal : refusals) {
    if (refusal.asked) fatal_error(run.messages, refusal.text);
  }
}

}  // namespace dfl
