#pragma once

// The boundary lines of a mesh made from a grid.

#include <cstddef>
#include <span>
#include <vector>

#include "control/run_state.h"

namespace dfl {

// Lists of nodes, one behind the other.
struct NodeChains {
  std::vector<int> nodes;
  std::vector<std::size_t> ends;  // place behind the last node of each chain

  std::size_t size() const { return ends.size(); }
  std::span<const int> chain(std::size_t k) const {
    const std::size_t start = k == 0 ? 0 : ends[k - 1];
    return {nodes.data() + start, ends[k] - start};
  }
};

struct GridBoundaries {
  NodeChains open, land;
};

// The outer edges of the mesh, joined into lines and split where cellstring nodes begin and end.
// cellstring_node: a flag for each node; no_cellstrings: all lines are land.
GridBoundaries find_grid_boundaries(const RunState& run, const Array<char>& cellstring_node,
                                    bool no_cellstrings);

}  // namespace dfl
