#pragma once

// Flow in HYFS dataset files, by flow_format. Any NetCDF-4 file is one.
//
//   format   elevation                      velocity                       values of a step
//   "hyfs"   hyfs_wse_path                  hyfs_vel_path, pairs           mesh nodes
//   "n2d"    hyfs_wse_path of flow_file_z   hyfs_vel_path, pairs           grid cells
//   "gr3d"   hyfs_wse_path                  hyfs_vel_path, triples,        cells of the lattice,
//                                           salinity, temperature          levels outermost
//   "n3d"    hyfs_wse_path: height of       hyfs_u_path, hyfs_v_path,      planes, one more than
//            the planes                     hyfs_w_path, salinity          levels, of lattice nodes
//
// Where no other file is named the datasets are those of flow_file_uv. Values of -998 or below,
// fill values and what is not finite mark a place without a value. Two frames are in memory, never
// the file.

#include "control/run_state.h"

namespace dfl {

// Open the datasets, measure and check them against each other and the mesh. They set NUMframes,
// TIMESflow and dTime, and start_flow from the file where no card gives it.
void OPEN_FLOW_HYFS(RunState& run);
void OPEN_FLOW_N2D(RunState& run);
void OPEN_FLOW_GR3D(RunState& run);
void OPEN_FLOW_N3D(RunState& run);
// Salinity, for "gr3d" also temperature, of the flow file; the flow arrays have been allocated.
// For "gr3d" they set SIGMA.
void OPEN_SCALARS_GR3D(RunState& run);
void OPEN_SCALARS_N3D(RunState& run);
// The bottom flow of "2d (two-point)" in dataset form: pairs at mesh nodes.
void OPEN_BOTTOM_DATASET(RunState& run);

// Read frame `index`, from 1, into the arrays given.
void READ_FRAME_HYFS(RunState& run, int index, Array<float>& ETA, Array2<float>& U,
                     Array2<float>& V);
void READ_FRAME_N2D(RunState& run, int index, Array<float>& ETA, Array2<float>& U,
                    Array2<float>& V);
void READ_FRAME_GR3D(RunState& run, int index, Array<float>& ETA, Array2<float>& U,
                     Array2<float>& V, Array2<float>& W, Array2<float>& SAL, Array2<float>& TEM);
void READ_FRAME_N3D(RunState& run, int index, Array<float>& ETA, Array2<float>& U, Array2<float>& V,
                    Array2<float>& W, Array2<float>& SAL, Array2<float>& SIG);
void READ_FRAME_BOTTOM_DATASET(RunState& run, int index, Array<float>& U, Array<float>& V);

}  // namespace dfl
