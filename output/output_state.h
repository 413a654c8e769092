#pragma once

#include <cstdio>

#include "control/array.h"

namespace dfl {

struct OutputState {
  std::FILE* population_file = nullptr;
  std::FILE* tecplot_parcel_file = nullptr;
  std::FILE* ensim_parcel_file = nullptr;
  std::FILE* tecplot_map_file = nullptr;
  int hyfs_parcels_written = -1;  // parcels in the last HYFS frame; -1 before the first
  int hyfs_parcel_frames = 0;
  int ensim_parcel_frames = 0;
  Array<float> scalar_work;   // one value a node
  Array2<float> vector_work;  // two values a node
};

}  // namespace dfl
