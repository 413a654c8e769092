#pragma once

// Runs of the Eulerian solver on a small lattice of nodes.

#include "sediment/bed_run.h"

namespace dfl::test {

// columns by rows nodes 10 m apart under `depth` of water; column i and row j count from 1.
inline void lattice_run(RunState& run, int columns, int rows, float depth) {
  bed_run(run, columns - 1, rows - 1, depth);
  run.settings.method.mesh = MeshFormat::n3d;
  run.settings.method.transport = TransportFormula::a_d;
  run.grid.NumI = columns;
  run.grid.NumJ = rows;
  run.settings.currents = true;
  run.sediment.KSnode.fill(0.02f);
  run.sediment.SSCnode.allocate(run.mesh.NUMnode, 1, 2);
}

inline int lattice_node(const RunState& run, int i, int j) {
  return (j - 1) * run.grid.NumI + i;
}

inline bool on_edge(const RunState& run, int i, int j) {
  return i == 1 || j == 1 || i == run.grid.NumI || j == run.grid.NumJ;
}

}  // namespace dfl::test
