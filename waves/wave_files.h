#pragma once

// What wave set-up and wave frames share.

#include <string>
#include <vector>

#include "control/run_state.h"

namespace dfl {

// A node's place along the axes of a wave grid, from its origin, mesh units.
struct GridPlace {
  double x = 0.0, y = 0.0;
};
GridPlace grid_place(const RunState& run, const WaveGrid& grid, int n);

// Datasets of height, period, direction and, with wave_breaking, breaking.
std::vector<std::string> wave_dataset_paths(const Settings& settings);

}  // namespace dfl
