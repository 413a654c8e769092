#pragma once

#include <array>
#include <cstdio>

#include "control/array.h"
#include "dataset/hyfs.h"

namespace dfl {

constexpr std::size_t ensim_map_count = 12;  // files of EnSim map output, one a field

struct OutputState {
  std::FILE* population_file = nullptr;
  std::FILE* tecplot_parcel_file = nullptr;
  std::FILE* ensim_parcel_file = nullptr;
  std::FILE* tecplot_map_file = nullptr;
  // In the order of ensim_map_order (output/map_fields.h); nullptr for a field not selected.
  std::array<std::FILE*, ensim_map_count> ensim_map_files{};
  int hyfs_parcels_written = -1;  // parcels in the last HYFS frame; -1 before the first
  int hyfs_parcel_frames = 0;
  int ensim_parcel_frames = 0;
  int ensim_map_frames = 0;
  HyfsSidecar parcel_sidecar, map_sidecar;  // text of the frames so far
  Array<float> parcel_work;                 // one value a parcel, NUMparcels entries
  Array<float> scalar_work;                 // one value a node
  Array2<float> vector_work;                // two values a node
  Array<double> CONCnode;                   // concentration at the nodes in concentration_units
};

}  // namespace dfl
