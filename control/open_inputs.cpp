#include "control/open_inputs.h"

#include <cmath>

#include "control/text_tools.h"
#include "flow/flow_datasets.h"
#include "flow/flow_frames.h"
#include "flow/flow_text.h"
#include "mesh/adcirc_mesh.h"
#include "mesh/grid_mesh.h"
#include "mesh/kfe_mesh.h"
#include "mesh/lattice_mesh.h"
#include "sediment/native_sediments.h"
#include "waves/wave_setup.h"

namespace dfl {

namespace {

// Lengths are in mesh units and taken as metres: a mesh in degrees runs, with wrong results.
void warn_of_degrees(const RunState& run) {
  const MeshState& mesh = run.mesh;
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    if (std::abs(mesh.Xnode(n)) > 360.0 || std::abs(mesh.Ynode(n)) > 90.0) return;
  }
  const char* text =
      "all mesh coordinates lie within 360 by 90: DFL needs metres, not degrees of longitude and "
      "latitude";
  echo_warning(run.messages, text);
  console(run.messages, "WARNING: %s\n", text);
}

void open_mesh(RunState& run) {
  switch (run.settings.method.mesh) {
    case MeshFormat::adcirc:
      READ_ADCIRC_MESH(run);
      break;
    case MeshFormat::n2d:
    case MeshFormat::n2g:
      READ_GRID_MESH(run);
      break;
    case MeshFormat::kfe:
      READ_KFE_MESH(run);
      break;
    case MeshFormat::gr3d:
      READ_GR3D_MESH(run);
      break;
    case MeshFormat::n3d:
      READ_N3D_MESH(run);
      break;
    case MeshFormat::unknown:
      fatal_error(run.messages, "MESH_FILE type not supported");
  }
  warn_of_degrees(run);
}

void set_flow_dimension(RunState& run) {
  const std::string& method = run.settings.velocity_method;
  FlowState& flow = run.flow;
  // Without currents there is no field to take water properties from.
  flow.UNIFORMden = flow.UNIFORMtem = flow.UNIFORMsal = true;
  if (contains(method, "2d")) {
    flow.FLOW2D = true;
  } else if (contains(method, "3d")) {
    flow.FLOW2D = false;
  } else {
    fatal_error(run.messages, "*** VELOCITY_METHOD error ***");
  }
  flow.IDEN = flow.FLOW2D ? 0 : run.settings.IDEN;
  // The mesh of a 3-D model has set its levels.
  if (flow.FLOW2D || !run.settings.currents) flow.NUMlayers = 0;
}

void allocate_map_work(RunState& run) {
  const Settings& s = run.settings;
  const int nodes = run.mesh.NUMnode;
  if (s.wave_mapping || (s.concentration_mapping && s.hyfs_maps)) {
    run.output.scalar_work.allocate(nodes);
  }
  if (s.transport_mapping || s.mobility_mapping || s.flow_mapping) {
    run.output.vector_work.allocate(nodes, 1, 2);
  }
}

void open_sediments(RunState& run) {
  const SedimentsFormat format = run.settings.method.sediments;
  if (format == SedimentsFormat::adcirc) console(run.messages, "Reading sediment data file...\n");
  if (format == SedimentsFormat::hyfs || format == SedimentsFormat::hyfs_n2d) {
    console(run.messages, "Reading HYFS sediment data file...\n");
  }
  if (format == SedimentsFormat::n2d) {
    console(run.messages, "Reading RVS-2D sediment data file...\n");
  }
  if (format == SedimentsFormat::kfe) console(run.messages, "Reading KFE sediment data file...\n");
  READ_NATIVE_SEDIMENTS(run);
}

void open_flow_2d(RunState& run) {
  allocate_flow_arrays(run);
  switch (run.settings.method.flow) {
    case FlowFormat::adcirc:
      OPEN_FLOW_2D(run);
      break;
    case FlowFormat::hyfs:
      OPEN_FLOW_HYFS(run);
      break;
    case FlowFormat::n2d:
      OPEN_FLOW_N2D(run);
      break;
    default:
      echo_warning(run.messages, "flow_format \"" + run.settings.flow_format +
                                     "\" names no depth-averaged flow: no flow file is opened");
  }
}

// Which scalars the flow carries, by its code.
void set_scalar_flags(RunState& run) {
  FlowState& flow = run.flow;
  if (flow.IDEN < 0 || flow.IDEN > 6) {
    fatal_error(run.messages, "IDEN does not match values in 3D-DST file");
  }
  const int code = flow.IDEN;
  flow.UNIFORMden = code == 0 || code == 5 || code == 6;
  flow.UNIFORMtem = code == 0 || code == 1 || code == 2 || code == 6;
  flow.UNIFORMsal = code == 0 || code == 1 || code == 3;
}

void open_flow_3d(RunState& run) {
  switch (run.settings.method.flow) {
    case FlowFormat::adcirc:
      OPEN_FLOW_3D(run);
      break;
    case FlowFormat::hyfs:
      fatal_error(run.messages, "*** HYFS format for 3D not available yet ***");
    case FlowFormat::gr3d:
      OPEN_FLOW_GR3D(run);
      run.flow.IDEN = 5;
      break;
    case FlowFormat::n3d:
      OPEN_FLOW_N3D(run);
      run.flow.IDEN = 6;
      break;
    case FlowFormat::kfe:
      OPEN_FLOW_KFE(run);
      run.flow.NUMlayers = 1;
      run.flow.IDEN = 0;
      break;
    default:
      fatal_error(run.messages, "*** FLOW_FORMAT type not supported ***");
  }
  set_scalar_flags(run);
  allocate_flow_arrays(run);
  if (run.flow.IDEN == 5) OPEN_SCALARS_GR3D(run);
  if (run.flow.IDEN == 6) OPEN_SCALARS_N3D(run);
}

void open_flow(RunState& run) {
  if (!run.settings.currents) {
    allocate_flow_arrays(run);  // still water
  } else if (run.flow.FLOW2D) {
    open_flow_2d(run);
  } else {
    open_flow_3d(run);
  }
}

// Grain roughness of the native bed: where no bed field has been formed yet, the bed is flat.
void set_grain_roughness(RunState& run) {
  SedimentState& bed = run.sediment;
  bed.KSgrainnode.allocate(run.mesh.NUMnode);
  bed.KSnode.allocate(run.mesh.NUMnode);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    bed.KSgrainnode(n) = 3.0f * bed.D90(n);
    bed.KSnode(n) = 3.0f * bed.D90(n);
  }
}

}  // namespace

void OPEN_INPUTS(RunState& run) {
  open_mesh(run);
  set_flow_dimension(run);
  allocate_map_work(run);
  if (run.settings.method.velocity == VelocityMethod::two_point) OPEN_BOTTOM_FLOW(run);
  open_sediments(run);
  open_flow(run);
  if (run.settings.waves) OPEN_WAVES(run);
  set_grain_roughness(run);
}

}  // namespace dfl
