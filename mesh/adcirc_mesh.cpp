#include "mesh/adcirc_mesh.h"

namespace dfl {

namespace {

void allocate_wave_arrays(WaveState& waves, int nodes) {
  waves.WAVEheight.allocate(nodes);
  waves.WAVEperiod.allocate(nodes, 1.0f);
  waves.WAVEdirx.allocate(nodes);
  waves.WAVEdiry.allocate(nodes);
  waves.WAVEbreak.allocate(nodes);
}

void allocate_bed_arrays(SedimentState& sediment, const Settings& settings, int nodes,
                         int elements) {
  for (Array<float>* field :
       {&sediment.USTAR, &sediment.TAUbed, &sediment.KSnode, &sediment.KSgrainnode,
        &sediment.BEDFORMnode, &sediment.MOBILITYnode, &sediment.QSED, &sediment.DZDT}) {
    field->allocate(nodes);
  }
  sediment.BEDrate.allocate(elements);
  if (settings.slope_effects) {
    sediment.BEDslopeX.allocate(nodes);
    sediment.BEDslopeY.allocate(nodes);
  }
  if (settings.morphology || settings.active_morphology || settings.adjust_currents) {
    sediment.DEPTHstart.allocate(nodes);
    sediment.BEDlevel.allocate(nodes);
    sediment.BEDchange.allocate(nodes);
  }
  if (settings.morphology || settings.active_morphology || settings.slope_effects) {
    sediment.ELEMwork.allocate(elements);
  }
}

}  // namespace

void allocate_mesh_arrays(RunState& run) {
  MeshState& mesh = run.mesh;
  const int nodes = mesh.NUMnode, elements = mesh.NUMelem;
  mesh.Xnode.allocate(nodes);
  mesh.Ynode.allocate(nodes);
  mesh.DEPTHnode.allocate(nodes);
  for (Array<int>* list : {&mesh.ELnode1, &mesh.ELnode2, &mesh.ELnode3, &mesh.SORTxmin,
                           &mesh.SORTxmax, &mesh.NEIGHcount}) {
    list->allocate(elements);
  }
  mesh.AREAelem.allocate(elements);
  for (Array<double>* bound : {&mesh.XMINelem, &mesh.XMAXelem, &mesh.YMINelem, &mesh.YMAXelem}) {
    bound->allocate(elements);
  }
  // The fields at Tnow stay 0 in a run without currents; with currents they get their levels when
  // the flow starts.
  run.flow.ETAnode.allocate(nodes);
  run.flow.Hnode.allocate(nodes);
  run.flow.Unode.allocate(nodes, 0, 0);
  run.flow.Vnode.allocate(nodes, 0, 0);
  allocate_wave_arrays(run.waves, nodes);
  allocate_bed_arrays(run.sediment, run.settings, nodes, elements);
}

}  // namespace dfl
